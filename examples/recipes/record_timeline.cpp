// Records which thread does what from when to when, for Perfetto or Chrome's about:tracing.

#include <core/core.h>

#include <cstdio>
#include <string>
#include <thread>

namespace {

void Decode(int frame) {
    CORE_TIMELINE_SCOPE_WITH("decode", {{"clip", "intro.mov"}, {"frame", frame}});
    CoreTimelineRecord(CORE_TIMELINE_FLOW_BEGIN, "frame", static_cast<uint64_t>(frame));
    CoreTimelineCounter("frames waiting", frame);
}

void Draw(int frame) {
    CORE_TIMELINE_SCOPE("draw");
    CoreTimelineRecord(CORE_TIMELINE_FLOW_END, "frame", static_cast<uint64_t>(frame));
}

}  // namespace

int main() {
    if (CoreTimelineStart("timeline.json", 0) != 0) {
        return 1;
    }
    std::thread([] {
        core::SetThreadName("decoder");
        for (int frame = 1; frame <= 3; ++frame) {
            Decode(frame);
        }
    }).join();
    for (int frame = 1; frame <= 3; ++frame) {
        Draw(frame);
    }
    std::printf("%d records lost\n", static_cast<int>(CoreTimelineStop()));

    core::JsonDoc doc;
    if (!core::ParseJsonFile("timeline.json", doc.Root())) {
        return 1;
    }
    for (const core::JsonElem& record : doc.Root().AsArray()) {
        const std::string kind = core::ValueByPointerOr(record, "/ph", "");
        const std::string name = core::ValueByPointerOr(record, "/name", "");
        std::printf("%s %s\n", kind.c_str(), name.c_str());
    }
}
