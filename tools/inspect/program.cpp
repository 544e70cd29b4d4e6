#include "inspect/program.h"

#include "inspect/describe.h"
#include "inspect/time_text.h"
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
        AddPage();
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

    // A frame rate, also as a fraction: 30000/1001.
    template <class Rate>
    static CLI::Option* AddRate(CLI::App* verb, Rate& rate, const char* what) {
        const auto change = [](std::string& text) -> std::string {
            const std::optional<double> number = ParseRate(text);
            if (!number || !(*number >= kLeastFps && *number <= kMostFps)) {
                return text + " is no frame rate from 0.1 to 1000";
            }
            text = NumberText(*number);
            return {};
        };
        return verb->add_option("--fps", rate, what)
            ->type_name("RATE")
            ->transform(CLI::Validator(change, ""));
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
        AddRate(verb, sample.fps,
                "frames per second; without it the source's for a speed curve, else 25");
        CLI::Option* const from = verb->add_option(
            "--from", sample.from, "seconds or a timecode; without it where the curve starts");
        CLI::Option* const to =
            verb->add_option("--to", sample.to, "the same; without it where the curve ends");
        verb->add_option("--at", sample.at, "a time, once or more, in place of frames")
            ->allow_extra_args(false)
            ->excludes(from)
            ->excludes(to);
        verb->add_flag("--timecode", sample.hasTimecode, "with a column of it");
        verb->add_option("--format", sample.format, "table, csv or json")
            ->transform(CLI::CheckedTransformer(
                std::map<std::string, SampleFormat>{{"table", SampleFormat::Table},
                                                    {"csv", SampleFormat::Csv},
                                                    {"json", SampleFormat::Json}}));
    }

    void AddPlot() {
        CLI::App* const verb = AddVerb(
            "plot", "draw curves as an SVG picture", "core-inspect plot fade.json -o fade.svg",
            [this](const Console& console) { return Plot(plot, console); });
        verb->add_option("FILE", plot.files, "parameters and speed curves, for one picture")
            ->required();
        verb->add_option("-o,--out", plot.picture, "where the picture goes")->capture_default_str();
        verb->add_option("--title", plot.title, "its title; without it the first file's name");
        AddRate(verb, plot.fps, "frames per second, for the dots on the curve; 25 without it");
        verb->add_option("--from", plot.from, "seconds or a timecode; without it all is drawn");
        verb->add_option("--to", plot.to, "the same");
        verb->add_option("--size", plot.size, "width and height in pixels, as in 1200x600");
    }

    void AddDiff() {
        CLI::App* const verb =
            AddVerb("diff", "write what differs between two curves, keyframe by keyframe",
                    "core-inspect diff before.json after.json",
                    [this](const Console& console) { return Diff(diff, console); });
        verb->add_option("BEFORE", diff.before, "a parameter or a speed curve")->required();
        verb->add_option("AFTER", diff.after, "what it is compared with")->required();
    }

    void AddPage() {
        CLI::App* const verb =
            AddVerb("page", "write a page for a browser: curves, clips and traces",
                    "core-inspect page project/*.json -o page.html",
                    [this](const Console& console) { return Page(page, console); });
        verb->add_option("FILE", page.files, "parameters, speed curves, performance traces")
            ->required();
        verb->add_option("-o,--out", page.page, "where the page goes")->capture_default_str();
        verb->add_option("--title", page.title, "its title; without it the files' names");
        AddRate(verb, page.fps,
                "frames per second, where the cursor stops; without it those of the first clip, "
                "else 25");
        verb->add_flag("--diff", page.isDiff,
                       "two files are versions of one curve, before and after");
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
    PageRequest page;
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
