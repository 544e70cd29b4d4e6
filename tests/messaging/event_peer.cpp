#include "messaging/event_peer.h"

namespace {

/// Larger than the tests' type of this name.
struct Local {
    std::string texts[8];
};

}  // namespace

void PostFromPeer(core::EventBus& bus, const std::string& text) {
    bus.post(Greeting{text});
    bus.post(Local());
}

int ListenInPeer(core::EventBus& bus, std::string* heard) {
    const int token =
        bus.listen<Greeting>([=](const Greeting& greeting) { *heard += greeting.text; });
    return bus.listen<Local>(token, [=](const Local& local) { *heard += local.texts[7]; });
}
