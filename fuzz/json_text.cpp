// The parser reads any text as a second, plain reader does; what it has read is written
// and read again.

#include <core/data/json_doc.h>
#include <core/data/json_parse.h>
#include <core/data/json_write.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "support/json_grammar.h"
#include "support/json_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Of its exact size on the heap, so that a byte read behind it is seen.
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    text.shrink_to_fit();

    errno = 0;
    const support::JsonReading expected =
        support::ReadPlainly({text.begin(), text.end() - 1}, support::JsonNode::Value, 0);
    // The reader that tells why takes the same texts, if they end with the document, and
    // the standard takes no others.
    const std::string_view whole(text.data(), size);
    core::JsonValue told;
    const core::JsonParseResult result = core::ParseJson(
        whole, told,
        {core::JsonGrammar::Wide, core::JsonOverflow::Saturate, core::JsonEncoding::AnyBytes});
    FUZZ_REQUIRE(result || (told.IsEmpty() && result.offset <= size));
    FUZZ_REQUIRE(!result || expected.consumed >= 0);
    FUZZ_REQUIRE(result || !core::ParseJson(whole, told));

    errno = 0;
    core::JsonDoc document;
    FUZZ_REQUIRE(document.Parse(text.data()) == expected.consumed);
    if (expected.consumed < 0) {
        FUZZ_REQUIRE(document.Root().IsEmpty());
        return 0;
    }
    FUZZ_REQUIRE(support::ModelOf(document.Root()) == expected.model);

    // What can be written exactly comes back exactly.
    const core::JsonWriteOptions anyBytes = {core::JsonLayout::Compact, core::JsonNotFinite::Refuse,
                                             core::JsonEncoding::AnyBytes};
    std::string exact;
    if (core::WriteJson(document.Root(), exact, anyBytes)) {
        core::JsonValue back;
        FUZZ_REQUIRE(core::ParseJson(exact, back,
                                     {core::JsonGrammar::Standard, core::JsonOverflow::Refuse,
                                      core::JsonEncoding::AnyBytes}));
        std::string again;
        FUZZ_REQUIRE(core::WriteJson(back, again, anyBytes) && again == exact);
    }

    // Doubles are rounded when they are written, so the second text is the stable one.
    std::string written;
    document.Dump(written);
    FUZZ_REQUIRE(written == support::WrittenPlainly(expected.model, false, 0));
    std::string pretty;
    document.PrettyDump(pretty);
    return 0;
}
