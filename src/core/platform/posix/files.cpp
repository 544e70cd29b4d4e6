#include "core/platform/platform.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

namespace core::platform {
namespace {

SystemError LastError() noexcept {
    return static_cast<SystemError>(errno);
}

int Descriptor(std::intptr_t handle) noexcept {
    return static_cast<int>(handle);
}

SystemError OpenDescriptor(const std::string& path, int flags, std::intptr_t& handle,
                           mode_t mode = 0666) noexcept {
    int descriptor = open(path.c_str(), flags | O_CLOEXEC, mode);
    if (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        // Of a process that was started without its standard streams: what it prints
        // must not go into the file.
        const int low = descriptor;
        descriptor = fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int error = errno;
        close(low);
        errno = error;
    }
    if (descriptor < 0) {
        return LastError();
    }
    handle = descriptor;
    return 0;
}

/// For reading too, where that is allowed: some file systems lock no other files.
SystemError OpenToLock(const std::string& path, int otherwise, int flags, std::intptr_t& handle,
                       mode_t mode = 0666) noexcept {
    const SystemError error = OpenDescriptor(path, O_RDWR | flags, handle, mode);
    return error == EACCES ? OpenDescriptor(path, otherwise | flags, handle, mode) : error;
}

SystemError SizeOf(std::intptr_t handle, std::uint64_t& size) noexcept {
    struct stat status {};
    if (fstat(Descriptor(handle), &status) != 0) {
        return LastError();
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return 0;
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
    const mode_t mode = access == FileAccess::Private ? 0600 : 0666;
    if (const SystemError error = OpenToLock(path, O_WRONLY, O_APPEND | O_CREAT, handle, mode)) {
        return error;
    }
    // Everybody who writes a file has a share of its lock; who removes it asks for all of
    // it. Where a file system has no locks, nobody removes.
    const bool isBusy = flock(Descriptor(handle), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (isBusy || IsRemoved()) {
        Close();
        return EBUSY;
    }
    return 0;
}

SystemError AppendFile::Write(const void* data, std::size_t size, std::size_t& written) noexcept {
    const ssize_t count = write(Descriptor(handle), data, size);
    written = count > 0 ? static_cast<std::size_t>(count) : 0;
    return count < 0 ? LastError() : 0;
}

SystemError AppendFile::Size(std::uint64_t& size) const noexcept {
    return SizeOf(handle, size);
}

bool AppendFile::IsRemoved() const noexcept {
    struct stat status {};
    return fstat(Descriptor(handle), &status) == 0 && status.st_nlink == 0;
}

SystemError AppendFile::Flush() noexcept {
    return fsync(Descriptor(handle)) == 0 ? 0 : LastError();
}

void AppendFile::Close() noexcept {
    if (IsOpen()) {
        close(Descriptor(std::exchange(handle, kClosed)));
    }
}

ReadFile::~ReadFile() {
    if (handle != kClosed) {
        close(Descriptor(handle));
    }
}

SystemError ReadFile::Open(const std::string& path) noexcept {
    // Not to wait for the other end of a named pipe.
    const SystemError error = OpenDescriptor(path, O_RDONLY | O_NONBLOCK, handle);
    struct stat status {};
    if (error == 0 && fstat(Descriptor(handle), &status) == 0 && S_ISDIR(status.st_mode)) {
        close(Descriptor(std::exchange(handle, kClosed)));
        return EISDIR;
    }
    return error;
}

SystemError ReadFile::Read(std::uint64_t offset, void* data, std::size_t size,
                           std::size_t& read) noexcept {
    read = 0;
    const ssize_t count = pread(Descriptor(handle), data, size, static_cast<off_t>(offset));
    read = count > 0 ? static_cast<std::size_t>(count) : 0;
    return count < 0 ? LastError() : 0;
}

SystemError ReadFile::Size(std::uint64_t& size) const noexcept {
    return SizeOf(handle, size);
}

bool MayPass(SystemError error) noexcept {
    switch (static_cast<int>(error)) {
        case EAGAIN:
        case EBUSY:
        case EDQUOT:
        case EINTR:
        case EMFILE:
        case ENFILE:
        case ENOMEM:
        case ENOSPC:
            return true;
        default:
            return false;
    }
}

bool IsBusy(SystemError error) noexcept {
    return error == EBUSY;
}

void MakeFileSizeLimitAnError() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

SystemError ListDirectory(const std::string& path, std::vector<DirectoryEntry>& entries) {
    entries.clear();
    struct Closer {
        DIR* directory;
        ~Closer() {
            if (directory != nullptr) {
                closedir(directory);
            }
        }
    };
    const Closer opened{opendir(path.c_str())};
    if (opened.directory == nullptr) {
        return LastError();
    }
    for (;;) {
        errno = 0;
        // Safe: no other thread has this directory.
        const dirent* const entry = readdir(opened.directory);  // NOLINT(concurrency-mt-unsafe)
        if (entry == nullptr) {
            return LastError();
        }
        std::string name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        bool isDirectory = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
            struct stat status {};
            isDirectory = fstatat(dirfd(opened.directory), name.c_str(), &status, 0) == 0 &&
                          S_ISDIR(status.st_mode);
        }
        entries.push_back({std::move(name), isDirectory});
    }
}

SystemError MakeDirectory(const std::string& path) noexcept {
    return mkdir(path.c_str(), 0777) == 0 ? 0 : LastError();
}

SystemError RemoveFileUnlessOpen(const std::string& path) noexcept {
    std::intptr_t handle = -1;
    const SystemError error = OpenToLock(path, O_RDONLY, O_NONBLOCK, handle);
    // What can't be found may be a link that leads nowhere.
    if (error != 0 && error != ENOENT) {
        return error;
    }
    if (error == 0 && flock(Descriptor(handle), LOCK_EX | LOCK_NB) != 0) {
        const SystemError isLocked = LastError();
        close(Descriptor(handle));
        return isLocked;
    }
    const SystemError removal = unlink(path.c_str()) == 0 ? 0 : LastError();
    if (error == 0) {
        close(Descriptor(handle));
    }
    return removal;
}

bool Exists(const std::string& path) noexcept {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

bool IsDirectory(const std::string& path) noexcept {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsRegularFile(const std::string& path) noexcept {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

SystemError ResolveLinks(const std::string& path, std::string& resolved) {
    const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
    if (real == nullptr) {
        return LastError();
    }
    resolved = real.get();
    return 0;
}

SystemError CopyPermissions(const std::string& from, const std::string& to) noexcept {
    struct stat status {};
    if (stat(from.c_str(), &status) != 0) {
        return LastError();
    }
    return chmod(to.c_str(), status.st_mode & 07777) == 0 ? 0 : LastError();
}

SystemError MoveOver(const std::string& from, const std::string& to) noexcept {
    if (rename(from.c_str(), to.c_str()) != 0) {
        return LastError();
    }
    // The name is kept in the directory. Some file systems can't flush one: the file is in
    // its place all the same.
    try {
        const std::size_t separator = to.rfind('/');
        const std::string directory =
            separator == std::string::npos ? "." : to.substr(0, separator + 1);
        std::intptr_t handle = -1;
        if (OpenDescriptor(directory, O_RDONLY | O_DIRECTORY, handle) == 0) {
            fsync(Descriptor(handle));
            close(Descriptor(handle));
        }
    } catch (const std::bad_alloc&) {
    }
    return 0;
}

bool IsPathSeparator(char c) noexcept {
    return c == '/';
}

char PathSeparator() noexcept {
    return '/';
}

SystemError MakeAbsolute(const std::string& path, std::string& absolute) {
    if (!path.empty() && path.front() == '/') {
        absolute = path;
        return 0;
    }
    std::string current(256, '\0');
    while (getcwd(current.data(), current.size()) == nullptr) {
        if (errno != ERANGE) {
            return LastError();
        }
        current.resize(2 * current.size());
    }
    current.resize(current.find('\0'));
    if (current.back() != '/') {
        current += '/';
    }
    absolute = current + path;
    return 0;
}

SystemError ExecutablePath(std::string& path) {
    std::string target(256, '\0');
    for (;;) {
        const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
        if (length < 0) {
            return LastError();
        }
        if (static_cast<std::size_t>(length) < target.size()) {
            target.resize(static_cast<std::size_t>(length));
            path = std::move(target);
            return 0;
        }
        target.resize(2 * target.size());
    }
}

}  // namespace core::platform
