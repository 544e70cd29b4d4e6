#include "messaging/end_owner.h"

#include <core/messaging/event_bus.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/worker.h>

#include <memory>

namespace {

/// Listens, posts and unlistens; on the way out once more.
template <class Bus>
void UseBus(Bus& bus) {
    const int token = bus.template listen<int>([](const int&) {});
    bus.post(1);
    bus.unlistenAll(token);
}

template <class Bus>
class BusOwner final : public EndOwner {
public:
    ~BusOwner() override { UseBus(bus); }
    void Work() override { UseBus(bus); }

private:
    Bus bus;
};

class GlobalBusOwner final : public EndOwner {
public:
    GlobalBusOwner() {
        core::GetGlobalEventBus();
        core::GetGlobalSyncEventBus();
    }
    ~GlobalBusOwner() override {
        core::ReleaseGlobalEventBus();
        core::ReleaseGlobalSyncEventBus();
    }
    void Work() override {
        UseBus(core::GetGlobalEventBus());
        UseBus(core::GetGlobalSyncEventBus());
    }
};

class QueueOwner final : public EndOwner {
public:
    ~QueueOwner() override {
        core::SimpleMessage message;
        bus.AddMsg(message);
        bus.InsertUrgentMsg(message);
        // Two at most come from here; nobody is left to add more.
        while (bus.GetMsg(message) == core::MsgBusWaitRet::Ok) {
        }
        bus.Count();
        bus.Close();
    }
    void Work() override {
        core::SimpleMessage message;
        bus.AddMsg(message);
        bus.GetMsgWaitFor(message, 1);
        bus.GetMsgWaitFor(message, 1);
    }

private:
    core::SimpleMsgBus bus;
};

class LoopOwner final : public EndOwner {
public:
    LoopOwner() {
        loop.SetMsgBus(&bus);
        loop.Launch();
    }
    void Work() override {
        if (bus.Count() < 100) {
            bus.AddMsg({1});
        }
    }

private:
    struct Loop final : core::MessageLoop {
        // Waits for a close that nobody is there to make.
        ~Loop() override { WaitExit(); }
    };
    core::SimpleMsgBus bus;
    Loop loop;
};

class WorkerOwner final : public EndOwner {
public:
    explicit WorkerOwner(bool isToDrain) : isDrained(isToDrain) {}
    ~WorkerOwner() override {
        if (isDrained) {
            worker->StopAndDrain();
        }
    }
    void Work() override {
        if (worker->GetTaskCount() < 100) {
            worker->PostTask(new Nothing);
        }
    }

private:
    struct Nothing final : core::Task {
        void Run() override {}
    };
    std::unique_ptr<core::IWorker> worker{CreateWorker()};
    bool isDrained;
};

std::unique_ptr<EndOwner> kept;

}  // namespace

EndOwner* KeepInModule(const std::string& what) {
    if (what == "async") {
        kept = std::make_unique<BusOwner<core::AsyncEventBus>>();
    } else if (what == "sync") {
        kept = std::make_unique<BusOwner<core::EventBus>>();
    } else if (what == "global") {
        kept = std::make_unique<GlobalBusOwner>();
    } else if (what == "queue") {
        kept = std::make_unique<QueueOwner>();
    } else if (what == "loop") {
        kept = std::make_unique<LoopOwner>();
    } else if (what == "worker" || what == "drain") {
        kept = std::make_unique<WorkerOwner>(what == "drain");
    }
    return kept.get();
}
