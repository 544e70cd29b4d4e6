#include <core/messaging/worker.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "support/barrier.h"
#include "support/diary.h"
#include "support/event.h"

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

TEST_F(Workers, RunTasksInOrderOnTheirOneThread) {
    std::vector<std::thread::id> threads;
    for (const char* mark : {"a", "b", "c"}) {
        Post([&, mark] {
            record.Add(mark);
            threads.push_back(std::this_thread::get_id());
        });
    }
    Finish();
    worker.reset();
    EXPECT_EQ("abc", record.Text());
    EXPECT_EQ(threads, std::vector<std::thread::id>(3, threads.front()));
    EXPECT_NE(threads.front(), std::this_thread::get_id());
    EXPECT_EQ(0, livingTasks);
}

TEST_F(Workers, CountWhatWaits) {
    Block();
    EXPECT_EQ(0, worker->GetTaskCount());
    for (int posted = 1; posted <= 3; ++posted) {
        PostMark("x");
        EXPECT_EQ(posted, worker->GetTaskCount());
    }
    worker->PostTask(nullptr);
    EXPECT_EQ(3, worker->GetTaskCount());
    gate.Set();
    Finish();
    EXPECT_EQ(0, worker->GetTaskCount());
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
    const auto here = std::this_thread::get_id();
    for (const char* mark : {"a", "b", "c"}) {
        Post([&, mark] {
            EXPECT_EQ(here, std::this_thread::get_id());
            record.Add(mark);
            if (*mark == 'b') {
                // Posting from a drained task neither waits nor is lost.
                PostMark("d");
            }
        });
    }
    worker->StopAndDrain();
    EXPECT_EQ("abcd", record.Text());
    EXPECT_EQ(0, worker->GetTaskCount());

    Call late([this] { record.Add("late"); });
    worker->PostTask(&late);
    worker->StopAndDrain();
    gate.Set();
    worker.reset();
    EXPECT_EQ("abcd", record.Text());
    EXPECT_EQ(1, livingTasks);
}

TEST_F(Workers, ADrainTakesWhatTheThreadHasSetAside) {
    constexpr int kTasks = 100;
    Block();
    Event isInFirst;
    Event mayEnd;
    Post([&] {
        isInFirst.Set();
        mayEnd.Wait();
    });
    std::vector<int> drained;
    for (int i = 0; i < kTasks; ++i) {
        Post([&, i] { drained.push_back(i); });
    }
    // The thread takes all of them out at once, and comes no further than the first.
    gate.Set();
    isInFirst.Wait();
    EXPECT_EQ(kTasks, worker->GetTaskCount());
    worker->StopAndDrain();
    mayEnd.Set();
    worker.reset();
    std::vector<int> all(kTasks);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(all, drained);
    EXPECT_EQ(0, livingTasks);
}

TEST_F(Workers, DestructionJoinsAndThenRunsTheRestInOrder) {
    Block();
    PostMark("a");
    Post([this, posted = worker.get()] {
        record.Add("b");
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

TEST_F(Workers, ALentThreadTakesTasksUntilTheStop) {
    Block();
    Event ranHere;
    std::thread lent([this] { worker->ThreadLoop(); });
    const auto lentId = lent.get_id();
    Post([&] {
        EXPECT_EQ(lentId, std::this_thread::get_id());
        ranHere.Set();
    });
    ranHere.Wait();
    worker->StopAndDrain();
    lent.join();
    gate.Set();
}

// The best of several tries, as the machine may hold up any of them; a thread that waits
// for its next look at the flag takes nearly its whole second every time.
TEST_F(Workers, IdleOnesEndAtOnceEvenWhenStoppedBefore) {
    using std::chrono::steady_clock;
    for (const bool isStopped : {false, true}) {
        auto shortest = steady_clock::duration::max();
        for (int attempt = 0; attempt < 5; ++attempt) {
            std::unique_ptr<IWorker> idle(CreateWorker());
            if (isStopped) {
                idle->StopAndDrain();
            }
            const auto begin = steady_clock::now();
            idle.reset();
            shortest = std::min(shortest, steady_clock::now() - begin);
        }
        EXPECT_LT(shortest, std::chrono::milliseconds(900));
    }
    gate.Set();
}

struct Load {
    int posters;
    bool isDrained;
};

class UnderLoad : public testing::TestWithParam<Load> {
protected:
    void SetUp() override { livingTasks = 0; }
};

// The model: what ran of each poster's tasks is the beginning of what it posted, each
// task once, and in order wherever no drain runs beside the thread.
TEST_P(UnderLoad, EachTaskRunsOnceInItsPostersOrder) {
    constexpr std::size_t kTasks = 3000;
    constexpr int kRounds = 5;
    const auto [posters, isDrained] = GetParam();
    for (int round = 0; round < kRounds; ++round) {
        struct Poster {
            std::vector<Task*> posted;
            std::vector<std::size_t> ran;
        };
        std::mutex mutex;
        std::vector<Poster> all(static_cast<std::size_t>(posters));
        std::unique_ptr<IWorker> worker(CreateWorker());
        Barrier start(posters + 1);
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
        start.ArriveAndWait();
        if (isDrained) {
            std::thread other([&] { worker->StopAndDrain(); });
            worker->StopAndDrain();
            other.join();
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        worker.reset();
        for (Poster& poster : all) {
            if (isDrained) {
                std::sort(poster.ran.begin(), poster.ran.end());
            } else {
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
                                         Load{1, true}, Load{2, true}, Load{8, true}),
                         [](const testing::TestParamInfo<Load>& load) {
                             return std::to_string(load.param.posters) + "Posters" +
                                    (load.param.isDrained ? "Drained" : "");
                         });

}  // namespace
