// Builds a tree, packs it, unpacks it elsewhere, and sees that nothing was lost.

#include <core/core.h>

#include <cstdio>

int main() {
    core::JsonDoc clip;
    core::JsonObject& root = clip.CreateRootObject();
    root["name"] = "intro";
    root["start"] = 0;
    root["speed"] = 1.5;
    for (const char* tag : {"draft", "4k"}) {
        core::SetByPointer(clip.Root(), "/tags/-", tag);
    }

    core::BsonBox box;
    core::JsonToBson(clip.Root(), box);
    core::JsonTree received;
    const bool isGood = core::BsonToJson(box, received.Root());
    const bool isSame = isGood && core::AreEqual(clip.Root(), received.Root());
    std::printf("%zu bytes, %s\n", box.Size(), isSame ? "the same" : "not the same");
}
