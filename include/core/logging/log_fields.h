#pragma once

/// Lines with fields, for those who search logs by program.

#include <core/export.h>
#include <core/logging/log.h>
#include <core/logging/pref_trace.h>

#include <initializer_list>

namespace core {

/// Writes a line with fields, each a key and a text or a number.
///
///     core::PrintLogFields("render", CORE_LOG_INFO, "frame", {{"frame", 12}, {"ms", 16.6}},
///                          "drawn by %s", device);
///
/// Where lines are JSON objects (`CoreLogSetForm(CORE_LOG_JSON)`), they are the object `fields`
/// of the line; elsewhere they follow the message: `drawn by gpu frame=12 ms=16.6`. A text
/// with a space, a quote or `=` in it is quoted there; a null text, and a number that is not
/// finite, is null. Keys that are null are left out. Otherwise as `CoreLogPrintLog`.
CORE_API int PrintLogFields(const char* module, int level, const char* tag,
                            std::initializer_list<TraceProperty> fields, const char* format,
                            ...) noexcept CORE_LOG_FORMAT(5, 6);

}  // namespace core
