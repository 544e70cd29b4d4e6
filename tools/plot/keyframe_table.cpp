#include "plot/keyframe_table.h"

#include "plot/number_text.h"
#include "plot/utf8.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <functional>
#include <istream>
#include <map>

namespace plot {

namespace {

using Interpolation = core::KeyframeInterpolationType;

struct NamedType {
    std::string_view name;
    core::ParameterTypeEnum type;
};
constexpr std::array<NamedType, 4> kParameterTypes = {{
    {"double", core::ParameterDouble},
    {"int", core::ParameterInt},
    {"bool", core::ParameterBool},
    {"point", core::ParameterPoint},
}};

constexpr std::string_view kBlanks = " \t";

std::string Quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> Words(std::string_view text) {
    std::vector<std::string_view> words;
    for (std::size_t at = text.find_first_not_of(kBlanks); at != std::string_view::npos;) {
        const std::size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(kBlanks, end);
    }
    return words;
}

// Turns lines into a table. Everything throws `TableError` with the current line.
class TableReader {
public:
    explicit TableReader(std::string fileName) : name(std::move(fileName)) {}

    void ReadLine(std::string_view line) {
        ++lineNumber;
        if (lineNumber == 1 && line.substr(0, 3) == "\xEF\xBB\xBF") {
            line.remove_prefix(3);  // a byte order mark, as some editors write
        }
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (!IsUtf8Text(line)) {
            Fail("not a line of UTF-8 text");
        }
        line = Trimmed(line);
        if (line.empty() || line.front() == '#') {
            return;
        }
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos && colon < line.find('#')) {
            const std::string_view key = Trimmed(line.substr(0, colon));
            std::string_view value = line.substr(colon + 1);
            if (key != "title" && key != "value") {  // free text, which may hold a '#'
                value = value.substr(0, value.find('#'));
            }
            ReadHeader(key, Trimmed(value));
        } else {
            ReadRow(Words(line.substr(0, line.find('#'))));
        }
    }

    KeyframeTable Finish() {
        if (table.rows.empty()) {
            lineNumber = std::max(lineNumber, 1);
            Fail("the file ends without a keyframe");
        }
        SortRows();
        if (table.title.empty()) {
            table.title = name;
        }
        const auto [first, last] = std::minmax(table.rows.front().time, table.rows.back().time);
        if ((last - first) * table.fps >= kMaxFrames) {
            Fail("the keyframes span more than " + std::to_string(kMaxFrames) + " frames");
        }
        return std::move(table);
    }

private:
    [[noreturn]] void Fail(const std::string& what) const { FailAt(lineNumber, what); }

    [[noreturn]] void FailAt(int line, const std::string& what) const {
        throw TableError(name + ":" + std::to_string(line) + ": " + what);
    }

    double Number(std::string_view text, const std::string& column) const {
        double number = 0.0;
        switch (ParseNumber(text, number)) {
            case NumberState::Good:
                break;
            case NumberState::NotANumber:
                Fail(column + " " + Quoted(text) + " is not a number");
            case NumberState::NotFinite:
                Fail(column + " " + Quoted(text) + " is not finite");
            case NumberState::TooLarge:
                Fail(column + " " + Quoted(text) + " is out of range");
        }
        if (std::fabs(number) > kLargestNumber) {
            Fail(column + " " + Quoted(text) + " is larger than 1e12");
        }
        return number;
    }

    int WholeNumber(std::string_view text, const std::string& column) const {
        const double number = Number(text, column);
        if (number != std::trunc(number) || std::fabs(number) > 2147483647.0) {
            Fail(column + " " + Quoted(text) + " is not a whole number of 32 bits");
        }
        return static_cast<int>(number);
    }

    bool IsNumeric() const {
        return table.type == core::ParameterDouble || table.type == core::ParameterInt;
    }

    // The lines "name: value" before the first keyframe.
    void ReadHeader(std::string_view key, std::string_view value) {
        if (!table.rows.empty()) {
            Fail(Quoted(key) + " must stand before the first keyframe");
        }
        if (!seenHeaders.emplace(key, lineNumber).second) {
            Fail(Quoted(key) + " is given twice, first in line " +
                 std::to_string(seenHeaders.find(key)->second));
        }
        if (key == "title") {
            table.title = value;
        } else if (key == "value") {
            table.valueLabel = value;
        } else if (key == "type") {
            ReadType(value);
        } else if (key == "ratio") {
            table.baseRatio = Number(value, "ratio");
        } else if (key == "range") {
            ReadRange(Words(value));
        } else if (key == "fps") {
            table.fps = Number(value, "fps");
            if (table.fps < 0.1 || table.fps > 1000.0) {
                Fail("fps " + Quoted(value) + " is not between 0.1 and 1000");
            }
        } else {
            Fail("unknown setting " + Quoted(key) +
                 "; there are title, value, type, ratio, range and fps");
        }
    }

    void ReadType(std::string_view text) {
        for (const NamedType& known : kParameterTypes) {
            if (text == known.name) {
                table.type = known.type;
                return;
            }
        }
        Fail("unknown parameter type " + Quoted(text) + "; there are double, int, bool and point");
    }

    void ReadRange(const std::vector<std::string_view>& words) {
        if (words.size() != 2) {
            Fail("range needs two numbers, the lowest and the highest value");
        }
        table.range = {Number(words[0], "range"), Number(words[1], "range")};
        if (table.range->first > table.range->second) {
            Fail("range is upside down");
        }
    }

    // Settings may stand in any order, so they are checked together, once.
    void CheckHeaders() const {
        if (!IsNumeric() && (table.baseRatio || table.range)) {
            Fail("ratio and range are for the types double and int");
        }
        if (table.type == core::ParameterInt) {
            for (const double number :
                 {table.baseRatio.value_or(1.0), table.range ? table.range->first : 0.0,
                  table.range ? table.range->second : 0.0}) {
                if (number != std::trunc(number) || std::fabs(number) > 2147483647.0) {
                    Fail("ratio and range of type int are whole numbers of 32 bits");
                }
            }
        }
    }

    // time, value (x and y for a point), interpolation, and either no handles or
    // left x, left y, right x, right y, a pair of which may be "- -".
    void ReadRow(const std::vector<std::string_view>& words) {
        if (table.rows.empty()) {
            CheckHeaders();
        }
        const bool point = table.type == core::ParameterPoint;
        const std::size_t plain = point ? 4 : 3;
        if (words.size() != plain && words.size() != plain + 4) {
            Fail("a keyframe has " + std::to_string(plain) + " columns (time, " +
                 (point ? "x, y" : "value") + ", interpolation), or " + std::to_string(plain + 4) +
                 " with its handles; here are " + std::to_string(words.size()));
        }
        if (table.rows.size() == kMaxKeyframes) {
            Fail("more than " + std::to_string(kMaxKeyframes) + " keyframes");
        }
        KeyframeRow row;
        row.time = Number(words[0], "time");
        if (std::fabs(row.time) > kTimeLimit) {
            Fail("time " + Quoted(words[0]) + " is beyond 166666 seconds");
        }
        row.value = ReadValue(words);
        row.interpolation = ReadInterpolation(words[plain - 1]);
        if (words.size() > plain) {
            row.left = ReadHandle(words[plain], words[plain + 1], "left handle");
            row.right = ReadHandle(words[plain + 2], words[plain + 3], "right handle");
        }
        table.rows.push_back(std::move(row));
        lines.push_back(lineNumber);
    }

    core::ValAny ReadValue(const std::vector<std::string_view>& words) const {
        switch (table.type) {
            case core::ParameterPoint:
                return core::Pointd{Number(words[1], "x"), Number(words[2], "y")};
            case core::ParameterInt:
                return WholeNumber(words[1], "value");
            case core::ParameterBool:
                if (words[1] != "true" && words[1] != "false") {
                    Fail("value " + Quoted(words[1]) + " is neither true nor false");
                }
                return words[1] == "true";
            default:
                return Number(words[1], "value");
        }
    }

    Interpolation ReadInterpolation(std::string_view text) const {
        const core::InterpolationInfo* found = core::FindInterpolation(std::string(text).c_str());
        double number = -1.0;
        if (found == nullptr && ParseNumber(text, number) == NumberState::Good &&
            number == std::trunc(number) && number >= 0.0 && number < core::kInterpolationCount) {
            found = core::FindInterpolation(static_cast<Interpolation>(static_cast<int>(number)));
        }
        if (found == nullptr) {
            Fail("unknown interpolation " + Quoted(text) + "; it is a name or a number from 0 to " +
                 std::to_string(core::kInterpolationCount - 1));
        }
        return found->type;
    }

    std::optional<core::Pointd> ReadHandle(std::string_view x, std::string_view y,
                                           const std::string& column) const {
        if (x == "-" && y == "-") {
            return std::nullopt;
        }
        return core::Pointd{Number(x, column), Number(y, column)};
    }

    // Rows may stand in any order, but no two may be the same keyframe.
    void SortRows() {
        std::vector<std::size_t> order(table.rows.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            order[i] = i;
        }
        std::stable_sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
            return table.rows[a].time < table.rows[b].time;
        });
        std::vector<KeyframeRow> sorted;
        for (std::size_t i = 0; i < order.size(); ++i) {
            if (i > 0 && table.rows[order[i]].time - sorted.back().time < core::kTimeTolerance) {
                const auto [first, second] = std::minmax(lines[order[i - 1]], lines[order[i]]);
                FailAt(second, "the keyframe in line " + std::to_string(first) +
                                   " has the same time, " + ShortText(sorted.back().time, 9));
            }
            sorted.push_back(table.rows[order[i]]);
        }
        table.rows = std::move(sorted);
    }

    std::string name;
    int lineNumber = 0;
    KeyframeTable table;
    std::vector<int> lines;  // of each row
    std::map<std::string, int, std::less<>> seenHeaders;
};

}  // namespace

KeyframeTable ReadKeyframeTable(std::istream& in, const std::string& name) {
    TableReader reader(name);
    std::string line;
    while (std::getline(in, line)) {
        reader.ReadLine(line);
    }
    if (in.bad()) {
        throw TableError(name + ": cannot be read");
    }
    return reader.Finish();
}

KeyframeTable LoadKeyframeTable(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in || std::filesystem::is_directory(file)) {
        throw TableError(file.string() + ": cannot be opened");
    }
    return ReadKeyframeTable(in, file.string());
}

core::Parameter MakeParameter(const KeyframeTable& table) {
    core::Parameter parameter;
    parameter.SetParameterType(table.type);
    for (const KeyframeRow& row : table.rows) {
        // AddPointEx also lays the handles of points, where AddPoint leaves zeros.
        parameter.AddPointEx(row.time, row.value, row.interpolation);
    }
    for (int i = 0; i < static_cast<int>(table.rows.size()); ++i) {
        const KeyframeRow& row = table.rows[static_cast<std::size_t>(i)];
        if (row.left) {
            parameter.SetPointControlLeftParam(i, row.left->x, row.left->y);
        }
        if (row.right) {
            parameter.SetPointControlRightParam(i, row.right->x, row.right->y);
        }
    }
    const auto number = [&table](double value) {
        return table.type == core::ParameterInt ? core::ValAny(static_cast<int>(value))
                                                : core::ValAny(value);
    };
    if (table.baseRatio) {
        parameter.SetBaseRatio(number(*table.baseRatio));
    }
    if (table.range) {
        parameter.SetValueRange(number(table.range->first), number(table.range->second));
    }
    return parameter;
}

std::pair<int, int> FrameSpan(const KeyframeTable& table) {
    // A time that was meant to lie on a frame may miss it by rounding.
    const double slack = 1e-6;
    return {static_cast<int>(std::floor(table.rows.front().time * table.fps + slack)),
            static_cast<int>(std::ceil(table.rows.back().time * table.fps - slack))};
}

std::string InterpolationName(core::KeyframeInterpolationType type) {
    const core::InterpolationInfo* const info = core::FindInterpolation(type);
    return info != nullptr ? info->name : std::to_string(static_cast<int>(type));
}

std::string_view ParameterTypeName(core::ParameterTypeEnum type) {
    for (const NamedType& known : kParameterTypes) {
        if (known.type == type) {
            return known.name;
        }
    }
    return "string";
}

}  // namespace plot
