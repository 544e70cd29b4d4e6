// What callers get where no thread can be started.

#include <core/logging/log.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/worker.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "platform/posix/no_threads.h"
#include "support/event.h"
#include "support/scratch_directory.h"

namespace {

TEST(PosixEventBus, WithoutAThreadItSaysSoAndServesTheOneThatConsumes) {
    std::unique_ptr<core::AsyncEventBus> bus;
    testing::internal::CaptureStdout();
    {
        const support::NoThreads noThreads;
        bus = std::make_unique<core::AsyncEventBus>();
    }
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(0U, text.find("AsyncEventBus::AsyncEventBus:")) << text;
    EXPECT_LT(std::string("AsyncEventBus::AsyncEventBus:").size(), text.size());

    int heard = 0;
    support::Event isHeard;
    bus->listen<int>([&](const int& number) {
        heard = number;
        isHeard.Set();
    });
    bus->post(5);
    EXPECT_EQ(1, bus->getQueueEventCount());
    std::thread lent([&] { bus->consume(); });
    isHeard.Wait();
    EXPECT_EQ(5, heard);
    // A second one waits for its turn, and the end for the listener that is under way.
    support::Event isHeld;
    support::Event mayEnd;
    bus->listen<char>([&](char) {
        isHeld.Set();
        mayEnd.Wait();
    });
    bus->post('x');
    isHeld.Wait();
    std::atomic<bool> isGone = false;
    std::thread second([&] { bus->consume(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    bus->post(6);
    EXPECT_EQ(1, bus->getQueueEventCount());
    std::thread ending([&, own = bus.get()] {
        delete own;
        isGone = true;
    });
    second.join();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(isGone);
    mayEnd.Set();
    lent.join();
    ending.join();
    static_cast<void>(bus.release());
}

TEST(PosixWorkers, WithoutAThreadNoneIsCreated) {
    const support::NoThreads noThreads;
    EXPECT_THROW(CreateWorker(), std::system_error);
}

TEST(PosixMessageLoops, CanBeLaunchedOnceThereIsAThread) {
    struct Summer : core::MessageLoop {
        using core::MessageLoop::OnMessage;
        void OnMessage(const core::SimpleMessage& message) override { sum += message.code; }
        int sum = 0;
    };
    core::SimpleMsgBus bus;
    bus.AddMsg({3});
    Summer loop;
    loop.SetMsgBus(&bus);
    {
        const support::NoThreads noThreads;
        EXPECT_FALSE(loop.Launch());
        loop.WaitExit();
    }
    EXPECT_TRUE(loop.Launch());
    while (bus.Count() > 0) {
        std::this_thread::yield();
    }
    bus.Close();
    loop.WaitExit();
    EXPECT_EQ(3, loop.sum);
}

// In a process of its own: the log starts its thread once.
TEST(PosixLogDeathTest, WithoutAThreadLinesAreWrittenWhereTheyAreLogged) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto log = [] {
        const support::ScratchDirectory scratch;
        const support::NoThreads noThreads;
        CoreLogSetLogSinkByModule("alone", CORE_LOG_FILE);
        CoreLogSetFilePath("alone", scratch.Path().c_str(), 0, 3);
        bool isWritten = true;
        for (int i = 0; i < 100 && isWritten; ++i) {
            const std::string text = "line " + std::to_string(i);
            CoreLogPrintLog("alone", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "%s", text.c_str());
            std::string all;
            for (const auto& entry :
                 std::filesystem::directory_iterator(support::PathOf(scratch.Path()))) {
                std::ifstream file(entry.path());
                all.assign(std::istreambuf_iterator<char>(file), {});
            }
            isWritten = all.ends_with(text + "\n");
        }
        CoreLogFlush();
        CoreLogShutdown();
        std::exit(isWritten ? 0 : 1);
    };
    EXPECT_EXIT(log(), testing::ExitedWithCode(0), "");
}

}  // namespace
