// Documents, packed data and the foundations where memory runs out.

#include <core/data/bson_packer.h>
#include <core/data/bson_unpacker.h>
#include <core/data/json_bson.h>
#include <core/data/json_doc.h>
#include <core/data/json_view.h>
#include <core/foundation/file_helpers.h>
#include <core/foundation/md5.h>
#include <core/foundation/text_encoding.h>
#include <core/foundation/time_span.h>
#include <core/foundation/time_util.h>
#include <core/foundation/uuid.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "faults/failing_memory.h"
#include "support/scratch_directory.h"

namespace {

using core::BsonBox;
using core::JsonArray;
using core::JsonDoc;
using core::JsonObject;
using core::JsonValue;
using faults::After;
using faults::TryEachFailure;

// Names and texts that fit into their nodes and ones that don't, blocks that come from
// the pool's chunks and ones that don't, and more depth than a walk keeps in place.
std::string SampleText(int many = 150) {
    std::string text = R"({"a":1,"a longer name than fits":[true,null,-2.5,"\u00e4\n"],"deep":)";
    text += std::string(50, '[') + "7" + std::string(50, ']');
    text += R"(,"long":")" + std::string(300, 'x') + R"(","many":[)";
    for (int i = 0; i < many; ++i) {
        text += R"({"name of a member":"a text of some length"},)";
    }
    return text + R"("end"]})";
}

std::string Describe(const JsonValue& value) {
    std::string text;
    value.Dump(text);
    BsonBox packed;
    core::JsonToBson(value, packed);
    return text + core::md5::MD5String(packed.Data(), packed.Size());
}

std::string DescribeRoot(JsonDoc& document) {
    return Describe(document.Root());
}

/// A tree in a document, or on the general heap.
struct Tree {
    explicit Tree(bool isPooled)
        : value(isPooled ? document.Allocator() : JsonValue().Allocator()) {
        value.Parse(R"({"one":"a text that has a buffer of its own","two":[1,{"x":[]}]})", 0);
    }
    JsonObject& Object() { return value.AsObject(); }
    JsonArray& Array() { return Object()["two"].AsArray(); }

    JsonDoc document;
    JsonValue value;
};

TEST(JsonWithoutMemory, WhatIsReadIsThereAsAWholeOrNotAtAll) {
    const std::string text = SampleText();
    const support::ScratchDirectory scratch;
    const std::string path = scratch.Write("sample.json", text);
    const auto make = [] {
        auto document = std::make_unique<JsonDoc>();
        document->Parse(R"(["before"])");
        return document;
    };
    // A root that is read into is cleared first.
    TryEachFailure(
        "parse", make, [&](JsonDoc& d) { d.Parse(text.c_str()); }, DescribeRoot, After::Usable);
    TryEachFailure(
        "parse a file", make, [&](JsonDoc& d) { d.ParseFile(path.c_str()); }, DescribeRoot,
        After::Usable);
    JsonDoc document;
    document.Parse(text.c_str());
    BsonBox box;
    core::JsonToBson(document.Root(), box);
    TryEachFailure(
        "unpack", make, [&](JsonDoc& d) { core::BsonToJson(box, d.Root()); }, DescribeRoot,
        After::Usable);
    // Never half filled.
    for (int nth = 1;; ++nth) {
        JsonDoc into;
        const faults::FailingMemory failing(nth, faults::Shortage::FromThenOn);
        try {
            into.Parse(text.c_str());
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(into.Root().IsEmpty()) << nth;
        }
        if (!failing.HasFailed()) {
            break;
        }
    }
}

TEST(JsonWithoutMemory, WritingChangesNothingAndPackingNotEvenItsOutput) {
    const std::string text = SampleText();
    struct Output {
        JsonDoc document;
        BsonBox box;
    };
    const auto make = [&] {
        auto output = std::make_unique<Output>();
        output->document.Parse(text.c_str());
        core::JsonToBson(JsonValue(nullptr), output->box);
        return output;
    };
    const auto describe = [](Output& output) {
        return Describe(output.document.Root()) +
               core::md5::MD5String(output.box.Data(), output.box.Size());
    };
    using Row = std::pair<const char*, std::function<void(Output&)>>;
    const std::vector<Row> rows = {
        {"dump",
         [](Output& o) {
             std::string written;
             o.document.Dump(written);
         }},
        {"pretty dump",
         [](Output& o) {
             std::string written;
             o.document.PrettyDump(written);
         }},
        {"pack", [](Output& o) { core::JsonToBson(o.document.Root(), o.box); }},
        {"copy a box",
         [](Output& o) {
             const BsonBox copy(o.box);
             BsonBox other;
             other = copy;
         }},
        {"view",
         [](Output& o) {
             JsonObject& object = o.document.Root().AsObject();
             core::JsonObjectView view(object);
             core::JsonArrayAccessor accessor(object["many"].AsArray());
             view.View(object);
             accessor.Access(object["many"].AsArray());
         }},
        {"text of a value",
         [](Output& o) {
             std::string copy;
             o.document.Root().AsObject()["long"].Get(copy);
         }},
    };
    for (const Row& row : rows) {
        TryEachFailure(row.first, make, row.second, describe);
    }
}

TEST(JsonWithoutMemory, EditsHappenAsAWholeOrNotAtAll) {
    JsonDoc other;
    other.Parse(SampleText(2).c_str());
    const JsonValue& source = other.Root();
    const std::string longText(40, 'y');
    using Row = std::pair<const char*, std::function<void(Tree&)>>;
    const std::vector<Row> rows = {
        {"a member is added", [&](Tree& t) { t.Object().Add("a name with a buffer", source); }},
        {"a null member is made", [&](Tree& t) { t.Object()[longText]; }},
        {"an array is added", [](Tree& t) { t.Object().AddArray("a name with a buffer"); }},
        {"an object is added", [](Tree& t) { t.Array().AddObject(); }},
        {"an element is added", [&](Tree& t) { t.Array().Add(source); }},
        {"elements are added", [](Tree& t) { t.Array().Resize(40); }},
        {"a tree is assigned", [&](Tree& t) { t.value = source; }},
        {"a tree is assigned below", [&](Tree& t) { t.Array()[0] = source; }},
        {"a part is assigned to the whole", [](Tree& t) { t.value = JsonValue(t.Array()[1]); }},
        {"an array is assigned",
         [&](Tree& t) { t.Array() = source.AsObject().Find("many")->AsArray(); }},
        {"a text becomes longer", [&](Tree& t) { t.Array()[0].Set(longText); }},
        {"a container becomes a text", [&](Tree& t) { t.value.Set(longText.c_str(), -1); }},
        {"a text becomes an object", [](Tree& t) { t.Object()["one"].MakeEmptyObject(); }},
        {"a member is moved between allocators",
         [](Tree& t) {
             JsonValue elsewhere;
             elsewhere = t.value;
             t.value = std::move(elsewhere);
         }},
        {"a copy is made", [](Tree& t) { const JsonValue copy(t.value); }},
    };
    for (const bool isPooled : {false, true}) {
        for (const Row& row : rows) {
            TryEachFailure(
                row.first, [=] { return std::make_unique<Tree>(isPooled); }, row.second,
                [](Tree& t) { return Describe(t.value); });
        }
    }
    // A text that gets a longer one, and a name, are emptied first.
    TryEachFailure(
        "texts and names", [] { return std::make_unique<Tree>(false); },
        [](Tree& t) {
            t.Object().First()->SetName(std::string(100, 'n'));
            t.Object().First()->Set(std::string(100, 't'));
        },
        [](Tree& t) { return Describe(t.value); }, After::Usable);
}

// Which bytes are there is known, so that a writer can go on.
TEST(PackedWithoutMemory, AWriteThatFailsLeavesThePackerAsItWas) {
    const auto pack = [](core::BsonPacker& packer, int i) {
        packer << core::BsonMapSize(1) << std::string(static_cast<std::size_t>(i), 'k') << i;
    };
    const auto make = [&] {
        auto packer = std::make_unique<core::BsonPacker>();
        pack(*packer, 3);
        return packer;
    };
    const auto describe = [](core::BsonPacker& packer) {
        core::BsonBox box = packer.Take();
        core::BsonPacker again;
        core::BsonUnpacker unpacker(box);
        std::string text = core::md5::MD5String(box.Data(), box.Size());
        while (const core::BsonItem* const item = unpacker.GetNextItem()) {
            text += std::to_string(item->Kind());
        }
        return text;
    };
    TryEachFailure(
        "a long text", make, [](core::BsonPacker& p) { p << std::string(10'000, 'x'); },
        // Taking the bytes out of a packer leaves it empty.
        [&](core::BsonPacker& p) {
            core::BsonPacker copy(p);
            return describe(copy);
        });
    const std::string bytes = "\xD9\x40" + std::string(64, 'z') + "\xC0";
    const BsonBox box(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    TryEachFailure(
        "a text is read", [&] { return std::make_unique<core::BsonUnpacker>(box); },
        [](core::BsonUnpacker& u) {
            u.Rewind();
            u.GetNextItem();
        },
        [](core::BsonUnpacker& u) {
            u.Rewind();
            const core::BsonItem* const item = u.GetNextItem();
            std::string text;
            return item != nullptr && item->Get(text) ? text : "none";
        },
        After::Usable);
}

TEST(FoundationWithoutMemory, ConversionsSayNoAndKeepTheirOutput) {
    struct Texts {
        std::string narrow = "before, in a buffer of its own";
        std::wstring wide = L"before, in a buffer of its own";
        bool isDone = true;
    };
    const auto describe = [](Texts& texts) {
        return texts.narrow + std::string(texts.wide.begin(), texts.wide.end()) +
               (texts.isDone ? "" : " refused");
    };
    const std::string utf8 = "some text that is long enough for a buffer";
    const std::wstring wide(utf8.begin(), utf8.end());
    using Row = std::pair<const char*, std::function<bool(Texts&)>>;
    const std::vector<Row> rows = {
        {"UTF-8 to wide",
         [&](Texts& t) { return core::ZYLCore_UTF8_Unicode(utf8.c_str(), t.wide); }},
        {"OEM to wide", [&](Texts& t) { return core::ZYLCore_Oem_Unicode(utf8.c_str(), t.wide); }},
        {"wide to UTF-8",
         [&](Texts& t) { return core::ZYLCore_Unicode_Uft8(wide.c_str(), t.narrow); }},
        {"wide to OEM",
         [&](Texts& t) { return core::ZYLCore_Unicode_Oem(wide.c_str(), t.narrow); }},
        {"UTF-8 to ANSI", [&](Texts& t) { return core::UTF8_STRING(utf8.c_str(), t.narrow); }},
    };
    for (const Row& row : rows) {
        for (int nth = 1;; ++nth) {
            Texts texts;
            const std::string before = describe(texts);
            bool isDone = false;
            bool hasFailed = false;
            {
                const faults::FailingMemory failing(nth, faults::Shortage::FromThenOn);
                isDone = row.second(texts);
                hasFailed = failing.HasFailed();
            }
            EXPECT_EQ(isDone, before != describe(texts)) << row.first << nth;
            EXPECT_TRUE(isDone || hasFailed) << row.first << nth;
            if (!hasFailed) {
                EXPECT_LT(1, nth) << row.first;
                break;
            }
            EXPECT_FALSE(isDone) << row.first << nth;
        }
    }
}

TEST(FoundationWithoutMemory, TheRestThrowsOrDoesWithout) {
    struct Nothing {};
    const core::Uuid uuid = core::MakeUuid();
    using Row = std::pair<const char*, std::function<void()>>;
    const std::vector<Row> rows = {
        {"identifier", [&] { uuid.GetUidString(); }},
        {"digest", [] { core::md5::MD5String("a", 1); }},
        {"time", [] { core::TimeUtil::now("%Y of a format that is rather long %s %s"); }},
        {"program", [] { core::getExecutablePath(); }},
    };
    for (const Row& row : rows) {
        TryEachFailure(
            row.first, [] { return std::make_unique<Nothing>(); }, [&](Nothing&) { row.second(); },
            [](Nothing&) { return std::string(); });
    }
    const std::string path = "file:/" + core::getExecutablePath();
    const faults::FailingMemory failing(1, faults::Shortage::FromThenOn);
    core::TimeSpan span;
    span.start();
    EXPECT_EQ(nullptr, span.end());
    EXPECT_EQ(0, span.timeSpan());
    // Can't be asked.
    // Where it takes memory to ask, nothing is found.
    core::IsFileExist(path);
}

}  // namespace
