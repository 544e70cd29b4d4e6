#pragma once

#include "plot/keyframe_table.h"

#include <core/core.h>

#include <filesystem>
#include <string>

namespace plot {

/// The keyframes of a parameter, with their handles, as a table. Of a range it takes one
/// of numbers that can be drawn.
KeyframeTable TableOf(core::Parameter& parameter, std::string title);

/// Why a picture of the table cannot be made; empty when it can.
std::string DrawingFault(const KeyframeTable& table);

/// Reads a parameter that was saved as a JSON document. Its title is the file's name;
/// documents have none. Throws `TableError` for one that cannot be shown: no document,
/// without a keyframe, with texts, or beyond the limits of a table.
KeyframeTable LoadParameterDocument(const std::filesystem::path& file);

/// Saves the curve of a table as a JSON document. Throws `TableError`.
void SaveParameterDocument(const KeyframeTable& table, const std::filesystem::path& file);

}  // namespace plot
