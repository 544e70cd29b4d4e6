// The plain functions, as a caller in C has them: each reaches the log of the process, and
// each argument its place.

#include <core/logging/log.h>
#include <core/logging/log_console.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <regex>
#include <string>

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

TEST(LogFunctions, OneCallIsOneLineOnRequest) {
    Logged([] { CoreLogGetLogSinkByModule("printing"); });
    const auto print = [] {
        CoreLogPrintLog("printing", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "%s", "a\n[b]");
    };
    CoreLogSetForm(CORE_LOG_ONE_LINE);
    EXPECT_EQ("[Error][t]a\\n[b]\n", Logged(print));
    CoreLogSetForm(7);
    EXPECT_EQ("[Error][t]a\\n[b]\n", Logged(print));
    CoreLogSetForm(CORE_LOG_AS_IT_IS);
    EXPECT_EQ("[Error][t]a\n[b]\n", Logged(print));
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
    const auto path = [&] { return *std::filesystem::directory_iterator(PathOf(scratch.Path())); };
    for (int i = 0; i < 100; ++i) {
        print(i);
        ASSERT_EQ(CORE_LOG_FLUSHED, CoreLogFlushAndWait(i % 10 == 0, 60'000));
        ASSERT_NE(std::string::npos, scratch.Read(support::Utf8Of(path().path().filename()))
                                         .find("|" + std::to_string(i) + "|"));
    }
    std::filesystem::remove(path());
    print(100);
    const bool isGone = std::filesystem::is_empty(PathOf(scratch.Path()));
    EXPECT_EQ(isGone ? CORE_LOG_NOT_WRITTEN : CORE_LOG_FLUSHED, CoreLogFlushAndWait(0, -1));
    Logged([] { CoreLogSetLogSinkByModule("flushed", 0); });
}

TEST(LogFunctions, ATaskIdNamesTheFile) {
    const ScratchDirectory scratch;
    Logged([&] {
        CoreLogAutoFlush(true);
        CoreLogSetTaskId("filed", "job 7");
        CoreLogSetLogSinkByModule("filed", CORE_LOG_FILE);
        CoreLogSetFilePath("filed", scratch.Path().c_str(), 0, 3);
        CoreLogPrintLog("filed", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "text");
        CoreLogFlush();
        // Closes the file, so that the directory can go.
        CoreLogSetLogSinkByModule("filed", 0);
        CoreLogAutoFlush(false);
    });
    std::string name;
    for (const auto& entry : std::filesystem::directory_iterator(PathOf(scratch.Path()))) {
        name = support::Utf8Of(entry.path().filename());
    }
    EXPECT_EQ(0U, name.find("job 7_")) << name;
}

}  // namespace
