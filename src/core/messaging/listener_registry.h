#pragma once

#include <core/messaging/event_bus.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace core {

using Listeners = std::vector<std::shared_ptr<detail::EventListener>>;

/// The listeners of one type of events, counted by those who hold it. While a delivery
/// does, the list stays as it is, and changes go to a copy.
class Channel {
public:
    /// Starts with one holder.
    Channel() = default;
    explicit Channel(const Listeners& toCopy) : listeners(toCopy) {}
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    void Hold() noexcept { holders.fetch_add(1, std::memory_order_relaxed); }
    void Release() noexcept {
        if (holders.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }
    /// Whether its one holder may change it.
    bool HasOneHolder() const noexcept { return holders.load(std::memory_order_acquire) == 1; }

    Listeners listeners;

private:
    ~Channel() = default;

    std::atomic<int> holders = 1;
};

/// One holder of a channel, or of none.
class ChannelHandle {
public:
    ChannelHandle() = default;
    /// Takes over what the channel was made with.
    explicit ChannelHandle(Channel* held) noexcept : channel(held) {}
    ChannelHandle(const ChannelHandle& other) noexcept : channel(other.channel) {
        if (channel != nullptr) {
            channel->Hold();
        }
    }
    ChannelHandle(ChannelHandle&& other) noexcept : channel(std::exchange(other.channel, {})) {}
    ChannelHandle& operator=(ChannelHandle other) noexcept {
        std::swap(channel, other.channel);
        return *this;
    }
    ~ChannelHandle() {
        if (channel != nullptr) {
            channel->Release();
        }
    }
    Channel* Get() const noexcept { return channel; }

private:
    Channel* channel = nullptr;
};

/// Runs the listeners of a channel, if there is one, in order; what they throw is
/// reported. They may change the registry and end the bus: the handle stands on its own.
void Deliver(const ChannelHandle& channel, const detail::EventType& type, const void* event);

/// Who listens to what. One thread at a time, but for deliveries.
///
/// Nothing is destroyed in here: what leaves is handed out, to be released where no lock
/// is held.
class ListenerRegistry {
public:
    void Add(const detail::EventType& type, std::shared_ptr<detail::EventListener> listener);
    /// The listeners that went, switched off. All stay when it throws. O(all listeners).
    Listeners RemoveAll(int token);
    /// They hear nothing more, and stay.
    void SwitchOff(int token) noexcept;
    /// Leaves it empty and hands out what was in it, switched off.
    ListenerRegistry TakeAll() noexcept;
    /// Empty where nobody listens.
    ChannelHandle Find(const detail::EventType& type) const;

private:
    /// Name, size and alignment: modules that were built from different versions of a
    /// type's source must not read each other's events.
    struct Key {
        std::size_t size;
        std::size_t alignment;
        std::string name;   // its own: a module may be gone, and its texts with it
        const void* place;  // the description of a type that is local to a file, or null

        /// Below, at or above 0, as this one's place is before, at or behind the type's.
        int Compare(const detail::EventType& type) const noexcept;
    };

    struct Entry {
        Key key;
        ChannelHandle channel;
    };
    /// Where an entry stands or belongs.
    struct Place {
        std::size_t index;
        bool isTaken;
    };

    Place PlaceOf(const detail::EventType& type) const noexcept;
    static Listeners& Writable(ChannelHandle& channel);

    std::vector<Entry> entries;  // in the order of their keys
};

}  // namespace core
