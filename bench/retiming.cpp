// A clip with a speed ramp in other libraries, on whole frames.

#include "peers.h"

#include "contests.h"
#include "inputs.h"

#include <core/speed/speed_parameter.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace bench {
namespace {

using Type = core::KeyframeInterpolationType;

constexpr int kFramesPerKey = 25;

/// From half to double speed in `n` keys at equal distances.
RampClip MakeRamp(int n) {
    constexpr double kSlowest = 0.5;
    constexpr double kFastest = 2.0;
    RampClip clip;
    double source = 0.0;
    for (int i = 0; i < n; ++i) {
        const double speed = kSlowest + (kFastest - kSlowest) * i / (n - 1);
        if (i > 0) {
            source += kFramesPerKey * (clip.speeds.back() + speed) / 2.0;
        }
        clip.shown.frames.push_back(i * kFramesPerKey);
        clip.shown.values.push_back(source);
        clip.speeds.push_back(speed);
    }
    return clip;
}

/// Without those of the first segment and the last, which not all draw alike.
std::shared_ptr<std::vector<int>> InnerFrames(const RampClip& clip, Order order) {
    const int inner = clip.shown.frames.back() - 2 * kFramesPerKey;
    Dice dice(33);
    auto frames = std::make_shared<std::vector<int>>();
    for (int i = 0; i < kPoolSize; ++i) {
        frames->push_back(kFramesPerKey + (order == Order::Random ? dice.Below(inner) : i % inner));
    }
    return frames;
}

class OurRetiming : public Peer {
public:
    explicit OurRetiming(const RampClip& clip) {
        speed.SetSourceTotalTime(clip.shown.values.back() / FrameCurve::kFramesPerSecond);
        for (std::size_t i = 0; i < clip.speeds.size(); ++i) {
            speed.AddPoint(clip.shown.values[i] / FrameCurve::kFramesPerSecond, clip.speeds[i],
                           Type::Linear);
        }
    }
    void Sample(std::span<const int> frames, double* values) override {
        for (const int frame : frames) {
            const double t = static_cast<double>(frame) / FrameCurve::kFramesPerSecond;
            *values++ = speed.GetSourceTime(t) * FrameCurve::kFramesPerSecond;
        }
    }

private:
    core::SpeedParameter speed;
};

/// Frames that lie more than two apart: one at double speed covers as many.
Agreement FramesThatDiffer(Peer& ours, Peer& theirs, const std::vector<int>& frames) {
    std::vector<double> a(frames.size());
    std::vector<double> b(frames.size());
    ours.Sample(frames, a.data());
    theirs.Sample(frames, b.data());
    Agreement agreement;
    for (std::size_t i = 0; i < a.size(); ++i) {
        agreement.Compare(std::fabs(a[i] - b[i]) <= 2.0 ? 0.0 : 1.0, 0.0);
    }
    return agreement;
}

void AddRamp(Suite& suite, int n) {
    const RampClip clip = MakeRamp(n);
    const auto ours = std::make_shared<OurRetiming>(clip);
    for (const RetimingLibrary& library : RetimingLibraries()) {
        const auto theirs = std::make_shared<LatePeer>([=] { return library.make(clip); });
        for (const Order order : {Order::Playback, Order::Random}) {
            const auto frames = InnerFrames(clip, order);
            const std::string how = std::string("ramp ") + NameOf(order);
            const std::string ourName = Name("this library retiming", how, n);
            const std::string theirName = Name(library.name, how, n);
            suite.Check(theirName, 0.0, [=] { return FramesThatDiffer(*ours, *theirs, *frames); });
            MeasurePeer(suite, ourName, ours, frames);
            MeasurePeer(suite, theirName, theirs, frames);
            suite.Compare({how, n, ourName, theirName, library.name, 0.0});
        }
    }
}

}  // namespace

std::vector<RetimingLibrary>& RetimingLibraries() {
    static std::vector<RetimingLibrary> libraries;
    return libraries;
}

void AddRetiming(Suite& suite) {
    if (RetimingLibraries().empty()) {
        return;
    }
    suite.Section("Other libraries showing a clip with a speed ramp");
    for (const int n : {10, 1'000, 10'000}) {
        AddRamp(suite, n);
    }
}

}  // namespace bench
