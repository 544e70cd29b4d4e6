#pragma once

// What handling a crash is on every system: one thread's at a time, its lines saved first,
// then its calls followed, then told. It runs where nothing may be locked or allocated.

#include "core/platform/platform.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace core::platform {

struct CrashHandling {
    static constexpr std::size_t kMostFrames = 64;

    std::atomic<const CrashHandler*> handler = nullptr;
    /// The thread that told of a crash by CrashNow.
    std::atomic<std::uint64_t> toldThread = 0;
    Crash current{};
    std::uintptr_t frames[kMostFrames]{};

    /// Handles a crash of a thread, or its rest where handling it has crashed again.
    /// `followCalls` fills `frames`.
    template <class FollowCalls>
    void Handle(const Crash& crash, FollowCalls followCalls) noexcept {
        const CrashHandler* const what = handler.load();
        if (what == nullptr) {
            return;
        }
        std::uint64_t first = 0;
        if (!crashingThread.compare_exchange_strong(first, crash.threadId)) {
            if (first != crash.threadId) {
                // The other one ends the process; where it does not, this one goes on.
                for (int i = 0; i < 5000 && crashingThread.load() == first; ++i) {
                    SleepMilliseconds(1);
                }
            } else if (stage.load() != Stage::Telling) {
                Tell(*what);
            }
            return;
        }
        current = crash;
        stage.store(Stage::Saving);
        what->save(crash.threadId);
        stage.store(Stage::Unwinding);
        followCalls();
        Tell(*what);
        stage.store(Stage::None);
        crashingThread.store(0);
    }

private:
    enum class Stage { None, Saving, Unwinding, Telling };

    void Tell(const CrashHandler& what) noexcept {
        stage.store(Stage::Telling);
        current.frames = frames;
        what.tell(current);
    }

    // The thread whose crash is handled: the others wait for it.
    std::atomic<std::uint64_t> crashingThread = 0;
    std::atomic<Stage> stage = Stage::None;
};

}  // namespace core::platform
