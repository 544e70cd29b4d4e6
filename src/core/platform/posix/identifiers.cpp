// Time-based identifiers (RFC 9562, version 1) without a lock or a file.
//
// A process draws its node and its clock sequence once, at random: 61 bits that no
// other process shares but by chance. Within the process one atomic number makes
// identifiers differ: the 60 bits of the newest time stamp, which only grows. It
// follows the clock as of the system's last tick, some milliseconds ago, which takes a
// fifth of the time that the clock itself does; from tick to tick, and where the clock was
// set back, it counts on (RFC 9562, 6.1).
// Nothing but the stamp changes within a process: a hash that folds the halves of an
// identifier into each other has no second number that could cancel the stamp's bits.

#include "core/platform/platform.h"

#include <pthread.h>
#include <sys/random.h>
#include <time.h>
#include <atomic>

namespace core::platform {
namespace {

// From the start of the Gregorian calendar, 1582-10-15, to 1970-01-01.
constexpr std::uint64_t kGregorianToUnixTicks = 0x01B21DD213814000;

// Node in the lower 48 bits, the 14 bits of the clock sequence above them; 0 before it
// was drawn.
std::atomic<std::uint64_t> identity{0};
// Time stamp of the newest identifier.
std::atomic<std::uint64_t> newest{0};

// A child process must not continue its parent's numbers.
void ForgetIdentity() noexcept {
    identity.store(0, std::memory_order_relaxed);
}

std::uint64_t DrawIdentity() noexcept {
    static const bool isForkSafe = pthread_atfork(nullptr, nullptr, ForgetIdentity) == 0;
    std::uint64_t drawn = 0;
    if (!isForkSafe || getrandom(&drawn, sizeof drawn, 0) != sizeof drawn) {
        return 0;
    }
    drawn &= (std::uint64_t{1} << 62) - 1;
    // The multicast bit tells a random node from a network card's address.
    drawn |= std::uint64_t{1} << 40;
    std::uint64_t none = 0;
    return identity.compare_exchange_strong(none, drawn) ? drawn : none;
}

std::uint64_t NextStamp() noexcept {
    timespec tick{};
    clock_gettime(CLOCK_REALTIME_COARSE, &tick);
    const std::uint64_t now = kGregorianToUnixTicks +
                              static_cast<std::uint64_t>(tick.tv_sec) * 10'000'000 +
                              static_cast<std::uint64_t>(tick.tv_nsec) / 100;
    std::uint64_t last = newest.load(std::memory_order_relaxed);
    std::uint64_t next = 0;
    do {
        next = now > last ? now : last + 1;
    } while (!newest.compare_exchange_weak(last, next, std::memory_order_relaxed));
    return next;
}

// Stores the `count` lower bytes of `value`, the least significant first.
void StoreLittleEndian(std::uint8_t* at, std::uint64_t value, int count) noexcept {
    for (int i = 0; i < count; ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

}  // namespace

IdentifierStatus GenerateSequentialIdentifier(std::array<std::uint8_t, 16>& bytes) noexcept {
    std::uint64_t self = identity.load(std::memory_order_relaxed);
    if (self == 0) {
        self = DrawIdentity();
        if (self == 0) {
            return IdentifierStatus::Failed;
        }
    }
    const std::uint64_t time = NextStamp();
    const std::uint64_t sequence = self >> 48;

    constexpr std::uint64_t kVersion1 = 0x1000;
    constexpr std::uint64_t kVariant = 0x80;
    StoreLittleEndian(bytes.data(), time, 4);
    StoreLittleEndian(bytes.data() + 4, time >> 32, 2);
    StoreLittleEndian(bytes.data() + 6, time >> 48 | kVersion1, 2);
    bytes[8] = static_cast<std::uint8_t>(sequence >> 8 | kVariant);
    bytes[9] = static_cast<std::uint8_t>(sequence);
    for (std::size_t i = 0; i < 6; ++i) {
        bytes[10 + i] = static_cast<std::uint8_t>(self >> (40 - 8 * i));
    }
    return IdentifierStatus::Unique;
}

}  // namespace core::platform
