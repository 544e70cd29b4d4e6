#include "core/platform/platform.h"

#include "core/platform/crash_handling.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>

// Everything here but HandleCrashes runs in signal handlers: system calls and memory that is
// there already.

namespace core::platform {
namespace {

struct HandledSignal {
    int number;
    const char* name;
    struct sigaction before;
};
HandledSignal handled[] = {{SIGSEGV, "SIGSEGV", {}},
                           {SIGBUS, "SIGBUS", {}},
                           {SIGFPE, "SIGFPE", {}},
                           {SIGILL, "SIGILL", {}},
                           {SIGABRT, "SIGABRT", {}}};
bool isInstalled = false;
CrashHandling handling;

/// A stack for handlers: the thread's own may be used up.
class HandlerStack {
public:
    HandlerStack() noexcept {
        stack_t known{};
        if (sigaltstack(nullptr, &known) != 0 || (known.ss_flags & SS_DISABLE) == 0) {
            return;
        }
        void* const memory =
            mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            return;
        }
        const stack_t own{memory, 0, kSize};
        if (sigaltstack(&own, nullptr) == 0) {
            stack = memory;
        } else {
            munmap(memory, kSize);
        }
    }
    ~HandlerStack() {
        stack_t known{};
        if (stack != nullptr && sigaltstack(nullptr, &known) == 0 && known.ss_sp == stack) {
            const stack_t none{nullptr, SS_DISABLE, 0};
            sigaltstack(&none, nullptr);
            munmap(stack, kSize);
        }
    }
    HandlerStack(const HandlerStack&) = delete;
    HandlerStack& operator=(const HandlerStack&) = delete;

private:
    static constexpr std::size_t kSize = std::size_t{64} << 10;
    void* stack = nullptr;
};

std::uint64_t ThisThread() noexcept {
    return static_cast<std::uint64_t>(gettid());
}

std::uintptr_t PlaceOf(void* context) noexcept {
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(
        static_cast<const ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP]);
#else
    static_cast<void>(context);
    return 0;
#endif
}

_Unwind_Reason_Code KeepFrame(_Unwind_Context* context, void*) noexcept {
    int isBeforeInstruction = 0;
    const std::uintptr_t address = _Unwind_GetIPInfo(context, &isBeforeInstruction);
    if (address == 0) {
        return _URC_END_OF_STACK;
    }
    std::size_t& count = handling.current.frameCount;
    if (count > 0 && isBeforeInstruction != 0 && address == handling.frames[0]) {
        // Those before it are the handler's.
        count = 1;
        return _URC_NO_REASON;
    }
    // A return address: the call is before it.
    handling.frames[count++] = isBeforeInstruction != 0 ? address : address - 1;
    return count < CrashHandling::kMostFrames ? _URC_NO_REASON : _URC_END_OF_STACK;
}

void Handle(const char* name, bool hasAddress, std::uintptr_t address, std::uintptr_t place,
            bool endsProcess) noexcept {
    handling.Handle({ThisThread(), name, hasAddress, address, nullptr, 0, endsProcess}, [&] {
        if (place != 0) {
            handling.frames[0] = place;
            handling.current.frameCount = 1;
        }
        _Unwind_Backtrace(KeepFrame, nullptr);
    });
}

bool IsLeftToTheSystem(const HandledSignal& signal) noexcept {
    return (signal.before.sa_flags & SA_SIGINFO) == 0 &&
           (signal.before.sa_handler == SIG_DFL || signal.before.sa_handler == SIG_IGN);
}

/// Has the handler from before run.
void PassOn(const HandledSignal& signal, siginfo_t* info, void* context) noexcept {
    const struct sigaction& before = signal.before;
    if ((before.sa_flags & SA_SIGINFO) != 0) {
        before.sa_sigaction(signal.number, info, context);
        return;
    }
    if (!IsLeftToTheSystem(signal)) {
        before.sa_handler(signal.number);
        return;
    }
    sigaction(signal.number, &before, nullptr);
    // A fault comes again by itself where the thread goes on; what was sent does not.
    if (info->si_code <= 0) {
        raise(signal.number);
    }
}

void OnSignal(int number, siginfo_t* info, void* context) noexcept {
    const int errorBefore = errno;
    const HandledSignal& signal =
        *std::find_if(std::begin(handled), std::end(handled),
                      [=](const HandledSignal& candidate) { return candidate.number == number; });
    if (number == SIGABRT && handling.toldThread.load() == ThisThread()) {
        const CrashHandler* const what = handling.handler.load();
        if (what != nullptr && IsLeftToTheSystem(signal)) {
            what->hold(ThisThread());
        }
    } else {
        const bool hasAddress = info->si_code > 0;
        Handle(signal.name, hasAddress,
               hasAddress ? reinterpret_cast<std::uintptr_t>(info->si_addr) : 0, PlaceOf(context),
               IsLeftToTheSystem(signal));
    }
    errno = errorBefore;
    PassOn(signal, info, context);
}

/// A line of the list of mappings: "BEGIN-END FLAGS OFFSET DEVICE NUMBER   PATH".
struct Mapping {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    const char* path = "";
};

std::uintptr_t ReadHex(const char*& at) noexcept {
    std::uintptr_t value = 0;
    for (;; ++at) {
        const char c = *at;
        if (c >= '0' && c <= '9') {
            value = value * 16 + static_cast<std::uintptr_t>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            value = value * 16 + static_cast<std::uintptr_t>(c - 'a' + 10);
        } else {
            return value;
        }
    }
}

Mapping MappingIn(const char* line) noexcept {
    Mapping mapping;
    mapping.begin = ReadHex(line);
    if (*line == '-') {
        mapping.end = ReadHex(++line);
    }
    const char* const path = std::strchr(line, '/');
    mapping.path = path != nullptr ? path : "";
    return mapping;
}

/// The lines of a file, by system calls alone; a longer one than there is room for is cut.
class Lines {
public:
    explicit Lines(const char* path) noexcept : file(open(path, O_RDONLY | O_CLOEXEC)) {}
    ~Lines() {
        if (file >= 0) {
            close(file);
        }
    }
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    /// Null at the end.
    const char* Next() noexcept {
        for (std::size_t length = 0; file >= 0;) {
            if (at == size) {
                const ssize_t count = read(file, buffer, sizeof buffer);
                if (count <= 0) {
                    return nullptr;
                }
                size = static_cast<std::size_t>(count);
                at = 0;
            }
            const char c = buffer[at++];
            if (c == '\n') {
                line[length] = '\0';
                return line;
            }
            if (length + 1 < sizeof line) {
                line[length++] = c;
            }
        }
        return nullptr;
    }

private:
    int file;
    char buffer[1024];
    std::size_t at = 0;
    std::size_t size = 0;
    char line[512];
};

}  // namespace

bool HandleCrashes(const CrashHandler* newHandler) noexcept {
    if (newHandler == nullptr) {
        handling.handler.store(nullptr);
        if (isInstalled) {
            for (const HandledSignal& signal : handled) {
                sigaction(signal.number, &signal.before, nullptr);
            }
            isInstalled = false;
        }
        return true;
    }
    [[maybe_unused]] static thread_local const HandlerStack stack;
    // Whatever the unwinder makes at its first use, it makes now.
    handling.current.frameCount = 0;
    _Unwind_Backtrace(KeepFrame, nullptr);
    handling.handler.store(newHandler);
    if (isInstalled) {
        return true;
    }
    struct sigaction action {};
    action.sa_sigaction = OnSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    isInstalled = true;
    for (HandledSignal& signal : handled) {
        if (sigaction(signal.number, &action, &signal.before) != 0) {
            return false;
        }
    }
    return true;
}

void CrashNow(const char* name) noexcept {
    Handle(name, false, 0, 0, false);
    handling.toldThread.store(ThisThread());
}

void FindModule(std::uintptr_t address, char* name, std::size_t room,
                std::uintptr_t& offset) noexcept {
    *name = '\0';
    offset = address;
    Lines lines("/proc/self/maps");
    // The first mapping of a file is where it begins.
    char path[512] = "";
    std::uintptr_t begin = 0;
    while (const char* const line = lines.Next()) {
        const Mapping mapping = MappingIn(line);
        if (std::strcmp(path, mapping.path) != 0) {
            std::strncpy(path, mapping.path, sizeof path - 1);
            begin = mapping.begin;
        }
        if (address < mapping.begin || address >= mapping.end) {
            continue;
        }
        if (*path != '\0') {
            const char* const file = std::strrchr(path, '/') + 1;
            const std::size_t length = std::min(std::strlen(file), room - 1);
            std::memcpy(name, file, length);
            name[length] = '\0';
            offset = address - begin;
        }
        return;
    }
}

}  // namespace core::platform
