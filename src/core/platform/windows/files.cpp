#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <sddl.h>
#include <algorithm>
#include <new>
#include <utility>

namespace core::platform {
namespace {

SystemError LastError() noexcept {
    // A failure without a code must not look like success.
    const DWORD error = GetLastError();
    return error != 0 ? error : ERROR_GEN_FAILURE;
}

HANDLE HandleOf(std::intptr_t handle) noexcept {
    return reinterpret_cast<HANDLE>(handle);
}

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

SystemError OpenHandle(const std::string& path, DWORD access, DWORD share, DWORD disposition,
                       std::intptr_t& handle, SECURITY_ATTRIBUTES* security = nullptr) noexcept {
    const HANDLE opened = CreateFileW(WidePath(path).c_str(), access, share, security, disposition,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        return LastError();
    }
    handle = reinterpret_cast<std::intptr_t>(opened);
    return 0;
}

SystemError SizeOf(std::intptr_t handle, std::uint64_t& size) noexcept {
    LARGE_INTEGER answer{};
    if (GetFileSizeEx(HandleOf(handle), &answer) == 0) {
        return LastError();
    }
    size = static_cast<std::uint64_t>(answer.QuadPart);
    return 0;
}

// mingw-w64's headers leave this one out.
constexpr SystemError kDiskQuotaExceeded = 1295;

// One call moves no more than fits its 32-bit count.
DWORD CountFor(std::size_t size) noexcept {
    constexpr std::size_t kMostPerCall = std::size_t{1} << 30;
    return static_cast<DWORD>(std::min(size, kMostPerCall));
}

}  // namespace

AppendFile::AppendFile(AppendFile&& other) noexcept
    : handle(std::exchange(other.handle, kClosed)) {}

AppendFile& AppendFile::operator=(AppendFile&& other) noexcept {
    if (this != &other) {
        Close();
        handle = std::exchange(other.handle, kClosed);
    }
    return *this;
}

AppendFile::~AppendFile() {
    Close();
}

SystemError AppendFile::Open(const std::string& path, FileAccess access) noexcept {
    Close();
    SECURITY_ATTRIBUTES security{sizeof security, nullptr, FALSE};
    // All rights to the owner, none to others, and none from the directory.
    if (access == FileAccess::Private &&
        ConvertStringSecurityDescriptorToSecurityDescriptorW(
            L"D:P(A;;FA;;;OW)", SDDL_REVISION_1, &security.lpSecurityDescriptor, nullptr) == 0) {
        return LastError();
    }
    // Without the right to write elsewhere, every write goes to the end.
    const SystemError error =
        OpenHandle(path, FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE, kShareAll,
                   OPEN_ALWAYS, handle, &security);
    LocalFree(security.lpSecurityDescriptor);
    return error;
}

SystemError AppendFile::Write(const void* data, std::size_t size, std::size_t& written) noexcept {
    DWORD count = 0;
    const BOOL isWritten = WriteFile(HandleOf(handle), data, CountFor(size), &count, nullptr);
    written = count;
    return isWritten != 0 ? 0 : LastError();
}

SystemError AppendFile::Size(std::uint64_t& size) const noexcept {
    return SizeOf(handle, size);
}

bool AppendFile::IsRemoved() const noexcept {
    FILE_STANDARD_INFO info{};
    return GetFileInformationByHandleEx(HandleOf(handle), FileStandardInfo, &info, sizeof info) !=
               0 &&
           (info.DeletePending != 0 || info.NumberOfLinks == 0);
}

SystemError AppendFile::Flush() noexcept {
    return FlushFileBuffers(HandleOf(handle)) != 0 ? 0 : LastError();
}

void AppendFile::Close() noexcept {
    if (IsOpen()) {
        CloseHandle(HandleOf(std::exchange(handle, kClosed)));
    }
}

ReadFile::~ReadFile() {
    if (handle != kClosed) {
        CloseHandle(HandleOf(handle));
    }
}

SystemError ReadFile::Open(const std::string& path) noexcept {
    return OpenHandle(path, GENERIC_READ, kShareAll, OPEN_EXISTING, handle);
}

SystemError ReadFile::Read(std::uint64_t offset, void* data, std::size_t size,
                           std::size_t& read) noexcept {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD count = 0;
    const BOOL isRead = ::ReadFile(HandleOf(handle), data, CountFor(size), &count, &place);
    read = count;
    if (isRead != 0 || GetLastError() == ERROR_HANDLE_EOF) {
        return 0;
    }
    return LastError();
}

SystemError ReadFile::Size(std::uint64_t& size) const noexcept {
    return SizeOf(handle, size);
}

bool MayPass(SystemError error) noexcept {
    switch (error) {
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
        case kDiskQuotaExceeded:
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_SHARING_VIOLATION:
        case ERROR_TOO_MANY_OPEN_FILES:
            return true;
        default:
            return false;
    }
}

bool IsBusy(SystemError error) noexcept {
    return error == ERROR_SHARING_VIOLATION;
}

void MakeFileSizeLimitAnError() noexcept {
    // Always so.
}

SystemError ListDirectory(const std::string& path, std::vector<DirectoryEntry>& entries) {
    entries.clear();
    struct Closer {
        HANDLE search;
        ~Closer() {
            if (search != INVALID_HANDLE_VALUE) {
                FindClose(search);
            }
        }
    };
    std::wstring pattern = WidePath(path);
    // Some paths must not have two separators in a row.
    pattern.erase(pattern.find_last_not_of(L"\\/") + 1);
    pattern += L"\\*";
    WIN32_FIND_DATAW found{};
    const Closer opened{FindFirstFileW(pattern.c_str(), &found)};
    if (opened.search == INVALID_HANDLE_VALUE) {
        return LastError();
    }
    do {
        DirectoryEntry entry{{}, (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0};
        if (ToNarrow(found.cFileName, NarrowEncoding::Utf8, entry.name) && entry.name != "." &&
            entry.name != "..") {
            entries.push_back(std::move(entry));
        }
    } while (FindNextFileW(opened.search, &found) != 0);
    return GetLastError() == ERROR_NO_MORE_FILES ? 0 : LastError();
}

SystemError MakeDirectory(const std::string& path) noexcept {
    return CreateDirectoryW(WidePath(path).c_str(), nullptr) != 0 ? 0 : LastError();
}

SystemError RemoveFileUnlessOpen(const std::string& path) noexcept {
    // Not shared with writers: the system refuses it while there are any.
    std::intptr_t handle = 0;
    if (const SystemError error =
            OpenHandle(path, DELETE, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING, handle)) {
        return error;
    }
    FILE_DISPOSITION_INFO removal{TRUE};
    const BOOL isRemoved =
        SetFileInformationByHandle(HandleOf(handle), FileDispositionInfo, &removal, sizeof removal);
    const SystemError error = isRemoved != 0 ? 0 : LastError();
    CloseHandle(HandleOf(handle));
    return error;
}

bool Exists(const std::string& path) noexcept {
    return GetFileAttributesW(WidePath(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsDirectory(const std::string& path) noexcept {
    const DWORD attributes = GetFileAttributesW(WidePath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsRegularFile(const std::string& path) noexcept {
    const DWORD attributes = GetFileAttributesW(WidePath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
}

SystemError ResolveLinks(const std::string& path, std::string& resolved) {
    resolved = path;
    return 0;
}

SystemError CopyPermissions(const std::string&, const std::string&) noexcept {
    // A new file has those of its directory.
    return 0;
}

SystemError MoveOver(const std::string& from, const std::string& to) noexcept {
    return MoveFileExW(WidePath(from).c_str(), WidePath(to).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0
               ? 0
               : LastError();
}

bool IsPathSeparator(char c) noexcept {
    return c == '\\' || c == '/';
}

char PathSeparator() noexcept {
    return '\\';
}

SystemError MakeAbsolute(const std::string& path, std::string& absolute) {
    const std::wstring wide = WidePath(path.empty() ? "." : path);
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) {
            return LastError();
        }
        if (length < full.size()) {
            full.resize(length);
            return ToNarrow(full, NarrowEncoding::Utf8, absolute) ? 0 : ERROR_INVALID_NAME;
        }
        full.resize(length + 1U);
    }
}

SystemError ExecutablePath(std::string& path) {
    wchar_t name[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, name, MAX_PATH);
    if (length == 0) {
        return LastError();
    }
    return ToNarrow(std::wstring_view(name, length), NarrowEncoding::Utf8, path)
               ? 0
               : ERROR_INVALID_NAME;
}

}  // namespace core::platform
