#include <core/messaging/counters.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/timer.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "messaging/event_peer.h"
#include "support/allocations.h"
#include "support/barrier.h"
#include "support/event.h"
#include "support/long_run.h"

/// Another module was built from a later version.
struct __attribute__((visibility("hidden"))) Versioned {
    char letter;
};

namespace {

using core::AsyncEventBus;
using core::EventBus;

struct Local {
    int number;
};

struct Done {
    support::Event* event;
};

/// Returns when what was posted here before is delivered.
void Settle(EventBus&) {}
void Settle(AsyncEventBus& bus) {
    support::Event done;
    const int token = bus.listen<Done>([](const Done& event) { event.event->Set(); });
    bus.post(Done{&done});
    done.Wait();
    bus.unlistenAll(token);
}

template <class Bus>
class EventBuses : public testing::Test {
protected:
    /// A listener that writes `mark` and the number.
    int Listen(const std::string& mark) { return bus->template listen<int>(Mark(mark)); }
    std::function<void(const int&)> Mark(const std::string& mark) {
        return [this, mark](const int& number) { heard += mark + std::to_string(number) + " "; };
    }
    /// What was heard since the last call.
    std::string Heard() {
        if (bus != nullptr) {
            Settle(*bus);
        }
        return std::exchange(heard, std::string());
    }

    std::string heard;
    std::unique_ptr<Bus> bus = std::make_unique<Bus>();
};

using Buses = testing::Types<AsyncEventBus, EventBus>;
TYPED_TEST_SUITE(EventBuses, Buses);

TYPED_TEST(EventBuses, DeliverInOrderToThoseWhoListen) {
    EXPECT_EQ(1, this->Listen("a"));
    EXPECT_EQ(2, this->Listen("b"));
    EXPECT_EQ(1, this->bus->template listen<int>(1, this->Mark("c")));
    EXPECT_EQ(3, this->bus->template listen<int>(nullptr));
    this->bus->post(1);
    this->bus->post(2U);
    this->bus->post(std::string("nobody"));
    this->bus->post(3);
    EXPECT_EQ("a1 b1 c1 a3 b3 c3 ", this->Heard());
    this->bus->unlistenAll(1);
    this->bus->unlistenAll(77);
    this->bus->post(4);
    EXPECT_EQ("b4 ", this->Heard());
}

struct alignas(64) Wide {
    int number;
};

struct Long {
    explicit Long(int number) { numbers.fill(number); }
    std::array<int, 200> numbers;
};

struct Stubborn {
    Stubborn() = default;
    Stubborn(const Stubborn&) = default;
    Stubborn(Stubborn&&) { throw std::runtime_error("stays"); }
};

TYPED_TEST(EventBuses, CarryEventsOfAnyShape) {
    std::shared_ptr<int> kept;
    this->bus->template listen<std::unique_ptr<int>>(
        [this](const std::unique_ptr<int>& event) { this->heard += std::to_string(*event); });
    this->bus->template listen<Wide>([this](const Wide& wide) {
        // A compiler that knows the type would not look.
        const void* const volatile place = &wide;
        this->heard += reinterpret_cast<std::uintptr_t>(place) % 64 == 0 ? "w" : "?";
        this->heard += std::to_string(wide.number);
    });
    this->bus->template listen<Long>(
        [this](const Long& event) { this->heard += std::to_string(event.numbers.back()); });
    this->bus->template listen<std::shared_ptr<int>>(
        [&](const std::shared_ptr<int>& event) { kept = event; });
    this->bus->post(std::make_unique<int>(5));
    this->bus->post(Wide{6});
    this->bus->post(Wide{7});
    this->bus->post(Long(8));
    this->bus->post(std::make_shared<int>(7));
    EXPECT_EQ("5w6w78", this->Heard());
    ASSERT_EQ(7, *kept);
    EXPECT_EQ(1, kept.use_count()) << "the bus keeps a delivered event";
    if constexpr (std::is_same_v<TypeParam, AsyncEventBus>) {
        EXPECT_THROW(this->bus->post(Stubborn()), std::runtime_error);
        EXPECT_EQ(0, this->bus->getQueueEventCount());
    }
}

TYPED_TEST(EventBuses, RunTheOthersWhenAListenerThrows) {
    this->bus->template listen<int>([](const int&) { throw std::runtime_error("no"); });
    this->Listen("a");
    this->bus->template listen<int>([](const int&) { throw 7; });
    this->Listen("b");
    this->bus->post(1);
    EXPECT_EQ("a1 b1 ", this->Heard());
}

TYPED_TEST(EventBuses, ListenersMayListenUnlistenAndPost) {
    int own = 0;
    int gone = 0;
    own = this->bus->template listen<int>([&](const int& number) {
        this->heard += "x" + std::to_string(number) + " ";
        this->bus->unlistenAll(own);
        this->bus->unlistenAll(gone);
        this->Listen("n");
        this->bus->post(number + 1);
    });
    gone = this->Listen("g");
    this->Listen("a");
    this->bus->post(1);
    const bool isAsync = std::is_same_v<TypeParam, AsyncEventBus>;
    Settle(*this->bus);
    EXPECT_EQ(isAsync ? "x1 g1 a1 a2 n2 " : "x1 a2 n2 a1 ", this->Heard());
}

TYPED_TEST(EventBuses, AListenerMayDestroyItsOwner) {
    struct Owner {
        TypeParam* bus;
        int token;
        ~Owner() { bus->unlistenAll(token); }
    };
    auto owner = std::make_unique<Owner>(Owner{this->bus.get(), 0});
    // Held by the function alone: it must outlive its own removal.
    auto captured = std::make_shared<std::string>("held");
    const std::weak_ptr<std::string> watched = captured;
    owner->token = this->bus->template listen<int>([&, captured](const int&) {
        owner.reset();
        this->heard += *captured + " ";
    });
    captured.reset();
    this->Listen("a");
    this->bus->post(1);
    EXPECT_EQ("held a1 ", this->Heard());
    this->bus->post(2);
    EXPECT_EQ("a2 ", this->Heard());
    EXPECT_TRUE(watched.expired());
}

TYPED_TEST(EventBuses, AListenerThatDestroysTheBusIsTheLastToRun) {
    support::Event isDestroyed;
    auto event = std::make_shared<int>(1);
    auto captured = std::make_shared<int>(2);
    const std::weak_ptr<int> watchedEvent = event;
    const std::weak_ptr<int> watched = captured;
    this->bus->template listen<std::shared_ptr<int>>([&, captured](const std::shared_ptr<int>&) {
        this->bus.reset();
        this->heard += std::to_string(*captured);
        isDestroyed.Set();
    });
    this->bus->template listen<std::shared_ptr<int>>(
        [this](const std::shared_ptr<int>&) { this->heard += "?"; });
    captured.reset();
    {
        // Two at least are in the queue when the first is delivered.
        TypeParam* const raw = this->bus.get();
        if constexpr (std::is_same_v<TypeParam, AsyncEventBus>) {
            support::Event isHeld;
            support::Event mayGoOn;
            raw->template listen<Local>([&](const Local&) {
                isHeld.Set();
                mayGoOn.Wait();
            });
            raw->post(Local{});
            isHeld.Wait();
            raw->post(event);
            raw->post(std::exchange(event, nullptr));
            mayGoOn.Set();
            isDestroyed.Wait();
        } else {
            raw->post(std::exchange(event, nullptr));
        }
    }
    while (!watched.expired() || !watchedEvent.expired()) {
        std::this_thread::yield();
    }
    EXPECT_EQ("2", this->Heard());
}

TYPED_TEST(EventBuses, NeedNoMemoryButForTheFirstEvent) {
    std::atomic<int> count = 0;
    std::size_t before = 0;
    this->bus->template listen<int>([&](int) { ++count; });
    for (int posted = 1; posted < 1000; ++posted) {
        this->bus->post(0);
        before = posted == 1 ? AllocationsSoFar() : before;
        while (count < posted) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(before, AllocationsSoFar());
}

/// Types of few sizes and alignments.
template <std::size_t kIndex>
struct alignas(kIndex % 2 == 0 ? 8 : 4) Kind {
    std::array<int, 2 + kIndex / 2 % 3 * 2> numbers{};
};

TEST(EventTypes, HearEachTheirOwn) {
    EventBus bus;
    std::array<int, 24> heard{};
    const auto forEach = [&](auto call) {
        [&]<std::size_t... kAll>(std::index_sequence<kAll...>) {
            // In an order of their own.
            (call.template operator()<(kAll * 7 + 5) % 24>(), ...);
        }
        (std::make_index_sequence<24>());
    };
    forEach([&]<std::size_t kIndex>() {
        bus.listen<Kind<kIndex>>(
            [&](const Kind<kIndex>&) { heard[kIndex] += static_cast<int>(kIndex) + 1; });
        bus.listen<Kind<kIndex>>(1'000, [&](const Kind<kIndex>&) { heard[kIndex] += 100; });
    });
    forEach([&]<std::size_t kIndex>() { bus.post(Kind<kIndex>()); });
    bus.unlistenAll(1'000);
    forEach([&]<std::size_t kIndex>() { bus.post(Kind<kIndex>()); });
    for (std::size_t i = 0; i < heard.size(); ++i) {
        EXPECT_EQ(100 + 2 * (static_cast<int>(i) + 1), heard[i]) << i;
    }
}

TEST(EventTypes, AreTheSameInAnotherModuleByTheirNames) {
    EventBus bus;
    std::string here;
    std::string there;
    ListenInPeer(bus, &there);
    bus.listen<AtoZList>([&](const AtoZList& list) { here += list.text; });
    bus.listen<Local>([&](const Local&) { here += "?"; });
    bus.listen<Versioned>([&](const Versioned& event) { here += event.letter; });
    PostFromPeer(bus, "x");
    bus.post(AtoZList{"y"});
    bus.post(Local{});
    bus.post(Versioned{'z'});
    EXPECT_EQ("xy?z", here);
    EXPECT_EQ("xy", there);
}

/// A bus whose thread is in a listener until `Release`.
class HeldBus {
public:
    HeldBus() {
        bus->listen<Local>([this](const Local&) {
            isHeld.Set();
            mayGoOn.Wait();
        });
        bus->post(Local{});
        isHeld.Wait();
    }
    void Release() { mayGoOn.Set(); }

    std::unique_ptr<AsyncEventBus> bus = std::make_unique<AsyncEventBus>();

private:
    support::Event isHeld;
    support::Event mayGoOn;
};

TEST(AsyncEvents, ChangesApplyBeforeTheNextPass) {
    HeldBus held;
    std::string heard;
    held.bus->post(1);
    held.bus->post(2);
    EXPECT_EQ(2, held.bus->getQueueEventCount());
    const int token = held.bus->listen<int>([&](const int& number) {
        heard += "a" + std::to_string(number);
        held.bus->unlistenAll(1);
        held.bus->listen<int>([&](const int& later) { heard += "b" + std::to_string(later); });
    });
    held.Release();
    // Both events were waiting together, so the second one meets the listeners of the
    // first; what is posted from then on meets the new ones.
    Settle(*held.bus);
    held.bus->unlistenAll(token);
    held.bus->post(3);
    Settle(*held.bus);
    EXPECT_EQ("a1a2b3b3", heard);
    EXPECT_EQ(0, held.bus->getQueueEventCount());
}

// Some times, as what the thread does with the other changes comes after the event.
TEST(AsyncEvents, AFunctionThatGoesMayDestroyTheBusBeforeOtherChanges) {
    for (int i = 0; i < 50; ++i) {
        HeldBus held;
        support::Event isDestroyed;
        std::shared_ptr<void> last(nullptr, [&](void*) {
            held.bus.reset();
            isDestroyed.Set();
        });
        const int token = held.bus->listen<int>([owned = std::move(last)](const int&) {});
        held.bus->unlistenAll(token);
        held.bus->unlistenAll(token);
        held.Release();
        isDestroyed.Wait();
    }
}

TEST(AsyncEvents, ABurstArrivesInOrderWhileMoreIsPosted) {
    constexpr int kBurst = 2'000;
    HeldBus held;
    int heard = 0;
    int faults = 0;
    held.bus->listen<int>([&](const int& number) {
        faults += number == heard ? 0 : 1;
        ++heard;
        held.bus->post(number + kBurst);
        if (heard == 3 * kBurst) {
            held.bus->unlistenAll(2);
        }
    });
    for (int i = 0; i < kBurst; ++i) {
        held.bus->post(i);
    }
    EXPECT_EQ(kBurst, held.bus->getQueueEventCount());
    held.Release();
    while (held.bus->getQueueEventCount() > 0) {
        std::this_thread::yield();
    }
    Settle(*held.bus);
    EXPECT_EQ(3 * kBurst, heard);
    EXPECT_EQ(0, faults);
}

TEST(AsyncEvents, AFloodOfChangesHoldsUpNoEvent) {
    std::atomic<bool> isOver = false;
    std::function<void()> flood;
    AsyncEventBus bus;
    // Each change that is applied asks for the next one.
    struct Again {
        explicit Again(const std::function<void()>& following) : next(following) {}
        ~Again() { next(); }
        const std::function<void()>& next;
    };
    flood = [&] {
        if (!isOver) {
            bus.unlistenAll(
                bus.listen<int>([again = std::make_shared<Again>(flood)](const int&) {}));
        }
    };
    flood();
    Settle(bus);
    isOver = true;
}

TEST(AsyncEvents, AnIdleBusReleasesAListenerPromptly) {
    AsyncEventBus bus;
    auto captured = std::make_shared<AsyncEventBus*>(&bus);
    const std::weak_ptr<AsyncEventBus*> watched = captured;
    const int token = bus.listen<int>([captured](const int&) {});
    captured.reset();
    bus.unlistenAll(token);
    while (!watched.expired()) {
        std::this_thread::yield();
    }
}

TEST(AsyncEvents, DestructionEndsThePassAndDropsTheRest) {
    auto held = std::make_unique<HeldBus>();
    AsyncEventBus* const bus = held->bus.get();
    const std::shared_ptr<int> event = std::make_shared<int>(1);
    int heard = 0;
    bus->listen<std::shared_ptr<int>>([&, event](const std::shared_ptr<int>&) {
        ++heard;
        bus->post(event);  // not part of the pass
    });
    bus->post(event);
    bus->post(event);
    std::thread destroyer([&] { held->bus.reset(); });
    held->Release();
    destroyer.join();
    // Passes of two, as many as came before the destructor.
    EXPECT_EQ(0, heard % 2) << heard;
    EXPECT_EQ(1, event.use_count());
}

TEST(AsyncEvents, WhatComesWhileTheBusGoesGoesAtOnce) {
    struct Large {
        std::shared_ptr<int> held;
        std::array<int, 200> numbers{};
    };
    auto bus = std::make_unique<AsyncEventBus>();
    const auto posted = std::make_shared<int>(1);
    bool isReleased = false;
    bus->listen<int>([last = std::shared_ptr<void>(nullptr, [&, raw = bus.get()](void*) {
                          raw->listen<int>([posted](const int&) {});
                          EXPECT_EQ(1, posted.use_count());
                          raw->post(posted);
                          raw->post(Large{posted});
                          EXPECT_EQ(1, posted.use_count());
                          const auto now = std::chrono::nanoseconds(0);
                          EXPECT_FALSE(core::PostAfter(*raw, now, posted).IsPending());
                          EXPECT_EQ(1, posted.use_count());
                          isReleased = true;
                      })](const int&) {});
    Settle(*bus);
    bus.reset();
    EXPECT_TRUE(isReleased);
}

TEST(AsyncEvents, ABurstNeedsNoMemoryOnceThereWasOne) {
    struct Gate {
        support::Event* isHeld;
        support::Event* mayGoOn;
    };
    struct Unmovable {
        Unmovable() = default;
        Unmovable(const Unmovable&) { throw 1; }
    };
    AsyncEventBus bus;
    bus.listen<Gate>([](const Gate& gate) {
        gate.isHeld->Set();
        gate.mayGoOn->Wait();
    });
    std::size_t before = 0;
    for (int burst = 0; burst < 20; ++burst) {
        support::Event isHeld;
        support::Event mayGoOn;
        bus.post(Gate{&isHeld, &mayGoOn});
        isHeld.Wait();
        for (int i = 0; i < (burst == 0 ? 220 : 200); ++i) {
            bus.post(i);
            EXPECT_THROW(bus.post(Unmovable()), int);
        }
        before = burst == 0 ? AllocationsSoFar() : before;
        mayGoOn.Set();
        while (bus.getQueueEventCount() > 0) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(before, AllocationsSoFar());
    const core::Counters counters = core::CountersOf(bus);
    EXPECT_EQ(20U * 201 + 20, counters.posted);
    EXPECT_EQ(220U, counters.highest);
    EXPECT_EQ(0U, counters.waiting + counters.timers);
}

TEST(AsyncEvents, AListenerThatConsumesFindsNothingToDo) {
    AsyncEventBus bus;
    int heard = 0;
    bus.listen<int>([&](const int& number) {
        bus.consume();
        heard += number;
    });
    bus.post(1);
    bus.post(2);
    Settle(bus);
    EXPECT_EQ(3, heard);
}

TEST(AsyncEvents, TheGlobalBusesStartAfreshWhenReleased) {
    for (int round = 0; round < 2; ++round) {
        AsyncEventBus& bus = core::GetGlobalEventBus();
        EventBus& syncBus = core::GetGlobalSyncEventBus();
        EXPECT_EQ(&bus, &core::GetGlobalEventBus());
        int sum = 0;
        EXPECT_EQ(1, bus.listen<int>([&](const int& number) { sum += number; }));
        EXPECT_EQ(1, syncBus.listen<int>([&](const int& number) { sum += number; }));
        bus.post(1);
        Settle(bus);
        syncBus.post(2);
        EXPECT_EQ(3, sum);
        core::ReleaseGlobalEventBus();
        core::ReleaseGlobalEventBus();
        core::ReleaseGlobalSyncEventBus();
        core::ReleaseGlobalSyncEventBus();
    }
}

// Each poster's event meets the listeners as its poster has left them, also when the
// bus's thread is just between its two queues.
TEST(EventsUnderLoad, NoEventOvertakesItsPostersChange) {
    constexpr std::size_t kPosters = 2;
    struct Ask {
        std::size_t poster;
        int round;
    };
    struct Asked : Ask {};
    const int rounds = support::Rounds(4'000, 1'000'000) / static_cast<int>(kPosters);
    std::array<std::atomic<int>, kPosters> heard{};
    std::array<std::atomic<int>, kPosters> asked{};
    std::atomic<int> strays = 0;
    std::atomic<int> working = kPosters;
    AsyncEventBus bus;
    bus.listen<Asked>([&](const Asked& event) { asked[event.poster] = event.round; });
    Barrier start(kPosters);
    std::vector<std::thread> posters;
    for (std::size_t poster = 0; poster < kPosters; ++poster) {
        posters.emplace_back([&, poster] {
            start.ArriveAndWait();
            for (int round = 1; round <= rounds; ++round) {
                const int token = bus.listen<Ask>([&, poster, round](const Ask& ask) {
                    if (ask.poster == poster) {
                        ask.round == round ? ++heard[poster] : ++strays;
                    }
                });
                bus.post(Ask{poster, round});
                bus.post(Asked{{poster, round}});
                while (asked[poster] < round) {
                    std::this_thread::yield();
                }
                bus.unlistenAll(token);
            }
            --working;
        });
    }
    while (working > 0) {
        // Keeps the bus's thread on its way from queue to queue.
        if (bus.getQueueEventCount() < 4) {
            bus.post('-');
        }
        std::this_thread::yield();
    }
    for (std::thread& poster : posters) {
        poster.join();
    }
    EXPECT_EQ(0, strays);
    for (const std::atomic<int>& count : heard) {
        EXPECT_EQ(rounds, count);
    }
}

TEST(EventsUnderLoad, SynchronousListenersComeAndGoOnAllThreads) {
    constexpr int kThreads = 8;
    const int rounds = support::Rounds(2'000, 100'000);
    EventBus bus;
    std::atomic<int> faults = 0;
    std::vector<std::thread> threads;
    Barrier start(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            start.ArriveAndWait();
            const std::thread::id self = std::this_thread::get_id();
            for (int round = 0; round < rounds; ++round) {
                // Shared with the posts of others, which may still be on their way.
                const auto own = std::make_shared<std::atomic<int>>(0);
                const int token = bus.listen<std::thread::id>(
                    [=](const std::thread::id& poster) { *own += poster == self ? 1 : 0; });
                bus.post(self);
                faults += *own != 1 ? 1 : 0;
                bus.unlistenAll(token);
                bus.post(self);
                faults += *own != 1 ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, faults);
}

TEST(EventsUnderLoad, BusesComeAndGoWithoutHanging) {
    for (int i = 0; i < support::Rounds(2'000, 1'000'000); ++i) {
        AsyncEventBus bus;
        if (i % 2 == 0) {
            bus.unlistenAll(bus.listen<int>([](const int&) {}));
            bus.post(i);
        }
    }
}

}  // namespace
