// Packs a JSON tree into bytes and unpacks it again.

#include <core/core.h>

#include <cstddef>
#include <cstdio>
#include <string>

int main() {
    core::JsonDoc document;
    document.Parse(R"({"name": "fade", "keys": [0, 1.5, true, null]})");

    core::BsonBox box;
    core::JsonToBson(document.Root(), box);
    for (std::size_t i = 0; i < box.Size(); ++i) {
        std::printf("%02x%c", box.Data()[i], (i + 1) % 16 == 0 ? '\n' : ' ');
    }
    std::printf("\n");

    core::JsonDoc unpacked;
    if (!core::BsonToJson(box, unpacked.Root())) {
        return 1;
    }
    std::string text;
    unpacked.Dump(text);
    std::printf("%s\n", text.c_str());
}
