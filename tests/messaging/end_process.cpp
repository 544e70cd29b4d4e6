// A process that ends while its threads are busy, where the system ends them first: what
// a module destroys afterwards must not wait for them, nor for a lock that one held.
//
//   end_process async|sync|global|queue|loop|worker|drain

#include <chrono>
#include <thread>

#include "messaging/end_owner.h"

int main(int argc, char** argv) {
    EndOwner* const owner = KeepInModule(argc > 1 ? argv[1] : "");
    if (owner == nullptr) {
        return 2;
    }
    for (int i = 0; i < 4; ++i) {
        std::thread([owner] {
            for (;;) {
                owner->Work();
            }
        }).detach();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return 0;
}
