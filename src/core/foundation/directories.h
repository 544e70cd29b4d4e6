#pragma once

#include <string>

namespace core {

/// Makes a directory and those above it that are missing. Answers whether it is
/// there afterwards, by whoever made it. Paths are UTF-8; throws `std::bad_alloc`.
bool MakeDirectories(const std::string& path);

}  // namespace core
