#include "core/foundation/mutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

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
    const auto act = [&](int round) {
        EXPECT_EQ(1, ++inside);
        if (round % 1000 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        ++count;
        EXPECT_EQ(0, --inside);
    };
    std::vector<std::thread> threads(kThreads);
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int round = 0; round < kRounds; ++round) {
                guard(mutex, [&] { act(round); });
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
    TakeTurns<Mutex>(locked);
    TakeTurns<SpinMutex>(locked);
    TakeTurns<SpinMutex>([](SpinMutex& mutex, const auto& act) {
        const ScopedLock lock(mutex, owner);
        act();
    });
    TakeTurns<RecursiveMutex>([](RecursiveMutex& mutex, const auto& act)
                                  CORE_NO_THREAD_SAFETY_ANALYSIS {
                                      const RecursiveLock lock(mutex);
                                      { const RecursiveLock again(mutex), andAgain(mutex); }
                                      act();
                                  });
}

}  // namespace
}  // namespace core
