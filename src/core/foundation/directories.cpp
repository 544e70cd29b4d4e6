#include "core/foundation/directories.h"

#include "core/platform/platform.h"

namespace core {

bool MakeDirectories(const std::string& path) {
    if (platform::IsDirectory(path)) {
        return true;
    }
    for (std::size_t end = 1; end <= path.size(); ++end) {
        if (end == path.size() || platform::IsPathSeparator(path[end])) {
            // What can't be made on the way, a drive or a share, may well be there.
            platform::MakeDirectory(path.substr(0, end));
        }
    }
    return platform::IsDirectory(path);
}

}  // namespace core
