#pragma once

// The one place that includes <windows.h>, without its macros that break our code.

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
// Windows 7: what came later is looked up at run time.
#undef _WIN32_WINNT
#define _WIN32_WINNT 0x0601
#undef WINVER
#define WINVER 0x0601

// clang-format off
#include <windows.h>
#include <rpc.h>
// clang-format on

#include <string>

namespace core::platform {

/// A UTF-8 path, up to its first zero byte, as the system takes it; empty when it
/// can't be converted.
std::wstring WidePath(const std::string& path) noexcept;

/// A function of a library that every process has loaded; null on systems that
/// lack it.
template <class Function>
Function* FindFunction(const char* library, const char* name) noexcept {
    const HMODULE module = GetModuleHandleA(library);
    if (module == nullptr) {
        return nullptr;
    }
    // Through a plain function pointer: the address has no type of its own.
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

}  // namespace core::platform
