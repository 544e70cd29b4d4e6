#include "core/platform/platform.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>

namespace core::platform {
namespace {

// Asking the system takes as long as formatting a log line.
thread_local std::uint64_t knownThreadId = 0;

// The one thread that a forked process starts with has a new number.
void BeginForkedProcess() noexcept {
    knownThreadId = 0;
    ++processGeneration;
}
// When the library is loaded: a static object of the function would have a guard, which a
// thread that a fork leaves behind may hold.
const bool kIsForkSafe = pthread_atfork(nullptr, nullptr, BeginForkedProcess) == 0;

/// A call on another stack, kept above that: the caller's may have no room for it.
struct Call {
    ucontext_t caller;
    ucontext_t called;
    void (*function)(void*);
    void* argument;
};

// A context's arguments are ints.
void RunCall(unsigned upperHalf, unsigned lowerHalf) noexcept {
    const std::uint64_t address = std::uint64_t{upperHalf} << 32 | lowerHalf;
    const auto* const call =
        reinterpret_cast<const Call*>(address);  // NOLINT(performance-no-int-to-ptr)
    call->function(call->argument);
}

}  // namespace

std::uint64_t CurrentThreadId() noexcept {
    if (knownThreadId != 0) {
        return knownThreadId;
    }
    const auto id = static_cast<std::uint64_t>(gettid());
    if (kIsForkSafe) {
        knownThreadId = id;
    }
    return id;
}

void SetThreadName(const char* name) noexcept {
    constexpr std::size_t kLongest = 15;  // longer names are refused
    char text[kLongest + 1] = {};
    std::size_t size = strnlen(name, kLongest + 1);
    if (size > kLongest) {
        size = kLongest;
        while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80) {
            --size;
        }
    }
    std::memcpy(text, name, size);
    pthread_setname_np(pthread_self(), text);
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

static_assert(sizeof(sigset_t) <= sizeof(std::array<std::uint64_t, 16>));

SignalsBlocked::SignalsBlocked() noexcept {
    sigset_t signals;
    sigset_t old;
    sigfillset(&signals);
    for (const int ofItself : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&signals, ofItself);
    }
    pthread_sigmask(SIG_BLOCK, &signals, &old);
    std::memcpy(before.data(), &old, sizeof old);
}

SignalsBlocked::~SignalsBlocked() {
    sigset_t old;
    std::memcpy(&old, before.data(), sizeof old);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
}

bool RunOnNewStack(void (*function)(void* argument), void* argument) noexcept {
    constexpr std::size_t kSize = std::size_t{1} << 20;  // taken as it is used
    constexpr std::size_t kAlignment = 64;
    constexpr std::size_t kForCall = (sizeof(Call) + kAlignment - 1) / kAlignment * kAlignment;
    void* const memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    // Ends at a page that ends the process, and not in what lies below.
    mprotect(memory, static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE);
    auto* const call = new (static_cast<char*>(memory) + kSize - kForCall) Call;
    call->function = function;
    call->argument = argument;
    bool isRun = getcontext(&call->called) == 0;
    if (isRun) {
        call->called.uc_stack.ss_sp = memory;
        call->called.uc_stack.ss_size = kSize - kForCall;
        call->called.uc_link = &call->caller;
        const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(call));
        makecontext(&call->called, reinterpret_cast<void (*)()>(&RunCall), 2,
                    static_cast<unsigned>(address >> 32), static_cast<unsigned>(address));
        isRun = swapcontext(&call->caller, &call->called) == 0;
    }
    munmap(memory, kSize);
    return isRun;
}

bool AskWhetherOtherThreadsAreGone() noexcept {
    // Functions registered for the end of a process run beside its other threads.
    return false;
}

bool OnFork(void (*before)(), void (*inParent)(), void (*inChild)()) noexcept {
    return pthread_atfork(before, inParent, inChild) == 0;
}

ThreadEnd::ThreadEnd(void (*atEnd)(void* value)) noexcept {
    pthread_key_t made{};
    // Stays loaded: threads may end later than the library is unloaded otherwise.
    Dl_info library{};
    if (dladdr(reinterpret_cast<const void*>(atEnd), &library) != 0) {
        dlopen(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
    if (pthread_key_create(&made, atEnd) == 0) {
        key = made;
    }
}

void ThreadEnd::Set(void* value) noexcept {
    if (key != kNone) {
        pthread_setspecific(key, value);
    }
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
