// Any bytes as the text of an identifier: what is taken has the digits of its text, and
// what is refused for its shape changes nothing.

#include <core/foundation/uuid.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"

namespace {

using core::Uuid;

constexpr std::size_t kLength = 36;

bool IsDash(std::size_t at) {
    return at == 8 || at == 13 || at == 18 || at == 23;
}

bool HasShape(std::string_view text) {
    bool has = text.size() >= kLength;
    for (std::size_t at = 0; has && at < kLength; ++at) {
        has = !IsDash(at) || text[at] == '-';
    }
    return has;
}

/// The first characters in lower case, as they are written; empty when a digit is none.
std::string Lowered(std::string_view text) {
    std::string lowered;
    for (std::size_t at = 0; at < kLength; ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (!IsDash(at) && std::isxdigit(c) == 0) {
            return {};
        }
        lowered.push_back(static_cast<char>(std::tolower(c)));
    }
    return lowered;
}

Uuid Known() {
    Uuid uuid;
    FUZZ_REQUIRE(uuid.FromString("00112233-4455-6677-8899-aabbccddeeff"));
    return uuid;
}

void CheckText(std::string_view text, bool isTaken, const Uuid& uuid) {
    const std::string lowered = HasShape(text) ? Lowered(text) : std::string();
    FUZZ_REQUIRE(isTaken == !lowered.empty());
    FUZZ_REQUIRE(HasShape(text) || uuid == Known());
    if (isTaken) {
        core::UuidString inPlace;
        inPlace.FromUuid(uuid);
        FUZZ_REQUIRE(uuid.GetUidString() == lowered);
        FUZZ_REQUIRE(inPlace.Text() == lowered);
        Uuid back;
        FUZZ_REQUIRE(inPlace.ToUuid(&back) && back == uuid && back.Hash() == uuid.Hash());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Of its exact size on the heap, so that a byte read behind it is seen.
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    text.shrink_to_fit();

    Uuid uuid = Known();
    CheckText(text.data(), uuid.FromString(text.data()), uuid);
    const std::string whole(text.data(), size);
    uuid = Known();
    CheckText(whole, uuid.FromString(whole), uuid);
    return 0;
}
