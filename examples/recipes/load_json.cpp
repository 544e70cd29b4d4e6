// Loads JSON from anywhere: what is wrong is told, what is missing has a default.

#include <core/core.h>

#include <cstdio>
#include <string>

int main() {
    for (const char* text : {R"({"title": "intro", "tracks": [{"gain": 0.5}]})",
                             "{\"title\": \"outro\",\n \"tracks\": [}"}) {
        core::JsonDoc project;
        if (const auto result = core::ParseJson(text, project.Root()); !result) {
            std::printf("%s\n", result.Message().c_str());
            continue;
        }
        const std::string title = core::ValueByPointerOr(project.Root(), "/title", "untitled");
        const double gain = core::ValueByPointerOr(project.Root(), "/tracks/0/gain", 1.0);
        const int fps = core::ValueByPointerOr(project.Root(), "/export/fps", 25);
        std::printf("%s: gain %g, %d frames per second\n", title.c_str(), gain, fps);
    }
}
