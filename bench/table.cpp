#include "table.h"

#include <core/data/json_doc.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

struct Unit {
    double size;
    const char* name;
};

std::string Text(double figure, const std::string& unit) {
    static constexpr Unit kTimes[] = {{1e9, "s"}, {1e6, "ms"}, {1e3, "us"}, {0.0, "ns"}};
    static constexpr Unit kAmounts[] = {{1024.0, "MB"}, {0.0, "KB"}};
    char text[32];
    const auto print = [&](const auto& scale) {
        for (const Unit& step : scale) {
            if (figure >= step.size) {
                std::snprintf(text, sizeof text, "%.1f %s",
                              figure / (step.size > 0.0 ? step.size : 1.0), step.name);
                break;
            }
        }
    };
    if (unit == "ns") {
        print(kTimes);
    } else if (unit == "KB") {
        print(kAmounts);
    } else {
        std::snprintf(text, sizeof text, "%.1f %s", figure, unit == "bytes" ? "B" : "i");
    }
    return text;
}

/// Three digits of a ratio, however small it is.
std::string RatioText(double ratio) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", ratio < 0.1 ? 4 : ratio < 100.0 ? 2 : 0, ratio);
    return text;
}

}  // namespace

double TableRow::Ratio() const {
    return peer > 0.0 ? core / peer : 0.0;
}

std::string TableRow::Verdict() const {
    if (goal <= 0.0 || peer <= 0.0 || isTrial) {
        return {};
    }
    return Ratio() <= goal ? "ok" : Ratio() <= floor ? "above" : "MISSED";
}

void Table::Print() const {
    int goals = 0;
    int met = 0;
    std::string section;
    std::printf("\n%8s %6s %-6s %12s %12s %5s  %-38s %7s  %s\n", "ratio", "goal", "", "core",
                "peer", "+-%", "what", "n", "of");
    for (const TableRow& row : rows) {
        if (row.section != section) {
            section = row.section;
            std::printf("\n%s\n", section.c_str());
        }
        const std::string verdict = row.Verdict();
        goals += verdict.empty() ? 0 : 1;
        met += verdict == "ok" ? 1 : 0;
        char spread[16] = "";
        if (row.spread > 0.0) {
            std::snprintf(spread, sizeof spread, "%.1f", row.spread);
        }
        std::printf("%8s %6s %-6s %12s %12s %5s  %-38s %7d  %s",
                    row.peer > 0.0 ? RatioText(row.Ratio()).c_str() : "",
                    row.goal > 0.0 ? RatioText(row.goal).c_str() : "", verdict.c_str(),
                    Text(row.core, row.unit).c_str(),
                    row.peer > 0.0 ? Text(row.peer, row.unit).c_str() : "", spread,
                    row.what.c_str(), row.n, row.of.c_str());
        if (row.floor > row.goal && row.Ratio() > row.goal) {
            std::printf(" (floor %.2f)", row.floor);
        }
        std::printf("\n");
    }
    std::printf(
        "\nMedians per item or job: processor time, in contests of threads the clock's,\n"
        "i: instructions. Ratios below 1 say that core takes less");
    if (goals > 0) {
        std::printf("; %d of %d goals met", met, goals);
    }
    std::printf("\n");
}

void Table::WriteJson(const std::string& path) const {
    core::JsonDoc document;
    core::JsonArray& array = document.CreateRootArray();
    for (const TableRow& row : rows) {
        core::JsonObject& object = array.AddObject();
        object["section"].Set(row.section);
        object["what"].Set(row.what);
        object["n"].Set(row.n);
        object["unit"].Set(row.unit);
        object["core"].Set(row.core);
        object["spread"].Set(row.spread);
        if (row.peer > 0.0) {
            object["peer"].Set(row.peer);
            object["ratio"].Set(row.Ratio());
            object["of"].Set(row.of);
        }
        if (row.goal > 0.0) {
            object["goal"].Set(row.goal);
        }
        if (row.floor > 0.0) {
            object["floor"].Set(row.floor);
        }
        if (const std::string verdict = row.Verdict(); !verdict.empty()) {
            object["verdict"].Set(verdict);
        }
    }
    std::string text;
    document.PrettyDump(text);
    if (!(std::ofstream(path, std::ios::binary) << text << '\n')) {
        throw std::runtime_error(path + ": can't be written");
    }
}

}  // namespace bench
