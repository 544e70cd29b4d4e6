#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace bench {

/// A curve of keyframes on whole frames, which every peer can express.
struct FrameCurve {
    static constexpr int kFramesPerSecond = 25;
    std::vector<int> frames;
    std::vector<double> values;
};

/// Another library's curve with the same keyframes.
class Peer {
public:
    virtual ~Peer() = default;
    /// The values at `frames`. Many at a time, so that this call costs nothing.
    virtual void Sample(std::span<const int> frames, double* values) = 0;
};

/// How a peer's curve runs between keyframes. Its cubic follows slopes or handles
/// of its own choice: it does the same work as ours, but is another curve.
enum class PeerShape { Linear, Cubic };

struct PeerLibrary {
    const char* name;
    std::function<std::unique_ptr<Peer>(const FrameCurve&, PeerShape)> make;
};

/// Those that were found when this was built; each one's source adds itself.
std::vector<PeerLibrary>& PeerLibraries();

struct RegisterPeer {
    explicit RegisterPeer(PeerLibrary library) { PeerLibraries().push_back(std::move(library)); }
};

}  // namespace bench
