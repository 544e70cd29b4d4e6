#pragma once

// The ways in which crash_process crashes. Some systems have more of them.

#include <functional>
#include <map>
#include <string>

using CrashWayMap = std::map<std::string, std::function<void()>>;

inline CrashWayMap& CrashWays() {
    static CrashWayMap ways;
    return ways;
}

struct CrashWaysAdded {
    explicit CrashWaysAdded(CrashWayMap ways) { CrashWays().merge(ways); }
};
