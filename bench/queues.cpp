// Messages through a queue, beside a plain one and other libraries'.

#include "rounds.h"

#include <core/messaging/msg_bus.h>

#include <concurrentqueue/blockingconcurrentqueue.h>
#include <oneapi/tbb/concurrent_queue.h>
#include <boost/thread/concurrent_queues/sync_queue.hpp>

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <utility>

namespace bench {
namespace {

using core::SimpleMessage;

constexpr int kRoundTrips = 200'000;
constexpr int kMessages = 2'000'000;

class Ours {
public:
    void Put(const SimpleMessage& message) { bus.AddMsg(message); }
    void Take(SimpleMessage& out) { bus.GetMsg(out); }

private:
    core::SimpleMsgBus bus;
};

/// What one writes without a library.
class Plain {
public:
    void Put(const SimpleMessage& message) {
        {
            const std::lock_guard lock(mutex);
            messages.push_back(message);
        }
        hasMessages.notify_one();
    }
    void Take(SimpleMessage& out) {
        std::unique_lock lock(mutex);
        hasMessages.wait(lock, [this] { return !messages.empty(); });
        out = std::move(messages.front());
        messages.pop_front();
    }

private:
    std::mutex mutex;
    std::condition_variable hasMessages;
    std::deque<SimpleMessage> messages;
};

class Tbb {
public:
    void Put(const SimpleMessage& message) { queue.push(message); }
    void Take(SimpleMessage& out) { queue.pop(out); }

private:
    oneapi::tbb::concurrent_bounded_queue<SimpleMessage> queue;
};

class Moodycamel {
public:
    void Put(const SimpleMessage& message) { queue.enqueue(message); }
    void Take(SimpleMessage& out) { queue.wait_dequeue(out); }

private:
    moodycamel::BlockingConcurrentQueue<SimpleMessage> queue;
};

class Boost {
public:
    void Put(const SimpleMessage& message) { queue.push(message); }
    void Take(SimpleMessage& out) { queue.pull(out); }

private:
    boost::sync_queue<SimpleMessage> queue;
};

SimpleMessage Numbered(int number) {
    SimpleMessage message;
    message.code = number;
    return message;
}

void Expect(std::int64_t expected, std::int64_t sum) {
    if (sum != expected) {
        std::fprintf(stderr, "messages are missing\n");
        std::exit(1);
    }
}

/// One thread asks, the other answers, and each waits for the other.
template <class Queue>
double RoundTrip() {
    Queue questions;
    Queue answers;
    std::thread answering([&] {
        SimpleMessage message;
        for (int i = 0; i < kRoundTrips; ++i) {
            questions.Take(message);
            answers.Put(message);
        }
    });
    std::int64_t sum = 0;
    SimpleMessage message;
    const WallClock::time_point begin = WallClock::now();
    for (int i = 0; i < kRoundTrips; ++i) {
        questions.Put(Numbered(i));
        answers.Take(message);
        sum += message.code;
    }
    const double nanoseconds = NanosecondsSince(begin) / kRoundTrips;
    answering.join();
    Expect(std::int64_t{kRoundTrips} * (kRoundTrips - 1) / 2, sum);
    return nanoseconds;
}

/// Some threads produce, this one consumes.
template <class Queue>
double Stream(int producers) {
    Queue queue;
    const int each = kMessages / producers;
    const WallClock::time_point begin = WallClock::now();
    std::thread producing(
        [&] { OnThreads(producers, each, nullptr, [&](int item) { queue.Put(Numbered(item)); }); });
    std::int64_t sum = 0;
    SimpleMessage message;
    for (int i = 0; i < each * producers; ++i) {
        queue.Take(message);
        sum += message.code;
    }
    const double nanoseconds = NanosecondsSince(begin) / (each * producers);
    producing.join();
    Expect(std::int64_t{producers} * each * (each - 1) / 2, sum);
    return nanoseconds;
}

template <class Queue>
RoundResult Run(int producers) {
    RoundResult result;
    result.nanosecondsPerItem = producers == 0 ? RoundTrip<Queue>() : Stream<Queue>(producers);
    return result;
}

}  // namespace

RoundResult RunQueueRound(const std::string& contestant, int producers) {
    if (contestant == "tbb") {
        return Run<Tbb>(producers);
    }
    if (contestant == "moodycamel") {
        return Run<Moodycamel>(producers);
    }
    if (contestant == "boost") {
        return Run<Boost>(producers);
    }
    return contestant == "plain" ? Run<Plain>(producers) : Run<Ours>(producers);
}

}  // namespace bench
