#include <core/messaging/msg_bus.h>
#include <core/messaging/queue_limit.h>
#include <core/messaging/timer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "support/allocations.h"
#include "support/barrier.h"
#include "support/dice.h"
#include "support/event.h"
#include "support/long_run.h"

namespace {

using core::MsgBusWaitRet;
using core::SimpleMessage;
using core::SimpleMsgBus;
using core::VersatileMessage;
using core::VersatileMsgBus;

constexpr std::int64_t kForEver = std::numeric_limits<std::int64_t>::max();

/// Calls a function when it goes.
class OnRelease {
public:
    explicit OnRelease(std::function<void()> toCall) : call(std::move(toCall)) {}
    OnRelease(const OnRelease&) = delete;
    OnRelease& operator=(const OnRelease&) = delete;
    ~OnRelease() { call(); }

private:
    std::function<void()> call;
};

class Numbered : public VersatileMessage {
public:
    Numbered(int id, std::shared_ptr<void> toCarry)
        : VersatileMessage(id), payload(std::move(toCarry)) {}

private:
    std::shared_ptr<void> payload;
};

/// Both kinds of buses in the same words: messages are made from numbers.
struct Simple {
    using Bus = SimpleMsgBus;
    using Message = SimpleMessage;
    static Message Make(int number, std::shared_ptr<void> payload = nullptr) {
        return {number, -number, 1, 2, 3LL << 40, std::move(payload)};
    }
    static int NumberOf(const Message& message) {
        EXPECT_EQ(-message.code, message.arg);
        EXPECT_EQ(3LL << 40, message.param3);
        return message.code;
    }
};

struct Versatile {
    using Bus = VersatileMsgBus;
    using Message = VersatileMsgBus::Handle;
    static Message Make(int number, std::shared_ptr<void> payload = nullptr) {
        return std::make_shared<Numbered>(number, std::move(payload));
    }
    static int NumberOf(const Message& message) { return message->MessageId(); }
};

template <class Kind>
class MsgBus : public testing::Test {
protected:
    using Message = typename Kind::Message;

    int Got(MsgBusWaitRet expected, MsgBusWaitRet actual) {
        EXPECT_EQ(expected, actual);
        return Kind::NumberOf(out);
    }

    typename Kind::Bus bus;
    Message out = Kind::Make(-1);
};

using Kinds = testing::Types<Simple, Versatile>;
TYPED_TEST_SUITE(MsgBus, Kinds);

TYPED_TEST(MsgBus, ClosedDiscardsWhatIsThereAndRefusesTheRest) {
    this->bus.AddMsg(TypeParam::Make(1));
    this->bus.AddMsg(TypeParam::Make(2));
    auto kept = TypeParam::Make(3);
    this->bus.AddMsg(kept);
    this->bus.Close();
    this->bus.Close();

    EXPECT_EQ(0, this->bus.Count());
    EXPECT_FALSE(this->bus.AddMsg(kept));
    EXPECT_FALSE(this->bus.InsertUrgentMsg(kept));
    EXPECT_FALSE(core::PostAfter(this->bus, std::chrono::nanoseconds(0), kept).IsPending());
    EXPECT_EQ(MsgBusWaitRet::Closed, core::GetMsgs(this->bus, &this->out, 1).result);
    this->out = TypeParam::Make(-1);
    EXPECT_EQ(3, TypeParam::NumberOf(kept));
    EXPECT_FALSE(this->bus.TryGetMsg(this->out));
    EXPECT_FALSE(this->bus.PeekMsg(this->out));
    EXPECT_FALSE(this->bus.PopMsg());
    EXPECT_EQ(-1, this->Got(MsgBusWaitRet::Closed, this->bus.GetMsg(this->out)));
    EXPECT_EQ(-1, this->Got(MsgBusWaitRet::Closed, this->bus.PeekMsgWait(this->out)));
    for (const std::int64_t limit : {std::int64_t{-1}, std::int64_t{0}, kForEver}) {
        EXPECT_EQ(-1, this->Got(MsgBusWaitRet::Closed, this->bus.GetMsgWaitFor(this->out, limit)));
    }
}

TYPED_TEST(MsgBus, ATimedReadWaitsItsTime) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, this->Got(MsgBusWaitRet::Timeout, this->bus.GetMsgWaitFor(this->out, 30)));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TYPED_TEST(MsgBus, CopiesShareTheQueue) {
    auto copy = this->bus;
    typename TypeParam::Bus assigned;
    assigned.AddMsg(TypeParam::Make(1));
    assigned = copy;
    EXPECT_EQ(0, assigned.Count());
    assigned.AddMsg(TypeParam::Make(2));
    assigned = typename TypeParam::Bus();
    EXPECT_EQ(2, this->Got(MsgBusWaitRet::Ok, copy.GetMsg(this->out)));
    copy.Close();
    EXPECT_FALSE(this->bus.AddMsg(TypeParam::Make(3)));
    EXPECT_TRUE(assigned.AddMsg(TypeParam::Make(4)));
}

// The queue's lock would not be free: these calls would wait for ever.
TYPED_TEST(MsgBus, IsFreeWhileAMessageIsReleased) {
    int released = 0;
    const auto add = [&](int messages) {
        for (int i = 0; i < messages; ++i) {
            this->bus.AddMsg(TypeParam::Make(i, std::make_shared<OnRelease>([&] {
                                                 ++released;
                                                 this->bus.PeekMsg(this->out);
                                                 EXPECT_LE(0, this->bus.Count());
                                             })));
        }
    };
    auto held = TypeParam::Make(0);
    add(100);
    EXPECT_TRUE(this->bus.PopMsg());
    EXPECT_EQ(1, released);
    // Each of these releases what the one before it has left in `held`.
    EXPECT_TRUE(this->bus.TryGetMsg(held));
    EXPECT_EQ(MsgBusWaitRet::Ok, this->bus.GetMsg(held));
    EXPECT_EQ(MsgBusWaitRet::Ok, this->bus.GetMsgWaitFor(held, 1));
    EXPECT_TRUE(this->bus.PeekMsg(held));
    EXPECT_EQ(4, released);
    EXPECT_EQ(MsgBusWaitRet::Ok, this->bus.PeekMsgWait(held));
    this->bus.Close();
    held = TypeParam::Make(0);
    this->out = TypeParam::Make(0);
    EXPECT_EQ(100, released);
}

TYPED_TEST(MsgBus, NeedsNoMemoryPerMessageOnceItHasHadItsLength) {
    constexpr int kLength = 100;
    const auto message = TypeParam::Make(1);
    std::vector<std::size_t> allocated;
    for (int lap = 0; lap < 100; ++lap) {
        for (int i = 0; i < kLength; ++i) {
            this->bus.AddMsg(message);
        }
        const std::size_t before = AllocationsSoFar();
        for (int i = 0; i < 1000; ++i) {
            this->bus.AddMsg(message);
            this->bus.GetMsg(this->out);
        }
        allocated.push_back(AllocationsSoFar() - before);
        while (this->bus.TryGetMsg(this->out)) {
        }
    }
    EXPECT_EQ(0U, *std::max_element(allocated.begin() + 1, allocated.end()));
}

TEST(VersatileBus, TheMovingAddTakesTheHandleOnSuccessOnly) {
    VersatileMsgBus bus;
    VersatileMsgBus::Handle base = std::make_shared<VersatileMessage>(1);
    auto derived = std::make_shared<Numbered>(2, nullptr);
    const VersatileMessage* const raw = derived.get();
    EXPECT_TRUE(bus.AddMsg(std::move(base)));
    EXPECT_TRUE(bus.AddMsg(std::move(derived)));
    EXPECT_EQ(nullptr, base);
    EXPECT_EQ(nullptr, derived);

    EXPECT_EQ(MsgBusWaitRet::Ok, bus.GetMsg(base));
    EXPECT_EQ(1, base->MessageId());
    VersatileMsgBus::Handle second;
    EXPECT_TRUE(bus.TryGetMsg(second));
    EXPECT_EQ(raw, second.get());
    EXPECT_EQ(1, second.use_count());

    bus.Close();
    derived = std::make_shared<Numbered>(3, nullptr);
    EXPECT_FALSE(bus.AddMsg(std::move(base)));
    EXPECT_FALSE(bus.AddMsg(std::move(derived)));
    EXPECT_EQ(1, base->MessageId());
    EXPECT_EQ(3, derived->MessageId());
    EXPECT_EQ(1, derived.use_count());
}

struct Crowd {
    int producers;
    int consumers;
    bool isClosedEarly;
};

class MessagesUnderLoad : public testing::TestWithParam<Crowd> {};

// Every accepted message is received once, or discarded by the close and released; those
// of one producer arrive in its order, but for the urgent ones.
TEST_P(MessagesUnderLoad, EachArrivesOnceOrGoesWithTheClose) {
    constexpr int kUrgentEvery = 97;
    const int producers = GetParam().producers;
    const int consumers = GetParam().consumers;
    const bool isClosedEarly = GetParam().isClosedEarly;
    const int each = support::Rounds(200'000, 10'000'000) / producers;
    SimpleMsgBus bus;
    std::atomic<int> accepted = 0;
    std::atomic<int> received = 0;
    std::atomic<int> released = 0;
    std::atomic<int> faults = 0;
    std::vector<std::vector<std::atomic<bool>>> isReceived;
    for (int i = 0; i < producers; ++i) {
        isReceived.emplace_back(static_cast<std::size_t>(each));
    }
    Barrier start(producers + consumers + 1);
    std::vector<std::thread> threads;
    for (int producer = 0; producer < producers; ++producer) {
        threads.emplace_back([&, producer] {
            start.ArriveAndWait();
            for (int i = 0; i < each; ++i) {
                SimpleMessage message{producer, i, 0, 0, 0, nullptr};
                // Some carry something, so that what is discarded shows.
                message.payload = std::shared_ptr<void>(nullptr, [&](void*) { ++released; });
                accepted +=
                    (i % kUrgentEvery == 0 ? bus.InsertUrgentMsg(message) : bus.AddMsg(message))
                        ? 1
                        : 0;
            }
        });
    }
    for (int consumer = 0; consumer < consumers; ++consumer) {
        threads.emplace_back([&, consumer] {
            Dice dice(static_cast<std::uint64_t>(consumer));
            std::vector<int> last(static_cast<std::size_t>(producers), -1);
            start.ArriveAndWait();
            for (;;) {
                SimpleMessage message;
                MsgBusWaitRet result = MsgBusWaitRet::Timeout;
                switch (dice.Below(8)) {
                    case 0:
                        bus.PeekMsgWait(message);
                        continue;
                    case 1:
                        bus.PeekMsg(message);
                        continue;
                    case 2:
                        result = bus.GetMsgWaitFor(message, dice.Below(3) - 1);
                        break;
                    case 3:
                        result = bus.TryGetMsg(message) ? MsgBusWaitRet::Ok : result;
                        break;
                    default:
                        result = bus.GetMsg(message);
                }
                if (result == MsgBusWaitRet::Closed) {
                    return;
                }
                if (result == MsgBusWaitRet::Ok) {
                    const auto producer = static_cast<std::size_t>(message.code);
                    const auto index = static_cast<std::size_t>(message.arg);
                    faults += isReceived[producer][index].exchange(true) ? 1 : 0;
                    if (message.arg % kUrgentEvery != 0) {
                        faults += message.arg <= last[producer] ? 1 : 0;
                        last[producer] = message.arg;
                    }
                    ++received;
                }
            }
        });
    }
    start.ArriveAndWait();
    if (isClosedEarly) {
        while (received < each / 2) {
            std::this_thread::yield();
        }
        bus.Close();
    }
    for (int i = 0; i < producers; ++i) {
        threads[static_cast<std::size_t>(i)].join();
    }
    while (!isClosedEarly && received < accepted) {
        std::this_thread::yield();
    }
    bus.Close();
    for (std::size_t i = static_cast<std::size_t>(producers); i < threads.size(); ++i) {
        threads[i].join();
    }
    EXPECT_EQ(0, faults);
    EXPECT_EQ(each * producers, released);
    EXPECT_GE(accepted, received);
    if (!isClosedEarly) {
        EXPECT_EQ(each * producers, accepted);
        EXPECT_EQ(accepted, received);
    }
}

INSTANTIATE_TEST_SUITE_P(Crowds, MessagesUnderLoad,
                         testing::Values(Crowd{1, 1, false}, Crowd{2, 1, false}, Crowd{1, 2, true},
                                         Crowd{8, 8, false}, Crowd{8, 8, true}));

}  // namespace
