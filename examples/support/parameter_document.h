#pragma once

#include "support/keyframe_table.h"

#include <filesystem>

namespace example {

/// Reads a parameter that was saved as a JSON document. Its title is the file's name;
/// documents have none. Throws `TableError` for one that cannot be shown: no document,
/// without a keyframe, with texts, or beyond the limits of a table.
KeyframeTable LoadParameterDocument(const std::filesystem::path& file);

/// Saves the curve of a table as a JSON document. Throws `TableError`.
void SaveParameterDocument(const KeyframeTable& table, const std::filesystem::path& file);

}  // namespace example
