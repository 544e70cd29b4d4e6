#pragma once

#include <core/messaging/event_bus.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

namespace core {

/// One function that listens, with the token of its owner.
struct Listener {
    int token;
    std::unique_ptr<detail::EventListener> function;
    /// Off as soon as it is removed, for deliveries that still have it in their list.
    std::atomic<bool> isListening = true;
};

using Listeners = std::vector<std::shared_ptr<Listener>>;

std::shared_ptr<Listener> MakeListener(int token, std::unique_ptr<detail::EventListener> function);

/// The listeners of one type of events.
struct Channel {
    Listeners listeners;
    /// While this is not 0, the list stays as it is and changes go to a copy.
    std::atomic<int> deliveries = 0;
};

/// Keeps a channel as it is, while listeners run and change what they like.
class Delivery {
public:
    /// Null, where nobody listens, is fine.
    explicit Delivery(std::shared_ptr<Channel> toRead) noexcept;
    ~Delivery();
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    /// Runs the listeners in order; what they throw is reported. They may end the bus,
    /// the registry and all: a delivery stands on its own.
    void Run(const detail::EventType& type, const void* event) const;

private:
    const std::shared_ptr<Channel> channel;
};

/// Who listens to what. One thread at a time, deliveries excepted; a Delivery is made
/// under the same lock as changes.
///
/// Nothing is destroyed in here: what leaves is handed out, to be released where no lock
/// is held.
class ListenerRegistry {
public:
    void Add(const detail::EventType& type, std::shared_ptr<Listener> listener);
    /// The listeners that went. O(all listeners).
    Listeners RemoveAll(int token);
    /// Leaves it empty and hands out what was in it, switched off.
    ListenerRegistry TakeAll() noexcept;
    /// Null when nobody listens.
    std::shared_ptr<Channel> Find(const detail::EventType& type) const;

private:
    struct Key {
        std::string name;   // its own: a module may be gone, and its texts with it
        const void* place;  // the description of a type that is local to a file, or null
    };
    struct InOrder {
        using is_transparent = void;
        bool operator()(const Key& a, const Key& b) const noexcept;
        bool operator()(const Key& a, const std::type_info& b) const noexcept;
        bool operator()(const std::type_info& a, const Key& b) const noexcept;
    };

    static Channel& Writable(std::shared_ptr<Channel>& channel);

    std::map<Key, std::shared_ptr<Channel>, InOrder> channels;
};

}  // namespace core
