// The unpacker reads any bytes as a second, plain reader does.

#include <core/data/bson_unpacker.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "fuzz/require.h"
#include "support/bson_model.h"

namespace {

using core::BsonItem;
using support::PlainItem;

/// Whether an item answers as it should in one of the wide types.
bool IsSame(const PlainItem& plain, const BsonItem& item) {
    std::int64_t number = 0;
    std::uint64_t large = 0;
    std::int32_t count = 0;
    double real = 0.0;
    float single = 0.0F;
    std::string text;
    bool flag = false;
    if (plain.kind != item.Kind()) {
        return false;
    }
    if (item.Get(number)) {
        return plain.number == static_cast<long double>(number);
    }
    if (item.Get(large)) {
        return plain.number == static_cast<long double>(large);
    }
    if (item.GetTupleSize(count) || item.GetMapSize(count)) {
        return plain.number == static_cast<long double>(count);
    }
    if (item.Get(flag)) {
        return plain.number == (flag ? 1.0L : 0.0L);
    }
    if (item.Get(text)) {
        return plain.text == text;
    }
    if (item.Get(real) && item.Get(single)) {
        const auto bits = static_cast<std::uint32_t>(plain.bits);
        return std::isnan(real) ||
               (item.Kind() == BsonItem::kDouble ? std::memcmp(&plain.bits, &real, sizeof real) == 0
                                                 : std::memcmp(&bits, &single, sizeof single) == 0);
    }
    return plain.kind <= BsonItem::kNil;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    support::PlainReader plain({data, data + size});
    core::BsonUnpacker unpacker(data, size);
    core::BsonUnpacker other(data, size);
    BsonItem item;
    while (!unpacker.Failed()) {
        const PlainItem expected = plain.Next();
        const BsonItem* const read = unpacker.GetNextItem();
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
