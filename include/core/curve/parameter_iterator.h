#pragma once

#include <core/curve/keyframe_handle.h>
#include <core/curve/time_value_pair.h>
#include <core/export.h>

#include <cstddef>

namespace core {

/// Walks the keyframes of a curve, from the first to the last or in reverse.
///
/// Points at its parameter, which must outlive it. Each step takes the curve's
/// lock, the walk as a whole does not: an edit between two steps may make it
/// skip or repeat a keyframe, never read outside the store. One thread at a
/// time.
///
///     for (it.First(); !it.IsDone(); it.Next()) { use(it.Current()); }
class CORE_API ParameterIterator {
public:
    /// Stands at the first keyframe, in reverse at the last. With a null parameter
    /// every step reports an error, and the walk is done.
    ParameterIterator(KeyframeHandle* parameter, bool reverse);
    ParameterIterator(const ParameterIterator&);
    ParameterIterator& operator=(const ParameterIterator&);
    virtual ~ParameterIterator();

    /// Goes (back) to the start of the walk.
    void First();
    /// Goes one keyframe on; at the end of the walk it stays there.
    void Next();
    /// Whether the walk has run off the keyframes.
    bool IsDone() const;
    /// A copy of the current keyframe; a default one when the walk is done.
    TimeValuePair Current() const;

private:
    KeyframeHandle* parameter;
    std::size_t forwardPosition;
    std::size_t backwardPosition;
    bool reverse;
};

}  // namespace core
