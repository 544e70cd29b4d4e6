#include "inspect/program.h"

#include "inspect/verbs.h"

#include <core/logging/log.h>
#include <core/version.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <map>
#include <new>
#include <utility>

namespace inspect {

namespace {

constexpr char kFooter[] =
    "\nFILE is a JSON or a packed document, \"-\" is standard input.\n"
    "\nExit status: 0; 1 when check has found something suspicious or diff a difference; 2 "
    "for an error.";

// A verb as the command line has it, and what runs it.
struct Verb {
    CLI::App* app;
    std::function<int(const Console&)> run;
};

class CommandLine {
public:
    CommandLine() {
        app.allow_windows_style_options(false);  // "/name" is a file everywhere
        app.require_subcommand(1);
        app.footer(kFooter);
        app.set_version_flag("--version", CORE_VERSION_STRING);
        AddCheck();
        AddSample();
        AddPlot();
        AddDiff();
        AddConvert();
    }

    int Run(const std::vector<std::string>& arguments, const Console& console) {
        try {
            // The parser takes its arguments last to first.
            app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        } catch (const CLI::ParseError& error) {
            return app.exit(error, console.out, console.err) == 0 ? 0 : kTrouble;
        }
        const auto chosen = std::find_if(verbs.begin(), verbs.end(),
                                         [](const Verb& verb) { return verb.app->parsed(); });
        return chosen->run(console);
    }

private:
    CLI::App* AddVerb(const char* name, const char* what, const char* example,
                      std::function<int(const Console&)> run) {
        CLI::App* const verb = app.add_subcommand(name, what);
        verb->footer(std::string("\nExample:\n  ") + example);
        verbs.push_back({verb, std::move(run)});
        return verb;
    }

    void AddCheck() {
        CLI::App* const verb =
            AddVerb("check", "say what files are, and what is suspicious about them",
                    "core-inspect check project/*.json",
                    [this](const Console& console) { return Check(check, console); });
        verb->add_option("FILE", check.files, "any document")->required();
    }

    void AddSample() {
        CLI::App* const verb =
            AddVerb("sample", "write what a curve answers at each frame",
                    "core-inspect sample fade.json --fps 50 --format csv",
                    [this](const Console& console) { return Sample(sample, console); });
        verb->add_option("FILE", sample.file, "a parameter or a speed curve")->required();
        verb->add_option("--fps", sample.fps,
                         "frames per second; without it the source's for a speed curve, else 25")
            ->check(CLI::Range(kLeastFps, kMostFps));
        verb->add_option("--from", sample.from, "seconds; without it where the curve starts");
        verb->add_option("--to", sample.to, "seconds; without it where the curve ends");
        verb->add_option("--format", sample.format, "table, csv or json")
            ->transform(CLI::CheckedTransformer(
                std::map<std::string, SampleFormat>{{"table", SampleFormat::Table},
                                                    {"csv", SampleFormat::Csv},
                                                    {"json", SampleFormat::Json}}));
    }

    void AddPlot() {
        CLI::App* const verb = AddVerb(
            "plot", "draw a curve as an SVG picture", "core-inspect plot fade.json -o fade.svg",
            [this](const Console& console) { return Plot(plot, console); });
        verb->add_option("FILE", plot.file, "a parameter or a speed curve")->required();
        verb->add_option("-o,--out", plot.picture, "where the picture goes")->capture_default_str();
        verb->add_option("--title", plot.title, "its title; without it the file's name");
        verb->add_option("--fps", plot.fps, "frames per second, for the dots on the curve")
            ->check(CLI::Range(kLeastFps, kMostFps))
            ->capture_default_str();
    }

    void AddDiff() {
        CLI::App* const verb =
            AddVerb("diff", "write what differs between two curves, keyframe by keyframe",
                    "core-inspect diff before.json after.json",
                    [this](const Console& console) { return Diff(diff, console); });
        verb->add_option("BEFORE", diff.before, "a parameter or a speed curve")->required();
        verb->add_option("AFTER", diff.after, "what it is compared with")->required();
    }

    void AddConvert() {
        CLI::App* const verb =
            AddVerb("convert", "write a document in another form",
                    "core-inspect convert fade.json fade.packed --to packed",
                    [this](const Console& console) { return Convert(convert, console); });
        verb->add_option("IN", convert.from, "any document")->required();
        verb->add_option("OUT", convert.to, "the file to write; \"-\" is standard output")
            ->required();
        verb->add_option("--to", convert.form, "compact, pretty or packed; pretty without it")
            ->transform(CLI::CheckedTransformer(
                std::map<std::string, TextForm>{{"compact", TextForm::Compact},
                                                {"pretty", TextForm::Pretty},
                                                {"packed", TextForm::Packed}}));
    }

    CLI::App app{"Looks into the documents of the core library: curves, speed curves, JSON.",
                 "core-inspect"};
    CheckRequest check;
    SampleRequest sample;
    PlotRequest plot;
    DiffRequest diff;
    ConvertRequest convert;
    std::vector<Verb> verbs;
};

}  // namespace

int Run(const std::vector<std::string>& arguments, const Console& console) noexcept {
    // The verbs say what is wrong, with the file's name. A log would write its first line
    // to standard output, which is the verbs' own.
    CoreLogShutdown();
    try {
        const int status = CommandLine().Run(arguments, console);
        RequireOutput(console);
        return status;
    } catch (const std::bad_alloc&) {
        ReportError(console, "out of memory");
    } catch (const std::exception& error) {
        ReportError(console, error.what());
    }
    return kTrouble;
}

}  // namespace inspect
