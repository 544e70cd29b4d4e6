// Samples animations that an editor would make, prints them frame by frame, draws
// them, saves them as documents, and logs what it does. The keyframes come from
// files; see data/README.md.

#include "plot/clip.h"
#include "plot/frame_table.h"
#include "plot/keyframe_table.h"
#include "plot/parameter_document.h"
#include "plot/pictures.h"

#include <core/logging/log.h>
#include <core/logging/timeline.h>
#include <CLI/CLI.hpp>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Request {
    std::vector<std::string> files;
    std::string outputFolder = "demo-pictures";
    std::string logFolder;
    std::string documentFolder;
    int every = 1;
    bool wantsPictures = true;
    bool wantsTables = true;
};

/// The demo's part of the log, module "demo", in files of their own, and beside them a
/// timeline of what it did. Without a folder nothing is logged.
class DemoLog {
public:
    explicit DemoLog(const std::string& folder) : isOn(!folder.empty()) {
        constexpr std::uint64_t kMaxFileBytes = 1 << 20;
        constexpr std::uint64_t kMaxFiles = 3;
        if (isOn) {
            CoreLogSetLogSinkByModule(kModule, CORE_LOG_FILE);
            CoreLogSetLogLevelByModule(kModule, CORE_LOG_INFO);
            CoreLogSetFilePath(kModule, folder.c_str(), kMaxFileBytes, kMaxFiles);
            fs::create_directories(folder);
            CoreTimelineStart((fs::path(folder) / "timeline.json").generic_string().c_str(), 0);
        }
    }
    ~DemoLog() { CoreTimelineStop(); }
    DemoLog(const DemoLog&) = delete;
    DemoLog& operator=(const DemoLog&) = delete;
    void Write(int level, const char* tag, const std::string& text) const {
        if (isOn) {
            CoreLogPrintLog(kModule, level, tag, nullptr, nullptr, -1, "%s", text.c_str());
        }
    }

private:
    static constexpr char kModule[] = "demo";
    bool isOn;
};

class Demo {
public:
    Demo(Request what, const DemoLog& where) : request(std::move(what)), log(where) {}

    void ShowFile(const std::string& file) {
        CORE_TIMELINE_SCOPE_WITH("show", {{"file", file}});
        const bool isDocument = fs::path(file).extension() == ".json";
        if (isDocument) {
            if (std::optional<plot::Clip> clip = plot::LoadClip(file)) {
                ShowClip(file, *clip);
                return;
            }
        }
        const plot::KeyframeTable table =
            isDocument ? plot::LoadParameterDocument(file) : plot::LoadKeyframeTable(file);
        const auto [first, last] = plot::FrameSpan(table);
        log.Write(CORE_LOG_INFO, "table",
                  fs::path(file).filename().string() + ": " + std::to_string(table.rows.size()) +
                      " keyframes, frames " + std::to_string(first) + " to " +
                      std::to_string(last));
        if (request.wantsTables) {
            CORE_TIMELINE_SCOPE("table");
            std::cout << plot::FrameTable(table, request.every) << '\n';
        }
        if (request.wantsPictures) {
            CORE_TIMELINE_SCOPE("draw");
            WritePicture(fs::path(file).stem().string() + ".svg", plot::DrawAnimation(table));
        }
        if (!request.documentFolder.empty()) {
            fs::create_directories(request.documentFolder);
            const fs::path path =
                fs::path(request.documentFolder) / (fs::path(file).stem().string() + ".json");
            plot::SaveParameterDocument(table, path);
            documents.push_back(path.generic_string());
            log.Write(CORE_LOG_INFO, "document", path.filename().string());
        }
    }

    // As it is, and with its first freeze twice as long.
    void ShowClip(const fs::path& file, plot::Clip& clip) {
        const std::string stem = file.stem().string();
        ShowClipAsIs(stem, clip);
        if (!request.documentFolder.empty()) {
            fs::create_directories(request.documentFolder);
            const fs::path path = fs::path(request.documentFolder) / (stem + ".json");
            plot::SaveClip(clip, path);
            documents.push_back(path.generic_string());
            log.Write(CORE_LOG_INFO, "document", path.filename().string());
        }
        const std::vector<plot::FreezeSpan> freezes = plot::FreezesOf(clip.speed);
        if (!freezes.empty() &&
            clip.speed.SetFreezeFrameDuration(0, 2.0 * freezes.front().duration)) {
            clip.title += ", first freeze twice as long";
            ShowClipAsIs(stem + "-longer-freeze", clip);
        }
    }

    void ShowTypes() {
        if (request.wantsPictures) {
            WritePicture("interpolation-types.svg", plot::DrawInterpolationTypes());
            WritePicture("insert-keyframe.svg", plot::DrawInsertedKeyframe());
            WritePicture("overshoot.svg", plot::DrawOvershoot());
            WritePicture("reduce.svg", plot::DrawReduced());
            WritePicture("outside.svg", plot::DrawOutside());
            WritePicture("razor.svg", plot::DrawRazor());
            WritePicture("guard.svg", plot::DrawGuard());
            WritePicture("carried.svg", plot::DrawCarriedCurve());
        }
    }

    void ListFiles() const {
        for (const std::string& picture : pictures) {
            std::cout << "drawn: " << picture << '\n';
        }
        for (const std::string& document : documents) {
            std::cout << "saved: " << document << '\n';
        }
    }

private:
    void ShowClipAsIs(const std::string& name, plot::Clip& clip) {
        log.Write(CORE_LOG_INFO, "table",
                  name + ": " + std::to_string(clip.speed.GetKeyFramesCount()) +
                      " keyframes, frames 0 to " + std::to_string(clip.LastFrame()));
        if (request.wantsTables) {
            CORE_TIMELINE_SCOPE("table");
            std::cout << plot::FrameTable(clip, request.every) << '\n';
        }
        if (request.wantsPictures) {
            CORE_TIMELINE_SCOPE("draw");
            WritePicture(name + ".svg", plot::DrawClip(clip));
        }
    }

    void WritePicture(const std::string& fileName, const std::string& svg) {
        fs::create_directories(request.outputFolder);
        const fs::path path = fs::path(request.outputFolder) / fileName;
        if (!names.insert(fileName).second) {
            throw std::runtime_error(path.generic_string() +
                                     ": drawn already, from another file of this name");
        }
        CORE_TIMELINE_SCOPE_WITH(
            "write", {{"file", fileName}, {"bytes", static_cast<std::int64_t>(svg.size())}});
        std::ofstream out(path, std::ios::binary);
        out << svg;
        out.close();
        if (!out) {
            throw std::runtime_error(path.generic_string() + ": cannot be written");
        }
        pictures.push_back(path.generic_string());
        log.Write(CORE_LOG_INFO, "picture",
                  fileName + ": " + std::to_string(svg.size()) + " bytes");
    }

    Request request;
    const DemoLog& log;
    std::set<std::string> names;
    std::vector<std::string> pictures;
    std::vector<std::string> documents;
};

// What comes with the program: five animations and a clip.
std::vector<std::string> OwnFiles() {
    std::vector<std::string> files;
    for (const char* name :
         {"fade.kf", "bounce.kf", "camera.kf", "counter.kf", "zoom.json", "clip.json"}) {
        files.push_back(std::string(DEMO_DATA) + "/" + name);
    }
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    Request request;
    CLI::App app("Samples keyframe animations, prints them frame by frame, and draws them as SVG.");
    app.allow_windows_style_options(false);  // "/name" is a file everywhere
    app.add_option(
        "FILE", request.files,
        "tables of keyframes, or documents (.json), of clips too; without any, the demo's own "
        "six, and pictures of all interpolation types and of edits");
    app.add_option("--out", request.outputFolder, "folder for the pictures, made if missing")
        ->capture_default_str();
    app.add_option(
        "--log", request.logFolder,
        "folder for a log of what is done, and a timeline of it, made if missing; without it "
        "there is none");
    app.add_option("--save", request.documentFolder,
                   "also saves each animation as a document in this folder, made if missing");
    app.add_option("--every", request.every, "print each N-th frame only")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000000));
    bool noTables = false;
    bool noPictures = false;
    app.add_flag("--no-tables", noTables, "draw only");
    app.add_flag("--no-pictures", noPictures, "print only");
    app.footer(
        "\nExamples:\n"
        "  core-demo --out pictures\n"
        "  core-demo --every 5 --no-pictures my-title.kf\n"
        "  core-demo --save documents my-title.kf another.json\n"
        "\nExit status: 0, 1 when a file is broken or a picture cannot be written (the other "
        "files\n"
        "are still shown), 2 for wrong arguments.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    request.wantsTables = !noTables;
    request.wantsPictures = !noPictures;

    const bool isOwnShow = request.files.empty();
    const std::vector<std::string> files = isOwnShow ? OwnFiles() : request.files;
    const DemoLog log(request.logFolder);
    Demo demo(request, log);
    int status = 0;
    const auto attempt = [&](auto&& show) {
        try {
            show();
        } catch (const std::exception& error) {
            std::cerr << error.what() << '\n';
            log.Write(CORE_LOG_ERROR, "demo", error.what());
            status = 1;
        }
    };
    for (const std::string& file : files) {
        attempt([&] { demo.ShowFile(file); });
    }
    if (isOwnShow) {
        attempt([&] { demo.ShowTypes(); });
    }
    demo.ListFiles();
    log.Write(CORE_LOG_INFO, "demo", "ends with status " + std::to_string(status));
    return status;
}
