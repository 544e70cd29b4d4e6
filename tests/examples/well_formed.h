#pragma once

#include <string>
#include <string_view>

/// Empty for a text whose XML elements nest, whose attributes are quoted, whose
/// texts are escaped and whose numbers are finite; else the reason. Knows the part
/// of XML that pictures use.
std::string WhyNotWellFormed(std::string_view xml);
