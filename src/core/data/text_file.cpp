#include "core/data/text_file.h"

namespace core::detail {

FileFault ReadTextFile(const std::string& path, std::uint64_t most, FileText& text,
                       platform::SystemError& error) {
    platform::ReadFile file;
    std::uint64_t sizeNow = 0;
    error = file.Open(path);
    if (error == 0) {
        error = file.Size(sizeNow);
    }
    if (error != 0) {
        return FileFault::System;
    }
    if (sizeNow > most) {
        return FileFault::TooLarge;
    }
    const auto wanted = static_cast<std::size_t>(sizeNow);
    text.bytes = std::make_unique_for_overwrite<char[]>(wanted + 1);
    std::size_t count = 1;
    for (text.size = 0; text.size < wanted && count != 0; text.size += count) {
        error = file.Read(text.size, text.bytes.get() + text.size, wanted - text.size, count);
        if (error != 0) {
            return FileFault::System;
        }
    }
    text.bytes[text.size] = '\0';
    return FileFault::None;
}

std::size_t Utf8MarkSize(std::string_view text) noexcept {
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    return text.starts_with(kUtf8Mark) ? kUtf8Mark.size() : 0;
}

bool HasUtf16Mark(std::string_view text) noexcept {
    return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
}

}  // namespace core::detail
