// core_bench_message_instructions: sends a known number of messages or events, so that
// callgrind can count what they execute. See counts.cpp.

#include <core/messaging/event_bus.h>
#include <core/messaging/future.h>
#include <core/messaging/listening.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/worker.h>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/signals2/signal.hpp>

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

struct Moved {
    std::int64_t by;
};

/// With a second thread alive, mutexes are taken as in a program that needs them.
class SecondThread {
public:
    ~SecondThread() {
        {
            const std::lock_guard lock(mutex);
            isOver = true;
        }
        end.notify_one();
        thread.join();
    }

private:
    std::mutex mutex;
    std::condition_variable end;
    bool isOver = false;
    std::thread thread{[this] {
        std::unique_lock lock(mutex);
        end.wait(lock, [this] { return isOver; });
    }};
};

std::int64_t Messages(int count) {
    core::SimpleMsgBus bus;
    core::SimpleMessage message;
    message.code = 1;
    std::int64_t sum = 0;
    for (int i = 0; i < count; ++i) {
        bus.AddMsg(message);
        bus.GetMsg(message);
        sum += message.code;
    }
    return sum;
}

template <class Bus>
void ListenAndPost(Bus& bus, int listeners, int count, std::int64_t& sum) {
    for (int i = 0; i < listeners; ++i) {
        bus.template listen<Moved>([&sum](const Moved& event) { sum += event.by; });
    }
    for (int i = 0; i < count; ++i) {
        bus.post(Moved{1});
    }
}

std::int64_t Events(int listeners, int count) {
    core::EventBus bus;
    std::int64_t sum = 0;
    ListenAndPost(bus, listeners, count, sum);
    return sum;
}

std::int64_t AsyncEvents(int listeners, int count) {
    core::AsyncEventBus bus;
    std::int64_t sum = 0;
    ListenAndPost(bus, listeners, count, sum);
    std::mutex mutex;
    std::condition_variable changed;
    bool isHeard = false;
    bus.listen<int>([&](const int&) {
        const std::lock_guard lock(mutex);
        isHeard = true;
        changed.notify_one();
    });
    bus.post(0);
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return isHeard; });
    return sum;
}

/// The listeners of one owner that is waited for at its end.
std::int64_t OwnedEvents(int listeners, int count) {
    core::EventBus bus;
    std::int64_t sum = 0;
    core::Listening<core::EventBus> owned(bus);
    for (int i = 0; i < listeners; ++i) {
        owned.listen<Moved>([&sum](const Moved& event) { sum += event.by; });
    }
    for (int i = 0; i < count; ++i) {
        bus.post(Moved{1});
    }
    return sum;
}

/// What a caller would write: functions in a list that is held while it is walked.
class SnapshotLoop {
public:
    using Function = std::function<void(const Moved&)>;

    void Listen(Function function) {
        const std::lock_guard lock(mutex);
        auto next = std::make_shared<std::vector<Function>>(*functions);
        next->push_back(std::move(function));
        functions = std::move(next);
    }
    void Post(const Moved& event) {
        std::shared_ptr<const std::vector<Function>> held;
        {
            const std::lock_guard lock(mutex);
            held = functions;
        }
        for (const Function& function : *held) {
            function(event);
        }
    }

private:
    std::mutex mutex;
    std::shared_ptr<const std::vector<Function>> functions =
        std::make_shared<std::vector<Function>>();
};

std::int64_t Loops(int listeners, int count) {
    SnapshotLoop loop;
    std::int64_t sum = 0;
    for (int i = 0; i < listeners; ++i) {
        loop.Listen([&sum](const Moved& event) { sum += event.by; });
    }
    for (int i = 0; i < count; ++i) {
        loop.Post(Moved{1});
    }
    return sum;
}

class Count final : public core::Task {
public:
    explicit Count(std::int64_t& toCount) : count(toCount) {}
    void Run() override { ++count; }

private:
    std::int64_t& count;
};

std::int64_t Tasks(int count) {
    std::int64_t sum = 0;
    const std::unique_ptr<core::IWorker> worker(CreateWorker());
    for (int i = 0; i < count; ++i) {
        worker->PostTask(new Count(sum));
    }
    core::WaitForPosted(*worker);
    return sum;
}

std::int64_t Futures(int count) {
    std::int64_t sum = 0;
    const std::unique_ptr<core::IWorker> worker(CreateWorker());
    std::vector<core::Future<std::int64_t>> futures(static_cast<std::size_t>(count));
    for (core::Future<std::int64_t>& future : futures) {
        future = core::PostCall(*worker, [] { return std::int64_t{1}; });
    }
    for (core::Future<std::int64_t>& future : futures) {
        sum += future.Get();
    }
    return sum;
}

/// Tasks of several posters, all run when it returns.
template <class Post>
void PostFrom(int posters, int count, const Post& post) {
    std::vector<std::thread> threads;
    for (int poster = 0; poster < posters; ++poster) {
        threads.emplace_back([=, &post] {
            for (int i = poster; i < count; i += posters) {
                post();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::int64_t WorkerTasks(int posters, int count) {
    std::int64_t sum = 0;
    const std::unique_ptr<core::IWorker> worker(CreateWorker());
    PostFrom(posters, count, [&] { worker->PostTask(new Count(sum)); });
    core::WaitForPosted(*worker);
    return sum * posters;
}

std::int64_t PoolTasks(int posters, int count) {
    std::int64_t sum = 0;
    boost::asio::thread_pool pool(1);
    PostFrom(posters, count, [&] { boost::asio::post(pool, [&sum] { ++sum; }); });
    pool.join();
    return sum * posters;
}

std::int64_t Signals(int listeners, int count) {
    boost::signals2::signal<void(const Moved&)> signal;
    std::int64_t sum = 0;
    for (int i = 0; i < listeners; ++i) {
        signal.connect([&sum](const Moved& event) { sum += event.by; });
    }
    for (int i = 0; i < count; ++i) {
        signal(Moved{1});
    }
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(
            stderr,
            "usage: %s messages|tasks|futures|posters|pool|events|async|owned|loop|signals2 "
            "LISTENERS COUNT\n",
            argv[0]);
        return 2;
    }
    const SecondThread second;
    const std::string what = argv[1];
    const int listeners = std::atoi(argv[2]);
    const int count = std::atoi(argv[3]);
    const std::int64_t sum = what == "messages"  ? Messages(count)
                             : what == "tasks"   ? Tasks(count)
                             : what == "futures" ? Futures(count)
                             : what == "posters" ? WorkerTasks(listeners, count)
                             : what == "pool"    ? PoolTasks(listeners, count)
                             : what == "events"  ? Events(listeners, count)
                             : what == "async"   ? AsyncEvents(listeners, count)
                             : what == "owned"   ? OwnedEvents(listeners, count)
                             : what == "loop"    ? Loops(listeners, count)
                                                 : Signals(listeners, count);
    std::printf("%lld\n", static_cast<long long>(sum));
    return sum == std::int64_t{count} * (listeners == 0 ? 1 : listeners) ? 0 : 1;
}
