#include <core/data/json_bson.h>
#include <core/data/json_doc.h>
#include <core/data/json_parse.h>
#include <core/data/json_write.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "support/dice.h"
#include "support/json_grammar.h"
#include "support/json_model.h"
#include "support/scratch_directory.h"
#include "support/small_stack.h"

namespace {

using core::CheckJson;
using core::JsonDoc;
using core::JsonEncoding;
using core::JsonLayout;
using core::JsonNotFinite;
using core::JsonObject;
using core::JsonValue;
using core::JsonWriteOptions;
using core::JsonWriteResult;
using core::WriteJson;
using support::ModelOf;

TEST(WriteJson, LosesNothing) {
    Dice dice(11);
    int written = 0;
    for (int round = 0; round < 20000; ++round) {
        JsonDoc document;
        if (!ParseJson(
                support::RandomJsonText(dice), document.Root(),
                {core::JsonGrammar::Wide, core::JsonOverflow::Saturate, JsonEncoding::AnyBytes})) {
            continue;
        }
        JsonValue& root = document.Root();
        if (root.IsArray()) {
            root.AsArray().Add(support::RandomDouble(dice));
        }
        for (const JsonLayout layout : {JsonLayout::Compact, JsonLayout::Pretty}) {
            const JsonWriteOptions options = {layout, JsonNotFinite::Refuse,
                                              JsonEncoding::AnyBytes};
            std::string text = "as it was";
            const JsonWriteResult result = WriteJson(root, text, options);
            ASSERT_EQ(static_cast<bool>(result), static_cast<bool>(CheckJson(root, options)));
            if (!result) {
                ASSERT_EQ("a number that is not finite", result.reason);
                ASSERT_EQ("as it was", text);
                continue;
            }
            ++written;
            JsonDoc again;
            ASSERT_TRUE(ParseJson(
                text, again.Root(),
                {core::JsonGrammar::Standard, core::JsonOverflow::Refuse, JsonEncoding::AnyBytes}))
                << text;
            ASSERT_EQ(ModelOf(root), ModelOf(again.Root())) << text;
            JsonDoc plain;
            ASSERT_EQ(static_cast<int>(text.size()), plain.Parse(text.c_str()));
            // Small numbers leave ERANGE in errno, which makes an unsigned one of this.
            if (text.find("9223372036854775807") == std::string::npos) {
                ASSERT_EQ(ModelOf(root), ModelOf(plain.Root())) << text;
            }
            // But for doubles, the text is that of the other writer.
            std::string other;
            if (text.find_first_of(".e") == std::string::npos) {
                layout == JsonLayout::Pretty ? root.PrettyDump(other) : root.Dump(other);
                ASSERT_EQ(other, text);
            }
        }
    }
    EXPECT_GT(written, 10000);
}

TEST(WriteJson, TellsWhatNoParserTakes) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    JsonDoc document;
    JsonObject& root = document.CreateRootObject();
    root.AddObject("a/b~").AddArray("list").Add("text").Set(std::nan(""));
    root["list"] = -kInfinity;
    std::string text = "as it was";
    const auto message = [&](const JsonWriteOptions& options = {}) {
        const JsonWriteResult result = WriteJson(document.Root(), text, options);
        EXPECT_EQ(result.Message(), CheckJson(document.Root(), options).Message());
        return result.Message();
    };
    EXPECT_EQ("/a~1b~0/list/0: a number that is not finite", message());
    EXPECT_EQ("as it was", text);
    EXPECT_EQ("", message({JsonLayout::Compact, JsonNotFinite::Null}));
    EXPECT_EQ("{\"a/b~\": {\"list\": [null]},\"list\": null}", text);
    root.Erase("a/b~");
    root["list"] = "\xC3\xA9\xC3";
    EXPECT_EQ("/list: a text that is no UTF-8", message());
    EXPECT_EQ("", message({JsonLayout::Compact, JsonNotFinite::Refuse, JsonEncoding::AnyBytes}));
    root["list"] = "a long text that ends in a cut character, behind a block \xE2\x82";
    EXPECT_EQ("/list: a text that is no UTF-8", message());
    // Characters at any place in what is written in one go, whole and cut.
    for (std::size_t before = 8000; before < 8200; ++before) {
        const std::string whole = std::string(before, 'x') + "\xF0\x9F\x90\x8C\xE3\x81\x82";
        root["list"] = whole;
        EXPECT_EQ("", message());
        EXPECT_EQ("{\"list\": \"" + whole + "\"}", text);
        root["list"] = whole.substr(0, before + 1 + before % 3) + std::string(300, 'y');
        EXPECT_EQ("/list: a text that is no UTF-8", message());
    }
    root["list"] = 1;
    root.Add("\xFF", 2);
    EXPECT_EQ("/\xFF: a name that is no UTF-8", message());
    document.Root() = kInfinity;
    EXPECT_EQ("a number that is not finite", message());
    document.Root().Clear();
    EXPECT_EQ("", message());
    EXPECT_EQ("null", text);
}

TEST(WriteJson, RefusesDepthsThatNoParserTakes) {
    const auto nested = [](std::size_t depth, const std::string& inside) {
        const std::string bytes = std::string(depth, '\x91') + inside;
        const core::BsonBox box(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        JsonValue value;
        core::BsonToJson(box, value);
        std::string text;
        const JsonWriteResult result = WriteJson(value, text);
        EXPECT_EQ(result.Message(), CheckJson(value).Message());
        JsonValue again;
        EXPECT_TRUE(!result || ParseJson(text, again));
        return result.reason;
    };
    EXPECT_EQ("", nested(81, "\x05"));
    EXPECT_EQ("", nested(81, "\x90"));
    EXPECT_EQ("", nested(81, "\x80"));
    EXPECT_EQ("nested deeper than 81 levels", nested(81, "\x81\xA1k\x05"));
    EXPECT_EQ("nested deeper than 81 levels", nested(82, "\x05"));
    support::OnSmallStack(
        [&] { EXPECT_EQ("nested deeper than 81 levels", nested(1'000'000, "\x05")); });
}

TEST(SaveJson, LeavesTheOldFileWhereATreeHasNoText) {
    const support::ScratchDirectory directory;
    const std::string path = directory.Path("project");
    JsonValue value;
    value = 0.1;
    EXPECT_TRUE(SaveJson(path, value));
    value = std::nan("");
    EXPECT_EQ("a number that is not finite", SaveJson(path, value).Message());
    EXPECT_EQ("0.1\n", directory.Read("project"));
    value = 1;
    EXPECT_EQ("is a directory", SaveJson(directory.Path(), value).Message());
}

}  // namespace
