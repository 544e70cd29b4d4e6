// Tells whoever wants to know that something has happened.

#include <core/core.h>

#include <cstdio>
#include <string>

struct Saved {
    std::string path;
};

int main() {
    // On the caller's thread: post returns when every listener has heard.
    core::EventBus bus;
    const int title = bus.listen<Saved>(
        [](const Saved& saved) { std::printf("title: %s\n", saved.path.c_str()); });
    bus.listen<Saved>([](const Saved& saved) { std::printf("recent: %s\n", saved.path.c_str()); });

    bus.post(Saved{"intro.mov"});
    bus.unlistenAll(title);
    bus.post(Saved{"outro.mov"});
}
