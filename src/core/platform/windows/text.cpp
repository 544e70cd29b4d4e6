#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <clocale>
#include <limits>
#include <new>

namespace core::platform {
namespace {

UINT CodePageOf(NarrowEncoding encoding) noexcept {
    switch (encoding) {
        case NarrowEncoding::Oem:
            return CP_OEMCP;
        case NarrowEncoding::Ansi:
            return CP_ACP;
        case NarrowEncoding::Utf8:
        default:
            return CP_UTF8;
    }
}

constexpr std::size_t kMostUnits = std::numeric_limits<int>::max();

/// Paths that begin so go to the file system as they are, and may be long.
constexpr std::wstring_view kVerbatim = L"\\\\?\\";
/// From here on, some calls take no other path.
constexpr std::size_t kLongPath = 248;

/// A verbatim path with the separators that it has to have.
std::wstring WithoutSlashes(const std::wstring& path) {
    std::wstring plain(kVerbatim);
    for (const wchar_t c : path.substr(kVerbatim.size())) {
        const wchar_t next = c == L'/' ? L'\\' : c;
        if (next != L'\\' || plain.back() != L'\\') {
            plain += next;
        }
    }
    return plain;
}

/// The verbatim form of a path; the path itself where it has none.
std::wstring Verbatim(const std::wstring& path) {
    std::wstring full(path.size() + MAX_PATH, L'\0');
    const DWORD length =
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0 || length >= full.size()) {
        return path;
    }
    full.resize(length);
    if (full[0] != L'\\') {
        return std::wstring(kVerbatim) + full;
    }
    const bool isDevice = length > 2 && (full[2] == L'?' || full[2] == L'.');
    return isDevice ? path : std::wstring(kVerbatim) + L"UNC" + full.substr(1);
}

}  // namespace

bool ToWide(NarrowEncoding from, std::string_view narrow, std::wstring& wide) {
    std::wstring converted;
    if (!narrow.empty()) {
        if (narrow.size() > kMostUnits) {
            return false;
        }
        const UINT page = CodePageOf(from);
        const int size = static_cast<int>(narrow.size());
        const int needed = MultiByteToWideChar(page, 0, narrow.data(), size, nullptr, 0);
        if (needed <= 0) {
            return false;
        }
        converted.resize(static_cast<std::size_t>(needed));
        if (MultiByteToWideChar(page, 0, narrow.data(), size, converted.data(), needed) != needed) {
            return false;
        }
    }
    wide = std::move(converted);
    return true;
}

bool ToNarrow(std::wstring_view wide, NarrowEncoding to, std::string& narrow) {
    std::string converted;
    if (!wide.empty()) {
        if (wide.size() > kMostUnits) {
            return false;
        }
        const UINT page = CodePageOf(to);
        const int size = static_cast<int>(wide.size());
        const int needed =
            WideCharToMultiByte(page, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
        if (needed <= 0) {
            return false;
        }
        converted.resize(static_cast<std::size_t>(needed));
        if (WideCharToMultiByte(page, 0, wide.data(), size, converted.data(), needed, nullptr,
                                nullptr) != needed) {
            return false;
        }
    }
    narrow = std::move(converted);
    return true;
}

std::wstring WidePath(const std::string& path) noexcept {
    std::wstring wide;
    try {
        ToWide(NarrowEncoding::Utf8, path.c_str(), wide);
        if (wide.compare(0, kVerbatim.size(), kVerbatim) == 0) {
            wide = WithoutSlashes(wide);
        } else if (wide.size() >= kLongPath) {
            wide = Verbatim(wide);
        }
    } catch (const std::bad_alloc&) {
        // Empty: the system refuses it like any other path that leads nowhere.
    }
    return wide;
}

bool HasDecimalPoint() noexcept {
    const char* const point = std::localeconv()->decimal_point;
    return point[0] == '.' && point[1] == '\0';
}

}  // namespace core::platform
