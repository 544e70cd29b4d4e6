// Instructions from the first to the last of a call, counted by valgrind's callgrind:
// exact, so a busy machine does not matter.

#include "contests.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "support/scratch_directory.h"

namespace bench {
namespace {

/// What a program collects, and what it prints. With `function`, inside that alone.
struct Count {
    double instructions = 0.0;
    double printed = 0.0;
};

Count Run(const std::string& program, const std::string& arguments, const std::string& function) {
    const support::ScratchDirectory scratch;
    const std::string command = "valgrind --tool=callgrind --callgrind-out-file=/dev/null " +
                                (function.empty() ? "" : "--toggle-collect=\"" + function + "\" ") +
                                "--log-file=\"" + scratch.Path("log") + "\" \"" + program + "\" " +
                                arguments + " >\"" + scratch.Path("output") + "\"";
    Count count;
    std::istringstream output;
    if (std::system(command.c_str()) == 0) {
        const std::string text = scratch.Read("output");
        // The log of the process says its version first.
        output.str(text.substr(text.rfind('\n', text.size() - 2) + 1));
        const std::string log = scratch.Read("log");
        const std::string collected = "Collected : ";
        const std::size_t at = log.find(collected);
        count.instructions =
            at == std::string::npos ? 0.0 : std::atof(log.c_str() + at + collected.size());
    }
    if (!(output >> count.printed) || count.instructions <= 0.0) {
        throw std::runtime_error("failed: " + command);
    }
    return count;
}

/// Of one call of a function: the second of two laps alone, as the first one may prepare
/// what later ones use.
double PerCall(const std::string& program, const std::string& arguments,
               const std::string& function) {
    const Count one = Run(program, arguments + " 1", function);
    const Count two = Run(program, arguments + " 2", function);
    return (two.instructions - one.instructions) / one.printed;
}

/// Of one item on all threads, but for the few of a thread that waits: the start and the
/// end of the program apart.
double PerItem(const std::string& program, const std::string& what, int listeners) {
    constexpr int kFew = 2'000;
    const auto count = [&](int items) {
        return Run(program, what + " " + std::to_string(listeners) + " " + std::to_string(items),
                   "")
            .instructions;
    };
    return (count(2 * kFew) - count(kFew)) / kFew;
}

/// A row with a bound of its own in place of a peer; 0 where there is none.
ApartRow Bounded(const std::string& what, int n, double bound, std::function<double()> count) {
    return {.name = Name("instructions", what, n),
            .what = what,
            .n = n,
            .unit = "instructions",
            .measure =
                [=] {
                    return Figures{count(), bound};
                },
            .of = bound > 0.0 ? "the bound" : "",
            .goal = bound > 0.0 ? 1.0 : 0.0};
}

}  // namespace

void AddInstructions(Suite& suite, const std::string& self) {
    const std::string folder = support::Utf8Of(support::PathOf(self).parent_path());
    const std::string calls = folder + "/core_bench_instructions";
    const std::string messages = folder + "/core_bench_message_instructions";
    suite.Section("Instructions of one call");
    for (const std::string curve : {"Hermite", "Linear"}) {
        for (const std::string order : {"in order", "playback", "random"}) {
            for (const int n : {10, 1'000, 10'000}) {
                const std::string arguments = curve + " \"" + order + "\" " + std::to_string(n);
                suite.Compare(Bounded("GetValue, " + curve + ", " + order, n,
                                      order == "random" ? 0.0 : 200.0, [=] {
                                          return PerCall(calls, arguments,
                                                         "core::KeyframeHandle::GetValue"
                                                         "(double, bool)");
                                      }));
            }
        }
    }
    for (const std::string function :
         {"CoreLogPrint", "CoreLogPrintWithSourceInfo", "CoreLogPrintLog"}) {
        suite.Compare(Bounded(function + ", suppressed", 1, 25.0,
                              [=] { return PerCall(calls, "suppressed", function); }));
    }

    suite.Section("Instructions of one item, on all threads");
    suite.Compare(Bounded("message added and got", 1, 260.0,
                          [=] { return PerItem(messages, "messages", 0); }));
    for (const std::string bus : {"events", "async"}) {
        const std::string what = bus == "events" ? "event, EventBus" : "event, AsyncEventBus";
        for (const int listeners : {1, 10, 100}) {
            suite.Compare({.name = Name("instructions", what, listeners),
                           .what = what,
                           .n = listeners,
                           .unit = "instructions",
                           .measure =
                               [=] {
                                   return Figures{PerItem(messages, bus, listeners),
                                                  PerItem(messages, "signals2", listeners)};
                               },
                           .of = "Boost.Signals2",
                           .goal = listeners == 100 ? 0.1 : 0.0});
        }
    }
    const auto beside = [&](const std::string& what, const std::string& ours,
                            const std::string& theirs, const std::string& of, int listeners,
                            double goal) {
        suite.Compare({.name = Name("instructions", what, listeners),
                       .what = what,
                       .n = std::max(listeners, 1),
                       .unit = "instructions",
                       .measure =
                           [=] {
                               return Figures{PerItem(messages, ours, listeners),
                                              PerItem(messages, theirs, listeners)};
                           },
                       .of = of,
                       .goal = goal});
    };
    beside("event, EventBus as a loop", "events", "loop", "a loop over a snapshot", 100, 1.2);
    beside("event, Listening", "owned", "events", "EventBus", 100, 0.0);
    beside("task with a future", "futures", "tasks", "a plain task", 0, 1.5);
    // In time, this contest is decided by who gets the processor when.
    beside("task of 4 posters", "posters", "pool", "Boost.Asio's pool of one", 4, 0.0);
}

}  // namespace bench
