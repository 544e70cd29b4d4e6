#include "core/foundation/mutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "support/barrier.h"

namespace core {
namespace {

/// The holders of these locks end as threads do.
struct Owner {
    void Abandon() { ADD_FAILURE() << "its holder is not gone"; }
} owner;

/// Threads that are in one at a time, some for longer than anybody spins for.
template <class AnyMutex, class Guard>
void TakeTurns(Guard guard) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 3000;
    AnyMutex mutex;
    int inside = 0;
    int count = 0;
    Barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            start.ArriveAndWait();
            for (int round = 0; round < kRounds; ++round) {
                guard(mutex, [&] {
                    EXPECT_EQ(1, ++inside);
                    if (round % 1000 == 0) {
                        std::this_thread::sleep_for(std::chrono::milliseconds(5));
                    }
                    ++count;
                    EXPECT_EQ(0, --inside);
                });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(kThreads * kRounds, count);
}

TEST(Mutexes, LetOneThreadInAtATime) {
    const auto locked = [](auto& mutex, const auto& act) CORE_NO_THREAD_SAFETY_ANALYSIS {
        Lock lock(mutex, owner);
        lock.unlock();
        lock.lock();
        act();
    };
    const auto briefly = [](auto& mutex, const auto& act) {
        const ScopedLock lock(mutex, owner);
        act();
    };
    TakeTurns<Mutex>(locked);
    TakeTurns<Mutex>(briefly);
    TakeTurns<SpinMutex>(locked);
    TakeTurns<SpinMutex>(briefly);
    TakeTurns<RecursiveMutex>([](RecursiveMutex& mutex, const auto& act)
                                  CORE_NO_THREAD_SAFETY_ANALYSIS {
                                      const RecursiveLock lock(mutex);
                                      for (int i = 0; i < 3; ++i) {
                                          const RecursiveLock again(mutex);
                                          const RecursiveLock andAgain(mutex);
                                      }
                                      act();
                                  });
}

}  // namespace
}  // namespace core
