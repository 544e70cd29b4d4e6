#include "inspect/document.h"
#include "inspect/verbs.h"

#include "support/clip.h"
#include "support/parameter_document.h"
#include "support/pictures.h"
#include "support/utf8.h"

#include <filesystem>
#include <utility>

namespace inspect {

namespace {

// The file's name without folders and extension.
std::string TitleOf(const PlotRequest& request) {
    if (!request.title.empty() || request.file == "-") {
        return request.title.empty() ? InputName(request.file) : request.title;
    }
    const std::u8string stem =
        std::filesystem::path(std::u8string(request.file.begin(), request.file.end()))
            .stem()
            .u8string();
    return {stem.begin(), stem.end()};
}

std::string DrawSpeedCurve(core::SpeedParameter& speed, std::string title,
                           const std::string& name) {
    const core::ParameterTypeEnum type = speed.GetParameterType();
    if (type != core::ParameterDouble && type != core::ParameterInt) {
        throw Failure(name, "speeds that are no numbers cannot be drawn");
    }
    if (!example::CanBeShown(speed)) {
        throw Failure(name, "a clip too long to be drawn, or without a length");
    }
    example::Clip clip{std::move(title), speed};
    return example::DrawClip(clip);
}

}  // namespace

int Plot(const PlotRequest& request, const Console& console) {
    const Document document(request.file, console);
    std::string title = TitleOf(request);
    if (!example::IsUtf8Text(title)) {
        throw Failure(document.Name(), "a title that is no line of UTF-8 text");
    }
    const std::unique_ptr<core::Parameter> curve = document.Curve();
    std::string picture;
    if (auto* const speed = dynamic_cast<core::SpeedParameter*>(curve.get())) {
        picture = DrawSpeedCurve(*speed, std::move(title), document.Name());
    } else {
        example::KeyframeTable table = example::TableOf(*curve, std::move(title));
        table.fps = request.fps;
        if (const std::string fault = example::DrawingFault(table); !fault.empty()) {
            throw Failure(document.Name(), fault);
        }
        picture = example::DrawAnimation(table);
    }
    WriteOutput(request.picture, picture, console);
    return 0;
}

}  // namespace inspect
