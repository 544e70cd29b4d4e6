// A window's thread: draws at a steady rate, and takes the answers of a worker.

#include <core/core.h>

#include <chrono>
#include <cstdio>
#include <memory>

class Window : public core::MessageLoop {
public:
    explicit Window(core::IWorker& toAsk) : worker(toAsk) {
        // More input than this is too old to be handled one by one.
        core::SetLimit(bus, {100, core::WhenFull::DropOldest});
        SetMsgBus(&bus);
    }
    ~Window() override { WaitExit(); }

    void OnLoopStart() override {
        core::SetThreadName("window");
        tick = core::PostEvery(bus, std::chrono::milliseconds(4), {kTick});
    }

    using core::MessageLoop::OnMessage;
    void OnMessage(const core::SimpleMessage& message) override {
        CORE_ASSERT_THREAD_OF(*this);
        if (message.code == kDecoded) {
            std::printf("decoded frame %d\n", message.arg);
            bus.Close();  // ends the loop
        } else if (++drawn == 3) {
            std::printf("%d pictures drawn\n", drawn);
            tick.Cancel();
            core::PostCall(worker, [bus = bus]() mutable { bus.AddMsg({kDecoded, 7}); });
        }
    }

private:
    enum { kTick, kDecoded };

    core::IWorker& worker;
    core::SimpleMsgBus bus;
    core::Timer tick;
    int drawn = 0;
};

int main() {
    std::unique_ptr<core::IWorker> worker(CreateWorker());
    core::Timer overdue = core::PostAfter(*worker, std::chrono::minutes(1),
                                          [] { std::printf("nothing was decoded\n"); });
    Window window(*worker);
    window.Launch();
    window.WaitExit();
    std::printf("in time: %s\n", overdue.Cancel() ? "yes" : "no");
    std::printf("%d messages handled\n", static_cast<int>(core::CountersOf(window).done));
}
