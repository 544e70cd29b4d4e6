#include "core/platform/platform.h"

#include "core/platform/crash_handling.h"
#include "core/platform/windows/windows_headers.h"

#include <algorithm>
#include <atomic>
#include <csignal>

namespace core::platform {
namespace {

CrashHandling handling;
bool isInstalled = false;
LPTOP_LEVEL_EXCEPTION_FILTER filterBefore = nullptr;
using SignalHandler = void (*)(int);
SignalHandler abortBefore = SIG_DFL;

const char* NameOf(DWORD code) noexcept {
    switch (code) {
        case EXCEPTION_ACCESS_VIOLATION:
            return "EXCEPTION_ACCESS_VIOLATION";
        case EXCEPTION_IN_PAGE_ERROR:
            return "EXCEPTION_IN_PAGE_ERROR";
        case EXCEPTION_STACK_OVERFLOW:
            return "EXCEPTION_STACK_OVERFLOW";
        case EXCEPTION_ILLEGAL_INSTRUCTION:
            return "EXCEPTION_ILLEGAL_INSTRUCTION";
        case EXCEPTION_PRIV_INSTRUCTION:
            return "EXCEPTION_PRIV_INSTRUCTION";
        case EXCEPTION_INT_DIVIDE_BY_ZERO:
            return "EXCEPTION_INT_DIVIDE_BY_ZERO";
        case EXCEPTION_FLT_DIVIDE_BY_ZERO:
            return "EXCEPTION_FLT_DIVIDE_BY_ZERO";
        case EXCEPTION_BREAKPOINT:
            return "EXCEPTION_BREAKPOINT";
        default:
            return "unhandled exception";
    }
}

/// Follows the calls from `context` on, by the tables of the modules.
void Unwind(CONTEXT context) noexcept {
    std::size_t& count = handling.current.frameCount;
    count = 0;
    for (bool isInnermost = true; count < CrashHandling::kMostFrames && context.Rip != 0;
         isInnermost = false) {
        // A return address: the call is before it.
        handling.frames[count++] =
            static_cast<std::uintptr_t>(isInnermost ? context.Rip : context.Rip - 1);
        DWORD64 base = 0;
        PRUNTIME_FUNCTION const function = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
        if (function == nullptr) {
            // It has nothing on the stack but whence it was called.
            if (!isInnermost) {
                return;
            }
            context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
            context.Rsp += sizeof(DWORD64);
            continue;
        }
        void* data = nullptr;
        DWORD64 frame = 0;
        RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &data, &frame,
                         nullptr);
    }
}

void Handle(const char* name, bool hasAddress, std::uintptr_t address,
            const CONTEXT& context) noexcept {
    handling.Handle({GetCurrentThreadId(), name, hasAddress, address, nullptr, 0, false},
                    [&] { Unwind(context); });
}

LONG WINAPI OnException(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    const bool isAccess = record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION ||
                          record.ExceptionCode == EXCEPTION_IN_PAGE_ERROR;
    const auto address = isAccess && record.NumberParameters > 1
                             ? static_cast<std::uintptr_t>(record.ExceptionInformation[1])
                             : reinterpret_cast<std::uintptr_t>(record.ExceptionAddress);
    Handle(NameOf(record.ExceptionCode), true, address, *exception->ContextRecord);
    return filterBefore != nullptr ? filterBefore(exception) : EXCEPTION_CONTINUE_SEARCH;
}

void HandleHere(const char* name) noexcept {
    CONTEXT context;
    RtlCaptureContext(&context);
    Handle(name, false, 0, context);
}

// The C library takes the handler away before it calls it.
void OnAbort(int number) {
    if (handling.toldThread.load() != GetCurrentThreadId()) {
        HandleHere("SIGABRT");
    }
    if (abortBefore != SIG_DFL && abortBefore != SIG_IGN) {
        abortBefore(number);
    }
}

}  // namespace

bool HandleCrashes(const CrashHandler* newHandler) noexcept {
    handling.handler.store(newHandler);
    if (newHandler == nullptr && isInstalled) {
        SetUnhandledExceptionFilter(filterBefore);
        std::signal(SIGABRT, abortBefore);
        isInstalled = false;
    } else if (newHandler != nullptr && !isInstalled) {
        filterBefore = SetUnhandledExceptionFilter(OnException);
        abortBefore = std::signal(SIGABRT, OnAbort);
        isInstalled = true;
    }
    if (newHandler != nullptr) {
        // What is left for the handler where the thread's stack overflows.
        ULONG bytes = 64 << 10;
        SetThreadStackGuarantee(&bytes);
    }
    return true;
}

void CrashNow(const char* name) noexcept {
    HandleHere(name);
    handling.toldThread.store(GetCurrentThreadId());
}

void FindModule(std::uintptr_t address, char* name, std::size_t room,
                std::uintptr_t& offset) noexcept {
    *name = '\0';
    offset = address;
    // The loader's own functions wait for its lock; these ask the system.
    using GetName = DWORD WINAPI(HANDLE, LPVOID, LPWSTR, DWORD);
    static std::atomic<GetName*> known{nullptr};
    GetName* getName = known.load(std::memory_order_relaxed);
    if (getName == nullptr) {
        getName = FindFunction<GetName>("Kernel32.dll", "K32GetMappedFileNameW");
        known.store(getName, std::memory_order_relaxed);
    }
    MEMORY_BASIC_INFORMATION memory{};
    auto* const place = reinterpret_cast<void*>(address);
    if (getName == nullptr || VirtualQuery(place, &memory, sizeof memory) == 0 ||
        memory.Type != MEM_IMAGE) {
        return;
    }
    wchar_t path[512];
    const DWORD length = getName(GetCurrentProcess(), place, path, 511);
    if (length == 0) {
        return;
    }
    const wchar_t* file = path + length;
    while (file > path && file[-1] != L'\\' && file[-1] != L'/') {
        --file;
    }
    std::size_t size = 0;
    for (; file < path + length && size + 1 < room; ++file) {
        name[size++] = *file < 128 ? static_cast<char>(*file) : '?';
    }
    name[size] = '\0';
    offset = address - reinterpret_cast<std::uintptr_t>(memory.AllocationBase);
}

}  // namespace core::platform
