#pragma once

#include <string>
#include <system_error>

#include "core/platform/platform.h"

namespace core {

/// What the system says about one of its errors.
inline std::string SystemErrorText(platform::SystemError error) {
    return std::error_code(static_cast<int>(error), std::system_category()).message();
}

}  // namespace core
