// Lays an editor's own settings over the defaults, all the way down.

#include <core/core.h>

#include <cstdio>
#include <string>

int main() {
    core::JsonDoc settings;
    core::JsonDoc own;
    settings.Parse(R"({"export": {"fps": 25, "codec": "h264"}, "grid": true, "proxy": "auto"})");
    own.Parse(R"({"export": {"fps": 50}, "grid": null})");
    const core::JsonTree defaults(settings.Root());  // outlives any change of the document

    core::MergePatch(settings.Root(), own.Root());

    std::string text;
    core::WriteJson(settings.Root(), text);
    std::printf("%s\n", text.c_str());
    for (const auto& place : core::FindDifferences(defaults.Root(), settings.Root())) {
        std::printf("%s %s\n", place.pointer.c_str(),
                    place.after != nullptr ? "changed" : "removed");
    }
}
