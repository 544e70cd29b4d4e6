#include <core/foundation/text_encoding.h>

#include "core/platform/platform.h"

#include <new>
#include <stdexcept>

namespace core {
namespace {

using platform::NarrowEncoding;

// A lack of memory, or a text too long for any string, is an answer here.
template <class Conversion>
bool WithoutThrowing(const Conversion& convert) {
    try {
        return convert();
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
}

bool Widen(NarrowEncoding from, const char* narrow, std::wstring& wide) {
    return narrow != nullptr &&
           WithoutThrowing([&] { return platform::ToWide(from, narrow, wide); });
}

bool Narrow(const wchar_t* wide, NarrowEncoding to, std::string& narrow) {
    return wide != nullptr && WithoutThrowing([&] { return platform::ToNarrow(wide, to, narrow); });
}

}  // namespace

bool ZYLCore_UTF8_Unicode(const char* utf8, std::wstring& wide) {
    return Widen(NarrowEncoding::Utf8, utf8, wide);
}

bool ZYLCore_Oem_Unicode(const char* oem, std::wstring& wide) {
    return Widen(NarrowEncoding::Oem, oem, wide);
}

bool ZYLCore_Unicode_Uft8(const wchar_t* wide, std::string& utf8) {
    return Narrow(wide, NarrowEncoding::Utf8, utf8);
}

bool ZYLCore_Unicode_Oem(const wchar_t* wide, std::string& oem) {
    return Narrow(wide, NarrowEncoding::Oem, oem);
}

bool UTF8_STRING(const char* utf8, std::string& ansi) {
    std::wstring wide;
    return Widen(NarrowEncoding::Utf8, utf8, wide) &&
           Narrow(wide.c_str(), NarrowEncoding::Ansi, ansi);
}

}  // namespace core
