#pragma once

#include <core/curve/interpolation.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>
#include <core/export.h>

#include <list>
#include <string>

namespace core {

class Parameter;
class ParameterIterator;

/// A curve of keyframes that can be edited, sampled and integrated.
///
/// Times are seconds. A time of 166666.66666666666 or more is read as a count of
/// 100-nanosecond ticks where an eased or time-value Bezier segment is
/// evaluated. Two times are the same keyframe within 1e-7; the store is sorted
/// and never holds two matching keyframes. Indices count from 0 in time order
/// and hold until the next edit; an index outside the store changes nothing.
///
/// Every operation is safe from any thread and runs under the curve's own
/// recursive lock. Calls are virtual in the order of this declaration.
///
/// Kept on purpose: other modules call through these slots; only append.
class CORE_API IKeyFrame {
public:
    virtual ~IKeyFrame();

    /// The value at `time`.
    ///
    /// Without keyframes the integer 0; with one keyframe its value as stored.
    /// Otherwise a double parameter answers the interpolated value times the base
    /// ratio; an int parameter the value times the ratio truncated to an integer,
    /// the product truncated to 32 bits (saturating);
    /// a bool or string parameter the value of the keyframe at or before `time`,
    /// a point parameter the point on its path. Before the first and after the
    /// last keyframe the curve stays at that keyframe's value. With
    /// `clampToRange`, numbers and booleans are clamped to the value range.
    /// Throws `AnyBadAccess` where a segment's values are not numbers as the
    /// parameter type needs them. O(log n); O(1) where the last call's segment
    /// or the one after it holds `time`.
    virtual ValAny GetValue(double time, bool clampToRange) = 0;

    /// Inserts a keyframe, or replaces the whole keyframe that matches `time`.
    ///
    /// Bool and string parameters store `Hold` whatever `type` says. Handles are
    /// set automatically, and those of the two neighbours follow unless they were
    /// set by the caller; point parameters get zero handles (see `AddPointEx`).
    /// Answers the keyframe's index, or -1, changing nothing, when `time` is not
    /// finite. O(log n) at the end of the store.
    virtual int AddPoint(double time, ValAny value, KeyframeInterpolationType type) = 0;

    /// Sets the bounds that `GetValue` clamps to: doubles for a double parameter,
    /// integers for an int parameter, booleans for a bool parameter; the others do
    /// not clamp, and neither do bounds of a kind that does not fit. No range is the
    /// pair +-1.7976931348623157e308, for an int parameter also +-2147483647.
    virtual void SetValueRange(ValAny min, ValAny max) = 0;

    /// Removes a keyframe; false for an index outside the store.
    virtual bool RemovePoint(int index) = 0;

    /// A copy of the keyframe's value; none for an index outside the store.
    virtual ValAny GetPointValue(int index) = 0;

    /// The keyframe's time; 0.0 for an index outside the store.
    virtual double GetPointTime(int index) const = 0;

    /// The keyframe's type; `Extrapolate` for an index outside the store.
    virtual KeyframeInterpolationType GetInterpolationType(int index) = 0;

    /// X of the left handle to `x`, X of the right handle to `y`; false, leaving
    /// both untouched, for an index outside the store.
    virtual bool GetPointControlParam(int index, double& x, double& y) const = 0;

    /// Replaces the value; automatic handles around it follow. False for an index
    /// outside the store.
    virtual bool SetPointValue(int index, ValAny value) = 0;

    /// Moves a keyframe in time, keeping the store sorted; its index may change.
    /// False, changing nothing, for an index outside the store, a time that is not
    /// finite, and a time that another keyframe matches.
    virtual bool SetPointTime(int index, double time) = 0;

    /// Changes the type, and with it the meaning of the keyframe's handles, which
    /// are automatic again (those of point parameters keep their numbers until they
    /// follow an edit). False for an index outside the store.
    virtual bool SetPointInterpolationType(int index, KeyframeInterpolationType type) = 0;

    /// Sets X of the left handle to `x` and X of the right handle to `y`. A handle is
    /// set by hand from then on, unless it gets exactly its automatic numbers. False,
    /// changing nothing, for an index outside the store or a number that is not finite.
    virtual bool SetPointControlParam(int index, double x, double y) = 0;

    /// The number of keyframes.
    virtual int GetKeyFramesCount() const = 0;

    /// Changes what is sampled; stored keyframes stay as they are. A parameter
    /// without a value range has none afterwards either.
    virtual void SetParameterType(ParameterTypeEnum type) = 0;
    /// What is sampled.
    virtual ParameterTypeEnum GetParameterType() = 0;

    /// The bounds; without a range +-1.7976931348623157e308 for a double
    /// parameter, +-2147483647 for an int parameter, none for the others.
    virtual void GetValueRange(ValAny& min, ValAny& max) const = 0;

    /// The curve as JSON text: version, type, range, base ratio and keyframes, ended by
    /// an "MD5" member with the text of `GetHashString`.
    ///
    /// Numbers are written with eight decimals (fifteen from 1e8 on) and cut at 63
    /// characters, in the "C" locale. A handle that is not finite is written as 0. A
    /// value that does not fit the parameter's type, or is not finite, is written as
    /// null, and its keyframe left out by readers. O(n).
    virtual std::string Serialize() = 0;
    /// Loads a text of `Serialize` in place of the keyframes. 0, or -1, changing
    /// nothing, when `json` is null, no JSON object with a "keyframeSets" array, or
    /// names an unknown "ParameterType". What follows the object is not looked at.
    ///
    /// Members may come in any order; of two of one name the first counts. Absent
    /// top-level members leave their setting as it was, null ones clear range or ratio.
    /// Every "Version" is accepted and written back; the "MD5" is not checked.
    /// Keyframes are sorted, and of those that match the last in the text stays.
    /// A keyframe without "_time" or "_value", with a value of another type or with a
    /// number that is not finite is reported and left out. Absent handles are 0. A
    /// handle whose digits are those of its automatic one is automatic, at full
    /// precision, and follows edits as that of the saved curve would.
    /// O(n) for keyframes in order, else O(n log n).
    ///
    /// Kept on purpose: callers link against this spelling.
    virtual int Desialize(const char* json) = 0;

    /// The area under the curve: the integral over time from `from` to `to` of what
    /// `GetValue(t, false)` answers for a double parameter, base ratio included,
    /// before the first and after the last keyframe too.
    ///
    /// `from > to` gives the negative; a bound that is not finite gives 0; an area
    /// beyond the largest double gives that, with its sign. The last three arguments
    /// are ignored. Throws `AnyBadAccess` where values are not numbers. O(n) for the
    /// first call, a 64th of that after an edit, else O(log n). Accurate to rounding;
    /// where `GetValue` solves for the curve parameter by bisection, to the bisection's
    /// tolerance.
    virtual double GetAreaFromTo(double from, double to, bool flag, double a, double b) const = 0;

    /// The first time at or after `start` (at or before it for a negative area)
    /// where the area from `start` reaches `area`; the inverse of `GetAreaFromTo`.
    ///
    /// The area there is within 1e-9 of `area`, relative, or absolute below 1. At a
    /// standstill the answer is its start. Where the area is never reached, reports
    /// an error and answers the last keyframe's time (`start` without keyframes).
    /// Throws `AnyBadAccess` where values are not numbers. Costs as `GetAreaFromTo`.
    virtual double SolveTimeBaseArea(double start, double area) const = 0;

    /// Removes every keyframe later than `time`; one exactly at `time` stays.
    virtual void RemoveKeyFramesAfterTime(double time) = 0;

    /// Counts the keyframes from the first one not before `from` up to and
    /// including the first one after `to`, appending their times to `times` unless
    /// it is null.
    ///
    /// Kept on purpose: callers rely on the keyframe beyond `to` being counted.
    virtual int GetNKeyFramesInRange(double from, double to, std::list<double>* times) const = 0;

    /// Index of the keyframe at `time` (the nearest, should two match), or -1.
    virtual int GetPointIndex(double time) const = 0;

    /// Removes all keyframes.
    virtual void ClearKeyFrames() = 0;

    /// Whether a keyframe lies before `time` without matching it; copies the last
    /// such keyframe to `out` unless that is null.
    virtual bool GetPreviousKeyframeTime(double time, TimeValuePair* out) const = 0;

    /// `Serialize`, kept in the parameter: the pointer lives until the next such call on
    /// it.
    virtual const char* SerializeEx() const = 0;

    /// As `AddPoint`, and on point parameters too the handles are set and followed
    /// from now on: they lie at the thirds of the straight path. Zero handles that
    /// `AddPoint` has left count as nobody's.
    virtual void AddPointEx(double time, ValAny value, KeyframeInterpolationType type) = 0;

    /// 32 hexadecimal digits that identify the keyframes: times, types, values and
    /// handles, as a reader of the saved text gets them. The hash of a loaded curve is
    /// that of the curve that was saved.
    ///
    /// The pointer lives until the next such call on this parameter. O(n) for the first
    /// call after an edit, then O(1).
    virtual const char* GetHashString() const = 0;

    /// Sets all four handle numbers, as `SetPointControlParam` does.
    virtual bool SetPointControlParamEx(int index, double leftX, double leftY, double rightX,
                                        double rightY) = 0;
    /// All four handle numbers; false, leaving the outputs untouched, for an index
    /// outside the store.
    virtual bool GetPointControlParamEx(int index, double& leftX, double& leftY, double& rightX,
                                        double& rightY) const = 0;
    /// Sets the incoming handle alone, as `SetPointControlParam` does.
    virtual bool SetPointControlLeftParam(int index, double x, double y) = 0;
    /// Sets the outgoing handle alone, as `SetPointControlParam` does.
    virtual bool SetPointControlRightParam(int index, double x, double y) = 0;
    /// The incoming handle; false, leaving the outputs untouched, for an index
    /// outside the store.
    virtual bool GetPointControlLeftParam(int index, double& x, double& y) const = 0;
    /// The outgoing handle; false, leaving the outputs untouched, for an index
    /// outside the store.
    virtual bool GetPointControlRightParam(int index, double& x, double& y) const = 0;

    /// Whether a keyframe matches `time`.
    virtual bool HasPoint(double time) const = 0;

    /// The handles of the segment that contains `time`, its end excluded: X and Y of
    /// the start's right handle to `a` and `b`, of the end's left handle to `c` and
    /// `d`.
    ///
    /// As stored, or with `absolute` as points of the time-value plane in the curve's
    /// own unit of time (see `GetAbsolutePointControlParam`). The handles of a point
    /// parameter are positions and the same either way. False, leaving the outputs
    /// untouched, where no segment contains `time`, or where absolute points are asked
    /// for and the values are no numbers.
    virtual bool GetPointControlParamOnCurve(double time, double& a, double& b, double& c,
                                             double& d, bool absolute) const = 0;

    /// Fills `xPart` and `yPart` with double parameters that sample at every time to
    /// the x and the y of this point parameter, to rounding.
    ///
    /// They have its keyframes: of type `Hold` where it holds, else of type
    /// `ValueBezier`, whose inner control values carry the motion. They have no range
    /// and no base ratio, as points have none. Keyframes whose value is no point are
    /// left out. False, changing nothing, unless this is a point parameter. O(n).
    virtual bool SplitIntoTwoMotionDimension(Parameter& xPart, Parameter& yPart) const = 0;

    /// Turns two handles, given as points of the time-value plane, into the form in
    /// which keyframes store them, for the segment that starts at `index`: X and Y of
    /// the start's right and of the end's left handle. The keyframes stay as they are.
    ///
    /// Times are in the curve's own unit; see `GetRelativePointControlParam`. False,
    /// leaving the numbers untouched, where no segment starts at `index`, where its
    /// values are no numbers, and for a point parameter, whose handles are positions.
    virtual bool TransferAbsoluteParamToRelative(int index, double& startX, double& startY,
                                                 double& endX, double& endY) = 0;
    /// The inverse; see `GetAbsolutePointControlParam`.
    virtual bool TransferRelativeParamToAbsolute(int index, double& startX, double& startY,
                                                 double& endX, double& endY) = 0;

    /// The constant that the parameter was made with; the integer 0 by default.
    virtual ValAny CORE_SLOT_NAME(GetValue)() = 0;
#if defined(CORE_LAYS_OVERLOADS_TOGETHER)
    ValAny GetValue() {
        return CORE_SLOT_NAME(GetValue)();
    }
#endif

    /// A new iterator over the keyframes, forwards or in reverse; the caller owns
    /// it. It must not outlive the parameter.
    virtual ParameterIterator* GetParameterIterator(bool reverse) = 0;

    /// Sets the factor of sampled numbers; anything but a number acts as 1.
    virtual void SetBaseRatio(ValAny ratio) = 0;
    /// The factor of sampled numbers; none by default.
    virtual ValAny GetBaseRatio() = 0;

protected:
    IKeyFrame() = default;
    IKeyFrame(const IKeyFrame&) = default;
    IKeyFrame& operator=(const IKeyFrame&) = default;
};

}  // namespace core
