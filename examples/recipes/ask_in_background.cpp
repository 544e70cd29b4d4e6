// Has a worker compute, and takes its answers, its exceptions, or the question back.

#include <core/core.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

int Frames(int seconds) {
    if (seconds < 0) {
        throw std::invalid_argument("a clip of negative length");
    }
    return seconds * 25;
}

int main() {
    std::unique_ptr<core::IWorker> worker(CreateWorker());

    core::Future<int> frames = core::PostCall(*worker, [] { return Frames(4); });
    core::Future<int> faulty = core::PostCall(*worker, [] { return Frames(-1); });
    std::printf("%d frames\n", frames.Get());
    try {
        faulty.Get();
    } catch (const std::invalid_argument& error) {
        std::printf("failed: %s\n", error.what());
    }

    // The worker is busy until it has this picture; what waits can be taken back.
    core::Future<void> shown;
    core::Future<void> forgotten;
    core::PostCall(*worker, [&] {
        forgotten = core::PostCall(*worker, [] { std::printf("never printed\n"); });
        shown = core::PostCall(
            *worker, [] { std::printf("shown first\n"); }, core::TaskOrder::Urgent);
        forgotten.Cancel();
    }).Get();
    core::WaitForPosted(*worker);
    std::printf("cancelled: %s\n", forgotten.State() == core::CallState::Cancelled ? "yes" : "no");
}
