// libopenshot: a Keyframe of points; its cubic is a Bezier curve with the default
// handles, solved for time by bisection. A clip's retiming is such a Keyframe of source
// frames; with handles at the thirds of each segment it is the ramp exactly.

#include "peers.h"

#include <KeyFrame.h>

#include <utility>

namespace bench {
namespace {

class OpenshotCurve : public Peer {
public:
    OpenshotCurve(const FrameCurve& keys, PeerShape shape) {
        const openshot::InterpolationType type =
            shape == PeerShape::Linear ? openshot::LINEAR : openshot::BEZIER;
        for (std::size_t i = 0; i < keys.frames.size(); ++i) {
            const openshot::Coordinate at(keys.frames[i] + kFirstFrame, keys.values[i]);
            curve.AddPoint(openshot::Point(at, type));
        }
    }
    void Sample(std::span<const int> frames, double* values) override {
        for (const int frame : frames) {
            *values++ = curve.GetValue(frame + kFirstFrame);
        }
    }

private:
    static constexpr int kFirstFrame = 1;
    openshot::Keyframe curve;
};

const RegisterPeer registered({"libopenshot", [](const FrameCurve& keys, PeerShape shape) {
                                   return std::make_unique<OpenshotCurve>(keys, shape);
                               }});

class OpenshotRetiming : public Peer {
public:
    explicit OpenshotRetiming(const RampClip& clip) {
        const std::vector<int>& frames = clip.shown.frames;
        const std::vector<double>& sources = clip.shown.values;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const openshot::Coordinate at(frames[i] + kFirstFrame, sources[i] + kFirstFrame);
            openshot::Point point(at, openshot::BEZIER, openshot::MANUAL);
            // In parts of the segment that the handle lies in.
            const auto rise = [&](std::size_t start) {
                return clip.speeds[i] * (frames[start + 1] - frames[start]) / 3.0 /
                       (sources[start + 1] - sources[start]);
            };
            if (i > 0) {
                point.handle_left = openshot::Coordinate(2.0 / 3.0, 1.0 - rise(i - 1));
            }
            if (i + 1 < frames.size()) {
                point.handle_right = openshot::Coordinate(1.0 / 3.0, rise(i));
            }
            time.AddPoint(point);
        }
    }
    void Sample(std::span<const int> frames, double* values) override {
        for (const int frame : frames) {
            *values++ = static_cast<double>(time.GetLong(frame + kFirstFrame)) - kFirstFrame;
        }
    }

private:
    static constexpr int kFirstFrame = 1;
    openshot::Keyframe time;
};

const RegisterRetiming registeredRetiming({"libopenshot Clip::time", [](const RampClip& clip) {
                                               return std::make_unique<OpenshotRetiming>(clip);
                                           }});

}  // namespace
}  // namespace bench
