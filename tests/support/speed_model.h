#pragma once

#include "support/curve_oracle.h"

#include <core/speed/speed_parameter.h>

#include <string>
#include <vector>

/// A second, slow and plain speed curve, to hold the library against. It keeps
/// keyframes and freezes and works everything out at each question: walks the
/// lists, integrates by Simpson's rule, inverts by bisection. For positive speeds
/// that are held, linear or eased steps (type 9).
namespace plain {

class SpeedModel {
public:
    struct Key {
        double time;
        double speed;
        int type;
    };
    struct Freeze {
        double point;
        double duration;
        double source;
    };

    std::vector<Key> keys = {{0.0, 1.0, 6}};
    std::vector<Freeze> freezes;
    double total = 0.0;
    bool reverse = false;

    // Edits
    void Add(double time, double speed, int type);
    void Remove(int index);
    void SetTotal(double newTotal);
    bool AddFreeze(double point, double duration);
    bool SetFreezeDuration(int index, double duration);

    // Questions
    double SourceTime(double render) const;
    double RenderTime(double source) const;
    double RenderOfPoint(double point) const;
    double PointOfRender(double render) const;
    double Speed(double render) const;
    double RenderTotal() const;

    std::string Print() const;

private:
    int KeyAt(double source) const;
    std::vector<Key> OnRenderAxis() const;
    double CurveSource(double render) const;
    double CurveRender(double source) const;
    double CurveRenderOfPoint(double point) const;
    double WhereReached(double source) const;
    double WhereFrozen(const Freeze& freeze) const;
    std::vector<double> FreezeStarts() const;
};

}  // namespace plain
