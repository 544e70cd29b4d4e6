// JSON text read and written, beside a plain reader and a plain writer.

#include <core/data/json_doc.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "support/dice.h"
#include "support/file_rows.h"
#include "support/json_grammar.h"
#include "support/json_model.h"
#include "support/long_run.h"
#include "support/scratch_directory.h"
#include "support/small_stack.h"
#include "support/tracked_allocator.h"

namespace {

using core::JsonArray;
using core::JsonDoc;
using core::JsonObject;
using core::JsonValue;
using support::JsonModel;
using support::JsonNode;
using support::JsonReading;
using support::ModelOf;
using support::TrackedAllocator;

/// What stands in a node before it is parsed into.
void Fill(JsonValue& value, int kind) {
    switch (kind) {
        case 0:
            value.Set("a text of more than sixteen bytes");
            break;
        case 1:
            value.MakeEmptyArray().AddObject()["left"].Set(1);
            break;
        case 2:
            value.MakeEmptyObject().AddArray("over").Add(nullptr);
            break;
        default:
            value.Set(1);
    }
}

/// The library's reading of `text` into a node that held something.
JsonReading Read(const std::string& text, JsonNode node, int depth, int filling) {
    TrackedAllocator allocator;
    JsonObject holder(&allocator);
    core::JsonMember& member = holder.Add("name of more than 16 bytes", nullptr);
    Fill(member, node == JsonNode::Array ? 1 : node == JsonNode::Object ? 2 : filling);
    // Of its exact size on the heap, so that a sanitizer sees a byte read behind it.
    const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
    JsonReading reading;
    switch (node) {
        case JsonNode::Value:
            reading.consumed = static_cast<JsonValue&>(member).Parse(exact.data(), depth);
            break;
        case JsonNode::Array:
            reading.consumed = member.AsArray().Parse(exact.data(), depth);
            break;
        case JsonNode::Object:
            reading.consumed = member.AsObject().Parse(exact.data(), depth);
            break;
        default:
            reading.consumed = member.Parse(exact.data(), depth);
    }
    JsonModel model = ModelOf(member);
    if (reading.consumed < 0) {
        // What failed is cleared: a container empty, a value unset, a member nameless.
        EXPECT_TRUE(model.children.empty()) << text;
        EXPECT_EQ(node == JsonNode::Array    ? JsonValue::kArray
                  : node == JsonNode::Object ? JsonValue::kObject
                                             : JsonValue::kEmpty,
                  model.kind)
            << text;
        EXPECT_TRUE(node != JsonNode::Member || *member.Name() == '\0') << text;
    } else if (node == JsonNode::Member) {
        reading.model.names.emplace_back(member.Name());
        reading.model.children.push_back(std::move(model));
    } else {
        reading.model = std::move(model);
    }
    return reading;
}

void ExpectReadPlainly(const std::string& text, JsonNode node, int depth, int filling) {
    errno = 0;
    const JsonReading expected = ReadPlainly(text, node, depth);
    errno = 0;
    const JsonReading read = Read(text, node, depth, filling);
    ASSERT_EQ(expected.consumed, read.consumed) << text;
    ASSERT_EQ(expected.model, read.model) << text;
}

TEST(JsonParser, ReadsRandomTextLikeThePlainReader) {
    Dice dice(1);
    int successes = 0;
    const int count = support::Rounds(20'000, 1'000'000);
    for (int i = 0; i < count; ++i) {
        std::string text = support::RandomJsonText(dice);
        const auto node = static_cast<JsonNode>(dice.Below(4));
        text = node == JsonNode::Member && !dice.OneIn(10) ? "\"name\" : " + text : text;
        ExpectReadPlainly(text, node, dice.OneIn(4) ? 76 + dice.Below(8) : 0, dice.Below(4));
        ASSERT_FALSE(HasFailure());
        successes += ReadPlainly(text, node, 0).consumed >= 0 ? 1 : 0;
    }
    // Else the cases say little.
    EXPECT_GT(successes, count / 4);
    EXPECT_LT(successes, count * 3 / 4);
}

TEST(JsonParser, CountsWhatItConsumes) {
    for (const support::FileRow& row : support::RowsOf("json_fronts.txt")) {
        JsonDoc doc;
        doc.Root().Set(5);
        errno = 0;
        const std::string consumed = std::to_string(doc.Parse(row[""].c_str()));
        std::string value;
        doc.Root().Dump(value);
        EXPECT_EQ(row["read"], consumed + " " + std::to_string(doc.Root().Kind()) + " " + value)
            << row.name;
    }
    EXPECT_EQ(-1, JsonDoc().Parse(nullptr));
}

TEST(JsonParser, LetsAnOldErrorMakeTheLargestNumberUnsigned) {
    JsonDoc doc;
    for (const char* before :
         {"9223372036854775808", "-9223372036854775809", "1e400", "9223372036854775808.5"}) {
        errno = 0;
        ASSERT_LT(0, doc.Parse(("[9223372036854775807, " + std::string(before) +
                                ", 9223372036854775807, 9223372036854775806]")
                                   .c_str()));
        // Kept on purpose.
        EXPECT_TRUE(doc.Root().AsArray()[0].IsSigned());
        EXPECT_TRUE(doc.Root().AsArray()[2].IsUnsigned()) << before;
        EXPECT_TRUE(doc.Root().AsArray()[3].IsSigned());
    }
}

std::string Nested(int levels, const std::string& innermost) {
    const auto count = static_cast<std::size_t>(levels);
    return std::string(count, '[') + innermost + std::string(count, ']');
}

TEST(JsonParser, HoldsNothingBelowLevel80) {
    JsonDoc doc;
    EXPECT_EQ(163, doc.Parse(Nested(81, "1").c_str()));
    EXPECT_EQ(-1, doc.Parse(Nested(82, "1").c_str()));
    EXPECT_EQ(165, doc.Parse(Nested(82, " ").c_str()));
    EXPECT_EQ(-1, doc.Parse(Nested(83, "").c_str()));
    EXPECT_EQ(-1, doc.Root().Parse("[1]", 81));
    EXPECT_EQ(2, doc.Root().Parse("{}", 2'000'000'000));
    support::OnSmallStack([&doc] {
        EXPECT_EQ(-1, doc.Parse(std::string(1'000'000, '[').c_str()));
        // A level below 0 is as far above 80 as it says.
        EXPECT_EQ(2'000'001, doc.Root().Parse(Nested(1'000'000, "1").c_str(), -1'000'000));
        std::string text;
        EXPECT_EQ(2'000'001, doc.Dump(text));
        EXPECT_LT(80'000'000, doc.PrettyDump(text));
    });
}

TEST(JsonParser, ReadsFragmentsOfALongTextInTheirOwnTime) {
    // Were each of them to look for the end of the text, this would take minutes.
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) {
        text += "[1],";
    }
    JsonDoc doc;
    int sum = 0;
    for (const char* at = text.c_str(); *at != '\0'; at += 4) {
        sum += doc.Parse(at);
    }
    EXPECT_EQ(3'000'000, sum);
}

TEST(JsonParser, MayReadItsOwnText) {
    JsonDoc doc;
    JsonObject& object = doc.CreateRootObject();
    JsonValue& value = object["key"];
    for (const char* text :
         {"[1, \"a string of its own\"]", "\"a string of more than its own\"", "x"}) {
        value.Set(text);
        errno = 0;
        const JsonReading expected = ReadPlainly(text, JsonNode::Value, 0);
        EXPECT_EQ(expected.consumed, value.Parse(value.AsString())) << text;
        EXPECT_EQ(expected.model, ModelOf(value)) << text;
    }
    object["key"].SetName("\"renamed\": \"by its own name\"");
    EXPECT_EQ(28, object.First()->Parse(object.First()->Name()));
    EXPECT_STREQ("renamed", object.First()->Name());
}

TEST(JsonParser, TakesRoomByTheLongestEscape) {
    const struct {
        const char* text;
        std::size_t size;
    } rows[] = {
        {R"("exactly 16 bytes")", 17},
        {R"("\ud83d\ude00 and nine")", 18},
        {R"("\u0041\u0041\u0041\u0041")", 17},
        {R"("\n2345678901234567")", 18},
    };
    for (const auto& row : rows) {
        TrackedAllocator allocator;
        JsonValue value(&allocator);
        value.Parse(row.text);
        EXPECT_EQ(row.size, allocator.LastSize()) << row.text;
    }
    TrackedAllocator allocator;
    JsonArray list(&allocator);
    list.Add("a text of 23 characters");
    const JsonArray copy(list);
    EXPECT_EQ(24U, allocator.LastSize());
}

TEST(JsonFiles, ReadsThemWithAndWithoutAMark) {
    const support::ScratchDirectory directory;
    const std::string limit = "\"" + std::string(64 * 1024 * 1024 - 2, 'x') + "\"";
    const struct {
        std::string bytes;
        int consumed;
    } rows[] = {
        {" [1] \n", 4},
        {"\xEF\xBB\xBF[1]", 6},
        {"\xEF\xBB\xBF", -1},
        {std::string("[1]\0]", 5), 3},
        {"\xFF\xFE[\0", -1},
        {"\xFE\xFF[1]", -1},
        {"", -1},
        {"[", -1},
        {limit, 64 * 1024 * 1024},
        {limit + " ", -1},
    };
    for (const auto& row : rows) {
        JsonDoc doc;
        EXPECT_EQ(row.consumed, doc.ParseFile(directory.Write("text.json", row.bytes).c_str()))
            << row.bytes.substr(0, 10);
        EXPECT_EQ(row.consumed > 0, static_cast<bool>(doc));
    }
    JsonDoc doc;
    EXPECT_EQ(-1, doc.ParseFile(directory.Path("missing").c_str()));
    EXPECT_EQ(-1, doc.ParseFile(directory.Path().c_str()));
    EXPECT_EQ(-1, doc.ParseFile(nullptr));
}

TEST(JsonFiles, WritesThemOrSaysNothing) {
    const support::ScratchDirectory directory;
    // The path goes to the C library as it is, which is no UTF-8 on every system.
    const std::string path = "json_text_test.written";
    JsonDoc doc;
    EXPECT_EQ(-1, doc.DumpFile(path.c_str()));
    EXPECT_EQ(-1, doc.PrettyDumpFile(path.c_str()));
    doc.CreateRootArray().Add(nullptr);
    EXPECT_LE(0, doc.DumpFile(path.c_str()));
    EXPECT_EQ(6, JsonDoc().ParseFile(path.c_str()));
    EXPECT_LE(0, doc.PrettyDumpFile(path.c_str()));
    std::remove(path.c_str());
    // Kept on purpose: it looks like a success.
    EXPECT_EQ(0, doc.DumpFile((directory.Path() + "/missing/file").c_str()));
    EXPECT_EQ(0, doc.DumpFile(nullptr));
    // Where the system has such a device, and the C library says that it is full.
    std::FILE* const full = std::fopen("/dev/full", "w");
    if (full != nullptr && (std::fputs("x", full) < 0 || std::fclose(full) != 0)) {
        EXPECT_GT(0, doc.DumpFile("/dev/full"));
    }
}

TEST(JsonWriter, WritesRandomTreesLikeThePlainWriter) {
    Dice dice(2);
    for (int i = support::Rounds(20'000, 1'000'000); i > 0; --i) {
        JsonDoc doc;
        if (doc.Parse(support::RandomJsonText(dice).c_str()) < 0) {
            continue;
        }
        const JsonModel model = ModelOf(doc.Root());
        std::string text = "before";
        doc.Dump(text);
        ASSERT_EQ(WrittenPlainly(model, false, 0), text);
        const bool isContainer = doc.Root().IsArray() || doc.Root().IsObject();
        EXPECT_EQ(static_cast<int>(text.size()), doc.Dump(text));
        doc.PrettyDump(text);
        ASSERT_EQ(WrittenPlainly(model, isContainer, 0), text);
        const int indent = dice.Below(60) - 5;
        text = "before";
        doc.Root().PrettyDumpToTail(text, indent);
        ASSERT_EQ("before" + WrittenPlainly(model, isContainer, indent), text);
    }
}

TEST(JsonWriter, WritesEveryKindOfNode) {
    JsonDoc doc;
    std::string text = "untouched";
    EXPECT_EQ(-1, doc.Dump(text));
    EXPECT_EQ(-1, doc.PrettyDump(text));
    EXPECT_EQ("untouched", text);

    JsonObject& object = doc.CreateRootObject();
    object["a"].Set(1);
    JsonArray& array = object.AddArray("b");
    array.Add(nullptr).Set(true);
    array.Add(JsonValue()).Set("\x01\x7F\"\\/\n");
    array.Add(JsonValue());
    EXPECT_EQ(42, doc.Dump(text));
    EXPECT_EQ(R"({"a": 1,"b": [true,"\u0001)"
              "\x7F"
              R"(\"\\/\n",null]})",
              text);
    array.Resize(1);
    const std::string pretty = "{\n  \"a\": 1,\n  \"b\": [\n    true\n  ]\n}";
    object.PrettyDump(text);
    EXPECT_EQ(pretty, text);
    doc.Root().PrettyDumpToTail(text);
    EXPECT_EQ(pretty + pretty, text);
    array.Dump(text);
    array.PrettyDumpToTail(text, 4);
    EXPECT_EQ("[true][\n      true\n    ]", text);
    object.First()->Dump(text);
    object.First()->NextSibling()->PrettyDumpToTail(text, 2);
    EXPECT_EQ("\"a\": 1\"b\": [\n    true\n  ]", text);
    array.First()->PrettyDump(text, 7);
    EXPECT_EQ("true", text);
}

// The longest line, then a bracket's indent, wherever the writer's buffer ends.
TEST(JsonWriter, HasRoomForEveryLine) {
    std::string wanted;
    for (std::size_t length = 6000; length < 8300; ++length) {
        const std::string filling(length, 'x');
        std::string text = "{\"p\":\"" + filling + "\",\"k\":";
        for (int level = 0; level < 21; ++level) {
            text += "{\"k\":";
        }
        JsonDoc doc;
        ASSERT_LE(
            0, doc.Parse((text + "{\"abcdefghijklmnop\":-1e300" + std::string(23, '}')).c_str()));
        doc.PrettyDump(text);
        text.replace(text.find(filling), length, "");
        wanted = wanted.empty() ? text : wanted;
        ASSERT_EQ(wanted, text) << length;
    }
}

TEST(JsonWriter, StopsIndentingAt40) {
    // Content stands at 40 at most, a closing bracket where its line was said to stand.
    JsonValue value;
    JsonArray& outer = value.MakeEmptyArray();
    std::string text;
    outer.PrettyDump(text, 4);
    EXPECT_EQ("[\n    ]", text);
    outer.AddArray();
    outer.PrettyDump(text, 50);
    const std::string at40(40, ' ');
    EXPECT_EQ("[\n" + at40 + "[\n" + at40 + "]\n" + std::string(50, ' ') + "]", text);
    outer.PrettyDump(text, 39);
    EXPECT_EQ("[\n" + at40 + "[\n" + at40 + "]\n" + std::string(39, ' ') + "]", text);
}

}  // namespace
