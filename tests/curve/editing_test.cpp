#include <core/curve/parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <list>
#include <string>
#include <vector>

#include "support/curve_gallery.h"
#include "support/curve_oracle.h"
#include "support/dice.h"

namespace {

using core::KeyframeInterpolationType;
using core::Parameter;
using core::Pointd;
using core::ValAny;
using plain::Curve;
using plain::Key;

const double kInfinity = std::numeric_limits<double>::infinity();
const double kNan = std::numeric_limits<double>::quiet_NaN();
const KeyframeInterpolationType kLinear = KeyframeInterpolationType::Linear;

bool Matches(double a, double b) {
    return std::fabs(a - b) < 1e-7;
}

/// A plain store of keyframes, which knows which handles its caller has set.
struct Model {
    struct Entry {
        Key key;
        bool leftIsSet = false;
        bool rightIsSet = false;
    };
    std::vector<Entry> entries;

    int Find(double time) const {
        int nearest = -1;
        for (int i = 0; i < Count(); ++i) {
            double distance = std::fabs(TimeOf(i) - time);
            if (distance < 1e-7 && (nearest < 0 || distance < std::fabs(TimeOf(nearest) - time))) {
                nearest = i;
            }
        }
        return nearest;
    }
    int Add(const Entry& entry) {
        std::erase_if(entries, [&](const Entry& e) { return Matches(e.key.time, entry.key.time); });
        auto later = [&](const Entry& e) { return e.key.time > entry.key.time; };
        auto place = std::find_if(entries.begin(), entries.end(), later);
        place = entries.insert(place, entry);
        return static_cast<int>(place - entries.begin());
    }
    bool Retime(int index, double time) {
        for (int i = 0; i < Count(); ++i) {
            if (i != index && Matches(TimeOf(i), time)) {
                return false;
            }
        }
        Entry moved = At(index);
        entries.erase(entries.begin() + index);
        moved.key.time = time;
        Add(moved);
        return true;
    }
    int Count() const { return static_cast<int>(entries.size()); }
    Entry& At(int index) { return entries[static_cast<std::size_t>(index)]; }
    double TimeOf(int index) const { return entries[static_cast<std::size_t>(index)].key.time; }
    Curve Keys() const {
        Curve curve;
        for (const Entry& entry : entries) {
            curve.push_back(entry.key);
        }
        return curve;
    }
};

bool IsNear(Pointd a, Pointd b, double tolerance) {
    return std::fabs(a.x - b.x) <= tolerance * (1 + std::fabs(b.x)) &&
           std::fabs(a.y - b.y) <= tolerance * (1 + std::fabs(b.y));
}

/// The keyframes as a fresh curve has them, inserted in a random order.
Curve BuiltAfresh(const Curve& keys, Dice& dice) {
    Curve shuffled = keys;
    for (std::size_t i = shuffled.size(); i > 1; --i) {
        std::swap(shuffled[i - 1],
                  shuffled[static_cast<std::size_t>(dice.Below(static_cast<int>(i)))]);
    }
    Parameter fresh = plain::BuildAutomatic(shuffled);
    return plain::ReadBack(fresh);
}

/// Everything that must hold after any edit.
void ExpectSameCurve(Parameter& parameter, Model& model, Dice& dice) {
    Curve actual = plain::ReadBack(parameter);
    ASSERT_EQ(model.Count(), static_cast<int>(actual.size()));
    Curve freshCurve = BuiltAfresh(model.Keys(), dice);
    Parameter twin = plain::Build(actual);
    for (int i = 0; i < model.Count(); ++i) {
        const Model::Entry& entry = model.At(i);
        const Key& key = actual[static_cast<std::size_t>(i)];
        const Key& automatic = freshCurve[static_cast<std::size_t>(i)];
        SCOPED_TRACE("keyframe " + std::to_string(i));
        ASSERT_EQ(entry.key.time, key.time);
        ASSERT_EQ(entry.key.value, key.value);
        ASSERT_EQ(entry.key.type, key.type);
        // Handles set by the caller stay; the others are those of a fresh curve,
        // but for `Extrapolate`, which neighbours leave alone.
        auto isRight = [&](Pointd handle, bool isSet, Pointd set, Pointd fresh) {
            return isSet ? handle == set : key.type == 26 || IsNear(handle, fresh, 1e-12);
        };
        ASSERT_TRUE(isRight(key.left, entry.leftIsSet, entry.key.left, automatic.left) &&
                    isRight(key.right, entry.rightIsSet, entry.key.right, automatic.right))
            << (entry.leftIsSet ? "left set by the caller, " : "")
            << (entry.rightIsSet ? "right set by the caller, " : "") << "expected:\n"
            << plain::Print({entry.key}) << "fresh:\n"
            << plain::Print(freshCurve);
        if (i + 1 == model.Count()) {
            break;
        }
        const Key& next = actual[static_cast<std::size_t>(i + 1)];
        double time = dice.Between(key.time, next.time);
        double value = parameter.GetValue(time, false).AsDouble();
        // Nothing is left over from before the edit.
        ASSERT_EQ(twin.GetValue(time, false).AsDouble(), value);
        if (dice.OneIn(4)) {
            ASSERT_EQ(twin.GetAreaFromTo(0, time, false, 0, 0),
                      parameter.GetAreaFromTo(0, time, false, 0, 0));
        }
        if (key.type == 1 && !plain::IsBezier(next.type) && !entry.rightIsSet &&
            (next.type == 1 || !model.At(i + 1).leftIsSet)) {
            double part = (time - key.time) / (next.time - key.time);
            ASSERT_NEAR(key.value + part * (next.value - key.value), value,
                        1e-12 * (std::fabs(key.value) + std::fabs(next.value)))
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
            const std::string what = Edit();
            SCOPED_TRACE("on " + before + what + " gave\n" +
                         plain::Print(plain::ReadBack(parameter)));
            ExpectSameCurve(parameter, model, dice);
        }
    }

private:
    /// On a coarse grid, often only just beside it; but not where slopes between
    /// two close keyframes would swallow the handles that a caller sets.
    double AnyTime() {
        static const std::vector<double> offsets = {0,    0,     4e-8, -4e-8,  9e-8,
                                                    1e-7, -1e-7, 2e-7, 1.1e-7, -1.6e-7};
        double time = isTicks ? 2e6 + 1e6 * dice.Below(9) : -2.0 + 0.5 * dice.Below(9);
        return setHandles ? time : time + dice.Pick(offsets);
    }
    double AnyValue() { return dice.OneIn(5) ? 2.0 : dice.Between(-10, 10); }

    std::string Edit() {
        int index = dice.Below(model.Count() + 2) - 1;
        bool valid = index >= 0 && index < model.Count();
        Key key;
        key.time = AnyTime();
        key.value = AnyValue();
        key.type = dice.Pick(types);
        auto type = static_cast<KeyframeInterpolationType>(key.type);
        char line[120];
        auto describe = [&](const char* edit) {
            std::snprintf(line, sizeof line, "%s(%d, %.17g, %g, %d)", edit, index, key.time,
                          key.value, key.type);
            return std::string(line);
        };
        switch (dice.Below(setHandles ? 12 : 9)) {
            default:
                EXPECT_EQ(model.Add({key}), parameter.AddPoint(key.time, key.value, type));
                return describe("AddPoint");
            case 1:
                model.Add({key});
                parameter.AddPointEx(key.time, key.value, type);
                return describe("AddPointEx");
            case 2:
            case 3:
                EXPECT_EQ(valid, parameter.RemovePoint(index));
                if (valid) {
                    model.entries.erase(model.entries.begin() + index);
                }
                return describe("RemovePoint");
            case 4:
            case 5:
                EXPECT_EQ(valid && model.Retime(index, key.time),
                          parameter.SetPointTime(index, key.time));
                return describe("SetPointTime");
            case 6:
                EXPECT_EQ(valid, parameter.SetPointValue(index, key.value));
                if (valid) {
                    model.At(index).key.value = key.value;
                }
                return describe("SetPointValue");
            case 7:
                EXPECT_EQ(valid, parameter.SetPointInterpolationType(index, type));
                if (valid && model.At(index).key.type != key.type) {
                    model.At(index).key.type = key.type;
                    model.At(index).leftIsSet = model.At(index).rightIsSet = false;
                }
                return describe("SetPointInterpolationType");
            case 8:
                if (dice.OneIn(3)) {
                    parameter.RemoveKeyFramesAfterTime(key.time);
                    std::erase_if(model.entries, [&](auto& e) { return e.key.time > key.time; });
                }
                return describe("RemoveKeyFramesAfterTime");
            case 9:
            case 10:
            case 11:
                return describe(SetHandles(index, valid));
        }
    }

    const char* SetHandles(int index, bool valid) {
        // Far from what the refresh would write, also between two close keyframes.
        Pointd left = {dice.Between(20, 30), dice.Between(20, 30)};
        Pointd right = {dice.Between(20, 30), dice.Between(20, 30)};
        int sides = 1 + dice.Below(4);
        const char* name = "SetPointControlParamEx";
        if (sides == 1) {
            name = "SetPointControlLeftParam";
            EXPECT_EQ(valid, parameter.SetPointControlLeftParam(index, left.x, left.y));
        } else if (sides == 2) {
            name = "SetPointControlRightParam";
            EXPECT_EQ(valid, parameter.SetPointControlRightParam(index, right.x, right.y));
        } else if (sides == 3) {
            EXPECT_EQ(valid,
                      parameter.SetPointControlParamEx(index, left.x, left.y, right.x, right.y));
        } else {
            name = "SetPointControlParam";
            double x;
            parameter.GetPointControlLeftParam(index, x, left.y);
            parameter.GetPointControlRightParam(index, x, right.y);
            EXPECT_EQ(valid, parameter.SetPointControlParam(index, left.x, right.x));
        }
        if (valid && sides != 2) {
            model.At(index).leftIsSet = true;
            model.At(index).key.left = left;
        }
        if (valid && sides != 1) {
            model.At(index).rightIsSet = true;
            model.At(index).key.right = right;
        }
        return name;
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
        for (bool ticks : {false, true}) {
            for (bool setHandles : {false, true}) {
                for (int round = 0; round < 12; ++round) {
                    ++seed;
                    SCOPED_TRACE(std::string(palette.name) + ", seed " + std::to_string(seed));
                    Script(seed, palette.types, ticks, setHandles).Run(round < 6 ? 8 : 60);
                    if (HasFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

TEST(Editing, AutomaticHandlesFollowTheirTypesRule) {
    Dice dice(22);
    const std::vector<int> curved = {0, 1, 2, 5, 7, 8, 9, 10, 11, 12, 13, 15};
    for (int round = 0; round < 400; ++round) {
        Curve curve;
        double time = round % 3 == 0 ? 2e6 : round % 3 == 1 ? 0.0 : -7.0;
        double unit = round % 2 == 0 && time >= 0 ? 1e6 : 1.0;
        for (int n = 2 + dice.Below(5); n > 0; --n) {
            curve.push_back(
                {time, dice.Between(-10, 10), dice.Pick(round < 200 ? curved : gallery::Types())});
            time += unit * dice.Between(0.2, 3);
        }
        Parameter parameter = plain::BuildAutomatic(curve);
        Curve actual = plain::ReadBack(parameter);
        Curve expected = plain::WithAutomaticHandles(curve);
        for (std::size_t i = 0; i < curve.size(); ++i) {
            const double numbers[][2] = {{expected[i].left.x, actual[i].left.x},
                                         {expected[i].left.y, actual[i].left.y},
                                         {expected[i].right.x, actual[i].right.x},
                                         {expected[i].right.y, actual[i].right.y}};
            for (auto [want, have] : numbers) {
                ASSERT_TRUE(std::isnan(want) || std::fabs(want - have) <= 1e-12 * std::fabs(want))
                    << "keyframe " << i << ": " << have << ", expected " << want << "\n"
                    << plain::Print(actual);
            }
        }
    }
}

TEST(Editing, HandlesThatWereRoundedBySavingStillFollow) {
    auto saved = [](double number) {
        char text[400];
        std::snprintf(text, sizeof text, "%.8f", number);
        return std::strtod(text, nullptr);
    };
    Dice dice(23);
    for (int round = 0; round < 200; ++round) {
        Curve curve;
        for (int i = 0; i < 6; ++i) {
            curve.push_back({0.3 * i + dice.Between(0, 0.2), dice.Between(-100, 100),
                             dice.Pick(gallery::Types())});
        }
        Parameter parameter = plain::BuildAutomatic(curve);
        curve = plain::ReadBack(parameter);
        for (Key& key : curve) {
            key.left = {saved(key.left.x), saved(key.left.y)};
            key.right = {saved(key.right.x), saved(key.right.y)};
        }
        parameter = plain::Build(curve);
        int index = dice.Below(6);
        if (dice.OneIn(2)) {
            curve[static_cast<std::size_t>(index)].value = dice.Between(-100, 100);
            parameter.SetPointValue(index, curve[static_cast<std::size_t>(index)].value);
        } else {
            curve.erase(curve.begin() + index);
            parameter.RemovePoint(index);
        }
        Curve actual = plain::ReadBack(parameter);
        Curve fresh = BuiltAfresh(curve, dice);
        for (std::size_t i = 0; i < curve.size(); ++i) {
            ASSERT_TRUE(curve[i].type == 26 || (IsNear(actual[i].left, fresh[i].left, 1e-8) &&
                                                IsNear(actual[i].right, fresh[i].right, 1e-8)))
                << "keyframe " << i << " of\n"
                << plain::Print(actual) << "fresh\n"
                << plain::Print(fresh);
        }
    }
}

TEST(Editing, HandlesOfTheCallerOutliveAnyNeighbour) {
    for (int type : gallery::Types()) {
        for (int typeAfter : gallery::Types()) {
            for (double gap : {1e-3, 0.04}) {
                for (int neighbour : {0, 2}) {
                    Curve curve = {{-gap, 2, 7}, {0, 2, type}, {gap, 2, typeAfter}, {1, 5, 7}};
                    Parameter parameter = plain::BuildAutomatic(curve);
                    parameter.SetPointControlParam(1, 0.3, 0.3);
                    parameter.RemovePoint(neighbour);
                    curve = plain::ReadBack(parameter);
                    const Key& key = curve[neighbour == 0 ? 0 : 1];
                    ASSERT_TRUE(key.left.x == 0.3 && key.right.x == 0.3) << plain::Print(curve);
                }
            }
        }
    }
}

TEST(Editing, PathsKeepTheirHandlesAtTheThirdsOnceTheyAreMaintained) {
    auto handles = [](Parameter& path, int index) {
        Pointd left, right;
        path.GetPointControlParamEx(index, left.x, left.y, right.x, right.y);
        return std::pair(left, right);
    };
    auto expectThirds = [&](Parameter& path, int index) {
        Pointd from = path.GetPointValue(index).AsPoint();
        Pointd to = path.GetPointValue(index + 1).AsPoint();
        Pointd first = {from.x + (to.x - from.x) / 3, from.y + (to.y - from.y) / 3};
        Pointd second = {from.x + (to.x - from.x) * 2 / 3, from.y + (to.y - from.y) * 2 / 3};
        EXPECT_TRUE(IsNear(handles(path, index).second, first, 1e-12)) << index;
        EXPECT_TRUE(IsNear(handles(path, index + 1).first, second, 1e-12)) << index;
    };
    for (int type : {0, 1, 6, 7, 9, 12, 13, 16, 25, 27}) {
        SCOPED_TRACE(type);
        auto kind = static_cast<KeyframeInterpolationType>(type);
        Parameter path;
        path.SetParameterType(core::ParameterPoint);
        EXPECT_EQ(0, path.AddPoint(0, Pointd{1, 2}, kind));
        path.AddPoint(1, Pointd{4, -1}, kind);
        EXPECT_TRUE(handles(path, 0).second == Pointd() && handles(path, 1).first == Pointd());

        path.ClearKeyFrames();
        path.AddPointEx(3, Pointd{7, 5}, kind);
        path.AddPointEx(0, Pointd{1, 2}, kind);
        path.AddPointEx(1, Pointd{4, -1}, kind);
        for (int edit = 0; edit < 5; ++edit) {
            if (edit == 1) {
                path.SetPointValue(1, Pointd{-10, 3});
            } else if (edit == 2) {
                path.AddPointEx(4, Pointd{0, 0}, kind);
            } else if (edit == 3) {
                path.RemovePoint(1);
            } else if (edit == 4) {
                path.SetPointTime(0, 3.5);
            }
            for (int i = 0; i + 1 < path.GetKeyFramesCount(); ++i) {
                expectThirds(path, i);
            }
        }
        path.SetPointControlRightParam(1, 100, 200);
        path.SetPointValue(2, Pointd{9, 9});
        path.SetPointValue(0, Pointd{8, 8});
        EXPECT_EQ((Pointd{100, 200}), handles(path, 1).second);
        expectThirds(path, 0);
    }
}

TEST(Editing, ValuesThatAreNoNumbersNeverDisturbAnEdit) {
    const std::vector<ValAny> values = {"text", 1.5,       Pointd{1, 2}, nullptr, true,
                                        kNan,   kInfinity, 1e308,        -1e308};
    Dice dice(24);
    for (int parameterType = 0; parameterType <= 4; ++parameterType) {
        Parameter parameter;
        parameter.SetParameterType(static_cast<core::ParameterTypeEnum>(parameterType));
        for (int n = 0; n < 500; ++n) {
            double time = dice.Below(8);
            auto type = static_cast<KeyframeInterpolationType>(dice.Pick(gallery::Types()));
            const ValAny& value = dice.Pick(values);
            int index = dice.Below(8);
            if (n % 2 == 0) {
                EXPECT_LE(0, parameter.AddPoint(time, value, type));
            } else {
                parameter.AddPointEx(time, value, type);
            }
            parameter.SetPointValue(index, dice.Pick(values));
            parameter.SetPointInterpolationType(index, type);
            parameter.SetPointTime(index, dice.Between(0, 8));
            parameter.RemovePoint(dice.Below(8));
        }
        for (int i = 1; i < parameter.GetKeyFramesCount(); ++i) {
            EXPECT_LT(parameter.GetPointTime(i - 1), parameter.GetPointTime(i));
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

std::vector<double> TimesOf(Parameter& parameter) {
    std::vector<double> times;
    for (int i = 0; i < parameter.GetKeyFramesCount(); ++i) {
        times.push_back(parameter.GetPointTime(i));
    }
    return times;
}
using Times = std::vector<double>;

TEST(Editing, TimesMatchStrictlyWithinTheirTolerance) {
    Parameter parameter = At({1.0});
    EXPECT_EQ(0, parameter.AddPoint(1.00000005, 7.0, kLinear));
    EXPECT_EQ(Times{1.00000005}, TimesOf(parameter));
    EXPECT_EQ(7.0, parameter.GetPointValue(0).AsDouble());
    EXPECT_EQ(1, parameter.AddPoint(1.0000003, 8.0, kLinear));
    EXPECT_EQ(2, parameter.GetKeyFramesCount());

    // One new keyframe takes the place of both that it matches.
    Parameter close = At({0.0, 1.0, 1.00000012, 2.0});
    ASSERT_EQ(4, close.GetKeyFramesCount());
    EXPECT_EQ(1, close.AddPoint(1.00000006, 5.0, kLinear));
    EXPECT_EQ((Times{0.0, 1.00000006, 2.0}), TimesOf(close));
    close = At({0.0, 1.0, 1.00000012, 2.0});
    EXPECT_FALSE(close.SetPointTime(0, 1.00000006));
    EXPECT_FALSE(close.SetPointTime(1, 1.00000006));
    EXPECT_TRUE(close.SetPointTime(1, 0.99999999));  // its own time is no obstacle
    EXPECT_EQ(1, close.GetPointIndex(1.00000004));
    EXPECT_EQ(2, close.GetPointIndex(1.00000008));

    // Far out, where neighbouring times are further apart than the tolerance.
    const double far = 4e9;
    Parameter ticks = At({far, std::nextafter(far, kInfinity)});
    EXPECT_EQ(2, ticks.GetKeyFramesCount());
    EXPECT_EQ(0, ticks.AddPoint(far, 1.0, kLinear));
    EXPECT_EQ(2, ticks.GetKeyFramesCount());
    EXPECT_EQ(1, ticks.GetPointIndex(std::nextafter(far, kInfinity)));
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
        {2.5, 99, {3}},
        {3, 3, {3}},
        {3.5, 99, {}},
        {1.5, 1, {1.5}},
        {-kInfinity, kInfinity, {0, 1, 1.5, 2, 3}},
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
    EXPECT_EQ(0, At({0, 0.5}).GetNKeyFramesInRange(1, 2, nullptr));

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
        core::TimeValuePair pair(-5, -5, kLinear);
        EXPECT_EQ(previous >= 0, parameter.GetPreviousKeyframeTime(time, &pair)) << time;
        EXPECT_EQ(previous >= 0 ? previous : -5, pair.GetTime()) << time;
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
        [](Parameter& p) { return p.RemoveKeyFramesAfterTime(kInfinity), false; },
        [](Parameter& p) { return p.RemoveKeyFramesAfterTime(2), false; },
    };
    for (const auto& call : refused) {
        Parameter parameter = At({0, 1, 2});
        const std::string before = plain::Print(plain::ReadBack(parameter));
        EXPECT_FALSE(call(parameter)) << "call " << &call - refused;
        EXPECT_EQ(before, plain::Print(plain::ReadBack(parameter))) << "call " << &call - refused;
    }
    Parameter parameter = At({0, 1, 2});
    const std::string before = plain::Print(plain::ReadBack(parameter));
    const int lowest = std::numeric_limits<int>::min();
    for (int index : {-1, 3, lowest, std::numeric_limits<int>::max()}) {
        double a = 7, b = 7, c = 7, d = 7;
        EXPECT_FALSE(parameter.RemovePoint(index) || parameter.SetPointTime(index, 5) ||
                     parameter.SetPointValue(index, 5.0) ||
                     parameter.SetPointInterpolationType(index, kLinear) ||
                     parameter.SetPointControlParam(index, 1, 1) ||
                     parameter.SetPointControlParamEx(index, 1, 1, 1, 1) ||
                     parameter.SetPointControlLeftParam(index, 1, 1) ||
                     parameter.SetPointControlRightParam(index, 1, 1) ||
                     parameter.GetPointControlParam(index, a, b) ||
                     parameter.GetPointControlParamEx(index, a, b, c, d) ||
                     parameter.GetPointControlLeftParam(index, a, b) ||
                     parameter.GetPointControlRightParam(index, c, d));
        EXPECT_TRUE(a == 7 && b == 7 && c == 7 && d == 7);
        EXPECT_TRUE(parameter.GetPointValue(index).IsEmpty());
        EXPECT_EQ(0.0, parameter.GetPointTime(index));
        EXPECT_EQ(KeyframeInterpolationType::Extrapolate, parameter.GetInterpolationType(index));
    }
    EXPECT_EQ(before, plain::Print(plain::ReadBack(parameter)));
}

TEST(Editing, HandlesReadBackAsTheyWereSet) {
    Parameter parameter = At({0, 1, 2});
    double a, b, c, d;
    EXPECT_TRUE(parameter.SetPointControlParamEx(1, 1, 2, 3, 4));
    EXPECT_TRUE(parameter.GetPointControlParam(1, a, b));
    EXPECT_TRUE(a == 1 && b == 3);
    EXPECT_TRUE(parameter.SetPointControlParam(1, 5, 6));
    EXPECT_TRUE(parameter.GetPointControlLeftParam(1, a, b));
    EXPECT_TRUE(parameter.GetPointControlRightParam(1, c, d));
    EXPECT_TRUE(a == 5 && b == 2 && c == 6 && d == 4);
    EXPECT_TRUE(parameter.SetPointControlLeftParam(1, 7, 8));
    EXPECT_TRUE(parameter.SetPointControlRightParam(1, 9, 10));
    EXPECT_TRUE(parameter.GetPointControlParamEx(1, a, b, c, d));
    EXPECT_TRUE(a == 7 && b == 8 && c == 9 && d == 10);
    // Only a change of the type sets them again.
    EXPECT_TRUE(parameter.SetPointInterpolationType(1, kLinear));
    EXPECT_TRUE(parameter.GetPointControlParam(1, a, b));
    EXPECT_TRUE(a == 7 && b == 9);
    EXPECT_TRUE(parameter.SetPointInterpolationType(1, KeyframeInterpolationType::HermiteFlat));
    EXPECT_TRUE(parameter.GetPointControlParam(1, a, b));
    EXPECT_TRUE(a == 1 && b == 0);  // straight where it comes from, flat where it goes
}

}  // namespace
