// Documents read, written, copied and destroyed, beside other JSON libraries.

#include "contests.h"
#include "fresh.h"
#include "json_library.h"

#include <core/data/json_doc.h>
#include <core/data/json_parse.h>
#include <core/data/json_write.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bench {
namespace {

void Add(const core::JsonValue& value, Digest& digest) {
    switch (value.Kind()) {
        case core::JsonValue::kNull:
            digest.AddNull();
            break;
        case core::JsonValue::kBool:
            digest.AddBool(value.AsBool());
            break;
        case core::JsonValue::kString:
            digest.AddText(value.AsString(), std::strlen(value.AsString()));
            break;
        case core::JsonValue::kArray:
            digest.AddArray(static_cast<std::size_t>(value.AsArray().Count()));
            for (const core::JsonElem& element : value.AsArray()) {
                Add(element, digest);
            }
            break;
        case core::JsonValue::kObject:
            digest.AddObject(static_cast<std::size_t>(value.AsObject().Count()));
            for (const core::JsonMember& member : value.AsObject()) {
                digest.AddText(member.Name(), std::strlen(member.Name()));
                Add(member, digest);
            }
            break;
        default:
            digest.AddNumber(value.AsDouble());
    }
}

class OurTree final : public TreeOf<core::JsonDoc> {
public:
    std::size_t Write() const override {
        std::string text;
        document->Dump(text);
        return text.size();
    }
    std::string Text() const override {
        std::string text;
        document->Dump(text);
        return text;
    }
    std::unique_ptr<JsonTree> Copy() const override {
        auto copy = std::make_unique<OurTree>();
        copy->document->Root() = document->Root();
        return copy;
    }
    Digest Contents() const override {
        Digest digest;
        Add(document->Root(), digest);
        return digest;
    }
};

/// The same with the calls that tell what goes wrong, and lose nothing.
class OurExactTree final : public TreeOf<core::JsonDoc> {
public:
    std::size_t Write() const override { return Text().size(); }
    std::string Text() const override {
        std::string text;
        core::WriteJson(document->Root(), text);
        return text;
    }
    std::unique_ptr<JsonTree> Copy() const override {
        throw std::logic_error("copied as the other one");
    }
    Digest Contents() const override {
        Digest digest;
        Add(document->Root(), digest);
        return digest;
    }
};

std::uint64_t Mixed(std::uint64_t bits) {
    bits = (bits ^ (bits >> 30)) * 0xBF58'476D'1CE4'E5B9;
    bits = (bits ^ (bits >> 27)) * 0x94D0'49BB'1331'11EB;
    return bits ^ (bits >> 31);
}

using Text = std::shared_ptr<const std::string>;

std::string NameOf(const char* what, const JsonLibrary& library, const Document& document) {
    return std::string(what) + "/" + document.name + "/" + library.name + "/" + document.Size();
}

/// Runs `action` on trees that `make` makes while the clock stands: on many small ones
/// at once, since stopping it takes 1 us. They are destroyed while it stands, too.
template <class Make, class Action>
void RunOnTrees(benchmark::State& state, std::size_t textSize, Make&& make, Action&& action) {
    const std::size_t batch = 1 + 400'000 / textSize;
    std::vector<std::unique_ptr<JsonTree>> trees(batch);
    while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(batch))) {
        state.PauseTiming();
        for (auto& tree : trees) {
            tree.reset();
        }
        for (auto& tree : trees) {
            tree = make();
        }
        state.ResumeTiming();
        for (auto& tree : trees) {
            action(tree);
        }
    }
}

/// What is done with documents, each a name and a way to measure it.
struct Work {
    const char* name;
    void (*run)(benchmark::State& state, const JsonLibrary& library, const std::string& text);
};

constexpr Work kParse = {
    "parse", [](benchmark::State& state, const JsonLibrary& library, const std::string& text) {
        RunOnTrees(
            state, text.size(), [] { return nullptr; },
            [&](std::unique_ptr<JsonTree>& tree) { tree = library.parse(text); });
    }};
constexpr Work kWrite = {
    "write", [](benchmark::State& state, const JsonLibrary& library, const std::string& text) {
        const std::unique_ptr<JsonTree> tree = library.parse(text);
        for (auto _ : state) {
            benchmark::DoNotOptimize(tree->Write());
        }
    }};
constexpr Work kTextToText = {
    "text to text",
    [](benchmark::State& state, const JsonLibrary& library, const std::string& text) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(library.parse(text)->Write());
        }
    }};
constexpr Work kDestroy = {
    "destroy", [](benchmark::State& state, const JsonLibrary& library, const std::string& text) {
        RunOnTrees(
            state, text.size(), [&] { return library.parse(text); },
            [](std::unique_ptr<JsonTree>& tree) { tree->Destroy(); });
    }};
constexpr Work kCopy = {
    "deep copy", [](benchmark::State& state, const JsonLibrary& library, const std::string& text) {
        const std::unique_ptr<JsonTree> source = library.parse(text);
        RunOnTrees(
            state, text.size(), [] { return nullptr; },
            [&](std::unique_ptr<JsonTree>& tree) { tree = source->Copy(); });
    }};

std::string Measure(Suite& suite, const Work& work, const JsonLibrary& library,
                    const Document& document) {
    const std::string name = NameOf(work.name, library, document);
    suite.Measure(name, [=](benchmark::State& state) { work.run(state, library, document.text); });
    return name;
}

/// A row for one peer.
void Compare(Suite& suite, const Work& work, const JsonLibrary& peer, const Document& document,
             double goal = 0.0, double floor = 0.0) {
    const std::string ours = Measure(suite, work, OurJson(), document);
    const std::string theirs = Measure(suite, work, peer, document);
    suite.Compare({std::string(work.name) + " " + document.name,
                   static_cast<int>(document.text.size()), ours, theirs, peer.name, goal, floor});
}

// The same in processes that have just started.

FreshJob Parsing(const JsonLibrary& library) {
    return [library](const std::string& text) {
        return [library, text, tree = std::make_shared<std::unique_ptr<JsonTree>>()] {
            *tree = library.parse(text);
        };
    };
}
FreshJob Copying(const JsonLibrary& library) {
    return [library](const std::string& text) {
        const std::shared_ptr<JsonTree> tree = library.parse(text);
        return
            [tree, copy = std::make_shared<std::unique_ptr<JsonTree>>()] { *copy = tree->Copy(); };
    };
}
const FreshJobAdded kFreshJobs[] = {{"parse/core", Parsing(OurJson())},
                                    {"parse/simdjson", Parsing(SimdJson())},
                                    {"copy/core", Copying(OurJson())},
                                    {"copy/RapidJSON", Copying(RapidJson())}};

void CompareFresh(Suite& suite, const std::string& self, const std::string& what,
                  const std::string& peer, const Document& document, double goal) {
    suite.Compare({.name = Name("fresh " + what, document.name, 1),
                   .what = what + " " + document.name + ", fresh heap",
                   .n = static_cast<int>(document.text.size()),
                   .unit = "us",
                   .measure =
                       [=] {
                           return Figures{
                               FreshMicroseconds(self, what + "/core", document.text),
                               FreshMicroseconds(self, what + "/" + peer, document.text)};
                       },
                   .of = peer,
                   .goal = goal});
}

/// What telling and losing nothing cost.
void CompareExact(Suite& suite, const char* name, const char* beside, const Work& work,
                  const Document& document, double goal, double floor) {
    const JsonLibrary exact = {"core, exact", [](const std::string& text) {
                                   auto tree = std::make_unique<OurExactTree>();
                                   if (!core::ParseJson(text, tree->document->Root())) {
                                       throw std::runtime_error("core can't read this");
                                   }
                                   return tree;
                               }};
    suite.Check(NameOf(work.name, exact, document), 0.0, [=] {
        Agreement agreement;
        const std::unique_ptr<JsonTree> tree = OurJson().parse(document.text);
        tree->Contents().Compare(exact.parse(exact.parse(document.text)->Text())->Contents(),
                                 agreement);
        return agreement;
    });
    suite.Compare({std::string(name) + " " + document.name, static_cast<int>(document.text.size()),
                   Measure(suite, work, exact, document), Measure(suite, work, OurJson(), document),
                   beside, goal, floor});
}

/// That all libraries read the same, and that what we write reads the same again.
void Check(Suite& suite, const Document& document) {
    for (const JsonLibrary& peer : {RapidJson(), NlohmannJson(), JsonCpp(), SimdJson()}) {
        suite.Check(NameOf("parse", peer, document), 0.0, [=] {
            Agreement agreement;
            const std::unique_ptr<JsonTree> tree = OurJson().parse(document.text);
            tree->Contents().Compare(peer.parse(document.text)->Contents(), agreement);
            tree->Copy()->Contents().Compare(tree->Contents(), agreement);
            return agreement;
        });
    }
    // We write 8 decimals of a number.
    suite.Check(NameOf("write", RapidJson(), document), 1e-8, [=] {
        Agreement agreement;
        const std::string text = OurJson().parse(document.text)->Text();
        const auto before = RapidJson().parse(document.text)->Contents().numbers;
        const auto after = RapidJson().parse(text)->Contents().numbers;
        agreement.Compare(static_cast<double>(before.size()), static_cast<double>(after.size()));
        for (std::size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
            agreement.Compare(before[i], after[i]);
        }
        return agreement;
    });
}

}  // namespace

void Digest::AddNumber(double value) {
    ++counts[3];
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    numberHash += Mixed(bits);
    numbers.push_back(value);
}

void Digest::AddText(const char* text, std::size_t size) {
    std::uint64_t hash = 0xCBF2'9CE4'8422'2325;  // FNV-1a
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ static_cast<unsigned char>(text[i])) * 0x100'0000'01B3;
    }
    textHash += Mixed(hash);
}

void Digest::Compare(const Digest& other, Agreement& agreement) const {
    const auto compare = [&](std::uint64_t a, std::uint64_t b) {
        agreement.Compare(static_cast<double>(a >> 32), static_cast<double>(b >> 32));
        agreement.Compare(static_cast<double>(a & 0xFFFF'FFFF),
                          static_cast<double>(b & 0xFFFF'FFFF));
    };
    for (int kind = 0; kind < 6; ++kind) {
        agreement.Compare(static_cast<double>(counts[kind]),
                          static_cast<double>(other.counts[kind]));
    }
    compare(sizes, other.sizes);
    compare(numberHash, other.numberHash);
    compare(textHash, other.textHash);
}

JsonLibrary OurJson() {
    return {"core", [](const std::string& text) {
                auto tree = std::make_unique<OurTree>();
                if (tree->document->Parse(text.c_str()) < 0) {
                    throw std::runtime_error("core can't read this");
                }
                return tree;
            }};
}

namespace {

const char* const kMemoryRound = "--memory";

/// What the system counts for this process, in KB: "VmHWM", the peak, or "VmRSS".
double MemoryOfThisProcess(const std::string& what) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(what + ":", 0) == 0) {
            return std::atof(line.c_str() + what.size() + 1);
        }
    }
    throw std::runtime_error("/proc/self/status has no " + what);
}

/// The peak of a process of its own that reads the document; each has a fresh heap then.
double PeakKilobytes(const std::string& self, const JsonLibrary& library,
                     const Document& document) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::filesystem::path input = folder / ("core_bench_" + document.name + ".json");
    const std::filesystem::path output = folder / "core_bench_memory.txt";
    std::ofstream(input, std::ios::binary) << document.text;
    const std::string command = "\"" + self + "\" " + kMemoryRound + " " + library.name + " \"" +
                                input.string() + "\" >\"" + output.string() + "\"";
    double kilobytes = 0.0;
    if (std::system(command.c_str()) != 0 || !(std::ifstream(output) >> kilobytes)) {
        throw std::runtime_error("failed: " + command);
    }
    std::filesystem::remove(input);
    std::filesystem::remove(output);
    return kilobytes;
}

}  // namespace

bool RunMemoryRound(int argc, char** argv) {
    if (argc != 4 || std::strcmp(argv[1], kMemoryRound) != 0) {
        return false;
    }
    // At once into its place: the peak must be the reader's.
    std::string text(std::filesystem::file_size(argv[3]), '\0');
    std::ifstream(argv[3], std::ios::binary).read(text.data(), std::ssize(text));
    for (const JsonLibrary& library : {OurJson(), NlohmannJson(), RapidJson()}) {
        if (library.name == argv[2]) {
            const double before = MemoryOfThisProcess("VmRSS");
            const std::unique_ptr<JsonTree> tree = library.parse(text);
            std::printf("%.0f\n", MemoryOfThisProcess("VmHWM") - before);
        }
    }
    return true;
}

void AddJson(Suite& suite, const std::vector<Document>& documents, const std::string& self) {
    suite.Section("JSON documents");
    for (const Document& document : documents) {
        Check(suite, document);
        Compare(suite, kParse, RapidJson(), document, 0.55, 0.80);
        Compare(suite, kWrite, RapidJson(), document, 0.40, 0.70);
        CompareExact(suite, "ParseJson", "JsonDoc::Parse", kParse, document, 1.05, 1.25);
        CompareExact(suite, "WriteJson", "JsonDoc::Dump", kWrite, document, 1.1, 2.2);
        Compare(suite, kTextToText, RapidJson(), document, 0.45, 0.70);
        Compare(suite, kDestroy, NlohmannJson(), document, 0.005, 0.02);
        Compare(suite, kCopy, RapidJson(), document, 1.1, 1.4);
        // Where a page is much, no process tells what a small document takes.
        if (document.text.size() > 100'000) {
            CompareFresh(suite, self, "copy", "RapidJSON", document, 1.4);
            CompareFresh(suite, self, "parse", "simdjson", document, 0.0);
            const auto peak = [=](const JsonLibrary& library) {
                return [=] { return PeakKilobytes(self, library, document); };
            };
            const std::string name = "peak memory " + document.name;
            const int size = static_cast<int>(document.text.size());
            suite.CompareAmounts({name, size, peak(OurJson()), peak(NlohmannJson()), "nlohmann",
                                  document.name == "canada" ? 0.0 : 1.0});
            suite.CompareAmounts({name, size, peak(OurJson()), peak(RapidJson()), "RapidJSON"});
        }
    }
    suite.Section("JSON documents, beside the other libraries");
    for (const Document& document : documents) {
        for (const JsonLibrary& peer : {NlohmannJson(), JsonCpp(), SimdJson()}) {
            Compare(suite, kParse, peer, document);
        }
        for (const JsonLibrary& peer : {NlohmannJson(), JsonCpp()}) {
            Compare(suite, kWrite, peer, document);
            Compare(suite, kCopy, peer, document);
        }
    }
}

}  // namespace bench
