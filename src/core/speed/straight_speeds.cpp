#include "core/speed/straight_speeds.h"

#include <algorithm>
#include <cmath>

// With s the source and t the render time, a straight speed w from w0 to w1 shows and takes
//
//     s = t (w0 + w1) / 2.
//
// A panel is two of these over equal times h, with the true speeds at its ends and the one
// between them such that both show together what is to be shown until there:
//
//     wm = s / h - (w0 + w1) / 2.
//
// No error adds up from panel to panel.

namespace core {
namespace {

// What replaced speeds may show too early or too late: a hundredth of a frame at 60 frames per
// second, less what rounding to eight decimals in a file may take of it.
constexpr double kMostMissed = 0.01 / 60.0 - 1e-5;

// Two straight speeds over the same time each.
struct Panel {
    double half, w0, wm, w1;

    double Shown(double t) const noexcept {
        return t <= half ? t * (w0 + 0.5 * (wm - w0) * t / half)
                         : 0.5 * half * (w0 + wm) +
                               (t - half) * (wm + 0.5 * (w1 - wm) * (t - half) / half);
    }
    double SpeedAt(double t) const noexcept {
        return t <= half ? w0 + (wm - w0) * t / half : wm + (w1 - wm) * (t - half) / half;
    }
};

// What replaces speeds that are neither held nor straight.
class Panels {
public:
    Panels(const PlayedSpeeds& of, double begin, double finish, double startSpeed,
           double finalSpeed, double shownAhead, double missedBesides) noexcept
        : speeds(of),
          from(begin),
          to(finish),
          w0(startSpeed),
          endSpeed(finalSpeed),
          ahead(shownAhead),
          mostMissed(std::max(kMostMissed - missedBesides, 0.5 * kMostMissed)) {}

    /// Empty where the speeds run backwards for too long.
    std::vector<StraightSpeed> Make() {
        std::vector<StraightSpeed> made;
        double length = to - from;
        while (from < to) {
            length = std::min(2.0 * length, to - from);
            Panel panel = At(length);
            while (!Fits(panel)) {
                length *= 0.75;
                if (length < 4.0 * kLeastPiece) {
                    return {};
                }
                panel = At(length);
            }
            // No sliver behind it.
            const double rest = to - from - length;
            if (rest > 0.0 && rest < 0.5 * length) {
                const Panel shorter = At(0.5 * (to - from));
                if (Fits(shorter)) {
                    panel = shorter;
                    length = 0.5 * (to - from);
                }
            }
            made.push_back({panel.w0, panel.Shown(panel.half)});
            made.push_back({panel.wm, panel.Shown(length) - panel.Shown(panel.half)});
            ahead += panel.Shown(length) - speeds.Shown(from, from + length);
            from = length == to - from ? to : from + length;
            w0 = panel.w1;
        }
        return made;
    }

private:
    Panel At(double length) const noexcept {
        const double half = 0.5 * length;
        const double w1 =
            length == to - from ? endSpeed : std::max(speeds.SpeedAt(from + length), kSlowest);
        const double wanted = speeds.Shown(from, from + length) - ahead;
        return {half, w0, std::max(wanted / half - 0.5 * (w0 + w1), kSlowest), w1};
    }
    bool Fits(const Panel& panel) const noexcept {
        constexpr int kSamples = 16;
        if (!(panel.Shown(panel.half) > kLeastPiece) ||
            !(panel.Shown(2.0 * panel.half) - panel.Shown(panel.half) > kLeastPiece)) {
            return false;
        }
        const double step = 2.0 * panel.half / kSamples;
        double missedBefore = std::fabs(ahead);
        double fasterBefore = panel.w0 - speeds.SpeedAt(from);
        for (int i = 1; i <= kSamples; ++i) {
            const double t = i * step;
            const double missed = std::fabs(panel.Shown(t) + ahead - speeds.Shown(from, from + t));
            const double faster = panel.SpeedAt(t) - speeds.SpeedAt(from + t);
            // Between two samples a parabola bulges so far, and speeds are nearly straight there.
            const double bulge = 0.125 * step * std::fabs(faster - fasterBefore);
            if (!(std::max(missed, missedBefore) + bulge <= mostMissed)) {
                return false;
            }
            missedBefore = missed;
            fasterBefore = faster;
        }
        return true;
    }

    const PlayedSpeeds& speeds;
    double from;
    double to;
    double w0;
    double endSpeed;
    double ahead;  // what has been shown too much so far
    double mostMissed;
};

}  // namespace

std::vector<StraightSpeed> MakeStraight(const PlayedSpeeds& speeds, double from, double to,
                                        double startSpeed, double endSpeed, double ahead,
                                        double besides) {
    return Panels(speeds, from, to, startSpeed, endSpeed, ahead, besides).Make();
}

}  // namespace core
