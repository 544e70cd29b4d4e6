#pragma once

// What the trace records: events, statistics, and how they stand in its file. The
// texts of a record are its own. One thread at a time; nothing here logs.

#include <core/data/json_object.h>
#include <core/logging/pref_trace.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace core::analytics {

struct Property {
    std::string name;
    /// Nothing for a value that a file can't hold.
    std::variant<std::monostate, std::string, double, std::int64_t> value;
};

/// A property to keep; its name is not null.
Property Keep(const TraceProperty& property);

/// One event, as it was recorded.
struct Event {
    std::string name;
    std::vector<Property> properties;

    void WriteTo(JsonObject& object) const;
};

/// All samples of one key.
struct Statistic {
    Statistic(std::string ofKey, double first)
        : key(std::move(ofKey)), minimum(first), maximum(first), average(first), sum(first) {}
    void Add(double sample) noexcept;

    std::string key;
    double minimum;
    double maximum;
    double average;
    double sum;
    std::int64_t count = 1;
};

/// The statistics of one event name.
struct StatisticEvent {
    std::string name;
    /// In the order of first use.
    std::vector<Statistic> statistics;
    std::vector<Property> properties;

    void Add(const char* key, double sample);
    /// Adds a property, or replaces the one of its name.
    void Set(Property property);
    void WriteTo(JsonObject& object) const;
};

/// Everything that was recorded.
struct Records {
    std::vector<std::shared_ptr<const Event>> events;
    std::map<std::string, std::shared_ptr<StatisticEvent>, std::less<>> statistics;

    /// The text of the file.
    std::string Text() const;
};

}  // namespace core::analytics
