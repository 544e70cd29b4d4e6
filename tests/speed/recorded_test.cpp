#include <core/speed/carry.h>
#include <core/speed/clip.h>
#include <core/speed/frames.h>
#include <core/speed/guard.h>
#include <core/speed/retime.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>

#include "support/answered.h"
#include "support/file_rows.h"
#include "support/logged.h"
#include "support/speed_words.h"

// What every function answers for every exhibit of a file, as it was when it was recorded: for
// the changes that no property of a speed curve tells. A change that is meant is recorded anew:
// CORE_RECORD=tests/files/recorded_speeds.txt core_tests --gtest_filter=RecordedSpeeds.*
//
// An exhibit is a length, whether in reverse, its kind of values and perhaps a handle; keyframes
// as time, speed and type; freezes as point and duration.
namespace {

using core::SpeedSnapshot;
using Type = KeyframeInterpolationType;

// A clip, the one before it, and what was answered about it, and reported.
struct Answers {
    SpeedParameter c;
    const SpeedSnapshot before;
    const SpeedSnapshot was = c.Snapshot();
    const double length = c.GetRenderTotalTime();
    const double total = c.GetSourceTotalTime();
    support::Answered said{1e9};

    void AddOne(double x) { said.Add(x); }
    void AddOne(const std::string& text) { said.Add(text); }
    void AddOne(const core::CurveEditResult& done) { AddOne(done.reason); }
    void AddOne(const core::TimeRange& range) { *this << range.from << range.to; }
    void AddOne(const core::ClipPart& part) {
        *this << part.reason << part.sourceStart << part.speed;
    }
    void AddOne(const core::ClipParts& p) {
        *this << p.first << p.second << JoinClips(p.first, p.second)
              << JoinClips(p.second, p.first);
    }
    void AddOne(const SpeedSnapshot& clip) { AddClip(clip, 0.0319); }
    template <class T>
    void AddOne(const std::vector<T>& all) {
        for (const T& each : all) {
            AddOne(each);
        }
        said.words += ']';
    }
    template <class T>
    Answers& operator<<(const T& answer) {  // in this order, whatever the compiler
        AddOne(answer);
        return *this;
    }
    void AddClip(const SpeedSnapshot& clip, double step) {
        const double end = clip.GetRenderTotalTime();
        const double last = clip.GetSourceTotalTime();
        *this << clip.Serialize() << end;
        for (double part = -0.1327; part < 1.2; part += step) {
            *this << clip.GetSourceTime(part * end) << clip.GetRenderTime(part * last)
                  << clip.RenderTimeToPointTime(part * end) << clip.GetCurrentFPS(part * end)
                  << clip.PointTimeToRenderTime(part * (last + 1));
        }
        for (int i = 0; i < clip.GetFreezeFramesCount(); ++i) {
            const core::FreezeFrame f = clip.GetFreezeFrame(i);
            *this << f.pointTime << f.duration << f.sourceTime << f.renderTime;
        }
    }
    void AddVelocities(const SpeedSnapshot& clip) {
        for (int i = -1; i < 2 + clip.Keyframes().GetKeyFramesCount() + clip.GetFreezeFramesCount();
             ++i) {
            double x[4];
            clip.GetVelocityTimeCurve(x[0], x[1], x[2], x[3], i);
            *this << x[0] << x[1] << x[2] << x[3];
        }
    }
    void AddAround(double t) {
        for (const double d : {-1e-5, -2e-7, -5e-8, 5e-8, 2e-7, 1e-5}) {
            for (const double x :
                 {was.GetSourceTime(t + d), was.GetRenderTime(t + d),
                  was.RenderTimeToPointTime(t + d), was.PointTimeToRenderTime(t + d)}) {
                *this << ((x - t) * 1e3);
            }
            *this << was.GetCurrentFPS(t + d);
        }
    }
    // Curves from before an end to behind it, carried along the clip.
    template <class Carry>
    void AddCarried(double end, const Carry& carry) {
        Parameter curves[] = {Parameter(0.0), Parameter(1), Parameter(Pointd{}),
                              Parameter(std::string("a"))};
        for (int i = 0; i < 7; ++i) {
            const double time = end * (i * 0.21317 - 0.1);
            const double value = i * 5 % 7 - 2.3;
            curves[0].AddPoint(time, value, Type(i * 7 % 17));
            curves[1].AddPoint(time, i * 5 % 7, Type::Linear);
            curves[2].AddPointEx(time, Pointd{value, 3 * i - value * i}, Type(i * 3 % 8));
            curves[3].AddPoint(time, std::to_string(i % 3), Type::Hold);
        }
        for (const Parameter& curve : curves) {
            Parameter carried;
            *this << carry(curve.Snapshot(), was, carried, 1e-2) << carried.Serialize();
        }
    }
    // Curves that are carried by other ways: moved, of one keyframe, with values of another kind.
    template <class Carry>
    void AddOthersCarried(const Carry& carry) {
        Parameter curves[] = {Parameter(0.0),
                              Parameter(true),
                              Parameter(2.0),
                              Parameter(Pointd{}),
                              Parameter(std::string("a")),
                              Parameter(2.5)};
        for (int i = 0; i < 9; ++i) {
            const double time = total * (i * 0.1317 - 0.03);
            curves[0].AddPoint(time, i * 4 % 5 - 1.7, Type(i * 11 % 27));
            curves[1].AddPoint(time, i % 4 < 2, Type::Linear);
            curves[4].AddPoint(time, i % 4 < 2 ? ValAny(i / 4) : ValAny("b"), Type::Hold);
        }
        curves[0].SetBaseRatio(1.7), curves[0].SetPointControlRightParam(2, 0.3, 0.1);
        curves[2].AddPoint(0.3 * total, 3.7, Type::Linear);
        for (Parameter& curve : curves) {
            Parameter carried(7.0);
            *this << carry(curve.Snapshot(), was, carried, 0.1) << carried.Serialize();
            curve.AddPoint(0.6 * total, curve.GetKeyFramesCount() == 0 ? "b" : "true", Type::Hold);
            *this << carry(curve.Snapshot(), was, carried, 0.1) << carried.Serialize();
        }
    }
    // As if the second one's source went on where the first one's ends.
    void AddJoined(const core::ClipPart& first, core::ClipPart second, double apart = 0.0) {
        const core::ClipPart refused = JoinClips(first, second);
        // "the first ends at 1 s of the source, the second starts at 2 s"
        const Times words = support::NumbersOf(refused.reason);
        if (words.size() == 15) {
            second.sourceStart += words[4] - words[13] + apart;
        }
        *this << refused << JoinClips(first, second);
    }
    void AddChange() { *this << ChangedBetween(was, c.Snapshot()) << (c.Snapshot() == was); }
};

const struct {
    const char* name;
    void (*run)(SpeedParameter& c, Answers& a);
} kCalls[] = {
    {"GetSourceTime", [](SpeedParameter&, Answers& a) { a.AddClip(a.was, 0.0057); }},
    {"Edges",
     [](SpeedParameter&, Answers& a) {
         a.AddAround(0.0), a.AddAround(a.length);
         for (int i = 0; i < a.was.Keyframes().GetKeyFramesCount(); ++i) {
             const double time = a.was.Keyframes().GetKeyframe(i).GetTime();
             a.AddAround(time), a.AddAround(a.was.GetRenderTime(time));
         }
         for (int i = 0; i < a.was.GetFreezeFramesCount(); ++i) {
             const core::FreezeFrame f = a.was.GetFreezeFrame(i);
             a.AddAround(f.renderTime), a.AddAround(f.renderTime + f.duration);
             a.AddAround(f.pointTime), a.AddAround(f.pointTime + f.duration);
         }
     }},
    {"GetVelocityTimeCurve",
     [](SpeedParameter& c, Answers& a) {
         a.AddVelocities(a.was);
         const auto reverted = c.RevertSpeedParameter();
         for (const bool reverse : {true, false}) {
             reverted->SetReverse(reverse);
             a.AddVelocities(reverted->Snapshot());
         }
         c = *reverted;
     }},
    {"Freezes",
     [](SpeedParameter& c, Answers& a) {
         for (const int i : {-1, 1, 0, 2}) {
             a << c.SetFreezeFrameDuration(i, 0.0713 + i) << c.Snapshot();
             a << c.AddFreezeFrame(a.total * (0.713 - 0.51 * i), 1.137 + i) << c.Snapshot();
             a << c.MoveFreezeFrame(i, a.total * (0.2317 + 0.413 * i)) << c.Snapshot();
             a << c.RemoveFreezeFrame(i) << c.Snapshot();
         }
         a << c.AddFreezeFrame(0, 1) << c.AddFreezeFrame(a.total + 1, 1);
     }},
    {"SetSourceTotalTime",
     [](SpeedParameter& c, Answers& a) {
         c.SetSourceTotalTime(0.7317 * a.total);
         a << c.Snapshot();
         c.SetSourceTotalTime(0);
     }},
    {"CutClip",
     [](SpeedParameter&, Answers& a) {
         for (const double part : {0.0713, 0.4917, 0.8371}) {
             const core::FreezeFrame f = a.was.GetFreezeFrame(0);
             a << CutClip(a.was, part * a.length) << TrimClip(a.was, 0.1713 * a.length, a.length);
             a << CutClip(a.was, f.renderTime + (2 * part - 0.1426) * f.duration);
             a << TrimClip(a.was, 0.5 * part * a.length, (0.4 + part) * a.length);
             const double near = a.was.GetRenderTime(a.c.GetPointTime(1)) + 4e-4 * part - 2e-4;
             a << TrimClip(a.was, 0.0, near) << TrimClip(a.was, near, a.length);
         }
     }},
    {"ScaleToLength",
     [](SpeedParameter& c, Answers& a) {
         a << ScaleToLength(c, 1.317 * a.length) << c.Snapshot();
         a << ScaleToLength(c, 0.613 * a.length, core::FreezeLengths::Scale);
     }},
    {"SetUniformSpeed",
     [](SpeedParameter& c, Answers& a) {
         a << SetUniformSpeed(c, 0.2317 * a.length, 0.5913 * a.length, 1.713);
         a << c.Snapshot() << SetUniformSpeed(c, 0.0, 0.1 * a.length, 0.813);
     }},
    {"FindShownRange",
     [](SpeedParameter&, Answers& a) {
         for (const double part : {0.0, 0.137, 0.4171}) {
             const auto shown = FindShownRange(a.was, part * a.total, (1 - part) * a.total);
             a << shown.lowest << shown.highest << shown.outside << shown.backwards;
         }
     }},
    {"KeepInside",
     [](SpeedParameter& c, Answers& a) {
         a << KeepInside(c) << c.Snapshot();
         a << KeepInside(c, 0.0, 0.7137 * a.total, 0.1);
     }},
    {"CarryToRenderTime",
     [](SpeedParameter&, Answers& a) { a.AddCarried(a.total, core::CarryToRenderTime); }},
    {"CarryToSourceTime",
     [](SpeedParameter&, Answers& a) { a.AddCarried(a.length, core::CarryToSourceTime); }},
    {"GetSourceFrames",
     [](SpeedParameter&, Answers& a) {
         std::vector<std::int64_t> frames(700);
         GetSourceFrames(a.was, -7, frames.size(), {30'000, 1'001}, {24, 1}, frames.data());
         a << std::vector<double>(frames.begin(), frames.end());
     }},
    {"ChangedBetween",
     [](SpeedParameter& c, Answers& a) {
         for (int i = 0; i < 3 * c.GetKeyFramesCount(); ++i) {
             i % 3 == 0   ? c.SetPointValue(i / 3, 1.317)
             : i % 3 == 1 ? c.SetPointInterpolationType(i / 3, Type::Hermite)
                          : c.SetPointTime(i / 3, c.GetPointTime(i / 3) + 0.01713 * (i % 4 - 1.5));
             a.AddChange();
             c.Restore(a.was);
         }
         a << c.SetFreezeFrameDuration(0, 0.4), a.AddChange();
         a << c.AddFreezeFrame(0.7317 * a.total, 1), a.AddChange();
         a << c.RemoveFreezeFrame(1), a.AddChange();
     }},
    {"Desialize",
     [](SpeedParameter& c, Answers& a) {
         std::string text = a.was.Serialize();
         SpeedParameter loaded;
         a << loaded.LoadAsNew(text.c_str()) << loaded.Snapshot();
         c.SetSourceFPS(30), c.SetReverse(false), c.AddFreezeFrame(1.5, 0.5);
         text.replace(text.rfind("_time"), 5, "_tide");
         a << c.Desialize(text.c_str()) << SpeedParameter(c).Snapshot();
         text.replace(text.find("_value"), 6, "_valve");
         a << c.Desialize(text.c_str()) << c.Snapshot();
         text.replace(text.find("keyframeSets"), 1, "K");
         a << c.Desialize(text.c_str());
     }},
    {"GetParameterInternal",
     [](SpeedParameter& c, Answers& a) {
         const auto internal = c.GetParameterInternal();
         a << internal->Serialize() << Area(*internal, -0.3, 0.713 * a.length);
         a << internal->SolveTimeBaseArea(0.1, 0.3137 * a.total) << c.GetRenderTime(0.37 * a.total);
         a << c.GetParameterSource()->Serialize();
         auto without = std::make_shared<SpeedParameter>(c);
         core::ZYLCoreCreateSourceTimeSpeedObj(without, without);
         a << without->Snapshot();
     }},
    {"JoinClips",
     [](SpeedParameter&, Answers& a) {
         SpeedParameter other = a.before.ToSpeedParameter();
         a.AddJoined({a.was, 0.7, {}}, {a.before, 0.3, {}});
         other.SetReverse(a.was.GetReverse() != 0);
         const SpeedSnapshot b = other.Snapshot();
         const double end = b.GetRenderTotalTime();
         const core::FreezeFrame f = a.was.GetFreezeFrame(0);
         for (const double part : {0.0, 0.0913, 0.5137}) {
             const auto first = TrimClip(a.was, 0.0, (1 - part) * a.length);
             const auto second = TrimClip(b, part * end, end);
             a.AddJoined(first, second), a.AddJoined(second, first);
         }
         const auto toFreeze = TrimClip(a.was, 0.0, f.renderTime + 0.5 * f.duration);
         const auto beside = TrimClip(a.was, f.renderTime + f.duration, a.length);
         a.AddJoined(toFreeze, {b, 0.0, {}}), a.AddJoined({b, 0.0, {}}, beside);
         a.AddJoined({a.was, 0.0, {}}, {a.was, 0.0, {}}), a.AddJoined(toFreeze, toFreeze);
         for (const double apart : {-9e-4, 7e-4, 1.3e-3}) {
             a.AddJoined({a.was, 0.0, {}}, {b, 0.0, {}}, apart);
         }
     }},
    {"Others",
     [](SpeedParameter&, Answers& a) {
         a.AddOthersCarried(core::CarryToRenderTime), a.AddOthersCarried(core::CarryToSourceTime);
     }},
    {"Parts",
     [](SpeedParameter& c, Answers& a) {
         for (const double from : {-0.1, 0.0, 0.3617, 0.9}) {
             const core::ClipPart part = TrimClip(a.was, from * a.length, (1.2 - from) * a.length);
             a << TrimClip(a.was, from, from + 1e-7) << TrimClip(a.was, from, a.length + 1e-7);
             c.Restore(TrimClip(a.was, from * a.length, a.length).speed);
             const double length = c.GetRenderTotalTime();
             a << part << ChangedBetween(a.was, c.Snapshot());
             a.AddVelocities(c.Snapshot());
             a << SetUniformSpeed(c, 0.31 * length, 0.77 * length, 0.7) << c.Snapshot();
             a << ScaleToLength(c, 0.7 * length) << c.Snapshot();
             a << ScaleToLength(c, 1.7 * length, core::FreezeLengths::Scale) << c.Snapshot();
             a << KeepInside(c, -0.3, 0.6 * a.total) << c.Snapshot();
         }
     }},
    {"RemovePoint",
     [](SpeedParameter& c, Answers& a) {
         const int count = c.GetKeyFramesCount();
         for (int i = 0; i < count; i += 1 + count / 8) {
             c.RemovePoint(i), a.AddChange();
             a.AddJoined({c.Snapshot(), 0.0, {}}, {a.before, 0.0, {}});
             a.AddVelocities(c.Snapshot()),
                 a << c.GetRenderTotalTime() << c.RemoveFreezeFrame(0) << c.Snapshot();
             c.Restore(a.was);
             c.AddPoint(a.total * (i + 0.5) / count, 1.3, Type(i * 5 % 17)), a.AddChange();
             c.Restore(a.was);
         }
         c.SetSourceFPS(24), a.AddChange(), c.SetValueRange(0.0, 0.9), a.AddChange();
         a << c.Snapshot(), c.SetBaseRatio(1.7), a.AddChange(), a << c.Snapshot();
         c.SetParameterType(core::ParameterInt), a.AddChange(), a << c.Snapshot();
         c.ClearKeyFrames(), a.AddChange();
         const SpeedSnapshot none = c.Snapshot();
         const auto shown = FindShownRange(none, -0.5, 0.5);
         a << none << shown.lowest << shown.highest << shown.outside << KeepInside(c);
         a << CutClip(none, 0.5) << ScaleToLength(c, 3) << SetUniformSpeed(c, 0.1, 0.2, 1);
         a << core::JoinClips({a.was, 0.0, {}}, {none, 0.0, {}});
         Parameter carried;
         a << core::CarryToSourceTime(a.was.Keyframes(), none, carried) << carried.Serialize();
     }},
    {"Shown",
     [](SpeedParameter& c, Answers& a) {
         SpeedParameter copy(c);
         for (int i = copy.GetFreezeFramesCount(); i-- > 0;) {
             a << copy.RemoveFreezeFrame(i) << copy.Snapshot();
         }
         c.GetRenderTime(0.41 * a.total), copy = c, a << copy.GetParameterSource()->Serialize();
         c.SetSourceTotalTime(kNan), c.SetSourceFPS(kInfinity), a.AddChange();
         const auto shown = c.GetParameterInternal();
         c.Restore(a.before);
         a << c.GetSourceTime(0.3 * a.length) << shown->Serialize();
         shown->ClearKeyFrames(), c.RevertSpeedParameter(), a << shown->Serialize();
         c.Desialize(R"({"ParameterType": 0, "keyframeSets": [], "reverse": 2})");
         a << c.Snapshot() << c.SetReverse(true) << c.Snapshot() << shown->Serialize();
         std::vector<double> times = {-0.1, 0.31 * a.length, 0.77 * a.length};
         a.was.ToSpeedParameter().GetSourceTimes(times.data(), times.size(), times.data());
         a << times;
     }},
};

SpeedSnapshot Made(const support::FileRow& row) {
    const support::Quiet quiet;
    const Times numbers = support::NumbersOf(row[""]);
    const Times keys = support::NumbersOf(row["keyframes"]);
    const Times freezes = support::NumbersOf(row["freezes"]);
    const auto speed = Speeds(numbers[0], {});
    speed->SetParameterType(core::ParameterTypeEnum(static_cast<int>(numbers[2])));
    for (std::size_t i = 0; i < keys.size(); i += 3) {
        speed->AddPoint(keys[i], keys[i + 1], Type(static_cast<int>(keys[i + 2])));
    }
    for (std::size_t i = 0; i < freezes.size(); i += 2) {
        speed->AddFreezeFrame(freezes[i], freezes[i + 1]);
    }
    if (numbers.size() > 3) {
        speed->SetPointControlRightParam(0, numbers[3], numbers[4]);
    }
    speed->SetReverse(numbers[1] != 0);
    return speed->Snapshot();
}

TEST(RecordedSpeeds, AnswerWhatTheyDid) {
    const char* const record = std::getenv("CORE_RECORD");
    const std::vector<support::FileRow> rows = support::RowsOf("recorded_speeds.txt");
    std::ofstream recorded(record != nullptr ? record : "");
    SpeedSnapshot exhibit;
    for (const support::FileRow& row : rows) {
        recorded << "=== " << row.name << "\n" << row[""] << "\n--- keyframes\n";
        recorded << row["keyframes"] << "\n--- freezes\n" << row["freezes"] << "\n--- answers\n";
        std::istringstream then(row["answers"]);
        const SpeedSnapshot before = exhibit;
        exhibit = Made(row);
        for (const auto& call : kCalls) {
            Answers a{exhibit.ToSpeedParameter(), before};
            const auto ask = [&] { call.run(a.c, a), a << a.c.Snapshot(); };
            for (const std::string& line : support::Logged(ask)) {
                a << (line[0] == '[' ? line : "");  // a report of an error
            }
            const support::Answered& said = a.said;
            recorded << said.Digest() << std::setprecision(17) << " " << said.sum << "\n";
            std::uint32_t words = 0;
            double sum = 0;
            then >> words >> sum;
            EXPECT_TRUE(
                record != nullptr ||
                (words == said.Digest() && std::fabs(sum - said.sum) <= 1e-11 * said.size + 2e-8))
                << call.name << " of " << row.name << ": " << said.Digest() << " " << said.sum
                << ", not " << words << " " << sum << "\n"
                << a.was.Serialize();
        }
    }
}

}  // namespace
