#include <core/core.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/answered.h"
#include "support/curve_words.h"
#include "support/file_rows.h"
#include "support/logged.h"

// What functions answer and make of every exhibit, as it was when it was recorded: for what no
// property tells. A change that is meant, and a row that is added, is recorded by
// CORE_RECORD=tests/files/recorded_curves.txt core_tests --gtest_filter=RecordedCurves.*
namespace {

using namespace core;
using Type = KeyframeInterpolationType;

// A call with a row's numbers, and what it said.
struct Call {
    Parameter& curve;
    Times numbers;
    CurveSnapshot now = curve.Snapshot();
    int count = now.GetKeyFramesCount();
    double first = curve.GetPointTime(0);
    double width = count == 1 ? 1.0 : curve.GetPointTime(count - 1) - first;
    support::Answered said = {};

    double operator[](std::size_t i) const { return numbers.at(i); }
    int Int(std::size_t i) const { return static_cast<int>(numbers.at(i)); }
    int Index(std::size_t i) const { return static_cast<int>(std::floor(numbers.at(i) * count)); }
    double At(std::size_t i) const { return first + numbers.at(i) * width; }
    ValAny Value(std::size_t i) const { return now.GetValue(At(i), false); }
    Times Parts(double from = -0.1927, double to = 1.3) const {
        Times times;
        for (double part = from; part < to; part += (to - from) / 37.3) {
            times.push_back(first + part * width);
        }
        return times;
    }

    Call& operator<<(double x) {
        said.Add(x);
        return *this;
    }
    Call& operator<<(Pointd p) { return *this << p.x << p.y; }
    Call& operator<<(const CurveEditResult& done) { return *this << done.reason; }
    Call& operator<<(const std::string& text) {
        said.Add(text);
        return *this;
    }
    Call& operator<<(const ValAny& value) {
        said.words += std::to_string(value.Kind());
        return value.IsNumber()                  ? *this << value.AsDouble()
               : value.Kind() == ValAny::kPoint  ? *this << value.AsPoint()
               : value.Kind() == ValAny::kString ? *this << value.AsString()
               : value.IsEmpty()                 ? *this
                                                 : *this << double(value.AsBool());
    }
    Call& operator<<(const CurveSnapshot& made) {
        const std::string text = made.Serialize();
        *this << text.substr(0, text.find("\"MD5\""));
        for (int i = 0; i < 2 * made.GetKeyFramesCount(); ++i) {
            said.words += IsHandleSet(made, i / 2, HandleSide(i % 2)) ? 'X' : 'x';
        }
        for (const double t : Parts()) {
            *this << made.GetValue(t, false) << made.GetValue(t, true);
        }
        return *this;
    }
};

template <class Value>
void Fit(Call& a) {
    const Times times = a.Parts(0, 1);
    std::vector<Value> values(times.size());
    a.now.GetValues(times.data(), times.size(), false, values.data());
    a << FitKeyframes(times.data(), values.data(), times.size(), a[0], a.curve);
}

const std::map<std::string, void (*)(Call&)> kCalls = {
    {"SetValueRange", [](Call& a) { a.curve.SetValueRange(a.Value(0), a.Value(1)); }},
    {"SetBaseRatio", [](Call& a) { a.curve.SetBaseRatio(a[0]); }},
    {"GetArea",
     [](Call& a) {
         for (const double t : a.Parts()) {
             const double area = a.now.GetAreaFromTo(t, a.At(0));
             a << area << a.now.SolveTimeBaseArea(a.At(1), area / 3);
         }
     }},
    {"Shape",
     [](Call& a) {
         for (const double t : a.Parts()) {
             const CurveSlopes slopes = SlopesAt(a.now, t);
             const ValueExtremes found = FindExtremes(a.now, t, a.At(0));
             a << slopes.before << slopes.after << found.least << found.greatest;
             a << found.leastTime << found.greatestTime;
             const double value = a.now.GetValue(t, false).AsDouble();
             for (const double time : FindTimesOfValue(a.now, value, a.At(1), a.At(2))) {
                 a << time;
             }
         }
     }},
    {"ExtendedCurve",
     [](Call& a) {
         const ExtendedCurve on(a.now, {OutsideRule(a.Int(0)), OutsideRule(a.Int(1))});
         for (const double t : a.Parts(-3.3, 4.3)) {
             a << on.GetValue(t, true) << on.GetAreaFromTo(a.first, t);
         }
     }},
    {"GetSegment",
     [](Call& a) {
         for (int i = -1; i <= a.count; ++i) {
             const double time = a.curve.GetPointTime(i) + a[4];
             SegmentCubic s;
             CubicBezierEasing e;
             double x[4] = {a[0], a[1], a[2], a[3]};
             a << GetSegmentCubic(a.now.GetKeyframe(i), a.now.GetKeyframe(i + 1),
                                  a.now.GetParameterType(), s);
             a << s.start << s.startControl << s.endControl << s.end << int(s.group);
             a << GetSegmentEasing(a.now, i, e) << Pointd{e.x1, e.y1} << Pointd{e.x2, e.y2};
             a << FindNextKeyframe(a.now, time) << FindPreviousKeyframe(a.now, time);
             a << a.curve.TransferAbsoluteParamToRelative(i, x[0], x[1], x[2], x[3]);
             a << Pointd{x[0], x[1]} << Pointd{x[2], x[3]};
             a << a.curve.TransferRelativeParamToAbsolute(i, x[1], x[0], x[3], x[2]);
             a << Pointd{x[0], x[1]} << Pointd{x[2], x[3]};
             a << a.curve.GetPointControlParamOnCurve(time, x[0], x[1], x[2], x[3], a[5] > 0);
             a << Pointd{x[0], x[1]} << Pointd{x[2], x[3]};
         }
     }},
    {"AddPoint", [](Call& a) { a.curve.AddPoint(a.At(0), a.Value(1), Type(a.Int(2))); }},
    {"AddPointEx", [](Call& a) { a.curve.AddPointEx(a.At(0), a.Value(1), Type(a.Int(2))); }},
    {"SetPointValue", [](Call& a) { a << a.curve.SetPointValue(a.Index(0), a.Value(1)); }},
    {"SetPointTime", [](Call& a) { a << a.curve.SetPointTime(a.Index(0), a.At(1)); }},
    {"SetType",
     [](Call& a) { a << a.curve.SetPointInterpolationType(a.Index(0), Type(a.Int(1))); }},
    {"SetControl", [](Call& a) { a << a.curve.SetPointControlParam(a.Index(0), a[1], a[2]); }},
    {"RemovePoint", [](Call& a) { a << a.curve.RemovePoint(a.Index(0)); }},
    {"RemoveAfter", [](Call& a) { a.curve.RemoveKeyFramesAfterTime(a.At(0)); }},
    {"GetHashString", [](Call& a) { a.said.words += a.curve.GetHashString(); }},
    {"Desialize", [](Call& a) { a << a.curve.Desialize(a.now.Serialize().c_str()); }},
    {"InsertKeyframe",
     [](Call& a) {
         const KeyframeInsertion done = InsertKeyframe(a.curve, a.At(0));
         a << done.reason << done.index << done.added;
     }},
    {"ShiftRange",
     [](Call& a) {
         a << ShiftRange(a.curve, a.At(0), a.At(1), a[2] * a.width, Meeting(a.Int(3)));
     }},
    {"ScaleRange",
     [](Call& a) { a << ScaleRange(a.curve, a.At(0), a.At(1), a.At(2), a[3], Meeting(a.Int(4))); }},
    {"ReverseRange", [](Call& a) { a << ReverseRange(a.curve, a.At(0), a.At(1)); }},
    {"RemoveRange", [](Call& a) { a << RemoveRange(a.curve, a.At(0), a.At(1), Ripple(a.Int(2))); }},
    {"InsertCurve",
     [](Call& a) {
         Parameter copy;
         a << CopyRange(a.now, a.At(0), a.At(1), copy) << copy.Snapshot();
         if (a.numbers.size() > 5) {
             a << ChangeTimeBase(copy, {1, 1}, {a.Int(5), 1});
         }
         const CurveSnapshot cut = copy.Snapshot();
         a << InsertCurve(a.curve, a.At(2), cut, Ripple(a.Int(3)), Meeting(a.Int(4)));
     }},
    {"ChangeTimeBase",
     [](Call& a) {
         a << ChangeTimeBase(a.curve, {a.Int(0), a.Int(1)}, {a.Int(2), a.Int(3)});
     }},
    {"BakeCurve",
     [](Call& a) {
         a << BakeCurve(a.now, {7, 3}, {a.Int(2), 1}, a.At(0), a.At(0) + a[1], a.curve);
     }},
    {"ReduceKeyframes", [](Call& a) { a << ReduceKeyframes(a.curve, a.At(0), a.At(1), a[2]); }},
    {"FitKeyframes", Fit<double>},
    {"FitPath", Fit<Pointd>},
    {"SetSegmentEasing",
     [](Call& a) {
         a << SetSegmentEasing(a.curve, a.Index(0), {a[1], a[2], a[3], a[4]});
     }},
    {"ApplyNamedEasing",
     [](Call& a) {
         const NamedEasing& easing = *GetNamedEasing(a.Int(1));
         a << ApplyNamedEasing(a.curve, a.Index(0), easing) << EasedProgress(easing, a[2]);
     }},
    {"ResetHandles", [](Call& a) { a << ResetHandles(a.curve, a.At(0), a.At(1)); }},
    {"AlignHandles", [](Call& a) { a << AlignHandles(a.curve, a.Index(0), HandleSide(a.Int(1))); }},
    {"BreakHandles", [](Call& a) { a << BreakHandles(a.curve, a.Index(0)); }},
    {"PreventOvershoot", [](Call& a) { a << PreventOvershoot(a.curve, a.At(0), a.At(1)); }},
    {"Merge",
     [](Call& a) {
         Parameter x = a.curve;
         Parameter y = a.curve;
         a << a.curve.SplitIntoTwoMotionDimension(x, y) << x.Snapshot() << y.Snapshot();
         a << ReverseRange(y, a.At(0), a.At(1));
         y.RemoveKeyFramesAfterTime(a.numbers.size() > 2 ? a.At(2) : kInfinity);
         a.curve = *MergeTwoMotionDimensionIntoWhole(x, y);
         a.curve.SetPointValue(a.numbers.size() > 3 ? 1 : -1, Pointd{a.numbers.back(), 1});
     }},
    {"PathLength",
     [](Call& a) {
         for (const double t : a.Parts()) {
             const double length = GetPathLength(a.now, t, a.At(0));
             double time = 0.0;
             a << length << FindTimeAtDistance(a.now, a.At(1), length, time) << time;
             a << GetPointAtDistance(a.now, 1.1 * length) << GetPathDirections(a.now, t).before;
             a << GetPathDirections(a.now, t).after;
         }
     }},
    {"MakeMotionEven", [](Call& a) { a << MakeMotionEven(a.curve, a.At(0), a.At(1)); }},
    {"SetParameterType",
     [](Call& a) { a.curve.SetParameterType(static_cast<ParameterTypeEnum>(a.Int(0))); }},
    {"InPlace",
     [](Call& a) {
         // On a curve that shares nothing, with all that follows from it made before.
         Parameter& c = a.curve;
         a << c.Desialize(a.now.Serialize().c_str());
         const ValAny value = a.Value(0);
         const std::function<void()> edits[] = {
             [] {},
             [&] { c.SetPointValue(a.Index(1), value); },
             [&] { c.SetPointTime(a.Index(1), a.At(2)); },
             [&] { c.AddPoint(a.At(3), value, Type(a.Int(4))); },
             [&] { c.SetPointControlParamEx(a.Index(3), 0.25, 2, 0.5, 1.25); },
             [&] { c.SetPointControlLeftParam(a.Index(1), 0.75, -1); },
             [&] { c.SetPointControlRightParam(a.Index(2), 0.125, 3); },
             [&] { c.SetBaseRatio(2.5); },
             [&] { c.SetValueRange(value, a.now.GetValue(a.At(2), false)); },
             [&] { c.RemovePoint(a.Index(2)); },
             [&] { c.SetPointInterpolationType(a.Index(1), Type(a.Int(5))); },
             [&] { c.RemoveKeyFramesAfterTime(a.At(3)); },
             [&] { c.ClearKeyFrames(); }};
         for (const std::function<void()>& edit : edits) {
             edit();
             for (const double t : a.Parts()) {
                 a << c.GetValue(t, true) << Area(c, a.first, t) << c.SolveTimeBaseArea(t, 1.5);
             }
             a << std::string(c.GetHashString());
         }
     }},
};

// A word of curve_exhibits.txt: a number, a whole one ("7i"), a point, a boolean or a text.
ValAny ValueOf(const std::string& word) {
    double x = 0.0;
    double y = 0.0;
    const char* const last = word.data() + word.size();
    const char* const end = std::from_chars(word.data(), last, x).ptr;
    std::from_chars(std::min(end + 1, last), last, y);
    return end == last                         ? ValAny(x)
           : *end == ','                       ? ValAny(Pointd{x, y})
           : *end == 'i'                       ? ValAny(static_cast<int>(x))
           : word == "true" || word == "false" ? ValAny(word == "true")
                                               : ValAny(word);
}

std::map<std::string, Parameter> Exhibits() {
    std::map<std::string, Parameter> all;
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        all.emplace(exhibit.name, gallery::Build(exhibit));
    }
    Dice dice(97);
    for (int i = 0; i < 30; ++i) {
        plain::Curve keys;
        for (double time = dice.Between(-2, 1); time < 6; time += dice.Between(0.3, 1.7)) {
            keys.push_back(RandomKey(dice, i % 5 == 4 ? 1e7 * (time + 3) : time, dice.Below(27)));
            keys.back().value *= i == 8 ? 1.7e307 : 1.0;
        }
        Parameter& curve = all["Random" + std::to_string(i)];
        curve = i % 4 == 3   ? plain::BuildPath(keys)
                : i % 2 == 0 ? plain::Build(keys)
                             : plain::BuildAutomatic(keys);
        if (i % 3 == 0) {
            curve.SetValueRange(-3.5, 4.25);
            curve.SetBaseRatio(1.5);
        }
    }
    for (const support::FileRow& row : support::RowsOf("curve_exhibits.txt")) {
        Parameter& curve = all[row.name];
        std::istringstream lines(row[""]);
        for (std::string line; std::getline(lines, line);) {
            const Times n = support::NumbersOf(line);
            std::string value;
            std::istringstream(line) >> value >> value;
            curve = curve.GetKeyFramesCount() == 0 ? Parameter(ValueOf(value)) : curve;
            if (n.size() == 4) {
                curve.SetBaseRatio(n[1]);
                curve.SetValueRange(n[2], n[3]);
            } else if (n.size() == 3) {
                curve.AddPointEx(n[0], ValueOf(value), Type(static_cast<int>(n[2])));
            } else {
                const int i = curve.AddPoint(n[0], ValueOf(value), Type(static_cast<int>(n[2])));
                curve.SetPointControlParamEx(i, n.at(3), n.at(4), n.at(5), n.at(6));
            }
        }
    }
    all["Units"] = plain::BuildAutomatic({{0.02, 1, 16}, {3e5, 3, 0}, {5e5, 0, 18}, {1e6, 2, 1}});
    const Parameter taken = std::move(all["Moved"]);
    all["Empty"] = taken;
    return all;
}

TEST(RecordedCurves, AnswerWhatTheyDid) {
    const support::Quiet quiet;
    std::ostringstream record;
    record << std::fixed << "# What each call with its numbers made of exhibits: a digest of the "
           << "words, the sum of the\n# numbers, and the words where they are few. See "
           << "recorded_test.cpp.\n";
    const std::map<std::string, Parameter> exhibits = Exhibits();
    for (const support::FileRow& row : support::RowsOf("recorded_curves.txt")) {
        record << "=== " << row.name << "\n";
        const std::size_t end = row.name.find(' ');
        std::istringstream lines(row[""]);
        for (std::string line; std::getline(lines, line);) {
            std::string name;
            unsigned words = 0;
            double sum = kNan;
            std::istringstream(line) >> name >> words >> sum;
            const std::size_t at = name.find('@');  // behind it, the type that the curve gets
            Parameter curve = exhibits.at(name.substr(0, at));
            if (at != std::string::npos) {
                curve.SetParameterType(static_cast<ParameterTypeEnum>(name.at(at + 1) - '0'));
            }
            Call call{curve, support::NumbersOf(row.name.substr(end))};
            const std::uint64_t revision = curve.Revision();
            try {
                kCalls.at(row.name.substr(0, end))(call);
                if (curve.Revision() != revision) {
                    const TimeRange changed = ChangedBetween(call.now, curve.Snapshot());
                    call << changed.from << changed.to << curve.GetValue() << curve.Snapshot();
                }
            } catch (const AnyBadAccess& error) {
                call.said.words += error.what();
            }
            const support::Answered& said = call.said;
            EXPECT_EQ(words, said.Digest()) << row.name << " of " << name << ": " << said.words;
            EXPECT_NEAR(sum, said.sum, 1e-5) << row.name << " of " << name;
            record << name << " " << said.Digest() << " " << said.sum << " "
                   << (said.words.size() < 70 ? said.words : "") << "\n";
        }
    }
    if (const char* file = std::getenv("CORE_RECORD")) {
        std::ofstream(file) << record.str();
    }
}

}  // namespace
