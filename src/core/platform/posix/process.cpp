#include "core/platform/platform.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>
#include <cerrno>

namespace core::platform {
namespace {

// Asking the system takes as long as formatting a log line.
thread_local std::uint64_t knownThreadId = 0;

// The one thread that a forked process starts with has a new number.
void ForgetThreadId() noexcept {
    knownThreadId = 0;
}

struct Call {
    void (*function)(void*);
    void* argument;
};

void* RunCall(void* call) {
    const auto* const toRun = static_cast<const Call*>(call);
    toRun->function(toRun->argument);
    return nullptr;
}

}  // namespace

std::uint64_t CurrentThreadId() noexcept {
    if (knownThreadId != 0) {
        return knownThreadId;
    }
    static const bool isForkSafe = pthread_atfork(nullptr, nullptr, ForgetThreadId) == 0;
    const auto id = static_cast<std::uint64_t>(gettid());
    if (isForkSafe) {
        knownThreadId = id;
    }
    return id;
}

std::uint64_t CurrentProcessId() noexcept {
    return static_cast<std::uint64_t>(getpid());
}

bool CurrentStackLimits(std::uintptr_t& low, std::uintptr_t& high) noexcept {
    // For the first thread, the C library reads these from a file: 25 us, and more
    // stack than may be left the next time.
    thread_local std::uintptr_t knownLow = 0;
    thread_local std::uintptr_t knownHigh = 0;
    if (knownHigh == 0) {
        pthread_attr_t attributes;
        if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
            return false;
        }
        void* base = nullptr;
        std::size_t size = 0;
        const bool isKnown = pthread_attr_getstack(&attributes, &base, &size) == 0;
        pthread_attr_destroy(&attributes);
        if (!isKnown) {
            return false;
        }
        knownLow = reinterpret_cast<std::uintptr_t>(base);
        knownHigh = knownLow + size;
    }
    low = knownLow;
    high = knownHigh;
    return true;
}

bool RunOnNewStack(void (*function)(void* argument), void* argument) noexcept {
    Call call{function, argument};
    pthread_t thread;
    if (pthread_create(&thread, nullptr, RunCall, &call) != 0) {
        return false;
    }
    pthread_join(thread, nullptr);
    return true;
}

bool AskWhetherOtherThreadsAreGone() noexcept {
    // Functions registered for the end of a process run beside its other threads.
    return false;
}

void KeepLibraryLoaded() noexcept {
    // Unloading runs the functions that were registered for it, and they may wait.
}

void* OpenLibrary(const char* name, SystemError& error) noexcept {
    // The loader takes an empty name for the program itself.
    errno = ENOENT;
    void* const library = *name != '\0' ? dlopen(name, RTLD_LAZY | RTLD_LOCAL) : nullptr;
    // It sets errno where a file is missing, and not for every other fault.
    error = library == nullptr ? static_cast<SystemError>(errno) : 0;
    return library;
}

void CloseLibrary(void* library) noexcept {
    dlclose(library);
}

}  // namespace core::platform
