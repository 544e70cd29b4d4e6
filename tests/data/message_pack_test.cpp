// Held against the two libraries that speak MessagePack and share nothing with ours.

#include <core/data/json_bson.h>
#include <core/data/json_doc.h>
#include <core/data/json_write.h>
#include <core/data/message_pack.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/dice.h"
#include "support/message_pack_peers.h"
#include "support/small_stack.h"

namespace {

using core::BsonBox;
using core::JsonDoc;
using core::JsonEncoding;
using core::JsonValue;
using core::MessagePackForeign;
using core::MessagePackKeys;
using core::MessagePackOptions;
using core::MessagePackReport;
using core::MessagePackResult;
using core::MessagePackTime;
using core::MessagePackZeros;
using support::Bytes;

constexpr MessagePackOptions kKeepAll = {MessagePackForeign::Keep,
                                         MessagePackForeign::Keep,
                                         MessagePackTime::Extension,
                                         MessagePackKeys::Integers,
                                         JsonEncoding::AnyBytes,
                                         MessagePackZeros::Cut,
                                         1'000'000};

MessagePackResult Read(const Bytes& bytes, JsonValue& out, const MessagePackOptions& options = {}) {
    return core::MessagePackToJson(bytes.data(), bytes.size(), out, options);
}

std::string TextOf(const JsonValue& value) {
    std::string text;
    EXPECT_TRUE(core::WriteJson(
        value, text,
        {core::JsonLayout::Compact, core::JsonNotFinite::Null, JsonEncoding::AnyBytes}));
    return text;
}

TEST(MessagePack, ReadsEachItemAsAskedOrTellsWhyNot) {
    using Foreign = MessagePackForeign;
    using Time = MessagePackTime;
    const MessagePackOptions strict;
    const auto with = [](auto change) {
        MessagePackOptions options;
        change(options);
        return options;
    };
    const auto skip = with([](auto& to) { to.binary = to.extensions = Foreign::Skip; });
    const auto keep = with([](auto& to) { to.binary = to.extensions = Foreign::Keep; });
    const auto seconds = with([](auto& to) { to.timestamps = Time::Seconds; });
    const auto plain = with([](auto& to) {
        to.timestamps = Time::Extension;
        to.extensions = Foreign::Keep;
    });
    const auto integers = with([](auto& to) { to.keys = MessagePackKeys::Integers; });
    const auto lax = with([](auto& to) {
        to.encoding = JsonEncoding::AnyBytes;
        to.zeros = MessagePackZeros::Cut;
    });
    const auto flat = with([](auto& to) { to.maxDepth = 1; });
    const struct {
        Bytes bytes;
        MessagePackOptions options;
        /// The text, or the fault, which does not begin like one.
        std::string expected;
    } rows[] = {
        // Numbers have the sign that the standard gives them.
        {{0x7F}, strict, "127"},
        {{0xE0}, strict, "-32"},
        {{0xD0, 0x9C}, strict, "-100"},
        {{0xCC, 0xC8}, strict, "200"},
        {{0xD1, 0x80, 0x00}, strict, "-32768"},
        {{0xCF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, strict, "18446744073709551615"},
        {{0xCA, 0x3E, 0x00, 0x00, 0x00}, strict, "0.125"},
        // Binary data and extensions
        {{0x92, 0xC4, 3, 1, 2, 3, 5}, keep, "[\"base64:AQID\",5]"},
        {{0xC5, 0, 4, 0xFF, 0xFE, 0xFD, 0xFC}, keep, "\"base64://79/A==\""},
        {{0xC6, 0, 0, 0, 0}, keep, "\"base64:\""},
        {{0xC7, 2, 5, 1, 2}, keep, "\"ext:5:base64:AQI=\""},
        {{0xD4, 0x80, 7}, keep, "\"ext:-128:base64:Bw==\""},
        {{0x82, 0xA1, 'a', 0xC4, 1, 0, 0xA1, 'b', 0xD5, 9, 1, 1},
         skip,
         "{\"a\": null,\"b\": null}"},
        {{0x91, 0xC4, 1, 0}, strict, "item 1, at byte 1: binary data, which JSON does not have"},
        {{0xD8, 1}, skip, "item 0, at byte 0: cut short: the data ends inside the item"},
        {{0xC7, 1, 9, 9},
         strict,
         "item 0, at byte 0: an extension of type 9, which JSON does not have"},
        // Timestamps
        {{0xD6, 0xFF, 0x65, 0xE0, 0x75, 0xC0}, strict, "\"2024-02-29T12:17:04Z\""},
        {{0xD6, 0xFF, 0x65, 0xE0, 0x75, 0xC0}, seconds, "1709209024"},
        {{0xD6, 0xFF, 0, 0, 0, 1}, plain, "\"ext:-1:base64:AAAAAQ==\""},
        {{0xD7, 0xFF, 0x77, 0x35, 0x94, 0x00, 0, 0, 0, 0}, strict, "\"1970-01-01T00:00:00.5Z\""},
        {{0xD7, 0xFF, 0x77, 0x35, 0x94, 0x00, 0, 0, 0, 0}, seconds, "0.5"},
        {{0xC7, 12, 0xFF, 0, 0, 0, 7, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
         strict,
         "\"1969-12-31T23:59:59.000000007Z\""},
        {{0xC7, 12, 0xFF, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0},
         strict,
         "item 0, at byte 0: a timestamp outside the years 0 to 9999"},
        {{0xD7, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0},
         strict,
         "item 0, at byte 0: a timestamp of no known form"},
        // Keys and texts
        {{0x81, 0xFF, 0xC0}, integers, "{\"-1\": null}"},
        {{0x81, 0xCF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1},
         integers,
         "{\"18446744073709551615\": 1}"},
        {{0x81, 5, 1}, strict, "item 1, at byte 1: a member's name that is no text"},
        {{0x81, 0x90, 1},
         integers,
         "item 1, at byte 1: a member's name that is neither text nor integer"},
        {{0xA3, 'a', 0, 'b'}, lax, "\"a\""},
        {{0x91, 0xA3, 'a', 0, 'b'},
         strict,
         "item 1, at byte 1: a text with a zero byte, at which it would end"},
        {{0xA2, 0xC3, 0x28}, strict, "item 0, at byte 0: a text that is no UTF-8"},
        {{0x81, 0xA1, 0x80, 1}, strict, "item 1, at byte 1: a member's name that is no UTF-8"},
        // The whole
        {{}, strict, "item 0, at byte 0: the data ends where an item was expected"},
        {{0x92, 1}, strict, "item 2, at byte 2: the data ends where an item was expected"},
        {{0xC1}, strict, "item 0, at byte 0: byte 0xC1 begins no item"},
        {{0xDD, 0xFF, 0xFF, 0xFF, 0xFF}, strict, "item 0, at byte 0: a length above 2147483647"},
        {{1, 2}, strict, "item 1, at byte 1: more bytes behind the document"},
        {{0x91, 0x91, 1}, flat, "item 1, at byte 1: nested deeper than 1 levels"},
    };
    for (const auto& row : rows) {
        JsonDoc doc;
        doc.Root() = "as it was";
        const MessagePackResult result = Read(row.bytes, doc.Root(), row.options);
        EXPECT_EQ(row.expected, result ? TextOf(doc.Root()) : result.Message());
        if (!result) {
            EXPECT_STREQ("as it was", doc.Root().AsString()) << row.expected;
        }
    }
}

#ifdef CORE_TEST_MESSAGE_PACK_PEERS
Bytes BytesOf(const BsonBox& box) {
    return {box.Data(), box.Data() + box.Size()};
}

TEST(MessagePack, ReadsWhatTwoOtherLibrariesWriteAndTheReverse) {
    Dice dice(5);
    for (int round = 0; round < 3'000; ++round) {
        SCOPED_TRACE(round);
        std::string expected;
        support::PackCounts counts;
        const Bytes bytes = support::PackedByAnother(dice, expected, counts);
        JsonDoc doc;
        const MessagePackResult result = Read(bytes, doc.Root(), kKeepAll);
        ASSERT_TRUE(result) << result.Message();
        ASSERT_EQ(expected, TextOf(doc.Root()));
        const MessagePackReport report = core::CheckMessagePack(bytes.data(), bytes.size());
        ASSERT_EQ(counts.items, report.items);
        ASSERT_EQ(counts.smallNegatives, report.smallNegatives);
        ASSERT_EQ(counts.binaries, report.binaries);
        ASSERT_EQ(counts.extensions, report.extensions + report.timestamps);
        ASSERT_EQ(counts.otherKeys, report.otherKeys);
        // Where the report says so, the library's own reader has the same tree.
        JsonDoc own;
        core::BsonToJson(BsonBox(bytes.data(), bytes.size()), own.Root());
        if (report.IsOwnForm()) {
            ASSERT_EQ(expected, TextOf(own.Root()));
        } else {
            ASSERT_NE(expected, TextOf(own.Root()));
        }

        // What we write of it, both others read, and write in forms that we read again.
        BsonBox box;
        core::JsonToBson(doc.Root(), box);
        for (const Bytes& again : {support::RepackedByMsgpackCxx(BytesOf(box)),
                                   support::RepackedByMpack(BytesOf(box))}) {
            JsonDoc back;
            ASSERT_TRUE(Read(again, back.Root()));
            ASSERT_EQ(expected, TextOf(back.Root()));
        }
    }
}

TEST(MessagePack, TakesExactlyTheBytesThatAnotherLibraryTakes) {
    Dice dice(6);
    int good = 0;
    for (int round = 0; round < 20'000; ++round) {
        SCOPED_TRACE(round);
        std::string text;
        support::PackCounts counts;
        Bytes bytes = support::PackedByAnother(dice, text, counts);
        for (int i = dice.Below(3); i >= 0; --i) {
            const auto at = static_cast<std::size_t>(dice.Below(static_cast<int>(bytes.size())));
            if (dice.OneIn(4)) {
                bytes.resize(at + 1);
            } else {
                bytes[at] = static_cast<unsigned char>(dice.Bits());
            }
        }
        const bool isGood = support::IsTakenByMsgpackCxx(bytes);
        good += isGood ? 1 : 0;
        const MessagePackReport report = core::CheckMessagePack(bytes.data(), bytes.size());
        ASSERT_EQ(isGood, static_cast<bool>(report.standard)) << report.standard.Message();
        JsonDoc doc;
        const MessagePackResult result = Read(bytes, doc.Root(), kKeepAll);
        // A key may be what no text can be made of.
        ASSERT_EQ(isGood && result.reason.find("name") == std::string::npos,
                  static_cast<bool>(result))
            << result.Message();
        ASSERT_LE(result.offset, bytes.size());
    }
    EXPECT_GT(good, 2'000);
    EXPECT_LT(good, 18'000);
}

#endif

TEST(MessagePack, AMillionContainersInEachOtherNeedNoStack) {
    support::OnSmallStack([] {
        constexpr std::size_t kDepth = 1'000'000;
        Bytes bytes(kDepth, 0x91);
        bytes.push_back(0xC0);
        const MessagePackReport report = core::CheckMessagePack(bytes.data(), bytes.size());
        EXPECT_TRUE(report.IsOwnForm());
        EXPECT_EQ(kDepth, report.depth);
        JsonDoc doc;
        EXPECT_TRUE(Read(bytes, doc.Root(), kKeepAll));
        EXPECT_EQ("nested deeper than 1024 levels", Read(bytes, doc.Root()).reason);
    });
}

}  // namespace
