// One thread makes messages, another one takes them, until the queue is closed.

#include <core/core.h>

#include <cstdio>
#include <thread>

int main() {
    core::SimpleMsgBus frames;
    core::SimpleMsgBus done;

    std::thread renderer([frames, done]() mutable {  // copies share their queue
        core::SimpleMessage frame;
        while (frames.GetMsg(frame) == core::MsgBusWaitRet::Ok) {
            std::printf("frame %d\n", frame.arg);
            done.AddMsg(frame);
        }
    });

    for (int frame = 1; frame <= 3; ++frame) {
        core::SimpleMessage message;
        message.arg = frame;
        frames.AddMsg(message);
    }
    core::SimpleMessage last;
    while (done.GetMsgWaitFor(last, 10000) == core::MsgBusWaitRet::Ok && last.arg != 3) {
    }
    frames.Close();  // discards what is left and ends the wait
    renderer.join();
    std::printf("closed: %s\n", frames.AddMsg(last) ? "no" : "yes");
}
