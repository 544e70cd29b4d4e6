// Parameters and speed curves where memory runs out: what throws has changed nothing.

#include <core/curve/motion_path.h>
#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>
#include <core/logging/log.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "faults/failing_memory.h"

namespace {

using core::KeyframeInterpolationType;
using core::Parameter;
using core::SpeedParameter;
using core::ValAny;
using faults::TryEachFailure;

constexpr auto kBezier = KeyframeInterpolationType::Bezier;
constexpr auto kHold = KeyframeInterpolationType::Hold;
constexpr auto kLinear = KeyframeInterpolationType::Linear;

// A line for each question without an answer.
[[maybe_unused]] const int isQuiet = CoreLogSetLogSink(0);

const char* const kLongText = "a text that fits in no small string, whoever makes it";

// Everything that can be asked of a curve, as text.
std::string Describe(Parameter& curve) {
    std::string text = curve.Serialize() + curve.GetHashString();
    const bool isNumber = curve.GetParameterType() == core::ParameterDouble;
    for (double time = -1.0; isNumber && time < 12.0; time += 0.75) {
        text += " " + std::to_string(curve.GetValue(time, true).AsDouble());
        text += " " + std::to_string(curve.GetAreaFromTo(-1.0, time, false, 0.0, 0.0));
    }
    // Whether handles still follow.
    Parameter edited(curve);
    edited.AddPoint(0.25, ValAny(0.5), kBezier);
    if (curve.GetParameterType() == core::ParameterPoint && curve.GetKeyFramesCount() > 1) {
        edited.SetPointValue(1, core::Pointd{5.0, 5.0});
    }
    return text + edited.GetHashString();
}

std::unique_ptr<Parameter> Numbers(int count) {
    auto curve = std::make_unique<Parameter>();
    for (int i = 0; i < count; ++i) {
        curve->AddPoint(i, 0.5 * (i % 3), i % 2 == 0 ? kBezier : kLinear);
    }
    return curve;
}

std::unique_ptr<Parameter> Texts() {
    auto curve = std::make_unique<Parameter>(ValAny(kLongText));
    for (int i = 0; i < 4; ++i) {
        curve->AddPoint(i, std::string(kLongText) + std::to_string(i), kHold);
    }
    return curve;
}

std::unique_ptr<Parameter> Path() {
    auto curve = std::make_unique<Parameter>(ValAny(core::Pointd{}));
    for (int i = 0; i < 4; ++i) {
        curve->AddPoint(i, core::Pointd{1.0 * i, 2.0 * (i % 2)}, kBezier);
    }
    return curve;
}

std::unique_ptr<Parameter> NoCurve() {
    return std::make_unique<Parameter>();
}

struct CurveRow {
    const char* name;
    std::function<std::unique_ptr<Parameter>()> make;
    std::function<void(Parameter&)> act;
};

TEST(CurveWithoutMemory, EditsHappenAsAWholeOrNotAtAll) {
    const auto five = [] { return Numbers(5); };
    const std::string other = Numbers(7)->Serialize();
    const std::string texts = Texts()->Serialize();
    const std::vector<CurveRow> rows = {
        {"a text is added", Texts, [](auto& c) { c.AddPoint(1.5, kLongText, kHold); }},
        {"a text replaces one", Texts, [](auto& c) { c.AddPoint(1.0, kLongText, kHold); }},
        {"a point is added", Path, [](auto& c) { c.AddPoint(9.0, core::Pointd{}, kBezier); }},
        {"the first maintained point", Path,
         [](auto& c) {
             c.AddPointEx(9.0, core::Pointd{1, 1}, kBezier);
         }},
        {"a value is set", Texts, [](auto& c) { c.SetPointValue(1, kLongText); }},
        {"a time is set", Texts, [](auto& c) { c.SetPointTime(0, 2.5); }},
        {"a time is set in place", Texts, [](auto& c) { c.SetPointTime(0, 0.5); }},
        {"a type is set", Path, [](auto& c) { c.SetPointInterpolationType(1, kHold); }},
        {"the range is set", Texts, [](auto& c) { c.SetValueRange(kLongText, kLongText); }},
        {"the ratio is set", five, [](auto& c) { c.SetBaseRatio(kLongText); }},
        {"numbers are loaded", five, [=](auto& c) { c.Desialize(other.c_str()); }},
        {"texts are loaded", five, [=](auto& c) { c.Desialize(texts.c_str()); }},
        {"texts are loaded into nothing", NoCurve, [=](auto& c) { c.Desialize(texts.c_str()); }},
        {"a copy is assigned", five, [](auto& c) { c = *Texts(); }},
        {"nothing is assigned", five, [](auto& c) { c = Parameter(); }},
        {"a copy is assigned to nothing", NoCurve, [](auto& c) { c = *Path(); }},
        {"a path is merged and assigned", five,
         [](auto& c) { c = *core::MergeTwoMotionDimensionIntoWhole(*Numbers(3), *Numbers(4)); }},
    };
    for (const CurveRow& row : rows) {
        TryEachFailure(row.name, row.make, row.act, Describe);
    }
    // Whether the store is full or has room.
    for (int count = 0; count <= 9; ++count) {
        const auto make = [count] { return Numbers(count); };
        const std::string name = " to " + std::to_string(count);
        TryEachFailure(
            "a number added" + name, make, [](Parameter& c) { c.AddPoint(20.0, 1.0, kBezier); },
            Describe);
        TryEachFailure(
            "a number added in front" + name, make,
            [](Parameter& c) { c.AddPointEx(-1.0, 1.0, kLinear); }, Describe);
    }
}

TEST(CurveWithoutMemory, QuestionsCanBeAskedAgain) {
    const auto many = [] { return Numbers(20); };
    const std::vector<CurveRow> rows = {
        {"sample", many, [](auto& c) { c.GetValue(1.25, true); }},
        {"sample a path", Path, [](auto& c) { c.GetValue(1.25, false); }},
        {"sample a text", Texts, [](auto& c) { c.GetValue(1.25, false); }},
        {"area", many, [](auto& c) { c.GetAreaFromTo(0.25, 4.0, false, 0.0, 0.0); }},
        {"solve", many, [](auto& c) { c.SolveTimeBaseArea(0.25, 1.0); }},
        {"save", many, [](auto& c) { c.Serialize(); }},
        {"save and keep", Texts, [](auto& c) { c.SerializeEx(); }},
        {"hash", many, [](auto& c) { c.GetHashString(); }},
        {"value", Texts, [](auto& c) { c.GetPointValue(1); }},
        {"range", Texts,
         [](auto& c) {
             ValAny min;
             ValAny max;
             c.GetValueRange(min, max);
         }},
        {"times in a range", many,
         [](auto& c) {
             std::list<double> times;
             c.GetNKeyFramesInRange(1.0, 8.0, &times);
         }},
        {"previous keyframe", Texts,
         [](auto& c) {
             core::TimeValuePair previous;
             c.GetPreviousKeyframeTime(2.5, &previous);
         }},
        {"walk", Texts,
         [](auto& c) {
             const std::unique_ptr<core::ParameterIterator> walk(c.GetParameterIterator(true));
             walk->Current();
         }},
        {"split", Path,
         [](auto& c) {
             Parameter x;
             Parameter y;
             c.SplitIntoTwoMotionDimension(x, y);
         }},
        {"copy", Texts, [](auto& c) { const Parameter copy(c); }},
    };
    for (const CurveRow& row : rows) {
        TryEachFailure(row.name, row.make, row.act, Describe);
    }
}

// Both outputs or none.
TEST(CurveWithoutMemory, ASplitGivesBothPartsOrNone) {
    struct Parts {
        Parameter x{ValAny(1.0)};
        Parameter y{ValAny(2.0)};
    };
    const auto make = [] {
        auto parts = std::make_unique<Parts>();
        parts->x.AddPoint(3.0, 1.0, kHold);
        return parts;
    };
    const std::unique_ptr<Parameter> path = Path();
    TryEachFailure(
        "split", make, [&](Parts& parts) { path->SplitIntoTwoMotionDimension(parts.x, parts.y); },
        [](Parts& parts) { return Describe(parts.x) + Describe(parts.y); });
}

std::string DescribeSpeed(SpeedParameter& speed) {
    std::string text = speed.Serialize() + std::to_string(speed.GetRenderTotalTime());
    for (double time = -1.0; time < 20.0; time += 0.75) {
        for (const double answer : {speed.GetSourceTime(time), speed.GetRenderTime(time),
                                    speed.PointTimeToRenderTime(time),
                                    speed.RenderTimeToPointTime(time), speed.GetCurrentFPS(time)}) {
            text += " " + std::to_string(answer);
        }
    }
    for (int i = 0; i < 12; ++i) {
        double a = 0.0;
        double b = 0.0;
        double c = 0.0;
        double d = 0.0;
        speed.GetVelocityTimeCurve(a, b, c, d, i);
        text += " " + std::to_string(a) + " " + std::to_string(b);
    }
    text += std::to_string(speed.GetParameterInternal()->GetKeyFramesCount());
    text += std::to_string(speed.GetParameterSource()->GetKeyFramesCount());
    return text;
}

std::unique_ptr<SpeedParameter> Speeds(int freezes) {
    auto speed = std::make_unique<SpeedParameter>();
    speed->SetSourceTotalTime(10.0);
    speed->AddPoint(4.0, 2.0, kLinear);
    speed->AddPoint(7.0, 0.5, kHold);
    for (int i = 0; i < freezes; ++i) {
        speed->AddFreezeFrame(1.0 + i, 0.5);
    }
    return speed;
}

using SpeedRows = std::vector<std::pair<const char*, std::function<void(SpeedParameter&)>>>;

void TryEachRow(const SpeedRows& rows) {
    for (const int freezes : {0, 4}) {
        for (const auto& [name, act] : rows) {
            TryEachFailure(
                name, [=] { return Speeds(freezes); }, act, DescribeSpeed);
        }
    }
}

TEST(SpeedWithoutMemory, EditsHappenAsAWholeOrNotAtAll) {
    const std::string other = Speeds(3)->Serialize();
    // Two keyframes that stand still.
    auto still = Speeds(0);
    still->AddPoint(2.0, 0.0, kHold);
    still->AddPoint(5.0, 0.0, kHold);
    const std::string older = still->Parameter::Serialize();
    const SpeedRows rows = {
        {"a speed is added", [](auto& s) { s.AddPoint(5.5, 3.0, kHold); }},
        {"a freeze is added", [](auto& s) { s.AddFreezeFrame(5.75, 1.0); }},
        {"a freeze at a keyframe", [](auto& s) { s.AddFreezeFrame(0.0, 1.0); }},
        {"a freeze is changed", [](auto& s) { s.SetFreezeFrameDuration(0, 2.0); }},
        {"a length is set", [](auto& s) { s.SetSourceTotalTime(12.0); }},
        {"a length is set to a keyframe", [](auto& s) { s.SetSourceTotalTime(4.0); }},
        {"loaded", [=](auto& s) { s.Desialize(other.c_str()); }},
        {"loaded from an older text", [=](auto& s) { s.Desialize(older.c_str()); }},
        {"a copy is assigned", [](auto& s) { s = *Speeds(2); }},
        {"a copy with still keyframes is assigned", [&](auto& s) { s = *still; }},
        {"reversed", [](auto& s) { s = *s.RevertSpeedParameter(); }},
        {"a curve without freezes is assigned",
         [](auto& s) {
             std::shared_ptr<SpeedParameter> source;
             core::ZYLCoreCreateSourceTimeSpeedObj(std::make_shared<SpeedParameter>(s), source);
             s = *source;
         }},
    };
    TryEachRow(rows);
}

TEST(SpeedWithoutMemory, QuestionsCanBeAskedAgain) {
    const SpeedRows rows = {
        {"source time", [](auto& s) { s.GetSourceTime(3.0); }},
        {"render time", [](auto& s) { s.GetRenderTime(3.0); }},
        {"total time", [](auto& s) { s.GetRenderTotalTime(); }},
        {"velocity",
         [](auto& s) {
             double a = 0.0;
             s.GetVelocityTimeCurve(a, a, a, a, 1);
         }},
        {"velocity in reverse",
         [](auto& s) {
             const auto reversed = s.RevertSpeedParameter();
             reversed->SetReverse(true);
             double a = 0.0;
             reversed->GetVelocityTimeCurve(a, a, a, a, 1);
         }},
        {"save", [](auto& s) { s.Serialize(); }},
        {"save and keep", [](auto& s) { s.SerializeEx(); }},
        {"render curve", [](auto& s) { s.GetParameterInternal(); }},
        {"source curve", [](auto& s) { s.GetParameterSource(); }},
        {"copy", [](auto& s) { const SpeedParameter copy(s); }},
    };
    TryEachRow(rows);
}

}  // namespace
