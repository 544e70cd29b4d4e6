#pragma once

#include <core/core.h>

#include <string>

namespace inspect {

/// What is wrong with packed data; empty for one document and nothing else.
///
/// The conversion to JSON ends quietly at the first fault and keeps what came before.
std::string PackedFault(const core::BsonBox& box);

}  // namespace inspect
