// Waiters that are asleep for certain, which the outside can't see.

#include "core/messaging/message_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "support/long_run.h"

namespace {

using core::MsgBusWaitRet;
using core::SimpleMessage;

using Queue = core::MessageQueue<SimpleMessage>;
using Wait = std::function<MsgBusWaitRet(Queue&, SimpleMessage&)>;

constexpr std::int64_t kLongest = std::numeric_limits<std::int64_t>::max();

const Wait kGet = [](Queue& queue, SimpleMessage& out) { return queue.Get(out); };
const Wait kPeek = [](Queue& queue, SimpleMessage& out) { return queue.PeekWait(out); };
Wait GetFor(std::int64_t ms) {
    return [=](Queue& queue, SimpleMessage& out) { return queue.GetFor(out, ms); };
}

/// Threads that wait on a queue, all of them asleep when the constructor returns.
class Sleepers {
public:
    explicit Sleepers(const std::vector<Wait>& waits) {
        for (const Wait& wait : waits) {
            threads.emplace_back([this, wait] {
                SimpleMessage message;
                const MsgBusWaitRet result = wait(*queue, message);
                got += result == MsgBusWaitRet::Ok ? message.code : 0;
                closed += result == MsgBusWaitRet::Closed ? 1 : 0;
            });
        }
        WaitFor(waits.size());
    }
    ~Sleepers() { Join(); }

    /// Until so many are asleep.
    void WaitFor(std::size_t count) {
        while (queue->Sleepers() != static_cast<int>(count)) {
            std::this_thread::yield();
        }
    }
    void Join() {
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
    }

    std::shared_ptr<Queue> queue = Queue::Make();
    std::atomic<int> got = 0;
    std::atomic<int> closed = 0;

private:
    std::vector<std::thread> threads;
};

SimpleMessage Of(int code) {
    SimpleMessage message;
    message.code = code;
    return message;
}

TEST(MsgBusSleepers, EachMessageWakesOne) {
    for (int round = 0; round < support::Rounds(50, 10'000); ++round) {
        Sleepers sleepers({kGet, GetFor(kLongest), GetFor(kLongest / 1'000'000), GetFor(60'000)});
        for (const int code : {1, 10, 100, 1000}) {
            // At once, while the earlier ones are still on their way.
            sleepers.queue->Add(Of(code));
        }
        sleepers.Join();
        EXPECT_EQ(1111, sleepers.got);
    }
}

TEST(MsgBusSleepers, APeekedMessageWakesTheNextOneToo) {
    for (int round = 0; round < support::Rounds(50, 10'000); ++round) {
        Sleepers sleepers({kPeek, kPeek, kPeek, kPeek});
        sleepers.queue->Add(Of(7));
        sleepers.Join();
        EXPECT_EQ(28, sleepers.got);
        EXPECT_EQ(1, sleepers.queue->Count());
    }
}

TEST(MsgBusSleepers, AWakeUpThatComesTooLateIsNoLongerCounted) {
    Sleepers sleepers({kGet, kGet});
    // Gone again before anybody can have it, or not: the next message finds a sleeper.
    for (int round = 0; round < 200; ++round) {
        sleepers.queue->Add(Of(0));
        if (!sleepers.queue->Pop()) {
            break;
        }
    }
    sleepers.queue->Add(Of(1));
    sleepers.queue->Add(Of(1));
    sleepers.Join();
}

TEST(MsgBusSleepers, CloseEndsEveryKindOfWait) {
    Sleepers sleepers({kGet, kPeek, GetFor(kLongest), kGet, kPeek, GetFor(60'000)});
    sleepers.queue->Close();
    sleepers.Join();
    EXPECT_EQ(6, sleepers.closed);
}

}  // namespace
