// Numbers in JSON text, beside the C library.

#include "contests.h"
#include "inputs.h"

#include "core/data/number_reader.h"
#include "core/data/number_writer.h"

#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace bench {
namespace {

struct NumberPool {
    const char* name;
    std::vector<double> values;
};

std::vector<NumberPool> Pools() {
    Dice dice(51);
    NumberPool keyframes = {"handles", {}};
    NumberPool frames = {"frame times", {}};
    NumberPool full = {"17 digits", {}};
    NumberPool all = {"all magnitudes", {}};
    for (int i = 0; i < kPoolSize; ++i) {
        keyframes.values.push_back(dice.Between(-50.0, 50.0));
        frames.values.push_back(dice.Below(100'000) / 25.0);
        full.values.push_back(dice.Between(-180.0, 180.0));
        all.values.push_back(std::ldexp(dice.Between(-1.0, 1.0), dice.Below(2'000) - 1'000));
    }
    return {keyframes, frames, full, all};
}

/// As the format of each number asks for.
int Print(char* to, double value) {
    constexpr std::size_t kSize = core::kLongestNumber + 1;
    double whole = 0.0;
    const double magnitude = std::fabs(value);
    const int length = std::modf(magnitude * 10.0, &whole) < 1e-8
                           ? std::snprintf(to, kSize, "%0.1lf", value)
                       : magnitude < 1e8 ? std::snprintf(to, kSize, "%0.8f", value)
                                         : std::snprintf(to, kSize, "%0.15f", value);
    return std::min(length, static_cast<int>(core::kLongestNumber));
}

core::NumberReading Read(const char* text) {
    core::NumberReading reading = {};
    char* end = nullptr;
    reading.kind = core::NumberKind::Signed;
    const long long number = std::strtoll(text, &end, 10);
    reading.bits = static_cast<std::uint64_t>(number);
    if (*end == '.' || *end == 'e' || *end == 'E') {
        reading.kind = core::NumberKind::Double;
        reading.bits = std::bit_cast<std::uint64_t>(std::strtod(text, &end));
    } else if (number == std::numeric_limits<long long>::max() && *text != '-' && errno == ERANGE) {
        reading.kind = core::NumberKind::Unsigned;
        reading.bits = std::strtoull(text, &end, 10);
    }
    reading.end = end;
    return reading;
}

void AddWriter(Suite& suite, const std::shared_ptr<const NumberPool>& pool) {
    const std::string ours = Name("number writer", pool->name + std::string("/core"), kPoolSize);
    const std::string theirs = Name("number writer", pool->name + std::string("/C"), kPoolSize);
    suite.Check(ours, 0.0, [=] {
        Agreement agreement;
        for (const double value : pool->values) {
            char a[core::kNumberRoom];
            char b[core::kNumberRoom];
            const auto size = static_cast<std::size_t>(core::WriteNumber(value, a) - a);
            agreement.Compare(static_cast<double>(size), Print(b, value));
            agreement.Compare(std::memcmp(a, b, size), 0.0);
        }
        return agreement;
    });
    suite.Measure(ours, [=](benchmark::State& state) {
        char text[core::kNumberRoom];
        RunOverPool(state, pool->values, [&](double value) {
            benchmark::DoNotOptimize(core::WriteNumber(value, text));
            benchmark::ClobberMemory();
            return 0;
        });
    });
    suite.Measure(theirs, [=](benchmark::State& state) {
        char text[core::kNumberRoom];
        RunOverPool(state, pool->values, [&](double value) {
            benchmark::DoNotOptimize(Print(text, value));
            benchmark::ClobberMemory();
            return 0;
        });
    });
    suite.Compare(
        {std::string("write ") + pool->name, kPoolSize, ours, theirs, "snprintf", 0.12, 0.25});
}

void AddReader(Suite& suite, const char* what, const std::vector<std::string>& numbers,
               bool areIntegers = false) {
    const auto pool = std::make_shared<const std::vector<std::string>>(numbers);
    const std::string ours = Name("number reader", what + std::string("/core"), kPoolSize);
    const std::string theirs = Name("number reader", what + std::string("/C"), kPoolSize);
    suite.Check(ours, 0.0, [=] {
        Agreement agreement;
        for (const std::string& text : *pool) {
            errno = 0;
            const core::NumberReading a = core::ReadNumber(text.c_str(), text.data() + text.size());
            errno = 0;
            const core::NumberReading b = Read(text.c_str());
            agreement.Compare(a.end == b.end && a.kind == b.kind && a.bits == b.bits ? 1.0 : 0.0,
                              1.0);
        }
        return agreement;
    });
    suite.Measure(ours, [=](benchmark::State& state) {
        RunOverPool(state, *pool, [](const std::string& text) {
            return core::ReadNumber(text.c_str(), text.data() + text.size()).bits;
        });
    });
    suite.Measure(theirs, [=](benchmark::State& state) {
        RunOverPool(state, *pool, [](const std::string& text) { return Read(text.c_str()).bits; });
    });
    if (areIntegers) {
        suite.Compare({std::string("read ") + what, kPoolSize, ours, theirs, "strtoll"});
    } else {
        suite.Compare(
            {std::string("read ") + what, kPoolSize, ours, theirs, "strtoll, strtod", 0.17, 0.35});
    }
}

}  // namespace

void AddNumberText(Suite& suite) {
    suite.Section("Numbers in text");
    for (const NumberPool& pool : Pools()) {
        AddWriter(suite, std::make_shared<const NumberPool>(pool));
    }
    for (const NumberPool& pool : Pools()) {
        const bool isFull = std::strcmp(pool.name, "17 digits") == 0;
        std::vector<std::string> texts;
        for (const double value : pool.values) {
            char text[400];
            if (isFull) {
                std::snprintf(text, sizeof text, "%.17g", value);
            } else {
                text[Print(text, value)] = '\0';
            }
            texts.emplace_back(text);
        }
        AddReader(suite, pool.name, texts);
    }
    Dice dice(52);
    std::vector<std::string> integers;
    for (int i = 0; i < kPoolSize; ++i) {
        integers.push_back(std::to_string(dice.Below(1 << (1 + dice.Below(30))) - 1'000));
    }
    AddReader(suite, "integers", integers, true);
}

}  // namespace bench
