#include <core/messaging/counters.h>
#include <core/messaging/future.h>
#include <core/messaging/timer.h>
#include <core/messaging/worker.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "support/barrier.h"
#include "support/diary.h"
#include "support/dice.h"
#include "support/event.h"
#include "support/long_run.h"

namespace {

using core::IWorker;
using core::Task;
using support::Event;

/// Tasks that are alive; every test starts and ends at zero, or says why not.
std::atomic<int> livingTasks = 0;

class Call final : public Task {
public:
    explicit Call(std::function<void()> toRun) : action(std::move(toRun)) { ++livingTasks; }
    ~Call() override { --livingTasks; }
    void Run() override { action(); }

private:
    std::function<void()> action;
};

class Workers : public testing::Test {
protected:
    void SetUp() override { livingTasks = 0; }

    void Post(std::function<void()> action) { worker->PostTask(new Call(std::move(action))); }
    void PostMark(const std::string& mark) {
        Post([this, mark] { record.Add(mark); });
    }
    /// Keeps the thread in a task until `gate` opens; returns once it is in it.
    void Block() {
        Event entered;
        Post([&] {
            entered.Set();
            gate.Wait();
        });
        entered.Wait();
    }
    void Finish() {
        Event done;
        Post([&] { done.Set(); });
        done.Wait();
    }

    std::unique_ptr<IWorker> worker{CreateWorker()};
    support::Diary record;
    Event gate;
};

// Tasks that last until they are told to end, on the own thread and on some that are lent:
// which begins next and what is counted is as in a plain model.
TEST_F(Workers, FollowTheModel) {
    const std::thread::id home = std::this_thread::get_id();
    for (int round = 0; round < support::Rounds(100, 100'000); ++round) {
        SCOPED_TRACE("seed " + std::to_string(round));
        Dice dice(static_cast<std::uint64_t>(round));
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<int> begun;
        std::set<int> mayEnd;
        std::set<std::thread::id> threads;
        bool isOver = false;
        const auto end = [&](int id) {
            const std::lock_guard lock(mutex);
            mayEnd.insert(id);
            isOver = id < 0;
            changed.notify_all();
        };
        worker.reset(CreateWorker());
        const std::size_t all = 1 + static_cast<std::size_t>(round % 3);
        std::vector<std::thread> lent;
        while (lent.size() + 1 < all) {
            lent.emplace_back([this] { worker->ThreadLoop(); });
        }
        std::deque<int> urgent;
        std::deque<int> inTurn;
        std::vector<int> running;
        std::vector<int> expected;
        core::Counters counters;
        counters.highest = 1;
        for (int id = 0; id < 100; ++id) {
            // Grows for a while and shrinks for a while; the first ones reach all threads.
            if (id < 3 || dice.Below(10) < (id / 25 % 2 == 0 ? 7 : 4)) {
                const bool isUrgent = dice.OneIn(5);
                (isUrgent ? urgent : inTurn).push_back(id);
                ++counters.posted;
                auto* const task = new Call([&, id] {
                    std::unique_lock lock(mutex);
                    begun.push_back(id);
                    threads.insert(std::this_thread::get_id());
                    changed.notify_all();
                    changed.wait(lock, [&] {
                        return isOver || mayEnd.count(id) > 0 || std::this_thread::get_id() == home;
                    });
                });
                EXPECT_TRUE(core::PostTask(
                    *worker, task, isUrgent ? core::TaskOrder::Urgent : core::TaskOrder::InTurn));
            } else if (!running.empty()) {
                const auto at = running.begin() + dice.Below(static_cast<int>(running.size()));
                end(*at);
                running.erase(at);
                ++counters.done;
            }
            while (running.size() < all && urgent.size() + inTurn.size() > 0) {
                std::deque<int>& from = urgent.empty() ? inTurn : urgent;
                expected.push_back(from.front());
                running.push_back(from.front());
                from.pop_front();
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return begun.size() >= expected.size(); });
                ASSERT_EQ(expected, begun);
            }
            counters.waiting = urgent.size() + inTurn.size();
            counters.highest = std::max(counters.highest, counters.waiting);
            core::Counters is = core::CountersOf(*worker);
            while (is.done < counters.done) {
                is = core::CountersOf(*worker);
            }
            EXPECT_EQ(counters.posted, is.posted);
            EXPECT_EQ(counters.done, is.done);
            EXPECT_EQ(counters.waiting, is.waiting);
            EXPECT_EQ(counters.waiting, static_cast<std::uint64_t>(worker->GetTaskCount()));
            EXPECT_EQ(counters.highest, std::max<std::uint64_t>(1, is.highest));
            EXPECT_EQ(0U, is.timers + is.refused + is.dropped);
        }
        EXPECT_EQ(all, threads.size());
        EXPECT_EQ(0U, threads.count(home));
        expected.insert(expected.end(), urgent.begin(), urgent.end());
        expected.insert(expected.end(), inTurn.begin(), inTurn.end());
        const bool isDrained = round % 2 == 0;
        if (isDrained) {
            // Those that wait run here, beside those under way.
            worker->StopAndDrain();
            EXPECT_EQ(0, worker->GetTaskCount());
            EXPECT_EQ(counters.posted - running.size(), core::CountersOf(*worker).done);
        }
        end(-1);
        worker.reset();
        for (std::thread& thread : lent) {
            thread.join();
        }
        if (!isDrained && all > 1) {
            std::sort(begun.begin(), begun.end());
            std::sort(expected.begin(), expected.end());
        }
        EXPECT_EQ(expected, begun);
        EXPECT_EQ(0, livingTasks);
    }
}

TEST_F(Workers, CountWhatWaits) {
    Block();
    for (int posted = 1; posted <= 3; ++posted) {
        PostMark("x");
        worker->PostTask(nullptr);
    }
    Event done;
    Post([&] { done.Set(); });
    gate.Set();
    done.Wait();
    // The thread saw them all when it came to take some, and nobody has asked before.
    EXPECT_EQ(4U, core::CountersOf(*worker).highest);
    EXPECT_EQ("xxx", record.Text());
}

TEST_F(Workers, ATaskThatThrowsStopsNothingAndIsNotDestroyed) {
    auto* const thrower = new Call([] { throw std::runtime_error("no"); });
    worker->PostTask(thrower);
    PostMark("next");
    Finish();
    worker.reset();
    EXPECT_EQ("next", record.Text());
    EXPECT_EQ(1, livingTasks);
    delete thrower;
}

TEST_F(Workers, ADrainRunsTheQueueHereBesideTheTaskUnderWay) {
    Block();
    Call late([this] { record.Add("late"); });
    std::thread second;
    const auto here = std::this_thread::get_id();
    for (const char* mark : {"a", "b", "c"}) {
        Post([&, mark] {
            EXPECT_EQ(here, std::this_thread::get_id());
            record.Add(mark);
            if (*mark == 'b') {
                // Posting from a drained task neither waits nor is lost; from elsewhere, it is.
                PostMark("d");
                std::thread([&] { worker->PostTask(&late); }).join();
                // Another drain waits for this one.
                second = std::thread([&] {
                    worker->StopAndDrain();
                    EXPECT_EQ("abcd", record.Text());
                });
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    }
    worker->StopAndDrain();
    EXPECT_EQ("abcd", record.Text());
    EXPECT_EQ(0, worker->GetTaskCount());

    second.join();
    worker->PostTask(&late);
    worker->StopAndDrain();
    gate.Set();
    worker.reset();
    EXPECT_EQ("abcd", record.Text());
    EXPECT_EQ(1, livingTasks);
}

TEST_F(Workers, DestructionJoinsAndThenRunsTheRestInOrder) {
    Block();
    PostMark("a");
    Post([this, posted = worker.get(), here = std::this_thread::get_id()] {
        record.Add("b");
        const bool isPending = core::PostAfter(*posted, std::chrono::hours(1), [] {}).IsPending();
        EXPECT_FALSE(std::this_thread::get_id() == here && isPending);
        posted->PostTask(new Call([this] { record.Add("d"); }));
    });
    PostMark("c");
    std::thread opener([this] { gate.Set(); });
    worker.reset();
    opener.join();
    EXPECT_EQ("abcd", record.Text());
    EXPECT_EQ(0, livingTasks);
}

TEST_F(Workers, ATaskMayDrainItsOwnWorker) {
    Event done;
    Post([&] {
        worker->StopAndDrain();
        record.Add("z");
        done.Set();
    });
    done.Wait();
    EXPECT_EQ("z", record.Text());

    // Within a drain, another drain has nothing to add.
    worker.reset(CreateWorker());
    Block();
    Post([&] {
        worker->StopAndDrain();
        record.Add("1");
    });
    PostMark("2");
    worker->StopAndDrain();
    EXPECT_EQ("z12", record.Text());
    gate.Set();
}

TEST_F(Workers, ATaskThatDeletesItsWorkerIsToldAndLosesNothing) {
    IWorker* const raw = worker.release();
    std::error_code code;
    Event told;
    Event last;
    gate.Set();
    raw->PostTask(new Call([&, raw] {
        raw->PostTask(new Call([&] { last.Set(); }));
        try {
            delete raw;
        } catch (const std::system_error& error) {
            code = error.code();
        }
        told.Set();
    }));
    told.Wait();
    last.Wait();
    EXPECT_EQ(std::errc::resource_deadlock_would_occur, code);
}

// The best of several tries, as the machine may hold up any of them; a thread that waits
// for its next look at the flag takes nearly its whole second every time.
TEST_F(Workers, IdleOnesServeAndEndAtOnce) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    const auto rest = [] { std::this_thread::sleep_for(milliseconds(20)); };
    const auto waitForTimer = [](IWorker& idle) {
        Event isCalled;
        core::PostAfter(idle, milliseconds(3), [&] { isCalled.Set(); });
        isCalled.Wait();
    };
    struct Case {
        const char* name;
        int lent;
        std::function<void(IWorker&)> act;
    };
    const Case cases[] = {
        {"end", 0, [](IWorker&) {}},
        {"task", 0, [](IWorker& idle) { core::PostCall(idle, [] {}).Wait(); }},
        {"timer", 0, waitForTimer},
        {"sooner timer", 0,
         [=](IWorker& idle) {
             core::PostAfter(idle, milliseconds(1000), [] {});
             rest();
             waitForTimer(idle);
         }},
        {"stop", 1, [](IWorker&) {}},
        {"two tasks", 1,
         [](IWorker& idle) {
             Barrier both(2);
             const auto first = core::PostCall(idle, [&] { both.ArriveAndWait(); });
             core::PostCall(idle, [&] { both.ArriveAndWait(); }).Wait();
             first.Wait();
         }},
    };
    for (const Case& each : cases) {
        auto shortest = steady_clock::duration::max();
        for (int attempt = 0; attempt < 3; ++attempt) {
            std::unique_ptr<IWorker> idle(CreateWorker());
            std::vector<std::thread> lent;
            for (int i = 0; i < each.lent; ++i) {
                lent.emplace_back([&] { idle->ThreadLoop(); });
            }
            rest();
            const auto begin = steady_clock::now();
            each.act(*idle);
            if (each.lent > 0) {
                idle->StopAndDrain();
                lent[0].join();
            }
            idle.reset();
            shortest = std::min(shortest, steady_clock::now() - begin);
        }
        EXPECT_LT(shortest, milliseconds(900)) << each.name;
    }
    gate.Set();
}

struct Load {
    int posters;
    bool isDrained;
    int lent = 0;
};

class UnderLoad : public testing::TestWithParam<Load> {
protected:
    void SetUp() override { livingTasks = 0; }
};

// The model: what ran of each poster's tasks is the beginning of what it posted, each
// task once, and in order wherever no drain or lent thread runs beside the own one.
TEST_P(UnderLoad, EachTaskRunsOnceInItsPostersOrder) {
    constexpr std::size_t kTasks = 3000;
    constexpr int kRounds = 5;
    const auto [posters, isDrained, lent] = GetParam();
    for (int round = 0; round < kRounds; ++round) {
        struct Poster {
            std::vector<Task*> posted;
            std::vector<std::size_t> ran;
        };
        std::mutex mutex;
        std::vector<Poster> all(static_cast<std::size_t>(posters));
        std::unique_ptr<IWorker> worker(CreateWorker());
        Barrier start(posters + lent + 1);
        std::vector<std::thread> threads;
        for (Poster& poster : all) {
            threads.emplace_back([&] {
                for (std::size_t i = 0; i < kTasks; ++i) {
                    poster.posted.push_back(new Call([&, i] {
                        const std::lock_guard lock(mutex);
                        poster.ran.push_back(i);
                    }));
                }
                start.ArriveAndWait();
                for (Task* const task : poster.posted) {
                    worker->PostTask(task);
                }
            });
        }
        for (int i = 0; i < lent; ++i) {
            threads.emplace_back([&] {
                start.ArriveAndWait();
                worker->ThreadLoop();
            });
        }
        start.ArriveAndWait();
        while (lent > 0 && core::CountersOf(*worker).done < kTasks * all.size()) {
            std::this_thread::yield();
        }
        if (isDrained || lent > 0) {
            std::thread other([&] { worker->StopAndDrain(); });
            worker->StopAndDrain();
            other.join();
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        worker.reset();
        for (Poster& poster : all) {
            if (isDrained || lent > 0) {
                std::sort(poster.ran.begin(), poster.ran.end());
            }
            if (!isDrained) {
                EXPECT_EQ(kTasks, poster.ran.size());
            }
            for (std::size_t i = 0; i < poster.ran.size(); ++i) {
                ASSERT_EQ(i, poster.ran[i]);
            }
            // Those that came after the stop are still ours.
            std::for_each(poster.posted.begin() + static_cast<std::ptrdiff_t>(poster.ran.size()),
                          poster.posted.end(), [](Task* task) { delete task; });
        }
        EXPECT_EQ(0, livingTasks);
    }
}

INSTANTIATE_TEST_SUITE_P(Worker, UnderLoad,
                         testing::Values(Load{1, false}, Load{2, false}, Load{8, false},
                                         Load{1, true}, Load{2, true}, Load{8, true},
                                         Load{2, false, 1}),
                         [](const testing::TestParamInfo<Load>& load) {
                             return std::to_string(load.param.posters) + "Posters" +
                                    (load.param.isDrained ? "Drained" : "") +
                                    (load.param.lent > 0 ? "Lent" : "");
                         });

}  // namespace
