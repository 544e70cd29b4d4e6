#include <core/messaging/future.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <limits>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "support/barrier.h"
#include "support/event.h"
#include "support/long_run.h"

namespace {

using core::CallState;
using core::Future;
using core::PostCall;
using core::TaskOrder;

class Futures : public testing::Test {
protected:
    /// Keeps the worker in a task until `gate` opens.
    void Block() {
        support::Event entered;
        PostCall(*worker, [&] {
            entered.Set();
            gate.Wait();
        });
        entered.Wait();
    }
    template <class Answer>
    static void ExpectBroken(Future<Answer>& future) {
        try {
            future.Get();
            ADD_FAILURE() << "it has an answer";
        } catch (const std::future_error& error) {
            EXPECT_EQ(std::future_errc::broken_promise, error.code());
        }
        EXPECT_FALSE(future.IsValid());
    }

    std::unique_ptr<core::IWorker> worker{CreateWorker()};
    support::Event gate;
};

TEST_F(Futures, GiveWhatTheCallAnswersOrThrows) {
    struct alignas(64) Wide {
        int number;
    };
    int here = 7;
    PostCall(*worker, [&] { ++here; }).Get();
    EXPECT_EQ(&here, &PostCall(*worker, [&]() -> int& { return here; }).Get());
    EXPECT_EQ(8, *PostCall(*worker, [owned = std::make_unique<int>(here)]() mutable {
                      return std::move(owned);
                  }).Get());
    EXPECT_EQ(9, PostCall(*worker, [wide = Wide{9}] { return wide; }).Get().number);
    Future<int> failing = PostCall(*worker, []() -> int { throw std::runtime_error("no"); });
    failing.Wait();
    EXPECT_EQ(CallState::Failed, failing.State());
    EXPECT_THROW(failing.Get(), std::runtime_error);
    EXPECT_THROW(failing.Get(), std::future_error);
    EXPECT_THROW(Future<int>().State(), std::future_error);
}

TEST_F(Futures, AreCancelledUntilTheCallBegins) {
    Block();
    int count = 0;
    Future<void> first = PostCall(*worker, [&] { ++count; });
    Future<void> second = PostCall(*worker, [&] { ++count; });
    EXPECT_EQ(CallState::Waiting, first.State());
    EXPECT_FALSE(first.WaitFor(1));
    std::thread waiter(
        [&] { EXPECT_TRUE(first.WaitFor(std::numeric_limits<std::int64_t>::max())); });
    EXPECT_TRUE(first.Cancel());
    EXPECT_TRUE(first.Cancel());
    waiter.join();
    ExpectBroken(first);
    gate.Set();
    second.Get();
    EXPECT_EQ(1, count);
}

TEST_F(Futures, OfAStoppedWorkerAreLost) {
    const auto held = std::make_shared<int>(1);
    worker->StopAndDrain();
    Future<int> late = PostCall(*worker, [held] { return *held; });
    EXPECT_EQ(CallState::Lost, late.State());
    EXPECT_EQ(1, held.use_count());
    ExpectBroken(late);
    core::WaitForPosted(*worker);
    EXPECT_FALSE(core::PostTask(*worker, nullptr, TaskOrder::Urgent));
}

TEST_F(Futures, UrgentCallsComeBeforeAllThatWait) {
    std::string done;
    const auto mark = [&](char letter) { return [&done, letter] { done += letter; }; };
    Block();
    // The first two are set aside by the thread once it leaves its task.
    PostCall(*worker, [&] {
        done += 'a';
        PostCall(*worker, mark('x'), TaskOrder::Urgent);
        PostCall(*worker, mark('y'), TaskOrder::Urgent);
    });
    PostCall(*worker, mark('b'));
    PostCall(*worker, mark('u'), TaskOrder::Urgent);
    EXPECT_EQ(3, worker->GetTaskCount());
    gate.Set();
    core::WaitForPosted(*worker);
    EXPECT_EQ("uaxyb", done);
    std::error_code code;
    PostCall(*worker, [&] {
        try {
            core::WaitForPosted(*worker);
        } catch (const std::system_error& error) {
            code = error.code();
        }
    }).Get();
    EXPECT_EQ(std::errc::resource_deadlock_would_occur, code);
}

// Futures wait, cancel and go on some threads while a worker runs their calls, is drained
// or destroyed. Each call ran once, or its future says that it never will.
TEST(FuturesUnderLoad, EachCallRunsOnceOrNever) {
    constexpr int kPosters = 3;
    for (int round = 0; round < support::Rounds(200, 20'000); ++round) {
        std::unique_ptr<core::IWorker> worker(CreateWorker());
        std::atomic<int> ran = 0;
        std::atomic<int> answered = 0;
        std::atomic<int> unknown = 0;
        Barrier start(kPosters + 1);
        std::vector<std::thread> posters;
        posters.reserve(kPosters);
        for (int poster = 0; poster < kPosters; ++poster) {
            posters.emplace_back([&, poster] {
                std::mt19937 dice(static_cast<unsigned>(round * kPosters + poster));
                start.ArriveAndWait();
                for (int i = 0; i < 20; ++i) {
                    Future<int> future = PostCall(
                        *worker, [&] { return ++ran; },
                        dice() % 3 == 0 ? TaskOrder::Urgent : TaskOrder::InTurn);
                    switch (dice() % 4) {
                        case 0:
                            if (future.Cancel()) {
                                break;
                            }
                            [[fallthrough]];
                        case 1:
                            try {
                                future.Get();
                                ++answered;
                            } catch (const std::future_error&) {
                            }
                            break;
                        default:
                            ++unknown;
                    }
                }
            });
        }
        start.ArriveAndWait();
        if (round % 2 == 0) {
            worker->StopAndDrain();
        }
        for (std::thread& poster : posters) {
            poster.join();
        }
        worker.reset();
        ASSERT_LE(answered, ran);
        ASSERT_LE(ran, answered + unknown);
    }
}

}  // namespace
