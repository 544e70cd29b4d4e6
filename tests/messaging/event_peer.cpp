#include "messaging/event_peer.h"

/// Larger than the tests' version of it.
struct __attribute__((visibility("hidden"))) Versioned {
    std::string texts[3];
};

namespace {

/// Larger than the tests' type of this name.
struct Local {
    std::string texts[8];
};

}  // namespace

void PostFromPeer(core::EventBus& bus, const std::string& text) {
    bus.post(AtoZList{text});
    bus.post(Local());
    bus.post(Versioned());
}

int ListenInPeer(core::EventBus& bus, std::string* heard) {
    const int token = bus.listen<AtoZList>([=](const AtoZList& list) { *heard += list.text; });
    bus.listen<Versioned>(token, [=](const Versioned& event) { *heard += event.texts[2]; });
    return bus.listen<Local>(token, [=](const Local& local) { *heard += local.texts[7]; });
}
