#pragma once

// Two libraries that speak MessagePack, msgpack-cxx and mpack, as far as they were found
// when the tests were configured.

#include <cstddef>
#include <string>
#include <vector>

#include "support/bson_model.h"
#include "support/dice.h"

namespace support {

/// What a document was made of.
struct PackCounts {
    std::size_t items = 0;
    std::size_t smallNegatives = 0;
    std::size_t binaries = 0;
    std::size_t extensions = 0;
    std::size_t otherKeys = 0;
};

/// A random document in the shortest forms that the standard has; its tree as compact JSON
/// text, where foreign items are kept.
Bytes PackedByAnother(Dice& dice, std::string& text, PackCounts& counts);

/// The same document, read and written by the library of that name. Throws when it does
/// not read it.
Bytes RepackedByMsgpackCxx(const Bytes& bytes);
Bytes RepackedByMpack(const Bytes& bytes);

/// Whether these bytes are one document and nothing else.
bool IsTakenByMsgpackCxx(const Bytes& bytes);

}  // namespace support
