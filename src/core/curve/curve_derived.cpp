#include "core/curve/curve.h"

#include "core/curve/numbers.h"
#include "core/foundation/report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

// A sample, in the order in which it is taken: find the segment, prepare its block where
// an edit has dropped it, evaluate its shape, and turn the number into what the
// parameter's type answers.

namespace core {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool IsPointValue(const ValAny& value) noexcept {
    return value.Kind() == ValAny::kPoint;
}

bool IsStoredAsItIs(ParameterTypeEnum type) noexcept {
    return type == ParameterBool || type == ParameterString;
}

void PrepareStored(const ValAny& value, double from, double to, Segment* into) noexcept {
    PrepareConstant(from, to, 0.0, into);
    into->shape = Segment::Shape::Stored;
    into->Refer(&value);
}

// Where a value can't be read as a number.
void PrepareUnreadable(const ValAny& value, double from, double to, Segment* into) noexcept {
    PrepareConstant(from, to, value.Kind(), into);
    into->shape = Segment::Shape::NotNumeric;
}

}  // namespace

// Settings

void Curve::UpdateSampling() {
    sampling = Sampling{};
    if (settings.baseRatio.IsNumber()) {
        sampling.ratio = settings.baseRatio.AsDouble();
        sampling.integerRatio = settings.baseRatio.AsInt();
    }
    sampling.isPlainDouble = settings.type == ParameterDouble && sampling.ratio == 1.0;
    if (settings.HasNoRange()) {
        return;
    }
    const ValAny& min = settings.minVal;
    const ValAny& max = settings.maxVal;
    if (settings.type == ParameterBool) {
        if (min.Kind() == ValAny::kBool && max.Kind() == ValAny::kBool) {
            sampling.clamp = Sampling::Clamp::Bool;
            sampling.min = min.AsBool() ? 1.0 : 0.0;
            sampling.max = max.AsBool() ? 1.0 : 0.0;
        }
    } else if (min.IsNumber() && max.IsNumber()) {
        if (settings.type == ParameterInt) {
            sampling.clamp = Sampling::Clamp::Int;
            sampling.min = min.AsInt();
            sampling.max = max.AsInt();
        } else if (settings.type == ParameterDouble) {
            sampling.clamp = Sampling::Clamp::Double;
            sampling.min = min.AsDouble();
            sampling.max = max.AsDouble();
        }
    }
}

void Curve::SetType(ParameterTypeEnum type) {
    BeginEdit();
    for (Slot& slot : slots) {
        slot.block.Own().ForgetDerived();
    }
    const bool hadNoRange = settings.HasNoRange();
    settings.type = type;
    if (hadNoRange) {
        settings.ResetRange();
    }
    UpdateSampling();
}

void Curve::SetRange(ValAny& min, ValAny& max) {
    BeginEdit();
    std::swap(settings.minVal, min);
    std::swap(settings.maxVal, max);
    UpdateSampling();
}

void Curve::SetRatio(ValAny& ratio) {
    BeginEdit();
    std::swap(settings.baseRatio, ratio);
    UpdateSampling();
}

// Segments

std::unique_ptr<PreparedBlock> PreparedBlock::Make(std::size_t segments) {
    static_assert(sizeof(PreparedBlock) % alignof(Segment) == 0);
    const std::size_t inRow = segments + 2;
    void* const room = ::operator new(sizeof(PreparedBlock) + inRow * sizeof(Segment));
    std::unique_ptr<PreparedBlock> made(::new (room) PreparedBlock);
    std::uninitialized_default_construct_n(made->Segments(), inRow);
    return made;
}

// Before the first and after the last keyframe.
void Curve::PrepareOuter(const TimeValuePair& keyframe, double from, double to,
                         Segment* into) const {
    const ValAny& value = keyframe.PeekValue();
    double number = 0.0;
    if (IsStoredAsItIs(settings.type) || (settings.type == ParameterPoint && IsPointValue(value))) {
        PrepareStored(value, from, to, into);
    } else if (ReadNumber(value, number)) {
        PrepareConstant(from, to, number, into);
    } else {
        PrepareUnreadable(value, from, to, into);
    }
}

const TimeValuePair* Curve::Following(std::size_t block, std::size_t offset) const noexcept {
    const std::vector<TimeValuePair>& keyframes = slots[block].block->keyframes;
    if (offset + 1 < keyframes.size()) {
        return &keyframes[offset + 1];
    }
    return block + 1 < slots.size() ? &slots[block + 1].block->keyframes.front() : nullptr;
}

// Prepares the segment that starts at a keyframe, and where the one behind it starts. False
// where it would take memory that must not be taken; the block is of no use then.
bool Curve::PrepareOne(std::size_t block, std::size_t offset, PreparedBlock& into,
                       bool mayAllocate) const {
    const TimeValuePair& start = slots[block].block->keyframes[offset];
    const TimeValuePair* end = Following(block, offset);
    const double from = start.GetTime();
    const double to = end != nullptr ? end->GetTime() : kInfinity;
    SegmentCurve curve{};
    SegmentEnds ends{};
    Segment* const segment = into.Segments() + offset;
    if (end == nullptr) {
        PrepareOuter(start, from, to, segment);
    } else if (IsStoredAsItIs(settings.type)) {
        PrepareStored(start.PeekValue(), from, to, segment);
    } else if (settings.type == ParameterPoint && IsPointValue(start.PeekValue()) &&
               IsPointValue(end->PeekValue())) {
        PreparePath(from, to, PathControlPoints(start, *end), segment, curve);
    } else if (ReadEnds(start, *end, settings.type == ParameterPoint, ends)) {
        PrepareSegment(ends, segment, curve);
    } else {
        double number = 0.0;
        const bool isStart = !ReadNumber(start.PeekValue(), number);
        PrepareUnreadable((isStart ? start : *end).PeekValue(), from, to, segment);
    }
    if (segment->HasCurve()) {
        if (into.curves == nullptr) {
            if (!mayAllocate) {
                return false;
            }
            into.curves = std::make_unique<SegmentCurve[]>(slots[block].block->times.size());
        }
        into.curves[offset] = curve;
        segment->Refer(&into.curves[offset]);
    }
    return true;
}

const PreparedBlock& Curve::PreparedOf(std::size_t block) const {
    return slots[block].block->prepared.Get([&] {
        const std::size_t size = slots[block].block->times.size();
        auto made = PreparedBlock::Make(size);
        for (std::size_t i = 0; i < size; ++i) {
            PrepareOne(block, i, *made, true);
        }
        return made;
    });
}

// The segment that holds `t`, which lies in a block that is not the last one. Null where
// keyframes lie less evenly than most do, and for a while after each edit.
const Segment* Curve::FindEvenly(std::size_t block, double t) const {
    const std::vector<BlockSegments>* all = blockSegments.Peek();
    if (all == nullptr) {
        const std::size_t done = searches.count.load(std::memory_order_relaxed);
        searches.count.store(done + 1, std::memory_order_relaxed);
        if (done < slots.size()) {
            return nullptr;
        }
        all = &blockSegments.Get([&] {
            auto made = std::make_unique<std::vector<BlockSegments>>(slots.size());
            for (std::size_t i = 0; i + 1 < slots.size(); ++i) {
                (*made)[i].count = static_cast<double>(slots[i + 1].before - slots[i].before);
            }
            return made;
        });
    }
    const BlockSegments& row = (*all)[block];
    const Segment* first = row.first.load(std::memory_order_acquire);
    if (first == nullptr) {
        first = PreparedOf(block).Segments();
        row.first.store(first, std::memory_order_release);
    }
    const double part = (t - starts[block]) / (starts[block + 1] - starts[block]);
    if (!(part <= 1.0)) {
        return nullptr;  // differences overflow
    }
    // At most the one behind the block's own, which starts where the next block does.
    const Segment* found = first + static_cast<std::size_t>(part * row.count);
    __builtin_prefetch(found - 1);
    __builtin_prefetch(found + 2);
    constexpr int kMostSteps = 4;
    for (int step = 0; step < kMostSteps; ++step) {
        if (found->Holds(t)) {
            return found;
        }
        found += t < found->from ? -1 : 1;
    }
    return nullptr;
}

const Segment& Curve::SegmentAt(double t) const {
    const std::size_t behind = UpperBoundByGuess(starts, t);
    if (behind == 0) {
        return before
            .Get([&] {
                const TimeValuePair& first = slots.front().block->keyframes.front();
                auto made = std::make_unique<std::array<Segment, 3>>();
                PrepareOuter(first, -kInfinity, first.GetTime(), made->data());
                return made;
            })
            .front();
    }
    // Fewer are found sooner by a search, as the caches hold them.
    constexpr std::size_t kManyBlocks = 1'024;
    if (starts.size() >= kManyBlocks && behind < starts.size()) {
        if (const Segment* const found = FindEvenly(behind - 1, t)) {
            return *found;
        }
    }
    const CurveBlock& block = *slots[behind - 1].block;
    const PreparedBlock* prepared = block.prepared.Peek();
    return (prepared != nullptr ? *prepared : PreparedOf(behind - 1)).Segments()[block.LastUpTo(t)];
}

// Samples

ValAny Curve::Sample(const Segment& segment, double t, bool clampToRange) const {
    switch (segment.shape) {
        case Segment::Shape::NotNumeric:
            RefuseValues(segment);
        case Segment::Shape::Path: {
            const double u = segment.Progress(t);
            const CubicBezier& path = segment.Curve().bezier;
            return Pointd{path.X(u), path.Y(u)};
        }
        case Segment::Shape::Stored:
            break;
        default:
            return Finish(SampleSegment(segment, t), clampToRange);
    }
    const ValAny& value = segment.Stored();
    if (clampToRange && sampling.clamp == Sampling::Clamp::Bool && value.Kind() == ValAny::kBool) {
        const double number = value.AsBool() ? 1.0 : 0.0;
        return number > sampling.max   ? sampling.max > 0.0
               : number < sampling.min ? sampling.min > 0.0
                                       : value.AsBool();
    }
    return value;
}

ValAny Curve::Finish(double value, bool clampToRange) const {
    if (settings.type == ParameterDouble) {
        const double result = value * sampling.ratio;
        return clampToRange ? Clamped(result) : result;
    }
    if (settings.type == ParameterInt) {
        const int result = TruncateToInt(value * sampling.integerRatio);
        if (clampToRange && sampling.clamp == Sampling::Clamp::Int) {
            return result > sampling.max   ? static_cast<int>(sampling.max)
                   : result < sampling.min ? static_cast<int>(sampling.min)
                                           : result;
        }
        return result;
    }
    return value;
}

// Areas

const AreaIndex& Curve::Areas() const {
    if (IsStoredAsItIs(settings.type) || settings.type == ParameterPoint) {
        return asNumbers
            .Get([&] {
                auto numbers = std::make_unique<Curve>(*this);
                numbers->SetType(ParameterDouble);
                return numbers;
            })
            .Areas();
    }
    return areas.Get([&] {
        std::vector<AreaIndex::Block> rows;
        rows.reserve(slots.size());
        for (std::size_t i = 0; i < slots.size(); ++i) {
            const CurveBlock& block = *slots[i].block;
            // Without what lies behind the last keyframe and behind the block.
            const std::size_t inner = block.times.size() - (i + 1 < slots.size() ? 0 : 1);
            const std::span<const Segment> segments(PreparedOf(i).Segments(), inner);
            const BlockAreas& sums = block.areas.Get([&] {
                for (const Segment& segment : segments) {
                    if (segment.shape == Segment::Shape::NotNumeric) {
                        RefuseValues(segment);
                    }
                }
                return std::make_unique<BlockAreas>(segments);
            });
            rows.push_back({block.times, segments, &sums, 0.0});
        }
        const double valueBefore = RequireNumber((*this)[0].PeekValue());
        const double valueAfter = RequireNumber((*this)[count - 1].PeekValue());
        return std::make_unique<AreaIndex>(std::move(rows), valueBefore, valueAfter);
    });
}

// With all values made smaller by a power of two, which rounds nothing that counts where
// sums of the values as they are overflow.
double Curve::SaturatedArea(double from, double to) const {
    // The largest value becomes 1/64, so that even over the longest time no sum overflows.
    constexpr int kShift = 1030;
    const auto smaller = [](double number) { return std::ldexp(number, -kShift); };
    const std::size_t inner = count - 1;
    std::vector<double> times = {TimeOf(0)};
    SegmentRow segments(inner);
    std::vector<SegmentCurve> curves(inner);
    times.reserve(count);
    for (std::size_t i = 0; i < inner; ++i) {
        SegmentEnds ends{};
        ReadEnds((*this)[i], (*this)[i + 1], false, ends);
        for (double* number : {&ends.y0, &ends.y1, &ends.ry, &ends.ly}) {
            *number = smaller(*number);
        }
        if (RuleOf(ends.type0, ends.type1) != SegmentRule::TimeValueBezier) {
            ends.rx = smaller(ends.rx);
            ends.lx = smaller(ends.lx);
        }
        times.push_back(ends.t1);
        PrepareSegment(ends, &segments[i], curves[i]);
    }
    double first = 0.0;
    double last = 0.0;
    ReadNumber((*this)[0].PeekValue(), first);
    ReadNumber((*this)[inner].PeekValue(), last);
    const BlockAreas sums(segments);
    const AreaIndex index({{times, segments, &sums, 0.0}}, smaller(first), smaller(last));
    const double middle = std::clamp(0.0, std::min(from, to), std::max(from, to));
    const double area = index.Area(from, middle) + index.Area(middle, to);
    constexpr double kMost = std::numeric_limits<double>::max();
    const double whole = std::ldexp(area * AreaRatio(), kShift);
    return std::isnan(whole) ? 0.0 : std::clamp(whole, -kMost, kMost);
}

// A single keyframe's value is sampled as it is stored, without the ratio.
double Curve::Area(double from, double to) const {
    if (count == 0 || !std::isfinite(from) || !std::isfinite(to)) {
        return 0.0;
    }
    const double area = Areas().Area(from, to) * AreaRatio();
    return std::isfinite(area) ? area : SaturatedArea(from, to);
}

double Curve::SolveArea(double start, double area) const {
    constexpr const char* kFunction = "core::BigParameterImpl::SolveTimeBaseArea";
    if (count == 0 || !std::isfinite(start) || !std::isfinite(area)) {
        if (std::fabs(area) < kNegligible) {
            return start;
        }
        ReportUnsolved(kFunction, 2228);
        return count == 0 ? start : TimeOf(count - 1);
    }
    double time = 0.0;
    if (!Areas().Solve(start, area, AreaRatio(), time)) {
        ReportUnsolved(kFunction, 2247);
        time = TimeOf(count - 1);
    }
    return time;
}

// Texts

std::string Curve::Text() const {
    std::string text;
    std::string made = WriteParameter(settings, Keyframes(), text);
    digest.Get([&] { return std::make_unique<std::string>(std::move(made)); });
    return text;
}

const std::string& Curve::Digest() const {
    return digest.Get(
        [&] { return std::make_unique<std::string>(DigestOf(settings.type, Keyframes())); });
}

}  // namespace core
