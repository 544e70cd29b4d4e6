#include "inspect/trace_view.h"

#include <limits>

namespace inspect {

namespace {

// The member `key` + `ending` as a number; NaN for one that is none.
double NumberOf(const core::JsonObject& properties, const std::string& name) {
    const core::JsonMember* const member = properties.Find(name.c_str());
    double number = 0.0;
    return member != nullptr && member->Get(number) ? number
                                                    : std::numeric_limits<double>::quiet_NaN();
}

void ReadStatistics(const std::string& event, const core::JsonObject& properties,
                    std::vector<TraceStatisticRow>& rows) {
    const std::string ending = "_cnt";
    for (const core::JsonMember& member : properties) {
        const std::string name = member.Name();
        if (name.size() <= ending.size() ||
            name.compare(name.size() - ending.size(), ending.size(), ending) != 0) {
            continue;
        }
        const std::string key = name.substr(0, name.size() - ending.size());
        if (properties.Find((key + "_avg").c_str()) != nullptr) {
            rows.push_back({event, key, NumberOf(properties, key + "_min"),
                            NumberOf(properties, key + "_max"), NumberOf(properties, key + "_avg"),
                            NumberOf(properties, name)});
        }
    }
}

}  // namespace

std::optional<TraceView> ReadTrace(const Document& document) {
    const core::JsonObject* root = nullptr;
    const core::JsonArray* events = nullptr;
    if (!document.Root().Get(root)) {
        return std::nullopt;
    }
    const core::JsonMember* const member = root->Find("Events");
    if (member == nullptr || !member->Get(events)) {
        return std::nullopt;
    }
    TraceView trace;
    trace.name = document.Name();
    for (const core::JsonElem& element : *events) {
        const core::JsonObject* event = nullptr;
        const core::JsonObject* properties = nullptr;
        std::string name;
        if (!element.Get(event)) {
            return std::nullopt;
        }
        const core::JsonMember* const nameMember = event->Find("EventName");
        const core::JsonMember* const propertyMember = event->Find("EventProperties");
        if (nameMember == nullptr || !nameMember->Get(name) || propertyMember == nullptr ||
            !propertyMember->Get(properties)) {
            return std::nullopt;
        }
        const std::size_t before = trace.statistics.size();
        ReadStatistics(name, *properties, trace.statistics);
        trace.eventCount += trace.statistics.size() == before ? 1U : 0U;
    }
    return trace;
}

}  // namespace inspect
