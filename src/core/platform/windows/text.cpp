#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

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
    } catch (const std::bad_alloc&) {
        // Empty: the system refuses it like any other path that leads nowhere.
    }
    return wide;
}

}  // namespace core::platform
