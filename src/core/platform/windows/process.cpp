#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <atomic>

namespace core::platform {
namespace {

struct Call {
    void (*function)(void*);
    void* argument;
    void* caller;
};

void WINAPI RunCall(void* call) {
    const auto* const toRun = static_cast<const Call*>(call);
    toRun->function(toRun->argument);
    // A fiber that returns ends its thread.
    SwitchToFiber(toRun->caller);
}

}  // namespace

std::uint64_t CurrentThreadId() noexcept {
    return GetCurrentThreadId();
}

void SetThreadName(const char* name) noexcept {
    // Windows 10 and later.
    using SetDescription = HRESULT WINAPI(HANDLE, PCWSTR);
    auto* const setDescription =
        FindFunction<SetDescription>("Kernel32.dll", "SetThreadDescription");
    constexpr int kRoom = 256;
    wchar_t wide[kRoom] = {};
    if (setDescription != nullptr && MultiByteToWideChar(CP_UTF8, 0, name, -1, wide, kRoom) > 0) {
        setDescription(GetCurrentThread(), wide);
    }
}

std::uint64_t CurrentProcessId() noexcept {
    return GetCurrentProcessId();
}

bool CurrentStackLimits(std::uintptr_t& low, std::uintptr_t& high) noexcept {
    using GetLimits = void WINAPI(PULONG_PTR, PULONG_PTR);
    auto* const getLimits = FindFunction<GetLimits>("Kernel32.dll", "GetCurrentThreadStackLimits");
    if (getLimits == nullptr) {
        return false;
    }
    ULONG_PTR lowLimit = 0;
    ULONG_PTR highLimit = 0;
    getLimits(&lowLimit, &highLimit);
    low = lowLimit;
    high = highLimit;
    return true;
}

// There are none that come to a thread.
SignalsBlocked::SignalsBlocked() noexcept = default;
SignalsBlocked::~SignalsBlocked() = default;

bool RunOnNewStack(void (*function)(void* argument), void* argument) noexcept {
    constexpr std::size_t kSize = std::size_t{1} << 20;  // taken as it is used
    const bool isFiber = IsThreadAFiber() != 0;
    void* const caller =
        isFiber ? GetCurrentFiber() : ConvertThreadToFiberEx(nullptr, FIBER_FLAG_FLOAT_SWITCH);
    if (caller == nullptr) {
        return false;
    }
    Call call{function, argument, caller};
    void* const fiber = CreateFiberEx(0, kSize, FIBER_FLAG_FLOAT_SWITCH, RunCall, &call);
    if (fiber != nullptr) {
        SwitchToFiber(fiber);
        DeleteFiber(fiber);
    }
    if (!isFiber) {
        ConvertFiberToThread();
    }
    return fiber != nullptr;
}

bool AskWhetherOtherThreadsAreGone() noexcept {
    using ShutdownInProgress = BOOLEAN NTAPI();
    // Asked before each wake-up. No static object with a guard: that is a lock, too.
    static std::atomic<ShutdownInProgress*> known{nullptr};
    ShutdownInProgress* shutdownInProgress = known.load(std::memory_order_relaxed);
    if (shutdownInProgress == nullptr) {
        shutdownInProgress =
            FindFunction<ShutdownInProgress>("ntdll.dll", "RtlDllShutdownInProgress");
        known.store(shutdownInProgress, std::memory_order_relaxed);
    }
    return shutdownInProgress != nullptr && shutdownInProgress() != 0;
}

bool OnFork(void (*)(), void (*)(), void (*)()) noexcept {
    return true;
}

ThreadEnd::ThreadEnd(void (*atEnd)(void* value)) noexcept : key(FlsAlloc(atEnd)) {
    static_assert(kNone == FLS_OUT_OF_INDEXES);
}

void ThreadEnd::Set(void* value) noexcept {
    if (key != kNone) {
        FlsSetValue(key, value);
    }
}

void KeepLibraryLoaded() noexcept {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&KeepLibraryLoaded), &self);
}

void* OpenLibrary(const char* name, SystemError& error) noexcept {
    if (*name == '\0') {
        error = ERROR_MOD_NOT_FOUND;
        return nullptr;
    }
    // A damaged library must not open a dialogue that waits for a user.
    DWORD modeBefore = 0;
    const BOOL isSet =
        SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &modeBefore);
    const HMODULE library = LoadLibraryA(name);
    error = library == nullptr ? GetLastError() : 0;
    if (isSet != 0) {
        SetThreadErrorMode(modeBefore, nullptr);
    }
    return reinterpret_cast<void*>(library);
}

void CloseLibrary(void* library) noexcept {
    FreeLibrary(static_cast<HMODULE>(library));
}

}  // namespace core::platform
