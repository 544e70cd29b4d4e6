#pragma once

#include <core/messaging/event_bus.h>

#include <string>

// Another module of the process that knows some of the tests' events.

/// Each module has its own description of a hidden type. Compilers write its name as 8AtoZList,
/// and those of types that no other file sees with a ZL of their own.
struct __attribute__((visibility("hidden"))) AtoZList {
    std::string text;
};

/// Posts an AtoZList, and its own kinds of Local, from an unnamed namespace, and of
/// Versioned, which are not the caller's.
void PostFromPeer(core::EventBus& bus, const std::string& text);
/// Listens to the same.
int ListenInPeer(core::EventBus& bus, std::string* heard);
