// core_bench_gate: does one of 23 jobs a known number of times, so that callgrind can
// count what an item of it executes. gate.sh holds the counts against those on record.

#include "inputs.h"

#include <core/core.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Type = core::KeyframeInterpolationType;
using bench::Order;

constexpr int kKeyframes = 1'000;
// Of a lap. Even, so that edits to and fro end where they began.
constexpr int kItems = 2'000;

/// What a lap does `kItems` times, with the number of the item.
using Job = std::function<double(int)>;

Job Sampling(Type type, Order order) {
    return [curve = bench::MakeCurve(type, kKeyframes),
            times = bench::SampleTimes(kKeyframes, order)](int item) {
        return curve->GetValue((*times)[static_cast<std::size_t>(item)], false).AsDouble();
    };
}

std::shared_ptr<core::SpeedParameter> Ramps(Type type) {
    auto speed = std::make_shared<core::SpeedParameter>();
    const std::vector<double> times = bench::KeyTimes(kKeyframes);
    speed->SetSourceTotalTime(times.back() + 1.0);
    bench::Dice dice(31);
    for (const double time : times) {
        speed->AddPoint(time, dice.Between(0.5, 2.0), type);
    }
    return speed;
}

std::shared_ptr<core::JsonDoc> Document() {
    auto document = std::make_shared<core::JsonDoc>();
    document->Parse(bench::MakeCurve(Type::Bezier, 10)->Serialize().c_str());
    return document;
}

Job MakeJob(std::string_view name) {
    if (name == "value/hermite/in-order") {
        return Sampling(Type::Hermite, Order::Ascending);
    }
    if (name == "value/hermite/random") {
        return Sampling(Type::Hermite, Order::Random);
    }
    if (name == "value/bezier/random") {
        return Sampling(Type::Bezier, Order::Random);
    }
    if (name == "value/easing/random") {
        return Sampling(Type::EaseInOutCubic, Order::Random);
    }
    if (name == "edit/value-and-sample") {
        return [curve = bench::MakeCurve(Type::Hermite, kKeyframes)](int item) {
            curve->SetPointValue(500, 50.0 + item % 2);
            return curve->GetValue(500.25, false).AsDouble();
        };
    }
    if (name == "edit/add-in-order") {
        return [curve = std::make_shared<core::Parameter>()](int item) {
            if (item == 0) {
                curve->ClearKeyFrames();
            }
            return static_cast<double>(curve->AddPoint(item * 0.5, 50.0 + item % 7, Type::Hermite));
        };
    }
    if (name == "area/random") {
        return [curve = bench::MakeCurve(Type::Hermite, kKeyframes),
                times = bench::SampleTimes(kKeyframes, Order::Random)](int item) {
            return curve->GetAreaFromTo(0.0, (*times)[static_cast<std::size_t>(item)], false, 0.0,
                                        0.0);
        };
    }
    if (name == "area/inverse") {
        return [curve = bench::MakeCurve(Type::Hermite, kKeyframes)](int item) {
            return curve->SolveTimeBaseArea(0.0, 30.0 * item);
        };
    }
    if (name == "speed/source-time") {
        return [speed = Ramps(Type::Linear),
                times = bench::SampleTimes(500, Order::Random)](int item) {
            return speed->GetSourceTime((*times)[static_cast<std::size_t>(item)]);
        };
    }
    if (name == "speed/render-time" || name == "speed/render-time-smooth") {
        const Type type = name == "speed/render-time" ? Type::Linear : Type::Hermite;
        return
            [speed = Ramps(type), times = bench::SampleTimes(kKeyframes, Order::Random)](int item) {
                return speed->GetRenderTime((*times)[static_cast<std::size_t>(item)]);
            };
    }
    if (name == "speed/edit-and-source-time") {
        return [speed = Ramps(Type::Linear)](int item) {
            speed->SetPointValue(500, 1.0 + item % 2);
            return speed->GetSourceTime(250.0);
        };
    }
    if (name == "speed/frames-of-batch") {
        return
            [speed = Ramps(Type::Linear), sources = std::vector<double>(kItems)](int item) mutable {
                if (item == 0) {
                    speed->GetSourceTimes(0.0, 1.0 / 25, sources.size(), sources.data());
                }
                return sources[static_cast<std::size_t>(item)];
            };
    }
    if (name == "stored/save-10-keyframes") {
        return [curve = bench::MakeCurve(Type::Bezier, 10)](int item) {
            curve->SetPointValue(0, 50.0 + item % 2);
            return static_cast<double>(curve->Serialize().size());
        };
    }
    if (name == "stored/load-10-keyframes") {
        return [text = bench::MakeCurve(Type::Bezier, 10)->Serialize()](int) {
            core::Parameter loaded;
            return static_cast<double>(loaded.Desialize(text.c_str()));
        };
    }
    if (name == "json/parse") {
        return [text = bench::MakeCurve(Type::Bezier, 10)->Serialize()](int) {
            core::JsonDoc document;
            return static_cast<double>(document.Parse(text.c_str()));
        };
    }
    if (name == "json/write") {
        return [document = Document(), text = std::string()](int) mutable {
            return static_cast<double>(document->Dump(text));
        };
    }
    if (name == "json/copy") {
        return [document = Document()](int) {
            core::JsonDoc copy;
            copy.Root() = document->Root();
            return copy ? 1.0 : 0.0;
        };
    }
    if (name == "packed/pack") {
        return [document = Document(), box = std::make_shared<core::BsonBox>()](int) {
            core::JsonToBson(document->Root(), *box);
            return 1.0;
        };
    }
    if (name == "packed/unpack") {
        const auto box = std::make_shared<core::BsonBox>();
        core::JsonToBson(Document()->Root(), *box);
        return [box](int) {
            core::JsonDoc document;
            return core::BsonToJson(*box, document.Root()) ? 1.0 : 0.0;
        };
    }
    if (name == "message/added-and-got") {
        return [bus = std::make_shared<core::SimpleMsgBus>()](int item) {
            core::SimpleMessage message;
            message.code = item;
            bus->AddMsg(message);
            bus->GetMsg(message);
            return static_cast<double>(message.code);
        };
    }
    if (name == "event/10-listeners") {
        const auto bus = std::make_shared<core::EventBus>();
        const auto sum = std::make_shared<double>(0.0);
        for (int listener = 0; listener < 10; ++listener) {
            bus->listen<int>([sum](const int& event) { *sum += event; });
        }
        return [bus, sum](int item) {
            bus->post(item);
            return *sum;
        };
    }
    if (name == "log/suppressed") {
        CoreLogSetLogLevelByModule("render", CORE_LOG_ERROR);
        return [](int item) {
            return static_cast<double>(
                CoreLogPrintLog("render", CORE_LOG_INFO, "tag", nullptr, nullptr, -1, "%d", item));
        };
    }
    return {};
}

}  // namespace

int main(int argc, char** argv) {
    const Job job = argc == 3 ? MakeJob(argv[1]) : Job();
    if (!job) {
        std::fprintf(stderr, "usage: %s JOB LAPS\n", argv[0]);
        return 2;
    }
    // With a second thread alive, mutexes are taken as in a program that needs them.
    const std::jthread second([](const std::stop_token& stop) {
        std::mutex mutex;
        std::condition_variable_any never;
        std::unique_lock<std::mutex> lock(mutex);
        never.wait(lock, stop, [] { return false; });
    });
    double sum = 0.0;
    for (int lap = 0; lap < std::atoi(argv[2]); ++lap) {
        for (int item = 0; item < kItems; ++item) {
            sum += job(item);
        }
    }
    std::printf("%d items a lap, sum %.17g\n", kItems, sum);
    return 0;
}
