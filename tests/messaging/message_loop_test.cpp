#include <core/messaging/counters.h>
#include <core/messaging/message_loop.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "support/diary.h"
#include "support/event.h"
#include "support/long_run.h"

namespace {

using core::MessageLoop;
using core::SimpleMessage;
using core::SimpleMsgBus;
using core::VersatileMessage;
using core::VersatileMsgBus;
using support::Diary;

using Handler = std::function<void(const SimpleMessage&)>;

/// Writes into a diary; has no destructor, so that the base's is the one on trial.
class Writer : public MessageLoop {
public:
    explicit Writer(std::shared_ptr<Diary> toWrite, Handler toHandle = nullptr)
        : diary(std::move(toWrite)), handler(std::move(toHandle)) {}

    using MessageLoop::ThreadProc;
    void OnLoopStart() override { diary->Add("start "); }
    void OnLoopExit() override { diary->Add("exit "); }
    void OnMessage(const std::shared_ptr<VersatileMessage>& message) override {
        diary->Add("v" + std::to_string(message->MessageId()) + " ");
    }
    void OnMessage(const SimpleMessage& message) override {
        diary->Add(std::to_string(message.code) + " ");
        if (handler) {
            const Handler own = handler;  // it may destroy this loop
            own(message);
        }
    }

private:
    std::shared_ptr<Diary> diary;
    Handler handler;
};

class MessageLoops : public testing::Test {
protected:
    std::unique_ptr<Writer> Make(Handler handler = nullptr) {
        auto loop = std::make_unique<Writer>(diary, std::move(handler));
        loop->SetMsgBus(bus.get());
        return loop;
    }
    void Add(std::initializer_list<int> codes) {
        for (const int code : codes) {
            bus->AddMsg({code});
        }
    }

    std::unique_ptr<SimpleMsgBus> bus = std::make_unique<SimpleMsgBus>();
    std::shared_ptr<Diary> diary = std::make_shared<Diary>();
    support::Event reached;
    support::Event mayGoOn;
};

TEST_F(MessageLoops, HandleInOrderOnTheirThreadUntilTheClose) {
    std::vector<std::thread::id> threads;
    const auto loop = Make([&](const SimpleMessage& message) {
        threads.push_back(std::this_thread::get_id());
        if (message.code == 3) {
            bus->Close();
            bus->AddMsg({4});
        }
    });
    Add({1, 2, 3});
    EXPECT_TRUE(loop->Launch());
    loop->WaitExit();
    loop->WaitExit();
    EXPECT_EQ("start 1 2 3 exit ", diary->Text());
    EXPECT_EQ(std::vector<std::thread::id>(3, threads.front()), threads);
    EXPECT_NE(std::this_thread::get_id(), threads.front());
    // The bus stays closed: another thread starts and ends.
    EXPECT_TRUE(loop->Launch());
    loop->WaitExit();
    EXPECT_EQ("start 1 2 3 exit start exit ", diary->Text());
}

TEST_F(MessageLoops, OfTwoBusesTheSimpleOneIsTaken) {
    VersatileMsgBus rich;
    rich.AddMsg(std::make_shared<VersatileMessage>(7));
    const auto loop = Make([&](const SimpleMessage&) { bus->Close(); });
    loop->SetMsgBus(&rich);
    Add({1});
    loop->Launch();
    loop->WaitExit();
    EXPECT_EQ(1, rich.Count());

    loop->SetMsgBus(static_cast<SimpleMsgBus*>(nullptr));
    loop->Launch();
    while (rich.Count() > 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(1U, core::CountersOf(*loop).posted);
    rich.Close();
    loop->WaitExit();
    // Without any bus, it comes and goes.
    loop->SetMsgBus(static_cast<VersatileMsgBus*>(nullptr));
    EXPECT_TRUE(loop->Launch());
    loop->WaitExit();
    EXPECT_EQ("start 1 exit start v7 exit start exit ", diary->Text());
}

// Callers rely on it: the handled message is first until its handler returns, and an
// urgent one that comes meanwhile takes its place.
TEST_F(MessageLoops, AnUrgentMessageGoesInPlaceOfTheHandledOne) {
    bool isFirst = true;
    const auto loop = Make([&](const SimpleMessage& message) {
        if (message.code == 1 && std::exchange(isFirst, false)) {
            bus->InsertUrgentMsg({2});
            bus->InsertUrgentMsg({3});
        }
        if (message.code == 4) {
            bus->Close();
        }
    });
    Add({1, 4});
    loop->Launch();
    loop->WaitExit();
    EXPECT_EQ("start 1 2 1 4 exit ", diary->Text());
}

TEST_F(MessageLoops, KeepNothingOfAHandledMessage) {
    auto payload = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = payload;
    SimpleMessage message;
    message.payload = std::move(payload);
    const auto loop = Make();
    bus->AddMsg(std::exchange(message, {}));
    loop->Launch();
    while (!watched.expired()) {
        std::this_thread::yield();
    }
    bus->Close();
    loop->WaitExit();
}

TEST_F(MessageLoops, GoOnAfterAHandlerThatThrows) {
    const auto loop = Make([&](const SimpleMessage& message) {
        if (message.code == 3) {
            bus->Close();
        }
        throw std::runtime_error("no");
    });
    Add({1, 2, 3});
    loop->Launch();
    loop->WaitExit();
    EXPECT_EQ("start 1 2 3 exit ", diary->Text());
}

TEST_F(MessageLoops, CannotWaitForThemselves) {
    Writer* raw = nullptr;
    std::error_code code;
    const auto loop = Make([&](const SimpleMessage&) {
        reached.Set();
        mayGoOn.Wait();
        try {
            raw->WaitExit();
        } catch (const std::system_error& error) {
            code = error.code();
        }
        bus->Close();
    });
    raw = loop.get();
    Add({1});
    loop->Launch();
    reached.Wait();
    // Also while others wait for it, who are not disturbed.
    std::thread other([&] { raw->WaitExit(); });
    mayGoOn.Set();
    loop->WaitExit();
    other.join();
    EXPECT_EQ(std::errc::resource_deadlock_would_occur, code);
    EXPECT_EQ("start 1 exit ", diary->Text());
}

TEST_F(MessageLoops, ASecondLaunchIsWaitedForToo) {
    const auto loop = Make();
    EXPECT_TRUE(loop->Launch());
    EXPECT_TRUE(loop->Launch());
    bus->Close();
    loop->WaitExit();
    EXPECT_THAT(diary->Text(), testing::AnyOf("start start exit exit ", "start exit start exit "));
}

TEST_F(MessageLoops, AreDestroyedWhenTheBusIsClosedAndNotBefore) {
    std::atomic<bool> isClosed = false;
    std::thread closer;
    {
        MessageLoop loop;
        loop.SetMsgBus(bus.get());
        loop.Launch();
        closer = std::thread([&] {
            isClosed = true;
            bus->Close();
        });
    }
    EXPECT_TRUE(isClosed);
    closer.join();
}

TEST_F(MessageLoops, MayBeDestroyedByTheirHandler) {
    for (const bool hasCopy : {false, true}) {
        bus = std::make_unique<SimpleMsgBus>();
        std::unique_ptr<Writer> loop;
        loop = Make([&](const SimpleMessage&) {
            loop.reset();
            diary->Add("gone ");
        });
        auto copy = hasCopy ? std::make_unique<Writer>(*loop) : nullptr;
        Add({1, 2});
        loop->Launch();
        while (bus->Count() > 1) {
            std::this_thread::yield();
        }
        // Nothing else waits for a thread that has lost its loop.
        copy.reset();
        EXPECT_EQ(1, bus->Count());
    }
    EXPECT_EQ("start 1 gone start 1 gone ", diary->Text());
}

TEST_F(MessageLoops, AreAssignedWhileTheyRun) {
    const auto loop = Make();
    EXPECT_EQ(0U, core::CountersOf(*loop).posted);
    Writer copy(*loop);
    loop->Launch();
    MessageLoop& running = *loop;
    const MessageLoop& same = running;
    running = same;
    running = copy;
    Add({1});
    while (bus->Count() > 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(1U, core::CountersOf(copy).posted);
    bus->Close();
    loop->WaitExit();
    // Of another loop, with its bus; on a thread of the caller's, too.
    SimpleMsgBus open;
    Writer other(diary, [&](const SimpleMessage&) { open.Close(); });
    other.SetMsgBus(&open);
    *loop = other;
    open.AddMsg({2});
    std::thread lent([&] { loop->ThreadProc(); });
    lent.join();
    EXPECT_EQ("start 1 exit start 2 exit ", diary->Text());
    EXPECT_EQ(1U, core::CountersOf(other).done);
}

TEST_F(MessageLoops, LeaveInTheBusWhatComesAfterTheirEnd) {
    auto loop = Make();
    Writer copy(*loop);
    loop->Launch();
    while (diary->Text().empty()) {
        std::this_thread::yield();
    }
    // It waits for the next message by then; where it does not, the outcome is the same.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    loop.reset();
    Add({1, 2});
    copy.WaitExit();
    EXPECT_EQ(2U, core::CountersOf(*bus).waiting);
}

enum class Going { Launched, Copy, Assigned, Bus, Close, Exit };

struct Order {
    const char* name;
    std::vector<Going> order;
    bool hasExit;
};

class LoopsInAnyOrder : public MessageLoops, public testing::WithParamInterface<Order> {};

// Nothing hangs, nothing is touched after it went, and the last loop has joined.
TEST_P(LoopsInAnyOrder, EndInPeace) {
    for (int round = 0; round < support::Rounds(50, 20'000); ++round) {
        diary = std::make_shared<Diary>();
        bus = std::make_unique<SimpleMsgBus>();
        support::Event isHandled;
        auto launched = Make([&](const SimpleMessage&) { isHandled.Set(); });
        auto copy = std::make_unique<Writer>(*launched);
        auto assigned = std::make_unique<Writer>(diary);
        *assigned = *copy;
        ASSERT_TRUE(launched->Launch());
        Add({1});
        isHandled.Wait();
        for (const Going next : GetParam().order) {
            switch (next) {
                case Going::Launched:
                    launched.reset();
                    break;
                case Going::Copy:
                    copy.reset();
                    break;
                case Going::Assigned:
                    assigned.reset();
                    break;
                case Going::Bus:
                    bus.reset();
                    break;
                case Going::Close:
                    bus->Close();
                    break;
                case Going::Exit:
                    launched->WaitExit();
                    break;
            }
        }
        ASSERT_EQ(1, diary.use_count()) << "somebody still holds the diary";
        ASSERT_EQ(GetParam().hasExit ? "start 1 exit " : "start 1 ", diary->Text());
    }
}

using enum Going;
INSTANTIATE_TEST_SUITE_P(
    Orders, LoopsInAnyOrder,
    testing::Values(Order{"CopiesFirst", {Copy, Assigned, Close, Exit, Launched, Bus}, true},
                    Order{"LaunchedFirst", {Launched, Close, Copy, Assigned, Bus}, false},
                    Order{"LaunchedFirstThenBus", {Launched, Copy, Bus, Assigned}, false},
                    Order{"BusFirst", {Bus, Exit, Assigned, Copy, Launched}, true}),
    [](const auto& row) { return row.param.name; });

}  // namespace
