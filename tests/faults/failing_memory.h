#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>

namespace faults {

/// What happens from the chosen allocation on.
enum class Shortage : std::uint8_t { Once, FromThenOn };

/// While it lives, the `nth` allocation of this thread fails: through `new`, or by a
/// buffer that grows in place.
class FailingMemory {
public:
    FailingMemory(int nth, Shortage shortage);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Whether there was such an allocation.
    bool HasFailed() const;
};

/// While it lives, every allocation of all threads but this one fails.
class OthersWithoutMemory {
public:
    OthersWithoutMemory();
    ~OthersWithoutMemory();
    OthersWithoutMemory(const OthersWithoutMemory&) = delete;
    OthersWithoutMemory& operator=(const OthersWithoutMemory&) = delete;
};

/// Blocks that `new` has handed out and that were not given back, of all threads.
long LivingBlocks();

/// What must hold when an operation has thrown.
enum class After : std::uint8_t {
    Unchanged,  ///< the object is what it was
    Usable,     ///< the object holds something, and works
};

/// Lets `act` fail at each of its allocations in turn, on a new object from `make` each
/// time, which is fresh or has answered questions before. Either it throws, and then the
/// object is as `after` says and `act` works when it is tried again; or it has made do.
/// Nothing leaks. `describe` tells all that can be asked of the object.
template <class Make, class Act, class Describe>
void TryEachFailure(const std::string& name, Make make, Act act, Describe describe,
                    After after = After::Unchanged) {
    const auto unchanged = describe(*make());
    const auto changed = [&] {
        const auto object = make();
        act(*object);
        return describe(*object);
    }();
    for (const Shortage shortage : {Shortage::Once, Shortage::FromThenOn}) {
        for (const bool isAsked : {false, true}) {
            bool hasFailed = true;
            for (int nth = 1; hasFailed; ++nth) {
                ASSERT_LT(nth, 10'000) << name << " never ends";
                const testing::ScopedTrace trace(
                    __FILE__, __LINE__,
                    name + ", allocation " + std::to_string(nth) +
                        (shortage == Shortage::Once ? "" : " and all behind it") +
                        (isAsked ? ", asked before" : ""));
                const long blocks = LivingBlocks();
                {
                    const auto object = make();
                    if (isAsked) {
                        describe(*object);
                    }
                    bool hasThrown = false;
                    {
                        const FailingMemory failing(nth, shortage);
                        try {
                            act(*object);
                        } catch (const std::bad_alloc&) {
                            hasThrown = true;
                        }
                        hasFailed = failing.HasFailed();
                    }
                    EXPECT_TRUE(hasFailed || !hasThrown);
                    const auto now = describe(*object);
                    if (!hasThrown) {
                        EXPECT_TRUE(now == changed || (hasFailed && now == unchanged)) << now;
                    } else {
                        if (after == After::Unchanged) {
                            EXPECT_EQ(unchanged, now);
                        }
                        act(*object);
                        EXPECT_EQ(changed, describe(*object));
                    }
                }
                EXPECT_EQ(blocks, LivingBlocks()) << "blocks were lost";
                if (testing::Test::HasFailure()) {
                    return;
                }
            }
        }
    }
}

}  // namespace faults
