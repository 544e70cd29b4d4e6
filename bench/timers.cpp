// Timers armed and cancelled, beside those of Boost.Asio.

#include "contests.h"

#include <core/messaging/counters.h>
#include <core/messaging/timer.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace bench {
namespace {

/// The most that cancelling one and arming another may take, among 100,000.
constexpr double kGoalNanoseconds = 150.0;

using std::chrono::milliseconds;

/// Times to come, in no order.
std::vector<milliseconds> Delays() {
    std::mt19937 dice(1);
    std::vector<milliseconds> delays(4'096);
    for (milliseconds& delay : delays) {
        delay = milliseconds(1'000'000 + static_cast<int>(dice() % 1'000'000));
    }
    return delays;
}

class Ours {
public:
    void Arm(milliseconds delay) { timers.push_back(core::PostAfter(bus, delay, {1})); }
    void Replace(std::size_t at, milliseconds delay) {
        timers[at].Cancel();
        timers[at] = core::PostAfter(bus, delay, {1});
    }
    double Pending() const { return static_cast<double>(core::CountersOf(bus).timers); }

private:
    core::SimpleMsgBus bus;
    std::vector<core::Timer> timers;
};

class Asio {
public:
    void Arm(milliseconds delay) {
        timers.emplace_back(context, delay);
        Wait(timers.back());
    }
    void Replace(std::size_t at, milliseconds delay) {
        timers[at].expires_after(delay);  // cancels
        Wait(timers[at]);
        if (++replaced % 1'024 == 0) {
            context.poll();  // what was cancelled calls back
        }
    }
    double Pending() const { return static_cast<double>(timers.size()); }

private:
    static void Wait(boost::asio::steady_timer& timer) {
        timer.async_wait([](const boost::system::error_code&) {});
    }

    boost::asio::io_context context;
    std::vector<boost::asio::steady_timer> timers;
    int replaced = 0;
};

template <class Timers>
void Fill(Timers& timers, int count) {
    const std::vector<milliseconds> delays = Delays();
    for (int i = 0; i < count; ++i) {
        timers.Arm(delays[static_cast<std::size_t>(i) % delays.size()]);
    }
}

template <class Timers>
void Measure(benchmark::State& state, int count) {
    const std::vector<milliseconds> delays = Delays();
    Timers timers;
    Fill(timers, count);
    std::size_t next = 0;
    for (auto _ : state) {
        timers.Replace(next % static_cast<std::size_t>(count), delays[next % delays.size()]);
        ++next;
    }
}

template <class Timers>
double PendingAfter(int count) {
    Timers timers;
    Fill(timers, count);
    timers.Replace(0, milliseconds(1'000'000));
    return timers.Pending();
}

/// Nanoseconds of a cancelling and an arming, in the quickest of many runs.
template <class Arm>
double BestReplacement(const Arm& arm) {
    constexpr std::size_t kCount = 100'000;
    constexpr std::size_t kRun = 2'000;
    const std::vector<milliseconds> delays = Delays();
    std::vector<core::Timer> timers;
    double best = 1e9;
    for (std::size_t i = 0; i < 5 * kCount;) {
        const auto begin = std::chrono::steady_clock::now();
        for (const std::size_t end = i + kRun; i < end; ++i) {
            if (i < kCount) {
                timers.push_back(arm(delays[i % delays.size()]));
            } else {
                timers[i % kCount].Cancel();
                timers[i % kCount] = arm(delays[i % delays.size()]);
            }
        }
        const std::chrono::duration<double, std::nano> took =
            std::chrono::steady_clock::now() - begin;
        best = i <= kCount ? best : std::min(best, took.count() / kRun);
    }
    return best;
}

}  // namespace

void AddTimers(Suite& suite) {
    suite.Section("A timer cancelled and another one armed");
    for (const int count : {10, 1'000, 100'000}) {
        const std::string ours = Name("timer", "PostAfter", count);
        const std::string theirs = Name("timer", "asio", count);
        suite.Check(ours, 0.0, [=] {
            Agreement agreement;
            agreement.Compare(PendingAfter<Ours>(count), PendingAfter<Asio>(count));
            return agreement;
        });
        suite.Measure(ours, [=](benchmark::State& state) { Measure<Ours>(state, count); });
        suite.Measure(theirs, [=](benchmark::State& state) { Measure<Asio>(state, count); });
        suite.Compare({"PostAfter, Timer::Cancel", count, ours, theirs, "Boost.Asio", 1.0});
    }
    const auto bounded = [&](const std::string& what, auto arm) {
        suite.Compare({.name = Name("timer", what, 100'000),
                       .what = what,
                       .n = 100'000,
                       .unit = "ns",
                       .measure =
                           [=] {
                               return Figures{BestReplacement(arm), kGoalNanoseconds};
                           },
                       .of = "the bound",
                       .goal = 1.0});
    };
    const auto bus = std::make_shared<core::SimpleMsgBus>();
    const auto events = std::make_shared<core::AsyncEventBus>();
    const std::shared_ptr<core::IWorker> worker(CreateWorker());
    bounded("message", [=](milliseconds delay) { return core::PostAfter(*bus, delay, {1}); });
    bounded("event", [=](milliseconds delay) { return core::PostAfter(*events, delay, 1); });
    bounded("task", [=](milliseconds delay) { return core::PostAfter(*worker, delay, [] {}); });
}

}  // namespace bench
