#include "core/logging/analytics.h"

#include <core/data/json_doc.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace core::analytics {
namespace {

/// A number that is not finite has no text in JSON.
void SetNumber(JsonValue& to, double number) {
    if (std::isfinite(number)) {
        to.Set(number);
    } else {
        to.Clear();
    }
}

void Write(const std::vector<Property>& properties, JsonObject& to) {
    for (const Property& property : properties) {
        JsonMember& member = to.Add(property.name, JsonValue());
        if (const auto* const text = std::get_if<std::string>(&property.value)) {
            member.Set(*text);
        } else if (const auto* const real = std::get_if<double>(&property.value)) {
            SetNumber(member, *real);
        } else if (const auto* const integer = std::get_if<std::int64_t>(&property.value)) {
            member.Set(*integer);
        }
    }
}

/// The two members of an event's object; answers the second, empty.
JsonObject& Begin(const std::string& name, JsonObject& object) {
    object.Add("EventName", nullptr).Set(name);
    return object.AddObject("EventProperties");
}

}  // namespace

Property Keep(const TraceProperty& property) {
    Property kept{property.Name(), {}};
    if (property.Type() == CORE_TRACE_DOUBLE) {
        kept.value = property.Real();
    } else if (property.Type() != CORE_TRACE_TEXT) {
        kept.value = property.Integer();
    } else if (property.Text() != nullptr) {
        kept.value = std::string(property.Text());
    }
    return kept;
}

void Event::WriteTo(JsonObject& object) const {
    Write(properties, Begin(name, object));
}

void Statistic::Add(double sample) noexcept {
    ++count;
    if (sample < minimum) {
        minimum = sample;
    }
    if (sample > maximum) {
        maximum = sample;
    }
    sum += sample;
    average = sum / static_cast<double>(count);
}

void StatisticEvent::Add(const char* key, double sample) {
    const auto at = std::find_if(statistics.begin(), statistics.end(),
                                 [&](const Statistic& statistic) { return statistic.key == key; });
    if (at == statistics.end()) {
        statistics.emplace_back(key, sample);
    } else {
        at->Add(sample);
    }
}

void StatisticEvent::Set(Property property) {
    const auto at = std::find_if(properties.begin(), properties.end(), [&](const Property& known) {
        return known.name == property.name;
    });
    if (at == properties.end()) {
        properties.push_back(std::move(property));
    } else {
        *at = std::move(property);
    }
}

void StatisticEvent::WriteTo(JsonObject& object) const {
    JsonObject& members = Begin(name, object);
    for (const Statistic& statistic : statistics) {
        SetNumber(members.Add(statistic.key + "_min", nullptr), statistic.minimum);
        SetNumber(members.Add(statistic.key + "_max", nullptr), statistic.maximum);
        SetNumber(members.Add(statistic.key + "_avg", nullptr), statistic.average);
        members.Add(statistic.key + "_cnt", nullptr).Set(statistic.count);
    }
    Write(properties, members);
}

std::string Records::Text() const {
    JsonDoc document;
    JsonArray& all = document.CreateRootObject().AddArray("Events");
    for (const auto& event : events) {
        event->WriteTo(all.AddObject());
    }
    for (const auto& [name, event] : statistics) {
        event->WriteTo(all.AddObject());
    }
    std::string text;
    document.Dump(text);
    return text;
}

}  // namespace core::analytics
