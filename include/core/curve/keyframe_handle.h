#pragma once

#include <core/curve/keyframe.h>
#include <core/curve/snapshot.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

CORE_HIDES_STD_BEGIN
namespace core {

class BigParameterImpl;

/// What `Parameter` and `BigKeyframe` share: a handle that owns the one
/// implementation of a curve and forwards every call to it.
///
/// Copies share the keyframes until one of the two is edited, so that copying costs the same
/// for any number of them. Moving leaves the source without an
/// implementation; such a handle answers every question like an empty curve,
/// refuses every change, and comes back to life when it is assigned to.
/// Assigning to a handle that other threads are using is an edit like any other.
class CORE_API KeyframeHandle : public IKeyFrame {
public:
    ~KeyframeHandle() override;

    ValAny GetValue(double time, bool clampToRange) override;
    int AddPoint(double time, ValAny value, KeyframeInterpolationType type) override;
    void SetValueRange(ValAny min, ValAny max) override;
    bool RemovePoint(int index) override;
    ValAny GetPointValue(int index) override;
    double GetPointTime(int index) const override;
    KeyframeInterpolationType GetInterpolationType(int index) override;
    bool GetPointControlParam(int index, double& x, double& y) const override;
    bool SetPointValue(int index, ValAny value) override;
    bool SetPointTime(int index, double time) override;
    bool SetPointInterpolationType(int index, KeyframeInterpolationType type) override;
    bool SetPointControlParam(int index, double x, double y) override;
    int GetKeyFramesCount() const override;
    void SetParameterType(ParameterTypeEnum type) override;
    ParameterTypeEnum GetParameterType() override;
    void GetValueRange(ValAny& min, ValAny& max) const override;
    std::string Serialize() override;
    int Desialize(const char* json) override;
    double GetAreaFromTo(double from, double to, bool flag, double a, double b) const override;
    double SolveTimeBaseArea(double start, double area) const override;
    void RemoveKeyFramesAfterTime(double time) override;
    int GetNKeyFramesInRange(double from, double to, std::list<double>* times) const override;
    int GetPointIndex(double time) const override;
    void ClearKeyFrames() override;
    bool GetPreviousKeyframeTime(double time, TimeValuePair* out) const override;
    const char* SerializeEx() const override;
    void AddPointEx(double time, ValAny value, KeyframeInterpolationType type) override;
    const char* GetHashString() const override;
    bool SetPointControlParamEx(int index, double leftX, double leftY, double rightX,
                                double rightY) override;
    bool GetPointControlParamEx(int index, double& leftX, double& leftY, double& rightX,
                                double& rightY) const override;
    bool SetPointControlLeftParam(int index, double x, double y) override;
    bool SetPointControlRightParam(int index, double x, double y) override;
    bool GetPointControlLeftParam(int index, double& x, double& y) const override;
    bool GetPointControlRightParam(int index, double& x, double& y) const override;
    bool HasPoint(double time) const override;
    bool GetPointControlParamOnCurve(double time, double& a, double& b, double& c, double& d,
                                     bool flag) const override;
    bool SplitIntoTwoMotionDimension(Parameter& xPart, Parameter& yPart) const override;
    bool TransferAbsoluteParamToRelative(int index, double& startX, double& startY, double& endX,
                                         double& endY) override;
    bool TransferRelativeParamToAbsolute(int index, double& startX, double& startY, double& endX,
                                         double& endY) override;
    ValAny CORE_SLOT_NAME(GetValue)() override;
    using IKeyFrame::GetValue;
    ParameterIterator* GetParameterIterator(bool reverse) override;
    void SetBaseRatio(ValAny ratio) override;
    ValAny GetBaseRatio() override;

    /// The curve as it is now, which later edits don't change. O(1).
    CurveSnapshot Snapshot() const;
    /// Makes the curve what the snapshot is: undo, redo. On a speed curve it concerns the
    /// keyframes and settings that any parameter has. False without an implementation. O(1).
    bool Restore(const CurveSnapshot& snapshot);

    /// A number that grows with every change. Takes no lock: what it says of two moments
    /// holds, whatever is edited meanwhile.
    std::uint64_t Revision() const noexcept;

    /// Makes several edits as one: other threads see all of them or none, and if `edits`
    /// throws, nothing has changed.
    ///
    ///     opacity.Edit([](core::Parameter& draft) {
    ///         draft.SetPointTime(1, 2.0);
    ///         draft.SetPointValue(1, ValAny(0.5));
    ///     });
    ///
    /// `edits` gets a parameter of its own with this curve, and runs without a lock: it may
    /// ask and edit any curve, but what it changes on this one directly is not part of
    /// the draft. Where another thread has edited this curve meanwhile, it is called again
    /// with what that has left. False, changing nothing, without an implementation. On a
    /// speed curve it concerns the keyframes, as `Restore`.
    bool Edit(const std::function<void(Parameter&)>& edits);
    /// Adds keyframes as `AddPoint` does, as one edit: as if one by one in order of time, of
    /// two that match the later one of the array. Their handles are automatic. False,
    /// changing nothing, where a time is not finite. O((n / 64) + k log k).
    bool AddPoints(const TimeValuePair* keyframes, std::size_t count);

    /// Samples at many times, all of one moment; see `CurveSnapshot::GetValues`.
    void GetValues(const double* times, std::size_t count, bool clampToRange, double* values) const;
    void GetValues(const double* times, std::size_t count, bool clampToRange, Pointd* values) const;
    void GetValues(double start, double step, std::size_t count, bool clampToRange,
                   double* values) const;
    void GetValues(double start, double step, std::size_t count, bool clampToRange,
                   Pointd* values) const;

    /// The implementation, owned by this handle; null after a move. Its class is
    /// not part of the interface.
    BigParameterImpl* p_impl() const noexcept { return impl.get(); }

protected:
    /// As the constructors of `Parameter`.
    KeyframeHandle();
    explicit KeyframeHandle(ValAny value);
    KeyframeHandle(double time, ValAny value, KeyframeInterpolationType interpolation,
                   ParameterTypeEnum type);
    explicit KeyframeHandle(std::unique_ptr<BigParameterImpl> implementation);
    KeyframeHandle(const KeyframeHandle& other);
    KeyframeHandle(KeyframeHandle&& other) noexcept;
    KeyframeHandle& operator=(const KeyframeHandle& other);
    KeyframeHandle& operator=(KeyframeHandle&& other) noexcept;

private:
    std::unique_ptr<BigParameterImpl> impl;
};

}  // namespace core
CORE_HIDES_STD_END
