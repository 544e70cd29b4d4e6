// The same curve in other libraries. They sample on whole frames.

#include "peers.h"

#include "contests.h"
#include "inputs.h"

#include <algorithm>
#include <array>
#include <string>

namespace bench {
namespace {

using Type = core::KeyframeInterpolationType;

FrameCurve MakeFrameCurve(int n) {
    Dice dice(31);
    FrameCurve curve;
    int frame = 0;
    for (int i = 0; i < n; ++i) {
        curve.frames.push_back(frame);
        curve.values.push_back(dice.Between(50.0, 100.0));
        frame += 15 + dice.Below(21);
    }
    return curve;
}

std::shared_ptr<std::vector<int>> SampleFrames(const FrameCurve& curve, Order order) {
    const int end = curve.frames.back();
    Dice dice(32);
    auto frames = std::make_shared<std::vector<int>>();
    for (int i = 0; i < kPoolSize; ++i) {
        frames->push_back(order == Order::Random
                              ? dice.Below(end)
                              : static_cast<int>(static_cast<long long>(end) * i / kPoolSize));
    }
    return frames;
}

class OurCurve : public Peer {
public:
    OurCurve(const FrameCurve& keys, PeerShape shape) {
        const Type type = shape == PeerShape::Linear ? Type::Linear : Type::Hermite;
        for (std::size_t i = 0; i < keys.frames.size(); ++i) {
            curve.AddPoint(TimeOf(keys.frames[i]), keys.values[i], type);
        }
    }
    void Sample(std::span<const int> frames, double* values) override {
        for (const int frame : frames) {
            *values++ = curve.GetValue(TimeOf(frame), true).AsDouble();
        }
    }

private:
    static double TimeOf(int frame) {
        return static_cast<double>(frame) / FrameCurve::kFramesPerSecond;
    }
    core::Parameter curve;
};

void AddShape(Suite& suite, PeerShape shape, int n) {
    const FrameCurve keys = MakeFrameCurve(n);
    const std::string shapeName = shape == PeerShape::Linear ? "linear" : "cubic";
    const auto ours = std::make_shared<OurCurve>(keys, shape);
    for (const PeerLibrary& library : PeerLibraries()) {
        const auto theirs = std::make_shared<LatePeer>([=] { return library.make(keys, shape); });
        for (const Order order : {Order::Ascending, Order::Random}) {
            const auto frames = SampleFrames(keys, order);
            const std::string how = shapeName + " " + NameOf(order);
            const std::string ourName = Name("this library on frames", how, n);
            const std::string theirName = Name(library.name, how, n);

            // Lines agree everywhere, cubics at the keyframes alone.
            const auto asked = shape == PeerShape::Linear
                                   ? frames
                                   : std::make_shared<std::vector<int>>(keys.frames);
            suite.Check(theirName, 1e-9, [=] {
                std::vector<double> a(asked->size());
                std::vector<double> b(asked->size());
                ours->Sample(*asked, a.data());
                theirs->Sample(*asked, b.data());
                Agreement agreement;
                for (std::size_t i = 0; i < a.size(); ++i) {
                    agreement.Compare(a[i], b[i]);
                }
                return agreement;
            });
            MeasurePeer(suite, ourName, ours, frames);
            MeasurePeer(suite, theirName, theirs, frames);
            suite.Compare({how, n, ourName, theirName, library.name, 0.0});
        }
    }
}

}  // namespace

void MeasurePeer(Suite& suite, const std::string& name, const std::shared_ptr<Peer>& peer,
                 const std::shared_ptr<std::vector<int>>& frames) {
    suite.Measure(name, [=](benchmark::State& state) {
        constexpr std::size_t kRun = 100;
        std::array<double, kRun> values;
        std::size_t at = 0;
        while (state.KeepRunningBatch(kRun)) {
            peer->Sample(std::span(*frames).subspan(at, kRun), values.data());
            benchmark::DoNotOptimize(values);
            at = at + 2 * kRun <= frames->size() ? at + kRun : 0;
        }
    });
}

std::vector<PeerLibrary>& PeerLibraries() {
    static std::vector<PeerLibrary> libraries;
    return libraries;
}

void AddPeers(Suite& suite) {
    if (PeerLibraries().empty()) {
        return;
    }
    suite.Section("Other libraries on the same keyframes, at whole frames");
    for (const PeerShape shape : {PeerShape::Linear, PeerShape::Cubic}) {
        for (const int n : {10, 1'000, 10'000}) {
            AddShape(suite, shape, n);
        }
    }
}

}  // namespace bench
