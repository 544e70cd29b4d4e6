// What a forked process does with the objects that it inherits.

#include <core/messaging/counters.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/future.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/worker.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "support/event.h"

namespace {

struct Loop final : core::MessageLoop {
    ~Loop() override { WaitExit(); }
};

struct Counting final : core::Task {
    explicit Counting(int& toCount) : count(toCount) {}
    void Run() override { ++count; }
    int& count;
};

struct Gate final : core::Task {
    explicit Gate(support::Event& toWait) : event(toWait) {}
    void Run() override { event.Wait(); }
    support::Event& event;
};

/// Whether a forked process ends in time after `action`.
bool EndsInChild(const std::function<bool()>& action) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        _exit(action() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

// Their threads are the parent's alone, and may have been anywhere in them.
TEST(PosixFork, InheritedObjectsAreDestroyedWithoutTheirThreads) {
    auto bus = std::make_unique<core::AsyncEventBus>();
    support::Event isHeard;
    bus->listen<int>([&](const int&) { isHeard.Set(); });
    auto queue = std::make_unique<core::SimpleMsgBus>();
    core::SimpleMsgBus reading = *queue;
    core::SimpleMsgBus quiet;
    const auto readAll = [](core::SimpleMsgBus& from) {
        core::SimpleMessage message;
        while (from.GetMsg(message) == core::MsgBusWaitRet::Ok) {
        }
    };
    std::thread reader([&, from = reading]() mutable { readAll(from); });
    std::thread sleeper([&] { readAll(quiet); });
    auto loopsQueue = std::make_unique<core::SimpleMsgBus>();
    auto loop = std::make_unique<Loop>();
    loop->SetMsgBus(loopsQueue.get());
    loop->Launch();
    std::unique_ptr<core::IWorker> worker(CreateWorker());
    support::Event gate;
    int count = 0;
    worker->PostTask(new Gate(gate));
    while (worker->GetTaskCount() > 0) {
        std::this_thread::yield();
    }
    worker->PostTask(new Counting(count));
    std::atomic<bool> isOver = false;
    std::thread poster([&] {
        while (!isOver) {
            queue->AddMsg({1});
            bus->post(1);
            core::CountersOf(*loop);
            std::this_thread::yield();
        }
    });
    std::thread asker([&] {
        while (!isOver) {
            core::CountersOf(*worker);
        }
    });

    for (int i = 0; i < 100 && !HasFailure(); ++i) {
        EXPECT_TRUE(EndsInChild([&] {
            reading = core::SimpleMsgBus();
            queue.reset();
            loop.reset();
            loopsQueue.reset();
            Counting late(count);
            // Where a thread of the parent held its lock, it is as after its end.
            if (!core::PostTask(*worker, &late, core::TaskOrder::InTurn)) {
                worker->ThreadLoop();
                count += worker->GetTaskCount();
            }
            worker->StopAndDrain();
            worker.reset();
            bus.reset();
            return count == 0;
        }));
    }
    isOver = true;
    poster.join();
    asker.join();
    // A queue has no thread of its own, and serves the child's.
    EXPECT_TRUE(EndsInChild([&] {
        quiet.AddMsg({7});
        core::SimpleMessage message;
        return quiet.GetMsg(message) == core::MsgBusWaitRet::Ok && message.code == 7;
    }));

    isHeard.Wait();
    queue->Close();
    reader.join();
    quiet.Close();
    loopsQueue->Close();
    sleeper.join();
    gate.Set();
    worker.reset();
    EXPECT_EQ(1, count);
}

}  // namespace
