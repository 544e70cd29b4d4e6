#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <cstdio>

namespace core::platform {
namespace {

#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING
#define ENABLE_VIRTUAL_TERMINAL_PROCESSING 0x0004
#endif

}  // namespace

void PrepareConsole() noexcept {
    SetConsoleOutputCP(CP_UTF8);
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    if (GetConsoleMode(output, &mode) != 0) {
        SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
}

void WriteToStandardOutput(std::string_view text) noexcept {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void WriteToStandardError(std::string_view text) noexcept {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void WriteToDebugger(const char* text) noexcept {
    OutputDebugStringA(text);
}

}  // namespace core::platform
