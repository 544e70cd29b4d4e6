#include "inspect/program.h"

#include "inspect/describe.h"
#include "inspect/manual.h"
#include "inspect/time_text.h"
#include "inspect/verbs.h"

#include <core/logging/log.h>
#include <core/version.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <new>
#include <utility>

namespace inspect {

namespace {

constexpr char kPlace[] = "; FILE#/clips/0/speed for one in a larger document";
constexpr char kFooter[] =
    "\nFILE is a JSON or a packed document or a table of keyframes (.kf), \"-\" is standard "
    "input. FILE#/clips/0/speed is what stands in FILE at the JSON Pointer /clips/0/speed.\n"
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
        // Asked by the build, which installs both.
        if (arguments == std::vector<std::string>{"--manual-page"}) {
            console.out << ManualPage(app);
            return 0;
        }
        if (arguments == std::vector<std::string>{"--bash-completion"}) {
            console.out << BashCompletion(app);
            return 0;
        }
        try {
            // The parser takes its arguments last to first.
            std::vector<std::string> words(arguments.rbegin(), arguments.rend());
            for (std::string& word : words) {
                // "-#/clips/0" is no option; `PlaceOf` takes the space off.
                if (word.rfind("-#", 0) == 0) {
                    word.insert(0, " ");
                }
            }
            app.parse(std::move(words));
        } catch (const CLI::Success& request) {  // --help, --version
            return app.exit(request, console.out, console.err);
        } catch (const CLI::ParseError& error) {
            ReportError(console, OneLine(FaultOf(arguments, error)));
            return kTrouble;
        }
        const auto chosen = std::find_if(verbs.begin(), verbs.end(),
                                         [](const Verb& verb) { return verb.app->parsed(); });
        return chosen->run(console);
    }

private:
    // What is wrong with the arguments, and which verb may have been meant.
    std::string FaultOf(const std::vector<std::string>& arguments,
                        const CLI::ParseError& error) const {
        const std::string first = arguments.empty() ? "" : arguments.front();
        const bool isVerb = std::any_of(verbs.begin(), verbs.end(), [&](const Verb& verb) {
            return verb.app->get_name() == first;
        });
        if (isVerb || first.empty() || first.front() == '-') {
            return first.empty() ? "a verb is wanted; --help lists them" : error.what();
        }
        std::string fault = "'" + first + "' is no verb";
        const auto nearest =
            std::min_element(verbs.begin(), verbs.end(), [&](const Verb& a, const Verb& b) {
                return Distance(first, a.app->get_name()) < Distance(first, b.app->get_name());
            });
        const std::string name = nearest->app->get_name();
        return fault + (Distance(first, name) <= 2 || name.rfind(first, 0) == 0
                            ? "; '" + name + "' is one"
                            : "; --help lists them");
    }

    static std::string OneLine(std::string text) {
        while (!text.empty() && text.back() == '\n') {
            text.pop_back();
        }
        std::replace(text.begin(), text.end(), '\n', ' ');
        return text;
    }

    // How many letters have to be changed, added, left out or swapped with their neighbour
    // (Damerau's distance, with no letter in two swaps).
    static std::size_t Distance(const std::string& a, const std::string& b) {
        std::vector<std::vector<std::size_t>> d(a.size() + 1,
                                                std::vector<std::size_t>(b.size() + 1));
        for (std::size_t i = 0; i <= a.size(); ++i) {
            for (std::size_t j = 0; j <= b.size(); ++j) {
                if (i == 0 || j == 0) {
                    d[i][j] = i + j;
                    continue;
                }
                d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                                    d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
                if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                    d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
                }
            }
        }
        return d[a.size()][b.size()];
    }

    // An option whose value is one of a few words.
    template <class Choice>
    static void AddChoice(CLI::App* verb, const char* name, Choice& choice,
                          const std::vector<std::pair<std::string, Choice>>& words) {
        std::string all;
        for (std::size_t i = 0; i < words.size(); ++i) {
            all += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i].first;
        }
        const auto change = [words, all](std::string& text) -> std::string {
            for (const auto& [word, value] : words) {
                if (word == text) {
                    text = std::to_string(static_cast<int>(value));
                    return {};
                }
            }
            return text + " is not " + all;
        };
        verb->add_option(name, choice,
                         all + "; " + words[static_cast<std::size_t>(choice)].first + " without it")
            ->type_name("WORD")
            ->transform(CLI::Validator(change, ""));
    }

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
        verb->add_option("FILE", check.files, "any documents, and folders of them")->required();
        verb->add_flag("--json", check.isJson, "an array with an object for each file");
    }

    void AddSample() {
        CLI::App* const verb =
            AddVerb("sample", "write what a curve answers at each frame",
                    "core-inspect sample fade.json --fps 50 --format csv",
                    [this](const Console& console) { return Sample(sample, console); });
        verb->add_option("FILE", sample.file, std::string("a parameter or a speed curve") + kPlace)
            ->required();
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
        AddChoice<SampleFormat>(verb, "--format", sample.format,
                                {{"table", SampleFormat::Table},
                                 {"csv", SampleFormat::Csv},
                                 {"json", SampleFormat::Json}});
    }

    void AddPlot() {
        CLI::App* const verb = AddVerb(
            "plot", "draw curves as an SVG picture", "core-inspect plot fade.json -o fade.svg",
            [this](const Console& console) { return Plot(plot, console); });
        verb->add_option("FILE", plot.files,
                         std::string("parameters and speed curves, for one picture") + kPlace)
            ->required();
        verb->add_option("-o,--out", plot.picture, "where the picture goes")->capture_default_str();
        verb->add_option("--title", plot.title, "its title; without it the first file's name");
        AddRate(verb, plot.fps, "frames per second, for the dots on the curve; 25 without it");
        verb->add_option("--from", plot.from, "seconds or a timecode; without it all is drawn");
        verb->add_option("--to", plot.to, "the same");
        verb->add_option("--size", plot.size, "width and height in pixels, as in 1200x600");
        verb->add_flag("--terminal", plot.isForTerminal,
                       "as text for a terminal, 78x16 without --size");
    }

    void AddDiff() {
        CLI::App* const verb =
            AddVerb("diff", "write what differs between two curves, keyframe by keyframe",
                    "core-inspect diff before.json after.json",
                    [this](const Console& console) { return Diff(diff, console); });
        verb->add_option("BEFORE", diff.before,
                         std::string("a parameter or a speed curve") + kPlace)
            ->required();
        verb->add_option("AFTER", diff.after, "what it is compared with")->required();
    }

    void AddPage() {
        CLI::App* const verb =
            AddVerb("page", "write a page for a browser: curves, clips and traces",
                    "core-inspect page project/*.json -o page.html",
                    [this](const Console& console) { return Page(page, console); });
        verb->add_option("FILE", page.files,
                         std::string("parameters, speed curves, performance traces") + kPlace)
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
        AddChoice<TextForm>(verb, "--to", convert.form,
                            {{"compact", TextForm::Compact},
                             {"pretty", TextForm::Pretty},
                             {"packed", TextForm::Packed}});
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
