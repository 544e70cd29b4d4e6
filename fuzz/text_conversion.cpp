// Any bytes as UTF-8 and as wide text: a second, plain conversion gives the same, and
// what was converted is valid and comes back.

#include <core/foundation/text_encoding.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "support/utf8.h"

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool IsScalar(std::uint32_t codePoint) {
    return codePoint < 0xD800 || (codePoint >= 0xE000 && codePoint < 0x110000);
}

/// The code point whose UTF-8 `bytes` are, or -1: read without a question, then written.
std::int64_t CodePointOf(std::string_view bytes) {
    constexpr std::uint32_t kLead[] = {0, 0, 192, 224, 240};
    std::uint32_t codePoint = static_cast<std::uint8_t>(bytes[0]) - kLead[bytes.size()];
    for (const char c : bytes.substr(1)) {
        codePoint = codePoint * 64 + static_cast<std::uint8_t>(c) - 128;
    }
    return IsScalar(codePoint) && Utf8Of(codePoint) == bytes ? std::int64_t{codePoint} : -1;
}

/// Whether some character starts with these bytes. Where bytes may follow at all, the
/// lowest or the highest of them may.
bool StartsCharacter(std::string_view bytes) {
    for (std::size_t length = bytes.size() + 1; length <= 4; ++length) {
        for (const char filling : {'\x80', '\xBF'}) {
            std::string filled(bytes);
            filled.resize(length, filling);
            if (CodePointOf(filled) >= 0) {
                return true;
            }
        }
    }
    return false;
}

/// One replacement for each longest start of a character that breaks off.
std::wstring PlainlyWidened(std::string_view utf8) {
    std::wstring wide;
    while (!utf8.empty()) {
        std::size_t length = 1;
        while (length < utf8.size() && StartsCharacter(utf8.substr(0, length)) &&
               (StartsCharacter(utf8.substr(0, length + 1)) ||
                CodePointOf(utf8.substr(0, length + 1)) >= 0)) {
            ++length;
        }
        const std::int64_t codePoint = CodePointOf(utf8.substr(0, length));
        wide.push_back(codePoint < 0 ? kReplacement : static_cast<wchar_t>(codePoint));
        utf8.remove_prefix(length);
    }
    return wide;
}

std::string PlainlyNarrowed(const std::wstring& wide) {
    std::string utf8;
    for (const wchar_t c : wide) {
        const auto codePoint = static_cast<std::uint32_t>(c);
        utf8 += Utf8Of(IsScalar(codePoint) ? codePoint : std::uint32_t{kReplacement});
    }
    return utf8;
}

void CheckNarrow(const char* utf8) {
    std::wstring wide;
    std::wstring oem;
    std::string back;
    FUZZ_REQUIRE(core::ZYLCore_UTF8_Unicode(utf8, wide) && wide == PlainlyWidened(utf8));
    FUZZ_REQUIRE(core::ZYLCore_Oem_Unicode(utf8, oem) && oem == wide);
    FUZZ_REQUIRE(core::UTF8_STRING(utf8, back) && back == PlainlyNarrowed(wide));
}

void CheckWide(const wchar_t* wide) {
    std::string utf8;
    std::string oem;
    FUZZ_REQUIRE(core::ZYLCore_Unicode_Uft8(wide, utf8) && utf8 == PlainlyNarrowed(wide));
    FUZZ_REQUIRE(core::ZYLCore_Unicode_Oem(wide, oem) && oem == utf8);
    std::wstring again;
    std::string same;
    FUZZ_REQUIRE(core::ZYLCore_UTF8_Unicode(utf8.c_str(), again));
    FUZZ_REQUIRE(core::ZYLCore_Unicode_Uft8(again.c_str(), same) && same == utf8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Of their exact sizes on the heap, so that what is read behind them is seen.
    std::vector<char> narrow(data, data + size);
    narrow.push_back('\0');
    narrow.shrink_to_fit();
    CheckNarrow(narrow.data());

    std::vector<wchar_t> wide(size / sizeof(wchar_t) + 1);
    if (size > 0) {
        std::memcpy(wide.data(), data, (wide.size() - 1) * sizeof(wchar_t));
    }
    CheckWide(wide.data());
    return 0;
}
