#pragma once

// JSON text, slowly and plainly: read byte by byte with the C library's conversions,
// written with its formatter. What the library's parser and writer are held against.

#include <string>

#include "support/dice.h"
#include "support/json_model.h"

namespace support {

/// Which of the library's readers is meant.
enum class JsonNode { Value, Array, Object, Member };

struct JsonReading {
    /// Bytes that were read, or -1.
    int consumed = -1;
    /// What was read; a member's name is the only one in `names`, its value the only
    /// child.
    JsonModel model{};
};

/// Reads a node of `text`, up to its first zero byte. errno counts and is changed as
/// the C library does it.
JsonReading ReadPlainly(const std::string& text, JsonNode node, int depth);

/// The text of a tree, in lines when `isPretty`.
std::string WrittenPlainly(const JsonModel& model, bool isPretty, int indent);
/// A double as text.
std::string WrittenPlainly(double number);

/// Text that is JSON, or nearly so.
std::string RandomJsonText(Dice& dice);
/// The text of a number, often one of an awkward kind, and more behind it.
std::string RandomNumberText(Dice& dice);
/// A double of any magnitude, often one whose last printed digit is hard to tell.
double RandomDouble(Dice& dice);

}  // namespace support
