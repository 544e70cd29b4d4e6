#include "core/logging/zyl_log_wrapper_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/barrier.h"
#include "support/file_rows.h"
#include "support/scratch_directory.h"

namespace {

using core::LineFields;
using core::ZylLogWrapperManager;
using support::PathOf;
using support::ScratchDirectory;
using testing::ElementsAre;

const char* const kBanner = "zyl_version:6.8.101.2\n";

/// A log of its own for every test. Like the one of the process it is never destroyed.
class Log {
public:
    Log() : manager(*all().emplace_back(new ZylLogWrapperManager)) {}

    void Print(const char* module, int level, const char* tag, const char* format, ...) {
        if (manager.IsBelow(level, manager.Find(module)) || manager.IsStopped(tag)) {
            return;
        }
        LineFields fields;
        fields.level = level;
        fields.tag = tag;
        std::va_list arguments;
        va_start(arguments, format);
        manager.Print(manager.Find(module), module, fields, format, arguments);
        va_end(arguments);
    }
    /// What an action writes to standard output.
    static std::string Output(const std::function<void()>& action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }
    void Quietly(const std::function<void()>& action) { Output(action); }

    ZylLogWrapperManager& manager;

private:
    static std::vector<ZylLogWrapperManager*>& all() {
        static auto& logs = *new std::vector<ZylLogWrapperManager*>;
        return logs;
    }
};

/// A line without its thread and its time.
std::string Bare(const std::string& line) {
    static const std::regex kVarying(
        R"(\]\[\d+\]\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}T[+-]\d{4}\])");
    return std::regex_replace(line, kVarying, "][#]");
}

TEST(Log, ALineGoesThroughTheGateInOrder) {
    for (const support::FileRow& row : support::RowsOf("log_gate.txt")) {
        SCOPED_TRACE(row.name);
        Log log;
        if (row[""] == "shut down") {
            log.manager.Shutdown();
        } else if (row[""] == "filter") {
            log.manager.AddFilterTag("other");
            log.manager.AddFilterTag("pass");
        }
        const std::string output = Log::Output(
            [&] { log.Print("module", std::stoi(row["level"]), row["tag"].c_str(), "body"); });
        EXPECT_EQ(row["makes"] == "a module", output.rfind(kBanner, 0) == 0);
        EXPECT_EQ(row["writes"] == "a line", output.find("body\n") != std::string::npos);
        EXPECT_EQ(row["makes"] == "a module", log.manager.Find("module") != nullptr);
        log.manager.Shutdown();
    }
}

TEST(Log, AConsoleLineIsColoured) {
    Log log;
    log.Quietly([&] { log.manager.SetLevel("m", 4); });
    EXPECT_EQ("[\x1b[92mInfo\x1b[m][#][tag]100%\n",
              Bare(Log::Output([&] { log.Print("m", 4, "tag", "%d%%", 100); })));
    log.manager.Shutdown();
}

TEST(Log, AnyMentionMakesAModuleAndSinksComeAndGo) {
    const std::vector<std::function<void(ZylLogWrapperManager&)>> mentions = {
        [](auto& manager) { manager.SetLevel("m", 0); },
        [](auto& manager) { manager.Level("m"); },
        [](auto& manager) { manager.SetSinks("m", 1); },
        [](auto& manager) { manager.Sinks("m"); },
        [](auto& manager) { manager.SetTaskId("m", "1"); },
    };
    for (const auto& mention : mentions) {
        Log log;
        EXPECT_EQ(kBanner, Log::Output([&] { mention(log.manager); }));
        EXPECT_EQ("", Log::Output([&] { mention(log.manager); }));
        log.manager.Shutdown();
        EXPECT_EQ(8, log.manager.Level("m"));
        EXPECT_EQ(0u, log.manager.Sinks("m"));
    }

    Log log;
    // The default takes the console of a new module away, after its banner.
    log.manager.SetSinks(0);
    log.manager.SetLevel(2);
    EXPECT_EQ(kBanner, Log::Output([&] { log.manager.Sinks("m"); }));
    EXPECT_EQ(2, log.manager.Level("m"));
    EXPECT_EQ(2, log.manager.Find("m")->gate);
    log.Quietly([&] { log.manager.SetSinks("m", 1); });
    // One after another: what is set, how many banners it writes, and what it is then.
    const unsigned rows[][3] = {{1, 0, 1}, {2, 0, 2}, {3, 1, 3},           {5, 1, 5},
                                {4, 0, 4}, {7, 1, 7}, {0xFFFFFFF8u, 0, 0}, {0xFFFFFFFFu, 2, 7}};
    for (const auto& [sinks, banners, answer] : rows) {
        std::string expected = banners == 2 ? kBanner : "";
        expected += banners > 0 ? kBanner : "";
        EXPECT_EQ(expected, Log::Output([&, to = sinks] { log.manager.SetSinks("m", to); }));
        EXPECT_EQ(answer, log.manager.Sinks("m"));
    }
    log.manager.Shutdown();
}

TEST(Log, AfterTheShutdownOnlyTheDefaultsMove) {
    const ScratchDirectory scratch;
    Log log;
    log.Quietly([&] { log.manager.SetSinks("m", 0); });
    log.manager.SetFilePath("m", scratch.Path().c_str(), {});
    log.manager.Shutdown();
    log.manager.Shutdown();
    {
        const core::Lock lock(core::logMutex);
        EXPECT_EQ(nullptr, log.manager.Find("m")->File());  // closed
    }
    log.manager.SetLevel(3);
    EXPECT_EQ(3, log.manager.Level());
    EXPECT_EQ(3, log.manager.Find("m")->minLevel);
    EXPECT_EQ(3, log.manager.Find("m")->gate);
    EXPECT_EQ(kBanner, Log::Output([&] { log.manager.SetSinks(1); }));
    EXPECT_EQ("", Log::Output([&] {
                  log.manager.SetSinks("m", 0);
                  log.manager.SetSinks("new", 1);
                  log.manager.SetFilePath("m", "./", {});
                  log.manager.SetTaskId("new", "1");
                  log.manager.Flush();
                  log.Print("m", 7, "", "nothing");
              }));
    EXPECT_EQ(nullptr, log.manager.Find("new"));
}

class Threads : public testing::TestWithParam<int> {};

// Everybody logs to two modules while another thread moves files, levels that change
// nothing, sinks and the filter about.
TEST_P(Threads, LoseNoLineToTheSettingsOfOthers) {
    constexpr int kLines = 2000;
    const ScratchDirectory scratch;
    Log log;
    std::istringstream console(Log::Output([&] {
        log.manager.SetSinks(CORE_LOG_FILE);
        for (const char* module : {"m", "n"}) {
            log.manager.SetFilePath(module, scratch.Path().c_str(), {0, 1'000'000});
        }
        log.manager.SetSinks("n", CORE_LOG_FILE | CORE_LOG_CONSOLE);
        std::vector<std::thread> threads;
        Barrier start(GetParam() + 1);
        for (int t = 0; t < GetParam(); ++t) {
            threads.emplace_back([&, t] {
                start.ArriveAndWait();
                for (int i = 0; i < kLines; ++i) {
                    log.Print(i % 2 == 0 ? "m" : "n", 6, "", "|%d|%d", t, i);
                }
            });
        }
        start.ArriveAndWait();
        for (int i = 0; i < 50; ++i) {
            log.manager.SetFilePath("m", scratch.Path().c_str(), {0, 1'000'000});
            log.manager.SetTaskId("n", i % 2 == 0 ? "n_x" : "");
            log.manager.SetSinks("m", CORE_LOG_FILE);
            log.manager.SetLevel("n", i % 7);
            log.manager.AddFilterTag("");
            log.manager.Flush();
            log.manager.ClearFilterTags();
            log.manager.Sinks(("module " + std::to_string(i)).c_str());
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        log.manager.Shutdown();
    }));
    const auto lines = [&](const std::string& module) {
        std::vector<std::string> some;
        for (std::string line; module == "console" && std::getline(console, line);) {
            if (line.find('|') != line.npos) {
                some.push_back(line);
            }
        }
        return some.empty() ? scratch.Lines(module + "_") : some;
    };
    for (const char* module : {"m", "n", "console"}) {
        std::map<int, int> next;
        std::size_t count = 0;
        std::string lastTime;
        for (const std::string& line : lines(module)) {
            const std::string time(core::TimeIn(line.substr(line.find('['))));
            EXPECT_LE(std::exchange(lastTime, time), time);
            int thread = 0;
            int index = 0;
            ASSERT_EQ(2,
                      std::sscanf(line.substr(line.find('|')).c_str(), "|%d|%d", &thread, &index));
            const auto [at, isNew] = next.emplace(thread, *module == 'm' ? 0 : 1);
            ASSERT_EQ(at->second, index) << line;
            at->second += 2;
            ++count;
        }
        EXPECT_EQ(static_cast<std::size_t>(GetParam() * kLines / 2), count);
    }
}

INSTANTIATE_TEST_SUITE_P(Log, Threads, testing::Values(1, 2, 8));

}  // namespace
