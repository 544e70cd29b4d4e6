#pragma once

#include <core/export.h>

#include <string>
#include <string_view>

namespace core {

/// Whether a file was saved; if not, why.
struct SaveResult {
    /// For people, as in "can't be written: No space left on device"; empty when the file
    /// was saved.
    std::string reason;

    /// Whether the file was saved.
    explicit operator bool() const noexcept { return reason.empty(); }
};

/// Makes a file hold exactly these bytes. After a failure, a crash or a power cut it is the
/// old one or the new one, whole.
///
/// The bytes are written beside it, under its name with ".part" and numbers behind, flushed
/// to the device, and put in its place in one step. `path` is UTF-8; links are followed, and
/// the permissions of the old file stay. What is there and no file, a directory or a
/// device, is refused. Safe from any thread; of several that save one file, the last one's
/// bytes stay. Throws `std::bad_alloc`, with the file as it was.
CORE_API SaveResult SaveFile(const std::string& path, std::string_view bytes);

}  // namespace core
