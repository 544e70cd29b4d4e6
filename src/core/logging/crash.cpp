#include <core/logging/log_crash.h>

#include "core/logging/file_channel.h"
#include "core/logging/time_stamp.h"
#include "core/logging/zyl_log_wrapper_manager.h"
#include "core/platform/platform.h"

#include <core/logging/timeline.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <string_view>

// What the log does in a crash. It runs where the crash was, in the middle of anything: it
// has static memory, the channels' files and system calls, see BsFileChannel.

namespace core {
namespace {

/// A text of limited length in memory that is there.
class CrashLine {
public:
    void Clear() noexcept { size = 0; }
    void Append(std::string_view piece) noexcept {
        const std::size_t length = std::min(piece.size(), sizeof bytes - size);
        std::memcpy(bytes + size, piece.data(), length);
        size += length;
    }
    void AppendNumber(std::uint64_t number, unsigned base) noexcept {
        char digits[24];
        char* at = std::end(digits);
        do {
            *--at = "0123456789abcdef"[number % base];
            number /= base;
        } while (number != 0);
        Append({at, static_cast<std::size_t>(std::end(digits) - at)});
    }
    std::string_view View() const noexcept { return {bytes, size}; }

private:
    char bytes[8192];
    std::size_t size = 0;
};

CrashLine crashLine;
/// What an exception that ends the process says.
char reason[256] = "";

void Tell(const platform::Crash& crash) noexcept {
    crashLine.Clear();
    const bool isJson = ZylLogWrapperManager::Get().IsJson();
    char time[64];
    const std::string_view now = TimeWithoutZone(time);
    if (isJson) {
        // "2024-01-31 23:59:59.123T+0100" in the form of ISO 8601.
        crashLine.Append("{\"time\":\"");
        crashLine.Append(now.substr(0, 10));
        crashLine.Append("T");
        crashLine.Append(now.substr(11, 12));
        crashLine.Append(now.substr(24, 3));
        crashLine.Append(":");
        crashLine.Append(now.substr(27));
        crashLine.Append("\",\"level\":\"Fatal\",\"module\":\"ZYL\",\"tag\":\"core\",\"thread\":");
        crashLine.AppendNumber(crash.threadId, 10);
        crashLine.Append(",\"message\":\"crash: ");
    } else {
        crashLine.Append("[Fatal][");
        crashLine.AppendNumber(crash.threadId, 10);
        crashLine.Append("][");
        crashLine.Append(now);
        crashLine.Append("][core]crash: ");
    }
    crashLine.Append(crash.name);
    if (*reason != '\0') {
        crashLine.Append(": ");
        crashLine.Append(reason);
    }
    if (crash.hasAddress) {
        crashLine.Append(" at 0x");
        crashLine.AppendNumber(crash.address, 16);
    }
    for (std::size_t i = 0; i < crash.frameCount; ++i) {
        char module[64];
        std::uintptr_t offset = 0;
        platform::FindModule(crash.frames[i], module, sizeof module, offset);
        crashLine.Append(i == 0 ? ", in " : " ");
        crashLine.Append(module);
        crashLine.Append("+0x");
        crashLine.AppendNumber(offset, 16);
    }
    if (isJson) {
        crashLine.Append("\"}");
    }
    BsFileChannel::WriteAllInACrash(crash.threadId, crashLine.View(), crash.endsProcess);
    platform::WriteToStandardErrorAtOnce(crashLine.View());
    platform::WriteToStandardErrorAtOnce("\n");
    *reason = '\0';
    if (IsTimelineOn()) {
        // Its own thread writes it.
        platform::SleepMilliseconds(50);
    }
}

constexpr platform::CrashHandler kHandler{BsFileChannel::SaveAllInACrash, Tell,
                                          BsFileChannel::HoldAllInACrash};
bool isHandling = false;
std::terminate_handler terminateBefore = nullptr;

void KeepReason(const char* text) noexcept {
    std::size_t size = 0;
    for (; text[size] != '\0' && size + 1 < sizeof reason; ++size) {
        const auto byte = static_cast<unsigned char>(text[size]);
        // Nothing that would have to be escaped in either form.
        const bool isPlain = byte >= 0x20 && byte != 0x7f && byte != '"' && byte != '\\';
        reason[size] = isPlain ? text[size] : '_';
    }
    reason[size] = '\0';
}

[[noreturn]] void OnTerminate() {
    if (const std::exception_ptr exception = std::current_exception()) {
        try {
            std::rethrow_exception(exception);
        } catch (const std::exception& error) {
            KeepReason(error.what());
        } catch (...) {
            KeepReason("an exception of another kind");
        }
    }
    platform::CrashNow("std::terminate");
    if (terminateBefore != nullptr) {
        terminateBefore();
    }
    std::abort();
}

}  // namespace
}  // namespace core

int CoreLogHandleCrashes(bool isOn) {
    using namespace core;
    if (isOn && !isHandling) {
        terminateBefore = std::set_terminate(OnTerminate);
    } else if (!isOn && isHandling) {
        std::set_terminate(terminateBefore);
    }
    isHandling = isOn;
    return platform::HandleCrashes(isOn ? &kHandler : nullptr) ? 0 : 1;
}

int CoreLogWriteFatalAtOnce(bool isOn) {
    core::ZylLogWrapperManager::Get().SetFatalAtOnce(isOn);
    return 0;
}
