// An event bus where no thread can be started.

#include <core/messaging/event_bus.h>

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <memory>
#include <string>
#include <thread>

#include "support/event.h"

namespace {

/// No thread can be started while this lives: none gets a stack of the default size.
class NoThreads {
public:
    NoThreads() {
        pthread_getattr_default_np(&before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 62);
        EXPECT_EQ(0, pthread_setattr_default_np(&huge));
        pthread_attr_destroy(&huge);
    }
    ~NoThreads() {
        pthread_setattr_default_np(&before);
        pthread_attr_destroy(&before);
    }

private:
    pthread_attr_t before;
};

TEST(PosixEventBus, WithoutAThreadItSaysSoAndServesTheOneThatConsumes) {
    std::unique_ptr<core::AsyncEventBus> bus;
    testing::internal::CaptureStdout();
    {
        const NoThreads noThreads;
        bus = std::make_unique<core::AsyncEventBus>();
    }
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(0U, text.find("AsyncEventBus::AsyncEventBus:")) << text;
    EXPECT_LT(std::string("AsyncEventBus::AsyncEventBus:").size(), text.size());

    int heard = 0;
    support::Event isHeard;
    bus->listen<int>([&](const int& number) {
        heard = number;
        isHeard.Set();
    });
    bus->post(5);
    EXPECT_EQ(1, bus->getQueueEventCount());
    std::thread lent([&] { bus->consume(); });
    isHeard.Wait();
    EXPECT_EQ(5, heard);
    // It waits for the thread that was lent, too.
    bus.reset();
    lent.join();
}

}  // namespace
