// Any bytes are a document of the standard or none, whoever asks; a tree that was made of
// one packs into bytes from which both readers make it again.

#include <core/data/json_bson.h>
#include <core/data/json_compare.h>
#include <core/data/json_doc.h>
#include <core/data/message_pack.h>

#include <cstdint>
#include <string>

#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The first byte says what to make of foreign items.
    const unsigned choice = size > 0 ? *data++ : 0;
    size -= size > 0 ? 1 : 0;
    core::MessagePackOptions options;
    options.binary = static_cast<core::MessagePackForeign>(choice % 3);
    options.extensions = static_cast<core::MessagePackForeign>(choice / 3 % 3);
    options.timestamps = static_cast<core::MessagePackTime>(choice / 9 % 3);
    options.keys = static_cast<core::MessagePackKeys>(choice / 27 % 2);
    options.zeros = static_cast<core::MessagePackZeros>(choice / 54 % 2);
    options.encoding = static_cast<core::JsonEncoding>(choice / 108 % 2);

    const core::MessagePackReport report = core::CheckMessagePack(data, size);
    core::JsonDoc document;
    document.Root() = "before";
    const core::MessagePackResult result =
        core::MessagePackToJson(data, size, document.Root(), options);
    FUZZ_REQUIRE(report.standard || !result);
    FUZZ_REQUIRE(result.offset <= size);
    if (!result) {
        FUZZ_REQUIRE(document.Root().AsString() == std::string("before"));
        return 0;
    }
    core::BsonBox packed;
    core::JsonToBson(document.Root(), packed);
    FUZZ_REQUIRE(core::CheckMessagePack(packed).standard);
    core::JsonDoc again;
    FUZZ_REQUIRE(core::BsonToJson(packed, again.Root()));
    FUZZ_REQUIRE(core::AreEqual(document.Root(), again.Root()));
    options.encoding = core::JsonEncoding::AnyBytes;
    FUZZ_REQUIRE(core::MessagePackToJson(packed, again.Root(), options));
    FUZZ_REQUIRE(core::AreEqual(document.Root(), again.Root()));
    if (report.IsOwnForm()) {
        const core::BsonBox box(data, size);
        FUZZ_REQUIRE(core::BsonToJson(box, again.Root()));
        FUZZ_REQUIRE(core::AreEqual(document.Root(), again.Root()));
    }
    return 0;
}
