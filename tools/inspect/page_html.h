#pragma once

#include <string_view>

namespace inspect {

/// page.html, which the build puts into the program.
extern const std::string_view kPageHtml;

}  // namespace inspect
