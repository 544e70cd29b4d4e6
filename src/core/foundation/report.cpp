#include "core/foundation/report.h"

#include <atomic>
#include <cstdio>

namespace core {
namespace {

std::atomic<ReportSink> currentSink{nullptr};

}  // namespace

ReportSink SetReportSink(ReportSink sink) noexcept {
    return currentSink.exchange(sink);
}

void Report(ReportLevel level, const char* tag, const char* text, const char* function) noexcept {
    const ReportSink sink = currentSink.load();
    if (sink == nullptr) {
        return;
    }
    try {
        sink(ReportRecord{level, tag, function, text});
    } catch (...) {
        // A report that can't be delivered must not fail the call that reports.
    }
}

void ReportUnsolved(const char* function, int line) noexcept {
    char text[160];
    std::snprintf(text, sizeof text, "error. %s line[%d]", function, line);
    Report(ReportLevel::Error, "core", text);
}

}  // namespace core
