#include "core/curve/numbers.h"
#include "core/curve/parameter_text.h"
#include "core/curve/sorted_times.h"
#include "core/data/number_reader.h"
#include "core/data/number_writer.h"

#include <core/foundation/md5.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <string_view>

// Numbers lose their ninth decimal when they are written. The digest must not notice,
// neither when a curve is saved nor when what was read is saved again, so it is made
// from the written digits. Zeros at the end don't count: 0.19999999999999998 is
// written as 0.20000000, which is read as 0.2 and then written as 0.2. From 1e8 on
// the two can differ in more than that; there the digits are those of the number that
// a reader gets.

namespace core {

double AfterSaving(double number) noexcept {
    std::array<char, kNumberRoom> text{};
    *WriteNumber(number, text.data()) = '\0';
    // Reading may say that the number is too large; callers did not ask.
    const int errnoBefore = errno;
    const NumberReading read = ReadNumber(text.data(), text.data());
    errno = errnoBefore;
    switch (read.kind) {
        case NumberKind::Signed:
            return static_cast<double>(static_cast<std::int64_t>(read.bits));
        case NumberKind::Unsigned:
            return static_cast<double>(read.bits);
        default:
            return std::bit_cast<double>(read.bits);
    }
}

namespace {

constexpr double kFewDigits = 1e8;

/// The times of a row of keyframes as they are written. Rounding must not make two of
/// them match, or a reader would drop one: then the later one moves on by the least
/// that keeps them apart.
class SavedTimes {
public:
    double Next(double time) noexcept {
        // Rounding moves a time by far less than the tolerance; from many digits on, it
        // may do anything.
        double saved = std::fabs(time) < kFewDigits ? time : AfterSaving(time);
        if (saved - previous >= 2.0 * kTimeTolerance) {
            previous = saved;
            return time;
        }
        const double before = AfterSaving(previous);
        saved = AfterSaving(time);
        bool isMoved = false;
        for (double step = 1.1 * kTimeTolerance; !(saved > before) || TimesMatch(saved, before);
             step *= 2.0) {
            saved = AfterSaving(before + step);
            isMoved = true;
        }
        previous = saved;
        return isMoved ? saved : time;
    }

private:
    double previous = -std::numeric_limits<double>::infinity();
};

double FiniteOrZero(double x) noexcept {
    return std::isfinite(x) ? x : 0.0;
}

class Writer {
public:
    /// `document` may be null, for the digest alone.
    Writer(std::string* document, std::size_t keyframes) : text(document) {
        constexpr std::size_t kUsualKeyframe = 200;
        digestText.reserve(keyframes * kUsualKeyframe / 3);
        if (text != nullptr) {
            text->clear();
            text->reserve((keyframes + 2) * kUsualKeyframe);
        }
    }

    void Settings(const ParameterSettings& settings) {
        Put("{\"Version\": ");
        at = WriteNumber(settings.version, at);
        Put(",\"ParameterType\": ");
        at = WriteNumber(std::int64_t{settings.type}, at);
        Put(",\"_minVal\": ");
        Setting(settings.minVal, settings.type);
        Put(",\"_maxVal\": ");
        Setting(settings.maxVal, settings.type);
        Put(",\"_baseRatio\": ");
        Setting(settings.baseRatio, settings.type);
        Put(",\"keyframeSets\": [");
        Flush();
        EndDigestLine(false);
    }

    void Keyframes(std::span<const TimeValuePair> keyframes, ParameterTypeEnum type) {
        const bool isHeld = type == ParameterBool || type == ParameterString;
        SavedTimes times;
        for (const TimeValuePair& keyframe : keyframes) {
            const auto interpolation =
                isHeld ? KeyframeInterpolationType::Hold : keyframe.GetInterpolation();
            double leftX = 0.0;
            double leftY = 0.0;
            double rightX = 0.0;
            double rightY = 0.0;
            keyframe.GetLeftDerivativeEx(leftX, leftY);
            keyframe.GetRightDerivativeEx(rightX, rightY);

            Put(&keyframe == keyframes.data() ? "{\"_time\": " : ",{\"_time\": ");
            Number(times.Next(keyframe.GetTime()));
            Put(",\"Interpolation\": ");
            Integer(static_cast<std::int32_t>(interpolation));
            Put(",\"_value\": ");
            const bool isRead = Value(keyframe.PeekValue(), type);
            Put(",\"_leftDerivative\": ");
            Number(FiniteOrZero(leftX));
            Put(",\"_leftDerivativeY\": ");
            Number(FiniteOrZero(leftY));
            Put(",\"_rightDerivative\": ");
            Number(FiniteOrZero(rightX));
            Put(",\"_rightDerivativeY\": ");
            Number(FiniteOrZero(rightY));
            Put("}");
            Flush();
            EndDigestLine(isRead);
        }
    }

    std::string Digest() const { return md5::MD5String(digestText.data(), digestText.size()); }

    void End(const std::string& digest) {
        // Kept on purpose: no blank behind this one colon; stored files have none.
        Put("]");
        Flush();
        text->append(",\"MD5\":\"").append(digest).append("\"}");
    }

private:
    void Put(std::string_view part) noexcept {
        part.copy(at, part.size());
        at += part.size();
    }

    void Flush() {
        if (text != nullptr) {
            text->append(block.data(), at);
        }
        at = block.data();
    }

    // What counts for the digest is written to both texts. Each number ends in a comma
    // there and each text in its quote, so that no two rows of them are the same text.

    void Number(double number) noexcept {
        char* const start = at;
        at = WriteNumber(number, at);
        if (std::fabs(number) < kFewDigits) {
            Digits(start, at);
        } else {
            std::array<char, kNumberRoom> digits;
            Digits(digits.data(), WriteNumber(AfterSaving(number), digits.data()));
        }
    }
    void Digits(const char* start, const char* end) noexcept {
        while (end[-1] == '0' && end[-2] != '.') {
            --end;
        }
        const auto length = static_cast<std::size_t>(end - start);
        std::memcpy(digestAt, start, length);
        digestAt += length;
        *digestAt++ = ',';
    }
    void Integer(std::int64_t number) noexcept {
        at = WriteNumber(number, at);
        digestAt = WriteNumber(number, digestAt);
        *digestAt++ = ',';
    }
    void Boolean(bool value) noexcept {
        Put(value ? "true" : "false");
        *digestAt++ = value ? 't' : 'f';
    }
    void Point(Pointd point) noexcept {
        Put("[");
        Number(point.x);
        Put(",");
        Number(point.y);
        Put("]");
    }
    // The one value without a greatest length.
    void Text(const ValAny& value) {
        scratch.clear();
        JsonValue json;
        json.Set(value.AsString().c_str());
        json.DumpToTail(scratch);
        Flush();
        if (text != nullptr) {
            text->append(scratch);
        }
        digestText.append(digestBlock.data(), digestAt).append(scratch);
        digestAt = digestBlock.data();
    }

    // False for a value that no reader takes.
    bool Value(const ValAny& value, ParameterTypeEnum type) {
        double number = 0.0;
        const bool isNumber = ReadNumber(value, number);
        switch (type) {
            case ParameterInt:
                if (isNumber) {
                    Integer(TruncateToInt(number));
                    return true;
                }
                break;
            case ParameterBool:
                if (isNumber) {
                    Boolean(number != 0.0);
                    return true;
                }
                break;
            case ParameterString:
                if (value.Kind() == ValAny::kString) {
                    Text(value);
                    return true;
                }
                break;
            case ParameterPoint:
                if (value.Kind() == ValAny::kPoint && std::isfinite(value.AsPoint().x) &&
                    std::isfinite(value.AsPoint().y)) {
                    Point(value.AsPoint());
                    return true;
                }
                break;
            default:
                if (isNumber && std::isfinite(number)) {
                    Number(number);
                    return true;
                }
                break;
        }
        Put("null");
        return false;
    }

    // A bound or a ratio, which keeps its own kind where the type has no use for it.
    void Setting(const ValAny& value, ParameterTypeEnum type) {
        if (value.IsNumber()) {
            const double number = value.AsDouble();
            if (type == ParameterInt) {
                Integer(TruncateToInt(number));
            } else if (!std::isnan(number)) {
                Number(std::clamp(number, kNoDoubleMin, kNoDoubleMax));
            } else {
                Put("null");
            }
        } else if (value.Kind() == ValAny::kBool) {
            Boolean(value.AsBool());
        } else if (value.Kind() == ValAny::kString) {
            Text(value);
        } else if (value.Kind() == ValAny::kPoint && std::isfinite(value.AsPoint().x) &&
                   std::isfinite(value.AsPoint().y)) {
            Point(value.AsPoint());
        } else {
            Put("null");
        }
    }

    void EndDigestLine(bool counts) {
        if (counts) {
            *digestAt++ = ';';
            digestText.append(digestBlock.data(), digestAt);
        } else {
            digestText.resize(digestLine);
        }
        digestLine = digestText.size();
        digestAt = digestBlock.data();
    }

    // More than the names and numbers of a keyframe, or of the settings.
    std::array<char, 2048> block;
    std::array<char, 1024> digestBlock;
    char* at = block.data();
    char* digestAt = digestBlock.data();
    std::string* text;
    std::string digestText;
    // Where the line of the current keyframe starts.
    std::size_t digestLine = 0;
    std::string scratch;
};

}  // namespace

std::string WriteParameter(const ParameterSettings& settings,
                           std::span<const TimeValuePair> keyframes, std::string& text) {
    Writer writer(&text, keyframes.size());
    writer.Settings(settings);
    writer.Keyframes(keyframes, settings.type);
    std::string digest = writer.Digest();
    writer.End(digest);
    return digest;
}

std::string DigestOf(ParameterTypeEnum type, std::span<const TimeValuePair> keyframes) {
    Writer writer(nullptr, keyframes.size());
    writer.Keyframes(keyframes, type);
    return writer.Digest();
}

}  // namespace core
