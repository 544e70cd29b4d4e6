#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace bench {

class Suite;

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

/// One that is made when it is first asked.
class LatePeer final : public Peer {
public:
    explicit LatePeer(std::function<std::unique_ptr<Peer>()> toMake) : make(std::move(toMake)) {}
    void Sample(std::span<const int> frames, double* values) override {
        if (peer == nullptr) {
            peer = make();
        }
        peer->Sample(frames, values);
    }

private:
    std::function<std::unique_ptr<Peer>()> make;
    std::unique_ptr<Peer> peer;
};

/// Measures a peer on a pool of frames, over and over; an item is one frame.
void MeasurePeer(Suite& suite, const std::string& name, const std::shared_ptr<Peer>& peer,
                 const std::shared_ptr<std::vector<int>>& frames);

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

/// A clip whose speed changes steadily from key to key: frames of the timeline, the
/// source frames that they show, not all of them whole, and the speeds there.
struct RampClip {
    FrameCurve shown;
    std::vector<double> speeds;
};

/// Another library's retiming of that clip. `Sample` gives one of the source frames that each
/// frame of the timeline covers.
struct RetimingLibrary {
    const char* name;
    std::function<std::unique_ptr<Peer>(const RampClip&)> make;
};

std::vector<RetimingLibrary>& RetimingLibraries();

struct RegisterRetiming {
    explicit RegisterRetiming(RetimingLibrary library) {
        RetimingLibraries().push_back(std::move(library));
    }
};

}  // namespace bench
