#include <core/messaging/listening.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/barrier.h"
#include "support/event.h"
#include "support/long_run.h"

namespace {

using core::AsyncEventBus;
using core::EventBus;
using core::Listening;

template <class Bus>
class ListeningOn : public testing::Test {};

using Buses = testing::Types<AsyncEventBus, EventBus>;
TYPED_TEST_SUITE(ListeningOn, Buses);

TYPED_TEST(ListeningOn, NothingRunsOnceItIsOver) {
    TypeParam bus;
    support::Event isInside;
    support::Event mayGoOn;
    std::atomic<int> heard = 0;
    std::atomic<bool> isOver = false;
    auto listening = std::make_unique<Listening<TypeParam>>(bus);
    listening->template listen<int>([&](const int&) {
        isInside.Set();
        mayGoOn.Wait();
        EXPECT_FALSE(isOver);
        ++heard;
    });
    listening->template listen<int>(nullptr);
    std::thread poster([&] {
        bus.post(1);
        bus.post(2);
    });
    isInside.Wait();
    std::thread ending([&] {
        listening.reset();
        isOver = true;
    });
    mayGoOn.Set();
    ending.join();
    poster.join();
    const int before = heard;
    bus.post(3);
    support::Event isDone;
    Listening<TypeParam> last(bus);
    last.template listen<char>([&](const char&) { isDone.Set(); });
    bus.post('x');
    isDone.Wait();
    EXPECT_EQ(before, heard);
    EXPECT_LE(1, before);
}

// Two threads are in listeners that end each other's owner, and their own.
TEST(ListeningOnTwoThreads, ListenersMayEndEachOther) {
    for (const std::size_t step : {0U, 1U}) {
        EventBus bus;
        Barrier bothInside(2);
        std::array<std::unique_ptr<Listening<EventBus>>, 2> owners;
        for (std::size_t own = 0; own < 2; ++own) {
            owners[own] = std::make_unique<Listening<EventBus>>(bus);
        }
        for (std::size_t own = 0; own < 2; ++own) {
            owners[own]->listen<std::size_t>([&, own](const std::size_t& which) {
                if (which == own) {
                    bothInside.ArriveAndWait();
                    owners[(own + step) % 2]->unlistenAndWait();
                }
            });
        }
        std::thread other([&] { bus.post<std::size_t>(1); });
        bus.post<std::size_t>(0);
        other.join();
    }
}

// A thread that has waited inside a listener counts as inside again.
TEST(ListeningOnTwoThreads, AnEndWaitsForThoseWhoHaveWaitedThemselves) {
    EventBus bus;
    Listening<EventBus> first(bus);
    Listening<EventBus> second(bus);
    Listening<EventBus> third(bus);
    support::Event hasWaited;
    std::atomic<bool> isLeaving = false;
    first.listen<int>([&](const int&) {
        third.unlistenAndWait();
        hasWaited.Set();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        isLeaving = true;
    });
    second.listen<char>([&](const char&) {
        first.unlistenAndWait();
        EXPECT_TRUE(isLeaving);
    });
    std::thread other([&] { bus.post(1); });
    hasWaited.Wait();
    bus.post('x');
    other.join();
}

TYPED_TEST(ListeningOn, AWeakOwnerIsHeldWhileItHearsAndThenForgotten) {
    support::Event isDone;
    TypeParam bus;
    std::string heard;
    auto owner = std::make_shared<std::string>("owner");
    const std::weak_ptr<std::string> watched = owner;
    const auto captured = std::make_shared<int>(0);
    core::ListenWeakly<int>(bus, owner, [&, captured](std::string& held, const int& number) {
        owner.reset();
        heard += held + std::to_string(number);
    });
    bus.template listen<char>([&](const char&) { isDone.Set(); });
    bus.post(1);
    bus.post(2);
    bus.post('x');
    isDone.Wait();
    EXPECT_EQ("owner1", heard);
    EXPECT_TRUE(watched.expired());
    while (captured.use_count() > 1) {
        bus.post('y');
    }
}

// Owners come and go on some threads while others post: each is freed as soon as it has
// unlistened, in the middle of its own listener too, and no listener finds its owner gone.
TYPED_TEST(ListeningOn, OwnersAreFreedInAnyOrder) {
    constexpr std::size_t kSlots = 4;
    struct Owner {
        explicit Owner(TypeParam& bus) : listening(bus) {}
        ~Owner() {
            listening.unlistenAndWait();
            alive = 0;
        }
        int alive = 0x600d;
        Listening<TypeParam> listening;
    };
    TypeParam bus;
    std::array<std::mutex, kSlots> mutexes;
    std::array<std::unique_ptr<Owner>, kSlots> slots;
    std::atomic<int> faults = 0;
    // Taken out under the mutex, freed outside: listeners take it, too.
    const auto put = [&](std::size_t slot, std::unique_ptr<Owner> next) {
        const std::lock_guard lock(mutexes[slot]);
        slots[slot].swap(next);
        return next;
    };
    const int rounds = support::Rounds(50'000, 250'000);
    Barrier start(4);
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            std::mt19937 dice(thread);
            start.ArriveAndWait();
            for (int round = 0; round < rounds; ++round) {
                const std::size_t slot = dice() % kSlots;
                switch (dice() % 4) {
                    case 0:
                        put(slot, nullptr);
                        break;
                    case 1: {
                        auto owner = std::make_unique<Owner>(bus);
                        Owner* const own = owner.get();
                        own->listening.template listen<int>([&, own, slot](const int& what) {
                            faults += own->alive == 0x600d ? 0 : 1;
                            if (what % 7 == 0) {
                                // Itself or another one, which may be in here as well.
                                put((slot + static_cast<std::size_t>(what) % 2) % kSlots, nullptr);
                            }
                        });
                        put(slot, std::move(owner));
                        break;
                    }
                    default:
                        bus.post(static_cast<int>(dice() % 100));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        put(slot, nullptr);
    }
    EXPECT_EQ(0, faults);
}

}  // namespace
