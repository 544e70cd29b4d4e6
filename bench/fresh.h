#pragma once

// What is done once by a process that has just started: all its memory is fresh pages.

#include <functional>
#include <string>

namespace bench {

/// A job that can be done so: it gets what it works on, and answers what is to be timed.
using FreshJob = std::function<std::function<void()>(const std::string& input)>;

/// Makes a job known under a name; before main.
struct FreshJobAdded {
    FreshJobAdded(const std::string& name, FreshJob job);
};

/// What the job takes with this input, in us: the median of nine processes. `self` is this
/// program.
double FreshMicroseconds(const std::string& self, const std::string& job, const std::string& input);

/// For main: `--fresh JOB FILE` does a job once, prints the time and answers true; false when
/// the arguments ask for something else.
bool RunFreshRound(int argc, char** argv);

}  // namespace bench
