// Limits, timers, threads and counters of what runs on threads of its own, with the real
// clock. Beside a model, and with a clock that is set: model_test.cpp.

#include <core/messaging/counters.h>
#include <core/messaging/future.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/queue_limit.h>
#include <core/messaging/timer.h>
#include <core/messaging/worker.h>

// The assertion is tested in every build.
#undef NDEBUG
#include <core/messaging/thread_of.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/barrier.h"
#include "support/event.h"
#include "support/logged.h"
#include "support/long_run.h"

namespace {

using core::SimpleMessage;
using core::SimpleMsgBus;
using core::WhenFull;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// A loop that hands its messages to a function.
class Handling : public core::MessageLoop {
public:
    explicit Handling(std::function<void(const SimpleMessage&)> toHandle)
        : handle(std::move(toHandle)) {
        SetMsgBus(&bus);
        EXPECT_TRUE(Launch());
    }
    Handling(const Handling&) = delete;
    Handling& operator=(const Handling&) = delete;
    ~Handling() override { End(); }
    void End() {
        bus.Close();
        WaitExit();
    }
    using core::MessageLoop::OnMessage;
    void OnMessage(const SimpleMessage& message) override { handle(message); }

    SimpleMsgBus bus;

private:
    const std::function<void(const SimpleMessage&)> handle;
};

SimpleMessage Of(int code) {
    SimpleMessage message;
    message.code = code;
    return message;
}

TEST(Timers, ComeToALoopThatSleepsAndNeverEarly) {
    using Clock = std::chrono::steady_clock;
    support::Event isOver;
    std::array<Clock::time_point, 3> times;
    std::vector<int> codes;
    int ticks = 0;
    Handling loop([&](const SimpleMessage& message) {
        times.at(static_cast<std::size_t>(message.code)) = Clock::now();
        if (message.code == 0) {
            ++ticks;
        } else {
            codes.push_back(message.code);
        }
        if (message.code == 2) {
            isOver.Set();
        }
    });
    const auto begin = Clock::now();
    core::PostAfter(loop.bus, milliseconds(20), Of(2));
    // Sooner than what the loop sleeps for.
    core::PostAfter(loop.bus, milliseconds(5), Of(1));
    core::Timer tick = core::PostEvery(loop.bus, milliseconds(2), Of(0));
    isOver.Wait();
    EXPECT_TRUE(tick.Cancel());
    loop.End();
    EXPECT_EQ((std::vector<int>{1, 2}), codes);
    EXPECT_GE(times[1] - begin, milliseconds(5));
    EXPECT_GE(times[2] - begin, milliseconds(20));
    EXPECT_GE(ticks, 1);
    EXPECT_LE(ticks, 1 + (times[0] - begin) / milliseconds(2));
    EXPECT_FALSE(core::PostAfter(loop.bus, milliseconds(0), Of(1)).IsPending());

    // Who sleeps and is told of a timer sleeps on until that is due.
    SimpleMsgBus bus;
    core::TakenMessages taken{};
    std::thread reader([&] {
        SimpleMessage message;
        taken = core::GetMsgs(bus, &message, 1, 60'000);
    });
    std::this_thread::sleep_for(milliseconds(5));
    core::PostAfter(bus, milliseconds(20), Of(1));
    reader.join();
    EXPECT_EQ(1U, taken.count);
    const auto waiting = Clock::now();
    SimpleMessage none;
    EXPECT_EQ(0U, core::GetMsgs(bus, &none, 1, 1).count);
    EXPECT_GE(Clock::now() - waiting, milliseconds(1));

    core::AsyncEventBus events;
    support::Event isHeard;
    events.listen<int>([&](const int&) { isHeard.Set(); });
    std::this_thread::sleep_for(milliseconds(5));
    core::PostAfter(events, milliseconds(1), 1);
    isHeard.Wait();
}

// Timers are armed and cancelled on all threads while what serves them works, is drained and
// destroyed, also by a timer's own function; handles outlive it all.
TEST(Timers, EndInAnyOrder) {
    std::atomic<int> alive = 0;
    struct Counted {
        explicit Counted(std::atomic<int>& toCount) : count(&toCount) { ++*count; }
        Counted(const Counted& other) : count(other.count) { ++*count; }
        Counted& operator=(const Counted&) = delete;
        ~Counted() { --*count; }
        std::atomic<int>* count;
    };
    const int rounds = support::Rounds(200, 20'000);
    for (int round = 0; round < rounds; ++round) {
        auto bus = std::make_unique<SimpleMsgBus>();
        auto events = std::make_unique<core::AsyncEventBus>();
        std::unique_ptr<core::IWorker> worker(CreateWorker());
        Barrier start(3);
        std::array<std::vector<core::Timer>, 2> handles;
        std::vector<std::thread> threads;
        for (unsigned thread = 0; thread < 2; ++thread) {
            threads.emplace_back([&, thread] {
                std::mt19937 dice(static_cast<unsigned>(round) * 2 + thread);
                std::vector<core::Timer>& own = handles.at(thread);
                start.ArriveAndWait();
                for (int i = 0; i < 40; ++i) {
                    const nanoseconds when(dice() % 100'000);
                    const Counted counted(alive);
                    switch (dice() % 5) {
                        case 0:
                            own.push_back(core::PostEvery(*bus, when, Of(1)));
                            break;
                        case 1:
                            own.push_back(core::PostAfter(*worker, when, [counted] {}));
                            break;
                        case 2:
                            own.push_back(core::PostEvery(*worker, when, [counted] {}));
                            break;
                        case 3:
                            own.push_back(core::PostEvery(*events, when, counted));
                            break;
                        default:
                            if (!own.empty()) {
                                own[dice() % own.size()].Cancel();
                            }
                    }
                }
            });
        }
        start.ArriveAndWait();
        SimpleMessage message;
        for (int i = 0; i < 20; ++i) {
            bus->GetMsgWaitFor(message, 0);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        switch (round % 4) {
            case 0:
                worker->StopAndDrain();
                break;
            case 1:
                events.reset();
                break;
            case 2:
                // The drain runs on the worker's own thread, in a timer's function.
                core::PostAfter(*worker, nanoseconds(0),
                                [own = worker.get()] { own->StopAndDrain(); });
                break;
            default:
                bus.reset();
        }
        worker.reset();
        events.reset();
        bus.reset();
        for (std::vector<core::Timer>& own : handles) {
            for (core::Timer& timer : own) {
                EXPECT_FALSE(timer.Cancel());
            }
        }
        ASSERT_EQ(0, alive);
    }
}

TEST(Timers, MayHoldWhatCallsBack) {
    int calls = 0;
    const auto calling = [&](const std::function<void()>& ask) {
        return std::shared_ptr<void>(nullptr, [&calls, ask](void*) {
            ask();
            ++calls;
        });
    };
    const std::chrono::hours late(1);
    for (const bool isCancelled : {true, false}) {
        const std::unique_ptr<core::IWorker> worker(CreateWorker());
        auto events = std::make_unique<core::AsyncEventBus>();
        SimpleMsgBus bus;
        SimpleMessage message = Of(1);
        core::Timer timers[] = {
            core::PostAfter(*worker, late, [held = calling([&] { worker->GetTaskCount(); })] {}),
            core::PostAfter(*events, late,
                            calling([raw = events.get()] { raw->getQueueEventCount(); })),
            {}};
        message.payload = calling([&] { bus.Count(); });
        timers[2] = core::PostAfter(bus, late, message);
        message = {};
        for (core::Timer& timer : timers) {
            EXPECT_TRUE(timer.IsPending());
            EXPECT_EQ(isCancelled, isCancelled && timer.Cancel());
        }
        worker->StopAndDrain();
        events.reset();
        bus.Close();
        EXPECT_EQ(isCancelled ? 3 : 6, calls);
        EXPECT_FALSE(timers[0].IsPending() || timers[1].IsPending() || timers[2].IsPending());
    }
}

// A worker of another kind has no clock; what it is posted it runs as it likes.
TEST(Timers, AreOfTheLibrarysOwnWorkersAlone) {
    struct Other : core::IWorker {
        void PostTask(core::Task* task) override {
            task->Run();
            delete task;
        }
        int GetTaskCount() override { return 7; }
        void StopAndDrain() override {}
        void ThreadLoop() override {}
    } other;
    int runs = 0;
    struct Counting : core::Task {
        explicit Counting(int& toCount) : count(&toCount) {}
        void Run() override { ++*count; }
        int* count;
    };
    EXPECT_TRUE(core::PostTask(other, new Counting(runs), core::TaskOrder::Urgent));
    EXPECT_FALSE(core::PostTask(other, nullptr, core::TaskOrder::InTurn));
    EXPECT_EQ(1, runs);
    EXPECT_EQ(7U, core::CountersOf(other).waiting);
    EXPECT_FALSE(core::PostAfter(other, nanoseconds(0), [&] { ++runs; }).IsPending());
    const std::unique_ptr<core::IWorker> own(CreateWorker());
    EXPECT_FALSE(core::PostEvery(*own, nanoseconds(0), nullptr).IsPending());
    EXPECT_EQ(0U, core::CountersOf(*own).timers);
}

// A function and a copy of an event that throw, on the other thread, are reported.
TEST(Timers, ComeAgainAfterWhatThrows) {
    struct Event {
        explicit Event(std::atomic<int>& toCount) : count(&toCount) {}
        Event(const Event& other) : count(other.count), home(other.home) { ThrowElsewhere(); }
        Event& operator=(const Event&) = delete;
        void ThrowElsewhere() const {
            if (std::this_thread::get_id() != home) {
                ++*count % 2 == 0 ? throw std::runtime_error("on purpose") : throw 3;
            }
        }
        std::atomic<int>* count;
        std::thread::id home = std::this_thread::get_id();
    };
    const auto lines = support::Logged([] {
        std::array<std::atomic<int>, 2> counts{};
        const std::unique_ptr<core::IWorker> worker(CreateWorker());
        core::AsyncEventBus events;
        core::Timer call = core::PostEvery(*worker, microseconds(1),
                                           [event = Event(counts[0])] { event.ThrowElsewhere(); });
        core::Timer post = core::PostEvery(events, microseconds(1), Event(counts[1]));
        while (counts[0] < 4 || counts[1] < 4) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(call.IsPending() && post.IsPending());
        EXPECT_EQ(1U, core::CountersOf(events).timers);
        EXPECT_TRUE(call.Cancel() && post.Cancel());
        EXPECT_FALSE(call.IsPending() || post.IsPending());
    });
    for (const char* const expected :
         {"on purpose", "a timer's function threw", "a timer's event can't be copied"}) {
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find(expected) != std::string::npos;
        })) << expected;
    }
}

// Posters wait for room, many read in batches: nothing is lost, each poster's messages keep
// their order, and the limit holds.
TEST(Limits, HoldAndKeepEachPostersOrder) {
    constexpr int kPosters = 3;
    constexpr std::size_t kLimit = 7;
    const int each = support::Rounds(3'000, 100'000);
    SimpleMsgBus bus;
    core::SetLimit(bus, {kLimit, WhenFull::Wait});
    std::atomic<int> faults = 0;
    std::atomic<int> read = 0;
    std::vector<std::thread> readers;
    for (int reader = 0; reader < 2; ++reader) {
        readers.emplace_back([&] {
            std::array<int, kPosters> last{};
            std::array<SimpleMessage, 3> messages;
            for (;;) {
                const auto taken = core::GetMsgs(bus, messages.data(), messages.size());
                if (taken.result != core::MsgBusWaitRet::Ok) {
                    return;
                }
                for (std::size_t i = 0; i < taken.count; ++i) {
                    int& before = last.at(static_cast<std::size_t>(messages.at(i).arg));
                    faults += messages.at(i).code > before ? 0 : 1;
                    before = messages.at(i).code;
                }
                read += static_cast<int>(taken.count);
            }
        });
    }
    std::vector<std::thread> posters;
    for (int poster = 0; poster < kPosters; ++poster) {
        posters.emplace_back([&, poster] {
            for (int i = 1; i <= each; ++i) {
                faults += bus.AddMsg({i, poster}) ? 0 : 1;
            }
        });
    }
    for (std::thread& poster : posters) {
        poster.join();
    }
    while (read != kPosters * each) {
        std::this_thread::yield();
    }
    EXPECT_LE(core::CountersOf(bus).highest, kLimit);
    EXPECT_EQ(0, faults);
    bus.Close();
    for (std::thread& reader : readers) {
        reader.join();
    }
    SimpleMsgBus full;
    core::SetLimit(full, {1, WhenFull::Wait});
    full.AddMsg(Of(1));
    for (const bool isClosed : {false, true}) {
        std::thread waiting([&] { EXPECT_EQ(isClosed, !full.AddMsg(Of(2))); });
        std::thread another([&] { EXPECT_EQ(isClosed, !full.AddMsg(Of(2))); });
        std::this_thread::sleep_for(milliseconds(5));
        isClosed ? full.Close() : core::SetLimit(full, {3, WhenFull::Wait});
        waiting.join();
        another.join();
    }
    EXPECT_EQ(3U, core::CountersOf(full).dropped);
    // Room comes also when a loop takes a message in hand.
    SimpleMsgBus ofLoop;
    core::SetLimit(ofLoop, {1, WhenFull::Wait});
    ofLoop.AddMsg(Of(1));
    support::Event isAdded;
    std::thread waiting([&] {
        EXPECT_TRUE(ofLoop.AddMsg(Of(2)));
        isAdded.Set();
    });
    std::this_thread::sleep_for(milliseconds(5));
    struct Waiting : core::MessageLoop {
        using core::MessageLoop::OnMessage;
        void OnMessage(const SimpleMessage&) override { event->Wait(); }
        support::Event* event = nullptr;
    } loop;
    loop.event = &isAdded;
    loop.SetMsgBus(&ofLoop);
    loop.Launch();
    waiting.join();
    ofLoop.Close();
    loop.WaitExit();
}

// What a handler posts to its own loop goes past the limit instead of waiting for itself,
// and dropping takes neither the message that it is in nor one that it does not count.
TEST(Limits, LetALoopGoOn) {
    for (const WhenFull whenFull : {WhenFull::Wait, WhenFull::DropOldest}) {
        support::Event hasBegun;
        support::Event mayGoOn;
        support::Event isOver;
        std::vector<int> handled;
        Handling* self = nullptr;
        Handling loop([&](const SimpleMessage& message) {
            handled.push_back(message.code);
            if (message.code == 1) {
                hasBegun.Set();
                mayGoOn.Wait();
                for (int code = 4; code <= 6; ++code) {
                    EXPECT_TRUE(self->bus.AddMsg(Of(code)));
                }
            } else if (message.code == 6) {
                isOver.Set();
            }
        });
        self = &loop;
        loop.bus.AddMsg(Of(1));
        hasBegun.Wait();
        core::SetLimit(loop.bus, {2, whenFull});
        loop.bus.AddMsg(Of(2));
        loop.bus.AddMsg(Of(3));
        EXPECT_EQ(2U, core::CountersOf(loop).waiting);
        mayGoOn.Set();
        isOver.Wait();
        loop.End();
        const bool drops = whenFull == WhenFull::DropOldest;
        EXPECT_EQ(drops ? (std::vector<int>{1, 5, 6}) : (std::vector<int>{1, 2, 3, 4, 5, 6}),
                  handled);
        const core::Counters counters = core::CountersOf(loop.bus);
        EXPECT_EQ(drops ? 3U : 0U, counters.dropped);
        EXPECT_EQ(6U, counters.posted);
        EXPECT_EQ(handled.size(), counters.done);
    }
}

TEST(Threads, AreKnownByWhatTheyServe) {
    const std::unique_ptr<core::IWorker> worker(CreateWorker());
    const std::unique_ptr<core::IWorker> other(CreateWorker());
    core::AsyncEventBus events;
    support::Event isHandled;
    support::Event isHeard;
    Handling* self = nullptr;
    Handling loop([&](const SimpleMessage&) {
        CORE_ASSERT_THREAD_OF(*self);
        EXPECT_FALSE(core::IsThreadOf(*worker));
        isHandled.Set();
    });
    self = &loop;
    events.listen<int>([&](int) {
        CORE_ASSERT_THREAD_OF(events);
        isHeard.Set();
    });
    loop.bus.AddMsg(Of(1));
    events.post(1);
    EXPECT_TRUE(core::PostCall(*worker, [&] { return core::IsThreadOf(*worker); }).Get());
    EXPECT_FALSE(core::PostCall(*other, [&] { return core::IsThreadOf(*worker); }).Get());
    isHandled.Wait();
    isHeard.Wait();
    EXPECT_FALSE(core::IsThreadOf(loop) || core::IsThreadOf(events) || core::IsThreadOf(*worker));
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            const std::unique_ptr<core::IWorker> mine(CreateWorker());
            CORE_ASSERT_THREAD_OF(*mine);
        },
        "timer_test.cpp:.*: thread .* is not the thread of .mine");
}

TEST(CountersOfThreads, TellWhatWasDoneAndHowLongItTook) {
    const std::unique_ptr<core::IWorker> worker(CreateWorker());
    core::AsyncEventBus events;
    core::EventBus bus;
    support::Event isOver;
    const auto rest = [](milliseconds time) { std::this_thread::sleep_for(time); };
    Handling loop([&](const SimpleMessage& message) { rest(milliseconds(message.code)); });
    const auto hear = [&](const int& time) { rest(milliseconds(time)); };
    events.listen<int>(hear);
    bus.listen<int>(hear);
    EXPECT_EQ(milliseconds(0), core::CountersOf(*worker).longestRun);
    core::MeasureRuns(*worker);
    core::MeasureRuns(events);
    core::MeasureRuns(bus);
    core::MeasureRuns(loop);
    for (const int time : {0, 3, 0}) {
        core::PostCall(*worker, [=] { rest(milliseconds(time)); });
        events.post(time);
        bus.post(time);
        loop.bus.AddMsg(Of(time));
    }
    core::Timer later = core::PostAfter(*worker, std::chrono::hours(1), [] {});
    const auto check = [](const std::string& what, const std::function<core::Counters()>& ask) {
        while (ask().done < 3) {
            std::this_thread::yield();
        }
        const core::Counters counters = ask();
        EXPECT_EQ(3U, counters.posted) << what;
        EXPECT_EQ(0U, counters.waiting) << what;
        EXPECT_GE(counters.longestRun, milliseconds(3)) << what;
    };
    check("worker", [&] { return core::CountersOf(*worker); });
    check("events", [&] { return core::CountersOf(events); });
    check("bus", [&] { return core::CountersOf(bus); });
    check("loop", [&] { return core::CountersOf(loop); });
    EXPECT_EQ(1U, core::CountersOf(*worker).timers);
    EXPECT_GE(core::CountersOf(*worker).highest, 1U);
}

}  // namespace
