// The log and the trace where memory runs out: nothing is thrown, and what was taken
// down before and afterwards is in its file.

#include <core/data/json_doc.h>
#include <core/logging/diagnostics.h>
#include <core/logging/log.h>
#include <core/logging/pref_trace.h>
#include <core/logging/timeline.h>

#include "core/foundation/spans.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "faults/failing_memory.h"
#include "support/barrier.h"
#include "support/scratch_directory.h"

namespace {

using faults::FailingMemory;
using faults::Shortage;

void Print(const std::string& module, const std::string& text) {
    CoreLogPrintLog(module.c_str(), CORE_LOG_WARN, "t", nullptr, nullptr, -1, "|%s|", text.c_str());
}

class LogWithoutMemory : public testing::Test {
protected:
    void Begin(const std::string& module) {
        CoreLogSetLogSinkByModule(module.c_str(), CORE_LOG_FILE);
        CoreLogSetLogLevelByModule(module.c_str(), CORE_LOG_WARN);
        CoreLogSetFilePath(module.c_str(), directory.c_str(), 1 << 20, 100);
    }
    std::string Written() const {
        std::string all;
        for (const std::string& line : scratch.Lines()) {
            all += line + "\n";
        }
        return all;
    }
    /// Nobody asks for the line to be written; it comes by itself.
    bool Comes(const std::string& text) const {
        const std::string line = "|" + text + "|";
        for (int i = 0; i < 2000; ++i) {
            if (Written().find(line) != std::string::npos) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }

    support::ScratchDirectory scratch;
    const std::string directory = scratch.Path();
};

TEST_F(LogWithoutMemory, ALineThatIsLostTakesNoOtherOneAlong) {
    Begin("lines");
    // A line that grows, so that no buffer has room for it; no longer than a block.
    const std::string longText(5000, 'x');
    for (const Shortage shortage : {Shortage::Once, Shortage::FromThenOn}) {
        bool hasFailed = true;
        for (int nth = 1; hasFailed; ++nth) {
            const std::string next =
                std::to_string(nth) + (shortage == Shortage::Once ? "once" : "on");
            {
                const FailingMemory failing(nth, shortage);
                Print("lines", longText);
                hasFailed = failing.HasFailed();
            }
            Print("lines", next);
            ASSERT_TRUE(Comes(next)) << nth;
        }
    }
}

TEST_F(LogWithoutMemory, AModuleComesToLifeLater) {
    for (int nth = 1;; ++nth) {
        const std::string module = "fresh" + std::to_string(nth);
        bool hasFailed = false;
        {
            const FailingMemory failing(nth, Shortage::FromThenOn);
            Begin(module);
            CoreLogSetTaskId(module.c_str(), "a task id that needs a buffer of its own");
            CoreLogAutoFlush(false);
            hasFailed = failing.HasFailed();
        }
        Begin(module);
        Print(module, module);
        ASSERT_TRUE(Comes(module)) << nth;
        if (!hasFailed) {
            EXPECT_LT(1, nth);
            break;
        }
    }
}

TEST_F(LogWithoutMemory, ALineOutlivesAShortageOnTheThreadThatWritesIt) {
    Begin("starved");
    Print("starved", "before");
    ASSERT_TRUE(Comes("before"));
    {
        const faults::OthersWithoutMemory starving;
        for (int i = 0; i < 100; ++i) {
            Print("starved", "line" + std::to_string(i));
            CoreLogFlush();
        }
    }
    Print("starved", "after");
    ASSERT_TRUE(Comes("after"));
    const std::string written = Written();
    std::size_t at = 0;
    for (int i = 0; i < 100; ++i) {
        at = written.find("|line" + std::to_string(i) + "|", at);
        ASSERT_NE(std::string::npos, at) << i;
    }
}

TEST(TraceWithoutMemory, ARecordIsDroppedAndTheFileStaysWhole) {
    const support::ScratchDirectory scratch;
    CoreLogSetLogSink(0);
    const std::string path = scratch.Path("trace.json");
    bool hasFailed = true;
    for (int nth = 1; hasFailed; ++nth) {
        // Made by a trial that succeeds, and kept by one that doesn't.
        ASSERT_EQ(0, InitPrefTraceFile(path.c_str()));
        core::TraceEvent("event", {{"number", nth}});
        FlushPrefTraceFile();
        const std::string before = scratch.Read("trace.json");
        {
            const FailingMemory failing(nth, Shortage::FromThenOn);
            core::TraceEvent("a name that needs a buffer of its own",
                             {{"text", "and a text that does"}});
            AddStatisticPrefTrace("a statistic with a long name", "key", 1.5, "long property name",
                                  CORE_TRACE_DOUBLE, 2.5, nullptr);
            FlushPrefTraceFile();
            hasFailed = failing.HasFailed();
        }
        if (hasFailed) {
            EXPECT_EQ(before, scratch.Read("trace.json")) << nth;
        }
        FlushPrefTraceFile();
        core::JsonDoc document;
        const std::string text = scratch.Read("trace.json");
        EXPECT_EQ(static_cast<int>(text.size()), document.Parse(text.c_str())) << nth;
        EXPECT_LE(nth, document.Root().AsObject()["Events"].AsArray().Count());
        int answer = 0;
        bool isSparse = false;
        {
            const FailingMemory failing(nth, Shortage::FromThenOn);
            answer = InitPrefTraceFile(path.c_str());
            isSparse = failing.HasFailed();
        }
        EXPECT_TRUE(answer == 0 || isSparse) << nth;
        EXPECT_EQ(answer == 0, scratch.Read("trace.json").empty()) << nth;
    }
}

TEST(TimelineMemory, OfAThreadIsGivenBackAtItsEnd) {
    const support::ScratchDirectory scratch;
    const auto start = [&] { return CoreTimelineStart(scratch.Path("t.json").c_str(), 0); };
    const auto record = [] { core::RecordTimeline(CORE_TIMELINE_INSTANT, "short"); };
    ASSERT_EQ(0, start());
    constexpr int kThreads = 100;
    const long most = faults::LivingBlocks() + kThreads / 2;
    for (int i = 0; i < kThreads; ++i) {
        std::thread(record).join();
    }
    // Their recording ends before they do.
    std::vector<std::thread> threads;
    Barrier recorded(kThreads + 1);
    Barrier restarted(kThreads + 1);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            record();
            recorded.ArriveAndWait();
            restarted.ArriveAndWait();
        });
    }
    recorded.ArriveAndWait();
    EXPECT_EQ(0, start());
    restarted.ArriveAndWait();
    for (std::thread& thread : threads) {
        thread.join();
    }
    // A thread of several recordings has one.
    for (int i = 0; i < kThreads; ++i) {
        record();
        EXPECT_EQ(0, start());
    }
    // The thread that writes does it, at its next look.
    for (int i = 0; i < 2000 && faults::LivingBlocks() > most; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_LE(faults::LivingBlocks(), most);
    CoreTimelineStop();
    EXPECT_EQ(nullptr, core::spanSink.load());
    EXPECT_EQ(nullptr, core::threadNamed.load());
}

TEST(DiagnosticsWithoutMemory, AnImageThatCanNotBeReadIsNoFault) {
    CoreLogSetLogSink(0);
    bool hasFailed = true;
    for (int nth = 1; hasFailed; ++nth) {
        const FailingMemory failing(nth, Shortage::FromThenOn);
        ZYLCorePrintDependency(L"a file whose name is too long for a small string.dll");
        hasFailed = failing.HasFailed();
    }
}

}  // namespace
