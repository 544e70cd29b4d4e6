// The plain functions, as a caller in C has them: each reaches the log of the process, and
// each argument its place.

#include <core/foundation/thread_name.h>
#include <core/logging/log.h>
#include <core/logging/log_console.h>
#include <core/logging/log_counters.h>
#include <core/logging/log_files.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>
#include <core/logging/log_sink.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <string>
#include <thread>

#include "support/logged.h"
#include "support/scratch_directory.h"

namespace {

using support::PathOf;
using support::ScratchDirectory;

std::string Logged(const std::function<void()>& action) {
    std::string text;
    for (const std::string& line : support::Logged(action)) {
        text += line + "\n";
    }
    return text;
}

TEST(LogFunctions, EachWayToPrintPutsItsArgumentsInPlace) {
    Logged([] {
        CoreLogSetLogLevelByModule("ZYL", CORE_LOG_INFO);
        CoreLogSetLogLevelByModule("printing", CORE_LOG_INFO);
    });
    const struct {
        std::function<void()> print;
        const char* expected;
    } rows[] = {
        {[] { CoreLogPrint("tag", CORE_LOG_WARN, "%d%% of %s", 5, "it"); },
         "[Warn][tag]5% of it\n"},
        {[] { CoreLogPrintWithSourceInfo("tag", CORE_LOG_INFO, "a.cpp", "Run", 7, "%c", 'x'); },
         "[Info][tag]x[Run][7][a.cpp]\n"},
        {[] { CoreLogPrintWithSourceInfo("tag", CORE_LOG_DEBUG, "a.cpp", "Run", 7, "below"); }, ""},
        {[] { CoreLogPrintLog("printing", CORE_LOG_FATAL, "tag", "a.cpp", "Run", 7, "%.2f", 0.5); },
         "[Fatal][tag]0.50[Run][7][a.cpp]\n"},
        {[] { CoreLogPrint(nullptr, CORE_LOG_ERROR, nullptr); }, "[Error][]\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.expected, Logged(row.print));
    }
    CoreLogSetLogLevelByModule("ZYL", CORE_LOG_ERROR);
}

TEST(LogFunctions, TheConsoleIsWhereTheCallerWantsIt) {
    const auto print = [] {
        CoreLogPrintLog("elsewhere", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "x");
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ("", Logged([&] {
                  CoreLogSetConsole(CORE_LOG_STANDARD_ERROR, CORE_LOG_TERMINALS_COLOURED);
                  print();
                  CoreLogSetConsole(CORE_LOG_NO_CONSOLE, CORE_LOG_ALL_COLOURED);
                  print();
                  CoreLogSetConsole(CORE_LOG_STANDARD_OUTPUT, 3);
                  CoreLogSetConsole(-1, CORE_LOG_ALL_COLOURED);
                  print();
              }));
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_match(told, std::regex("zyl_version.*\r?\n\\[Error\\].*\\[t\\]x\r?\n")))
        << told;
    CoreLogSetConsole(CORE_LOG_STANDARD_OUTPUT, CORE_LOG_ALL_COLOURED);
}

TEST(LogFunctions, ADirectoryThatIsNoneIsNamedOnce) {
    const ScratchDirectory folder;
    const std::string file = folder.Write("file", "");
    const std::string told = Logged([&] {
        CoreLogSetLogSinkByModule("lost", CORE_LOG_FILE);
        CoreLogSetFilePath("lost", (file + "/log").c_str(), 1, 1);
        for (int i = 0; i < 2; ++i) {
            CoreLogPrintLog("lost", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "x");
            EXPECT_EQ(0u, CoreLogGetLogSinkByModule("lost"));
        }
    });
    static const std::regex kOnce(
        "(zyl_version.*\n)+.*no log file for module \"lost\": .*file.log.: .+\n");
    EXPECT_TRUE(std::regex_match(told, kOnce)) << told;
}

TEST(LogFunctions, SettingsReachTheirModuleOrThoseToCome) {
    const int level = CoreLogGetLogLevel();
    Logged([&] {
        CoreLogSetLogLevelByModule("set", CORE_LOG_TRACKING);
        EXPECT_EQ(CORE_LOG_TRACKING, CoreLogGetLogLevelByModule("set"));
        EXPECT_EQ(level, CoreLogGetLogLevelByModule("not set"));
        CoreLogSetLogSinkByModule("set", CORE_LOG_CONSOLE | CORE_LOG_DEBUGGER);
        EXPECT_EQ(5U, CoreLogGetLogSinkByModule("set"));
        EXPECT_EQ(1U, CoreLogGetLogSinkByModule("not set"));
    });
    const auto print = [](const char* tag) {
        CoreLogPrintLog("set", CORE_LOG_INFO, tag, nullptr, nullptr, -1, "text");
    };
    EXPECT_EQ("[Info][a]text\n", Logged([&] { print("a"); }));
    CoreLogAddFilterTag("b");
    EXPECT_EQ("[Info][b]text\n", Logged([&] {
                  print("a");
                  print("b");
              }));
    CoreLogClearFilterTag();
    EXPECT_EQ("[Info][a]text\n", Logged([&] { print("a"); }));
    CoreLogAddFilterTag("a");
    EXPECT_EQ("", Logged([&] { print("b"); }));
    CoreLogClearFilterTag();
}

TEST(LogFunctions, AfterAFlushThatWaitsTheFileHasTheLine) {
    const ScratchDirectory scratch;
    const auto print = [](int i) {
        CoreLogPrintLog("flushed", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "|%d|", i);
    };
    Logged([&] {
        CoreLogSetLogSinkByModule("flushed", CORE_LOG_FILE);
        CoreLogSetFilePath("flushed", scratch.Path().c_str(), 0, 3);
    });
    for (int i = 0; i < 100; ++i) {
        print(i);
        ASSERT_EQ(CORE_LOG_FLUSHED, CoreLogFlushAndWait(i % 10 == 0, 60'000));
        ASSERT_NE(std::string::npos, scratch.Lines().back().find("|" + std::to_string(i) + "|"));
    }
    std::filesystem::remove(PathOf(scratch.Path(scratch.Names().at(0))));
    print(100);
    const bool isGone = scratch.Names().empty();
    EXPECT_EQ(isGone ? CORE_LOG_NOT_WRITTEN : CORE_LOG_FLUSHED, CoreLogFlushAndWait(0, -1));
    Logged([] { CoreLogSetLogSinkByModule("flushed", 0); });
}

TEST(LogFunctions, AnswerZeroAndKeepWhatTheyHadWhereAValueIsNone) {
    const ScratchDirectory scratch;
    const auto lines = support::Logged([&] {
        for (const int value : {int{CORE_LOG_PRIVATE}, -1, 2}) {
            EXPECT_EQ(0, CoreLogSetFileAccess(value));
        }
        for (const int value : {int{CORE_LOG_EXACT_LIMIT}, -1, 2}) {
            EXPECT_EQ(0, CoreLogSetFileLimit(value));
        }
        for (const int value : {int{CORE_LOG_ONE_LINE}, -1, 3}) {
            EXPECT_EQ(0, CoreLogSetForm(value));
        }
        EXPECT_EQ(0, CoreLogSetFullQueue(-1, 1) + CoreLogSetFullQueue(3, 1));
        EXPECT_EQ(0, CoreLogSetThreadNames(true) + CoreLogAutoFlush(true));
        EXPECT_EQ(0, CoreLogSetLogSinkByModule("all", CORE_LOG_FILE));
        EXPECT_EQ(0, CoreLogSetLogLevelByModule("all", CORE_LOG_INFO));
        EXPECT_EQ(0, CoreLogSetTaskId("all", "job 7") + CoreLogAddFilterTag("t"));
        EXPECT_EQ(0, CoreLogSetFilePath("all", scratch.Path().c_str(), 1 << 20, 9));
        EXPECT_EQ(0, CoreLogSetTaskId("all", "job 8"));  // of the next file
        std::thread([] {
            core::SetThreadName("named");
            const std::string half(500'000, '.');
            for (int i = 0; i < 4; ++i) {
                CoreLogSetLogSinkByModule("all", i < 3 ? CORE_LOG_FILE : CORE_LOG_CONSOLE);
                EXPECT_EQ(0, CoreLogPrintLog("all", CORE_LOG_INFO, "t", nullptr, nullptr, -1,
                                             "a\n%s", i < 3 ? half.c_str() : ""));
            }
        }).join();
        EXPECT_EQ(0, CoreLogFlush() + CoreLogClearFilterTag());
        CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, -1);  // files of other tests are gone
        EXPECT_EQ(0, CoreLogSetFileAccess(CORE_LOG_USUAL) + CoreLogSetForm(CORE_LOG_AS_IT_IS) +
                         CoreLogSetFileLimit(CORE_LOG_TIMELY_LIMIT) + CoreLogAutoFlush(false) +
                         CoreLogSetThreadNames(false) + CoreLogSetLogSinkByModule("all", 0) +
                         CoreLogCountSuppressed(false) + CoreLogDumpRecent("all") +
                         CoreLogSetConsole(CORE_LOG_STANDARD_OUTPUT, CORE_LOG_ALL_COLOURED));
    });
    EXPECT_TRUE(std::regex_search(lines.back(), std::regex(R"(\[\d+ named\].*\[t\]a\\n$)")))
        << lines.back();
    // A file of everybody's, as the system makes it.
    Logged([&] { CoreLogSetFilePath("usual", scratch.Path().c_str(), 0, 9); });
    const auto plain = std::filesystem::status(PathOf(scratch.Write("plain", ""))).permissions();
    std::map<std::string, int> files;
    for (const auto& entry : std::filesystem::directory_iterator(PathOf(scratch.Path()))) {
        using std::filesystem::perms;
        const std::string name = support::Utf8Of(entry.path().filename()).substr(0, 6);
        EXPECT_LE(entry.file_size(), 1u << 20);
        if (std::filesystem::path::preferred_separator == '/') {
            EXPECT_EQ(name.substr(0, 4) == "job " ? perms::owner_read | perms::owner_write : plain,
                      entry.status().permissions());
        }
        ++files[name];
    }
    EXPECT_EQ(1, files["job 7_"]);
    EXPECT_EQ(1, files["job 8_"]);
    EXPECT_EQ(1, files["usual_"]);
}

}  // namespace
