#pragma once

namespace core {

/// Marks this thread as one that serves a queue, for as long as it lives. What is served
/// is told by its address.
class Serving {
public:
    explicit Serving(const void* toServe) noexcept;
    ~Serving();
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;

    /// Whether the calling thread serves it.
    static bool Is(const void* served) noexcept;

private:
    const void* what;
    const Serving* outer;
};

}  // namespace core
