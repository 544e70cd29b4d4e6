// Edits the clips of a track: removes the muted ones, sorts, inserts.

#include <core/core.h>

#include <cstdio>
#include <string>

int main() {
    core::JsonDoc track;
    track.Parse(R"([{"at": 8, "name": "b"}, {"at": 2, "muted": true}, {"at": 3, "name": "a"}])");
    core::JsonArray& clips = track.Root().AsArray();

    clips.RemoveIf(
        [](const core::JsonValue& clip) { return clip.AsObject().ValueOr("muted", false); });
    clips.SortBy([](const core::JsonValue& a, const core::JsonValue& b) {
        return a.AsObject()["at"].AsDouble() < b.AsObject()["at"].AsDouble();
    });
    clips.Insert(0, nullptr).MakeEmptyObject().Add("name", "leader");

    for (const core::JsonElem& clip : clips) {
        for (const auto& [name, value] : clip.AsObject()) {
            std::string text;
            value.Dump(text);
            std::printf("%s=%s ", std::string(name).c_str(), text.c_str());
        }
        std::printf("\n");
    }
}
