#include "logging/module_end.h"

#include <core/logging/log.h>

namespace {

struct End {
    // Needs the library, which is detached after this module then.
    int level = CoreLogGetLogLevel();
    void (*action)() = nullptr;

    ~End() {
        if (action != nullptr) {
            action();
        }
    }
} end;

}  // namespace

void AtModuleEnd(void (*action)()) {
    end.action = action;
}
