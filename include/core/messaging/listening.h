#pragma once

#include <core/export.h>
#include <core/messaging/event_bus.h>

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

CORE_HIDES_STD_BEGIN
namespace core {

namespace detail {

/// Whether an owner's listeners may run, and who does.
class ListenerGate;

CORE_API std::shared_ptr<ListenerGate> MakeListenerGate();

/// One run of a listener, for as long as it lives.
class ListenerRun {
public:
    CORE_API explicit ListenerRun(ListenerGate& toEnter) noexcept;
    CORE_API ~ListenerRun();
    ListenerRun(const ListenerRun&) = delete;
    ListenerRun& operator=(const ListenerRun&) = delete;
    /// False where the gate was closed before.
    bool IsAllowed() const noexcept { return isAllowed; }

    /// Lets nobody in any more, and waits for those who are inside on other threads.
    CORE_API static void CloseAndWait(ListenerGate& toClose);

private:
    ListenerGate& gate;
    /// The run around this one on the same thread.
    ListenerRun* outer;
    bool isAllowed;
};

}  // namespace detail

/// Listeners of one owner, on an EventBus or an AsyncEventBus, which never run after it.
///
///     class Title {
///     public:
///         explicit Title(core::EventBus& bus) : listening(bus) {
///             listening.listen<Renamed>([this](const Renamed& event) { Show(event.name); });
///         }
///     private:
///         std::string text;
///         core::Listening<core::EventBus> listening;  // last: the first to go
///     };
///
/// When `unlistenAndWait` returns, and so when this object is gone, none of its listeners
/// runs or will run, so that what they use may go; their functions are released soon,
/// with the bus's lists. A listener costs a few atomic operations per event more than a
/// plain one. The bus must outlive this object.
///
/// `listen` and `unlistenAndWait` are safe from any thread, its own listeners included.
template <class Bus>
class Listening {
public:
    /// Listens to nothing yet.
    explicit Listening(Bus& listenedTo)
        : bus(listenedTo),
          gate(detail::MakeListenerGate()),
          token(listenedTo.template listen<int>(std::function<void(const int&)>())) {}
    /// Unlistens and waits. Without memory, the functions stay with the bus, unheard.
    ~Listening() {
        try {
            unlistenAndWait();
        } catch (...) {
            // The gate is closed, whatever the bus has no memory for.
        }
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    /// Makes `listener` hear events of type E, until `unlistenAndWait`; nothing after it.
    template <class E>
    void listen(std::function<void(const E&)> listener) {
        if (listener) {
            bus.template listen<E>(token,
                                   [gate = gate, heard = std::move(listener)](const E& event) {
                                       if (const detail::ListenerRun run(*gate); run.IsAllowed()) {
                                           heard(event);
                                       }
                                   });
        }
    }

    /// Ends the listening for good, and waits for the listeners that run on other threads.
    ///
    /// From a listener, of this owner or of another one, it does not wait for its own run,
    /// nor for those that wait in such a call themselves: two listeners may end each
    /// other. Hold no lock here that a listener takes. Where the bus has no memory for
    /// the removal std::bad_alloc, and the listeners are silent all the same.
    void unlistenAndWait() {
        detail::ListenerRun::CloseAndWait(*gate);
        bus.unlistenAll(token);
    }

private:
    Bus& bus;
    const std::shared_ptr<detail::ListenerGate> gate;
    const int token;
};

/// Makes `listener(owner, event)` hear events of type E for as long as the owner is there.
///
/// The owner is held while the listener runs, so that it may be the one to destroy it.
/// The first event that finds the owner gone has the listener removed. Answers a token of
/// its own, to `unlistenAll` before that.
///
///     core::ListenWeakly<Renamed>(bus, title, [](Title& owner, const Renamed& event) {
///         owner.Show(event.name);
///     });
template <class E, class Bus, class Owner, class Function>
int ListenWeakly(Bus& bus, const std::shared_ptr<Owner>& owner, Function listener) {
    static_assert(std::is_invocable_v<Function&, Owner&, const E&>, "listener(owner, event)");
    const int token = bus.template listen<E>(std::function<void(const E&)>());
    return bus.template listen<E>(token, [&bus, token, weak = std::weak_ptr<Owner>(owner),
                                          heard = std::move(listener)](const E& event) mutable {
        if (const std::shared_ptr<Owner> held = weak.lock()) {
            heard(*held, event);
        } else {
            bus.unlistenAll(token);
        }
    });
}

}  // namespace core
CORE_HIDES_STD_END
