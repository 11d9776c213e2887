// SPDX-License-Identifier: Apache-2.0
#include "FileRecorder.h"

#include <array>
#include <cstdarg>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Kind = srcwatch_test::FileEvent::Kind;

constexpr std::size_t kCapacity = std::size_t{256} * 1024 * 1024;
constexpr std::size_t kNameSize = 64;

struct Header {
    std::uint64_t used;  // bytes after the header
};

// In the memory, followed by size bytes.
struct Entry {
    Kind kind;
    char file[kNameSize];
    std::uint64_t offset;
    std::uint64_t size;
};

char* g_memory = nullptr;  // of the recording in progress
std::string& Directory()
{
    static std::string& directory = *new std::string;
    return directory;
}

struct Name {
    char text[kNameSize];
};
std::array<Name, 1024> g_names;  // of the open files, by descriptor

void Append(Kind kind, const char* file, std::uint64_t offset, const void* bytes, std::size_t size)
{
    Header& header = *reinterpret_cast<Header*>(g_memory);
    Entry entry = {kind, {}, offset, size};
    std::strncpy(entry.file, file, kNameSize - 1);
    if (sizeof header + header.used + sizeof entry + size > kCapacity) abort();
    char* const end = g_memory + sizeof header + header.used;
    std::memcpy(end, &entry, sizeof entry);
    if (size > 0) std::memcpy(end + sizeof entry, bytes, size);
    header.used += sizeof entry + size;
}

// The name of a recorded file, without its directory; null for all others.
const char* NameOf(const char* path)
{
    if (g_memory == nullptr || path == nullptr) return nullptr;
    const std::string& directory = Directory();
    if (std::strncmp(path, directory.c_str(), directory.size()) != 0) return nullptr;
    const char* const rest = path + directory.size();
    if (*rest == '\0') return srcwatch_test::kDirectoryItself;
    return *rest == '/' ? rest + 1 : nullptr;
}

const char* NameOf(int file)
{
    if (g_memory == nullptr || file < 0 || static_cast<std::size_t>(file) >= g_names.size()) return nullptr;
    const char* name = g_names[static_cast<std::size_t>(file)].text;
    return *name != '\0' ? name : nullptr;
}

// The path of a file in the open directory; as it is given where that is not the one that is recorded.
std::string PathIn(int directory, const char* path)
{
    const char* name = NameOf(directory);
    const bool isRecorded = name != nullptr && *path != '/' && std::strcmp(name, srcwatch_test::kDirectoryItself) == 0;
    return isRecorded ? Directory() + '/' + path : path;
}

int Open(int directory, const char* path, int flags, mode_t mode)
{
    const std::string whole = PathIn(directory, path);
    const char* name = NameOf(whole.c_str());
    const bool isNew = name != nullptr && (flags & O_CREAT) != 0 && syscall(SYS_access, whole.c_str(), F_OK) != 0;
    const long file = syscall(SYS_openat, directory, path, flags, mode);
    if (file < 0 || static_cast<std::size_t>(file) >= g_names.size()) return static_cast<int>(file);
    Name& slot = g_names[static_cast<std::size_t>(file)];
    slot.text[0] = '\0';
    if (name != nullptr) std::strncpy(slot.text, name, kNameSize - 1);
    if (isNew) Append(Kind::kCreate, name, 0, nullptr, 0);
    return static_cast<int>(file);
}

ssize_t Write(int file, const void* bytes, std::size_t size, off_t offset)
{
    const ssize_t written = syscall(SYS_pwrite64, file, bytes, size, offset);
    const char* name = NameOf(file);
    if (name != nullptr && written > 0)
        Append(Kind::kWrite, name, static_cast<std::uint64_t>(offset), bytes, static_cast<std::size_t>(written));
    return written;
}

int Truncate(int file, off_t size)
{
    const long result = syscall(SYS_ftruncate, file, size);
    const char* name = NameOf(file);
    if (name != nullptr && result == 0) Append(Kind::kTruncate, name, static_cast<std::uint64_t>(size), nullptr, 0);
    return static_cast<int>(result);
}

int Sync(long call, int file)
{
    const long result = syscall(call, file);
    const char* name = NameOf(file);
    if (name != nullptr && result == 0) Append(Kind::kSync, name, 0, nullptr, 0);
    return static_cast<int>(result);
}

mode_t ModeOf(int flags, va_list arguments) { return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0; }

}  // namespace

extern "C" {
#define RECORDED __attribute__((visibility("default")))

RECORDED int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(AT_FDCWD, path, flags, mode);
}

RECORDED int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(AT_FDCWD, path, flags, mode);
}

RECORDED int openat(int directory, const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(directory, path, flags, mode);
}

RECORDED ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t offset)
{
    return Write(file, bytes, size, offset);
}

RECORDED ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t offset)
{
    return Write(file, bytes, size, offset);
}

RECORDED ssize_t write(int file, const void* bytes, std::size_t size)
{
    if (NameOf(file) != nullptr) abort();  // nothing that is recorded is written so
    return syscall(SYS_write, file, bytes, size);
}

RECORDED int ftruncate(int file, off_t size) noexcept { return Truncate(file, size); }

RECORDED int ftruncate64(int file, off64_t size) noexcept { return Truncate(file, size); }

RECORDED int fsync(int file) { return Sync(SYS_fsync, file); }

RECORDED int fdatasync(int file) { return Sync(SYS_fdatasync, file); }

RECORDED int unlink(const char* path) noexcept
{
    const long result = syscall(SYS_unlink, path);
    const char* name = NameOf(path);
    if (name != nullptr && result == 0) Append(Kind::kRemove, name, 0, nullptr, 0);
    return static_cast<int>(result);
}

RECORDED int rename(const char* from, const char* to) noexcept
{
    const long result = syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0);
    const char* before = NameOf(from);
    const char* name = NameOf(to);
    if (before != nullptr && name != nullptr && result == 0)
        Append(Kind::kRename, name, 0, before, std::strlen(before));
    return static_cast<int>(result);
}
}

namespace srcwatch_test {

FileRecording::FileRecording()
    : m_memory(mmap(nullptr, kCapacity, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
{
    if (m_memory == MAP_FAILED) throw std::runtime_error("no memory for a recording");
}

FileRecording::~FileRecording() { munmap(m_memory, kCapacity); }

void FileRecording::Begin(const std::string& directory)
{
    Directory() = directory;
    g_memory = static_cast<char*>(m_memory);
}

void FileRecording::Note(int number) { Append(Kind::kNote, "", static_cast<std::uint64_t>(number), nullptr, 0); }

std::vector<FileEvent> FileRecording::Events() const
{
    const char* at = static_cast<const char*>(m_memory);
    Header header = {};
    std::memcpy(&header, at, sizeof header);
    at += sizeof header;
    const char* const end = at + header.used;
    std::vector<FileEvent> events;
    while (at < end) {
        Entry entry = {};
        std::memcpy(&entry, at, sizeof entry);
        at += sizeof entry;
        events.push_back({entry.kind, entry.file, entry.offset, std::string(at, entry.size)});
        at += entry.size;
    }
    return events;
}

}  // namespace srcwatch_test
