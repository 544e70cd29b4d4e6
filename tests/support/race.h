#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "support/barrier.h"
#include "support/dice.h"

namespace support {

/// Has so many threads ask over and over, all from the same instant, until this one has made
/// so many edits.
inline void Race(int askers, const std::function<void(Dice&)>& ask, int edits,
                 const std::function<void(Dice&)>& edit) {
    Barrier start(askers + 1);
    std::atomic<bool> isFinished = false;
    std::vector<std::thread> threads;
    for (int n = 0; n < askers; ++n) {
        threads.emplace_back([&, n] {
            Dice dice(static_cast<std::uint64_t>(n));
            start.ArriveAndWait();
            do {
                ask(dice);
            } while (!isFinished);
        });
    }
    Dice dice(99);
    start.ArriveAndWait();
    for (int n = 0; n < edits; ++n) {
        edit(dice);
    }
    isFinished = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace support
