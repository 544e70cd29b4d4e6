// A worker thread: a loop that takes orders from a bus until one of them says stop.

#include <core/core.h>

#include <cstdio>

class Renderer : public core::MessageLoop {
public:
    enum Order { Render, Stop };

    explicit Renderer(core::SimpleMsgBus& bus) : orders(bus) { SetMsgBus(&orders); }
    // Here and not in the base: when that one's runs, the handlers below are gone.
    ~Renderer() override { WaitExit(); }

    using core::MessageLoop::OnMessage;
    void OnMessage(const core::SimpleMessage& order) override {
        if (order.code == Stop) {
            orders.Close();
            return;
        }
        std::printf("frame %d\n", order.arg);
    }

private:
    core::SimpleMsgBus orders;  // a copy: it shares the queue
};

int main() {
    core::SimpleMsgBus orders;
    Renderer renderer(orders);
    orders.AddMsg({Renderer::Render, 24});
    orders.AddMsg({Renderer::Render, 25});
    orders.InsertUrgentMsg({Renderer::Render, 1});
    renderer.Launch();
    orders.AddMsg({Renderer::Stop});
    return 0;
}
