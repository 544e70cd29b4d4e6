#pragma once

// The one table of a run, for readers and for machines.

#include <string>
#include <vector>

namespace bench {

/// A line: what this library takes, beside what something else takes.
struct TableRow {
    std::string section;
    std::string what;
    /// Keyframes, bytes, threads: whatever makes the case large.
    int n = 0;
    /// Of both figures: "ns", "KB" or "instructions".
    std::string unit = "ns";
    double core = 0.0;
    /// 0 where there is nothing to compare with.
    double peer = 0.0;
    /// What the peer is.
    std::string of;
    /// Half the distance of the quartiles of `core`, in percent of it.
    double spread = 0.0;
    /// The largest ratio that is good enough; 0 where none is asked for.
    double goal = 0.0;
    /// The largest ratio that can be lived with until it is; 0 where there is none.
    double floor = 0.0;
    /// Measured too shortly to say whether it reaches its goal.
    bool isTrial = false;

    /// 0 without a peer.
    double Ratio() const;
    /// "ok", "above" the goal and not the floor, "MISSED"; empty without a goal.
    std::string Verdict() const;
};

class Table {
public:
    void Add(TableRow row) { rows.push_back(std::move(row)); }

    /// Ratios first, in the order in which the rows came.
    void Print() const;
    /// An array of objects named like the members of a row, and "ratio", "verdict".
    /// Throws std::runtime_error when the file can't be written.
    void WriteJson(const std::string& path) const;

private:
    std::vector<TableRow> rows;
};

}  // namespace bench
