#pragma once

// What the library needs of an operating system, in our own types.
//
// One function per need. They only translate: retries, defaults, formats and
// texts are decided above, once for all systems. posix/ and windows/ hold the
// same files; the build picks the folder.
//
// Text and paths are UTF-8; a path ends before its first zero byte. Where a
// function answers a SystemError, 0 means that it succeeded. All functions are
// safe from any thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace core::platform {

/// An error code of the system: errno, or what GetLastError answers.
using SystemError = std::uint32_t;

// Clocks

/// A monotonic counter; `CounterFrequency` says how often it counts in a second.
std::uint64_t MonotonicCounter() noexcept;
/// 10,000,000 on every system.
std::uint64_t CounterFrequency() noexcept;
/// The wall clock: ticks of 100 ns since 1970-01-01 UTC.
std::int64_t WallClock100ns() noexcept;

/// A second of the wall clock in local time.
struct LocalTime {
    std::tm fields;
    /// Seconds to add to UTC to get local time; daylight saving counts.
    std::int32_t utcOffset;
};
/// Breaks down `second`, which counts from 1970-01-01 UTC; false, leaving
/// `local` alone, when its year has no representation.
bool BreakDownLocalTime(std::int64_t second, LocalTime& local) noexcept;
/// What the system calls the time zone at `local`, as in "CEST".
std::string TimeZoneName(const LocalTime& local);

/// Suspends the calling thread.
void SleepMilliseconds(std::uint32_t duration) noexcept;
/// Tells the processor that this thread waits for another one in a loop.
inline void Pause() noexcept {
    __builtin_ia32_pause();
}

// Memory

/// What memory is to be aligned to for PreferLargePages; 16 where there are none.
std::size_t LargePageSize() noexcept;
/// Wishes for the pages of memory that nobody has touched yet to come as large ones, so that
/// the first touch of each interrupts once and not 512 times.
void PreferLargePages(void* memory, std::size_t size) noexcept;
/// Has the pages of memory that nobody has touched yet come at once, where the system can:
/// that takes a fraction of what it takes to meet them one after the other.
void PopulatePages(void* memory, std::size_t size) noexcept;

// Identifiers

enum class IdentifierStatus : std::uint8_t {
    Unique,     // everywhere
    LocalOnly,  // on this machine
    Failed,     // the bytes may hold anything
};
/// A new identifier, time-based (version 1 of RFC 9562), its three time fields
/// stored with the least significant byte first.
IdentifierStatus GenerateSequentialIdentifier(std::array<std::uint8_t, 16>& bytes) noexcept;

// Text

enum class NarrowEncoding : std::uint8_t { Utf8, Oem, Ansi };
/// Converts narrow text to wide text. Invalid sequences become U+FFFD. False,
/// leaving `wide` alone, when the text is longer than the system converts; throws
/// `std::bad_alloc`.
bool ToWide(NarrowEncoding from, std::string_view narrow, std::wstring& wide);
/// Converts wide text to narrow text; what the encoding lacks becomes the system's
/// replacement. Fails like `ToWide`.
bool ToNarrow(std::wstring_view wide, NarrowEncoding to, std::string& narrow);
/// Whether the locale of the calling thread has '.' between whole numbers and decimals.
bool HasDecimalPoint() noexcept;

// Console and debugger

enum class StandardStream : std::uint8_t { Output, Error };

/// Makes a stream, where it is a console, take UTF-8 and escape sequences.
void PrepareConsole(StandardStream stream) noexcept;
/// Whether somebody looks at what is written there.
bool IsTerminal(StandardStream stream) noexcept;
/// Writes to standard output, wherever it leads now, behind what the C library holds back
/// for it, and through to the system.
void WriteToStandardOutput(std::string_view text) noexcept;
void WriteToStandardError(std::string_view text) noexcept;
/// The same past the C library, without its locks.
void WriteToStandardErrorAtOnce(std::string_view text) noexcept;
/// Hands a text to the debugger; where the system has no such place, to standard
/// error.
void WriteToDebugger(const char* text) noexcept;

// Files and directories

/// Who may use a file that is made.
enum class FileAccess : std::uint8_t {
    Usual,    // whom the system lets
    Private,  // the user of this process alone
};

/// A file that only grows, open for appending. Answers what the system answers: a
/// write may be short, and an error leaves the file open. One thread at a time.
class AppendFile {
public:
    AppendFile() noexcept = default;
    AppendFile(AppendFile&& other) noexcept;
    AppendFile& operator=(AppendFile&& other) noexcept;
    ~AppendFile();

    /// Opens `path`, creating the file when it is missing and keeping what it
    /// holds. Others may read, rename and remove it meanwhile, but
    /// `RemoveFileUnlessOpen` of any process leaves it alone. Closes the file that was
    /// open before, if any, even when the new one can't be opened.
    SystemError Open(const std::string& path, FileAccess access = FileAccess::Usual) noexcept;
    bool IsOpen() const noexcept { return handle != kClosed; }
    /// Appends in one call of the system. `written` may be less than `size`, with
    /// and without an error.
    SystemError Write(const void* data, std::size_t size, std::size_t& written) noexcept;
    /// The file's size in bytes, as it is now.
    SystemError Size(std::uint64_t& size) const noexcept;
    /// Whether the file was removed: it has no name any more, and goes with its last user.
    bool IsRemoved() const noexcept;
    /// Waits until the device has what was written.
    SystemError Flush() noexcept;
    void Close() noexcept;

private:
    // A descriptor or a handle.
    static constexpr std::intptr_t kClosed = -1;
    std::intptr_t handle = kClosed;
};

/// A file open for reading at any offset. One thread at a time.
class ReadFile {
public:
    ReadFile() noexcept = default;
    ReadFile(const ReadFile&) = delete;
    ReadFile& operator=(const ReadFile&) = delete;
    ~ReadFile();

    /// Opens a file that is there; a directory is an error. Once per object.
    SystemError Open(const std::string& path) noexcept;
    /// Reads at `offset` in one call of the system; `read` is 0 at the end.
    SystemError Read(std::uint64_t offset, void* data, std::size_t size,
                     std::size_t& read) noexcept;
    SystemError Size(std::uint64_t& size) const noexcept;

private:
    static constexpr std::intptr_t kClosed = -1;
    std::intptr_t handle = kClosed;
};

struct DirectoryEntry {
    std::string name;
    bool isDirectory;
};
/// Whether the call that answered `error` may succeed later as it is: there was no
/// room, there were too many open files, or the file is busy.
bool MayPass(SystemError error) noexcept;
/// Whether `AppendFile::Open` failed because somebody is about to remove the file: a
/// matter of microseconds.
bool IsBusy(SystemError error) noexcept;
/// Has the calling thread's writes beyond a limit on file sizes fail, where they would
/// end the process otherwise.
void MakeFileSizeLimitAnError() noexcept;

/// The entries of a directory but "." and "..", in no particular order. `entries`
/// holds what was read before an error. Throws `std::bad_alloc`.
SystemError ListDirectory(const std::string& path, std::vector<DirectoryEntry>& entries);
/// Makes one directory. An existing object under that name is an error.
SystemError MakeDirectory(const std::string& path) noexcept;
/// Removes a file, not a directory, unless an `AppendFile` of any process has it open.
SystemError RemoveFileUnlessOpen(const std::string& path) noexcept;
/// Whether the file system has an object of any kind at `path`; false when it
/// can't be asked.
bool Exists(const std::string& path) noexcept;
bool IsDirectory(const std::string& path) noexcept;
/// Whether `path` leads to a file with bytes of its own: no directory, no device.
bool IsRegularFile(const std::string& path) noexcept;
/// What `path` leads to behind all its links; itself where the system has no such links
/// in paths. Throws `std::bad_alloc`.
SystemError ResolveLinks(const std::string& path, std::string& resolved);
/// Gives a file the permissions of another one, where the system keeps them with files.
SystemError CopyPermissions(const std::string& from, const std::string& to) noexcept;
/// Puts a file in the place of another one of the same directory, or where there is none,
/// in one step: whoever opens `to` finds one of them, also after a crash.
SystemError MoveOver(const std::string& from, const std::string& to) noexcept;
/// Whether `c` separates the names in a path.
bool IsPathSeparator(char c) noexcept;
/// What stands between the names in the paths that the system answers.
char PathSeparator() noexcept;
/// `path` seen from the current directory; an absolute path stays the same place.
/// Throws `std::bad_alloc`.
SystemError MakeAbsolute(const std::string& path, std::string& absolute);
/// The file that this process was started from, with all its directories. Throws
/// `std::bad_alloc`.
SystemError ExecutablePath(std::string& path);

// Processes, threads and libraries

/// The number that the system's own tools show for the calling thread.
std::uint64_t CurrentThreadId() noexcept;
/// Names the calling thread for the system's own tools. What is longer than they take is cut
/// between two characters of the UTF-8 text.
void SetThreadName(const char* name) noexcept;
/// The number of this process.
std::uint64_t CurrentProcessId() noexcept;
/// The bounds of the calling thread's stack; false, leaving them alone, when the
/// system can't say. A thread's first call may take several KB of that stack; the
/// later ones take little and answer the same.
bool CurrentStackLimits(std::uintptr_t& low, std::uintptr_t& high) noexcept;
/// Runs `function` on the calling thread, with a stack of its own of 1 MB. It must not
/// throw. The first call of a process may take several KB of the caller's stack, the
/// later ones take less than 1 KB. False when there is no memory for it.
bool RunOnNewStack(void (*function)(void* argument), void* argument) noexcept;
/// Keeps signals away from the threads that are started while it lives: they are meant
/// for the program's own. Those of a fault of the thread itself still come.
class SignalsBlocked {
public:
    SignalsBlocked() noexcept;
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    // What the calling thread had blocked before.
    std::array<std::uint64_t, 16> before{};
};
/// Whether this system ends a process's other threads before it has the static objects
/// of libraries destroyed.
inline constexpr bool kEndsThreadsFirst = CORE_ENDS_THREADS_FIRST != 0;
/// Whether the process is ending in such a way that its other threads are gone,
/// possibly with locks still held.
bool AskWhetherOtherThreadsAreGone() noexcept;
/// The same, without a call where it is never so.
inline bool OtherThreadsAreGone() noexcept {
    return kEndsThreadsFirst && AskWhetherOtherThreadsAreGone();
}

/// A number that a forked process has one higher than its parent, whose other threads it does
/// not have; from 1 on. It changes while the process has one thread.
inline std::uint32_t processGeneration = 1;

/// Has `before` run before each fork of this process, and one of the others after it, all
/// on the thread that forks. What is registered last runs first before a fork, and last
/// behind it. False when there is no memory; systems that fork no processes never call.
bool OnFork(void (*before)(), void (*inParent)(), void (*inChild)()) noexcept;

/// A value of each thread. When its thread ends, `atEnd` is called there with what is not
/// null: behind the destructors of `thread_local` objects, or, on Windows, when the memory of
/// such objects is gone already, and where a fiber ends that set it. Never destroyed; does
/// nothing where the system has no room for it.
class ThreadEnd {
public:
    explicit ThreadEnd(void (*atEnd)(void* value)) noexcept;
    void Set(void* value) noexcept;

private:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;
    std::uint32_t key = kNone;
};

/// Has the library that this code is in stay loaded to the end of the process, where
/// unloading could not wait for its threads.
void KeepLibraryLoaded() noexcept;

// Crashes

/// A crash, as far as it is known.
struct Crash {
    /// Of the thread that crashed.
    std::uint64_t threadId;
    /// As in "SIGSEGV".
    const char* name;
    /// What could not be accessed or done, where the system says so.
    bool hasAddress;
    std::uintptr_t address;
    /// Where the thread stood, and whence it was called; the innermost first.
    const std::uintptr_t* frames;
    std::size_t frameCount;
    /// Whether nobody handles it behind us: the process ends.
    bool endsProcess;
};
/// What to do in a crash: `save` first, and when the calls are known, `tell`. Neither may
/// take memory or wait for a lock. A crash within `save` or while the calls are looked for
/// goes on with `tell`.
struct CrashHandler {
    void (*save)(std::uint64_t threadId) noexcept;
    void (*tell)(const Crash& crash) noexcept;
    /// The process ends now, in a crash of `threadId` that was told already.
    void (*hold)(std::uint64_t threadId) noexcept;
};
/// Has crashes of the process call `handler`, and then what was there before; gives the
/// calling thread a stack for that where one is needed. Null puts back what was there
/// before. False when the system refuses. One thread at a time.
bool HandleCrashes(const CrashHandler* handler) noexcept;
/// Handles a crash of the calling thread that the system does not know of. What it raises
/// afterwards to end the process is not another one.
void CrashNow(const char* name) noexcept;
/// The file name of the module that has `address`, cut to fit and with a zero byte, and the
/// offset into it; "" where there is none. Takes no memory and waits for no lock.
void FindModule(std::uintptr_t address, char* name, std::size_t room,
                std::uintptr_t& offset) noexcept;

// Libraries

/// Loads a library by the name that the system's loader takes; null, with `error`,
/// when it can't be loaded. An empty name is no library.
void* OpenLibrary(const char* name, SystemError& error) noexcept;
void CloseLibrary(void* library) noexcept;

}  // namespace core::platform
