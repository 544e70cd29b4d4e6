#include "core/logging/timeline_text.h"

#include "core/data/number_writer.h"
#include "core/logging/json_text.h"

#include <bit>
#include <cmath>
#include <string_view>

// The file is an array of objects, each with a comma before it: what a crash leaves lacks
// the bracket at the end alone, which viewers do not ask for.

namespace core {
namespace {

void AppendText(std::string_view value, std::string& text) {
    text += '"';
    PutJsonText(value, [&](std::string_view piece) { text += piece; });
    text += '"';
}

template <class Number>
void AppendNumber(Number value, std::string& text) {
    char digits[kNumberRoom];
    text.append(digits, WriteNumber(value, digits));
}

void AppendReal(double value, std::string& text) {
    if (!std::isfinite(value)) {
        text += "null";
        return;
    }
    char digits[kNumberRoom];
    text.append(digits, WriteShortest(value, digits));
}

/// Nanoseconds as microseconds, the unit of the format, with three decimals.
void AppendMicroseconds(std::int64_t nanoseconds, std::string& text) {
    if (nanoseconds < 0) {
        nanoseconds = 0;
    }
    AppendNumber(nanoseconds / 1000, text);
    const auto rest = static_cast<int>(nanoseconds % 1000);
    text += '.';
    text += static_cast<char>('0' + rest / 100);
    text += static_cast<char>('0' + rest / 10 % 10);
    text += static_cast<char>('0' + rest % 10);
}

void AppendId(std::uint64_t id, std::string& text) {
    // As a text: viewers read numbers as doubles.
    text += ",\"id\":\"";
    AppendNumber(id, text);
    text += '"';
}

void AppendProperties(const TimelineRecord& record, std::string& text) {
    text += ",\"args\":{";
    std::size_t at = TimelineRecord::kHeadWords;
    for (std::size_t i = 0; i < record.Properties(); ++i) {
        if (i > 0) {
            text += ',';
        }
        const auto* const name =
            reinterpret_cast<const char*>(record.words[at]);  // NOLINT(performance-no-int-to-ptr)
        AppendText(name, text);
        text += ':';
        const std::uint64_t value = record.words[at + 1];
        at += 2;
        switch (record.TypeOf(i)) {
            case CORE_TRACE_TEXT:
                if (value == TimelineRecord::kNullText) {
                    text += "null";
                } else {
                    const auto* const bytes =
                        reinterpret_cast<const char*>(record.words.data() + at);
                    AppendText({bytes, static_cast<std::size_t>(value)}, text);
                    at += (value + 7) / 8;
                }
                break;
            case CORE_TRACE_DOUBLE:
                AppendReal(std::bit_cast<double>(value), text);
                break;
            default:
                AppendNumber(static_cast<std::int64_t>(value), text);
                break;
        }
    }
    text += '}';
}

}  // namespace

void AppendTimelineRecord(const TimelineRecord& record, const TimelineThread& thread,
                          std::string& text) {
    text += ",\n{\"name\":";
    AppendText(record.Name(), text);
    text += ",\"cat\":\"app\",\"ph\":\"";
    text += static_cast<char>(record.Phase());
    text += "\",\"pid\":";
    AppendNumber(thread.processId, text);
    text += ",\"tid\":";
    AppendNumber(thread.threadId, text);
    const auto time = static_cast<std::int64_t>(record.words[2]);
    text += ",\"ts\":";
    AppendMicroseconds(time, text);
    switch (record.Phase()) {
        case TimelineRecord::kSpan:
            text += ",\"dur\":";
            AppendMicroseconds(static_cast<std::int64_t>(record.words[3]) - time, text);
            break;
        case TimelineRecord::kCounter:
            text += ",\"args\":{\"value\":";
            AppendReal(std::bit_cast<double>(record.words[3]), text);
            text += '}';
            break;
        case CORE_TIMELINE_INSTANT:
            text += ",\"s\":\"t\"";
            break;
        case CORE_TIMELINE_FLOW_END:
            // To the span around it, not to the next one.
            text += ",\"bp\":\"e\"";
            AppendId(record.words[3], text);
            break;
        case CORE_TIMELINE_FLOW_BEGIN:
        case CORE_TIMELINE_FLOW_STEP:
        case CORE_TIMELINE_ASYNC_BEGIN:
        case CORE_TIMELINE_ASYNC_STEP:
        case CORE_TIMELINE_ASYNC_END:
            AppendId(record.words[3], text);
            break;
        default:
            break;
    }
    if (record.Properties() > 0) {
        AppendProperties(record, text);
    }
    text += '}';
}

std::string TimelineBegin(std::uint64_t processId, const std::string& name) {
    std::string text = "[\n{\"name\":\"process_name\",\"ph\":\"M\",\"pid\":";
    AppendNumber(processId, text);
    text += ",\"args\":{\"name\":";
    AppendText(name, text);
    text += "}}";
    return text;
}

}  // namespace core
