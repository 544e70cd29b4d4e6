#include <core/messaging/listening.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/foundation/never_destroyed.h"

#include <atomic>

// Runs pass a gate by atomic operations alone. Those who wait at any gate share one mutex
// and one condition: waiting is rare, and each of them must see who else waits.
//
//  1. A run counts itself before it looks whether the gate is closed, and a closing thread
//     closes before it looks who is inside: one of the two sees the other.
//  2. A closing thread does not wait for its own runs: they are below it on its stack.
//  3. While a thread waits inside a listener, its runs are parked at their gates. Others
//     that wait inside a listener go on without them, so that no ring of waiting threads
//     closes. Those outside every listener wait for all: nobody waits for them.

namespace core::detail {

class ListenerGate {
public:
    static constexpr unsigned kClosed = 1;
    static constexpr unsigned kRun = 2;

    /// Runs in units of kRun, and kClosed.
    std::atomic<unsigned> state = 0;
    /// Runs on threads that wait inside a listener. Under the waiters' mutex.
    unsigned parked = 0;
    HomeProcess home;
};

namespace {

struct Waiters {
    void Abandon() noexcept {}

    Mutex mutex;
    Condition changed;
};

CORE_INIT_FIRST NeverDestroyed<Waiters> waitersStorage;
Waiters& waiters = waitersStorage.value;

thread_local ListenerRun* innermost = nullptr;

}  // namespace

std::shared_ptr<ListenerGate> MakeListenerGate() {
    return std::make_shared<ListenerGate>();
}

ListenerRun::ListenerRun(ListenerGate& toEnter) noexcept
    : gate(toEnter),
      outer(innermost),
      isAllowed((toEnter.state.fetch_add(ListenerGate::kRun) & ListenerGate::kClosed) == 0) {
    innermost = this;
}

ListenerRun::~ListenerRun() {
    innermost = outer;
    if ((gate.state.fetch_sub(ListenerGate::kRun) & ListenerGate::kClosed) != 0) {
        const Lock lock(waiters.mutex, waiters);
        waiters.changed.NotifyAll();
    }
}

void ListenerRun::CloseAndWait(ListenerGate& toClose) {
    toClose.state.fetch_or(ListenerGate::kClosed);
    const bool isInside = innermost != nullptr;
    const auto park = [](unsigned by) {
        for (const ListenerRun* run = innermost; run != nullptr; run = run->outer) {
            run->gate.parked += by;
        }
    };
    Lock lock(waiters.mutex, waiters);
    if (isInside) {
        park(1);
        waiters.changed.NotifyAll();
    }
    while (toClose.state.load() / ListenerGate::kRun > (isInside ? toClose.parked : 0) &&
           !toClose.home.HasLostThreads()) {
        waiters.changed.Wait(lock);
    }
    park(0U - 1);
}

}  // namespace core::detail
