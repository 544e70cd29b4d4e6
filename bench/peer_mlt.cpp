// MLT: an animated property; its cubic is a Catmull-Rom spline.

#include "peers.h"

#include <framework/mlt.h>

namespace bench {
namespace {

class MltCurve : public Peer {
public:
    MltCurve(const FrameCurve& keys, PeerShape shape)
        : properties(mlt_properties_new()), length(keys.frames.back() + 1) {
        const mlt_keyframe_type type =
            shape == PeerShape::Linear ? mlt_keyframe_linear : mlt_keyframe_smooth;
        for (std::size_t i = 0; i < keys.frames.size(); ++i) {
            mlt_properties_anim_set_double(properties, kName, keys.values[i], keys.frames[i],
                                           length, type);
        }
    }
    ~MltCurve() override { mlt_properties_close(properties); }
    MltCurve(const MltCurve&) = delete;
    MltCurve& operator=(const MltCurve&) = delete;

    void Sample(std::span<const int> frames, double* values) override {
        for (const int frame : frames) {
            *values++ = mlt_properties_anim_get_double(properties, kName, frame, length);
        }
    }

private:
    static constexpr const char* kName = "value";
    mlt_properties properties;
    int length;
};

const RegisterPeer registered({"MLT", [](const FrameCurve& keys, PeerShape shape) {
                                   return std::make_unique<MltCurve>(keys, shape);
                               }});

}  // namespace
}  // namespace bench
