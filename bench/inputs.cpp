#include "inputs.h"

#include <cmath>
#include <map>
#include <utility>

namespace bench {

std::vector<double> KeyTimes(int n) {
    Dice dice(1);
    std::vector<double> times;
    double time = 0.0;
    for (int i = 0; i < n; ++i) {
        times.push_back(time);
        time += dice.Between(0.5, 1.5);
    }
    return times;
}

std::vector<double> KeyValues(int n) {
    Dice dice(2);
    std::vector<double> values;
    for (int i = 0; i < n; ++i) {
        values.push_back(dice.Between(50.0, 100.0));
    }
    return values;
}

std::shared_ptr<core::Parameter> MakeCurve(core::KeyframeInterpolationType type, int n) {
    const std::vector<double> times = KeyTimes(n);
    const std::vector<double> values = KeyValues(n);
    auto curve = std::make_shared<core::Parameter>();
    for (std::size_t i = 0; i < times.size(); ++i) {
        curve->AddPoint(times[i], values[i], type);
    }
    if (type == core::KeyframeInterpolationType::Bezier) {
        Dice dice(3);
        for (int i = 0; i < n; ++i) {
            const double leftX = dice.Between(0.0, 1.0);
            const double leftY = dice.Between(-50.0, 50.0);
            const double rightX = dice.Between(0.0, 1.0);
            const double rightY = dice.Between(-50.0, 50.0);
            curve->SetPointControlParamEx(i, leftX, leftY, rightX, rightY);
        }
    }
    return curve;
}

std::shared_ptr<core::Parameter> MakePath(int n) {
    const std::vector<double> times = KeyTimes(n);
    Dice dice(4);
    const auto coordinate = [&] { return dice.Between(0.0, 1'000.0); };
    const auto point = [&] {
        const double x = coordinate();
        return core::Pointd{x, coordinate()};
    };
    auto path = std::make_shared<core::Parameter>(core::ValAny(core::Pointd{}));
    for (const double time : times) {
        path->AddPoint(time, point(), core::KeyframeInterpolationType::Bezier);
    }
    for (int i = 0; i < n; ++i) {
        const core::Pointd left = point();
        const core::Pointd right = point();
        path->SetPointControlParamEx(i, left.x, left.y, right.x, right.y);
    }
    return path;
}

std::vector<core::TimeValuePair> KeyframesOf(core::Parameter& curve) {
    std::vector<core::TimeValuePair> keys;
    const std::unique_ptr<core::ParameterIterator> at(curve.GetParameterIterator(false));
    for (at->First(); !at->IsDone(); at->Next()) {
        keys.push_back(at->Current());
    }
    return keys;
}

const char* NameOf(Order order) {
    switch (order) {
        case Order::Ascending:
            return "in order";
        case Order::Playback:
            return "playback";
        case Order::Random:
            break;
    }
    return "random";
}

std::shared_ptr<const std::vector<double>> SampleTimes(int n, Order order) {
    static std::map<std::pair<int, Order>, std::shared_ptr<const std::vector<double>>> pools;
    auto& pool = pools[{n, order}];
    if (pool == nullptr) {
        const double end = KeyTimes(n).back();
        Dice dice(5);
        auto times = std::make_shared<std::vector<double>>();
        constexpr double kFrame = 1.0 / 25.0;
        for (int i = 0; i < kPoolSize; ++i) {
            switch (order) {
                case Order::Ascending:
                    times->push_back(end * (i + 0.5) / kPoolSize);
                    break;
                case Order::Playback:
                    times->push_back(std::fmod(i * kFrame, end));
                    break;
                case Order::Random:
                    times->push_back(dice.Between(0.0, end));
                    break;
            }
        }
        pool = std::move(times);
    }
    return pool;
}

}  // namespace bench
