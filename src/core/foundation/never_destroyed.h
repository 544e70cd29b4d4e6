#pragma once

#include <new>

namespace core {

/// A static object that is made when the library is loaded, and never destroyed, so
/// that it serves to the very end of a process.
///
///     CORE_INIT_FIRST NeverDestroyed<Mutex> storage;
///     Mutex& mutex = storage.value;
template <class T>
union NeverDestroyed {
    NeverDestroyed() { new (&value) T; }
    ~NeverDestroyed() {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T value;
};

}  // namespace core

/// Before the other objects of the program that are made when it is loaded.
#if defined(__GNUC__)
#define CORE_INIT_FIRST __attribute__((init_priority(101)))
#else
#define CORE_INIT_FIRST
#endif
