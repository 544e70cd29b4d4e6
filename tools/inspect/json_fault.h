#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace inspect {

/// Where JSON text goes wrong, and how.
struct JsonFault {
    std::size_t offset;
    std::string what;
};

/// The first byte at which the library's reader gives up, or that it leaves unread
/// behind the document; none for a text that it reads to the end.
///
/// The reader says no more than that it failed. This follows its grammar, which is wider
/// than the standard's: numbers may have leading zeros and end in a point, and texts may
/// hold any byte from 0x20 on. Any depth is fine.
std::optional<JsonFault> FindJsonFault(std::string_view text);

/// A place in a text as editors count it, from 1; columns count characters.
struct TextPlace {
    std::size_t line;
    std::size_t column;
};
TextPlace PlaceOf(std::string_view text, std::size_t offset);

}  // namespace inspect
