#pragma once

#include <core/export.h>

#include <string>

namespace core {

// Conversions between narrow and wide text, zero-terminated. Each replaces its
// output and answers true; null or a lack of memory gives false and leaves the
// output alone. An invalid sequence becomes U+FFFD, and a character that the
// output's encoding lacks becomes the system's replacement for it.
//
// On Windows wide text is UTF-16, and the OEM and ANSI code pages are the system's.
// Elsewhere a wide character is one code point, and OEM and ANSI text is UTF-8.

/// UTF-8 to wide text.
CORE_API bool ZYLCore_UTF8_Unicode(const char* utf8, std::wstring& wide);
/// OEM text to wide text.
CORE_API bool ZYLCore_Oem_Unicode(const char* oem, std::wstring& wide);
/// Wide text to UTF-8.
// Kept on purpose: callers link against this spelling.
CORE_API bool ZYLCore_Unicode_Uft8(const wchar_t* wide, std::string& utf8);
/// Wide text to OEM text.
CORE_API bool ZYLCore_Unicode_Oem(const wchar_t* wide, std::string& oem);
/// UTF-8 to ANSI text.
CORE_API bool UTF8_STRING(const char* utf8, std::string& ansi);

}  // namespace core
