// SPDX-License-Identifier: Apache-2.0
#include "FileAccess.h"

#include "Leaked.h"
#include "WriteSignals.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <utility>

#include <unistd.h>

namespace host {
namespace {

constexpr const char* kName = "srcwatch-settings";

std::atomic<unsigned> g_failedReads{0};

thread_local WaitLimit::MayWait g_mayWait = nullptr;
thread_local void* g_waiter = nullptr;

// What follows SQLite's own part of an open file.
struct Tail {
    sqlite3_io_methods methods;
    const sqlite3_io_methods* base;
};

// SQLite's access to files, with some functions replaced.
struct FileAccess {
    FileAccess();

    sqlite3_vfs* base;
    std::size_t tailOffset;
    sqlite3_vfs vfs;
};

Tail& TailOf(sqlite3_file* file)
{
    char* bytes = reinterpret_cast<char*>(file) + Leaked<FileAccess>().tailOffset;
    return *static_cast<Tail*>(static_cast<void*>(bytes));
}

const sqlite3_io_methods& BaseOf(sqlite3_file* file) { return *TailOf(file).base; }

// Deliberate: SQLite's code for a file system that reports damage becomes that of a plain read error, as SQLite would
// take it for damage of the database, and move a sound one aside.
int Read(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset)
{
    const int result = BaseOf(file).xRead(file, bytes, count, offset);
    if (result == SQLITE_OK || result == SQLITE_IOERR_SHORT_READ) return result;
    g_failedReads++;
    return SQLITE_IOERR_READ;
}

template <typename Call>
int WithoutSignals(Call call)
{
    const WriteSignalsHeld held;
    const int result = call();
    if (result != SQLITE_OK) held.Consume();
    return result;
}

int Write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset)
{
    return WithoutSignals([=] { return BaseOf(file).xWrite(file, bytes, count, offset); });
}

int Truncate(sqlite3_file* file, sqlite3_int64 size)
{
    return WithoutSignals([=] { return BaseOf(file).xTruncate(file, size); });
}

// Lengthens the index of the log, also for a reader.
int MapIndex(sqlite3_file* file, int region, int size, int isToExtend, void volatile** memory)
{
    return WithoutSignals([=] { return BaseOf(file).xShmMap(file, region, size, isToExtend, memory); });
}

// A journal that names a second one would have SQLite delete that, which may be any file.
int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags)
{
    file->pMethods = nullptr;
    if ((flags & SQLITE_OPEN_SUPER_JOURNAL) != 0) return SQLITE_CANTOPEN;

    sqlite3_vfs* base = Leaked<FileAccess>().base;
    const int result = base->xOpen(base, name, file, flags, outFlags);
    if (file->pMethods == nullptr) return result;

    Tail& tail = TailOf(file);
    tail.base = file->pMethods;
    tail.methods = *file->pMethods;
    tail.methods.xRead = Read;
    tail.methods.xWrite = Write;
    tail.methods.xTruncate = Truncate;
    tail.methods.xShmMap = MapIndex;
    file->pMethods = &tail.methods;
    return result;
}

// SQLite opens files without following links; this keeps it from doing so beforehand.
int KeepPath(sqlite3_vfs*, const char* name, int size, char* path)
{
    const std::size_t length = std::strlen(name);
    if (length >= static_cast<std::size_t>(size)) return SQLITE_CANTOPEN;
    std::memcpy(path, name, length + 1);
    return SQLITE_OK;
}

int Sleep(sqlite3_vfs*, int microseconds)
{
    if (g_mayWait != nullptr && !g_mayWait(g_waiter)) return 0;
    sqlite3_vfs* base = Leaked<FileAccess>().base;
    return base->xSleep(base, microseconds);
}

FileAccess::FileAccess() : base(LoadSqlite()->vfs_find("unix")), tailOffset(0), vfs(*base)
{
    tailOffset = (static_cast<std::size_t>(base->szOsFile) + alignof(Tail) - 1) / alignof(Tail) * alignof(Tail);
    vfs.zName = kName;
    vfs.szOsFile = static_cast<int>(tailOffset + sizeof(Tail));
    vfs.pNext = nullptr;
    vfs.xOpen = Open;
    vfs.xFullPathname = KeepPath;
    vfs.xSleep = Sleep;
}

}  // namespace

const char* UseFileAccess(const Sqlite& api)
{
    static_cast<void>(api.vfs_register(&Leaked<FileAccess>().vfs, 0));  // without memory, it is unknown when it is used
    return kName;
}

unsigned FailedReads() { return g_failedReads; }

WaitLimit::WaitLimit(MayWait mayWait, void* user)
{
    g_mayWait = mayWait;
    g_waiter = user;
}

WaitLimit::~WaitLimit() { g_mayWait = nullptr; }

RawFile::RawFile(std::string path) : m_path(std::move(path))
{
    sqlite3_vfs* vfs = Leaked<FileAccess>().base;
    m_memory =
        std::make_unique<std::max_align_t[]>(static_cast<std::size_t>(vfs->szOsFile) / sizeof(std::max_align_t) + 1);
    m_file = reinterpret_cast<sqlite3_file*>(m_memory.get());
    const int opened = vfs->xOpen(vfs, m_path.c_str(), m_file, SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_READONLY, nullptr);
    if (opened == SQLITE_OK) {
        sqlite3_int64 size = 0;
        m_hasReadError = m_file->pMethods->xFileSize(m_file, &size) != SQLITE_OK;
        m_content.size = size;
    } else {
        m_hasReadError = access(m_path.c_str(), F_OK) == 0;
    }
    m_content.read = [this](std::int64_t offset, char* to, std::size_t count) { return Read(offset, to, count); };
}

RawFile::~RawFile()
{
    if (m_file->pMethods != nullptr) m_file->pMethods->xClose(m_file);
}

bool RawFile::Read(std::int64_t offset, char* to, std::size_t count)
{
    if (m_file->pMethods == nullptr) return false;
    const int result = m_file->pMethods->xRead(m_file, to, static_cast<int>(count), offset);
    if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ) m_hasReadError = true;
    return result == SQLITE_OK;
}

}  // namespace host
