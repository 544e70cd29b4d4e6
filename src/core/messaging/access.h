#pragma once

#include <memory>

namespace core {

/// The hidden halves of the buses and of the loop, for the functions beside them.
class MessagingAccess {
public:
    template <class Object>
    static const auto& ImplOf(Object& object) noexcept {
        return object.p_impl;
    }
};

}  // namespace core
