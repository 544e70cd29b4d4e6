// Parameters saved and loaded, beside the JSON writer and parser alone on the same text.
// Times are those of the whole job.

#include "contests.h"
#include "inputs.h"

#include <core/data/json_doc.h>
#include <core/foundation/md5.h>

#include <string>

namespace bench {
namespace {

constexpr auto kType = core::KeyframeInterpolationType::Bezier;

/// Of large curves. A small one is mostly the settings, whose bounds are the longest
/// numbers there are.
double GoalFor(int n) {
    return n >= 1'000 ? 1.5 : 0.0;
}

void AddSaving(Suite& suite, int n) {
    const auto curve = std::make_shared<core::Parameter>(*MakeCurve(kType, n));
    const auto document = std::make_shared<core::JsonDoc>();
    const auto text = std::make_shared<const std::string>(curve->Serialize());
    document->Parse(text->c_str());

    const std::string ours = Name("Serialize", "curve", n);
    const std::string writer = Name("Serialize", "JSON writer and MD5", n);
    suite.Check(ours, 0.0, [=] {
        // Those who read both texts get the same.
        core::Parameter fromWriter;
        core::Parameter fromUs;
        std::string written;
        document->Dump(written);
        fromWriter.Desialize(written.c_str());
        fromUs.Desialize(curve->Serialize().c_str());
        Agreement agreement;
        for (int i = 0; i < n; ++i) {
            agreement.Compare(fromUs.GetPointTime(i), fromWriter.GetPointTime(i));
            agreement.Compare(fromUs.GetPointValue(i).AsDouble(),
                              fromWriter.GetPointValue(i).AsDouble());
        }
        return agreement;
    });
    suite.Measure(ours, [=](benchmark::State& state) {
        int edit = 0;
        for (auto _ : state) {
            // An edit, so that nothing is left from the last time.
            curve->SetPointValue(0, 50.0 + ++edit % 7);
            benchmark::DoNotOptimize(curve->Serialize());
        }
    });
    suite.Measure(writer, [=](benchmark::State& state) {
        for (auto _ : state) {
            std::string written;
            document->Dump(written);
            benchmark::DoNotOptimize(core::md5::MD5String(written.data(), written.size()));
        }
    });
    suite.Compare({"Serialize", n, ours, writer, "JSON writer and MD5 of the text", GoalFor(n)});
}

void AddLoading(Suite& suite, int n) {
    const auto text = std::make_shared<const std::string>(MakeCurve(kType, n)->Serialize());
    const std::string ours = Name("Desialize", "curve", n);
    const std::string parser = Name("Desialize", "JSON parser", n);
    suite.Check(ours, 0.0, [=] {
        core::Parameter curve;
        core::JsonDoc document;
        Agreement agreement;
        agreement.Compare(curve.Desialize(text->c_str()), 0.0);
        document.Parse(text->c_str());
        core::JsonArray& sets = document.Root().AsObject()["keyframeSets"].AsArray();
        agreement.Compare(curve.GetKeyFramesCount(), sets.Count());
        int i = 0;
        for (core::JsonElem& element : sets) {
            agreement.Compare(curve.GetPointTime(i++), element.AsObject()["_time"].AsDouble());
        }
        return agreement;
    });
    suite.Measure(ours, [=](benchmark::State& state) {
        for (auto _ : state) {
            core::Parameter curve;
            benchmark::DoNotOptimize(curve.Desialize(text->c_str()));
        }
    });
    suite.Measure(parser, [=](benchmark::State& state) {
        for (auto _ : state) {
            core::JsonDoc document;
            benchmark::DoNotOptimize(document.Parse(text->c_str()));
        }
    });
    suite.Compare({"Desialize", n, ours, parser, "JSON parser", GoalFor(n)});
}

void AddHash(Suite& suite, int n) {
    const std::shared_ptr<core::Parameter> curve = MakeCurve(kType, n);
    const std::string unchanged = Name("GetHashString", "unchanged", n);
    const std::string edited = Name("GetHashString", "edited", n);
    suite.Measure(unchanged, [=](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(curve->GetHashString());
        }
    });
    suite.Measure(edited, [=](benchmark::State& state) {
        int edit = 0;
        for (auto _ : state) {
            curve->SetPointValue(0, 50.0 + ++edit % 7);
            benchmark::DoNotOptimize(curve->GetHashString());
        }
    });
    suite.Compare(
        {"GetHashString, unchanged", n, unchanged, edited, "the same after an edit", 0.0});
}

}  // namespace

void AddStored(Suite& suite) {
    suite.Section("Parameters as texts");
    for (const int n : {10, 1'000, 20'000}) {
        AddSaving(suite, n);
        AddLoading(suite, n);
        AddHash(suite, n);
    }
}

}  // namespace bench
