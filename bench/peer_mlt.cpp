// MLT: an animated property; its cubic is a Catmull-Rom spline, which through keys at equal
// distances is the ramp exactly, but for the first segment and the last. The link
// "timeremap" takes such a property of source seconds as its map.

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

constexpr const char* kMap = "map";

void SetMap(mlt_properties properties, const FrameCurve& shown) {
    for (std::size_t i = 0; i < shown.frames.size(); ++i) {
        mlt_properties_anim_set_double(properties, kMap,
                                       shown.values[i] / FrameCurve::kFramesPerSecond,
                                       shown.frames[i], 0, mlt_keyframe_smooth);
    }
}

/// The map alone.
class MltMap : public Peer {
public:
    explicit MltMap(const RampClip& clip)
        : properties(mlt_properties_new()), length(clip.shown.frames.back() + 1) {
        SetMap(properties, clip.shown);
    }
    ~MltMap() override { mlt_properties_close(properties); }
    MltMap(const MltMap&) = delete;
    MltMap& operator=(const MltMap&) = delete;

    void Sample(std::span<const int> frames, double* values) override {
        for (const int frame : frames) {
            *values++ = mlt_properties_anim_get_double(properties, kMap, frame, length) *
                        FrameCurve::kFramesPerSecond;
        }
    }

private:
    mlt_properties properties;
    int length;
};

/// The link in a chain, asked for frames. Its source gives frames without a picture and
/// notes which one it was asked for last: the last that one on the timeline covers.
class MltTimeremap : public Peer {
public:
    explicit MltTimeremap(const RampClip& clip) {
        mlt_log_set_level(MLT_LOG_ERROR);
        mlt_factory_init(nullptr);
        profile = mlt_profile_init(nullptr);
        profile->frame_rate_num = FrameCurve::kFramesPerSecond;
        profile->frame_rate_den = 1;

        source = mlt_producer_new(profile);
        source->get_frame = &NoteFrame;
        source->child = this;
        const mlt_properties settings = MLT_PRODUCER_PROPERTIES(source);
        // A chain wants to know what its source is made of.
        mlt_properties_set(settings, "mlt_service", "blank");
        mlt_properties_set(settings, "resource", "blank");
        const int last = static_cast<int>(clip.shown.values.back()) + kBeyond;
        mlt_properties_set_position(settings, "length", last + 1);
        mlt_properties_set_position(settings, "out", last);

        chain = mlt_chain_init(profile);
        mlt_chain_set_source(chain, source);
        link = mlt_factory_link("timeremap", nullptr);
        if (link == nullptr) {
            return;
        }
        SetMap(MLT_LINK_PROPERTIES(link), clip.shown);
        mlt_chain_attach(chain, link);
    }
    // Nothing is closed: the measurements hold this up to the end of the process, when the
    // link's module is gone already.
    ~MltTimeremap() override = default;
    MltTimeremap(const MltTimeremap&) = delete;
    MltTimeremap& operator=(const MltTimeremap&) = delete;

    void Sample(std::span<const int> frames, double* values) override {
        for (const int position : frames) {
            mlt_producer_seek(MLT_CHAIN_PRODUCER(chain), position);
            mlt_frame frame = nullptr;
            mlt_service_get_frame(MLT_CHAIN_SERVICE(chain), &frame, 0);
            mlt_frame_close(frame);
            *values++ = lastAsked;
        }
    }

private:
    static constexpr int kBeyond = 100;

    static int NoteFrame(mlt_producer producer, mlt_frame_ptr frame, int) {
        auto* self = static_cast<MltTimeremap*>(producer->child);
        self->lastAsked = mlt_producer_position(producer);
        *frame = mlt_frame_init(MLT_PRODUCER_SERVICE(producer));
        mlt_frame_set_position(*frame, self->lastAsked);
        mlt_producer_prepare_next(producer);
        return 0;
    }

    mlt_profile profile = nullptr;
    mlt_producer source = nullptr;
    mlt_chain chain = nullptr;
    mlt_link link = nullptr;
    int lastAsked = 0;
};

const RegisterRetiming registeredMap({"MLT map", [](const RampClip& clip) {
                                          return std::make_unique<MltMap>(clip);
                                      }});
const RegisterRetiming registeredLink({"MLT timeremap with frames", [](const RampClip& clip) {
                                           return std::make_unique<MltTimeremap>(clip);
                                       }});

}  // namespace
}  // namespace bench
