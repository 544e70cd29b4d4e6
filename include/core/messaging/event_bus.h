#pragma once

#include <core/export.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

CORE_HIDES_STD_BEGIN
namespace core {

class AsyncEventBusImpl;
class EventBusImpl;

namespace detail {

/// What the buses know of a type of events. Types are told apart by their names, so
/// that two modules that both know a type reach each other, whether or not their
/// loaders see one type in both; and by size and alignment, so that modules built from
/// different versions of a type do not. A type that is local to one source file has no name
/// for others and is told apart by its description's address.
struct EventType {
    const std::type_info* description;
    std::size_t size;
    std::size_t alignment;
    void (*destroy)(void* event);
};

template <class E>
void DestroyEvent(void* event) {
    static_cast<E*>(event)->~E();
}

/// A constant: one that is made on first use would be found half made across modules.
template <class E>
const EventType& EventTypeOf() noexcept {
    static_assert(std::is_same_v<E, std::decay_t<E>>, "an event is a value: no const, no &");
    static constexpr EventType kType{&typeid(E), sizeof(E), alignof(E), &DestroyEvent<E>};
    return kType;
}

/// A function that listens, with its owner's token. One call leads to it, and off is a
/// call that does nothing: delivering asks nothing per listener.
class EventListener {
public:
    int Token() const noexcept { return token; }
    void Hear(const void* event) { call.load(std::memory_order_relaxed)(*this, event); }
    /// For deliveries that still have it in their list.
    void SwitchOff() noexcept {
        call.store([](EventListener&, const void*) {}, std::memory_order_relaxed);
    }

protected:
    using Call = void (*)(EventListener& self, const void* event);

    EventListener(int ownersToken, Call toCall) noexcept : call(toCall), token(ownersToken) {}
    ~EventListener() = default;

private:
    std::atomic<Call> call;
    const int token;
};

template <class E>
class ListenerOf final : public EventListener {
public:
    ListenerOf(int ownersToken, std::function<void(const E&)>&& toHear)
        : EventListener(ownersToken, &CallFunction), function(std::move(toHear)) {}

private:
    static void CallFunction(EventListener& self, const void* event) {
        const auto& function = static_cast<ListenerOf&>(self).function;
#if defined(__GNUC__)
        if (!function) {
            __builtin_unreachable();  // MakeListener makes none: nothing is left to check
        }
#endif
        function(*static_cast<const E*>(event));
    }

    const std::function<void(const E&)> function;
};

/// Null for an empty function.
template <class E>
std::shared_ptr<EventListener> MakeListener(int token, std::function<void(const E&)>&& function) {
    return function ? std::make_shared<ListenerOf<E>>(token, std::move(function)) : nullptr;
}

}  // namespace detail

/// Publish and subscribe, with one thread on which all listeners run.
///
///     struct Saved { std::string path; };
///
///     core::AsyncEventBus bus;
///     const int token = bus.listen<Saved>([](const Saved& saved) { Show(saved.path); });
///     bus.post(Saved{"a.mp4"});
///     bus.unlistenAll(token);
///
/// An event is a value of any type that can be moved. It reaches the listeners of
/// exactly its type, in the order in which they began to listen; events come one at a
/// time, in the order of their posts. A listener that throws is reported to the log, and
/// the others run. Events of up to 112 bytes are queued without allocation once the queue
/// has had its length.
///
/// Listening, `unlistenAll` and posting are safe from any thread, listeners included, and
/// never wait for a listener; where memory is short, they throw `std::bad_alloc` and have
/// done nothing. Changes reach the listeners' thread through a queue: they apply to every
/// event that their caller posts afterwards, and to waiting events at the earliest from
/// the next pass over the queue on; never in the middle of an event. A listener for which
/// there is no memory then is reported to the log, and hears nothing.
///
/// A module may be unloaded when its events are delivered and its listeners released.
class CORE_API AsyncEventBus {
public:
    /// Starts the thread. When none can be started, this is written to the standard
    /// output, and the bus stays without: somebody has to call `consume`.
    AsyncEventBus();

    /// Ends the pass in progress, then drops the events, changes and listeners that are
    /// left. No listener runs afterwards.
    ///
    /// From one of its own listeners: that listener is the last one to run, and the
    /// thread ends by itself once it returns.
    ///
    /// Where the thread is gone without having ended, at the end of a process on Windows
    /// or in a forked process, nothing is waited for, run or released.
    ~AsyncEventBus();
    AsyncEventBus(const AsyncEventBus&) = delete;
    AsyncEventBus& operator=(const AsyncEventBus&) = delete;

    /// Makes `listener` hear events of type E. Answers a new token for its owner, from 1
    /// on. An empty function hears nothing.
    template <class E>
    CORE_LOCAL int listen(std::function<void(const E&)> listener) {
        return listen<E>(newToken(), std::move(listener));
    }

    /// The same for an owner that has a token; answers that.
    template <class E>
    CORE_LOCAL int listen(int token, std::function<void(const E&)> listener) {
        addListener(detail::EventTypeOf<E>(), detail::MakeListener(token, std::move(listener)));
        return token;
    }

    /// Queues `event` for its listeners, moved into the queue.
    template <class E>
    CORE_LOCAL void post(E event) {
        void* const place = reserveEvent(detail::EventTypeOf<E>());
        try {
            ::new (place) E(std::move(event));
        } catch (...) {
            cancelEvent(place);
            throw;
        }
        postEvent(place);
    }

    /// Removes every listener of this token, soon: their functions are released on the
    /// listeners' thread, also when no event comes. Until then they may still hear
    /// events that were posted before.
    void unlistenAll(int token);

    /// Events that wait for delivery.
    int getQueueEventCount();

    /// What the bus's thread runs: delivers until the bus is destroyed. On another
    /// thread it waits for that one to end first; in a listener it returns at once.
    void consume();

private:
    friend class MessagingAccess;
    int newToken();
    void addListener(const detail::EventType& type,
                     std::shared_ptr<detail::EventListener> listener);
    void* reserveEvent(const detail::EventType& type);
    void cancelEvent(void* place) noexcept;
    void postEvent(void* place);

    std::shared_ptr<AsyncEventBusImpl> p_impl;
};

/// Publish and subscribe on the caller's thread: `post` returns when every listener has
/// heard the event.
///
/// Members and listeners are as on AsyncEventBus, but changes take effect at once: a
/// listener that is removed, by itself or by another one, hears nothing more, one that
/// is added hears the posts from then on. A listener may listen, unlisten, post, and
/// destroy the bus, which is then the last that happens to it.
///
/// Safe from any thread. No lock is held while a listener runs, so posts on two threads
/// may run one listener twice at a time, and a listener may still be running when
/// another thread's `unlistenAll` returns.
class CORE_API EventBus {
public:
    EventBus();
    ~EventBus();
    EventBus(const EventBus&) = delete;
    EventBus& operator=(const EventBus&) = delete;

    /// Makes `listener` hear events of type E. Answers a new token for its owner, from 1
    /// on. An empty function hears nothing.
    template <class E>
    CORE_LOCAL int listen(std::function<void(const E&)> listener) {
        return listen<E>(newToken(), std::move(listener));
    }

    /// The same for an owner that has a token; answers that.
    template <class E>
    CORE_LOCAL int listen(int token, std::function<void(const E&)> listener) {
        addListener(detail::EventTypeOf<E>(), detail::MakeListener(token, std::move(listener)));
        return token;
    }

    /// Runs the listeners of this type, one after the other.
    template <class E>
    CORE_LOCAL void post(E event) {
        postEvent(detail::EventTypeOf<E>(), std::addressof(event));
    }

    /// Removes every listener of this token and releases their functions, but for those
    /// that are running: they are released when they return.
    void unlistenAll(int token);

private:
    friend class MessagingAccess;
    int newToken();
    void addListener(const detail::EventType& type,
                     std::shared_ptr<detail::EventListener> listener);
    void postEvent(const detail::EventType& type, const void* event);

    std::unique_ptr<EventBusImpl> p_impl;
};

/// The process's one AsyncEventBus, made by the first call.
///
/// Making and releasing it takes no lock: the first call and the release must not meet
/// other calls. It is not destroyed at the end of the process.
CORE_API AsyncEventBus& GetGlobalEventBus();
/// Destroys it, if it is there; the next call makes a fresh one, with tokens from 1 on.
CORE_API void ReleaseGlobalEventBus();

/// The same for the one EventBus.
CORE_API EventBus& GetGlobalSyncEventBus();
CORE_API void ReleaseGlobalSyncEventBus();

}  // namespace core
CORE_HIDES_STD_END
