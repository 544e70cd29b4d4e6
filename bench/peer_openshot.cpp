// libopenshot: a Keyframe of points; its cubic is a Bezier curve with the default
// handles, solved for time by bisection.

#include "peers.h"

#include <KeyFrame.h>

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

}  // namespace
}  // namespace bench
