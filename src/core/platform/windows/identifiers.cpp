// The identifiers of UuidCreateSequential, such that those of one process have distinct
// hashes.
//
// A hash folds the halves of an identifier into each other: the time stamp into clock
// sequence and node. As long as the second half stays as it is and stamps differ, hashes
// differ. So it is with what the system hands out until the clock is set back: it answers
// that with another clock sequence, whose bits can cancel those of a stamp. From then on a
// process has a second half of its own, drawn at random, which no other process shares,
// and its stamps run ahead of the clock where they have to (RFC 9562, 6.1).

#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <atomic>
#include <cstring>

namespace core::platform {
namespace {

// As the bytes stand in memory: the stamp's fields follow each other from the lowest to
// the highest, with the version in the uppermost four bits.
struct Halves {
    std::uint64_t stamp;
    std::uint64_t source;
};
static_assert(sizeof(Halves) == sizeof(UUID));

// The second half of the system's identifiers, and the process' own; 0 while there is none.
std::atomic<std::uint64_t> systemSource{0};
std::atomic<std::uint64_t> ownSource{0};
// The newest stamp of an identifier.
std::atomic<std::uint64_t> newest{0};

// False, changing nothing, where a newer stamp was handed out.
bool Advance(std::uint64_t stamp) noexcept {
    std::uint64_t last = newest.load(std::memory_order_relaxed);
    while (stamp > last) {
        if (newest.compare_exchange_weak(last, stamp, std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

std::uint64_t NextStamp(std::uint64_t now) noexcept {
    std::uint64_t last = newest.load(std::memory_order_relaxed);
    std::uint64_t next = 0;
    do {
        next = now > last ? now : last + 1;
    } while (!newest.compare_exchange_weak(last, next, std::memory_order_relaxed));
    return next;
}

std::uint64_t DrawOwnSource() noexcept {
    UUID random{};
    UuidCreate(&random);
    // The multicast bit tells a random node from a network card's address.
    random.Data4[2] |= 1;
    std::uint64_t drawn = 0;
    std::memcpy(&drawn, random.Data4, sizeof drawn);
    std::uint64_t none = 0;
    return ownSource.compare_exchange_strong(none, drawn) ? drawn : none;
}

}  // namespace

IdentifierStatus GenerateSequentialIdentifier(std::array<std::uint8_t, 16>& bytes) noexcept {
    Halves halves{};
    std::uint64_t own = ownSource.load(std::memory_order_relaxed);
    // A thread that is overtaken between the system's answer and ours asks again. A
    // system that keeps answering stamps of the past is left alone.
    constexpr int kMostTries = 100;
    for (int tries = 0; tries < kMostTries; ++tries) {
        UUID identifier{};
        const RPC_STATUS status = UuidCreateSequential(&identifier);
        std::memcpy(&halves, &identifier, sizeof halves);
        std::memcpy(bytes.data(), &identifier, bytes.size());
        if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
            return IdentifierStatus::Failed;
        }
        std::uint64_t source = 0;
        const bool isFirst = systemSource.compare_exchange_strong(source, halves.source);
        if (own != 0 || (!isFirst && source != halves.source)) {
            break;
        }
        if (Advance(halves.stamp)) {
            return status == RPC_S_OK ? IdentifierStatus::Unique : IdentifierStatus::LocalOnly;
        }
    }
    own = own != 0 ? own : DrawOwnSource();
    halves = {NextStamp(halves.stamp), own};
    std::memcpy(bytes.data(), &halves, bytes.size());
    return IdentifierStatus::Unique;
}

}  // namespace core::platform
