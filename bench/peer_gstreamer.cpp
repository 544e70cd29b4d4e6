// GStreamer: an interpolation control source; its cubic is the natural spline.

#include "peers.h"

#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gst/gst.h>

namespace bench {
namespace {

class GstreamerCurve : public Peer {
public:
    GstreamerCurve(const FrameCurve& keys, PeerShape shape) {
        gst_init(nullptr, nullptr);
        source = gst_interpolation_control_source_new();
        g_object_set(source, "mode",
                     shape == PeerShape::Linear ? GST_INTERPOLATION_MODE_LINEAR
                                                : GST_INTERPOLATION_MODE_CUBIC,
                     nullptr);
        auto* timed = reinterpret_cast<GstTimedValueControlSource*>(source);
        for (std::size_t i = 0; i < keys.frames.size(); ++i) {
            gst_timed_value_control_source_set(timed, TimeOf(keys.frames[i]), keys.values[i]);
        }
    }
    ~GstreamerCurve() override { gst_object_unref(source); }
    GstreamerCurve(const GstreamerCurve&) = delete;
    GstreamerCurve& operator=(const GstreamerCurve&) = delete;

    void Sample(std::span<const int> frames, double* values) override {
        for (const int frame : frames) {
            gst_control_source_get_value(source, TimeOf(frame), values++);
        }
    }

private:
    static GstClockTime TimeOf(int frame) {
        return static_cast<GstClockTime>(frame) * (GST_SECOND / FrameCurve::kFramesPerSecond);
    }
    GstControlSource* source = nullptr;
};

const RegisterPeer registered({"GStreamer", [](const FrameCurve& keys, PeerShape shape) {
                                   return std::make_unique<GstreamerCurve>(keys, shape);
                               }});

}  // namespace
}  // namespace bench
