#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

namespace support {

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

}  // namespace support
