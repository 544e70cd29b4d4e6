// Bytes as a sequence of edits of a speed curve. Curves of usual speeds are held against
// a slow and plain model after each edit, and their two mappings against each other. On
// curves of any numbers, no finite time is answered with NaN and the text comes back.

#include <core/data/json_doc.h>
#include <core/logging/log.h>
#include <core/speed/speed_parameter.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "fuzz/require.h"
#include "fuzz/script.h"
#include "support/speed_edits.h"

namespace {

using core::KeyframeInterpolationType;
using core::SpeedParameter;

bool IsQuiet() {
    // A line for each question without an answer would be all that is done.
    return CoreLogSetLogSink(0) >= 0;
}

bool IsNear(double a, double b, double scale) {
    return std::abs(a - b) <= 1e-8 * (1.0 + std::abs(scale));
}

/// Point time and duration of each freeze, as they are saved, in order and apart.
void CheckFreezes(const std::string& saved, bool isUsual) {
    core::JsonDoc document;
    FUZZ_REQUIRE(document.Parse(saved.c_str()) == static_cast<int>(saved.size()));
    const core::JsonMember* const freezes = document.Root().AsObject().Find("_freeze");
    double end = -1.0;
    for (const core::JsonElem* freeze = freezes == nullptr ? nullptr : freezes->AsArray().First();
         freeze != nullptr; freeze = freeze->NextSibling()) {
        double start = 0.0;
        double duration = 0.0;
        FUZZ_REQUIRE(std::sscanf(freeze->AsString(), "%lf %lf", &start, &duration) == 2);
        FUZZ_REQUIRE(!isUsual || start > end);
        end = start + duration;
    }
}

/// Loaded and saved twice: the first time numbers are rounded.
void CheckText(SpeedParameter& speed, bool isUsual) {
    const std::string saved = speed.Serialize();
    FUZZ_REQUIRE(saved == speed.Serialize() && saved == speed.SerializeEx());
    FUZZ_REQUIRE(saved.find(speed.GetHashString()) != std::string::npos);
    CheckFreezes(saved, isUsual);
    SpeedParameter loaded;
    FUZZ_REQUIRE(loaded.Desialize(saved.c_str()) == 0);
    if (!isUsual) {
        return;
    }
    // A freeze whose keyframe was removed brings it back.
    FUZZ_REQUIRE(loaded.GetKeyFramesCount() != speed.GetKeyFramesCount() ||
                 std::string(loaded.GetHashString()) == speed.GetHashString());
    const std::string again = loaded.Serialize();
    SpeedParameter third;
    FUZZ_REQUIRE(third.Desialize(again.c_str()) == 0 && third.Serialize() == again);
}

/// What a script chooses; speeds are from 1/16 to 16.
struct ScriptChoices {
    int Below(int count) { return script.Below(count); }
    bool Flag() { return script.Flag(); }
    /// In steps of a 65536th of the way.
    double Between(double from, double to) {
        const int high = script.Byte();
        const double part = (high * 256 + script.Byte()) / 65536.0;
        return from + (to - from) * part;
    }
    double Speed() { return script.Flag() ? 1.0 : std::exp2(script.Fraction() / 32.0); }

    Script script;
};

/// Speeds that are held, linear or eased steps, from a keyframe at 0 on.
class UsualSession {
public:
    explicit UsualSession(Script script) : choices{script} {
        speed->SetSourceTotalTime(10.0);
        model.SetTotal(10.0);
    }

    void Run() {
        for (int step = 0; step < 24 && !choices.script.IsEmpty(); ++step) {
            FUZZ_REQUIRE(plain::EditBoth(speed, model, choices));
            CheckAgainstModel();
            CheckMappings();
            CheckOthers();
            CheckText(*speed, true);
        }
    }

private:
    void CheckAgainstModel() {
        const double length = model.RenderTotal();
        FUZZ_REQUIRE(IsNear(speed->GetRenderTotalTime(), length, length));
        const double t = choices.Between(-1.0, length + 1.0);
        const double s = choices.Between(-1.0, model.total + 1.0);
        // The model is slow: one question a time.
        switch (choices.Below(5)) {
            case 0:
                FUZZ_REQUIRE(IsNear(speed->GetSourceTime(t), model.SourceTime(t), model.total));
                break;
            case 1:
                FUZZ_REQUIRE(IsNear(speed->GetRenderTime(s), model.RenderTime(s), length));
                break;
            case 2:
                FUZZ_REQUIRE(
                    IsNear(speed->PointTimeToRenderTime(s), model.RenderOfPoint(s), length));
                break;
            case 3:
                FUZZ_REQUIRE(
                    IsNear(speed->RenderTimeToPointTime(t), model.PointOfRender(t), length));
                break;
            default:
                FUZZ_REQUIRE(IsNear(speed->GetCurrentFPS(t), model.Speed(t), 16.0));
                break;
        }
    }

    /// A time that is shown is shown then, and source time runs one way: but where the
    /// last keyframes were removed, freezes behind them show their time all the same.
    void CheckMappings() {
        const bool isReverse = speed->GetReverse() != 0;
        const double last = model.keys.back().time;
        const bool runsOneWay =
            std::all_of(model.freezes.begin(), model.freezes.end(),
                        [&](const auto& freeze) { return freeze.source <= last + 1e-7; });
        const double length = speed->GetRenderTotalTime();
        double before = 0.0;
        for (int i = 0; i <= 16; ++i) {
            const double s = speed->GetSourceTime(length * i / 16.0);
            const double step = isReverse ? before - s : s - before;
            FUZZ_REQUIRE(i == 0 || !runsOneWay || step >= -1e-9);
            before = s;
            const double t = speed->GetRenderTime(s);
            FUZZ_REQUIRE(-1e-9 <= t && t <= length * (1.0 + 1e-9));
            // Beyond the source length the answer is the end.
            const double forward = isReverse ? model.total - s : s;
            FUZZ_REQUIRE(forward >= model.total || IsNear(speed->GetSourceTime(t), s, model.total));
        }
    }

    void CheckOthers() {
        const double length = speed->GetRenderTotalTime();
        const double t = choices.Between(0.0, length);
        SpeedParameter copy(*speed);
        FUZZ_REQUIRE(IsNear(copy.GetRenderTotalTime(), length, length));
        FUZZ_REQUIRE(IsNear(copy.GetSourceTime(t), speed->GetSourceTime(t), model.total));
        const std::unique_ptr<SpeedParameter> reversed = speed->RevertSpeedParameter();
        reversed->SetReverse(true);
        FUZZ_REQUIRE(IsNear(reversed->GetRenderTotalTime(), length, length));
    }

    ScriptChoices choices;
    std::unique_ptr<SpeedParameter> speed = std::make_unique<SpeedParameter>();
    plain::SpeedModel model;
};

/// Any speeds of any type at any time.
class WildSession {
public:
    explicit WildSession(Script givenScript) : script(givenScript) {}

    void Run() {
        for (int step = 0; step < 40 && !script.IsEmpty(); ++step) {
            Edit();
            try {
                CheckAnswers();
            } catch (const core::AnyBadAccess&) {
                FUZZ_REQUIRE(hasOddValue);
            }
        }
        CheckText(speed, false);
    }

private:
    double Number() { return script.Flag() ? script.Fraction() : script.AnyDouble(); }
    core::ValAny Value() {
        const int choice = script.Below(32);
        if (choice == 31) {
            hasOddValue = true;
            return "odd";
        }
        return choice < 4 ? core::ValAny(choice - 2) : core::ValAny(Number());
    }
    KeyframeInterpolationType Type() { return KeyframeInterpolationType(script.Below(27)); }

    void Edit() {
        const int index = script.Below(8) - 1;
        switch (script.Below(14)) {
            default:
                speed.AddPoint(Number(), Value(), Type());
                break;
            case 0:
                speed.SetSourceTotalTime(Number());
                break;
            case 1:
            case 2: {
                const double point = Number();
                const double duration = Number();
                const bool isSane = point >= 0.0 && std::isfinite(point) && duration >= 1e-7 &&
                                    std::isfinite(duration);
                FUZZ_REQUIRE(Try([&] { return speed.AddFreezeFrame(point, duration); }) <= isSane);
                break;
            }
            case 3:
                Try([&] { return speed.SetFreezeFrameDuration(index, Number()); });
                break;
            case 4:
                speed.RemovePoint(index);
                break;
            case 5:
                speed.SetPointTime(index, Number());
                break;
            case 6:
                speed.SetPointValue(index, Value());
                break;
            case 7:
                speed.SetPointInterpolationType(index, Type());
                break;
            case 8:
                speed.SetReverse(script.Flag());
                speed.SetSourceFPS(Number());
                break;
            case 9:
                if (script.Flag()) {
                    Try([&] { return (speed = SpeedParameter(speed), true); });
                } else {
                    Try([&] { return (speed = *speed.RevertSpeedParameter(), true); });
                }
                break;
            case 10:
                speed.Desialize(speed.Serialize().c_str());
                break;
        }
    }
    /// False also where a value is no number.
    template <class Edit>
    bool Try(Edit edit) {
        try {
            return edit();
        } catch (const core::AnyBadAccess&) {
            FUZZ_REQUIRE(hasOddValue);
            return false;
        }
    }

    void CheckAnswers() {
        const double any = Number();
        bool hasNan = false;
        for (int i = 0; i < speed.GetKeyFramesCount(); ++i) {
            hasNan = hasNan || std::isnan(speed.GetPointValue(i).AsDouble());
        }
        for (const double time : {-1.0, 0.0, 0.5, 3.0, 4.25, 1e6, any}) {
            if (!std::isfinite(time)) {
                continue;
            }
            FUZZ_REQUIRE(!std::isnan(speed.GetSourceTime(time)));
            FUZZ_REQUIRE(!std::isnan(speed.GetRenderTime(time)));
            FUZZ_REQUIRE(!std::isnan(speed.PointTimeToRenderTime(time)));
            FUZZ_REQUIRE(!std::isnan(speed.RenderTimeToPointTime(time)));
            FUZZ_REQUIRE(hasNan || !std::isnan(speed.GetCurrentFPS(time)));
        }
        FUZZ_REQUIRE(!std::isnan(speed.GetRenderTotalTime()));
        double a = 0.0;
        double b = 0.0;
        double c = 0.0;
        double d = 0.0;
        for (int i = -1; i < 6; ++i) {
            speed.GetVelocityTimeCurve(a, b, c, d, i);
        }
        const auto shared = std::make_shared<SpeedParameter>(speed);
        std::shared_ptr<SpeedParameter> source;
        core::ZYLCoreCreateSourceTimeSpeedObj(shared, source);
        FUZZ_REQUIRE(source != nullptr);
        core::ZYLCoreIsNormalSpeed(shared);
    }

    Script script;
    SpeedParameter speed;
    bool hasOddValue = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool isQuiet = IsQuiet();
    Script script({data, size});
    if (script.Flag()) {
        WildSession(script).Run();
    } else {
        UsualSession(script).Run();
    }
    return 0;
}
