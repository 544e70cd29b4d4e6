#pragma once

#include <array>
#include <cstddef>
#include <type_traits>
#include <vector>

namespace core::detail {

/// The stack of those who walk a tree of any depth: in place for usual trees, on the
/// heap below that.
template <class Frame, std::size_t kInPlace = 32>
class DeepStack {
public:
    bool IsEmpty() const noexcept { return count == 0; }
    std::size_t Size() const noexcept { return count; }
    void Push(const Frame& frame) {
        if (count < kInPlace) {
            inPlace[count] = frame;
        } else {
            below.push_back(frame);
        }
        ++count;
    }
    /// Takes the newest frame off; there must be one.
    Frame Pop() noexcept {
        --count;
        if (count < kInPlace) {
            return inPlace[count];
        }
        const Frame frame = below.back();
        below.pop_back();
        return frame;
    }

    // To work on the newest frame in place, field by field. A frame that was just
    // written so and is copied as a whole stalls the processor: the pieces are still on
    // their way to memory.

    /// Makes a frame, whose fields hold anything, and answers it.
    Frame& Push() {
        if (count++ < kInPlace) {
            return inPlace[count - 1];
        }
        return below.emplace_back();
    }
    /// The newest frame; there must be one.
    Frame& Top() noexcept { return count <= kInPlace ? inPlace[count - 1] : below.back(); }
    /// Takes the newest frame off; there must be one.
    void Drop() noexcept {
        if (count-- > kInPlace) {
            below.pop_back();
        }
    }

private:
    static_assert(std::is_trivially_copyable_v<Frame>);

    std::size_t count = 0;
    // Not initialised: nothing is read that was not pushed.
    std::array<Frame, kInPlace> inPlace;
    std::vector<Frame> below;
};

}  // namespace core::detail
