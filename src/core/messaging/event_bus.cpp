#include <core/messaging/event_bus.h>

#include "core/foundation/mutex.h"
#include "core/messaging/listener_registry.h"

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace core {

class EventBusImpl {
public:
    int NewToken() {
        const Lock lock(mutex, *this);
        return static_cast<int>(++lastToken);
    }
    void Add(const detail::EventType& type, std::shared_ptr<detail::EventListener> listener) {
        const Lock lock(mutex, *this);
        registry.Add(type, std::move(listener));
    }
    Listeners RemoveAll(int token) {
        const Lock lock(mutex, *this);
        return registry.RemoveAll(token);
    }
    ListenerRegistry TakeAll() {
        const Lock lock(mutex, *this);
        return registry.TakeAll();
    }
    ChannelHandle Find(const detail::EventType& type) {
        const Lock lock(mutex, *this);
        return registry.Find(type);
    }
    /// The lock's holder is gone: those that listen stay behind unheard.
    void Abandon() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS { new (&registry) ListenerRegistry; }

private:
    Mutex mutex;
    std::uint64_t lastToken CORE_GUARDED_BY(mutex) = 0;
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
    Deliver(p_impl->Find(type), type, event);
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

}  // namespace core
