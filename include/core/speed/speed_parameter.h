#pragma once

#include <core/curve/parameter.h>
#include <core/curve/val_any.h>
#include <core/export.h>
#include <core/speed/snapshot.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace core {

class SpeedParameterImpl;

/// Slower than this a segment shows next to one picture: copies, and readers of older
/// texts, turn it into a freeze. Stored projects hold freezes made of such speeds.
inline constexpr double kNearZeroSpeed = 0.0001;

/// The speed of a clip, and what follows from it: which source time is shown at a
/// render time, and when a source time is shown.
///
/// All times are seconds. There are three axes:
///  - source time runs along the clip's material; the keyframes lie on it, each with
///    a speed (1 normal, 2 twice as fast, below 0.0001 next to nothing);
///  - render time runs along the timeline;
///  - point time is source time with the freezes counted: a freeze of 2 s takes 2 s
///    of it. Freezes are placed and kept by their point time.
/// Between two keyframes the speed is the start's for `Hold`, and runs from the
/// start's to the end's as the type says for every other; the segment then takes its
/// source length over the mean of the two.
///
/// Kept on purpose: it takes that whatever the type. `Hold`, `Linear`, `HermiteFlat`,
/// `ValueBezier`, `EaseInOutCubic` and `EaseInOutCirc` show their source length in it.
/// With others the picture jumps where the segment ends, and at each keyframe behind
/// it, to the time of the keyframe. Stored projects have these lengths.
///
/// The keyframes are edited like those of any parameter. A new curve has one, speed
/// 1 at time 0. Owned by its caller; safe from any thread. After an edit the first
/// question costs O(f log n) for f freezes and a 64th of O(n), those that follow
/// O(log n); with negative speeds, or in ticks, the first is O(n).
/// Questions throw `AnyBadAccess` where a keyframe's value is not a number. On a
/// curve without keyframes times are mapped to themselves, freezes apart. The answer
/// for a finite time is never NaN.
///
/// A handle without an implementation (moved from, or given a plain parameter's by a
/// move through `Parameter&`) answers like a new curve without keyframes.
///
///     core::SpeedParameter speed;
///     speed.SetSourceTotalTime(10.0);
///     speed.AddPoint(4.0, 2.0, core::KeyframeInterpolationType::Hold);
///     speed.AddFreezeFrame(3.0, 2.0);                  // show 3 s for 2 s
///     double shown = speed.GetSourceTime(6.5);         // 5.0
class CORE_API SpeedParameter : public Parameter {
public:
    /// A curve of speed 1 with one keyframe at time 0.
    SpeedParameter();
    /// The same with `value` at time 0; the type follows from its kind, as for any
    /// parameter. So `SpeedParameter(1)` is a curve of integers: a speed of 1.5 that it gets
    /// later is cut to 1 when it is saved. Write `SpeedParameter(1.0)`.
    explicit SpeedParameter(ValAny value);
    /// A copy with the keyframes, settings and freezes of `other`. On top, each
    /// keyframe but the last whose speed is below 0.0001 in magnitude becomes a
    /// freeze at its time, as long as its segment, where one can be added.
    SpeedParameter(const SpeedParameter& other);
    SpeedParameter(SpeedParameter&& other) noexcept;
    SpeedParameter& operator=(const SpeedParameter& other);
    SpeedParameter& operator=(SpeedParameter&& other) noexcept;
    ~SpeedParameter() override;

    /// The text of a parameter, followed by "_totalTime", and by "_sourceFPS" unless it is
    /// 25, "reverse" unless it is 0 and "_freeze" unless there are none: point time and
    /// duration of each freeze, in seconds with eight decimals. It tells of every change
    /// made before the call. O(n) after a change.
    ///
    /// A freeze that lies beyond the source length is written, but no curve takes it.
    std::string Serialize() override;
    /// Loads a text of `Serialize`, or an older one, as for any parameter; nothing changes
    /// when -1 is answered.
    ///
    /// Kept on purpose: a member that the text lacks leaves its field as it was, the
    /// freezes too; `LoadAsNew` does not, so that it can undo by text. Better undo by `Snapshot`
    /// and `Restore`. So does one that is no finite number, or no array. A freeze that is
    /// no two numbers, or that `AddFreezeFrame` refuses, is left out; those of a curve
    /// whose values are no numbers are.
    ///
    /// In older texts keyframes whose speed is below 0.0001 in magnitude stand for
    /// freezes. Those at time 0 or later are taken out, each with the keyframe behind it,
    /// what follows moves up, and freezes take their place.
    int Desialize(const char* text) override;
    /// Makes the curve what a new one becomes by `Desialize`: what the text lacks has its
    /// default, and freezes that it does not name are gone. False, changing nothing, where
    /// that answers -1.
    bool LoadAsNew(const char* text);
    /// `Serialize`, kept in the curve until the next such call or its end.
    const char* SerializeEx() const override;

    // Kept on purpose: other modules call the virtual functions through their slots,
    // which follow those of IKeyFrame in this order; only append.

    /// One stretch of constant or changing speed of the curve as it is played, as
    /// coefficients in the order of `PrimeX`; zeros for a freeze and for an index
    /// outside.
    ///
    /// Forward, stretches are counted from the first keyframe, a freeze being one of
    /// its own. In reverse they are those of the curve that `RevertSpeedParameter`
    /// has made, zeros where it has not. `a` is the speed at the start and `b` its
    /// slope per render second; `c` and `d` are per second^2 and second^3 where an
    /// eased step (`HermiteFlat`) starts, per segment length otherwise. The last
    /// keyframe starts no stretch: its index is reported as an error.
    virtual void GetVelocityTimeCurve(double& a, double& b, double& c, double& d, int index);
    /// The number of keyframes.
    virtual int GetKeyFramesCountEx();
    /// Makes the freeze with this index, in order of time, last `duration` seconds;
    /// later ones move with its end. False, changing nothing, for an index outside,
    /// for a duration that is not finite or not above 0, and for a freeze that lasts
    /// less than 1e-7 now.
    virtual bool SetFreezeFrameDuration(int index, double duration);

    /// Shows the instant at `pointTime` for `duration` seconds; what follows comes
    /// that much later. Adds a keyframe there unless there is one, which changes no
    /// speed before or after it on held and linear segments.
    ///
    /// Within 1e-7 of the source length the instant is its end. False, changing
    /// nothing, for a point below 0, beyond the source length or inside a freeze, for
    /// a duration below 1e-7, and for either if not finite. A freeze keeps its
    /// instant when keyframes are edited, and starts when that is now reached.
    bool AddFreezeFrame(double pointTime, double duration);

    /// The number of freezes.
    int GetFreezeFramesCount() const;
    /// The freeze with this index, in order of time; one of zeros outside.
    FreezeFrame GetFreezeFrame(int index) const;
    /// Removes the freeze with this index; later ones come earlier by its duration. False,
    /// changing nothing, for an index outside.
    ///
    /// The keyframe that it has brought goes with it, as long as that has the speed and type
    /// which the freeze would bring again: then the curve is what it was before the freeze.
    /// One that was there before stays, as far as that is known: a text does not tell. So do
    /// the first keyframe, the last one and the one at the source length.
    bool RemoveFreezeFrame(int index);
    /// Removes the freeze with this index and adds it at `pointTime`, where the others are
    /// counted and it is not: its `pointTime` afterwards. False, changing nothing, for an
    /// index outside, and where `AddFreezeFrame` answers false.
    bool MoveFreezeFrame(int index, double pointTime);

    /// The speed at a render time (not frames per second); in a freeze the speed at
    /// its instant. The reverse flag plays no part. NaN only from keyframes with that
    /// value.
    double GetCurrentFPS(double renderTime) const;

    /// The source time shown at a render time; from the end on, the last keyframe's
    /// time. In reverse it is taken from the source length.
    double GetSourceTime(double renderTime) const;
    /// The first render time at which a source time is shown; a frozen one is where
    /// its freeze starts. In reverse it is taken from the source length first.
    ///
    /// Kept on purpose: at or beyond the source length, which is 0 until it is set,
    /// the answer is the end of the curve.
    double GetRenderTime(double sourceTime);

    /// Point time and render time; freezes are counted on both, the reverse flag
    /// plays no part. Segments of speed 0 take their source length on both.
    double PointTimeToRenderTime(double pointTime);
    double RenderTimeToPointTime(double renderTime) const;

    /// The render time of the last keyframe, freezes included. Reported as an error,
    /// and the freezes alone, without keyframes. Works out what an
    /// edit has changed.
    double GetRenderTotalTime();

    /// The length of the source clip; 0 until it is set.
    double GetSourceTotalTime() const;
    /// Removes the keyframe at the old length, unless that was 0, and adds one of
    /// speed 1 at the new one. Changes nothing for a length that is not finite.
    void SetSourceTotalTime(double totalTime);

    /// Frames per second of the source; 25 until it is set. Kept for callers, no
    /// answer depends on it. One that is not finite is not stored.
    double GetSourceFPS() const;
    void SetSourceFPS(double fps);

    /// 0 forward, otherwise reverse. Takes no lock.
    int GetReverse() const;
    /// Answers 0. Keyframes and freezes stay where they are. Takes no lock.
    int SetReverse(bool reverse);
    /// A copy that has, for when it is set to reverse, the stretches of this curve
    /// last to first, each run backwards. The caller owns it.
    std::unique_ptr<SpeedParameter> RevertSpeedParameter();

    /// The speeds on the render axis, freezes not counted, as of this call; made
    /// anew whenever this curve is. Never null. Changing it changes no answer here.
    std::shared_ptr<Parameter> GetParameterInternal();
    /// The curve of constant speed 1 that the last `GetRenderTime` measured its
    /// source time on. Never null.
    std::shared_ptr<Parameter> GetParameterSource();

    /// The curve as it is now, freezes and settings included, which later edits don't
    /// change. O(1).
    SpeedSnapshot Snapshot() const;
    /// Makes the curve what the snapshot is, the reverse flag included: undo, redo. False
    /// without an implementation. O(1).
    bool Restore(const SpeedSnapshot& snapshot);
    using Parameter::Restore;
    /// As `Edit` of a parameter, of all that a speed curve is: keyframes, freezes, settings
    /// and the reverse flag.
    ///
    ///     speed.Edit([](core::SpeedParameter& draft) {
    ///         draft.SetPointTime(1, 2.0);
    ///         draft.SetFreezeFrameDuration(0, 0.5);
    ///     });
    ///
    /// Where the draft leaves the reverse flag as it was, one that is set meanwhile stays.
    bool Edit(const std::function<void(SpeedParameter&)>& edits);
    /// Source times at many render times, all of one moment; see
    /// `SpeedSnapshot::GetSourceTimes`.
    void GetSourceTimes(const double* renderTimes, std::size_t count, double* sourceTimes) const;
    void GetSourceTimes(double start, double step, std::size_t count, double* sourceTimes) const;

    /// v(x) = d x^3 + c x^2 + b x + a, the speed of a stretch.
    static double PrimeX(double x, double a, double b, double c, double d);
    /// Its integral: c/3 x^3 + d/4 x^4 + b/2 x^2 + a x + e.
    static double SampleX(double x, double a, double b, double c, double d, double e);
    /// A root of `SampleX` by Newton's method from `x0`, when a step is below `eps`.
    ///
    /// Kept on purpose: neither the rounds nor a vanishing derivative are guarded;
    /// the caller chooses `x0` and `eps` so that it converges. It may not return
    /// where no root can be reached.
    static double SolveX(double x0, double a, double b, double c, double d, double e, double eps);

private:
    friend class SpeedSnapshot;
    explicit SpeedParameter(std::unique_ptr<SpeedParameterImpl> implementation);
    SpeedParameterImpl* Speed() const noexcept;
};

/// Stores in `result` a new curve with the source length and the keyframes of
/// `source`, but without its freezes and without keyframes whose speed is below
/// 0.0001 in magnitude. Leaves `result` alone for a null `source`. Throws
/// `AnyBadAccess` where a keyframe's value is not a number.
CORE_API void ZYLCoreCreateSourceTimeSpeedObj(std::shared_ptr<SpeedParameter> source,
                                              std::shared_ptr<SpeedParameter>& result);

/// Whether the curve has two keyframes or more and the speed of all is exactly 1; the
/// reverse flag and freezes play no part. False for null. Throws `AnyBadAccess` where
/// a keyframe's value is not a number.
CORE_API bool ZYLCoreIsNormalSpeed(std::shared_ptr<SpeedParameter> speed);

}  // namespace core
