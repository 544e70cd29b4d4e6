#pragma once

#include "core/curve/curve.h"
#include "core/curve/handles.h"
#include "core/curve/motion.h"
#include "core/foundation/mutex.h"
#include "core/foundation/shared.h"

#include <core/curve/interpolation.h>
#include <core/curve/load_report.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <span>
#include <string>
#include <vector>

namespace core {

class Parameter;

/// The one implementation behind `Parameter` and `BigKeyframe`: the lock, the current
/// curve, and the slots.
///
/// The operations are those of `IKeyFrame`, documented there. Each takes the
/// recursive mutex for its whole run, so that a derived class may call several of
/// them under one hold. Copies and snapshots share the curve until one of them edits its
/// own.
///
/// The texts that `SerializeEx` and `GetHashString` answer with a pointer are kept
/// apart from the curve, so that only the next such call changes them.
class BigParameterImpl {
public:
    BigParameterImpl();
    explicit BigParameterImpl(ValAny value);
    BigParameterImpl(double time, ValAny value, KeyframeInterpolationType interpolation,
                     ParameterTypeEnum type);
    /// A curve with keyframes that are in time order, no two of them matching.
    BigParameterImpl(ParameterTypeEnum type, ValAny constant, std::vector<TimeValuePair> keyframes);
    /// Shares the curve.
    explicit BigParameterImpl(Shared<Curve> shared);
    /// Copies under the lock of `other`.
    BigParameterImpl(const BigParameterImpl& other);
    /// Copies under the lock of `other`, then takes over under the own one: never
    /// holds both.
    BigParameterImpl& operator=(const BigParameterImpl& other);
    virtual ~BigParameterImpl();

    virtual ValAny GetValue(double time, bool clampToRange);
    virtual int AddPoint(double time, ValAny value, KeyframeInterpolationType type);
    virtual void SetValueRange(ValAny min, ValAny max);
    virtual bool RemovePoint(int index);
    virtual ValAny GetPointValue(int index);
    virtual double GetPointTime(int index) const;
    virtual KeyframeInterpolationType GetInterpolationType(int index);
    virtual bool GetPointControlParam(int index, double& x, double& y) const;
    virtual bool SetPointValue(int index, ValAny value);
    virtual bool SetPointTime(int index, double time);
    virtual bool SetPointInterpolationType(int index, KeyframeInterpolationType type);
    virtual bool SetPointControlParam(int index, double x, double y);
    virtual int GetKeyFramesCount() const;
    virtual void SetParameterType(ParameterTypeEnum type);
    virtual ParameterTypeEnum GetParameterType();
    virtual void GetValueRange(ValAny& min, ValAny& max) const;
    virtual std::string Serialize();
    /// Adds what is left out to `leftOut`, which may be null.
    virtual int Desialize(const char* json, std::vector<LeftOutKeyframe>* leftOut);
    virtual double GetAreaFromTo(double from, double to, bool flag, double a, double b) const;
    virtual double SolveTimeBaseArea(double start, double area) const;
    virtual void RemoveKeyFramesAfterTime(double time);
    virtual int GetNKeyFramesInRange(double from, double to, std::list<double>* times) const;
    virtual int GetPointIndex(double time) const;
    virtual void ClearKeyFrames();
    virtual bool GetPreviousKeyframeTime(double time, TimeValuePair* out) const;
    virtual const char* SerializeEx() const;
    virtual void AddPointEx(double time, ValAny value, KeyframeInterpolationType type);
    virtual const char* GetHashString() const;
    virtual bool SetPointControlParamEx(int index, double leftX, double leftY, double rightX,
                                        double rightY);
    virtual bool GetPointControlParamEx(int index, double& leftX, double& leftY, double& rightX,
                                        double& rightY) const;
    virtual bool SetPointControlLeftParam(int index, double x, double y);
    virtual bool SetPointControlRightParam(int index, double x, double y);
    virtual bool GetPointControlLeftParam(int index, double& x, double& y) const;
    virtual bool GetPointControlRightParam(int index, double& x, double& y) const;
    virtual bool HasPoint(double time) const;
    virtual bool GetPointControlParamOnCurve(double time, double& a, double& b, double& c,
                                             double& d, bool flag) const;
    virtual bool SplitIntoTwoMotionDimension(Parameter& xPart, Parameter& yPart) const;
    virtual bool TransferAbsoluteParamToRelative(int index, double& startX, double& startY,
                                                 double& endX, double& endY);
    virtual bool TransferRelativeParamToAbsolute(int index, double& startX, double& startY,
                                                 double& endX, double& endY);
    virtual ValAny GetValue();
    virtual void SetBaseRatio(ValAny ratio);
    virtual ValAny GetBaseRatio();

    // The six steps of a walk over the keyframes. A forward position is the index
    // of its keyframe, a backward position the index after it; positions outside
    // the store are done.
    std::size_t ForwardBegin() const noexcept { return 0; }
    std::size_t ForwardNext(std::size_t position) const;
    bool ForwardIsDone(std::size_t position) const;
    std::size_t BackwardBegin() const;
    std::size_t BackwardNext(std::size_t position) const;
    bool BackwardIsDone(std::size_t position) const;
    /// The keyframe with this index; a default one outside the store.
    TimeValuePair KeyframeAt(std::size_t index) const;

    /// Takes the keyframes and settings of a curve that no other thread knows, which gets
    /// its own in return. Takes no memory, so that it can't fail.
    void TakeCurve(BigParameterImpl& made);
    /// The same, but false and nothing where the curve is not `base` any more.
    bool TakeCurveIfStill(const Shared<Curve>& base, BigParameterImpl& made);

    /// The curve as it is now.
    Shared<Curve> CurrentCurve() const;
    /// Grows with every change. Takes no lock.
    std::uint64_t Revision() const noexcept { return revision.load(std::memory_order_acquire); }
    /// Adds keyframes as if one by one in order of time, of two that match the later one of
    /// the row. Their times are finite.
    void AddPoints(std::span<const TimeValuePair> keyframes);

    /// The curve as one dimension of a motion path: what it samples to, in numbers.
    MotionDimension AsMotionDimension() const;

protected:
    void CountRevision() noexcept { revision.fetch_add(1, std::memory_order_acq_rel); }

    struct SettingsOnly {};
    /// The settings of `other`, whose lock the caller holds, and no keyframes.
    BigParameterImpl(const BigParameterImpl& other, SettingsOnly);

    /// Called under the lock before and after every change of keyframes or settings.
    virtual void OnEditing() {}
    virtual void OnEdited() {}

    /// The text of keyframes and settings, also of a derived class.
    std::string Write() const CORE_REQUIRES(mutex);
    /// Takes both from a text's object. False, changing nothing, for one that is not a
    /// parameter's; `skipped` as in `ReadParameter`.
    bool Load(const JsonObject& document, const SkippedKeyframe& skipped) CORE_REQUIRES(mutex);

    mutable RecursiveMutex mutex;

private:
    void Take(Shared<Curve>& made) CORE_REQUIRES(mutex);
    bool IsValid(int index) const CORE_REQUIRES(mutex) {
        return index >= 0 && static_cast<std::size_t>(index) < curve->Count();
    }
    const TimeValuePair& KeyframeOf(int index) const CORE_REQUIRES(mutex) {
        return (*curve)[static_cast<std::size_t>(index)];
    }

    // Handles
    bool ReadSegment(std::size_t start, SegmentEnds& ends) const CORE_REQUIRES(mutex);

    // Every edit begins and ends with these. From the first on, the curve is this
    // parameter's own, and so may be another object than before.
    Curve& BeginEdit() CORE_REQUIRES(mutex);
    void Edited() CORE_REQUIRES(mutex);
    bool SetHandles(int index, const Pointd* left, const Pointd* right);

    Shared<Curve> curve CORE_GUARDED_BY(mutex);
    // Where the last sample was found, in `curve`; playback asks for the same segment
    // again, or for the next one.
    const Segment* lastSegment CORE_GUARDED_BY(mutex);
    std::atomic<std::uint64_t> revision = 1;
    mutable std::string serialisedText CORE_GUARDED_BY(mutex);
    mutable std::string hashText CORE_GUARDED_BY(mutex);
};

}  // namespace core
