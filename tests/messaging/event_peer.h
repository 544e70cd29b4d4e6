#pragma once

#include <core/messaging/event_bus.h>

#include <string>

// Another module of the process that knows some of the tests' events.

/// Each module has its own description of a hidden type. The compiled name of this one,
/// 8AtoZList, has the letters ZL, as the names of types that one file alone sees have.
struct __attribute__((visibility("hidden"))) AtoZList {
    std::string text;
};

/// Posts an AtoZList, and its own kinds of Local, from an unnamed namespace, and of
/// Versioned, which are not the caller's.
void PostFromPeer(core::EventBus& bus, const std::string& text);
/// Listens to the same.
int ListenInPeer(core::EventBus& bus, std::string* heard);
