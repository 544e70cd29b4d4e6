#pragma once

// A curve as a value: keyframes, settings, and what follows from them.
//
// The keyframes lie in blocks of neighbours. Curves that were copied from each other
// share the blocks that neither has changed since; a block that is shared is never
// changed, and neither is a curve that is. What follows from a block's keyframes is a
// member of the block, what follows from all of them a member of the curve: made when it
// is first asked for, by any thread, and dropped by an edit of just those keyframes.
//
// An edit first takes what may fail for want of memory, and changes nothing that is seen
// until it has it.

#include "core/curve/area_index.h"
#include "core/curve/handles.h"
#include "core/curve/loaded_handles.h"
#include "core/curve/parameter_text.h"
#include "core/curve/row.h"
#include "core/curve/segment.h"
#include "core/curve/sorted_times.h"
#include "core/foundation/shared.h"

#include <core/curve/snapshot.h>
#include <core/curve/time_unit.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

namespace core {

/// The segments of a block, one from each keyframe to the next one of the curve, behind
/// them where the last one ends, and one that holds no time. They lie behind the object, in
/// its memory: a sample at random pays for each pointer that it follows.
class PreparedBlock {
public:
    static std::unique_ptr<PreparedBlock> Make(std::size_t segments);
    static void operator delete(void* room) noexcept { ::operator delete(room); }
    Segment* Segments() noexcept { return reinterpret_cast<Segment*>(this + 1); }
    const Segment* Segments() const noexcept { return reinterpret_cast<const Segment*>(this + 1); }

    /// One per segment, or none at all while no segment has needed one.
    std::unique_ptr<SegmentCurve[]> curves;

private:
    PreparedBlock() = default;
};

/// What a curve's user keeps with a block that follows from its keyframes, one before
/// and two behind them.
class BlockExtension {
public:
    virtual ~BlockExtension() = default;
};

/// Keyframes that follow each other in a curve.
struct CurveBlock : Counted {
    /// Small enough to be moved and prepared as a whole within an edit, large enough
    /// that the rows over the blocks stay short.
    static constexpr std::size_t kMost = 64;

    Lazy<PreparedBlock> prepared;
    Row<double, kMost> times;  // those of the keyframes, close together for the search
    std::vector<TimeValuePair> keyframes;
    Row<HandSet, kMost> handSets;
    Lazy<BlockAreas> areas;
    Lazy<BlockExtension> extension;

    void Reserve(std::size_t needed);
    void ForgetDerived() noexcept;
    /// The last keyframe at or before `t`, which the first one is; NaN belongs to the last.
    std::size_t LastUpTo(double t) const noexcept {
        static_assert(kMost == 64);
        return times.size() == kMost ? LastOf64UpTo(times.data(), t) : UpperBound(times, t) - 1;
    }
};

class Curve : public Counted {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    Curve() = default;
    /// With keyframes that are in time order, no two of them matching.
    Curve(ParameterSettings settings, ValAny constant, std::vector<TimeValuePair> keyframes,
          const LoadedHandles& handles);
    /// Shares the blocks. O(n / 64).
    Curve(const Curve& other) = default;
    /// The same settings with other keyframes, in time order, no two of them matching, and
    /// what of their handles is set by hand. The others are made anew.
    Shared<Curve> WithKeyframes(std::vector<TimeValuePair> keyframes,
                                std::vector<HandSet> sides) const;

    // Settings

    const ParameterSettings& Settings() const noexcept { return settings; }
    ParameterTypeEnum Type() const noexcept { return settings.type; }
    const ValAny& Constant() const noexcept { return constant; }
    double Ratio() const noexcept { return sampling.ratio; }
    double IntegerRatio() const noexcept { return sampling.integerRatio; }
    /// A type that differs changes every segment. Takes memory.
    void SetType(ParameterTypeEnum type);
    void SetRange(ValAny& min, ValAny& max);
    void SetRatio(ValAny& ratio);

    // Keyframes, by their indices

    std::size_t Count() const noexcept { return count; }
    const TimeValuePair& operator[](std::size_t index) const noexcept {
        const Place place = PlaceOf(index);
        return slots[place.block].block->keyframes[place.offset];
    }
    double TimeOf(std::size_t index) const noexcept {
        const Place place = PlaceOf(index);
        return slots[place.block].block->times[place.offset];
    }
    /// Copies of all.
    std::vector<TimeValuePair> Keyframes() const;
    /// Which of their handles are set by hand.
    std::vector<HandSet> HandSets() const;
    HandSet HandSetOf(std::size_t index) const noexcept {
        const Place place = PlaceOf(index);
        return slots[place.block].block->handSets[place.offset];
    }
    /// Whether a motion path's handles follow too.
    bool MaintainsPathHandles() const noexcept { return maintainsPathHandles; }
    /// The number of keyframes at or before `t`, which is the index of the first
    /// one after it. NaN lies behind all keyframes. O(log n).
    std::size_t UpperBound(double t) const noexcept;
    /// The index of the keyframe that matches `t`, the nearest one should two do so,
    /// or kNone.
    std::size_t Find(double t) const noexcept;
    /// The keyframes that match `t`: indices `first` up to before `last`. Where none
    /// does, `first` is the place for a new one.
    struct Range {
        std::size_t first;
        std::size_t last;
    };
    Range MatchesOf(double t) const noexcept;

    // Keyframes, by blocks

    std::size_t BlockCount() const noexcept { return slots.size(); }
    const CurveBlock& BlockAt(std::size_t block) const noexcept { return *slots[block].block; }

    // Edits, of indices that are there. Automatic handles around them follow. One that throws
    // for want of memory has changed nothing.

    /// Whether `Add` makes a motion path maintain its handles.
    enum class PathHandles { AsTheyAre, Maintained };
    /// Inserts a keyframe, or replaces those that match it; the answer is its index. Its
    /// handles become automatic; a path that does not maintain them keeps their numbers.
    std::size_t Add(TimeValuePair keyframe, PathHandles paths);
    /// Removes the keyframes from `first` up to before `last`.
    void Remove(std::size_t first, std::size_t last);
    void Clear() noexcept;
    void SetValue(std::size_t index, ValAny value);
    /// Whether no other keyframe matches `time`, which is finite.
    bool CanMove(std::size_t index, double time) const noexcept;
    void Move(std::size_t index, double time);
    /// Either may be null, and stays then.
    void SetHandles(std::size_t index, const Pointd* left, const Pointd* right);
    /// Both, and which of them count as set by hand, whatever they are.
    void PutHandles(std::size_t index, HandlePair handles, HandSet sides);
    /// Makes both handles automatic.
    void ResetHandles(std::size_t index);

    // Samples

    /// What `IKeyFrame::GetValue` answers. `last` is the segment that was found last, or
    /// `Segment::Nowhere()`: playback asks for it again, or for the next one. O(log n) for
    /// others, and what it takes to prepare their block.
    ValAny GetValue(const Segment*& last, double t, bool clampToRange) const {
        if (!last->Holds(t)) {
            last = last[1].Holds(t) ? last + 1 : count < 2 ? Segment::Nowhere() : &SegmentAt(t);
        }
        if (last->shape == Segment::Shape::Cubic && sampling.isPlainDouble) {
            const double value = last->CubicAt(t);
            return clampToRange ? Clamped(value) : value;
        }
        return count < 2 ? (count == 0 ? ValAny(0) : (*this)[0].PeekValue())
                         : Sample(*last, t, clampToRange);
    }
    /// The prepared segment that holds `t`, of a curve with two keyframes or more; NaN belongs
    /// to the last one.
    const Segment& SegmentAt(double t) const;
    /// What the parameter's type makes of an interpolated number.
    ValAny Finish(double value, bool clampToRange) const;
    /// Whether a numeric segment has the samples as they are.
    bool IsPlainDouble() const noexcept { return sampling.isPlainDouble; }
    // Above the maximum first, then below the minimum: the order counts where a
    // caller has set them the wrong way round.
    double Clamped(double value) const noexcept {
        if (sampling.clamp != Sampling::Clamp::Double) {
            return value;
        }
        return value > sampling.max ? sampling.max : value < sampling.min ? sampling.min : value;
    }

    // Areas: as `IKeyFrame` has them, for any number of keyframes

    double Area(double from, double to) const;
    double SolveArea(double start, double area) const;

    const std::string& Digest() const;
    /// The whole text.
    std::string Text() const;

    // What two curves have in common; what they share is not compared.

    static bool HaveSameSettings(const Curve& a, const Curve& b);
    /// How many keyframes are the same from the first one on.
    static std::size_t CommonStart(const Curve& a, const Curve& b);
    static TimeRange ChangedBetween(const Curve& a, const Curve& b);

private:
    // The settings as sampling wants them.
    struct Sampling {
        double ratio = 1.0;
        double integerRatio = 1.0;
        // A double parameter whose ratio is 1.
        bool isPlainDouble = true;
        enum class Clamp : std::uint8_t { None, Double, Int, Bool } clamp = Clamp::None;
        double min = 0.0;
        double max = 0.0;
    };
    struct Slot {
        std::size_t before;  // keyframes in the blocks before this one
        Shared<CurveBlock> block;
    };

    struct Place {
        std::size_t block;
        std::size_t offset;
    };
    Place PlaceOf(std::size_t index) const noexcept;
    // To the keyframe before or behind; false, changing nothing, where there is none.
    bool StepBack(Place& place) const noexcept;
    bool StepAhead(Place& place) const noexcept;

    // The parts of an edit. It begins by dropping what follows from the curve as a whole
    // and by making the blocks around it this curve's own: those of the keyframes from
    // `first` to `last` and of four on either side.
    void BeginEdit() noexcept;
    void OwnAround(std::size_t first, std::size_t last);
    // Room for a keyframe before the one with this index, in a block that is owned.
    Place PlaceForOneMore(std::size_t index);
    void Insert(Place place, TimeValuePair keyframe, HandSet sides) noexcept;
    void Erase(std::size_t first, std::size_t last) noexcept;
    // By one whose time keeps the order.
    void Replace(std::size_t index, TimeValuePair keyframe, HandSet sides) noexcept;
    HandlePair AutomaticHandles(Place place) const;
    void WriteHandle(Place place, Side side, Pointd handle, bool isHandSet) noexcept;
    void Follow(Place place);
    void FollowBeside(Place place);
    void FollowGap(std::size_t index);
    // It ends by dropping what follows from the keyframes from `first` to `last`, the
    // handles of their neighbours included.
    void Touch(std::size_t first, std::size_t last) noexcept;
    void InsertBlock(std::size_t place, Shared<CurveBlock> block);
    void CountFrom(std::size_t block) noexcept;
    void UpdateSampling();
    ValAny Sample(const Segment& segment, double t, bool clampToRange) const;
    const PreparedBlock& PreparedOf(std::size_t block) const;
    const Segment* FindEvenly(std::size_t block, double t) const;
    const TimeValuePair* Following(std::size_t block, std::size_t offset) const noexcept;
    bool PrepareOne(std::size_t block, std::size_t offset, PreparedBlock& into,
                    bool mayAllocate) const;
    void PrepareOuter(const TimeValuePair& keyframe, double from, double to, Segment* into) const;
    const AreaIndex& Areas() const;
    // Where sums overflow on the way: the area, or the largest double. O(n).
    double SaturatedArea(double from, double to) const;
    double AreaRatio() const noexcept { return count > 1 ? sampling.ratio : 1.0; }

    static std::size_t CommonEnd(const Curve& a, const Curve& b, std::size_t most);

    ParameterSettings settings;
    ValAny constant;
    // Set by AddPointEx: handles of a point parameter are maintained too.
    bool maintainsPathHandles = false;
    Sampling sampling;  // follows from the settings

    std::size_t count = 0;
    std::vector<double> starts;  // the first time of each block
    std::vector<Slot> slots;

    // The segment before the first keyframe, where it ends, and one that holds no time.
    Lazy<std::array<Segment, 3>> before;
    // The segments of each block of a long curve, null until one is asked for, and how many
    // they are: a search at random waits for memory once, not for a block and then for its
    // segment.
    struct BlockSegments {
        mutable std::atomic<const Segment*> first = nullptr;
        double count = 0.0;
    };
    Lazy<std::vector<BlockSegments>> blockSegments;
    // Searches since the last edit, until there are as many as blocks: so that no edit costs
    // O(n / 64). A copy starts anew.
    struct Searches {
        Searches() = default;
        Searches(const Searches&) noexcept {}
        mutable std::atomic<std::size_t> count = 0;
    } searches;
    Lazy<AreaIndex> areas;
    Lazy<Curve> asNumbers;  // for areas of a parameter whose samples are no numbers
    Lazy<std::string> digest;
};

}  // namespace core
