#include "core/curve/loaded_handles.h"

#include "core/curve/numbers.h"
#include "core/curve/parameter_text.h"

#include <core/curve/time_unit.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

// A text does not say who has set a handle. Its numbers do:
//  1. where the automatic handle would be written with the digits that are there, the
//     handle is the automatic one, at full precision;
//  2. where times and values were cut when they were written, the automatic handle is
//     not known to all its digits. One that lies where the cut numbers allow is automatic
//     too, and stays as it is until an edit makes it anew;
//  3. a zero handle on a motion path is what AddPoint leaves there, and nobody's;
//  4. any other was set by hand.

namespace core {
namespace {

// The last one of a saved number below 1e8.
constexpr double kLastDigit = 1e-8;

Pointd HandleOf(const TimeValuePair& keyframe, Side side) noexcept {
    Pointd handle;
    if (side == Side::Left) {
        keyframe.GetLeftDerivativeEx(handle.x, handle.y);
    } else {
        keyframe.GetRightDerivativeEx(handle.x, handle.y);
    }
    return handle;
}

bool IsWrittenAs(double exact, double stored) noexcept {
    if (exact == stored) {
        return true;
    }
    if (std::fabs(exact) < 1e5 && std::fabs(exact - stored) > 0.6 * kLastDigit) {
        return false;
    }
    // A number that is not halfway between two is rounded as it looks.
    const double units = exact / kLastDigit;
    const double nearest = std::nearbyint(units);
    const bool isPlain = std::fabs(exact) < 1e4 && std::fabs(units - nearest) < 0.499;
    const double saved = isPlain ? nearest / 1e8 : AfterSaving(exact);
    return saved == stored && std::signbit(saved) == std::signbit(stored);
}

// Where the digits are those of the automatic handle, gives it the others back.
bool TakeDigits(TimeValuePair& keyframe, Side side, Pointd automatic) noexcept {
    const Pointd stored = HandleOf(keyframe, side);
    if (!IsWrittenAs(automatic.x, stored.x) || !IsWrittenAs(automatic.y, stored.y)) {
        return false;
    }
    // A zero keeps its sign, which is written too.
    const Pointd exact = {automatic.x == stored.x ? stored.x : automatic.x,
                          automatic.y == stored.y ? stored.y : automatic.y};
    if (side == Side::Left) {
        keyframe.SetLeftDerivativeEx(exact.x, exact.y);
    } else {
        keyframe.SetRightDerivativeEx(exact.x, exact.y);
    }
    return true;
}

// By how much a number may have been cut when it was written.
double CutOf(double saved) noexcept {
    // One of at most four decimals was probably not: of ten thousand that were, one looks
    // like that. From 1e8 on all digits are written, and the last one may be off.
    const double tenThousandths = saved * 1e4;
    if (std::fabs(tenThousandths - std::nearbyint(tenThousandths)) < 1e-5) {
        return 0.0;
    }
    return std::fabs(saved) < 1e8 ? kLastDigit / 2.0
                                  : std::numeric_limits<double>::epsilon() * std::fabs(saved);
}

bool IsNear(Pointd stored, Pointd automatic, Pointd reach) noexcept {
    const auto isNear = [](double a, double b, double most) {
        return std::fabs(a - b) <= most + kLastDigit / 2.0 + 1e-15 * std::fabs(b);
    };
    return isNear(stored.x, automatic.x, reach.x) && isNear(stored.y, automatic.y, reach.y);
}

// A keyframe of a curve of numbers between its neighbours.
class KeyWindow {
public:
    explicit KeyWindow(std::span<const TimeValuePair> all) : keyframes(all) {}
    // Cheapest one by one.
    void MoveTo(std::size_t i) {
        if (i == index) {
            return;
        }
        if (i == index + 1) {
            previous = here;
            here = next;
        } else {
            previous.isNumber = Read(i - 1, previous.key);
            here.isNumber = Read(i, here.key);
        }
        next.isNumber = Read(i + 1, next.key);
        index = i;
    }

    Pointd Automatic(Side side) const noexcept {
        if (!here.isNumber) {
            return {};
        }
        const HandleKeys around = {previous.isNumber ? &previous.key : nullptr, here.key,
                                   next.isNumber ? &next.key : nullptr};
        return side == Side::Left ? AutomaticLeftHandle(around) : AutomaticRightHandle(around);
    }

    // Whether this is further from the automatic handle than what a file cuts off could be.
    // So are most that were set by hand.
    bool IsFar(Pointd stored, Pointd automatic) const noexcept {
        const double nearest = std::min(GapBetween(previous, here), GapBetween(here, next));
        const double distance =
            std::fabs(stored.x - automatic.x) + std::fabs(stored.y - automatic.y);
        const double size = 1.0 + std::fabs(automatic.x) + std::fabs(automatic.y);
        return nearest * nearest * distance > 20.0 * kLastDigit * size;
    }

    // Whether this could be the automatic handle of keyframes that are written as these.
    bool Allows(Side side, Pointd stored, Pointd automatic) noexcept {
        // Each number of each keyframe moves the handle for itself; near each other more
        // than evenly.
        constexpr double kUneven = 1.25;
        Pointd reach;
        for (Place* const place : {&previous, &here, &next}) {
            for (double HandleKey::*const number : {&HandleKey::time, &HandleKey::value}) {
                const double saved = place->key.*number;
                const double cut = place->isNumber ? CutOf(saved) : 0.0;
                if (cut == 0.0) {
                    continue;
                }
                place->key.*number = saved + cut;
                const Pointd moved = Automatic(side);
                place->key.*number = saved;
                reach.x += kUneven * std::fabs(moved.x - automatic.x);
                reach.y += kUneven * std::fabs(moved.y - automatic.y);
                if (IsNear(stored, automatic, reach)) {
                    return true;
                }
            }
        }
        return false;
    }

private:
    struct Place {
        HandleKey key;
        bool isNumber = false;
    };

    // False outside, also before the first one, whose index wraps.
    bool Read(std::size_t i, HandleKey& key) const {
        if (i >= keyframes.size() || !ReadNumber(keyframes[i].PeekValue(), key.value)) {
            return false;
        }
        key.time = keyframes[i].GetTime();
        key.type = keyframes[i].GetInterpolation();
        return true;
    }
    // In seconds, at most one.
    static double GapBetween(const Place& a, const Place& b) noexcept {
        return a.isNumber && b.isNumber
                   ? std::min(1.0, InSeconds(b.key.time) - InSeconds(a.key.time))
                   : 1.0;
    }

    std::span<const TimeValuePair> keyframes;
    std::size_t index = static_cast<std::size_t>(-2);  // at none
    Place previous;
    Place here;
    Place next;
};

LoadedHandles RecogniseOnCurve(std::span<TimeValuePair> keyframes) {
    LoadedHandles loaded;
    loaded.sides.resize(keyframes.size());
    KeyWindow window(keyframes);
    for (std::size_t i = 0; i < keyframes.size(); ++i) {
        const auto isHandSet = [&](Side side) {
            const Pointd stored = HandleOf(keyframes[i], side);
            if (!CanBeAutomatic(stored)) {
                return true;
            }
            window.MoveTo(i);
            const Pointd automatic = window.Automatic(side);
            return window.IsFar(stored, automatic) || (!TakeDigits(keyframes[i], side, automatic) &&
                                                       !window.Allows(side, stored, automatic));
        };
        loaded.sides[i] = {isHandSet(Side::Left), isHandSet(Side::Right)};
    }
    return loaded;
}

LoadedHandles RecogniseOnPath(std::span<TimeValuePair> keyframes) {
    LoadedHandles loaded;
    loaded.sides.resize(keyframes.size());
    // The handles are kept at the thirds if one is there that would be elsewhere by
    // itself, or if none is elsewhere.
    bool hasThird = false;
    bool hasOther = keyframes.empty();
    for (std::size_t i = 0; i < keyframes.size(); ++i) {
        const ValAny& value = keyframes[i].PeekValue();
        const HandlePair handles =
            AutomaticHandlesOf(i > 0 ? &keyframes[i - 1] : nullptr, keyframes[i],
                               i + 1 < keyframes.size() ? &keyframes[i + 1] : nullptr, true);
        const auto isHandSet = [&](Side side) {
            const Pointd automatic = side == Side::Left ? handles.left : handles.right;
            const bool isThird =
                TakeDigits(keyframes[i], side, automatic) ||
                IsNear(HandleOf(keyframes[i], side), automatic, {kLastDigit, kLastDigit});
            const bool isZero = HandleOf(keyframes[i], side) == Pointd{};
            hasThird = hasThird || (isThird && !isZero && value.Kind() == ValAny::kPoint &&
                                    value.AsPoint() != automatic);
            hasOther = hasOther || !isThird;
            return !isThird && !isZero;
        };
        loaded.sides[i] = {isHandSet(Side::Left), isHandSet(Side::Right)};
    }
    loaded.keepsThirds = hasThird || !hasOther;
    return loaded;
}

}  // namespace

LoadedHandles RecogniseHandles(std::span<TimeValuePair> keyframes, ParameterTypeEnum type) {
    return type == ParameterPoint ? RecogniseOnPath(keyframes) : RecogniseOnCurve(keyframes);
}

}  // namespace core
