// Listeners that end with their owner, also while another thread posts.

#include <core/core.h>

#include <cstdio>
#include <memory>
#include <string>

struct Renamed {
    std::string name;
};

class Title {
public:
    explicit Title(core::EventBus& bus) : listening(bus) {
        listening.listen<Renamed>([this](const Renamed& event) { Show(event.name); });
    }
    void Show(const std::string& name) { std::printf("%d: %s\n", ++shown, name.c_str()); }

private:
    int shown = 0;
    // Last, so that it goes first: it waits for listeners that still run.
    core::Listening<core::EventBus> listening;
};

int main() {
    core::EventBus bus;
    {
        const Title title(bus);
        bus.post(Renamed{"intro"});
    }
    bus.post(Renamed{"nobody hears this"});

    // An owner that others share is held while it listens.
    auto shared = std::make_shared<std::string>("outro");
    core::ListenWeakly<Renamed>(bus, shared, [](std::string& owner, const Renamed& event) {
        std::printf("%s is now %s\n", owner.c_str(), event.name.c_str());
        owner = event.name;
    });
    bus.post(Renamed{"credits"});
    shared.reset();
    bus.post(Renamed{"nobody hears this either"});
}
