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
    for (const std::shared_ptr<detail::EventListener>& listener : channel.Get()->listeners) {
        try {
            listener->Hear(event);
        } catch (const std::exception& error) {
            ReportThrow(type, error.what());
        } catch (...) {
            ReportThrow(type, "something that is no exception");
        }
    }
}

bool ListenerRegistry::InOrder::operator()(const Key& a, const Key& b) const noexcept {
    const int order = a.name.compare(b.name);
    return order != 0 ? order < 0 : std::less<>()(a.place, b.place);
}

// Equal names are both local or both not.
bool ListenerRegistry::InOrder::operator()(const Key& a, const std::type_info& b) const noexcept {
    const int order = std::strcmp(a.name.c_str(), b.name());
    return order != 0 ? order < 0
                      : a.place != nullptr && std::less<>()(a.place, static_cast<const void*>(&b));
}

bool ListenerRegistry::InOrder::operator()(const std::type_info& a, const Key& b) const noexcept {
    const int order = std::strcmp(a.name(), b.name.c_str());
    return order != 0 ? order < 0
                      : b.place != nullptr && std::less<>()(static_cast<const void*>(&a), b.place);
}

Listeners& ListenerRegistry::Writable(ChannelHandle& channel) {
    if (!channel.Get()->HasOneHolder()) {
        channel = ChannelHandle(new Channel(channel.Get()->listeners));
    }
    return channel.Get()->listeners;
}

void ListenerRegistry::Add(const detail::EventType& type,
                           std::shared_ptr<detail::EventListener> listener) {
    auto at = channels.find(*type.description);
    if (at == channels.end()) {
        const char* const name = type.description->name();
        const void* const place = IsLocal(name) ? type.description : nullptr;
        at = channels.emplace(Key{name, place}, ChannelHandle(new Channel)).first;
    }
    Writable(at->second).push_back(std::move(listener));
}

Listeners ListenerRegistry::RemoveAll(int token) {
    const auto isOwned = [=](const std::shared_ptr<detail::EventListener>& listener) {
        return listener->Token() == token;
    };
    Listeners removed;
    // All that takes memory first: a removal without it has removed nothing.
    for (auto& [key, channel] : channels) {
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
    for (const auto& [key, channel] : channels) {
        Listeners& left = channel.Get()->listeners;
        if (std::any_of(left.begin(), left.end(), isOwned)) {
            left.erase(std::remove_if(left.begin(), left.end(), isOwned), left.end());
        }
    }
    return removed;
}

void ListenerRegistry::SwitchOff(int token) noexcept {
    for (const auto& [key, channel] : channels) {
        for (const std::shared_ptr<detail::EventListener>& listener : channel.Get()->listeners) {
            if (listener->Token() == token) {
                listener->SwitchOff();
            }
        }
    }
}

ListenerRegistry ListenerRegistry::TakeAll() noexcept {
    for (const auto& [key, channel] : channels) {
        for (const std::shared_ptr<detail::EventListener>& listener : channel.Get()->listeners) {
            listener->SwitchOff();
        }
    }
    return std::exchange(*this, ListenerRegistry());
}

ChannelHandle ListenerRegistry::Find(const detail::EventType& type) const {
    const auto at = channels.find(*type.description);
    return at != channels.end() ? at->second : ChannelHandle();
}

}  // namespace core
