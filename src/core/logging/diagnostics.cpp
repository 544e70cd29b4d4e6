#include <core/logging/diagnostics.h>
#include <core/logging/log.h>

#include "core/logging/pe_imports.h"
#include "core/platform/platform.h"

#include <atomic>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

namespace core {
namespace {

constexpr std::int32_t kLeastStack = 2048;

struct StackReading {
    std::int32_t remaining;
    std::int32_t total;
};

void PrintWarning(void* reading) noexcept {
    const auto* const stack = static_cast<const StackReading*>(reading);
    CoreLogPrint("core", CORE_LOG_WARN, "stack is running out. (remained / total: %d / %d)",
                 stack->remaining, stack->total);
}

// The loader binds a function at its first call, on the stack of the caller: 3 KB,
// more than is left when it counts. So what the warning needs is called once before.
// No thread: none can start where the loader's lock is held.
void PrepareWarning() noexcept {
    static std::atomic<bool> isPrepared{false};
    if (!isPrepared.load(std::memory_order_relaxed) && !isPrepared.exchange(true)) {
        platform::RunOnNewStack([](void*) {}, nullptr);
    }
}

class FileSource final : public ByteSource {
public:
    platform::SystemError Open(const std::string& path) noexcept { return file.Open(path); }

    std::size_t ReadAt(std::uint64_t offset, void* data, std::size_t size) override {
        std::size_t total = 0;
        while (total < size) {
            std::size_t read = 0;
            const platform::SystemError error = file.Read(
                offset + total, static_cast<std::uint8_t*>(data) + total, size - total, read);
            total += read;
            if (error != 0 || read == 0) {
                break;
            }
        }
        return total;
    }

private:
    platform::ReadFile file;
};

const char* TextOf(ImageFault fault) noexcept {
    switch (fault) {
        case ImageFault::DosSignature:
            return "DOS SIGNATURE is invalid";
        case ImageFault::NtSignature:
            return "NT SIGNATURE is invalid";
        case ImageFault::NoSections:
            return "NumberOfSections is 0";
        case ImageFault::OutOfMemory:
            return "out of memory";
        case ImageFault::NoImportDirectory:
            return "import directory is invalid";
        case ImageFault::ImportsOutsideSections:
            return "import descriptor's FOA is invalid";
        case ImageFault::None:
        default:
            return "";
    }
}

class DependencyCheck {
public:
    explicit DependencyCheck(std::string imagePath) : path(std::move(imagePath)) {}

    void Run() const {
        FileSource file;
        if (file.Open(path) != 0) {
            Say(CORE_LOG_ERROR, "can't open this file");
            return;
        }
        const ImageImports imports = ReadImports(file);
        if (imports.fault != ImageFault::None) {
            Say(CORE_LOG_ERROR, TextOf(imports.fault));
            return;
        }
        for (const std::string& library : imports.libraries) {
            Try(library);
        }
        if (imports.isCutOff) {
            Say(CORE_LOG_WARN,
                "only the first " + std::to_string(kMostImports) + " imports were checked");
        }
    }

private:
    void Try(const std::string& library) const {
        platform::SystemError error = 0;
        void* const loaded = platform::OpenLibrary(library.c_str(), error);
        if (loaded != nullptr) {
            platform::CloseLibrary(loaded);
            return;
        }
        char code[16];
        std::snprintf(code, sizeof code, "%08x", error);
        Say(CORE_LOG_ERROR, "CAN NOT LOAD (" + library + ", err " + code + ")");
    }

    void Say(int level, const std::string& finding) const {
        CoreLogPrint("core", level, "[dependency (%s)] %s", path.c_str(), finding.c_str());
    }

    std::string path;
};

}  // namespace
}  // namespace core

extern "C" int32_t ZYLCoreGetStackRemainedBytes(const void* address, uint32_t* total_out) {
    std::uintptr_t low = 0;
    std::uintptr_t high = 0;
    if (!core::platform::CurrentStackLimits(low, high)) {
        return 0;
    }
    const auto total = static_cast<std::uint32_t>(high - low);
    if (total_out != nullptr) {
        *total_out = total;
    }
    core::PrepareWarning();
    const auto at = reinterpret_cast<std::uintptr_t>(address);
    const auto remaining = static_cast<std::int32_t>(static_cast<std::uint32_t>(at - low));
    if (remaining < core::kLeastStack) {
        core::StackReading reading{remaining, static_cast<std::int32_t>(total)};
        core::platform::RunOnNewStack(core::PrintWarning, &reading);
    }
    return remaining;
}

extern "C" void ZYLCorePrintDependency(const wchar_t* path) {
    try {
        std::string utf8;
        if (path != nullptr) {
            core::platform::ToNarrow(path, core::platform::NarrowEncoding::Utf8, utf8);
        }
        core::DependencyCheck(std::move(utf8)).Run();
    } catch (const std::exception&) {
        CoreLogPrint("core", CORE_LOG_ERROR, "[dependency ()] out of memory");
    }
}
