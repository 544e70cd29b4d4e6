// Held against the two libraries that speak MessagePack and share nothing with ours.

#include <core/data/json_bson.h>
#include <core/data/json_doc.h>
#include <core/data/json_write.h>
#include <core/data/message_pack.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/dice.h"
#include "support/file_rows.h"
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

/// "3 items, 1 deep, 1 binaries; item 1, ...": the counts above 0, then where it stops.
std::string TextOf(const MessagePackReport& report) {
    std::string text = std::to_string(report.items) + " items";
    const auto add = [&text](std::size_t count, const char* of) {
        text += count > 0 ? ", " + std::to_string(count) + of : "";
    };
    add(report.depth, " deep");
    add(report.smallNegatives, " small negatives");
    add(report.binaries, " binaries");
    add(report.timestamps, " timestamps");
    add(report.extensions, " extensions");
    add(report.otherKeys, " other keys");
    add(report.textsWithZero, " with zero");
    add(report.textsNotUtf8, " not UTF-8");
    text += report.standard ? "" : "; " + report.standard.Message();
    text += report.own ? "" : "; own: " + report.own.Message();
    return text + (report.IsOwnForm() ? "; own form" : "");
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
    const std::map<std::string, MessagePackOptions> options = {
        {"strict", strict}, {"skip", skip},         {"keep", keep}, {"seconds", seconds},
        {"plain", plain},   {"integers", integers}, {"lax", lax},   {"flat", flat},
    };
    for (const support::FileRow& row : support::RowsOf("message_pack.txt")) {
        const Bytes bytes = support::BytesOfHex(row[""]);
        JsonDoc doc;
        doc.Root() = "as it was";
        const MessagePackResult result = Read(bytes, doc.Root(), options.at(row["options"]));
        EXPECT_EQ(row["answer"], result ? TextOf(doc.Root()) : result.Message());
        EXPECT_EQ(row["report"], TextOf(core::CheckMessagePack(bytes.data(), bytes.size())))
            << row.name;
        if (!result) {
            EXPECT_STREQ("as it was", doc.Root().AsString()) << row.name;
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
        const Bytes besideEachOther = {0x92, 0x90, 0x90};
        EXPECT_EQ(2U, core::CheckMessagePack(besideEachOther.data(), 3).depth);
    });
}

}  // namespace
