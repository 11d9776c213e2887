// SPDX-License-Identifier: Apache-2.0
#include "Connection.h"

#include "Clock.h"
#include "FileAccess.h"
#include "Fork.h"
#include "Log.h"
#include "Paths.h"
#include "Salvage.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>

#include <unistd.h>

namespace host {
namespace {

constexpr std::int64_t kPatienceMs = 1000;

// After a call has waited in vain, those that come soon wait no longer than most writes take: a main loop is held up
// once, and not by each of its calls.
constexpr std::int64_t kShortPatienceMs = 20;
constexpr std::int64_t kSoonMs = 2000;
std::atomic<std::int64_t> g_impatientUntilMs{0};

constexpr std::int64_t kRecheckMs = 100;

// Short, because a process that writes without pause leaves the database free for some microseconds at a time only:
// with pauses of ten milliseconds, every third write of its neighbours would find no gap within the second.
constexpr useconds_t kBusyPollUs = 500;

// The log between database and commit is kept short, so that the first program after a start has little to replay.
constexpr const char* kSettings =
    "PRAGMA secure_delete=OFF; PRAGMA wal_autocheckpoint=256; PRAGMA journal_size_limit=1048576";

// While any process keeps the database open, the log starts over once it has been moved into the database, so it never
// gets much longer than 1 MB. The first process after all have ended does not know what has been moved.
constexpr std::int64_t kLongLog = 2097152;

constexpr int Primary(int result) { return result & 0xff; }

std::int64_t NewDeadline()
{
    const std::int64_t now = NowMs(CLOCK_MONOTONIC);
    if (now < g_impatientUntilMs) return now + kShortPatienceMs;
    return now + kPatienceMs;
}

// A short wait does not make the next ones short.
void NoteVainWait(std::int64_t deadlineMs)
{
    if (deadlineMs - kPatienceMs >= g_impatientUntilMs) g_impatientUntilMs = NowMs(CLOCK_MONOTONIC) + kSoonMs;
}

bool IsLock(int result)
{
    const int primary = Primary(result);
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED || primary == SQLITE_PROTOCOL;
}

// In slices of wall-clock time: the thread sanitizer does not know a wait on a mutex by the monotonic clock. The
// deadline is monotonic, so that setting the clock does no harm.
bool WaitFor(std::unique_lock<std::timed_mutex>* lock, std::int64_t deadlineMs)
{
    constexpr auto kSlice = std::chrono::milliseconds(50);
    while (!lock->try_lock_until(std::chrono::system_clock::now() + kSlice))
        if (NowMs(CLOCK_MONOTONIC) >= deadlineMs) return false;
    return true;
}

std::string DescribeProcess(pid_t process)
{
    const std::string number = std::to_string(process);
    std::ifstream file("/proc/" + number + "/comm");
    std::string name;
    std::getline(file, name);
    return "process " + number + (name.empty() ? "" : " (" + name + ")");
}

}  // namespace

std::unique_lock<std::timed_mutex> Connection::Lock()
{
    TakePartInForks();
    std::unique_lock<std::timed_mutex> lock(m_mutex, std::try_to_lock);
    std::int64_t deadline = 0;
    if (!lock) {
        deadline = NewDeadline();
        if (!WaitFor(&lock, deadline)) {
            NoteVainWait(deadline);
            return lock;
        }
    }
    m_deadlineMs = deadline;
    return lock;
}

// Read from a moved or scribbled file, SQLite's findings are one of these.
bool Connection::IsSuspect(int result)
{
    const int primary = Primary(result);
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_ERROR;
}

// The clock is looked at only by those who have to wait.
std::int64_t Connection::Deadline()
{
    if (m_deadlineMs == 0) m_deadlineMs = NewDeadline();
    return m_deadlineMs;
}

bool Connection::MayWait(void* self) { return NowMs(CLOCK_MONOTONIC) < static_cast<Connection*>(self)->Deadline(); }

int Connection::WaitWhileBusy(void* self, int)
{
    if (!MayWait(self)) return 0;
    usleep(kBusyPollUs);
    return 1;
}

int Connection::EnsureOpen()
{
    const unsigned closings = m_shared->closings.load(std::memory_order_acquire);
    if (std::exchange(m_closingsSeen, closings) != closings) Close();
    const unsigned openings = m_shared->openings.load(std::memory_order_acquire);
    if (m_handle != nullptr && openings == m_openingsSeen && CoarseNowMs() - m_checkedMs < kRecheckMs) return SQLITE_OK;

    m_openingsSeen = openings;
    if (m_handle == nullptr) return Open(false);
    const Fate fate = m_isSnapshot ? Fate::kReplaced : FindFate();
    if (fate != Fate::kSame) return Reopen(fate);
    m_checkedMs = CoarseNowMs();
    return SQLITE_OK;
}

void Connection::ExpectReplacement()
{
    const std::unique_lock<std::timed_mutex> lock = Lock();
    if (lock) m_checkedMs = 0;
}

// A database never gets shorter, and nobody deletes its log or index as long as it is open.
Connection::Fate Connection::FindFate()
{
    const FilesSeen now = m_files.Look();
    if (now.database != m_seen.database) return Fate::kReplaced;
    const bool isHarmed = now.size < m_seen.size || now.log != m_seen.log || now.index != m_seen.index;
    m_seen.size = now.size;
    return isHarmed && !m_isSnapshot ? Fate::kHarmed : Fate::kSame;
}

int Connection::Reopen(Fate fate)
{
    const bool isHarmed = fate == Fate::kHarmed;
    if (isHarmed || m_files.IsMissingOrEmpty())
        LogHost(DLOG_ERROR, "%s was %s while it was in use", m_files.Path().c_str(), isHarmed ? "harmed" : "deleted");
    if (isHarmed) SaveDeletedLog();
    Close();
    return Open(isHarmed);
}

// As long as no other process has begun a new log, the deleted one can still be moved into the database.
void Connection::SaveDeletedLog()
{
    const FileLock lock(m_files, FileLock::Mode::kExclusive, Deadline());
    if (lock.Error() == 0 && !m_files.HasLog()) ShortenLog();
}

// A healthy database is opened beside others. Creating one and moving one aside is done by one process at a time,
// which looks again first: another may have done it meanwhile.
int Connection::Open(bool isSuspect)
{
    m_api = LoadSqlite();
    if (m_api == nullptr) return SQLITE_CANTOPEN;
    m_systemError = EnsureDirectory(m_files.Directory());
    if (m_systemError != 0) return SQLITE_CANTOPEN;
    if (!isSuspect) {
        const FileLock lock(m_files, FileLock::Mode::kShared, Deadline());
        if (lock.Error() == EWOULDBLOCK) return SQLITE_BUSY;
        const State state = TryOpen();
        if (state == State::kReady) return SQLITE_OK;
        Close();
        if (state == State::kFailed) return m_openError;
    }
    return OpenInTurn(isSuspect);
}

int Connection::OpenInTurn(bool isSuspect)
{
    const FileLock lock(m_files, FileLock::Mode::kExclusive, Deadline());
    if (lock.Error() == EWOULDBLOCK) return SQLITE_BUSY;

    State state = TryOpen();
    if (state == State::kReady && isSuspect) state = StateAfter(CheckDatabase(*m_api, m_handle));
    int result = state == State::kReady ? SQLITE_OK : m_openError;
    if (state == State::kEmpty) result = Create({});
    if (state == State::kDamaged && lock.Error() == 0) result = Recover();
    if (result != SQLITE_OK) Close();
    return result;
}

Connection::State Connection::StateAfter(int result)
{
    if (IsSuspect(result) && FailedReads() != m_failedReads) result = SQLITE_IOERR_READ;  // nothing is known
    m_openError = result;
    if (Primary(result) == SQLITE_CANTOPEN && m_handle != nullptr) m_systemError = m_api->system_errno(m_handle);
    return result == SQLITE_OK ? State::kReady : IsSuspect(result) ? State::kDamaged : State::kFailed;
}

Connection::State Connection::TryOpen()
{
    Close();
    m_failedReads = FailedReads();
    if (m_files.IsMissingOrEmpty()) return m_files.HasRemains() ? StateAfter(SQLITE_CORRUPT) : State::kEmpty;

    const State state = OpenHandle(m_files.Path(), SQLITE_OPEN_READWRITE);
    const int error = Primary(m_openError);
    const bool isForbidden = error == SQLITE_CANTOPEN || error == SQLITE_READONLY;
    return state == State::kFailed && isForbidden ? OpenForReading() : state;
}

// A database without its log, in a place where none can be created, is read as it is.
Connection::State Connection::OpenForReading()
{
    if (m_files.HasLog() || access(m_files.Directory().c_str(), W_OK) == 0) return State::kFailed;

    const State state = OpenHandle(UriOfSnapshot(m_files.Path()), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    m_isSnapshot = state == State::kReady;
    return state;
}

Connection::State Connection::OpenHandle(const std::string& name, int flags)
{
    Close();
    m_systemError = m_files.FindObstacle();
    if (m_systemError != 0) return StateAfter(SQLITE_CANTOPEN);
    const int result = m_api->open_v2(name.c_str(), &m_handle, flags | SQLITE_OPEN_NOMUTEX, UseFileAccess(*m_api));
    if (result != SQLITE_OK) return StateAfter(result);

    // These fail only without a handle.
    static_cast<void>(m_api->extended_result_codes(m_handle, 1));
    static_cast<void>(m_api->busy_handler(m_handle, WaitWhileBusy, this));
    // Exit and fork leave the log as it is: a checkpoint there would be slow and, in a child, wrong.
    static_cast<void>(m_api->db_config(m_handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr));
    Distrust(*m_api, m_handle);
    m_seen = m_files.Look();
    m_checkedMs = CoarseNowMs();
    m_shared->openings.fetch_add(1, std::memory_order_acq_rel);
    const FileIdentity opened = m_seen.database;
    const State state = Examine();
    m_seen = m_files.Look();  // log and index are there only now
    m_seen.database = opened;
    return state;
}

// Distinguishes our database from an empty one and from anything else.
Connection::State Connection::Examine()
{
    std::int64_t version = 0;
    int result = ReadNumber("PRAGMA user_version", &version);
    if (result != SQLITE_OK) return StateAfter(result);
    if (version == kSchemaVersion) {
        result = ReadNumber("SELECT id FROM store", &m_storeId);
        if (result == SQLITE_OK) result = Configure();
        return StateAfter(result);
    }
    if (version > kSchemaVersion) return StateAfter(kNewerSchema);
    std::int64_t tables = 0;
    result = ReadNumber("SELECT count(*) FROM sqlite_master", &tables);
    if (result != SQLITE_OK) return StateAfter(result);
    if (version == 0 && tables == 0) return State::kEmpty;
    return StateAfter(SQLITE_NOTADB);  // not one of ours
}

// Preparing statements finds tables that are not as they should be.
int Connection::Configure()
{
    int result = ApplySettings();
    sqlite3_stmt* ignored = nullptr;
    if (result == SQLITE_OK) result = Prepare(kGetValue, &ignored);
    if (result == SQLITE_OK) result = Prepare(kAppendChange, &ignored);
    if (result == SQLITE_OK && m_files.LogSize() > kLongLog) ShortenLog();
    return result;
}

int Connection::ApplySettings()
{
    const int result = Run(kSettings);
    return result == SQLITE_OK ? Run(DurabilitySql(m_isDurable)) : result;
}

int Connection::Run(const char* sql) { return m_api->exec(m_handle, sql, nullptr, nullptr, nullptr); }

// Without waiting for anyone. Best effort: the next process that opens the database tries again.
void Connection::ShortenLog()
{
    static_cast<void>(m_api->busy_handler(m_handle, nullptr, nullptr));
    static_cast<void>(Run("PRAGMA wal_checkpoint(TRUNCATE)"));
    static_cast<void>(m_api->busy_handler(m_handle, WaitWhileBusy, this));
}

int Connection::Create(const Values& values)
{
    Close();
    const FileBeingMade file(m_files.Path());
    m_systemError = m_files.FindObstacle();
    if (m_systemError == 0) m_systemError = file.Prepare();
    if (m_systemError != 0) return SQLITE_CANTOPEN;
    const int created = CreateDatabase(*m_api, file.Path(), m_isDurable, values);
    if (created != SQLITE_OK) return created;
    m_files.RemoveCompanions();
    m_systemError = file.Place();
    if (m_systemError != 0) return SQLITE_CANTOPEN;
    m_files.WakeWatchers();
    return TryOpen() == State::kReady ? SQLITE_OK : m_openError;
}

// Only when the damaged database is out of reach, it is read: what other processes commit to it from then on, they
// commit again to the new one. If this is interrupted, the next process that opens the database goes on.
int Connection::Recover()
{
    const int damage = m_openError;
    Close();
    m_systemError = m_files.SetRemainsAside();
    if (m_systemError != 0) return damage;
    RawFile database(m_files.RemainsPath());
    RawFile log(m_files.RemainsPath() + "-wal");
    Salvaged salvaged = Salvage(database.Content(), log.Content());
    if (database.HasReadError() || log.HasReadError()) return SQLITE_IOERR_READ;

    const std::size_t found = salvaged.values.size();
    if (!salvaged.isComplete) AddFromCopy(&salvaged);
    const int result = Create(salvaged.values);
    if (result == SQLITE_OK) {
        LogHost(DLOG_ERROR, "%s is damaged (%s): it is kept as %s; settings recovered: %zu, and %zu from the copy",
                m_files.Path().c_str(), m_api->errstr(damage), m_files.KeepRemains().c_str(), found,
                salvaged.values.size() - found);
    }
    return result;
}

// The copy may be older, so it only serves for what is missing.
void Connection::AddFromCopy(Salvaged* salvaged) const
{
    Values copied;
    if (ReadDatabase(*m_api, m_files.CopyPath(), &copied) != SQLITE_OK) return;  // mostly because there is none
    for (const std::string& key : salvaged->removed) copied.erase(key);
    salvaged->values.merge(copied);
}

int Connection::Prepare(StatementId id, sqlite3_stmt** statement)
{
    sqlite3_stmt*& kept = m_statements[id];
    const int result =
        kept != nullptr ? SQLITE_OK
                        : m_api->prepare_v3(m_handle, kStatements[id], -1, SQLITE_PREPARE_PERSISTENT, &kept, nullptr);
    *statement = kept;
    return result;
}

void Connection::Close()
{
    if (m_handle == nullptr) return;
    for (sqlite3_stmt*& statement : m_statements) {
        static_cast<void>(m_api->finalize(statement));  // repeats the last result
        statement = nullptr;
    }
    static_cast<void>(m_api->close(m_handle));  // fails only while statements exist
    m_handle = nullptr;
    m_isSnapshot = false;
    m_checkedMs = 0;
}

void Connection::LockAndClose()
{
    m_mutex.lock();
    Close();
}

// A connection that was read-only or met an I/O error stays so; the next call tries a new one.
int Connection::Finish(const char* purpose, int result)
{
    if (result == SQLITE_OK) {
        m_lastFailure = SQLITE_OK;
        return result;
    }
    LogFailure(purpose, result);
    if (IsLock(result)) NoteVainWait(m_deadlineMs);
    const int primary = Primary(result);
    if (primary == SQLITE_READONLY) m_shared->closings.fetch_add(1, std::memory_order_acq_rel);
    if (primary == SQLITE_READONLY || primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN || IsSuspect(result))
        Close();
    return result;
}

void Connection::LogFailure(const char* purpose, int result)
{
    const int systemError = m_systemError.exchange(0);
    if (m_lastFailure.exchange(result) == result) return;
    const pid_t holder = Primary(result) == SQLITE_BUSY ? m_files.FindLockHolder() : 0;
    const std::string detail = systemError != 0 ? strerrordesc_np(systemError)
                               : holder != 0    ? DescribeProcess(holder)
                                                : "";

    const char* reason = m_api == nullptr         ? "SQLite is missing"
                         : result == kNewerSchema ? "a newer version of this software has created them"
                                                  : m_api->errstr(result);
    LogHost(DLOG_ERROR, "cannot %s settings in %s: %s%s%s", purpose, m_files.Path().c_str(), reason,
            detail.empty() ? "" : ": ", detail.c_str());
}

}  // namespace host
