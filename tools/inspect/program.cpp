#include "inspect/program.h"

#include "inspect/verbs.h"

#include <core/logging/log.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <new>
#include <ostream>

namespace inspect {

namespace {

constexpr int kTrouble = 2;

constexpr char kFooter[] =
    "\nFILE is a JSON or packed document, \"-\" for standard input.\n"
    "\nExit status: 0, 1 when check or diff found something, 2 for an error.";

void AddPlot(CLI::App& app, PlotRequest& request) {
    CLI::App* const verb = app.add_subcommand("plot", "draw a curve as an SVG picture");
    verb->add_option("FILE", request.file, "a parameter or a speed curve")->required();
    verb->add_option("-o,--out", request.picture, "where the picture goes")->capture_default_str();
    verb->add_option("--title", request.title, "its title; without one, the file's name");
    verb->add_option("--fps", request.fps, "frames per second, for the dots on the curve")
        ->check(CLI::Range(0.1, 1000.0))
        ->capture_default_str();
    verb->footer("\nExample:\n  core-inspect plot fade.json -o fade.svg");
}

int RunVerb(const std::vector<std::string>& arguments, const Console& console) {
    CLI::App app("Looks into the documents of the core library: curves, speed curves, JSON.",
                 "core-inspect");
    app.allow_windows_style_options(false);  // "/name" is a file everywhere
    app.require_subcommand(1);
    app.footer(kFooter);
    PlotRequest plot;
    AddPlot(app, plot);
    try {
        // The parser takes its arguments last to first.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error, console.out, console.err) == 0 ? 0 : kTrouble;
        RequireOutput(console);
        return status;
    }
    const int status = Plot(plot, console);
    RequireOutput(console);
    return status;
}

}  // namespace

int Run(const std::vector<std::string>& arguments, const Console& console) noexcept {
    // What the library has to say about a document is said by the verbs, with its name.
    CoreLogSetLogSink(0);
    const auto fail = [&console](const char* what) {
        console.err << "core-inspect: " << what << '\n' << std::flush;
        return kTrouble;
    };
    try {
        return RunVerb(arguments, console);
    } catch (const std::bad_alloc&) {
        return fail("out of memory");
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}

}  // namespace inspect
