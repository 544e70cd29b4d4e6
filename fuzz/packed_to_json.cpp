// Any bytes become a tree or none; a tree packs into bytes from which it comes again,
// and writes, copies and clears.

#include <core/data/json_bson.h>
#include <core/data/json_doc.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/require.h"

namespace {

std::string TextOf(const core::JsonValue& value) {
    std::string text;
    value.Dump(text);
    return text;
}

bool IsSame(const core::BsonBox& a, const core::BsonBox& b) {
    return a.Size() == b.Size() &&
           (a.Size() == 0 || std::memcmp(a.Data(), b.Data(), a.Size()) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const core::BsonBox box(data, size);
    core::JsonDoc document;
    if (!core::BsonToJson(box, document.Root())) {
        FUZZ_REQUIRE(document.Root().IsEmpty());
        return 0;
    }
    core::BsonBox packed;
    core::JsonToBson(document.Root(), packed);
    core::JsonDoc again;
    FUZZ_REQUIRE(core::BsonToJson(packed, again.Root()));
    FUZZ_REQUIRE(TextOf(document.Root()) == TextOf(again.Root()));
    core::BsonBox packedAgain;
    core::JsonToBson(again.Root(), packedAgain);
    FUZZ_REQUIRE(IsSame(packed, packedAgain));

    std::string pretty;
    document.Root().PrettyDump(pretty);
    // From the general heap, block by block.
    core::JsonValue copy;
    copy = document.Root();
    core::JsonToBson(copy, packedAgain);
    FUZZ_REQUIRE(IsSame(packed, packedAgain));
    return 0;
}
