#include <core/data/json_doc.h>
#include <core/data/json_parse.h>
#include <core/data/json_pointer.h>
#include <core/foundation/thread_name.h>
#include <core/logging/timeline.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/allocations.h"
#include "support/barrier.h"
#include "support/scratch_directory.h"

namespace {

using core::ValueByPointerOr;
using support::ScratchDirectory;

class Timeline : public testing::Test {
protected:
    void Start(std::uint64_t bytes = 0) {
        ASSERT_EQ(0, CoreTimelineStart(scratch.Path("t.json").c_str(), bytes));
    }
    /// The records but for those about the process; each must have what the format asks for.
    const core::JsonArray& Records(const std::string& end = "") {
        const std::string text = scratch.Read("t.json") + end;
        const auto result = core::ParseJson(text.c_str(), doc.Root());
        EXPECT_TRUE(result) << result.Message();
        for (const core::JsonElem& record : doc.Root().AsArray()) {
            const std::string phase = ValueByPointerOr(record, "/ph", "");
            EXPECT_NE("", phase);
            EXPECT_GT(ValueByPointerOr(record, "/pid", 0), 0);
            if (phase != "M") {
                EXPECT_GT(ValueByPointerOr(record, "/tid", 0), 0);
                EXPECT_GT(ValueByPointerOr(record, "/ts", 0.0), 0.0);
                EXPECT_EQ(phase == "X", ValueByPointerOr(record, "/dur", -1.0) >= 0);
                EXPECT_EQ(phase == "i", std::string(ValueByPointerOr(record, "/s", "")) == "t");
                EXPECT_EQ(phase == "f", std::string(ValueByPointerOr(record, "/bp", "")) == "e");
                const bool hasId = std::string("bnestf").find(phase) != std::string::npos;
                EXPECT_EQ(hasId, std::string(ValueByPointerOr(record, "/id", "")) == "7");
            }
        }
        return doc.Root().AsArray();
    }

    ScratchDirectory scratch;
    core::JsonDoc doc;
};

TEST_F(Timeline, HoldsWhatEachThreadRecorded) {
    constexpr int kThreads = 8;
    constexpr int kScopes = 500;
    Start(1 << 20);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            core::SetThreadName(t % 2 == 0 ? "even" : "");
            for (int i = 0; i < kScopes; ++i) {
                i == 9 ? core::SetThreadName("renamed") : void();
                CORE_TIMELINE_SCOPE("outer");
                CORE_TIMELINE_SCOPE_WITH("inner", {{"i", i}, {"text", "a\"\n\xff"}});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0u, CoreTimelineStop());
    struct Seen {
        std::string name;
        int inner = 0;
        double innerBegin = 0;
        double innerEnd = 0;
        int outer = 0;
    };
    std::map<int, Seen> seen;
    for (const core::JsonElem& record : Records()) {
        const std::string name = ValueByPointerOr(record, "/name", "");
        const double begin = ValueByPointerOr(record, "/ts", 0.0);
        const double end = begin + ValueByPointerOr(record, "/dur", 0.0);
        Seen& of = seen[ValueByPointerOr(record, "/tid", 0)];
        if (name == "thread_name") {
            of.name += ValueByPointerOr(record, "/args/name", "");
            EXPECT_EQ(of.name == "even" ? 0 : 9, of.inner);
        } else if (name == "inner") {
            EXPECT_EQ(of.inner++, ValueByPointerOr(record, "/args/i", -1));
            EXPECT_EQ("a\"\n\xEF\xBF\xBD", ValueByPointerOr(record, "/args/text", ""));
            of.innerBegin = begin;
            of.innerEnd = end;
        } else if (name == "outer") {
            ++of.outer;
            EXPECT_LE(begin, of.innerBegin);
            EXPECT_GE(end + 1e-3, of.innerEnd);
        }
    }
    int whole = 0;
    for (const auto& [id, of] : seen) {
        whole += of.inner == kScopes && of.outer == kScopes &&
                         (of.name == "renamed" || of.name == "evenrenamed")
                     ? 1
                     : 0;
    }
    EXPECT_EQ(kThreads, whole);
}

TEST_F(Timeline, KnowsEveryKindOfRecord) {
    Start();
    RefuseAllocationsAbove(256 << 10);  // the usual size of a ring
    for (const char phase : std::string("iBEbnestf?")) {
        CoreTimelineRecord(phase, phase == 'i' ? nullptr : "kind", 7);
    }
    RefuseAllocationsAbove(SIZE_MAX);
    CoreTimelineCounter(nullptr, 1);
    CoreTimelineCounter("count", 0.1);
    CoreTimelineCounter("count", NAN);
    core::RecordTimelineSpan(nullptr, 1);
    core::RecordTimelineSpan("begun", 1'234'567);
    core::RecordTimelineSpan("late", core::TimelineClock() + 1'000'000'000'000);
    const double now = static_cast<double>(core::TimelineClock()) / 1000;
    const auto nothing = CoreTimelineStop();
    CoreTimelineRecord('i', "too late", 0);
    CoreTimelineCounter("too late", 0);
    EXPECT_EQ(0u, nothing);
    std::string phases;
    for (const core::JsonElem& record : Records()) {
        phases += ValueByPointerOr(record, "/ph", "");
        if (phases == "M") {
            EXPECT_EQ(0u,
                      std::string(ValueByPointerOr(record, "/args/name", "")).find("core_tests"));
        } else if (phases.back() == 'C') {
            const bool isFirst = phases.find('C') + 1 == phases.size();
            EXPECT_EQ(isFirst, ValueByPointerOr(record, "/args/value", -1.0) == 0.1);
        }
        if (std::string(ValueByPointerOr(record, "/name", "")) == "begun") {
            EXPECT_EQ(1234.567, ValueByPointerOr(record, "/ts", 0.0));
            EXPECT_NEAR(now - 1234.567, ValueByPointerOr(record, "/dur", 0.0), 60e6);
        } else if (std::string(ValueByPointerOr(record, "/name", "")) == "late") {
            EXPECT_EQ(0, ValueByPointerOr(record, "/dur", -1.0));
        }
    }
    EXPECT_EQ("MBEbnestfCCXX", phases);
}

TEST_F(Timeline, ARecordHasEightPropertiesOfAnyLength) {
    Start(1 << 20);
    const auto text = [](int i) { return std::string(static_cast<std::size_t>(i), 'x'); };
    for (int i = 0; i < 300; ++i) {
        const std::string one = text(i);
        const std::string two = one + "\u0144";
        const std::string none(static_cast<std::size_t>(256 + i), '\x80');
        core::RecordTimeline(CORE_TIMELINE_INSTANT, "sized", 0,
                             {{"a", one},
                              {"b", -i},
                              {"c", two},
                              {"d", 0.5 * i},
                              {nullptr, one},
                              {"e", none},
                              {"f", one},
                              {"g", one},
                              {"h", static_cast<const char*>(nullptr)},
                              {"too many", i}});
    }
    EXPECT_EQ(0u, CoreTimelineStop());
    int i = 0;
    for (const core::JsonElem& record : Records()) {
        if (std::string(ValueByPointerOr(record, "/name", "")) == "sized") {
            std::string args;
            record.AsObject().Find("args")->AsObject().Dump(args);
            const std::string one = text(std::min(i, 255));
            const std::string real = std::to_string(i / 2) + (i % 2 == 0 ? ".0" : ".5");
            EXPECT_EQ("{\"a\": \"" + one + "\",\"b\": " + std::to_string(-i) + ",\"c\": \"" + one +
                          (i < 254 ? "\u0144" : "") + "\",\"d\": " + real +
                          ",\"e\": \"\",\"f\": \"" + one + "\",\"g\": \"" + one + "\",\"h\": null}",
                      args);
            ++i;
        }
    }
    EXPECT_EQ(300, i);
}

TEST_F(Timeline, CountsWhatItLosesAndKeepsTheRest) {
    constexpr int kRecords = 200'000;
    Start(1);
    for (int i = 0; i < kRecords; ++i) {
        core::RecordTimelineSpan("s", core::TimelineClock());
    }
    const auto lost = static_cast<int>(CoreTimelineStop());
    int kept = 0;
    int told = 0;
    for (const core::JsonElem& record : Records()) {
        kept += std::string(ValueByPointerOr(record, "/ph", "")) == "X" ? 1 : 0;
        told += ValueByPointerOr(record, "/args/count", 0);
    }
    EXPECT_GT(lost, 0);
    EXPECT_EQ(lost, told);
    EXPECT_EQ(kRecords, kept + lost);
    // A disk that is always full, where the system has one.
    if (std::filesystem::exists("/dev/full")) {
        ASSERT_EQ(0, CoreTimelineStart("/dev/full", 0));
        CoreTimelineRecord('i', "nowhere", 0);
        EXPECT_EQ(1u, CoreTimelineStop());
    }
}

TEST_F(Timeline, OfACrashCanBeOpened) {
    Start();
    core::RecordTimeline(CORE_TIMELINE_INSTANT, "before");
    for (int i = 0; i < 1000 && scratch.Read("t.json").find("before") == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    // What is there lacks the bracket alone.
    EXPECT_EQ(2, Records("]").Count());
    CoreTimelineStop();
    EXPECT_EQ(2, Records().Count());
}

TEST_F(Timeline, BeginsAndEndsWhileOthersRecord) {
    EXPECT_EQ(1, CoreTimelineStart(nullptr, 0));
    EXPECT_EQ(1, CoreTimelineStart(scratch.Path("no/such/folder").c_str(), 0));
    EXPECT_EQ(0u, CoreTimelineStop());
    std::atomic<bool> isOver = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            while (!isOver) {
                CORE_TIMELINE_SCOPE("busy");
                std::thread([] { CORE_TIMELINE_SCOPE("short"); }).join();
            }
        });
    }
    for (int i = 0; i < 30; ++i) {
        Start();
        core::RecordTimeline(CORE_TIMELINE_INSTANT, "mine");
        if (i % 3 != 0) {  // the others end with the next one's begin
            CoreTimelineStop();
            int mine = 0;
            for (const core::JsonElem& record : Records()) {
                mine += std::string(ValueByPointerOr(record, "/name", "")) == "mine" ? 1 : 0;
            }
            EXPECT_EQ(1, mine);
        }
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    CoreTimelineStop();
}

}  // namespace
