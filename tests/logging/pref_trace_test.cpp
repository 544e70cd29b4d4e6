#include <core/data/json_doc.h>
#include <core/logging/log.h>
#include <core/logging/pref_trace.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <regex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/barrier.h"
#include "support/logged.h"
#include "support/scratch_directory.h"

// The recorder belongs to the process and forgets nothing: every test gives its events
// names of its own.

namespace {

using core::TraceEvent;
using core::TraceProperty;
using core::TraceStatistic;
using support::ScratchDirectory;
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

/// What `action` logs, without the lines of the source.
Lines Logged(const std::function<void()>& action) {
    CoreLogSetLogLevelByModule("ZYL", CORE_LOG_TRACKING);
    Lines lines = support::Logged(action);
    CoreLogSetLogLevelByModule("ZYL", CORE_LOG_ERROR);
    static const std::regex kSourceLine("\\[\\d+\\]$");
    for (std::string& line : lines) {
        line = std::regex_replace(line, kSourceLine, "");
    }
    return lines;
}

class PrefTrace : public testing::Test {
protected:
    /// The properties of all events of a name, as they stand in the file after a flush.
    Lines Written(const std::string& name) {
        EXPECT_EQ(0, InitPrefTraceFile(Path().c_str()));
        FlushPrefTraceFile();
        const std::string text = scratch.Read("trace.json");
        core::JsonDoc document;
        EXPECT_EQ(text.size(), static_cast<std::size_t>(document.Parse(text.c_str())));
        Lines lines;
        for (const core::JsonElem& event : document.Root().AsObject()["Events"].AsArray()) {
            if (event.AsObject().Find("EventName")->AsString() == name) {
                EXPECT_EQ(2, event.AsObject().Count());
                event.AsObject().Find("EventProperties")->AsObject().Dump(lines.emplace_back());
            }
        }
        return lines;
    }
    std::string Path() const { return scratch.Path("trace.json"); }

    ScratchDirectory scratch;
};

// First, while no path is set: each test runs in a process of its own, or in this order.
TEST_F(PrefTrace, AFlushWithoutAFileSaysThatThereIsNone) {
    EXPECT_THAT(Logged(FlushPrefTraceFile),
                ElementsAre("[Error][analytics]FlushPrefTraceFile failed, file can't open."
                            "[FlushPrefTraceFile]"));
}

TEST_F(PrefTrace, APathIsTriedAndOnlyThenTaken) {
    EXPECT_THAT(Logged([] { EXPECT_EQ(1, InitPrefTraceFile(nullptr)); }), IsEmpty());
    const std::string path = scratch.Write("trace.json", "before");
    EXPECT_THAT(
        Logged([&] { EXPECT_EQ(0, InitPrefTraceFile(path.c_str())); }),
        ElementsAre("[Info][analytics]InitPrefTraceFile path: " + path + "[InitPrefTraceFile]"));
    EXPECT_EQ("", scratch.Read("trace.json"));

    const std::string missing = scratch.Path("no such directory/trace.json");
    for (const std::string& wrong : {missing, scratch.Path(), std::string()}) {
        EXPECT_THAT(Logged([&] { EXPECT_EQ(1, InitPrefTraceFile(wrong.c_str())); }),
                    ElementsAre("[Error][analytics]InitPrefTraceFile invalid path: " + wrong +
                                "[InitPrefTraceFile]"));
    }
    EXPECT_THAT(Logged(FlushPrefTraceFile),
                ElementsAre("[Info][analytics]FlushPrefTraceFile finished.[FlushPrefTraceFile]"));
    const std::string text = scratch.Read("trace.json");
    EXPECT_EQ("{\"Events\": [", text.substr(0, 12));
    EXPECT_EQ("]}", text.substr(text.size() - 2));
}

TEST_F(PrefTrace, EachVariadicArgumentIsReadInItsOwnType) {
    EXPECT_THAT(Logged([] {
                    AddPrefTrace("variadic", "d1", CORE_TRACE_DOUBLE, 1.5, "i", CORE_TRACE_INT32,
                                 -7, "l", CORE_TRACE_INT64,
                                 std::numeric_limits<std::int64_t>::min(), "t", CORE_TRACE_TEXT,
                                 "a\"b", "d2", CORE_TRACE_DOUBLE, 1e-7, "d3", CORE_TRACE_DOUBLE,
                                 1e20, "m", CORE_TRACE_INT32,
                                 std::numeric_limits<std::int32_t>::min(), "n", CORE_TRACE_TEXT,
                                 static_cast<const char*>(nullptr), nullptr);
                }),
                ElementsAre("[Tracking][analytics]Event:variadic,d1:1.500000,i:-7,"
                            "l:-9223372036854775808,t:a\"b,d2:0.000000,"
                            "d3:100000000000000000000.000000,m:-2147483648,n:[AddPrefTrace]"));
    EXPECT_THAT(Written("variadic"),
                ElementsAre("{\"d1\": 1.5,\"i\": -7,\"l\": -9223372036854775808,"
                            "\"t\": \"a\\\"b\",\"d2\": 0.00000010,"
                            "\"d3\": 100000000000000000000.0,\"m\": -2147483648,\"n\": null}"));
}

TEST_F(PrefTrace, TheTypedWayRecordsWhatTheVariadicOneDoes) {
    const std::string text = "text";
    AddPrefTrace("typed", "t", CORE_TRACE_TEXT, "text", "d", CORE_TRACE_DOUBLE, 0.5, "f",
                 CORE_TRACE_DOUBLE, 0.25, "l", CORE_TRACE_INT64, std::int64_t{1} << 40, "i",
                 CORE_TRACE_INT32, -1, "u", CORE_TRACE_INT64, std::int64_t{4294967295}, "t",
                 CORE_TRACE_TEXT, "again", nullptr);
    TraceEvent("typed", {{"t", text},
                         {"d", 0.5},
                         {"f", 0.25F},
                         {"l", std::int64_t{1} << 40},
                         {"i", -1},
                         {"u", 4294967295U},
                         {nullptr, 5},
                         {"t", "again"}});
    const Lines written = Written("typed");
    ASSERT_EQ(2U, written.size());
    EXPECT_EQ(written[0], written[1]);
    EXPECT_EQ(
        "{\"t\": \"text\",\"d\": 0.5,\"f\": 0.25000000,\"l\": 1099511627776,\"i\": -1,"
        "\"u\": 4294967295,\"t\": \"again\"}",
        written[0]);

    TraceEvent("alone");
    AddPrefTrace("alone", nullptr);
    EXPECT_THAT(Written("alone"), ElementsAre("{}", "{}"));

    // What has no type in the trace does not compile.
    static_assert(!std::is_constructible_v<TraceProperty, const char*, void*>);
    static_assert(!std::is_constructible_v<TraceProperty, const char*, const TraceProperty*>);
}

TEST_F(PrefTrace, AnUnknownTypeDropsTheRecordAndANullNameDoesNothing) {
    const std::string refused = "[Warn][analytics]AddPrefTrace has invalid param.";
    EXPECT_THAT(Logged([] {
                    AddPrefTrace("unknown", "a", CORE_TRACE_INT32, 1, "b", INT64_C(4), 5, nullptr);
                    AddPrefTrace("unknown", "a", INT64_C(-1), nullptr);
                    AddPrefTrace("unknown", "a", INT64_C(0x100000001), 1.0, nullptr);
                    AddStatisticPrefTrace("unknown", "k", 1.0, "a", INT64_C(9), nullptr);
                }),
                ElementsAre(refused + "[AddPrefTrace]", refused + "[AddPrefTrace]",
                            refused + "[AddPrefTrace]", refused + "[AddStatisticPrefTrace]"));
    EXPECT_THAT(Logged([] {
                    AddPrefTrace(nullptr, "a", CORE_TRACE_INT32, 1, nullptr);
                    AddStatisticPrefTrace(nullptr, "k", 1.0, nullptr);
                    TraceEvent(nullptr, {{"a", 1}});
                    TraceStatistic(nullptr, "k", 1.0);
                }),
                IsEmpty());
    EXPECT_THAT(Written("unknown"), IsEmpty());
}

TEST_F(PrefTrace, AnEventHasStatisticsUnderSeveralKeys) {
    EXPECT_THAT(Logged([] {
                    AddStatisticPrefTrace("statistics", "ms", 3.0, "p", CORE_TRACE_INT32, 1, "q",
                                          CORE_TRACE_TEXT, "q", nullptr);
                    TraceStatistic("statistics", "fps", 25.0);
                }),
                ElementsAre("[Tracking][analytics]StatisticEvent:statistics[AddStatisticPrefTrace]",
                            "[Tracking][analytics]StatisticEvent:statistics[TraceStatistic]"));
    TraceStatistic("statistics", "ms", 1.0, {{"r", true}, {"p", "later"}});
    AddStatisticPrefTrace("statistics", "ms", 2.0, nullptr);
    AddStatisticPrefTrace("statistics", nullptr, -1.0, nullptr);
    const std::string first =
        "{\"ms_min\": 1.0,\"ms_max\": 3.0,\"ms_avg\": 2.0,\"ms_cnt\": 3,"
        "\"fps_min\": 25.0,\"fps_max\": 25.0,\"fps_avg\": 25.0,\"fps_cnt\": 1,"
        "\"_min\": -1.0,\"_max\": -1.0,\"_avg\": -1.0,\"_cnt\": 1,"
        "\"p\": \"later\",\"q\": \"q\",\"r\": 1}";
    EXPECT_THAT(Written("statistics"), ElementsAre(first));
    // A flush keeps the records.
    EXPECT_THAT(Written("statistics"), ElementsAre(first));
}

TEST_F(PrefTrace, NumbersThatAreNoneLeaveTheFileReadable) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    TraceEvent("not finite", {{"a", nan}, {"b", -infinity}});
    TraceStatistic("not finite", "k", 1.0);
    TraceStatistic("not finite", "k", -infinity);
    EXPECT_THAT(Written("not finite"),
                ElementsAre("{\"a\": null,\"b\": null}",
                            "{\"k_min\": null,\"k_max\": 1.0,\"k_avg\": null,\"k_cnt\": 2}"));
}

TEST_F(PrefTrace, AFailedFlushLosesNoRecord) {
    const auto directory = support::PathOf(scratch.Path("gone"));
    std::filesystem::create_directory(directory);
    ASSERT_EQ(0, InitPrefTraceFile(scratch.Path("gone/trace.json").c_str()));
    TraceEvent("kept");
    std::filesystem::remove_all(directory);
    EXPECT_THAT(Logged(FlushPrefTraceFile),
                ElementsAre("[Error][analytics]FlushPrefTraceFile failed, file can't open."
                            "[FlushPrefTraceFile]"));
    // A disk that is always full, where the system has one.
    if (std::filesystem::exists("/dev/full")) {
        ASSERT_EQ(0, InitPrefTraceFile("/dev/full"));
        EXPECT_THAT(
            Logged(FlushPrefTraceFile),
            ElementsAre("[Error][analytics]FlushPrefTraceFile failed, file can't be written."
                        "[FlushPrefTraceFile]"));
    }
    EXPECT_THAT(Written("kept"), ElementsAre("{}"));
}

using PrefTraceThreads = PrefTrace;

TEST_F(PrefTraceThreads, RecordAndFlushAtOnce) {
    constexpr int kThreads = 8;
    constexpr int kEvents = 200;
    ASSERT_EQ(0, InitPrefTraceFile(Path().c_str()));
    Barrier start(kThreads + 1);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            const std::string name = "thread " + std::to_string(t);
            start.ArriveAndWait();
            for (int i = 0; i < kEvents; ++i) {
                TraceEvent(name.c_str(), {{"i", i}});
                AddStatisticPrefTrace("threads", name.c_str(), i, nullptr);
            }
        });
    }
    start.ArriveAndWait();
    for (int i = 0; i < 20; ++i) {
        FlushPrefTraceFile();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    Lines expected;
    for (int i = 0; i < kEvents; ++i) {
        expected.push_back("{\"i\": " + std::to_string(i) + "}");
    }
    const Lines statistics = Written("threads");
    ASSERT_EQ(1U, statistics.size());
    for (int t = 0; t < kThreads; ++t) {
        const std::string of = "thread " + std::to_string(t);
        EXPECT_EQ(expected, Written(of));
        EXPECT_THAT(statistics[0],
                    testing::HasSubstr("\"" + of + "_min\": 0.0,\"" + of + "_max\": 199.0,\"" + of +
                                       "_avg\": 99.5,\"" + of + "_cnt\": 200"));
    }
}

}  // namespace
