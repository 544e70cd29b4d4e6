#include <core/messaging/thread_of.h>

#include <core/foundation/thread_name.h>

#include "core/platform/platform.h"

#include <cstdio>
#include <cstdlib>

namespace core {

void detail::FailThreadOf(const char* what, const char* file, int line) {
    char text[500];
    std::snprintf(text, sizeof text, "%.200s:%d: thread %llu \"%s\" is not the thread of %.100s\n",
                  file, line, static_cast<unsigned long long>(platform::CurrentThreadId()),
                  ThreadName(), what);
    platform::WriteToStandardError(text);
    std::abort();
}

}  // namespace core
