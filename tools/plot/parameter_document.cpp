#include "plot/parameter_document.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace plot {

namespace {

using core::Pointd;
using core::ValAny;

std::string Utf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

bool CanBeDrawn(double number) {
    return std::fabs(number) <= kLargestNumber;
}

bool CanBeDrawn(const KeyframeRow& row) {
    const bool isPoint = row.value.Kind() == ValAny::kPoint;
    const Pointd place = isPoint ? row.value.AsPoint() : Pointd();
    return std::fabs(row.time) <= kTimeLimit && CanBeDrawn(place.x) && CanBeDrawn(place.y) &&
           (!row.value.IsNumber() || CanBeDrawn(row.value.AsDouble())) && CanBeDrawn(row.left->x) &&
           CanBeDrawn(row.left->y) && CanBeDrawn(row.right->x) && CanBeDrawn(row.right->y);
}

std::vector<KeyframeRow> RowsOf(core::Parameter& parameter) {
    std::vector<KeyframeRow> rows;
    for (int i = 0; i < parameter.GetKeyFramesCount(); ++i) {
        KeyframeRow row;
        Pointd left;
        Pointd right;
        parameter.GetPointControlParamEx(i, left.x, left.y, right.x, right.y);
        row.time = parameter.GetPointTime(i);
        row.value = parameter.GetPointValue(i);
        row.interpolation = parameter.GetInterpolationType(i);
        row.left = left;
        row.right = right;
        rows.push_back(row);
    }
    return rows;
}

}  // namespace

KeyframeTable TableOf(core::Parameter& parameter, std::string title) {
    KeyframeTable table;
    table.title = std::move(title);
    table.type = parameter.GetParameterType();
    table.rows = RowsOf(parameter);
    const ValAny ratio = parameter.GetBaseRatio();
    if (ratio.IsNumber()) {
        table.baseRatio = ratio.AsDouble();
    }
    ValAny low;
    ValAny high;
    parameter.GetValueRange(low, high);
    if (low.IsNumber() && high.IsNumber() && CanBeDrawn(low.AsDouble()) &&
        CanBeDrawn(high.AsDouble())) {
        table.range = {low.AsDouble(), high.AsDouble()};
    }
    return table;
}

std::string DrawingFault(const KeyframeTable& table) {
    if (table.type == core::ParameterString) {
        return "texts cannot be drawn";
    }
    if (table.rows.empty()) {
        return "holds no keyframe";
    }
    const double seconds = table.rows.back().time - table.rows.front().time;
    if (table.rows.size() > static_cast<std::size_t>(kMaxKeyframes) ||
        seconds * table.fps >= kMaxFrames ||
        !std::all_of(table.rows.begin(), table.rows.end(),
                     [](const KeyframeRow& row) { return CanBeDrawn(row); }) ||
        (table.baseRatio && !CanBeDrawn(*table.baseRatio))) {
        return "too large to be drawn";
    }
    return {};
}

KeyframeTable LoadParameterDocument(const std::filesystem::path& file) {
    const auto fail = [&file](const char* what) -> TableError {
        return TableError(Utf8Of(file) + ": " + what);
    };
    std::ifstream in(file, std::ios::binary);
    if (!in || std::filesystem::is_directory(file)) {
        throw fail("cannot be opened");
    }
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    core::Parameter parameter;
    if (parameter.Desialize(text.c_str()) != 0) {
        throw fail("not the document of a parameter");
    }

    const KeyframeTable table = TableOf(parameter, Utf8Of(file.stem()));
    if (const std::string fault = DrawingFault(table); !fault.empty()) {
        throw fail(fault.c_str());
    }
    return table;
}

void SaveParameterDocument(const KeyframeTable& table, const std::filesystem::path& file) {
    std::ofstream out(file, std::ios::binary);
    out << MakeParameter(table).Serialize();
    out.close();
    if (!out) {
        throw TableError(Utf8Of(file) + ": cannot be written");
    }
}

}  // namespace plot
