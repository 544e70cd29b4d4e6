// Speed curves: a clip's times mapped both ways, beside the area of a plain curve and
// beside one sample of the speed itself.

#include "contests.h"
#include "inputs.h"
#include "yardstick.h"

#include <core/speed/clip.h>
#include <core/speed/frames.h>
#include <core/speed/guard.h>
#include <core/speed/speed_parameter.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bench {
namespace {

using Type = core::KeyframeInterpolationType;

constexpr double kFreezeSeconds = 0.5;
constexpr int kFrames = 100'000;

/// Ramps between speeds of 0.5 to 2, and freezes spread over the clip.
std::shared_ptr<core::SpeedParameter> MakeSpeeds(int n, int freezes, Type type = Type::Linear) {
    const std::vector<double> times = KeyTimes(n);
    const double total = times.back() + 1.0;
    auto speed = std::make_shared<core::SpeedParameter>();
    speed->SetSourceTotalTime(total);
    Dice dice(31);
    for (const double time : times) {
        speed->AddPoint(time, dice.Between(0.5, 2.0), type);
    }
    for (int i = 0; i < freezes; ++i) {
        speed->AddFreezeFrame(total * (i + 0.5) / freezes + kFreezeSeconds * i, kFreezeSeconds);
    }
    return speed;
}

std::shared_ptr<const std::vector<double>> TimesUpTo(double end) {
    Dice dice(32);
    auto times = std::make_shared<std::vector<double>>();
    for (int i = 0; i < kPoolSize; ++i) {
        times->push_back(dice.Between(0.0, end));
    }
    return times;
}

std::string HowMany(int freezes) {
    return freezes == 0 ? "no freezes" : std::to_string(freezes) + " freezes";
}

void AddRandom(Suite& suite, int n, int freezes) {
    const auto speed = MakeSpeeds(n, freezes);
    const auto renderTimes = TimesUpTo(speed->GetRenderTotalTime());
    const auto sourceTimes = TimesUpTo(speed->GetSourceTotalTime());
    const std::string toSource = Name("source time", HowMany(freezes), n);
    const std::string toRender = Name("render time", HowMany(freezes), n);
    if (freezes == 0) {
        const auto plain = std::make_shared<PlainArea>(KeyframesOf(*speed->GetParameterInternal()));
        suite.Check(toSource, 1e-9, [=] {
            Agreement agreement;
            for (const double t : *renderTimes) {
                agreement.Compare(speed->GetSourceTime(t), plain->AreaTo(t));
            }
            return agreement;
        });
        suite.Measure(Name("source time", "plain", n), [=](benchmark::State& state) {
            RunOverPool(state, *renderTimes, [&](double t) { return plain->AreaTo(t); });
        });
    }
    suite.Check(toRender, 1e-9, [=] {
        Agreement agreement;
        for (const double s : *sourceTimes) {
            agreement.Compare(s, speed->GetSourceTime(speed->GetRenderTime(s)));
        }
        return agreement;
    });
    suite.Measure(toSource, [=](benchmark::State& state) {
        RunOverPool(state, *renderTimes, [&](double t) { return speed->GetSourceTime(t); });
    });
    suite.Measure(toRender, [=](benchmark::State& state) {
        RunOverPool(state, *sourceTimes, [&](double s) { return speed->GetRenderTime(s); });
    });
}

/// A clip of 100,000 frames from its first to its last.
void AddClip(Suite& suite, int n) {
    const auto speed = MakeSpeeds(n, 0);
    const double perFrame = speed->GetRenderTotalTime() / kFrames;
    auto frames = std::make_shared<std::vector<double>>();
    for (int i = 0; i < kFrames; ++i) {
        frames->push_back(i * perFrame);
    }
    const std::string mapped = Name("clip of 100,000 frames", "GetSourceTime", n);
    const std::string sampled = Name("clip of 100,000 frames", "GetValue", n);
    suite.Measure(mapped, [=](benchmark::State& state) {
        RunOverPool(state, *frames, [&](double t) { return speed->GetSourceTime(t); });
    });
    suite.Measure(sampled, [=](benchmark::State& state) {
        RunOverPool(state, *frames, [&](double t) { return speed->GetValue(t, false).AsDouble(); });
    });
    suite.Compare({"GetSourceTime, frame by frame", n, mapped, sampled, "GetValue", 3.0});

    const std::string batched = Name("clip of 100,000 frames", "GetSourceTimes", n);
    const auto sources = std::make_shared<std::vector<double>>(frames->size());
    suite.Check(batched, 0.0, [=] {
        speed->GetSourceTimes(0.0, perFrame, sources->size(), sources->data());
        Agreement agreement;
        for (std::size_t i = 0; i < sources->size(); ++i) {
            agreement.Compare((*sources)[i], speed->GetSourceTime((*frames)[i]));
        }
        return agreement;
    });
    suite.Measure(batched, [=](benchmark::State& state) {
        while (state.KeepRunningBatch(kFrames)) {
            speed->GetSourceTimes(0.0, perFrame, sources->size(), sources->data());
            benchmark::DoNotOptimize(sources->data());
        }
    });
    suite.Compare({"GetSourceTimes, each frame", n, batched, mapped, "GetSourceTime", 0.5});

    const std::string counted = Name("clip of 100,000 frames", "GetSourceFrames", n);
    const auto numbers = std::make_shared<std::vector<std::int64_t>>(frames->size());
    suite.Measure(counted, [=](benchmark::State& state) {
        const core::TimeBase rate{30'000, 1'001};
        while (state.KeepRunningBatch(kFrames)) {
            GetSourceFrames(speed->Snapshot(), 0, numbers->size(), rate, rate, numbers->data());
            benchmark::DoNotOptimize(numbers->data());
        }
    });
    suite.Compare({"GetSourceFrames, each frame", n, counted, mapped, "GetSourceTime", 0.8});
}

/// Random render times of speeds of one type, beside those of held ones.
void AddTypes(Suite& suite, int n) {
    const auto measure = [&suite, n](const char* what, Type type) {
        const auto speed = MakeSpeeds(n, 0, type);
        const auto times = TimesUpTo(speed->GetSourceTotalTime());
        const std::string name = Name("render time", what, n);
        suite.Measure(name, [=](benchmark::State& state) {
            RunOverPool(state, *times, [&](double s) { return speed->GetRenderTime(s); });
        });
        return name;
    };
    const std::string held = measure("held", Type::Hold);
    suite.Compare(
        {"render time, Hermite", n, measure("Hermite", Type::Hermite), held, "held", 3.0});
    suite.Compare({"render time, Bezier", n, measure("Bezier", Type::Bezier), held, "held", 8.0});
}

/// What a user waits for after an edit, beside the same question at rest.
void AddAfterEdit(Suite& suite, int n) {
    const auto measure = [&suite, n](const char* what, const auto& edit) {
        const std::string name = Name("source time", what, n);
        suite.Measure(name, [=](benchmark::State& state) {
            const auto speed = MakeSpeeds(n, 0);
            double value = 1.0;
            for (auto _ : state) {
                value = 3.0 - value;
                edit(*speed, n, value);
                benchmark::DoNotOptimize(speed->GetSourceTime(1.0));
            }
        });
        return name;
    };
    const std::string atRest = measure("at rest", [](core::SpeedParameter&, int, double) {});
    const auto change = [](core::SpeedParameter& speed, int count, double value) {
        speed.SetPointValue(count / 2, value);
    };
    suite.Compare(
        {"edit, then source time", n, measure("after edit", change), atRest, "query at rest", 0.0});
    suite.Compare({"the same while a snapshot is held", n,
                   measure("after edit beside a snapshot",
                           [change](core::SpeedParameter& speed, int count, double value) {
                               const core::SpeedSnapshot held = speed.Snapshot();
                               change(speed, count, value);
                           }),
                   atRest, "query at rest", 0.0});
    suite.Compare({"freeze added and undone, then source time", n,
                   measure("after freeze",
                           [](core::SpeedParameter& speed, int count, double value) {
                               const core::SpeedSnapshot before = speed.Snapshot();
                               speed.AddFreezeFrame(count / 2 + 0.3, value);
                               benchmark::DoNotOptimize(speed.GetSourceTime(1.0));
                               speed.Restore(before);
                           }),
                   atRest, "query at rest", 0.0});
    suite.Compare(
        {"GetRenderTotalTime", n,
         measure("and total", [](core::SpeedParameter& speed, int,
                                 double) { benchmark::DoNotOptimize(speed.GetRenderTotalTime()); }),
         atRest, "query at rest", 3.0});
    suite.Compare({"CutClip", n,
                   measure("of a cut clip",
                           [](core::SpeedParameter& speed, int count, double) {
                               benchmark::DoNotOptimize(
                                   core::CutClip(speed.Snapshot(), 0.4 * count));
                           }),
                   atRest, "query at rest", 0.0});
    suite.Compare({"FindShownRange", n,
                   measure("of a guarded clip",
                           [](core::SpeedParameter& speed, int, double) {
                               benchmark::DoNotOptimize(core::FindShownRange(speed.Snapshot()));
                           }),
                   atRest, "query at rest", 0.0});
    suite.Compare({"copy, then source time", n,
                   measure("of a copy",
                           [](core::SpeedParameter& speed, int, double) {
                               const core::SpeedParameter copy(speed);
                               benchmark::DoNotOptimize(copy.GetSourceTime(1.0));
                           }),
                   atRest, "query at rest", 0.0});
}

/// A text of a ramp with `n` freezes where it has no keyframes; an item is one freeze.
std::string TextOfFreezes(int n) {
    const std::string end = std::to_string(n);
    std::string text = R"({"ParameterType": 0, "_totalTime": )" + end +
                       R"(, "keyframeSets": [{"_time": 0, "_value": 1, "Interpolation": 1}, )" +
                       R"({"_time": )" + end + R"(, "_value": 2, "Interpolation": 1}], )" +
                       R"("_freeze": [)";
    for (int i = 0; i < n; ++i) {
        text += (i == 0 ? "\"" : ", \"") + std::to_string(i + 0.5 + kFreezeSeconds * i) + " " +
                std::to_string(kFreezeSeconds) + "\"";
    }
    return text + "]}";
}

void AddLoading(Suite& suite, int n) {
    const auto text = std::make_shared<const std::string>(TextOfFreezes(n));
    suite.Check(Name("load", "freezes", n), 0.0, [=] {
        core::SpeedParameter speed;
        speed.Desialize(text->c_str());
        Agreement agreement;
        agreement.Compare(n + 2, speed.GetKeyFramesCount());
        return agreement;
    });
    suite.Measure(Name("load", "freezes", n), [=](benchmark::State& state) {
        while (state.KeepRunningBatch(n)) {
            core::SpeedParameter speed;
            benchmark::DoNotOptimize(speed.Desialize(text->c_str()));
        }
    });
}

}  // namespace

void AddSpeeds(Suite& suite) {
    suite.Section("Speed curves of linear ramps, at random times");
    for (const int n : {10, 40, 4'000}) {
        for (const int freezes : {0, 100}) {
            AddRandom(suite, n, freezes);
        }
    }
    for (const std::string what : {"source time", "render time"}) {
        for (const int freezes : {0, 100}) {
            suite.Compare({what + ", " + HowMany(freezes), 4'000,
                           Name(what, HowMany(freezes), 4'000), Name(what, HowMany(freezes), 40),
                           "itself at n = 40", 4.0});
        }
        for (const int n : {10, 40, 4'000}) {
            suite.Compare({what + ", 100 freezes", n, Name(what, HowMany(100), n),
                           Name(what, HowMany(0), n), "no freezes", 2.0});
        }
    }
    for (const int n : {10, 40, 4'000}) {
        suite.Compare({"source time", n, Name("source time", HowMany(0), n),
                       Name("source time", "plain", n), "plain prefix sums", 0.0});
    }
    AddTypes(suite, 1'000);
    for (const int n : {1'000, 10'000, 100'000}) {
        AddAfterEdit(suite, n);
    }

    for (const int n : {10, 1'000, 100'000}) {
        AddLoading(suite, n);
    }
    suite.Compare({"load freezes without keyframes, each", 100'000,
                   Name("load", "freezes", 100'000), Name("load", "freezes", 1'000),
                   "itself at n = 1000", 4.0});

    suite.Section("A whole clip, in order");
    for (const int n : {10, 40, 4'000}) {
        AddClip(suite, n);
    }
}

}  // namespace bench
