#include "core/curve/big_parameter_impl.h"

#include "core/curve/numbers.h"

#include <core/curve/control_points.h>
#include <core/curve/motion_path.h>

#include <core/curve/time_unit.h>

#include <utility>

// Handles as points of the time-value plane, and motion paths as two curves.

namespace core {
namespace {

// A segment in seconds, because slopes count per second. The absolute times of its
// handles are in the curve's own unit again.
struct PlaneSegment {
    explicit PlaneSegment(const SegmentEnds& ends) noexcept
        : start{InSeconds(ends.t0), ends.y0},
          end{InSeconds(ends.t1), ends.y1},
          startType(ends.type0),
          endType(ends.type1),
          unitsPerSecond(ends.t1 >= kFirstTickCount ? kTicksPerSecond : 1.0) {}

    void ToAbsolute(Pointd& startHandle, Pointd& endHandle) const {
        GetAbsolutePointControlParam(start, startHandle, endHandle, end, startType, endType);
        startHandle.x *= unitsPerSecond;
        endHandle.x *= unitsPerSecond;
    }
    void ToRelative(Pointd& startHandle, Pointd& endHandle) const {
        startHandle.x /= unitsPerSecond;
        endHandle.x /= unitsPerSecond;
        GetRelativePointControlParam(start, startHandle, endHandle, end, startType, endType);
    }

    Pointd start;
    Pointd end;
    KeyframeInterpolationType startType;
    KeyframeInterpolationType endType;
    double unitsPerSecond;
};

Parameter MakePart(std::span<const TimeValuePair> path, const ValAny& constant,
                   double Pointd::*dimension) {
    const bool isPoint = constant.Kind() == ValAny::kPoint;
    return Parameter(std::make_unique<BigParameterImpl>(
        ParameterDouble, isPoint ? ValAny(constant.AsPoint().*dimension) : ValAny(0.0),
        SplitPath(path, dimension)));
}

// Fails for nothing, so that not only one of two parts is there. Into the implementation
// at hand where there is one: other threads may be in it.
void Give(Parameter& made, Parameter& part) noexcept {
    if (part.p_impl() != nullptr) {
        part.p_impl()->TakeCurve(*made.p_impl());
    } else {
        part = std::move(made);
    }
}

}  // namespace

// False where no segment of numbers starts.
bool BigParameterImpl::ReadSegment(std::size_t start, SegmentEnds& ends) const {
    const Curve& keyframes = *curve;
    return keyframes.Type() != ParameterPoint && start < keyframes.Count() &&
           start + 1 < keyframes.Count() &&
           ReadEnds(keyframes[start], keyframes[start + 1], true, ends);
}

bool BigParameterImpl::GetPointControlParamOnCurve(double time, double& a, double& b, double& c,
                                                   double& d, bool flag) const {
    const RecursiveLock lock(mutex);
    const Curve& keyframes = *curve;
    const std::size_t end = keyframes.UpperBound(time);
    if (end == 0 || end >= keyframes.Count()) {
        return false;
    }
    Pointd startHandle;
    Pointd endHandle;
    keyframes[end - 1].GetRightDerivativeEx(startHandle.x, startHandle.y);
    keyframes[end].GetLeftDerivativeEx(endHandle.x, endHandle.y);
    if (flag && keyframes.Type() != ParameterPoint) {
        SegmentEnds ends{};
        if (!ReadSegment(end - 1, ends)) {
            return false;
        }
        PlaneSegment(ends).ToAbsolute(startHandle, endHandle);
    }
    a = startHandle.x;
    b = startHandle.y;
    c = endHandle.x;
    d = endHandle.y;
    return true;
}

bool BigParameterImpl::TransferAbsoluteParamToRelative(int index, double& startX, double& startY,
                                                       double& endX, double& endY) {
    const RecursiveLock lock(mutex);
    SegmentEnds ends{};
    if (!IsValid(index) || !ReadSegment(static_cast<std::size_t>(index), ends)) {
        return false;
    }
    Pointd startHandle = {startX, startY};
    Pointd endHandle = {endX, endY};
    PlaneSegment(ends).ToRelative(startHandle, endHandle);
    startX = startHandle.x;
    startY = startHandle.y;
    endX = endHandle.x;
    endY = endHandle.y;
    return true;
}

bool BigParameterImpl::TransferRelativeParamToAbsolute(int index, double& startX, double& startY,
                                                       double& endX, double& endY) {
    const RecursiveLock lock(mutex);
    SegmentEnds ends{};
    if (!IsValid(index) || !ReadSegment(static_cast<std::size_t>(index), ends)) {
        return false;
    }
    Pointd startHandle = {startX, startY};
    Pointd endHandle = {endX, endY};
    PlaneSegment(ends).ToAbsolute(startHandle, endHandle);
    startX = startHandle.x;
    startY = startHandle.y;
    endX = endHandle.x;
    endY = endHandle.y;
    return true;
}

// Either part may be the path itself, or in use by other threads: both are made
// aside, and assigned when the own lock is free again.
bool BigParameterImpl::SplitIntoTwoMotionDimension(Parameter& xPart, Parameter& yPart) const {
    const Shared<Curve> path = CurrentCurve();
    if (path->Type() != ParameterPoint) {
        return false;
    }
    const std::vector<TimeValuePair> keyframes = path->Keyframes();
    Parameter x = MakePart(keyframes, path->Constant(), &Pointd::x);
    Parameter y = MakePart(keyframes, path->Constant(), &Pointd::y);
    Give(x, xPart);
    Give(y, yPart);
    return true;
}

MotionDimension BigParameterImpl::AsMotionDimension() const {
    const Shared<Curve> source = CurrentCurve();
    const ParameterTypeEnum type = source->Type();
    MotionDimension dimension;
    if (type == ParameterString) {
        return dimension;
    }
    dimension.isInteger = type == ParameterInt;
    if (type != ParameterBool) {
        dimension.ratio = dimension.isInteger ? source->IntegerRatio() : source->Ratio();
    }
    for (TimeValuePair& keyframe : source->Keyframes()) {
        double number = 0.0;
        if (!ReadNumber(keyframe.PeekValue(), number)) {
            continue;
        }
        if (type == ParameterBool) {
            keyframe.SetInterpolation(KeyframeInterpolationType::Hold);
        }
        dimension.keyframes.push_back(std::move(keyframe));
    }
    return dimension;
}

std::shared_ptr<Parameter> MergeTwoMotionDimensionIntoWhole(Parameter& xPart, Parameter& yPart) {
    if (xPart.GetParameterType() == ParameterPoint || yPart.GetParameterType() == ParameterPoint) {
        return nullptr;
    }
    const auto dimensionOf = [](const Parameter& part) {
        return part.p_impl() != nullptr ? part.p_impl()->AsMotionDimension() : MotionDimension();
    };
    Pointd constant;
    ReadNumber(xPart.GetValue(), constant.x);
    ReadNumber(yPart.GetValue(), constant.y);
    return std::make_shared<Parameter>(std::make_unique<BigParameterImpl>(
        ParameterPoint, constant, MergeDimensions(dimensionOf(xPart), dimensionOf(yPart))));
}

}  // namespace core
