#include <core/foundation/save_file.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <system_error>

#include "core/foundation/system_error_text.h"
#include "core/platform/platform.h"

namespace core {

namespace {

/// A name beside `path` that nobody else uses.
std::string PartPath(const std::string& path) {
    static std::atomic<std::uint64_t> count{0};
    std::string part;
    do {
        part = path + "." + std::to_string(platform::CurrentProcessId()) + "-" +
               std::to_string(count.fetch_add(1, std::memory_order_relaxed)) + ".part";
    } while (platform::Exists(part));
    return part;
}

platform::SystemError WriteWhole(const std::string& path, std::string_view bytes) {
    platform::AppendFile file;
    platform::SystemError error = file.Open(path);
    while (error == 0 && !bytes.empty()) {
        std::size_t written = 0;
        error = file.Write(bytes.data(), bytes.size(), written);
        bytes.remove_prefix(written);
    }
    return error != 0 ? error : file.Flush();
}

}  // namespace

SaveResult SaveFile(const std::string& path, std::string_view bytes) {
    std::string target = path;
    const bool exists = platform::Exists(path);
    if (exists && !platform::IsRegularFile(path)) {
        return {platform::IsDirectory(path) ? "is a directory" : "is no file"};
    }
    if (exists) {
        if (const platform::SystemError error = platform::ResolveLinks(path, target); error != 0) {
            return {"can't be read: " + SystemErrorText(error)};
        }
    }
    const std::string part = PartPath(target);
    platform::SystemError error = WriteWhole(part, bytes);
    if (error == 0 && exists) {
        error = platform::CopyPermissions(target, part);
    }
    if (error == 0) {
        error = platform::MoveOver(part, target);
    }
    if (error != 0) {
        platform::RemoveFileUnlessOpen(part);
        return {"can't be written: " + SystemErrorText(error)};
    }
    return {};
}

}  // namespace core
