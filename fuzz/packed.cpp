// The unpacker reads any bytes as a second, plain reader does.

#include <core/data/bson_unpacker.h>

#include <cstdint>

#include "fuzz/require.h"
#include "support/bson_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    support::PlainReader plain({data, data + size});
    core::BsonUnpacker unpacker(data, size);
    core::BsonUnpacker other(data, size);
    core::BsonItem item;
    while (!unpacker.Failed()) {
        const support::PlainItem expected = plain.Next();
        const core::BsonItem* const read = unpacker.GetNextItem();
        other >> item;
        FUZZ_REQUIRE((read == nullptr) == unpacker.Failed());
        FUZZ_REQUIRE(other.Failed() == unpacker.Failed());
        FUZZ_REQUIRE(other.Eos() == unpacker.Eos());
        FUZZ_REQUIRE(plain.IsAtEnd() == unpacker.Eos());
        FUZZ_REQUIRE(IsSame(expected, item));
        FUZZ_REQUIRE(read == nullptr || IsSame(expected, *read));
    }
    return 0;
}
