#include <core/messaging/event_bus.h>

#include <core/messaging/counters.h>

#include "core/foundation/mutex.h"
#include "core/messaging/access.h"
#include "core/messaging/listener_registry.h"
#include "core/messaging/run_times.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace core {

class EventBusImpl {
public:
    int NewToken() {
        const ScopedLock lock(mutex, *this);
        return static_cast<int>(++lastToken);
    }
    void Add(const detail::EventType& type, std::shared_ptr<detail::EventListener> listener) {
        const ScopedLock lock(mutex, *this);
        registry.Add(type, std::move(listener));
    }
    Listeners RemoveAll(int token) {
        const ScopedLock lock(mutex, *this);
        return registry.RemoveAll(token);
    }
    ListenerRegistry TakeAll() {
        const ScopedLock lock(mutex, *this);
        return registry.TakeAll();
    }
    ChannelHandle Find(const detail::EventType& type) {
        const ScopedLock lock(mutex, *this);
        ++posted;
        return registry.Find(type);
    }
    bool IsMeasured() const noexcept { return isMeasured.load(std::memory_order_relaxed); }
    [[gnu::noinline]] void PostMeasured(const detail::EventType& type, const void* event) {
        // Held here: a listener may destroy the bus.
        std::shared_ptr<RunTimes> held;
        if (IsMeasured()) {
            const ScopedLock lock(mutex, *this);
            held = times;
        }
        const ChannelHandle channel = Find(type);
        RunTimes unmeasured;
        (held != nullptr ? *held : unmeasured).Time("deliver event", [&] {
            Deliver(channel, type, event);
        });
    }
    void Measure(bool isOn) {
        auto made = std::make_shared<RunTimes>();
        made->Measure(true);
        const ScopedLock lock(mutex, *this);
        isMeasured.store(isOn);
        if (isOn) {
            times = std::move(made);
        }
    }
    Counters CountAll() {
        const ScopedLock lock(mutex, *this);
        Counters counters;
        counters.posted = counters.done = posted;
        counters.longestRun = times != nullptr ? times->Longest() : std::chrono::nanoseconds(0);
        return counters;
    }
    /// The lock's holder is gone: those that listen stay behind unheard.
    void Abandon() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS { new (&registry) ListenerRegistry; }

private:
    QueueMutex mutex;
    std::uint64_t lastToken CORE_GUARDED_BY(mutex) = 0;
    std::uint64_t posted CORE_GUARDED_BY(mutex) = 0;
    std::atomic<bool> isMeasured = false;
    std::shared_ptr<RunTimes> times CORE_GUARDED_BY(mutex);
    ListenerRegistry registry CORE_GUARDED_BY(mutex);
};

EventBus::EventBus() : p_impl(std::make_unique<EventBusImpl>()) {}

EventBus::~EventBus() {
    // Functions that are released now may still use the bus.
    p_impl->TakeAll();
}

int EventBus::newToken() {
    return p_impl->NewToken();
}

void EventBus::addListener(const detail::EventType& type,
                           std::shared_ptr<detail::EventListener> listener) {
    if (listener != nullptr) {
        p_impl->Add(type, std::move(listener));
    }
}

void EventBus::postEvent(const detail::EventType& type, const void* event) {
    if (spanSink.load(std::memory_order_relaxed) != nullptr || p_impl->IsMeasured()) [[unlikely]] {
        p_impl->PostMeasured(type, event);
    } else {
        Deliver(p_impl->Find(type), type, event);
    }
}

void EventBus::unlistenAll(int token) {
    p_impl->RemoveAll(token);
}

namespace {

AsyncEventBus* globalBus = nullptr;
EventBus* globalSyncBus = nullptr;

}  // namespace

AsyncEventBus& GetGlobalEventBus() {
    if (globalBus == nullptr) {
        globalBus = new AsyncEventBus;
    }
    return *globalBus;
}

void ReleaseGlobalEventBus() {
    // Forgotten first: its last listeners may release it again.
    delete std::exchange(globalBus, nullptr);
}

EventBus& GetGlobalSyncEventBus() {
    if (globalSyncBus == nullptr) {
        globalSyncBus = new EventBus;
    }
    return *globalSyncBus;
}

void ReleaseGlobalSyncEventBus() {
    delete std::exchange(globalSyncBus, nullptr);
}

Counters CountersOf(const EventBus& bus) {
    return MessagingAccess::ImplOf(bus)->CountAll();
}

void MeasureRuns(EventBus& bus, bool isOn) {
    MessagingAccess::ImplOf(bus)->Measure(isOn);
}

}  // namespace core
