// Keyframes with one time are the same keyframe. Those that are left between two of them
// are new, gone or moved: moved is what kept its value and its type.

#include "inspect/describe.h"
#include "inspect/document.h"
#include "inspect/verbs.h"

#include "plot/clip.h"
#include "plot/keyframe_table.h"
#include "plot/levers.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

namespace inspect {

namespace {

using core::TimeValuePair;

// How far ahead a moved keyframe is looked for, so that a pair of long curves that have
// nothing in common takes no longer than others.
constexpr std::size_t kLookAhead = 64;

struct Side {
    explicit Side(const Document& what)
        : document(what),
          curve(document.Curve()),
          speed(dynamic_cast<core::SpeedParameter*>(curve.get())),
          keyframes(plot::Keyframes(*curve)) {}

    const Document& document;
    std::unique_ptr<core::Parameter> curve;
    core::SpeedParameter* speed;  // null for a parameter
    std::vector<TimeValuePair> keyframes;
};

bool AreSame(const core::ValAny& a, const core::ValAny& b) {
    return ValueText(a) == ValueText(b);
}

// As the file has it: a loaded handle may have more digits.
double Saved(double number) {
    return std::fabs(number) < 1e8 ? std::nearbyint(number * 1e8) / 1e8 : number;
}

std::string Handle(double x, double y) {
    return ValueText(core::Pointd{Saved(x), Saved(y)});
}

std::string LeftHandle(const TimeValuePair& keyframe) {
    double x = 0.0;
    double y = 0.0;
    keyframe.GetLeftDerivativeEx(x, y);
    return Handle(x, y);
}

std::string RightHandle(const TimeValuePair& keyframe) {
    double x = 0.0;
    double y = 0.0;
    keyframe.GetRightDerivativeEx(x, y);
    return Handle(x, y);
}

// ", value 1 -> 2, left handle ..."; empty when all but the time is equal.
std::string Changes(const TimeValuePair& a, const TimeValuePair& b) {
    std::string text;
    const auto compare = [&text](const char* what, const std::string& before,
                                 const std::string& after) {
        if (before != after) {
            text += std::string(", ") + what + " " + before + " -> " + after;
        }
    };
    compare("value", ValueText(a.GetValue()), ValueText(b.GetValue()));
    compare("interpolation", plot::InterpolationName(a.GetInterpolation()),
            plot::InterpolationName(b.GetInterpolation()));
    compare("left handle", LeftHandle(a), LeftHandle(b));
    compare("right handle", RightHandle(a), RightHandle(b));
    return text;
}

class Differ {
public:
    Differ(Side& before, Side& after) : a(before), b(after) {}

    std::vector<std::string> Differences() {
        CompareSettings();
        if (HaveShifted()) {
            Report("all " + std::to_string(a.keyframes.size()) + " keyframes: moved by " +
                   TimeText(b.keyframes.front().GetTime() - a.keyframes.front().GetTime()));
        } else {
            CompareKeyframes();
        }
        return std::move(differences);
    }

private:
    using Indices = std::vector<std::size_t>;

    void Report(std::string line) { differences.push_back(std::move(line)); }

    template <class TextOf>
    void CompareSetting(const char* what, TextOf textOf) {
        const std::string before = textOf(a);
        const std::string after = textOf(b);
        if (before != after) {
            Report(std::string(what) + ": " + before + " -> " + after);
        }
    }

    void CompareSettings() {
        CompareSetting("kind", [](const Side& side) -> std::string {
            return side.speed != nullptr ? "speed curve" : "parameter";
        });
        CompareSetting("version", [](const Side& side) -> std::string {
            const core::JsonMember* const version = side.document.Root().AsObject().Find("Version");
            std::string text = "none";
            if (version != nullptr) {
                version->Dump(text);
            }
            return text;
        });
        CompareSetting("type", [](const Side& side) {
            return std::string(plot::ParameterTypeName(side.curve->GetParameterType()));
        });
        CompareSetting("range", [](const Side& side) -> std::string {
            core::ValAny low;
            core::ValAny high;
            return HasRange(*side.curve, low, high) ? ValueText(low) + " to " + ValueText(high)
                                                    : "none";
        });
        CompareSetting("base ratio",
                       [](const Side& side) { return ValueText(side.curve->GetBaseRatio()); });
        if (a.speed == nullptr || b.speed == nullptr) {
            return;
        }
        CompareSetting("source length", [](const Side& side) {
            return NumberText(side.speed->GetSourceTotalTime());
        });
        CompareSetting("frames per second",
                       [](const Side& side) { return NumberText(side.speed->GetSourceFPS()); });
        CompareSetting("reverse", [](const Side& side) -> std::string {
            return side.speed->GetReverse() != 0 ? "on" : "off";
        });
        CompareSetting("freezes", [](const Side& side) {
            std::string text;
            for (const plot::FreezeSpan& freeze : plot::FreezesOf(*side.speed)) {
                text += (text.empty() ? "" : ", ") + NumberText(freeze.pointTime) + " s for " +
                        NumberText(freeze.duration) + " s";
            }
            return text.empty() ? "none" : text;
        });
    }

    // Whether all keyframes moved by the same time, and nothing else about them changed.
    bool HaveShifted() const {
        const std::size_t count = a.keyframes.size();
        if (count < 2 || b.keyframes.size() != count) {
            return false;
        }
        const double shift = b.keyframes.front().GetTime() - a.keyframes.front().GetTime();
        if (std::fabs(shift) < core::kTimeTolerance) {
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) {
            const double moved = b.keyframes[i].GetTime() - a.keyframes[i].GetTime();
            if (std::fabs(moved - shift) >= core::kTimeTolerance ||
                !Changes(a.keyframes[i], b.keyframes[i]).empty()) {
                return false;
            }
        }
        return true;
    }

    void CompareKeyframes() {
        Indices gone;
        Indices added;
        std::size_t i = 0;
        std::size_t j = 0;
        while (i < a.keyframes.size() || j < b.keyframes.size()) {
            const bool hasBoth = i < a.keyframes.size() && j < b.keyframes.size();
            const double ahead =
                hasBoth ? b.keyframes[j].GetTime() - a.keyframes[i].GetTime() : 0.0;
            if (hasBoth && std::fabs(ahead) < core::kTimeTolerance) {
                CompareGap(gone, added);
                gone.clear();
                added.clear();
                if (const std::string changes = Changes(a.keyframes[i], b.keyframes[j]);
                    !changes.empty()) {
                    Report(Place(a.keyframes, i) + ": " + changes.substr(2));
                }
                ++i;
                ++j;
            } else if (j == b.keyframes.size() || ahead > 0.0) {
                gone.push_back(i++);
            } else {
                added.push_back(j++);
            }
        }
        CompareGap(gone, added);
    }

    // What lies between two keyframes that are the same in both.
    void CompareGap(const Indices& gone, const Indices& added) {
        std::size_t next = 0;
        for (const std::size_t i : gone) {
            const std::size_t end = std::min(added.size(), next + kLookAhead);
            std::size_t found = next;
            while (found < end && !IsMoved(a.keyframes[i], b.keyframes[added[found]])) {
                ++found;
            }
            if (found == end) {
                Report("- " + Place(a.keyframes, i) + ": " + Description(a.keyframes[i]));
                continue;
            }
            ReportAdded(added, next, found);
            const std::size_t j = added[found];
            Report(Place(a.keyframes, i) + ": moved to " + TimeText(b.keyframes[j].GetTime()) +
                   Changes(a.keyframes[i], b.keyframes[j]));
            next = found + 1;
        }
        ReportAdded(added, next, added.size());
    }

    void ReportAdded(const Indices& added, std::size_t from, std::size_t to) {
        for (std::size_t k = from; k < to; ++k) {
            Report("+ " + Place(b.keyframes, added[k]) + ": " + Description(b.keyframes[added[k]]));
        }
    }

    static bool IsMoved(const TimeValuePair& before, const TimeValuePair& after) {
        return before.GetInterpolation() == after.GetInterpolation() &&
               AreSame(before.GetValue(), after.GetValue());
    }

    static std::string Place(const std::vector<TimeValuePair>& keyframes, std::size_t index) {
        return "keyframe " + std::to_string(index) + " (" + TimeText(keyframes[index].GetTime()) +
               ")";
    }

    static std::string Description(const TimeValuePair& keyframe) {
        return ValueText(keyframe.GetValue()) + ", " +
               plot::InterpolationName(keyframe.GetInterpolation());
    }

    Side& a;
    Side& b;
    std::vector<std::string> differences;
};

}  // namespace

std::vector<std::string> Differences(const Document& before, const Document& after) {
    Side a(before);
    Side b(after);
    return Differ(a, b).Differences();
}

int Diff(const DiffRequest& request, const Console& console) {
    const Document before(request.before, console);
    const Document after(request.after, console);
    const std::vector<std::string> differences = Differences(before, after);
    if (differences.empty()) {
        return 0;
    }
    console.out << "--- " << before.Name() << "\n+++ " << after.Name() << '\n';
    for (const std::string& difference : differences) {
        console.out << difference << '\n';
    }
    return kFound;
}

}  // namespace inspect
