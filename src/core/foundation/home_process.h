#pragma once

#include "core/foundation/never_destroyed.h"
#include "core/platform/platform.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace core {

/// The process in which an object was made, with the threads that serve it or wait for
/// it. A forked process has the object, and not those threads.
class HomeProcess {
public:
    /// Whether this is another process, with a copy of the object.
    bool IsElsewhere() const noexcept { return id != platform::CurrentProcessId(); }
    /// Whether threads that were started since are gone without having ended. Nothing may
    /// wait for them, and what they used may stand in the middle of a change.
    bool HasLostThreads() const noexcept {
        return platform::OtherThreadsAreGone() || IsElsewhere();
    }

private:
    std::uint64_t id = platform::CurrentProcessId();
};

/// Gives a resource up without releasing it: what would wait for lost threads goes with
/// the process.
template <class T>
void Forget(T&& resource) noexcept {
    NeverDestroyed<std::decay_t<T>> kept;
    kept.value = std::forward<T>(resource);
}

}  // namespace core
