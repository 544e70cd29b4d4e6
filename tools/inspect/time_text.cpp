// Drop-frame timecode, after SMPTE 12M: at 30000/1001 frames per second, numbers that count
// 30 a second fall behind the clock by 18 frames in ten minutes. So each minute but each
// tenth starts with frame number 2 (4 at 60000/1001): two numbers, no pictures, are skipped.

#include "inspect/time_text.h"

#include "plot/number_text.h"

#include <cmath>
#include <vector>

namespace inspect {

namespace {

using plot::NumberState;
using plot::ParseNumber;

constexpr std::int64_t kSecondsPerMinute = 60;
constexpr std::int64_t kMinutesPerHour = 60;
constexpr std::int64_t kTen = 10;

std::int64_t Nominal(double fps) {
    return static_cast<std::int64_t>(std::ceil(fps - 1e-6));
}

// How many numbers a minute skips: 0 for a rate without drop-frame timecode.
std::int64_t Dropped(double fps) {
    for (const std::int64_t rate : {30, 60}) {
        // 29.97 is written for 30000/1001.
        if (std::fabs(fps - static_cast<double>(rate) * 1000.0 / 1001.0) < 1e-3) {
            return rate / 15;
        }
    }
    return 0;
}

bool IsDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string TwoDigits(std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

std::optional<double> ParseClock(const std::vector<std::string_view>& parts) {
    double seconds = 0.0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        double number = 0.0;
        const bool isLast = i + 1 == parts.size();
        if ((!isLast && !IsDigits(parts[i])) || parts[i].empty() || parts[i].front() == '-' ||
            ParseNumber(parts[i], number) != NumberState::Good || (i > 0 && number >= 60.0)) {
            return std::nullopt;
        }
        seconds = 60.0 * seconds + number;
    }
    return seconds;
}

std::optional<double> ParseTimecode(const std::vector<std::string_view>& parts, bool drops,
                                    double fps) {
    std::int64_t numbers[4];
    for (std::size_t i = 0; i < 4; ++i) {
        double number = 0.0;
        if (!IsDigits(parts[i]) || parts[i].size() > 6 ||
            ParseNumber(parts[i], number) != NumberState::Good) {
            return std::nullopt;
        }
        numbers[i] = static_cast<std::int64_t>(number);
    }
    const auto [hours, minutes, seconds, frames] = numbers;
    const std::int64_t dropped = Dropped(fps);
    const bool isSkipped = drops && frames < dropped && seconds == 0 && minutes % kTen != 0;
    if (minutes >= kMinutesPerHour || seconds >= kSecondsPerMinute || frames >= Nominal(fps) ||
        (drops && dropped == 0) || isSkipped) {
        return std::nullopt;
    }
    const std::int64_t allMinutes = hours * kMinutesPerHour + minutes;
    std::int64_t frame = (allMinutes * kSecondsPerMinute + seconds) * Nominal(fps) + frames;
    if (drops) {
        frame -= dropped * (allMinutes - allMinutes / kTen);
    }
    return static_cast<double>(frame) / fps;
}

}  // namespace

std::optional<double> ParseRate(std::string_view text) {
    const std::size_t slash = text.find('/');
    double above = 0.0;
    double below = 1.0;
    if (ParseNumber(text.substr(0, slash), above) != NumberState::Good ||
        (slash != std::string_view::npos &&
         (ParseNumber(text.substr(slash + 1), below) != NumberState::Good || below == 0.0))) {
        return std::nullopt;
    }
    return above / below;
}

std::optional<double> ParseTime(std::string_view text, double fps) {
    double seconds = 0.0;
    if (text.find_first_of(":;") == std::string_view::npos) {
        return ParseNumber(text, seconds) == NumberState::Good ? std::optional<double>(seconds)
                                                               : std::nullopt;
    }
    const bool isNegative = text.front() == '-';
    text.remove_prefix(isNegative ? 1 : 0);
    std::vector<std::string_view> parts;
    bool drops = false;
    for (std::size_t end = text.find_first_of(":;"); end != std::string_view::npos;
         end = text.find_first_of(":;")) {
        if (drops) {
            return std::nullopt;  // ";" stands before the frames alone
        }
        drops = text[end] == ';';
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    parts.push_back(text);
    if (parts.size() > 4 || (drops && parts.size() != 4)) {
        return std::nullopt;
    }
    const std::optional<double> time =
        parts.size() == 4 ? ParseTimecode(parts, drops, fps) : ParseClock(parts);
    return time && isNegative ? std::optional<double>(-*time) : time;
}

std::string Timecode(std::int64_t frame, double fps) {
    const std::int64_t nominal = Nominal(fps);
    const std::int64_t dropped = Dropped(fps);
    std::int64_t number = frame < 0 ? -frame : frame;
    if (dropped > 0) {
        const std::int64_t minute = nominal * kSecondsPerMinute - dropped;
        const std::int64_t tenMinutes = kTen * minute + dropped;
        const std::int64_t rest = number % tenMinutes;
        number += dropped *
                  (9 * (number / tenMinutes) + (rest < dropped ? 0 : (rest - dropped) / minute));
    }
    const std::int64_t seconds = number / nominal;
    const std::int64_t minutes = seconds / kSecondsPerMinute;
    return (frame < 0 ? "-" : "") + TwoDigits(minutes / kMinutesPerHour) + ":" +
           TwoDigits(minutes % kMinutesPerHour) + ":" + TwoDigits(seconds % kSecondsPerMinute) +
           (dropped > 0 ? ";" : ":") + TwoDigits(number % nominal);
}

}  // namespace inspect
