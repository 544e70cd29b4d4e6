// Reads a JSON document, changes it, and writes it again.

#include <core/core.h>

#include <cstdio>
#include <string>

int main() {
    core::JsonDoc document;
    if (document.Parse(R"({"name": "intro", "tracks": [{"gain": 0.5}, {"gain": 1}]})") < 0) {
        return 1;
    }

    core::JsonObject& clip = document.Root().AsObject();
    for (core::JsonElem& track : clip["tracks"].AsArray()) {
        core::JsonMember& gain = track.AsObject()["gain"];
        gain = gain.AsDouble() * 0.5;
    }
    clip["name"] = "outro";
    clip.AddArray("tags").Add("draft");

    std::string text;
    document.PrettyDump(text);
    std::printf("%s\n", text.c_str());

    // What may be missing is asked for, not read.
    double length = 0.0;
    if (const core::JsonMember* member = clip.Find("length"); !member || !member->Get(length)) {
        std::printf("no length\n");
    }
    // What has to be there may be read by its place: the exception names it.
    try {
        core::ValueByPointer<double>(document.Root(), "/tracks/1/length");
    } catch (const core::JsonKindMismatch& error) {
        std::printf("%s: %s\n", error.what(), error.Message().c_str());
    }
}
