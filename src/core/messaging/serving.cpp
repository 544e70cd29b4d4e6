#include "core/messaging/serving.h"

namespace core {
namespace {

thread_local const Serving* innermost = nullptr;

}  // namespace

Serving::Serving(const void* toServe) noexcept : what(toServe), outer(innermost) {
    innermost = this;
}

Serving::~Serving() {
    innermost = outer;
}

bool Serving::Is(const void* served) noexcept {
    const Serving* at = innermost;
    while (at != nullptr && at->what != served) {
        at = at->outer;
    }
    return at != nullptr;
}

}  // namespace core
