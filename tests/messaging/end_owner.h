#pragma once

#include <string>

// A module that keeps buses, loops and workers in static objects, so that they are
// destroyed while the module is detached from its process.

class EndOwner {
public:
    virtual ~EndOwner() = default;
    /// What the process's other threads do without a pause, until they are ended.
    virtual void Work() = 0;
};

/// Makes the owner that `what` names, to be destroyed with the static objects of this
/// module; null for an unknown name.
EndOwner* KeepInModule(const std::string& what);
