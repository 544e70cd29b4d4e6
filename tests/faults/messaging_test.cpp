// Buses, loops and workers where memory runs out: what could not be queued is not there,
// and everything else is, in order.

#include <core/data/json_doc.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/future.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/timer.h>
#include <core/messaging/worker.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "faults/failing_memory.h"
#include "support/event.h"

namespace {

using core::SimpleMessage;
using faults::FailingMemory;
using faults::Shortage;
using faults::TryEachFailure;

/// Calls `trial(nth)`, which answers whether the allocation failed, until none does.
template <class Trial>
void ForEachAllocation(Trial trial) {
    int nth = 1;
    while (trial(nth)) {
        ++nth;
        ASSERT_LT(nth, 1000);
    }
    EXPECT_LT(1, nth) << "nothing was allocated";
}

std::string Drain(core::SimpleMsgBus& bus) {
    std::vector<SimpleMessage> messages;
    SimpleMessage message;
    while (bus.TryGetMsg(message)) {
        messages.push_back(message);
    }
    std::string text;
    for (const SimpleMessage& each : messages) {
        text += std::to_string(each.code) + " ";
        bus.AddMsg(each);
    }
    return text;
}

TEST(MessagesWithoutMemory, AQueueTakesAMessageOrStaysAsItIs) {
    // Around the size of the blocks that it grows by.
    for (const int count : {0, 1, 31, 32, 33, 64}) {
        const auto make = [=] {
            auto bus = std::make_unique<core::SimpleMsgBus>();
            for (int i = 0; i < count; ++i) {
                bus->AddMsg({i});
            }
            return bus;
        };
        TryEachFailure(
            "add", make, [](core::SimpleMsgBus& b) { b.AddMsg({-1}); }, Drain);
        TryEachFailure(
            "urgent", make, [](core::SimpleMsgBus& b) { b.InsertUrgentMsg({-1}); }, Drain);
        TryEachFailure(
            "a bus of its own", make,
            [](core::SimpleMsgBus&) { core::VersatileMsgBus().AddMsg(nullptr); }, Drain);
    }
}

struct Large {
    std::array<std::uint64_t, 64> numbers;
};

// The listeners' thread is another one, and has memory.
TEST(MessagesWithoutMemory, AnEventIsPostedOrNot) {
    for (const Shortage shortage : {Shortage::Once, Shortage::FromThenOn}) {
        ForEachAllocation([=](int nth) {
            int heard = 0;
            support::Event isDone;
            core::AsyncEventBus bus;
            bus.listen<int>([&](const int& number) { heard += number; });
            bus.listen<Large>([&](const Large&) { heard += 1000; });
            bus.listen<char>([&](const char&) { isDone.Set(); });
            int expected = 0;
            bool hasFailed = false;
            {
                const FailingMemory failing(nth, shortage);
                try {
                    bus.post(1);
                    ++expected;
                    bus.post(Large{});
                    expected += 1000;
                } catch (const std::bad_alloc&) {
                    hasFailed = true;
                }
            }
            bus.post(10);
            bus.post('x');
            isDone.Wait();
            EXPECT_EQ(expected + 10, heard) << nth;
            return hasFailed;
        });
    }
}

template <class Bus>
bool ListensOrDoesNot(int nth) {
    std::atomic<int> heard = 0;
    support::Event isDone;
    Bus bus;
    const int owner = bus.template listen<int>([&](const int&) { heard += 1; });
    bool isListening = false;
    bool isGone = false;
    {
        const FailingMemory failing(nth, Shortage::Once);
        try {
            bus.template listen<int>([&](const int&) { heard += 10; });
            isListening = true;
            bus.unlistenAll(owner);
            isGone = true;
        } catch (const std::bad_alloc&) {
        }
    }
    bus.template listen<char>([&](const char&) { isDone.Set(); });
    bus.post(1);
    bus.post('x');
    isDone.Wait();
    EXPECT_EQ((isListening ? 10 : 0) + (isGone ? 0 : 1), heard) << nth;
    return !isGone;
}

TEST(MessagesWithoutMemory, AListenerIsThereOrNotAndGoneOrNot) {
    ForEachAllocation(ListensOrDoesNot<core::AsyncEventBus>);
    ForEachAllocation(ListensOrDoesNot<core::EventBus>);
}

TEST(MessagesWithoutMemory, AnUnlistenInAListenerHappensAsAWholeOrNotAtAll) {
    ForEachAllocation([](int nth) {
        int heard = 0;
        bool hasFailed = false;
        core::EventBus bus;
        const int owner = bus.listen<int>([&](const int&) { ++heard; });
        bus.listen<char>(owner, [&](const char&) { ++heard; });
        // The channel is being walked, so that it is copied before it changes.
        bus.listen<int>([&](const int& number) {
            if (number == 1) {
                const FailingMemory failing(nth, Shortage::Once);
                try {
                    bus.unlistenAll(owner);
                } catch (const std::bad_alloc&) {
                    hasFailed = true;
                }
            }
        });
        bus.post(1);
        heard = 0;
        bus.post(2);
        bus.post('x');
        EXPECT_EQ(hasFailed ? 2 : 0, heard) << nth;
        return hasFailed;
    });
}

TEST(MessagesWithoutMemory, AnEventBusOutlivesAShortageOnItsOwnThread) {
    std::atomic<int> heard = 0;
    support::Event isReady;
    support::Event isStarved;
    support::Event isDone;
    core::AsyncEventBus bus;
    const int owner = bus.listen<int>([&](const int&) { heard += 100; });
    bus.listen<char>([&](const char& which) {
        (which == 'r' ? isReady : which == 's' ? isStarved : isDone).Set();
    });
    bus.post('r');
    isReady.Wait();
    {
        const faults::OthersWithoutMemory starving;
        bus.unlistenAll(owner);
        bus.listen<int>([&](const int&) { ++heard; });
        bus.post(1);
        bus.post('s');
        isStarved.Wait();
    }
    // The owner hears nothing more in any case.
    EXPECT_GE(1, heard);
    const int before = heard;
    bus.listen<int>([&](const int&) { heard += 10; });
    bus.post(1);
    bus.post('d');
    isDone.Wait();
    EXPECT_GE(heard, before + 10);
    EXPECT_LE(heard, before + 11);
}

class Counted final : public core::Task {
public:
    explicit Counted(std::string& record, char letter) : done(record), name(letter) {}
    void Run() override { done += name; }

private:
    std::string& done;
    char name;
};

TEST(WorkersWithoutMemory, ATaskIsTakenOrStaysItsOwners) {
    ForEachAllocation([](int nth) {
        std::string done;
        std::unique_ptr<core::IWorker> worker(CreateWorker());
        bool hasFailed = false;
        worker->PostTask(new Counted(done, 'a'));
        auto task = std::make_unique<Counted>(done, 'b');
        std::vector<std::unique_ptr<Counted>> more;
        for (int i = 0; i < 100; ++i) {
            more.push_back(std::make_unique<Counted>(done, '.'));
        }
        {
            const FailingMemory failing(nth, Shortage::Once);
            for (auto& each : more) {
                try {
                    worker->PostTask(each.get());
                    static_cast<void>(each.release());
                } catch (const std::bad_alloc&) {
                    hasFailed = true;
                }
            }
        }
        worker->PostTask(task.release());
        worker.reset();
        EXPECT_EQ("a" + std::string(hasFailed ? 99 : 100, '.') + "b", done) << nth;
        return hasFailed;
    });
}

TEST(WorkersWithoutMemory, ACallIsPostedOrLeavesNothing) {
    ForEachAllocation([](int nth) {
        std::unique_ptr<core::IWorker> worker(CreateWorker());
        const long blocks = faults::LivingBlocks();
        bool hasFailed = false;
        {
            const FailingMemory failing(nth, Shortage::Once);
            try {
                core::PostCall(*worker, [] { return 1; }).Get();
            } catch (const std::bad_alloc&) {
                hasFailed = true;
            }
        }
        worker.reset();
        EXPECT_GE(blocks, faults::LivingBlocks()) << nth;
        return hasFailed;
    });
}

TEST(WorkersWithoutMemory, NoneIsCreatedWithout) {
    ForEachAllocation([](int nth) {
        const long blocks = faults::LivingBlocks();
        std::unique_ptr<core::IWorker> worker;
        bool hasFailed = false;
        {
            const FailingMemory failing(nth, Shortage::Once);
            worker.reset(CreateWorker());
            hasFailed = failing.HasFailed();
        }
        EXPECT_EQ(hasFailed, worker == nullptr) << nth;
        worker.reset();
        EXPECT_EQ(blocks, faults::LivingBlocks()) << nth;
        return hasFailed;
    });
}

class Collector : public core::MessageLoop {
public:
    ~Collector() override { WaitExit(); }
    using core::MessageLoop::OnMessage;
    void OnMessage(const SimpleMessage& message) override { sum += message.code; }
    int sum = 0;
};

TEST(WorkersWithoutMemory, ALoopThatWasNotLaunchedCanBeLaunchedLater) {
    ForEachAllocation([](int nth) {
        core::SimpleMsgBus bus;
        Collector loop;
        loop.SetMsgBus(&bus);
        bool hasFailed = false;
        {
            const FailingMemory failing(nth, Shortage::Once);
            const bool isLaunched = loop.Launch();
            hasFailed = failing.HasFailed();
            EXPECT_EQ(hasFailed, !isLaunched) << nth;
        }
        if (hasFailed) {
            EXPECT_TRUE(loop.Launch());
        }
        bus.AddMsg({5});
        while (bus.Count() > 0) {
        }
        bus.Close();
        loop.WaitExit();
        EXPECT_EQ(5, loop.sum);
        return hasFailed;
    });
}

TEST(WorkersWithoutMemory, TimersComeOnceThereIsMemoryAgain) {
    std::atomic<int> calls = 0;
    const std::unique_ptr<core::IWorker> worker(CreateWorker());
    {
        const faults::OthersWithoutMemory starving;
        core::PostAfter(*worker, std::chrono::nanoseconds(0), [&] { ++calls; });
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(0, calls);
    }
    while (calls == 0) {
        std::this_thread::yield();
    }
    core::WaitForPosted(*worker);
    EXPECT_EQ(1, calls);
    // A bus's comes behind what waits, at every size of its blocks.
    for (int count = 0; count < 140; ++count) {
        core::SimpleMsgBus bus;
        for (int i = 0; i < count; ++i) {
            bus.AddMsg({i});
        }
        core::PostAfter(bus, std::chrono::nanoseconds(0), {count});
        SimpleMessage message;
        for (int i = 0; i <= count; ++i) {
            const FailingMemory failing(1, Shortage::FromThenOn);
            ASSERT_TRUE(bus.TryGetMsg(message));
            ASSERT_EQ(i, message.code);
        }
        EXPECT_FALSE(bus.TryGetMsg(message));
    }
}

TEST(MessagesWithoutMemory, ABurstOfEventsGivesItsMemoryBack) {
    support::Event isHeld;
    support::Event mayGoOn;
    core::AsyncEventBus bus;
    bus.listen<char>([&](const char&) {
        isHeld.Set();
        mayGoOn.Wait();
    });
    bus.post('x');
    isHeld.Wait();
    const long blocks = faults::LivingBlocks();
    for (int i = 0; i < 5000; ++i) {
        bus.post(i);
    }
    EXPECT_LE(blocks + 5000 / 32, faults::LivingBlocks());
    mayGoOn.Set();
    while (faults::LivingBlocks() > blocks) {
        std::this_thread::yield();
    }
}

// A container that is filled in a destructor would end the process.
TEST(MessagesWithoutMemory, NothingIsAllocatedToDestroy) {
    core::SimpleMsgBus ofLoop;
    std::vector<std::pair<const char*, std::shared_ptr<void>>> objects;
    const auto listening = [](auto bus) {
        bus->unlistenAll(bus->template listen<int>([](const int&) {}));
        bus->template listen<int>([](const int&) {});
        bus->post(1);
        return bus;
    };
    objects.emplace_back("async", listening(std::make_shared<core::AsyncEventBus>()));
    objects.emplace_back("sync", listening(std::make_shared<core::EventBus>()));
    auto queue = std::make_shared<core::SimpleMsgBus>();
    queue->AddMsg({1});
    objects.emplace_back("queue", std::move(queue));
    auto loop = std::make_shared<Collector>();
    loop->SetMsgBus(&ofLoop);
    loop->Launch();
    ofLoop.Close();
    objects.emplace_back("loop", std::move(loop));
    std::string done;
    std::shared_ptr<core::IWorker> worker(CreateWorker());
    worker->PostTask(new Counted(done, 'a'));
    objects.emplace_back("worker", std::move(worker));
    auto document = std::make_shared<core::JsonDoc>();
    document->CreateRootObject()["name"].Set("a text that needs memory of its own");
    objects.emplace_back("document", std::move(document));
    auto curve = std::make_shared<core::SpeedParameter>();
    curve->AddPoint(0.0, 1.0, core::KeyframeInterpolationType::Linear);
    objects.emplace_back("curve", curve->RevertSpeedParameter());
    objects.emplace_back("source", std::move(curve));
    for (auto& [name, object] : objects) {
        const FailingMemory failing(1, Shortage::FromThenOn);
        object.reset();
        EXPECT_FALSE(failing.HasFailed()) << name;
    }
}

}  // namespace
