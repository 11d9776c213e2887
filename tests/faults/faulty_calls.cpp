// SPDX-License-Identifier: Apache-2.0
//
// A library for LD_PRELOAD: the system calls of a program on some files fail as a FaultControl says. What the C library
// does inside a function of its own is not seen, so fopen, opendir, fread and realpath fail as a whole.
#include "FaultControl.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using srcwatch_test::CallKind;
using srcwatch_test::FaultControl;

// As the environment says. Made at the first call, which other libraries make before this one's constructors run.
struct Setup {
    Setup();

    FaultControl* control = nullptr;
    const char* paths = "";
    const char* stores = "";
};

Setup::Setup()
{
    const char* const name = std::getenv(srcwatch_test::kFaultControlVariable);
    const long file = name == nullptr ? -1 : syscall(SYS_openat, AT_FDCWD, name, O_RDWR | O_CLOEXEC);
    if (file < 0) return;
    const long memory = syscall(SYS_mmap, nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): as the kernel returns it
    if (memory > 0) control = reinterpret_cast<FaultControl*>(memory);
    syscall(SYS_close, file);
    if (const char* list = std::getenv(srcwatch_test::kFaultPathsVariable)) paths = list;
    if (const char* list = std::getenv(srcwatch_test::kFaultStoresVariable)) stores = list;
}

const Setup& TheSetup()
{
    static const Setup setup;
    return setup;
}

bool IsArmed() { return TheSetup().control != nullptr && TheSetup().control->isArmed != 0; }

// Returns true if a path is one of a list, or in one of its directories.
bool IsIn(const char* list, const char* path)
{
    while (*list != '\0') {
        const std::size_t length = std::strcspn(list, ":");
        if (std::strncmp(path, list, length) == 0 && (path[length] == '/' || path[length] == '\0')) return true;
        list += length + (list[length] == ':' ? 1 : 0);
    }
    return false;
}

// What the kernel and the file systems report for calls of a kind. Access is denied only where it may be granted again
// without a notice.
bool MayMeet(CallKind kind, int error, bool isStore)
{
    switch (error) {
        case EIO:
            return kind != CallKind::kMap && kind != CallKind::kWatch && kind != CallKind::kWatchQueue;
        case ENOSPC:
            return kind == CallKind::kCreate || kind == CallKind::kWrite || kind == CallKind::kSync ||
                   kind == CallKind::kResize || kind == CallKind::kAddName || kind == CallKind::kWatch;
        case ENOMEM:
            return kind != CallKind::kLock && kind != CallKind::kSync && kind != CallKind::kResize;
        case EMFILE:
            return kind == CallKind::kOpen || kind == CallKind::kCreate || kind == CallKind::kList ||
                   kind == CallKind::kWatchQueue;
        case ENOLCK:
            return kind == CallKind::kLock;
        case EACCES:
            return isStore && (kind == CallKind::kOpen || kind == CallKind::kCreate || kind == CallKind::kExamine ||
                               kind == CallKind::kChange || kind == CallKind::kAddName || kind == CallKind::kWatch);
        default:
            return error == srcwatch_test::kHang;
    }
}

std::int64_t NowMs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{1000} * now.tv_sec + now.tv_nsec / 1000000;
}

bool IsDue(FaultControl& control, int number)
{
    if (control.first == 0 || number < control.first) return false;
    if (control.length > 0) return number < control.first + control.length;
    return control.firstFailureMs == 0 || NowMs() < control.firstFailureMs + control.milliseconds;
}

// Returns true, with errno set, if a call is to fail.
bool Fails(CallKind kind, const char* name, const char* path)
{
    if (!IsArmed() || !IsIn(TheSetup().paths, path)) return false;
    FaultControl& control = *TheSetup().control;
    if (!MayMeet(kind, control.error, IsIn(TheSetup().stores, path))) return false;
    if (!IsDue(control, ++control.calls)) return false;
    control.lastFailureMs = NowMs();
    if (control.failed++ == 0) {
        control.firstFailureMs = NowMs();
        // A longer path is cut.
        static_cast<void>(std::snprintf(control.where, sizeof control.where, "%s %s", name, path));
    }
    while (control.error == srcwatch_test::kHang) pause();
    errno = control.error;
    return true;
}

bool FailsOn(CallKind kind, const char* name, int file)
{
    if (!IsArmed()) return false;
    char link[64];
    char path[PATH_MAX + 1];
    static_cast<void>(std::snprintf(link, sizeof link, "/proc/self/fd/%d", file));  // long enough
    const long length = syscall(SYS_readlink, link, path, PATH_MAX);
    if (length < 0) return false;
    path[length] = '\0';
    return Fails(kind, name, path);
}

// A path as the program names it, made absolute where the call has a directory of its own.
bool FailsAt(CallKind kind, const char* name, int directory, const char* path)
{
    return path[0] == '/' || directory == AT_FDCWD ? Fails(kind, name, path) : FailsOn(kind, name, directory);
}

template <typename Function>
Function* Next(Function*, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int Open(int directory, const char* path, int flags, mode_t mode)
{
    const CallKind kind = (flags & O_CREAT) != 0 ? CallKind::kCreate : CallKind::kOpen;
    if (FailsAt(kind, "open", directory, path)) return -1;
    return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

ssize_t Read(int file, void* bytes, std::size_t size)
{
    return FailsOn(CallKind::kRead, "read", file) ? -1 : syscall(SYS_read, file, bytes, size);
}

ssize_t ReadAt(int file, void* bytes, std::size_t size, off_t offset)
{
    return FailsOn(CallKind::kRead, "pread64", file) ? -1 : syscall(SYS_pread64, file, bytes, size, offset);
}

ssize_t WriteAt(int file, const void* bytes, std::size_t size, off_t offset)
{
    return FailsOn(CallKind::kWrite, "pwrite64", file) ? -1 : syscall(SYS_pwrite64, file, bytes, size, offset);
}

int Resize(int file, off_t size)
{
    return FailsOn(CallKind::kResize, "ftruncate", file) ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, size));
}

// Locks; releasing one does not fail.
int Control(int file, int command, void* argument)
{
    const bool isLock = command == F_GETLK || ((command == F_SETLK || command == F_SETLKW) &&
                                               static_cast<const struct flock*>(argument)->l_type != F_UNLCK);
    if (isLock && FailsOn(CallKind::kLock, "fcntl", file)) return -1;
    return static_cast<int>(syscall(SYS_fcntl, file, command, argument));
}

void* Map(void* address, std::size_t size, int protection, int flags, int file, off_t offset)
{
    if (file >= 0 && FailsOn(CallKind::kMap, "mmap", file)) return MAP_FAILED;
    const long mapped = syscall(SYS_mmap, address, size, protection, flags, file, offset);
    return reinterpret_cast<void*>(mapped);  // NOLINT(performance-no-int-to-ptr): as the kernel returns it
}

int Examine(const char* name, int directory, const char* path, struct stat* status, int flags)
{
    if (FailsAt(CallKind::kExamine, name, directory, path)) return -1;
    return static_cast<int>(syscall(SYS_newfstatat, directory, path, status, flags));
}

int ExamineOpen(int file, struct stat* status)
{
    return FailsOn(CallKind::kExamine, "fstat", file) ? -1 : static_cast<int>(syscall(SYS_fstat, file, status));
}

template <typename... Arguments>
int Call(CallKind kind, const char* name, const char* path, long number, Arguments... arguments)
{
    return Fails(kind, name, path) ? -1 : static_cast<int>(syscall(number, arguments...));
}

template <typename... Arguments>
int CallOn(CallKind kind, const char* name, int file, long number, Arguments... arguments)
{
    return FailsOn(kind, name, file) ? -1 : static_cast<int>(syscall(number, arguments...));
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

// NOLINTBEGIN(cert-dcl50-cpp): as the C library declares them
int open(const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return Open(AT_FDCWD, path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return Open(directory, path, flags, mode);
}

int fcntl(int file, int command, ...)
{
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return Control(file, command, argument);
}
// NOLINTEND(cert-dcl50-cpp)

ssize_t read(int file, void* bytes, std::size_t size) { return Read(file, bytes, size); }
ssize_t pread(int file, void* bytes, std::size_t size, off_t at) { return ReadAt(file, bytes, size, at); }
ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t at) { return WriteAt(file, bytes, size, at); }
int ftruncate(int file, off_t size) noexcept { return Resize(file, size); }
int fstat(int file, struct stat* status) noexcept { return ExamineOpen(file, status); }

ssize_t write(int file, const void* bytes, std::size_t size)
{
    return FailsOn(CallKind::kWrite, "write", file) ? -1 : syscall(SYS_write, file, bytes, size);
}

int stat(const char* path, struct stat* status) noexcept { return Examine("stat", AT_FDCWD, path, status, 0); }

int lstat(const char* path, struct stat* status) noexcept
{
    return Examine("lstat", AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

void* mmap(void* address, std::size_t size, int protection, int flags, int file, off_t at) noexcept
{
    return Map(address, size, protection, flags, file, at);
}

// The same functions by the names that they have for large files.
int open64(const char* path, int flags, ...) __attribute__((alias("open")));
int openat64(int directory, const char* path, int flags, ...) __attribute__((alias("openat")));
int fcntl64(int file, int command, ...) __attribute__((alias("fcntl")));
ssize_t pread64(int file, void* bytes, std::size_t size, off64_t at) __attribute__((alias("pread")));
ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t at) __attribute__((alias("pwrite")));
int ftruncate64(int file, off64_t size) noexcept __attribute__((alias("ftruncate")));

int stat64(const char* path, struct stat64* status) noexcept
{
    return Examine("stat", AT_FDCWD, path, reinterpret_cast<struct stat*>(status), 0);
}

int lstat64(const char* path, struct stat64* status) noexcept
{
    return Examine("lstat", AT_FDCWD, path, reinterpret_cast<struct stat*>(status), AT_SYMLINK_NOFOLLOW);
}

int fstat64(int file, struct stat64* status) noexcept
{
    return ExamineOpen(file, reinterpret_cast<struct stat*>(status));
}

void* mmap64(void* address, std::size_t size, int protection, int flags, int file, off64_t at) noexcept
{
    return Map(address, size, protection, flags, file, at);
}

int fsync(int file) { return CallOn(CallKind::kSync, "fsync", file, SYS_fsync, file); }
int fdatasync(int file) { return CallOn(CallKind::kSync, "fdatasync", file, SYS_fdatasync, file); }
int flock(int file, int operation) noexcept  // NOLINT(clang-diagnostic-shadow)
{
    if ((operation & LOCK_UN) != 0) return static_cast<int>(syscall(SYS_flock, file, operation));
    return CallOn(CallKind::kLock, "flock", file, SYS_flock, file, operation);
}
int fchmod(int file, mode_t mode) noexcept { return CallOn(CallKind::kChange, "fchmod", file, SYS_fchmod, file, mode); }
int fchown(int file, uid_t user, gid_t group) noexcept
{
    return CallOn(CallKind::kChange, "fchown", file, SYS_fchown, file, user, group);
}

int unlink(const char* path) noexcept { return Call(CallKind::kChange, "unlink", path, SYS_unlink, path); }
int mkdir(const char* path, mode_t mode) noexcept
{
    return Call(CallKind::kAddName, "mkdir", path, SYS_mkdir, path, mode);
}
int rename(const char* from, const char* to) noexcept
{
    return Call(CallKind::kAddName, "rename", from, SYS_rename, from, to);
}
int access(const char* path, int mode) noexcept
{
    return Call(CallKind::kExamine, "access", path, SYS_access, path, mode);
}

int utimensat(int directory, const char* path, const timespec times[2], int flags) noexcept
{
    return Call(CallKind::kChange, "utimensat", path, SYS_utimensat, directory, path, times, flags);
}

ssize_t readlink(const char* path, char* target, std::size_t size) noexcept
{
    return Fails(CallKind::kExamine, "readlink", path) ? -1 : syscall(SYS_readlink, path, target, size);
}

int inotify_add_watch(int file, const char* path, std::uint32_t events) noexcept
{
    return Call(CallKind::kWatch, "inotify_add_watch", path, SYS_inotify_add_watch, file, path, events);
}

// Its directory is not known yet; all of a program are for the files that count.
int inotify_init1(int flags) noexcept
{
    const std::size_t length = std::strcspn(TheSetup().paths, ":");
    char path[PATH_MAX];
    static_cast<void>(std::snprintf(path, sizeof path, "%.*s", static_cast<int>(length), TheSetup().paths));  // or cut
    return Call(CallKind::kWatchQueue, "inotify_init1", path, SYS_inotify_init1, flags);
}

int faccessat(int directory, const char* path, int mode, int flags) noexcept
{
    static const auto next = Next(faccessat, "faccessat");
    return FailsAt(CallKind::kExamine, "faccessat", directory, path) ? -1 : next(directory, path, mode, flags);
}

char* realpath(const char* path, char* resolved) noexcept
{
    static const auto next = Next(realpath, "realpath");
    return Fails(CallKind::kExamine, "realpath", path) ? nullptr : next(path, resolved);
}

DIR* opendir(const char* path)
{
    static const auto next = Next(opendir, "opendir");
    return Fails(CallKind::kList, "opendir", path) ? nullptr : next(path);
}

dirent* readdir(DIR* directory)
{
    static const auto next = Next(readdir, "readdir");
    return FailsOn(CallKind::kRead, "readdir", dirfd(directory)) ? nullptr : next(directory);
}

FILE* fopen64(const char* path, const char* mode)
{
    static const auto next = Next(fopen64, "fopen64");
    return Fails(CallKind::kOpen, "fopen", path) ? nullptr : next(path, mode);
}

std::size_t fread(void* bytes, std::size_t size, std::size_t count, FILE* file)
{
    static const auto next = Next(fread, "fread");
    if (!FailsOn(CallKind::kRead, "fread", fileno(file))) return next(bytes, size, count, file);
    constexpr int kErrorSeen = 0x20;  // the C library's own mark, which ferror() looks for
    file->_flags |= kErrorSeen;
    return 0;
}
}
