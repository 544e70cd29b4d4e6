#pragma once

// Whole files of text in memory.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/platform/platform.h"

namespace core::detail {

/// What a file held; a zero byte stands behind it.
struct FileText {
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;

    std::string_view View() const noexcept { return {bytes.get(), size}; }
};

enum class FileFault : std::uint8_t { None, TooLarge, System };

/// Reads a file of at most `most` bytes; `error` is the system's where that is the fault.
FileFault ReadTextFile(const std::string& path, std::uint64_t most, FileText& text,
                       platform::SystemError& error);

/// The bytes of the UTF-8 mark that `text` starts with: 3 or none.
std::size_t Utf8MarkSize(std::string_view text) noexcept;
/// Whether `text` starts with one of the marks of UTF-16.
bool HasUtf16Mark(std::string_view text) noexcept;

}  // namespace core::detail
