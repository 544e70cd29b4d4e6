#pragma once

// Where the library's own errors go. Folders below logging report through here;
// logging connects itself as the sink, so that nothing below needs to know it.

#include <string>

namespace core {

/// The module of the library's own lines, and the tag of those without a category.
inline constexpr char kOwnModule[] = "ZYL";

enum class ReportLevel : int { Warn = 5, Error = 6 };

/// One report as the sink receives it. The pointers live as long as the call.
struct ReportRecord {
    ReportLevel level;
    const char* tag;
    /// The reporting function, or null where none is named.
    const char* function;
    const char* text;
};

using ReportSink = void (*)(const ReportRecord& record);

/// Makes `sink` receive every report from now on; null drops them, as it is at
/// the start. Answers the sink before. Safe from any thread; a sink must be too,
/// and it must not call back into the object that reports.
ReportSink SetReportSink(ReportSink sink) noexcept;

/// Hands a report to the sink. Safe from any thread; never throws.
void Report(ReportLevel level, const char* tag, const char* text,
            const char* function = nullptr) noexcept;

/// "error. FUNCTION line[LINE]" at error level under the tag "core": how the
/// curves report a question that has no answer.
///
/// Kept on purpose: functions and lines are names of these reports, which log filters
/// look for; they follow no source.
void ReportUnsolved(const char* function, int line) noexcept;

}  // namespace core
