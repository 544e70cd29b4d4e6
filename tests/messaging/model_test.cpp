// A bus with limits, batches and timers beside a plain model, on a clock that the test sets.

#include <core/messaging/counters.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/queue_limit.h>
#include <core/messaging/timer.h>
#include <core/messaging/worker.h>

#include "core/messaging/access.h"
#include "core/messaging/message_queue.h"
#include "core/messaging/run_times.h"

#include <core/messaging/future.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/dice.h"
#include "support/event.h"
#include "support/long_run.h"

namespace {

using core::MsgBusWaitRet;
using core::SimpleMessage;
using core::WhenFull;
using std::chrono::nanoseconds;

/// The library's timers follow this one while it lives.
class FakeClock {
public:
    FakeClock() : before(core::TimerClock::Replace([] { return now.load(); })) {}
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;
    ~FakeClock() { core::TimerClock::Replace(before); }

    static inline std::atomic<std::int64_t> now = 1'000'000'000;

private:
    core::TimerClock::Reading before;
};

/// What a bus says that it does, as simply as it can be written.
struct Model {
    struct Timer {
        int code;
        std::int64_t due;
        std::int64_t period;
        core::Timer handle;
    };

    void Serve() {
        for (;;) {
            auto first =
                std::min_element(timers.begin(), timers.end(),
                                 [](const Timer& a, const Timer& b) { return a.due < b.due; });
            if (first == timers.end() || first->due > FakeClock::now) {
                return;
            }
            const bool waits = std::count(queue.begin(), queue.end(), first->code) > 0;
            if (first->period == 0 || !waits) {
                queue.push_back(first->code);
                Added();
            }
            if (first->period == 0) {
                timers.erase(first);
                continue;
            }
            while (first->due <= FakeClock::now) {
                first->due += first->period;
            }
        }
    }
    std::size_t Waiting() const { return queue.size() - (isHandled && !queue.empty() ? 1 : 0); }
    void Added() {
        ++expected.posted;
        expected.highest = std::max<std::uint64_t>(expected.highest, Waiting());
    }
    void Drop(std::size_t toCount) {
        for (; Waiting() > toCount; ++expected.dropped) {
            queue.erase(queue.begin() + (isHandled ? 1 : 0));
        }
    }
    bool Add(int code) {
        if (limit.count > 0 && Waiting() >= limit.count) {
            if (limit.whenFull == WhenFull::Refuse) {
                ++expected.refused;
                return false;
            }
            Drop(limit.count - 1);
        }
        queue.push_back(code);
        Added();
        return true;
    }
    int Take() {
        const int code = queue.front();
        queue.pop_front();
        ++expected.done;
        return code;
    }
    void Check(const core::Counters& is) const {
        EXPECT_EQ(expected.posted, is.posted);
        EXPECT_EQ(expected.done, is.done);
        EXPECT_EQ(expected.refused, is.refused);
        EXPECT_EQ(expected.dropped, is.dropped);
        EXPECT_EQ(expected.highest, is.highest);
        EXPECT_EQ(Waiting(), is.waiting);
        EXPECT_EQ(timers.size(), is.timers);
    }

    std::deque<int> queue;
    std::vector<Timer> timers;  // in the order of their arming
    core::QueueLimit limit;
    core::Counters expected;
    /// A loop has the first message in hand.
    bool isHandled = false;
};

struct Simple {
    using Bus = core::SimpleMsgBus;
    using Message = SimpleMessage;
    static Message Make(int code) { return {code}; }
    static int CodeOf(const Message& message) { return message.code; }
};

struct Versatile {
    using Bus = core::VersatileMsgBus;
    using Message = Bus::Handle;
    static Message Make(int code) { return std::make_shared<core::VersatileMessage>(code); }
    static int CodeOf(const Message& message) { return message ? message->MessageId() : 0; }
};

template <class Kind>
class Buses : public testing::Test {};
using BusKinds = testing::Types<Simple, Versatile>;
TYPED_TEST_SUITE(Buses, BusKinds);

TYPED_TEST(Buses, WithLimitsBatchesTimersAndALoopFollowTheModel) {
    constexpr std::int64_t kForEver = std::numeric_limits<std::int64_t>::max();
    const FakeClock clock;
    for (int round = 0; round < support::Rounds(300, 1'000'000); ++round) {
        SCOPED_TRACE("seed " + std::to_string(round));
        Dice dice(static_cast<std::uint64_t>(round));
        typename TypeParam::Bus bus;
        auto& queue = *core::MessagingAccess::ImplOf(bus);
        Model model;
        auto out = TypeParam::Make(0);
        const auto expectFirst = [&](bool isTaken) {
            EXPECT_EQ(isTaken ? model.Take() : model.queue.front(), TypeParam::CodeOf(out));
        };
        // Grows for a while and shrinks for a while, to all sizes in the long rounds.
        const bool isLong = round % 50 == 0;
        for (int code = 1; code < (isLong ? 10'000 : 200) && !testing::Test::HasFailure(); ++code) {
            const bool isGrowing = isLong && code / 500 % 2 == 0;
            const auto message = TypeParam::Make(code);
            const int action = dice.Below(isGrowing ? 30 : 16);
            const auto room = static_cast<std::size_t>(dice.Below(6));
            if (action > 5 && action < 11 && action != 9 && (action != 6 || room > 0)) {
                model.Serve();
            }
            const bool isEmpty = model.queue.empty();
            switch (action) {
                case 0:
                    model.limit.count =
                        static_cast<std::size_t>(dice.Below(6) * (isLong ? 150 : 1));
                    model.limit.whenFull = dice.OneIn(2) ? WhenFull::Refuse : WhenFull::DropOldest;
                    core::SetLimit(bus, model.limit);
                    if (model.limit.count > 0 && model.limit.whenFull == WhenFull::DropOldest) {
                        model.Drop(model.limit.count);
                    }
                    break;
                case 1:
                    ASSERT_TRUE(bus.InsertUrgentMsg(message));
                    model.queue.push_front(code);
                    model.Added();
                    break;
                case 2: {
                    const std::int64_t delay =
                        dice.OneIn(20) ? kForEver : dice.Below(20'000) - 1000;
                    const std::int64_t due = delay == kForEver ? delay : FakeClock::now + delay;
                    model.timers.push_back(
                        {code, due, 0, core::PostAfter(bus, nanoseconds(delay), message)});
                    break;
                }
                case 3: {
                    const std::int64_t period = dice.Below(11'000);
                    const std::int64_t used = std::max<std::int64_t>(period, 1000);
                    model.timers.push_back({code, FakeClock::now + used, used,
                                            core::PostEvery(bus, nanoseconds(period), message)});
                    break;
                }
                case 4:
                    if (!model.timers.empty()) {
                        const auto at = static_cast<std::size_t>(
                            dice.Below(static_cast<int>(model.timers.size())));
                        core::Timer copy = model.timers[at].handle;
                        EXPECT_TRUE(copy.IsPending());
                        EXPECT_TRUE(copy.Cancel());
                        EXPECT_FALSE(model.timers[at].handle.Cancel());
                        EXPECT_FALSE(copy.IsPending());
                        model.timers.erase(model.timers.begin() + static_cast<std::ptrdiff_t>(at));
                    }
                    break;
                case 5:
                    FakeClock::now += dice.Below(30'000);
                    break;
                case 6: {
                    std::vector<typename TypeParam::Message> taken(room, message);
                    const auto result =
                        core::GetMsgs(bus, taken.data(), taken.size(), isEmpty ? 0 : -1);
                    ASSERT_EQ(std::min(taken.size(), model.queue.size()), result.count);
                    EXPECT_EQ(result.count > 0 ? MsgBusWaitRet::Ok : MsgBusWaitRet::Timeout,
                              result.result);
                    for (std::size_t i = 0; i < taken.size(); ++i) {
                        EXPECT_EQ(i < result.count ? model.Take() : 0, TypeParam::CodeOf(taken[i]));
                    }
                    break;
                }
                case 7:
                case 8: {
                    const bool isTaken = action == 7;
                    ASSERT_EQ(!isEmpty, isTaken ? bus.TryGetMsg(out) : bus.PeekMsg(out));
                    if (!isEmpty) {
                        expectFirst(isTaken);
                    }
                    break;
                }
                case 9:
                    ASSERT_EQ(!isEmpty, bus.PopMsg());
                    if (!isEmpty) {
                        model.Take();
                    }
                    break;
                case 10: {
                    const std::int64_t limits[] = {0, -1, std::numeric_limits<std::int64_t>::min(),
                                                   kForEver};
                    const int way = dice.Below(isEmpty ? 3 : 6);
                    ASSERT_EQ(isEmpty ? MsgBusWaitRet::Timeout : MsgBusWaitRet::Ok,
                              way < 4    ? bus.GetMsgWaitFor(out, limits[way])
                              : way == 4 ? bus.GetMsg(out)
                                         : bus.PeekMsgWait(out));
                    if (!isEmpty) {
                        expectFirst(way < 5);
                    }
                    break;
                }
                case 11:
                    // A handler that reads the bus of its own loop takes what it handles.
                    if (model.isHandled) {
                        const bool isLeft = dice.OneIn(4);
                        isLeft ? queue.LeaveUnhandled() : queue.PopHandled();
                        model.isHandled = false;
                        if (!isLeft && !isEmpty) {
                            model.Take();
                        }
                    } else if (!isEmpty) {
                        model.Serve();
                        ASSERT_EQ(MsgBusWaitRet::Ok, queue.PeekToHandle(out));
                        expectFirst(false);
                        model.isHandled = true;
                    }
                    break;
                default:
                    EXPECT_EQ(model.Add(code), bus.AddMsg(message));
            }
            EXPECT_EQ(model.queue.size(), static_cast<std::size_t>(bus.Count()));
            model.Check(core::CountersOf(bus));
        }
        // What waits goes; what a loop has in hand counts as done.
        model.expected.dropped += model.Waiting();
        model.expected.done += model.queue.size() - model.Waiting();
        model.queue.clear();
        core::Timer last = model.timers.empty() ? core::Timer() : model.timers[0].handle;
        model.timers.clear();
        bus.Close();
        EXPECT_FALSE(last.Cancel());
        queue.PopHandled();
        model.Check(core::CountersOf(bus));
    }
}

// Many at a time: every one at its time, whatever else was cancelled meanwhile.
TEST(BusTimers, AreManyAtATime) {
    const FakeClock clock;
    const int count = support::Rounds(20'000, 1'000'000);
    core::SimpleMsgBus bus;
    Dice dice(1);
    std::vector<core::Timer> timers;
    std::vector<std::int64_t> dues;
    for (int i = 0; i < count; ++i) {
        SimpleMessage message;
        message.param1 = FakeClock::now + dice.Below(1'000'000);
        timers.push_back(
            core::PostAfter(bus, nanoseconds(message.param1 - FakeClock::now), message));
        if (dice.OneIn(3)) {
            dues.push_back(message.param1);
        } else {
            timers.back().Cancel();
        }
    }
    EXPECT_EQ(dues.size(), core::CountersOf(bus).timers);
    std::sort(dues.begin(), dues.end());
    std::size_t next = 0;
    SimpleMessage message;
    for (int step = 0; step < 100; ++step) {
        FakeClock::now += 10'000;
        for (; bus.TryGetMsg(message); ++next) {
            ASSERT_LT(next, dues.size());
            ASSERT_EQ(dues[next], message.param1);
        }
        ASSERT_TRUE(next == dues.size() || dues[next] > FakeClock::now);
    }
    EXPECT_EQ(dues.size(), next);
}

TEST(RunTimes, TellOfEachRunWhereSomebodyAsks) {
    static std::vector<std::string> told;
    const core::SpanSink tell = [](const char* name, std::int64_t begin,
                                   std::int64_t end) noexcept {
        told.push_back(name + std::string(end - begin >= 2'000'000 ? " long" : ""));
    };
    for (const bool isTold : {false, true}) {
        for (const bool isMeasured : {false, true}) {
            told.clear();
            core::RunTimes times;
            core::EventBus bus;
            times.Measure(isMeasured);
            core::MeasureRuns(bus, isMeasured);
            const core::SpanSink before = core::spanSink.exchange(isTold ? tell : nullptr);
            const auto rest = [] { std::this_thread::sleep_for(std::chrono::milliseconds(2)); };
            bus.listen<int>([&](int) { rest(); });
            times.Time("a", rest);
            times.TimeAlone("b", [] {});
            bus.post(1);
            core::spanSink.store(before);
            EXPECT_EQ(isTold ? 3U : 0U, told.size());
            EXPECT_TRUE(!isTold || (told[0] == "a long" && told[1].front() == 'b' &&
                                    told[2] == "deliver event long"));
            EXPECT_EQ(2U, times.Done());
            EXPECT_EQ(isMeasured, times.Longest() >= std::chrono::milliseconds(2));
            EXPECT_EQ(times.Longest().count() > 0, core::CountersOf(bus).longestRun.count() > 0);
            times.Measure(true);
            EXPECT_EQ(nanoseconds(0), times.Longest());
        }
    }
}

/// What a worker and an event bus do at steady times, in the same words.
struct OnWorker {
    core::Timer Every(nanoseconds period, std::function<void()> tick) {
        return core::PostEvery(*worker, period, std::move(tick));
    }
    core::Timer After(nanoseconds delay, std::function<void()> tick) {
        return core::PostAfter(*worker, delay, std::move(tick));
    }
    /// Twice: what the first one finds due runs before the second.
    void Settle() {
        core::WaitForPosted(*worker);
        core::WaitForPosted(*worker);
    }

    core::Counters Count() { return core::CountersOf(*worker); }

    std::unique_ptr<core::IWorker> worker{CreateWorker()};
};

struct OnEventBus {
    using Tick = std::function<void()>;

    OnEventBus() {
        bus.listen<Tick>([](const Tick& tick) { tick(); });
        bus.listen<support::Event*>([](support::Event* const& event) { event->Set(); });
    }
    core::Timer Every(nanoseconds period, Tick tick) { return core::PostEvery(bus, period, tick); }
    core::Timer After(nanoseconds delay, Tick tick) { return core::PostAfter(bus, delay, tick); }
    void Settle() {
        for (int i = 0; i < 2; ++i) {
            support::Event event;
            bus.post(&event);
            event.Wait();
        }
    }

    core::Counters Count() { return core::CountersOf(bus); }

    core::AsyncEventBus bus;
};

template <class Served>
class SteadyTimes : public testing::Test {};
using Kinds = testing::Types<OnWorker, OnEventBus>;
TYPED_TEST_SUITE(SteadyTimes, Kinds);

TYPED_TEST(SteadyTimes, DoNotDriftAndDoNotPileUp) {
    const FakeClock clock;
    TypeParam served;
    std::atomic<int> ticks = 0;
    std::atomic<int> once = 0;
    core::Timer every = served.Every(nanoseconds(1000), [&] { ++ticks; });
    core::Timer after = served.After(nanoseconds(5500), [&] { ++once; });
    const auto at = [&](std::int64_t time, int expectedTicks, int expectedOnce) {
        FakeClock::now += time;
        served.Settle();
        EXPECT_EQ(expectedTicks, ticks) << time;
        EXPECT_EQ(expectedOnce, once) << time;
    };
    at(999, 0, 0);
    at(1, 1, 0);
    at(900, 1, 0);
    at(3000, 2, 0);  // 4900: three of them are over, one comes
    at(100, 3, 0);   // 5000: still at whole periods
    at(500, 3, 1);
    at(499, 3, 1);
    at(1, 4, 1);
    EXPECT_FALSE(after.Cancel());
    EXPECT_EQ(1U, served.Count().timers);
    EXPECT_TRUE(every.Cancel());
    at(100'000, 4, 1);
    // Five of timers, and two to settle each of nine times.
    EXPECT_EQ(23U, served.Count().posted);
    EXPECT_EQ(0U, served.Count().timers + served.Count().waiting);
}

TYPED_TEST(SteadyTimes, MayEndThemselvesAndOthers) {
    const FakeClock clock;
    TypeParam served;
    std::atomic<int> ticks = 0;
    core::Timer own;
    core::Timer other = served.Every(nanoseconds(1500), [&] { ++ticks; });
    own = served.Every(nanoseconds(1000), [&] {
        ++ticks;
        EXPECT_TRUE(own.Cancel());
        EXPECT_TRUE(other.Cancel());
        if (ticks == 1) {
            other = served.After(nanoseconds(0), [&] { ticks += 100; });
        }
    });
    FakeClock::now += 1000;
    served.Settle();
    served.Settle();
    EXPECT_EQ(101, ticks);
    FakeClock::now += 5000;
    served.Settle();
    EXPECT_EQ(101, ticks);
}

TEST(WorkerTimers, AreCancelledUntilTheirFunctionBegins) {
    const FakeClock clock;
    OnWorker served;
    std::atomic<int> runs = 0;
    support::Event isBusy;
    support::Event mayEnd;
    core::Timer posted;
    // Both are posted at once, and the first one ends the second.
    core::Timer first = served.After(nanoseconds(1), [&] {
        isBusy.Set();
        mayEnd.Wait();
    });
    posted = served.After(nanoseconds(2), [&] { ++runs; });
    FakeClock::now += 10;
    core::PostCall(*served.worker, [] {});
    isBusy.Wait();
    EXPECT_TRUE(posted.IsPending());
    EXPECT_TRUE(posted.Cancel());
    EXPECT_FALSE(first.Cancel());
    mayEnd.Set();
    served.Settle();
    EXPECT_EQ(0, runs);
    served.worker->StopAndDrain();
    EXPECT_FALSE(served.After(nanoseconds(0), [&] { ++runs; }).IsPending());
}

}  // namespace
