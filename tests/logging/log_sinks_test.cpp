// Sinks of the caller's, macros, fields and counters, as a caller has them.

#include <core/foundation/thread_name.h>
#include <core/foundation/time_util.h>
#include <core/logging/log.h>
#include <core/logging/log_counters.h>
#include <core/logging/log_fields.h>
#include <core/logging/log_files.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>
#include <core/logging/log_macros.h>
#include <core/logging/log_sink.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <limits>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/event.h"
#include "support/scratch_directory.h"

namespace {

using support::ScratchDirectory;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

/// Makes a module that is heard of nowhere but where the test looks.
void MakeModule(const char* name, int level, unsigned sinks = 0) {
    testing::internal::CaptureStdout();
    CoreLogSetLogSinkByModule(name, sinks);
    CoreLogSetLogLevelByModule(name, level);
    testing::internal::GetCapturedStdout();
}

/// Collects lines while it lives.
class Collector {
public:
    explicit Collector(int level, const char* pattern = "%s|%t|%m|%f")
        : id(CoreLogAddSink(Take, this, level, pattern)) {}
    ~Collector() { CoreLogRemoveSink(id); }
    Lines lines;
    /// Of the last line: its texts and its numbers.
    std::string fields;
    std::uint64_t threadId = 0;
    std::int64_t time100ns = 0;

private:
    static void Take(void* context, const CoreLogLine* line) {
        EXPECT_EQ(0, line->text[line->textSize]);
        EXPECT_EQ(0, line->message[line->messageSize]);
        Collector& to = *static_cast<Collector*>(context);
        to.lines.emplace_back(line->text);
        to.fields = std::to_string(line->level) + "|" + std::to_string(line->line);
        for (const char* const text : {line->levelName, line->module, line->tag, line->file,
                                       line->function, line->threadName, line->message}) {
            to.fields += std::string("|") + (text != nullptr ? text : "none");
        }
        to.threadId = line->threadId;
        to.time100ns = line->time100ns;
    }
    int id;
};

Lines LinesIn(const ScratchDirectory& scratch) {
    // Other tests have removed their directories: not all is where it should be.
    CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, -1);
    return scratch.Lines();
}

TEST(LogSink, HasALevelAndAPatternOfItsOwn) {
    MakeModule("sunk", CORE_LOG_ERROR);
    const Collector all(CORE_LOG_DEBUG);
    const Collector some(CORE_LOG_WARN, "%m");
    const Collector usual(CORE_LOG_FATAL, nullptr);
    for (int level = CORE_LOG_VERBOSE; level <= CORE_LOG_OFF; level += 3) {
        CoreLogPrintLog("sunk", level, "t", "a.cpp", "f", -1, "at %d", level);
    }
    CoreLogPrintLog("sunk", CORE_LOG_FATAL, "t", nullptr, nullptr, -1, "end");
    EXPECT_THAT(all.lines, ElementsAre("Tracking|t|at 3|f", "Error|t|at 6|f", "Fatal|t|end|"));
    EXPECT_THAT(some.lines, ElementsAre("at 6", "end"));
    ASSERT_EQ(1u, usual.lines.size());
    EXPECT_TRUE(std::regex_match(usual.lines[0], std::regex(R"(\[Fatal\]\[\d+\]\[.*\]\[t\]end)")));
    EXPECT_EQ("7|-1|Fatal|sunk|t|none|none||end", all.fields);
    EXPECT_EQ(0, CoreLogAddSink(nullptr, nullptr, 0, nullptr));
    EXPECT_EQ(1, CoreLogRemoveSink(12345));
    const Collector named(CORE_LOG_ERROR, "%i %d");
    std::thread([] {
        core::SetThreadName("named");
        CoreLogPrintLog("sunk", CORE_LOG_ERROR, "t", "a.cpp", "Run", 5, "said");
    }).join();
    EXPECT_EQ("6|5|Error|sunk|t|a.cpp|Run|named|said", named.fields);
    const auto time = named.time100ns / 10'000;
    const std::regex thatOne(std::to_string(named.threadId) +
                             R"( \d{4}(-\d\d){2} \d\d(:\d\d){2}\.)" +
                             std::to_string(1000 + time % 1000).substr(1) + R"(T[-+]\d{4})");
    EXPECT_TRUE(std::regex_match(named.lines.at(0), thatOne)) << named.lines.at(0);
    EXPECT_NEAR(static_cast<double>(core::TimeUtil::nowSinceEpoch()), static_cast<double>(time),
                6e5);
}

TEST(LogSink, MayThrowLogAndWait) {
    MakeModule("sunk", CORE_LOG_ERROR);
    const int thrower = CoreLogAddSink(
        [](void*, const CoreLogLine*) { throw std::runtime_error("no"); }, nullptr, 6, nullptr);
    const int logger = CoreLogAddSink(
        [](void*, const CoreLogLine* line) {
            CoreLogPrintLog("sunk", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "%s", line->text);
        },
        nullptr, 6, nullptr);
    // One that waits for another thread, which logs.
    const int waiter = CoreLogAddSink(
        [](void*, const CoreLogLine* line) {
            if (std::string(line->message) == "wait") {
                std::thread([] {
                    CoreLogPrintLog("sunk", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "other");
                }).join();
            }
        },
        nullptr, 6, nullptr);
    static int once = 0;
    once = CoreLogAddSink([](void*, const CoreLogLine*) { EXPECT_EQ(0, CoreLogRemoveSink(once)); },
                          nullptr, 6, "");
    const Collector last(CORE_LOG_ERROR, "%m");
    CoreLogPrintLog("sunk", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "wait");
    EXPECT_EQ(1, CoreLogRemoveSink(once));
    EXPECT_THAT(last.lines, ElementsAre("other", "wait"));
    for (const int id : {thrower, logger, waiter}) {
        EXPECT_EQ(0, CoreLogRemoveSink(id));
    }
}

// The log's own thread comes to a sink with what there is to tell of a file's prefix.
TEST(LogSink, MayHoldUpTheLogsThreadAndFlushThere) {
    const ScratchDirectory scratch;
    MakeModule("held(", CORE_LOG_ERROR, CORE_LOG_FILE);
    CoreLogSetFilePath("held(", scratch.Path().c_str(), 0, 3);
    struct Context {
        support::Event isIn;
        support::Event mayGo;
        int answer = CORE_LOG_TIMED_OUT;
    } context;
    const int id = CoreLogAddSink(
        [](void* at, const CoreLogLine* line) {
            if (std::string(line->message).find("held(") != std::string::npos) {
                static_cast<Context*>(at)->isIn.Set();
                static_cast<Context*>(at)->mayGo.Wait();
                static_cast<Context*>(at)->answer = CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, -1);
            }
        },
        &context, CORE_LOG_WARN, nullptr);
    CoreLogFlush();
    context.isIn.Wait();
    EXPECT_EQ(CORE_LOG_TIMED_OUT, CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, 1));
    const std::string filling(70'000, '.');
    for (const int policy : {CORE_LOG_WAIT, CORE_LOG_DROP_NEWEST, CORE_LOG_DROP_OLDEST}) {
        CoreLogSetFullQueue(policy, 1);
        CoreLogPrintLog("held(", 6, "t", nullptr, nullptr, policy, "%s", filling.c_str());
    }
    CoreLogSetFullQueue(CORE_LOG_WAIT, 0);
    context.mayGo.Set();
    CoreLogRemoveSink(id);
    EXPECT_NE(CORE_LOG_TIMED_OUT, context.answer);
    const Lines lines = LinesIn(scratch);
    ASSERT_EQ(2u, lines.size());
    EXPECT_THAT(lines[0], testing::EndsWith("[core]2 lines lost: the queue was full"));
    EXPECT_THAT(lines[1], testing::EndsWith(".[" + std::to_string(CORE_LOG_DROP_OLDEST) + "]"));
    CoreLogCounters counters;
    CoreLogCounters all;
    EXPECT_EQ(0, CoreLogGetCounters("held(", &counters) + CoreLogGetCounters(nullptr, &all));
    EXPECT_EQ(2u, counters.lostLines);
    EXPECT_GE(counters.longestWaitNs, 1'000'000'000u);
    EXPECT_GE(all.longestWaitNs, counters.longestWaitNs);
}

TEST(LogSink, IsLeftByAllWhenItIsRemoved) {
    MakeModule("sunk", CORE_LOG_ERROR);
    struct Context {
        std::atomic<bool> isAlive = true;
        std::atomic<int> calls = 0;
    };
    std::atomic<bool> isOver = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            while (!isOver) {
                CoreLogPrintLog("sunk", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "x");
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        Context context;
        const int id = CoreLogAddSink(
            [](void* at, const CoreLogLine*) {
                ++static_cast<Context*>(at)->calls;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                EXPECT_TRUE(static_cast<Context*>(at)->isAlive);
            },
            &context, 6, nullptr);
        while (context.calls == 0) {
            std::this_thread::yield();
        }
        EXPECT_EQ(0, CoreLogRemoveSink(id));
        context.isAlive = false;
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(LogSink, TheLastLinesFollowAnError) {
    const ScratchDirectory scratch;
    MakeModule("kept", CORE_LOG_ERROR, CORE_LOG_FILE);
    CoreLogSetFilePath("kept", scratch.Path().c_str(), 0, 3);
    MakeModule("other", CORE_LOG_OFF);
    ASSERT_EQ(0, CoreLogKeepRecent(3, CORE_LOG_ERROR));
    for (int i = 0; i < 5; ++i) {
        CoreLogPrintLog("kept", CORE_LOG_DEBUG, "t", nullptr, nullptr, -1, "%d", i);
    }
    CoreLogPrintLog("other", CORE_LOG_USER0, "u", nullptr, nullptr, -1, "else");
    CoreLogPrintLog("kept", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "now");
    CoreLogPrintLog("kept", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "again");
    CoreLogPrintLog("kept", CORE_LOG_DEBUG, "t", nullptr, nullptr, -1, "%05000d", 0);
    CoreLogDumpRecent("kept");
    EXPECT_EQ(0, CoreLogKeepRecent(0, CORE_LOG_OFF));
    CoreLogPrintLog("kept", CORE_LOG_DEBUG, "t", nullptr, nullptr, -1, "not kept");
    CoreLogDumpRecent("kept");
    Lines lines = LinesIn(scratch);
    for (std::string& line : lines) {
        line = std::regex_replace(line, std::regex(R"(\[\d+\]|\[[-0-9]+ [^\]]*\])"), "");
    }
    EXPECT_THAT(lines,
                ElementsAre("[Error][t]now", "[Debug][t]recent [kept]3", "[Debug][t]recent [kept]4",
                            "[User0][u]recent [other]else", "[Error][t]again",
                            "[Debug][t]recent [kept]" + std::string(4096, '0')));
}

TEST(LogMacros, EvaluateNothingWhileTheyAreSuppressed) {
    const Collector seen(CORE_LOG_FATAL, "%m");
    int evaluated = 0;
    const auto log = [&](int level) { CORE_LOG("macro", level, "t", "%d", ++evaluated); };
    MakeModule("macro", CORE_LOG_ERROR);
    log(CORE_LOG_WARN);
    EXPECT_EQ(0, evaluated);
    log(CORE_LOG_ERROR);
    CoreLogSetLogLevelByModule("macro", CORE_LOG_INFO);
    log(CORE_LOG_WARN);
    EXPECT_EQ(2, evaluated);
    log(CORE_LOG_FATAL);
    EXPECT_THAT(seen.lines, ElementsAre("3"));
}

TEST(LogMacros, LimitHowOftenALineComes) {
    MakeModule("macro", CORE_LOG_ERROR);
    const Collector seen(CORE_LOG_ERROR, "%m");
    for (int i = 0; i < 7; ++i) {
        CORE_LOG_ONCE("macro", CORE_LOG_ERROR, "t", "once %d", i);
        CORE_LOG_EVERY(3, "macro", CORE_LOG_ERROR, "t", "every %d", i);
    }
    EXPECT_THAT(seen.lines, ElementsAre("once 0", "every 0", "every 3", "2 such lines suppressed",
                                        "every 6", "2 such lines suppressed"));
    const Collector timed(CORE_LOG_ERROR, "%m");
    const auto log = [] { CORE_LOG_AT_MOST(2, "macro", CORE_LOG_ERROR, "t", "at most"); };
    for (int i = 0; i < 10; ++i) {
        log();
    }
    EXPECT_THAT(timed.lines, ElementsAre("at most", "at most"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1050));
    log();
    EXPECT_THAT(timed.lines,
                ElementsAre("at most", "at most", "at most", "8 such lines suppressed"));
}

#if defined(CORE_LOG_TEXT)
TEST(LogMacros, BracesTakeWhatPrintfTakes) {
    MakeModule("macro", CORE_LOG_ERROR);
    const Collector seen(CORE_LOG_ERROR, "%m");
    const std::string text = "text";
    CORE_LOG_TEXT("macro", 6, "t", "none {{}}");
    CORE_LOG_TEXT("macro", 6, "t", "{} {} {} {} {} {}", 1, -2L, 3u, 'c', true, text);
    CORE_LOG_TEXT("macro", 6, "t", "{:.3f} {:08.2f} {} {}", 0.5, -1.5, 0.1, 1e300);
    CORE_LOG_TEXT("macro", 6, "t", "{:x} {:5} {:05d} {:8}|{:.2s}", 255, -7, 42, "text", text);
    CORE_LOG_TEXT("macro", 6, "t", "{:X} {:o} {:g}|{:6}|{:6}|{:5}", 0xFF00000000, 8, 0.5, true, 'c',
                  7u);
    CORE_LOG_TEXT("macro", 6, "t", "{:600}{:.511f}", text, 0.5);
    CORE_LOG_TEXT("macro", 6, "t", "{} {} {:.2}|{:d}|{:6}", INFINITY, NAN, 0.125, ~0ULL, false);
    const void* const pointer = &text;
    CORE_LOG_TEXT("macro", 6, "t", "{} {:30}", pointer, pointer);
    char pointers[99];
    std::snprintf(pointers, sizeof pointers, "%p %30p", pointer, pointer);
    CORE_LOG_TEXT("macro", 6, "t", "{} {}", std::numeric_limits<std::int64_t>::min(),
                  std::numeric_limits<std::uint64_t>::max());
    // What no compiler has seen is not trusted.
    const core::LogValue value(1);
    for (const char* format : {"{", "}", "{}{}", "{:", "{:.3n}", "no brace", "{x}"}) {
        core::PrintLogText("macro", 6, "t", nullptr, nullptr, -1, format, &value, 1);
    }
    core::PrintLogText("macro", 6, "t", "a.cpp", "Run", 5, nullptr, &value, 1);
    EXPECT_EQ("6|5|Error|macro|t|a.cpp|Run||", seen.fields);
    EXPECT_THAT(seen.lines,
                ElementsAre("none {}", "1 -2 3 c true text", "0.500 -0001.50 0.1 1e300",
                            "ff    -7 00042     text|te", "FF00000000 10 0.5|  true|     c|    7",
                            std::string(596, ' ') + "text0.5" + std::string(510, '0'),
                            "inf nan 0.12|18446744073709551615| false", pointers,
                            "-9223372036854775808 18446744073709551615", "{", "}", "{}{}",
                            "{:", "{:.3n}", "no brace", "{x}", ""));
}
#endif

TEST(LogFields, AreMembersOfAnObjectALine) {
    const ScratchDirectory scratch;
    MakeModule("fields", CORE_LOG_ERROR, CORE_LOG_FILE);
    CoreLogSetFilePath("fields", scratch.Path().c_str(), 0, 3);
    const auto print = [] {
        core::PrintLogFields("fields", CORE_LOG_ERROR, "t",
                             {{"frame", 12},
                              {"ms", 0.5},
                              {"clip", "a \"b\""},
                              {"to", "x"},
                              {"none", static_cast<const char*>(nullptr)},
                              {nullptr, 1},
                              {"inf", INFINITY}},
                             "drawn\n%s", "{\xff");
    };
    print();
    CoreLogSetForm(CORE_LOG_JSON);
    CoreLogSetThreadNames(true);
    std::thread([&] {
        core::SetThreadName("named");
        print();
    }).join();
    print();
    CoreLogPrintLog("fields", CORE_LOG_ERROR, "t", "a.cpp", "Run", 7, "plain");
    Lines lines = LinesIn(scratch);
    CoreLogSetThreadNames(false);
    CoreLogSetForm(CORE_LOG_AS_IT_IS);
    static const std::regex kVarying(
        R"x("time":"\d{4}(-\d\d){2}T\d\d(:\d\d){2}\.\d{3}[-+]\d\d:\d\d",|("thread":)[1-9]\d*)x");
    for (std::string& line : lines) {
        line = std::regex_replace(line, kVarying, "$3");
    }
    const std::string head = R"({"level":"Error","module":"fields","tag":"t","thread":,)";
    const std::string rest =
        "\"message\":\"drawn\\n{\xEF\xBF\xBD\","
        R"("fields":{"frame":12,"ms":0.5,"clip":"a \"b\"","to":"x","none":null,"inf":null}})";
    EXPECT_THAT(
        lines,
        ElementsAre(testing::EndsWith("[t]drawn"),
                    "{\xff frame=12 ms=0.5 clip=\"a \\\"b\\\"\" to=x none=null inf=null",
                    head + R"("thread_name":"named",)" + rest, head + rest,
                    head + R"("message":"plain","function":"Run","line":7,"file":"a.cpp"})"));
}

TEST(LogCounters, CountWhatHappens) {
    const ScratchDirectory scratch;
    MakeModule("counted", CORE_LOG_ERROR, CORE_LOG_FILE);
    CoreLogSetFilePath("counted", scratch.Path().c_str(), 0, 3);
    const auto print = [](int level) {
        CoreLogPrintLog("counted", level, "t", nullptr, nullptr, -1, "x");
    };
    CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, -1);
    CoreLogCounters before;
    // So that the next line is not of the module that was last asked for.
    MakeModule("comes between", CORE_LOG_ERROR);
    EXPECT_EQ(0, CoreLogGetCounters(nullptr, &before));
    print(CORE_LOG_INFO);
    CoreLogCountSuppressed(true);
    print(CORE_LOG_INFO);
    print(CORE_LOG_ERROR);
    CoreLogAddFilterTag("another");
    print(CORE_LOG_ERROR);
    CoreLogClearFilterTag();
    CoreLogCountSuppressed(false);
    print(CORE_LOG_INFO);
    CoreLogCounters counters;
    const std::size_t bytes = LinesIn(scratch).at(0).size() + 1;
    EXPECT_EQ(0, CoreLogGetCounters("counted", &counters));
    EXPECT_EQ(1u, counters.writtenLines);
    EXPECT_EQ(2u, counters.suppressedLines);
    EXPECT_EQ(0u, counters.lostLines);
    EXPECT_EQ(bytes, counters.fileBytes);
    EXPECT_EQ(1u, counters.files);
    CoreLogCounters all;
    EXPECT_EQ(0, CoreLogGetCounters(nullptr, &all));
    EXPECT_EQ(before.writtenLines + 1, all.writtenLines);
    EXPECT_EQ(before.suppressedLines + 2, all.suppressedLines);
    EXPECT_EQ(before.lostLines, all.lostLines);
    EXPECT_EQ(before.fileBytes + bytes, all.fileBytes);
    EXPECT_EQ(before.files, all.files);
    EXPECT_EQ(1, CoreLogGetCounters("no such module", &all));
    EXPECT_EQ(1, CoreLogGetCounters(nullptr, nullptr));
}

}  // namespace
