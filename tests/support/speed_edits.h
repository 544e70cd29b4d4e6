#pragma once

#include "support/speed_model.h"

#include <core/speed/speed_parameter.h>

#include <memory>

namespace plain {

/// Makes one edit of a speed curve and of its model, and answers whether both gave the
/// same answer to it. Sometimes a copy takes the curve's place. The keyframe at 0 stays:
/// on a curve that starts later the two mappings don't fit each other.
///
/// `Choices` decides: it has `Below(count)`, `Flag()`, `Between(from, to)` and `Speed()`,
/// which is above 0.
template <class Choices>
bool EditBoth(std::unique_ptr<core::SpeedParameter>& speed, SpeedModel& model, Choices& choices) {
    constexpr int kTypes[] = {6, 1, 9};  // Hold, Linear, eased step
    const int count = static_cast<int>(model.keys.size());
    const int index = choices.Below(count);
    SpeedModel::Key& key = model.keys[static_cast<std::size_t>(index)];
    const double value = choices.Speed();
    const int type = kTypes[choices.Below(3)];
    const auto interpolation = core::KeyframeInterpolationType(type);
    switch (choices.Below(10)) {
        case 0:
        case 1: {
            const double time = choices.Between(0.0, model.total);
            speed->AddPoint(time, value, interpolation);
            model.Add(time, value, type);
            return true;
        }
        case 2:
            if (index > 0 && count > 3) {
                speed->RemovePoint(index);
                model.Remove(index);
            }
            return true;
        case 3:
            speed->SetPointValue(index, value);
            key.speed = value;
            return true;
        case 4:
            speed->SetPointInterpolationType(index, interpolation);
            key.type = type;
            return true;
        case 5: {
            const double total = choices.Between(5.0, 15.0);
            speed->SetSourceTotalTime(total);
            model.SetTotal(total);
            return true;
        }
        case 6:
        case 7: {
            const double point = choices.Between(0.0, model.total + 3.0);
            const double duration = choices.Between(0.125, 3.0);
            return speed->AddFreezeFrame(point, duration) == model.AddFreeze(point, duration);
        }
        case 8: {
            const int freeze = choices.Below(4) - 1;
            const double duration = choices.Between(-0.5, 3.0);
            return speed->SetFreezeFrameDuration(freeze, duration) ==
                   model.SetFreezeDuration(freeze, duration);
        }
        default:
            model.reverse = choices.Flag();
            speed->SetReverse(model.reverse);
            if (choices.Flag()) {
                speed = std::make_unique<core::SpeedParameter>(*speed);
            }
            return true;
    }
}

}  // namespace plain
