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

private:
    static_assert(std::is_trivially_copyable_v<Frame>);

    std::size_t count = 0;
    // Not initialised: nothing is read that was not pushed.
    std::array<Frame, kInPlace> inPlace;
    std::vector<Frame> below;
};

}  // namespace core::detail
