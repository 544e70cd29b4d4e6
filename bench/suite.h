#pragma once

// The benchmarks of one run: what is measured, what it is compared with, which
// answers have to agree, and the table that is printed.

#include "table.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace bench {

/// A line of the table: one measurement and its ratio to another of the same run.
struct Row {
    std::string what;
    int n;
    /// Names of the two measurements.
    std::string measured;
    std::string against;
    /// What `against` is, for the reader.
    std::string of;
    /// The largest ratio that is good enough; 0 where none is asked for.
    double goal = 0.0;
    /// The largest ratio that can be lived with until it is; 0 where there is none.
    double floor = 0.0;
};

/// Two figures that belong together; `peer` is 0 where there is none.
struct Figures {
    double core = 0.0;
    double peer = 0.0;
};

/// A line whose figures come from processes of their own: contests of threads, memory,
/// instructions. They are asked for once, after the benchmarks.
struct ApartRow {
    /// For filters, which know the other rows by the names of their measurements.
    std::string name;
    std::string what;
    int n;
    std::string unit;
    std::function<Figures()> measure;
    std::string of;
    double goal = 0.0;
    double floor = 0.0;
};

/// Such a line of amounts of memory, in KB.
struct AmountRow {
    std::string what;
    int n;
    std::function<double()> measure;
    std::function<double()> measureOther;
    std::string of;
    double goal = 0.0;
};

/// How far the answers of two contestants lie apart.
struct Agreement {
    long long compared = 0;
    /// The largest difference, relative where the answers exceed 1.
    double largest = 0.0;

    void Compare(double a, double b);
};

class Suite {
public:
    /// Starts a part of the table.
    void Section(const std::string& title);

    /// A measurement named `name`; the last part of the name is its size, as in
    /// "Hermite/random/1000". `loop` runs the state's iterations, one per item. A
    /// name that is there already is kept.
    void Measure(const std::string& name, std::function<void(benchmark::State&)> loop);

    void Compare(const Row& row);
    void Compare(const ApartRow& row);
    void CompareAmounts(const AmountRow& row);

    /// Answers that must agree to `tolerance` before the measurement `name` is taken; 0
    /// asks for equality bit by bit.
    void Check(const std::string& name, double tolerance, std::function<Agreement()> compare);

    /// Prints the names of what is measured for the filter.
    void List() const;

    /// Runs the checks of what is measured for the filter, and prints those that fail;
    /// false if one did.
    bool RunChecks() const;

    /// Measures both sides of every row that has a name which the filter takes, the
    /// repetitions of all of them interleaved, and answers the table of medians. A trial
    /// shows that everything runs; nothing is held to its goal then.
    Table Run(bool isTrial) const;

private:
    /// One of the two: a name without a measurement is a row apart.
    struct Line {
        std::string section;
        Row row;
        ApartRow apart;
        bool IsSelected() const;
    };
    struct Checked {
        std::string name;
        double tolerance;
        std::function<Agreement()> compare;
    };
    /// What is measured for the selected rows, but for those apart.
    std::set<std::string> SelectedNames() const;

    std::string section;
    std::vector<Line> lines;
    std::vector<Checked> checks;
    std::map<std::string, std::function<void(benchmark::State&)>> loops;
};

/// "a/b/1000".
std::string Name(const std::string& what, const std::string& how, int n);

}  // namespace bench
