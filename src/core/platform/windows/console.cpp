#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <io.h>
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>

namespace core::platform {
namespace {

#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING
#define ENABLE_VIRTUAL_TERMINAL_PROCESSING 0x0004
#endif

/// The standard output that was prepared last.
std::atomic<HANDLE> prepared{nullptr};

/// Whether the C library's standard output leads there too. It keeps what it was given
/// when the process started, and does not see a console that came later.
bool IsTheCLibrarys(HANDLE output) noexcept {
    if (output == nullptr || output == INVALID_HANDLE_VALUE) {
        return true;
    }
    const int descriptor = _fileno(stdout);
    return descriptor >= 0 && reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)) == output;
}

HANDLE HandleOf(StandardStream stream) noexcept {
    return GetStdHandle(stream == StandardStream::Error ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
}

void Write(HANDLE output, std::string_view text) noexcept {
    DWORD written = 0;
    while (!text.empty() && WriteFile(output, text.data(), static_cast<DWORD>(text.size()),
                                      &written, nullptr) != 0) {
        text.remove_prefix(written);
    }
}

}  // namespace

void PrepareConsole(StandardStream stream) noexcept {
    SetConsoleOutputCP(CP_UTF8);
    const HANDLE output = HandleOf(stream);
    DWORD mode = 0;
    if (GetConsoleMode(output, &mode) != 0) {
        SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
    if (stream == StandardStream::Output) {
        prepared.store(output);
    }
}

bool IsTerminal(StandardStream stream) noexcept {
    DWORD mode = 0;
    return GetConsoleMode(HandleOf(stream), &mode) != 0;
}

void WriteToStandardOutput(std::string_view text) noexcept {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    if (output != prepared.load(std::memory_order_relaxed)) {
        PrepareConsole(StandardStream::Output);
    }
    if (IsTheCLibrarys(output)) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
        return;
    }
    std::fflush(stdout);
    // Line ends as the C library writes them.
    while (!text.empty()) {
        const std::size_t line = std::min(text.find('\n'), text.size());
        Write(output, text.substr(0, line));
        text.remove_prefix(line);
        if (!text.empty()) {
            Write(output, "\r\n");
            text.remove_prefix(1);
        }
    }
}

void WriteToStandardError(std::string_view text) noexcept {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void WriteToStandardErrorAtOnce(std::string_view text) noexcept {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()),
              &written, nullptr);
}

void WriteToDebugger(const char* text) noexcept {
    OutputDebugStringA(text);
}

}  // namespace core::platform
