// A document is changed by a patch and by pointers from the input: what comes out is
// sound, and what is compared agrees with what is written.

#include <core/data/json_compare.h>
#include <core/data/json_doc.h>
#include <core/data/json_merge_patch.h>
#include <core/data/json_parse.h>
#include <core/data/json_pointer.h>
#include <core/data/json_write.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"

namespace {

std::string_view TakeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    return line;
}

}  // namespace

// A patch in the first line, then pairs of lines, pointer and value, and "-" to remove.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    core::JsonDoc document;
    core::JsonDoc patch;
    core::ParseJson(TakeLine(rest), document.Root());
    if (core::ParseJson(TakeLine(rest), patch.Root())) {
        core::MergePatch(document.Root(), patch.Root());
        core::JsonDoc once;
        once.Root() = document.Root();
        FUZZ_REQUIRE(core::AreEqual(once.Root(), document.Root()));
    }
    while (!rest.empty()) {
        const std::string_view pointer = TakeLine(rest);
        const std::string_view text = TakeLine(rest);
        core::JsonValue value;
        core::JsonDoc before;
        before.Root() = document.Root();
        if (text == "-") {
            core::EraseByPointer(document.Root(), pointer);
        } else if (core::ParseJson(text, value)) {
            const core::JsonValue* const place =
                core::SetByPointer(document.Root(), pointer, value);
            FUZZ_REQUIRE(place == nullptr || core::AreEqual(*place, value));
            FUZZ_REQUIRE(place != nullptr || core::AreEqual(before.Root(), document.Root()));
        }
        for (const core::JsonDifference& difference :
             core::FindDifferences(before.Root(), document.Root())) {
            const core::JsonValue* const found =
                core::FindByPointer(document.Root(), difference.pointer);
            FUZZ_REQUIRE(difference.after == nullptr || found != nullptr);
        }
    }
    std::string written;
    if (core::WriteJson(document.Root(), written)) {
        core::JsonDoc again;
        FUZZ_REQUIRE(core::ParseJson(written, again.Root()));
        FUZZ_REQUIRE(document.Root().IsEmpty() || core::AreEqual(again.Root(), document.Root(),
                                                                 {core::JsonMemberOrder::Counts}));
    }
    return 0;
}
