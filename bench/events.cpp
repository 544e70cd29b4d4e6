// An event to its listeners, beside Boost.Signals2.

#include "contests.h"

#include <core/messaging/event_bus.h>

#include <boost/signals2/signal.hpp>

#include <cstdint>
#include <string>

namespace bench {
namespace {

/// The largest part of Boost.Signals2's time at 100 listeners.
constexpr double kGoal = 0.1;

struct Moved {
    std::int64_t by;
};

struct Ours {
    void Listen(std::int64_t& sum) {
        bus.listen<Moved>([&sum](const Moved& event) { sum += event.by; });
    }
    void Post(const Moved& event) { bus.post(event); }

    core::EventBus bus;
};

struct Theirs {
    void Listen(std::int64_t& sum) {
        signal.connect([&sum](const Moved& event) { sum += event.by; });
    }
    void Post(const Moved& event) { signal(event); }

    boost::signals2::signal<void(const Moved&)> signal;
};

template <class Contestant>
void Measure(benchmark::State& state, int listeners) {
    Contestant contestant;
    std::int64_t sum = 0;
    for (int i = 0; i < listeners; ++i) {
        contestant.Listen(sum);
    }
    for (auto _ : state) {
        contestant.Post({1});
        benchmark::DoNotOptimize(sum);
    }
}

template <class Contestant>
double SumOf(int listeners) {
    Contestant contestant;
    std::int64_t sum = 0;
    for (int i = 0; i < listeners; ++i) {
        contestant.Listen(sum);
        contestant.Post({i});
    }
    return static_cast<double>(sum);
}

}  // namespace

void AddEvents(Suite& suite) {
    suite.Section("An event posted and heard");
    for (const int listeners : {1, 10, 100}) {
        const std::string ours = Name("event", "EventBus", listeners);
        const std::string theirs = Name("event", "Signals2", listeners);
        suite.Check(ours, 0.0, [=] {
            Agreement agreement;
            agreement.Compare(SumOf<Ours>(listeners), SumOf<Theirs>(listeners));
            return agreement;
        });
        suite.Measure(ours, [=](benchmark::State& state) { Measure<Ours>(state, listeners); });
        suite.Measure(theirs, [=](benchmark::State& state) { Measure<Theirs>(state, listeners); });
        suite.Compare({"EventBus", listeners, ours, theirs, "Boost.Signals2",
                       listeners == 100 ? kGoal : 0.0});
    }
}

}  // namespace bench
