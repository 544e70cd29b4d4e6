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

namespace detail {

EventListener::~EventListener() = default;

}  // namespace detail

std::shared_ptr<Listener> MakeListener(int token, std::unique_ptr<detail::EventListener> function) {
    auto listener = std::make_shared<Listener>();
    listener->token = token;
    listener->function = std::move(function);
    return listener;
}

Delivery::Delivery(std::shared_ptr<Channel> toRead) noexcept : channel(std::move(toRead)) {
    if (channel != nullptr) {
        channel->deliveries.fetch_add(1, std::memory_order_relaxed);
    }
}

Delivery::~Delivery() {
    if (channel != nullptr) {
        channel->deliveries.fetch_sub(1, std::memory_order_release);
    }
}

void Delivery::Run(const detail::EventType& type, const void* event) const {
    if (channel == nullptr) {
        return;
    }
    for (const std::shared_ptr<Listener>& listener : channel->listeners) {
        if (!listener->isListening.load(std::memory_order_acquire)) {
            continue;
        }
        try {
            listener->function->Hear(event);
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

Channel& ListenerRegistry::Writable(std::shared_ptr<Channel>& channel) {
    if (channel->deliveries.load(std::memory_order_acquire) != 0) {
        auto copy = std::make_shared<Channel>();
        copy->listeners = channel->listeners;
        channel = std::move(copy);
    }
    return *channel;
}

void ListenerRegistry::Add(const detail::EventType& type, std::shared_ptr<Listener> listener) {
    auto at = channels.find(*type.description);
    if (at == channels.end()) {
        const char* const name = type.description->name();
        const void* const place = IsLocal(name) ? type.description : nullptr;
        at = channels.emplace(Key{name, place}, std::make_shared<Channel>()).first;
    }
    Writable(at->second).listeners.push_back(std::move(listener));
}

Listeners ListenerRegistry::RemoveAll(int token) {
    const auto isOwned = [=](const std::shared_ptr<Listener>& listener) {
        return listener->token == token;
    };
    Listeners removed;
    for (auto& [key, channel] : channels) {
        std::copy_if(channel->listeners.begin(), channel->listeners.end(),
                     std::back_inserter(removed), isOwned);
    }
    for (const std::shared_ptr<Listener>& listener : removed) {
        listener->isListening.store(false, std::memory_order_release);
    }
    for (auto& [key, channel] : channels) {
        if (std::any_of(channel->listeners.begin(), channel->listeners.end(), isOwned)) {
            Listeners& all = Writable(channel).listeners;
            all.erase(std::remove_if(all.begin(), all.end(), isOwned), all.end());
        }
    }
    return removed;
}

ListenerRegistry ListenerRegistry::TakeAll() noexcept {
    for (auto& [key, channel] : channels) {
        for (const std::shared_ptr<Listener>& listener : channel->listeners) {
            listener->isListening.store(false, std::memory_order_release);
        }
    }
    return std::exchange(*this, ListenerRegistry());
}

std::shared_ptr<Channel> ListenerRegistry::Find(const detail::EventType& type) const {
    const auto at = channels.find(*type.description);
    return at != channels.end() ? at->second : nullptr;
}

}  // namespace core
