// Signals are the program's: the library's threads take none. The system knows their names.

#include <core/foundation/thread_name.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/worker.h>

#include <gtest/gtest.h>
#include <csignal>
#include <memory>
#include <string>
#include <thread>

#include "support/event.h"

namespace {

/// Of the calling thread: signals for the process are blocked, its own faults are not.
bool IsLeftAlone() {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, SIGTERM) == 1 && sigismember(&blocked, SIGALRM) == 1 &&
           sigismember(&blocked, SIGSEGV) == 0 && sigismember(&blocked, SIGABRT) == 0;
}

struct Seen {
    bool isLeftAlone = false;
    char name[16] = {};
    support::Event event;
    void Look() {
        isLeftAlone = IsLeftAlone();
        pthread_getname_np(pthread_self(), name, sizeof name);
        event.Set();
    }
};

TEST(PosixSignals, AreNotForTheLibrarysThreads) {
    Seen onWorker;
    Seen onBus;
    Seen onLoop;

    struct Look final : core::Task {
        explicit Look(Seen& toFill) : seen(toFill) {}
        void Run() override { seen.Look(); }
        Seen& seen;
    };
    const std::unique_ptr<core::IWorker> worker(CreateWorker());
    worker->PostTask(new Look(onWorker));
    onWorker.event.Wait();

    core::AsyncEventBus bus;
    bus.listen<int>([&](const int&) { onBus.Look(); });
    bus.post(1);
    onBus.event.Wait();

    struct Loop final : core::MessageLoop {
        using core::MessageLoop::OnMessage;
        void OnMessage(const core::SimpleMessage&) override { seen->Look(); }
        Seen* seen = nullptr;
    } loop;
    loop.seen = &onLoop;
    core::SimpleMsgBus messages;
    loop.SetMsgBus(&messages);
    loop.Launch();
    messages.AddMsg({1});
    onLoop.event.Wait();
    messages.Close();
    loop.WaitExit();

    for (const Seen* seen : {&onWorker, &onBus, &onLoop}) {
        EXPECT_TRUE(seen->isLeftAlone);
    }
    EXPECT_FALSE(IsLeftAlone());
    EXPECT_STREQ("core worker", onWorker.name);
    EXPECT_STREQ("core bus", onBus.name);
    EXPECT_STREQ("core loop", onLoop.name);
}

TEST(ThreadName, IsCutBetweenTwoCharacters) {
    std::thread([] {
        EXPECT_STREQ("", core::ThreadName());
        // The 15th and the 63rd byte are within a character.
        std::string name(14, 'a');
        name += "\u0144" + std::string(46, 'b') + "\u0144 and more";
        core::SetThreadName(name.c_str());
        EXPECT_EQ(std::string(14, 'a') + "\u0144" + std::string(46, 'b'), core::ThreadName());
        char system[16] = {};
        pthread_getname_np(pthread_self(), system, sizeof system);
        EXPECT_EQ(std::string(14, 'a'), system);
        core::SetThreadName(std::string(64, 'c').c_str());
        EXPECT_EQ(std::string(63, 'c'), core::ThreadName());
        core::SetThreadName(nullptr);
        EXPECT_STREQ("", core::ThreadName());
    }).join();
}

}  // namespace
