#include "core/messaging/listener_registry.h"

#include "core/foundation/report.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <iterator>
#include <utility>

namespace core {
namespace {

/// Whether other source files may have another type of this name: a type in an unnamed
/// namespace or in a function that no other file sees.
bool IsLocal(const char* name) {
    if (std::strstr(name, "_GLOBAL__N_") != nullptr || std::strchr(name, '`') != nullptr) {
        return true;
    }
    const char* at = std::strstr(name, "ZL");
    while (at != nullptr && std::isdigit(static_cast<unsigned char>(at[2])) == 0) {
        at = std::strstr(at + 2, "ZL");
    }
    return at != nullptr;
}

void ReportThrow(const detail::EventType& type, const char* what) noexcept {
    char text[300];
    std::snprintf(text, sizeof text, "a listener of \"%.100s\" threw: %.150s",
                  type.description->name(), what);
    Report(ReportLevel::Error, "core", text);
}

}  // namespace

void Deliver(const ChannelHandle& channel, const detail::EventType& type, const void* event) {
    if (channel.Get() == nullptr) {
        return;
    }
    const auto tell = [&](const std::shared_ptr<detail::EventListener>& listener) {
        try {
            listener->Hear(event);
        } catch (const std::exception& error) {
            ReportThrow(type, error.what());
        } catch (...) {
            ReportThrow(type, "something that is no exception");
        }
    };
    // By fours: asking for the end after each listener takes as long as a short one.
    const Listeners& all = channel.Get()->listeners;
    const std::shared_ptr<detail::EventListener>* next = all.data();
    const std::shared_ptr<detail::EventListener>* const end = next + all.size();
    for (const auto* const fours = end - all.size() % 4; next != fours; next += 4) {
        tell(next[0]);
        tell(next[1]);
        tell(next[2]);
        tell(next[3]);
    }
    for (; next != end; ++next) {
        tell(*next);
    }
}

// The cheap parts first: every event is looked up.
inline int ListenerRegistry::Key::Compare(const detail::EventType& type) const noexcept {
    if (size != type.size) {
        return size < type.size ? -1 : 1;
    }
    if (alignment != type.alignment) {
        return alignment < type.alignment ? -1 : 1;
    }
    const void* const description = type.description;
    const int order = std::strcmp(name.c_str(), type.description->name());
    // Equal names are both local or both not.
    if (order != 0 || place == nullptr || place == description) {
        return order;
    }
    return std::less<>()(place, description) ? -1 : 1;
}

inline ListenerRegistry::Place ListenerRegistry::PlaceOf(
    const detail::EventType& type) const noexcept {
    std::size_t begin = 0;
    std::size_t end = entries.size();
    while (begin < end) {
        const std::size_t middle = begin + (end - begin) / 2;
        const int order = entries[middle].key.Compare(type);
        if (order == 0) {
            return {middle, true};
        }
        (order < 0 ? begin : end) = order < 0 ? middle + 1 : middle;
    }
    return {begin, false};
}

Listeners& ListenerRegistry::Writable(ChannelHandle& channel) {
    if (!channel.Get()->HasOneHolder()) {
        channel = ChannelHandle(new Channel(channel.Get()->listeners));
    }
    return channel.Get()->listeners;
}

void ListenerRegistry::Add(const detail::EventType& type,
                           std::shared_ptr<detail::EventListener> listener) {
    const Place at = PlaceOf(type);
    if (!at.isTaken) {
        const char* const name = type.description->name();
        const void* const place = IsLocal(name) ? type.description : nullptr;
        entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(at.index),
                       Entry{{type.size, type.alignment, name, place}, ChannelHandle(new Channel)});
    }
    Writable(entries[at.index].channel).push_back(std::move(listener));
}

Listeners ListenerRegistry::RemoveAll(int token) {
    const auto isOwned = [=](const std::shared_ptr<detail::EventListener>& listener) {
        return listener->Token() == token;
    };
    Listeners removed;
    // All that takes memory first: a removal without it has removed nothing.
    for (auto& [key, channel] : entries) {
        const Listeners& all = channel.Get()->listeners;
        if (std::any_of(all.begin(), all.end(), isOwned)) {
            const Listeners& writable = Writable(channel);
            std::copy_if(writable.begin(), writable.end(), std::back_inserter(removed), isOwned);
        }
    }
    for (const std::shared_ptr<detail::EventListener>& listener : removed) {
        listener->SwitchOff();
    }
    // Those that own nothing here may be in use; they have nothing to lose either.
    for (const auto& [key, channel] : entries) {
        Listeners& left = channel.Get()->listeners;
        if (std::any_of(left.begin(), left.end(), isOwned)) {
            left.erase(std::remove_if(left.begin(), left.end(), isOwned), left.end());
        }
    }
    return removed;
}

void ListenerRegistry::SwitchOff(int token) noexcept {
    for (const auto& [key, channel] : entries) {
        for (const std::shared_ptr<detail::EventListener>& listener : channel.Get()->listeners) {
            if (listener->Token() == token) {
                listener->SwitchOff();
            }
        }
    }
}

ListenerRegistry ListenerRegistry::TakeAll() noexcept {
    for (const auto& [key, channel] : entries) {
        for (const std::shared_ptr<detail::EventListener>& listener : channel.Get()->listeners) {
            listener->SwitchOff();
        }
    }
    return std::exchange(*this, ListenerRegistry());
}

ChannelHandle ListenerRegistry::Find(const detail::EventType& type) const {
    const Place at = PlaceOf(type);
    return at.isTaken ? entries[at.index].channel : ChannelHandle();
}

}  // namespace core
