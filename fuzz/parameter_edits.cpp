// Bytes as a sequence of edits, to a parameter and to a plain list of keyframes. After
// each edit both hold the same keyframes, samples and areas are numbers that fit
// together, and the saved text comes back.

#include <core/curve/motion_path.h>
#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>
#include <core/logging/log.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/script.h"

namespace {

using core::KeyframeInterpolationType;
using core::Parameter;
using core::Pointd;
using core::ValAny;

struct Key {
    double time;
    ValAny value;
    int type;
};

bool IsQuiet() {
    // A line for each question without an answer would be all that is done.
    return CoreLogSetLogSink(0) >= 0;
}

bool IsSame(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool IsSame(const ValAny& a, const ValAny& b) {
    if (a.Kind() != b.Kind()) {
        return false;
    }
    switch (a.Kind()) {
        case ValAny::kBool:
            return a.AsBool() == b.AsBool();
        case ValAny::kPoint:
            return IsSame(a.AsPoint().x, b.AsPoint().x) && IsSame(a.AsPoint().y, b.AsPoint().y);
        case ValAny::kString:
            return a.AsString() == b.AsString();
        default:
            return a.IsEmpty() || IsSame(a.AsDouble(), b.AsDouble());
    }
}

bool Matches(double a, double b) {
    return std::abs(a - b) < 1e-7;
}

class Session {
public:
    explicit Session(Script givenScript) : script(givenScript) {
        type = static_cast<core::ParameterTypeEnum>(script.Below(5));
        isWild = script.Below(4) == 0;
        isInTicks = script.Below(4) == 0;
        parameter.SetParameterType(type);
    }

    void Run() {
        for (int step = 0; step < 48 && !script.IsEmpty(); ++step) {
            Edit();
            CheckStore();
            CheckSamples(script.Byte(), 8);
            CheckAreas();
            if (step % 8 == 0) {
                CheckText();
            }
        }
        CheckSamples(0, 4 * Count());
        CheckText();
    }

private:
    double Time() {
        if (isWild && script.Below(4) == 0) {
            return script.AnyDouble();
        }
        // Apart from each other, or near the border between matching and not.
        const double time = script.Fraction() * (isInTicks ? 1e7 : 1.0);
        return time + 0.4e-7 * std::max(0, script.Byte() - 240);
    }
    double Number() {
        return isWild && script.Below(4) == 0 ? script.AnyDouble() : script.Fraction();
    }
    ValAny Value() {
        if (isWild && script.Below(16) == 0) {
            return script.Flag() ? ValAny("odd") : ValAny(nullptr);
        }
        switch (type) {
            case core::ParameterBool:
                return script.Flag();
            case core::ParameterString:
                return std::string(static_cast<std::size_t>(script.Below(40)), 'a') + "\"\n";
            case core::ParameterPoint:
                return Pointd{Number(), Number()};
            case core::ParameterInt:
                return script.Flag() ? ValAny(script.Byte() - 128) : ValAny(Number());
            default:
                return Number();
        }
    }
    int Type() { return script.Below(64) == 63 ? script.Byte() * 1000 - 9 : script.Below(27); }
    KeyframeInterpolationType TypeOf(int number) { return KeyframeInterpolationType{number}; }
    int StoredType(int number) const {
        return type == core::ParameterBool || type == core::ParameterString ? 6 : number;
    }
    int Count() const { return static_cast<int>(keys.size()); }
    /// Mostly one that there is.
    int Index() { return script.Below(Count() + 2) - 1; }
    bool Holds(int index) const { return index >= 0 && index < Count(); }
    int IndexAt(double time) const {
        for (int i = 0; i < Count(); ++i) {
            if (Matches(keys[static_cast<std::size_t>(i)].time, time)) {
                return i;
            }
        }
        return -1;
    }
    int Insert(Key key) {
        std::erase_if(keys, [&](const Key& old) { return Matches(old.time, key.time); });
        std::size_t at = 0;
        while (at < keys.size() && keys[at].time < key.time) {
            ++at;
        }
        keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(at), std::move(key));
        return static_cast<int>(at);
    }
    void ReadKeys() {
        keys.clear();
        for (int i = 0; i < parameter.GetKeyFramesCount(); ++i) {
            keys.push_back({parameter.GetPointTime(i), parameter.GetPointValue(i),
                            static_cast<int>(parameter.GetInterpolationType(i))});
        }
    }

    void Edit() {
        const int index = Index();
        const auto at = static_cast<std::size_t>(index);
        switch (script.Below(16)) {
            default: {
                const Key key{Time(), Value(), Type()};
                const int added = parameter.AddPoint(key.time, key.value, TypeOf(key.type));
                FUZZ_REQUIRE((added >= 0) == std::isfinite(key.time));
                if (added >= 0) {
                    FUZZ_REQUIRE(Insert({key.time, key.value, StoredType(key.type)}) == added);
                }
                break;
            }
            case 0: {
                const Key key{Time(), Value(), Type()};
                parameter.AddPointEx(key.time, key.value, TypeOf(key.type));
                if (std::isfinite(key.time)) {
                    Insert({key.time, key.value, StoredType(key.type)});
                }
                break;
            }
            case 1:
                FUZZ_REQUIRE(parameter.RemovePoint(index) == Holds(index));
                if (Holds(index)) {
                    keys.erase(keys.begin() + index);
                }
                break;
            case 2: {
                const ValAny value = Value();
                FUZZ_REQUIRE(parameter.SetPointValue(index, value) == Holds(index));
                if (Holds(index)) {
                    keys[at].value = value;
                }
                break;
            }
            case 3: {
                const double time = Time();
                Key moved{0.0, nullptr, 0};
                bool isFree = Holds(index) && std::isfinite(time);
                for (int i = 0; i < Count(); ++i) {
                    isFree = isFree &&
                             (i == index || !Matches(keys[static_cast<std::size_t>(i)].time, time));
                }
                FUZZ_REQUIRE(parameter.SetPointTime(index, time) == isFree);
                if (isFree) {
                    moved = {time, keys[at].value, keys[at].type};
                    keys.erase(keys.begin() + index);
                    Insert(moved);
                }
                break;
            }
            case 4: {
                const int newType = Type();
                FUZZ_REQUIRE(parameter.SetPointInterpolationType(index, TypeOf(newType)) ==
                             Holds(index));
                if (Holds(index) && keys[at].type != newType) {
                    keys[at].type = StoredType(newType);
                }
                break;
            }
            case 5: {
                const std::array<double, 4> handles = {Number(), Number(), Number(), Number()};
                bool isTaken = Holds(index);
                for (const double number : handles) {
                    isTaken = isTaken && std::isfinite(number);
                }
                FUZZ_REQUIRE(parameter.SetPointControlParamEx(index, handles[0], handles[1],
                                                              handles[2], handles[3]) == isTaken);
                break;
            }
            case 6:
                FUZZ_REQUIRE(parameter.SetPointControlParam(index, script.Byte() / 255.0,
                                                            script.Byte() / 255.0) == Holds(index));
                break;
            case 7: {
                const double time = Time();
                parameter.RemoveKeyFramesAfterTime(time);
                std::erase_if(keys, [&](const Key& key) { return key.time > time; });
                break;
            }
            case 8:
                parameter.SetValueRange(Value(), Value());
                parameter.SetBaseRatio(script.Flag() ? Value() : ValAny(nullptr));
                break;
            case 9: {
                // The copy lives on alone.
                Parameter copy(parameter);
                parameter.ClearKeyFrames();
                FUZZ_REQUIRE(parameter.GetKeyFramesCount() == 0);
                if (script.Flag()) {
                    parameter = copy;
                    copy.ClearKeyFrames();
                } else {
                    parameter = std::move(copy);
                }
                break;
            }
            case 10: {
                const std::string saved = parameter.Serialize();
                Parameter loaded;
                FUZZ_REQUIRE(loaded.Desialize(saved.c_str()) == 0);
                parameter = std::move(loaded);
                FUZZ_REQUIRE(parameter.GetKeyFramesCount() <= Count());
                ReadKeys();
                break;
            }
            case 11:
                Question(index);
                break;
        }
    }

    /// What changes nothing.
    void Question(int index) {
        const double from = Time();
        const double to = Time();
        std::list<double> times;
        std::list<double> expected;
        for (const Key& key : keys) {
            if (key.time >= from && (expected.empty() || !(expected.back() > to))) {
                expected.push_back(key.time);
            }
        }
        const int count = parameter.GetNKeyFramesInRange(from, to, &times);
        FUZZ_REQUIRE(count == static_cast<int>(times.size()) && times == expected);

        core::TimeValuePair previous;
        const bool isBehind = parameter.GetPreviousKeyframeTime(to, &previous);
        const auto isBefore = [&](const Key& key) {
            return key.time < to && !Matches(key.time, to);
        };
        FUZZ_REQUIRE(isBehind == (!keys.empty() && isBefore(keys.front())));
        FUZZ_REQUIRE(!isBehind || (previous.GetTime() < to && !Matches(previous.GetTime(), to)));

        double a = 0.0;
        double b = 0.0;
        double c = 1.0;
        double d = 0.0;
        parameter.GetPointControlParamOnCurve(from, a, b, c, d, script.Flag());
        parameter.TransferRelativeParamToAbsolute(index, a, b, c, d);
        parameter.TransferAbsoluteParamToRelative(index, a, b, c, d);
        Parameter x;
        Parameter y;
        FUZZ_REQUIRE(parameter.SplitIntoTwoMotionDimension(x, y) == (type == core::ParameterPoint));
        core::MergeTwoMotionDimensionIntoWhole(x, y);
    }

    void CheckStore() {
        FUZZ_REQUIRE(parameter.GetKeyFramesCount() == Count());
        std::unique_ptr<core::ParameterIterator> walk(parameter.GetParameterIterator(false));
        walk->First();
        for (int i = 0; i < Count(); ++i, walk->Next()) {
            const Key& key = keys[static_cast<std::size_t>(i)];
            const double time = parameter.GetPointTime(i);
            FUZZ_REQUIRE(time == key.time && std::isfinite(time));
            FUZZ_REQUIRE(i == 0 || time - parameter.GetPointTime(i - 1) >= 1e-7);
            FUZZ_REQUIRE(IsSame(parameter.GetPointValue(i), key.value));
            FUZZ_REQUIRE(parameter.GetInterpolationType(i) == TypeOf(key.type));
            FUZZ_REQUIRE(parameter.HasPoint(time) && parameter.GetPointIndex(time) == i);
            FUZZ_REQUIRE(!walk->IsDone() && walk->Current().GetTime() == time);
        }
        FUZZ_REQUIRE(walk->IsDone());
    }

    /// At a time before, at, between and after the keyframes, in turn.
    double SomeTime(int turn) const {
        if (keys.empty()) {
            return turn;
        }
        const auto at = static_cast<std::size_t>(turn / 4) % keys.size();
        const double next = at + 1 < keys.size() ? keys[at + 1].time : keys[at].time + 1.0;
        return keys[at].time + (next - keys[at].time) * (turn % 4) / 4.0;
    }

    void CheckSamples(int firstTurn, int count) {
        for (int turn = firstTurn; turn <= firstTurn + count; ++turn) {
            CheckSample(SomeTime(turn));
        }
        CheckSample(script.AnyDouble());
        if (Count() > 1 && !isWild && type == core::ParameterDouble &&
            parameter.GetBaseRatio().IsEmpty()) {
            const double last = keys.back().value.AsDouble();
            FUZZ_REQUIRE(parameter.GetValue(keys.back().time + 1.0, false).AsDouble() == last);
        }
    }

    void CheckSample(double time) {
        try {
            const ValAny value = parameter.GetValue(time, false);
            const ValAny clamped = parameter.GetValue(time, true);
            if (isWild || Count() < 2) {
                return;
            }
            FUZZ_REQUIRE(value.Kind() == clamped.Kind());
            FUZZ_REQUIRE(type != core::ParameterDouble || std::isfinite(value.AsDouble()));
            FUZZ_REQUIRE(type != core::ParameterInt || value.Kind() == ValAny::kInt);
            FUZZ_REQUIRE(type != core::ParameterPoint || std::isfinite(value.AsPoint().x));
        } catch (const core::AnyBadAccess&) {
            FUZZ_REQUIRE(isWild);
        }
    }

    double Area(double from, double to) const {
        return parameter.GetAreaFromTo(from, to, false, 0.0, 0.0);
    }

    void CheckAreas() {
        const int turn = script.Byte();
        const double a = SomeTime(turn);
        const double b = SomeTime(turn + 3);
        const double c = SomeTime(turn + 11);
        try {
            const double first = Area(a, b);
            const double second = Area(b, c);
            const double whole = Area(a, c);
            const double solved = parameter.SolveTimeBaseArea(a, whole);
            if (isWild || isInTicks || type != core::ParameterDouble || Count() == 0) {
                return;
            }
            FUZZ_REQUIRE(Area(a, a) == 0.0 && Area(c, a) == -whole);
            const double size = std::abs(first) + std::abs(second) + std::abs(whole);
            FUZZ_REQUIRE(std::abs(first + second - whole) <= 1e-8 * (1.0 + size));
            FUZZ_REQUIRE(std::isfinite(solved));
            // A positive area is looked for forwards, a negative one backwards.
            FUZZ_REQUIRE(whole < 0.0 || c < a || (a <= solved && solved <= c + 1e-6));
            FUZZ_REQUIRE(whole >= 0.0 || a < c || (c - 1e-6 <= solved && solved <= a));
        } catch (const core::AnyBadAccess&) {
            FUZZ_REQUIRE(isWild || type >= core::ParameterBool);
        }
    }

    void CheckText() {
        const std::string hash = parameter.GetHashString();
        const std::string saved = parameter.Serialize();
        FUZZ_REQUIRE(saved == parameter.SerializeEx() && hash == parameter.GetHashString());
        FUZZ_REQUIRE(saved.find(hash) != std::string::npos);
        Parameter loaded;
        FUZZ_REQUIRE(loaded.Desialize(saved.c_str()) == 0);
        FUZZ_REQUIRE(isWild || loaded.GetKeyFramesCount() == Count());
        FUZZ_REQUIRE(loaded.GetHashString() == hash);
        // Numbers are rounded when they are written, so the second text is the stable one.
        const std::string again = loaded.Serialize();
        Parameter third;
        FUZZ_REQUIRE(third.Desialize(again.c_str()) == 0 && third.Serialize() == again);
        FUZZ_REQUIRE(Parameter(parameter).Serialize() == saved);
    }

    Script script;
    core::ParameterTypeEnum type;
    /// Numbers of any size, and values that don't fit the type.
    bool isWild;
    bool isInTicks;
    Parameter parameter;
    std::vector<Key> keys;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool isQuiet = IsQuiet();
    Session(Script({data, size})).Run();
    return 0;
}
