#include <core/curve/parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

bool Matches(double a, double b) {
    return std::fabs(a - b) < 1e-7;
}

bool IsNear(Pointd a, Pointd b, double tolerance) {
    return std::fabs(a.x - b.x) <= tolerance * (1 + std::fabs(b.x)) &&
           std::fabs(a.y - b.y) <= tolerance * (1 + std::fabs(b.y));
}

/// A plain store of keyframes, which knows which handles its caller has set.
struct Model {
    struct Entry {
        Key key;
        bool leftIsSet = false;
        bool rightIsSet = false;
    };
    std::vector<Entry> entries;

    int Count() const { return static_cast<int>(entries.size()); }
    Entry& At(int index) { return entries[static_cast<std::size_t>(index)]; }
    int Add(const Entry& entry) {
        std::erase_if(entries, [&](const Entry& e) { return Matches(e.key.time, entry.key.time); });
        auto later = [&](const Entry& e) { return e.key.time > entry.key.time; };
        auto place = std::find_if(entries.begin(), entries.end(), later);
        place = entries.insert(place, entry);
        return static_cast<int>(place - entries.begin());
    }
    bool Retime(int index, double time) {
        Entry moved = At(index);
        for (const Entry& other : entries) {
            if (other.key.time != moved.key.time && Matches(other.key.time, time)) {
                return false;
            }
        }
        entries.erase(entries.begin() + index);
        moved.key.time = time;
        Add(moved);
        return true;
    }
};

/// The keyframes as a fresh curve has them, inserted in a random order, with the
/// handles that their types' rules give them.
Curve BuiltAfresh(const Curve& keys, Dice& dice) {
    Curve shuffled = keys;
    for (std::size_t i = keys.size(); i > 1; --i) {
        std::swap(shuffled[i - 1],
                  shuffled[static_cast<std::size_t>(dice.Below(static_cast<int>(i)))]);
    }
    Parameter parameter = plain::BuildAutomatic(shuffled);
    Curve fresh = plain::ReadBack(parameter);
    Curve ruled = plain::WithAutomaticHandles(keys);
    auto isRuled = [](double handle, double rule) {
        return std::isnan(rule) || std::fabs(handle - rule) <= 1e-12 * (1e-2 + std::fabs(rule));
    };
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_TRUE(isRuled(fresh[i].left.x, ruled[i].left.x) &&
                    isRuled(fresh[i].left.y, ruled[i].left.y) &&
                    isRuled(fresh[i].right.x, ruled[i].right.x) &&
                    isRuled(fresh[i].right.y, ruled[i].right.y))
            << "keyframe " << i << " of\n"
            << plain::Print(fresh) << "ruled\n"
            << plain::Print(ruled);
    }
    return fresh;
}

/// Everything that must hold after any edit.
void ExpectSameCurve(Parameter& parameter, Model& model, Dice& dice) {
    constexpr double tolerance = 1e-12;
    Curve actual = plain::ReadBack(parameter);
    ASSERT_EQ(model.entries.size(), actual.size());
    Curve fresh;
    for (const Model::Entry& entry : model.entries) {
        fresh.push_back(entry.key);
    }
    fresh = BuiltAfresh(fresh, dice);
    Parameter twin = plain::Build(actual);
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const auto& [expected, leftIsSet, rightIsSet] = model.entries[i];
        const Key& key = actual[i];
        SCOPED_TRACE("keyframe " + std::to_string(i));
        ASSERT_TRUE(expected.time == key.time && expected.value == key.value &&
                    expected.type == key.type);
        // Handles set by the caller stay; the others are those of a fresh curve,
        // but for `Extrapolate`, which neighbours leave alone.
        auto isRight = [&](Pointd handle, bool isSet, Pointd set, Pointd automatic) {
            return isSet ? handle == set : key.type == 26 || IsNear(handle, automatic, tolerance);
        };
        ASSERT_TRUE(isRight(key.left, leftIsSet, expected.left, fresh[i].left) &&
                    isRight(key.right, rightIsSet, expected.right, fresh[i].right))
            << (leftIsSet ? "left set by the caller, " : "")
            << (rightIsSet ? "right set by the caller, " : "") << "expected:\n"
            << plain::Print({expected}) << "fresh:\n"
            << plain::Print(fresh);
        double leftX, rightX;
        parameter.GetPointControlParam(static_cast<int>(i), leftX, rightX);
        ASSERT_TRUE(leftX == key.left.x && rightX == key.right.x);
        if (i + 1 == actual.size()) {
            break;
        }
        // Nothing is left over from before the edit.
        const Key& next = actual[i + 1];
        double time = dice.Between(key.time, next.time);
        double value = parameter.GetValue(time, false).AsDouble();
        ASSERT_EQ(twin.GetValue(time, false).AsDouble(), value);
        if (dice.OneIn(4)) {
            ASSERT_EQ(Area(twin, 0, time), Area(parameter, 0, time));
        }
        if (key.type == 1 && !plain::IsBezier(next.type) && !rightIsSet &&
            (next.type == 1 || !model.entries[i + 1].leftIsSet)) {
            double part = (time - key.time) / (next.time - key.time);
            ASSERT_NEAR(key.value + part * (next.value - key.value), value,
                        tolerance * (std::fabs(key.value) + std::fabs(next.value)))
                << "a linear segment is bent";
        }
    }
}

/// Runs random edits on a curve and on the model side by side.
class Script {
public:
    Script(std::uint64_t seed, const std::vector<int>& palette, bool ticks, bool handles)
        : dice(seed), types(palette), isTicks(ticks), setHandles(handles) {}

    void Run(int edits) {
        for (int n = 0; n < edits && !::testing::Test::HasFailure(); ++n) {
            const std::string before = plain::Print(plain::ReadBack(parameter));
            int index = dice.Below(model.Count() + 2) - 1;
            Key key;
            key.time = AnyTime();
            // A number that a file keeps as it is.
            key.value = dice.OneIn(5) ? 2.0 : dice.Below(321) / 16.0 - 10;
            key.type = dice.Pick(types);
            const std::string what = Edit(index, key);
            SCOPED_TRACE("on " + before + what + " " + std::to_string(index) + " with " +
                         plain::Print({key}) + "gave " + plain::Print(plain::ReadBack(parameter)));
            ExpectSameCurve(parameter, model, dice);
        }
    }

private:
    /// On a coarse grid, often only just beside it; but not where slopes between
    /// two close keyframes would swallow the handles that a caller sets.
    double AnyTime() {
        static const Times offsets = {0, 0, 4e-8, -4e-8, 9e-8, 1e-7, -1e-7, 2e-7, 1.1e-7, -1.6e-7};
        double time = isTicks ? 2e6 + 1e6 * dice.Below(9) : -2.0 + 0.5 * dice.Below(9);
        return setHandles ? time : time + dice.Pick(offsets);
    }

    const char* Edit(int index, const Key& key) {
        const auto type = static_cast<KeyframeInterpolationType>(key.type);
        bool valid = index >= 0 && index < model.Count();
        switch (dice.Below(setHandles ? 13 : 9)) {
            default:
                EXPECT_EQ(model.Add({key}), parameter.AddPoint(key.time, key.value, type));
                return "AddPoint";
            case 1:
                model.Add({key});
                parameter.AddPointEx(key.time, key.value, type);
                return "AddPointEx";
            case 2:
            case 3:
                EXPECT_EQ(valid, parameter.RemovePoint(index));
                if (valid) {
                    model.entries.erase(model.entries.begin() + index);
                }
                return "RemovePoint";
            case 4:
            case 5:
                EXPECT_EQ(valid && model.Retime(index, key.time),
                          parameter.SetPointTime(index, key.time));
                return "SetPointTime";
            case 6:
                EXPECT_EQ(valid, parameter.SetPointValue(index, key.value));
                if (valid) {
                    model.At(index).key.value = key.value;
                }
                return "SetPointValue";
            case 7:
                EXPECT_EQ(valid, parameter.SetPointInterpolationType(index, type));
                if (valid && model.At(index).key.type != key.type) {
                    model.At(index).key.type = key.type;
                    model.At(index).leftIsSet = model.At(index).rightIsSet = false;
                }
                return "SetPointInterpolationType";
            case 8:
                if (dice.OneIn(3)) {
                    parameter.RemoveKeyFramesAfterTime(key.time);
                    std::erase_if(model.entries, [&](auto& e) { return e.key.time > key.time; });
                }
                return "RemoveKeyFramesAfterTime";
            case 9:
            case 10:
            case 11:
                return SetHandles(index, valid);
            case 12:
                return SaveAndLoad();
        }
    }

    const char* SetHandles(int index, bool valid) {
        // In ticks as small as the slopes.
        auto number = [this] { return (20 + dice.Below(10)) / (isTicks ? 1e8 : 1.0); };
        Pointd left = {number(), number()};
        Pointd right = {number(), number()};
        int call = dice.Below(4);
        if (call == 0) {
            EXPECT_EQ(valid, parameter.SetPointControlLeftParam(index, left.x, left.y));
        } else if (call == 1) {
            EXPECT_EQ(valid, parameter.SetPointControlRightParam(index, right.x, right.y));
        } else if (call == 2) {
            EXPECT_EQ(valid,
                      parameter.SetPointControlParamEx(index, left.x, left.y, right.x, right.y));
        } else {
            double x;
            parameter.GetPointControlLeftParam(index, x, left.y);
            parameter.GetPointControlRightParam(index, x, right.y);
            EXPECT_EQ(valid, parameter.SetPointControlParam(index, left.x, right.x));
        }
        if (valid && call != 1) {
            model.At(index).leftIsSet = true;
            model.At(index).key.left = left;
        }
        if (valid && call != 0) {
            model.At(index).rightIsSet = true;
            model.At(index).key.right = right;
        }
        return "handles";
    }

    const char* SaveAndLoad() {
        const std::string text = parameter.Serialize();
        EXPECT_EQ(0, parameter.Desialize(text.c_str()));
        for (Model::Entry& entry : model.entries) {
            for (Pointd* handle : {&entry.key.left, &entry.key.right}) {
                *handle = {std::round(handle->x * 1e8) / 1e8, std::round(handle->y * 1e8) / 1e8};
            }
        }
        return "saved and loaded";
    }

    Dice dice;
    std::vector<int> types;
    bool isTicks;
    bool setHandles;
    Parameter parameter;
    Model model;
};

TEST(Editing, RandomEditsLeaveTheCurveThatAFreshOneWouldBe) {
    const struct {
        const char* name;
        std::vector<int> types;
    } palettes[] = {
        {"linear", {1}},
        {"linear and its neighbours", {1, 1, 1, 6, 7, 9, 12, 16, 25, 26, 27}},
        {"Hermite", {7, 8, 9, 10, 11}},
        {"Bezier", {0, 2, 5, 13, 15}},
        {"value Bezier", {12, 12, 7}},
        {"all", gallery::Types()},
    };
    std::uint64_t seed = 0;
    for (const auto& palette : palettes) {
        for (int round = 0; round < 48 && !HasFailure(); ++round) {
            ++seed;
            SCOPED_TRACE(std::string(palette.name) + ", seed " + std::to_string(seed));
            Script(seed, palette.types, round % 2 == 0, round % 4 < 2).Run(round < 24 ? 8 : 60);
        }
    }
}

/// Keyframes at these times, whose values are their times.
Parameter At(std::initializer_list<double> times) {
    Parameter parameter;
    for (double time : times) {
        parameter.AddPoint(time, time, kLinear);
    }
    return parameter;
}

TEST(Editing, TheNearestOfTwoTimesMatches) {
    Parameter close = At({0.0, 1.0, 1.00000012, 2.0});
    EXPECT_EQ(1, close.GetPointIndex(1.00000004));
    EXPECT_EQ(2, close.GetPointIndex(1.00000008));
    EXPECT_EQ(1, close.AddPoint(1.00000006, 5.0, kLinear)) << "in place of both";
    EXPECT_EQ(3, close.GetKeyFramesCount());

    // Far out, where neighbouring times are further apart than the tolerance.
    const double far = 4e9;
    const double next = std::nextafter(far, kInfinity);
    Parameter ticks = At({far, next});
    EXPECT_EQ(0, ticks.AddPoint(far, 1.0, kLinear));
    EXPECT_EQ(2, ticks.GetKeyFramesCount());
    EXPECT_EQ(1, ticks.GetPointIndex(next));
}

TEST(Editing, QueriesAnswerByTime) {
    Parameter parameter = At({0, 1, 1.5, 2, 3});
    struct {
        double from, to;
        Times expected;
    } const ranges[] = {
        {1, 2, {1, 1.5, 2, 3}},  // the first keyframe beyond the range is listed too
        {1, 1.7, {1, 1.5, 2}},
        {0.5, 0.6, {1}},
        {-9, -8, {0}},
        {3, 3, {3}},
        {3.5, 99, {}},
        {1.5, 1, {1.5}},
        {-kInfinity, kInfinity, {0, 1, 1.5, 2, 3}},
        {kNan, 1, {}},
    };
    for (const auto& range : ranges) {
        SCOPED_TRACE(std::to_string(range.from) + " to " + std::to_string(range.to));
        std::list<double> listed = {-1};
        int expected = static_cast<int>(range.expected.size());
        EXPECT_EQ(expected, parameter.GetNKeyFramesInRange(range.from, range.to, &listed));
        EXPECT_EQ(expected, parameter.GetNKeyFramesInRange(range.from, range.to, nullptr));
        listed.pop_front();  // what was in the list stays there
        EXPECT_EQ(range.expected, Times(listed.begin(), listed.end()));
    }

    struct {
        double time;
        int index;
        double previous;  // -1 for none
    } const rows[] = {
        {-1, -1, -1}, {0, 0, -1},         {5e-8, 0, -1},        {2e-7, -1, 0},
        {1, 1, 0},    {1 + 5e-8, 1, 0},   {1 + 2e-7, -1, 1},    {1 - 5e-8, 1, 0},
        {9, -1, 3},   {kInfinity, -1, 3}, {-kInfinity, -1, -1}, {kNan, -1, -1},
    };
    for (auto [time, index, previous] : rows) {
        EXPECT_EQ(index, parameter.GetPointIndex(time)) << time;
        EXPECT_EQ(index >= 0, parameter.HasPoint(time)) << time;
        core::TimeValuePair pair(-1, -1, kLinear);
        EXPECT_EQ(previous >= 0, parameter.GetPreviousKeyframeTime(time, &pair)) << time;
        EXPECT_EQ(previous, pair.GetTime()) << time;
        EXPECT_EQ(previous >= 0, parameter.GetPreviousKeyframeTime(time, nullptr)) << time;
    }
}

TEST(Editing, RefusedCallsChangeNothing) {
    const std::function<bool(Parameter&)> refused[] = {
        [](Parameter& p) { return p.AddPoint(kNan, 1.0, kLinear) != -1; },
        [](Parameter& p) { return p.AddPoint(kInfinity, 1.0, kLinear) != -1; },
        [](Parameter& p) { return p.AddPointEx(-kInfinity, 1.0, kLinear), false; },
        [](Parameter& p) { return p.AddPointEx(kNan, 1.0, kLinear), false; },
        [](Parameter& p) { return p.SetPointTime(1, kNan); },
        [](Parameter& p) { return p.SetPointTime(1, kInfinity); },
        [](Parameter& p) { return p.SetPointTime(1, 2.00000005); },
        [](Parameter& p) { return p.RemoveKeyFramesAfterTime(kNan), false; },
        [](Parameter& p) { return p.SetPointControlParam(1, kNan, 1); },
        [](Parameter& p) { return p.SetPointControlParamEx(1, 1, 1, 1, -kInfinity); },
        [](Parameter& p) { return p.SetPointControlLeftParam(1, 1, kInfinity); },
        [](Parameter& p) { return p.SetPointControlRightParam(1, kNan, 1); },
        [](Parameter& p) { return p.RemoveKeyFramesAfterTime(2), false; },
        [](Parameter& p) { return AnyCallTakes(p, -1); },
        [](Parameter& p) { return AnyCallTakes(p, 3); },
        [](Parameter& p) { return AnyCallTakes(p, std::numeric_limits<int>::min()); },
        [](Parameter& p) { return AnyCallTakes(p, std::numeric_limits<int>::max()); },
    };
    for (const auto& call : refused) {
        Parameter parameter = At({0, 1, 2});
        const std::string before = plain::Print(plain::ReadBack(parameter));
        EXPECT_FALSE(call(parameter)) << "call " << &call - refused;
        EXPECT_EQ(before, plain::Print(plain::ReadBack(parameter))) << "call " << &call - refused;
    }
}

}  // namespace
