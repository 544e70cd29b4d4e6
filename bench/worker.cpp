// A task posted and run, beside a thread pool of one thread.

#include "rounds.h"

#include <core/messaging/worker.h>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include <atomic>
#include <memory>

namespace bench {
namespace {

constexpr int kTasks = 1'000'000;

class Count final : public core::Task {
public:
    explicit Count(std::atomic<int>& toRaise) : count(toRaise) {}
    void Run() override { count.fetch_add(1, std::memory_order_relaxed); }

private:
    std::atomic<int>& count;
};

}  // namespace

RoundResult RunWorkerRound(const std::string& contestant, int threads) {
    const int tasks = kTasks / threads;
    std::atomic<int> count = 0;
    const WallClock::time_point begin = WallClock::now();
    // Both are destroyed when everything has run.
    if (contestant == "core") {
        const std::unique_ptr<core::IWorker> worker(CreateWorker());
        OnThreads(threads, tasks, nullptr, [&](int) { worker->PostTask(new Count(count)); });
        while (count < tasks * threads) {
            std::this_thread::yield();
        }
    } else {
        boost::asio::thread_pool pool(1);
        OnThreads(threads, tasks, nullptr, [&](int) {
            boost::asio::post(pool, [&] { count.fetch_add(1, std::memory_order_relaxed); });
        });
        while (count < tasks * threads) {
            std::this_thread::yield();
        }
    }
    RoundResult result;
    result.nanosecondsPerItem = NanosecondsSince(begin) / (tasks * threads);
    return result;
}

}  // namespace bench
