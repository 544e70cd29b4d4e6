#pragma once

#include "inspect/console.h"

#include <string>
#include <vector>

namespace inspect {

/// core-inspect with these arguments, without its own name, as UTF-8. Answers the exit
/// status and throws nothing.
int Run(const std::vector<std::string>& arguments, const Console& console) noexcept;

}  // namespace inspect
