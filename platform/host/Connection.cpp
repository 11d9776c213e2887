// SPDX-License-Identifier: Apache-2.0
#include "Connection.h"

#include "Clock.h"
#include "Fork.h"
#include "Log.h"
#include "Paths.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>

#include <unistd.h>

namespace host {
namespace {

constexpr int64_t kPatienceMs = 1000;
constexpr int64_t kRecheckMs = 100;

// Short, because a process that writes again and again leaves the database free for some microseconds at a time only:
// with pauses of ten milliseconds, every third write of its neighbours would find no gap within the second.
constexpr useconds_t kBusyPollUs = 500;

constexpr int64_t kSchemaVersion = 1;

// The newest change is never trimmed, so its number only grows.
constexpr const char* kAppendChangeSql =
    "INSERT INTO changes(bytes, key, value) "
    "VALUES(ifnull((SELECT bytes FROM changes ORDER BY seq DESC LIMIT 1), 0) + ?3, ?1, ?2)";
constexpr const char* kTrimChangesSql =
    "DELETE FROM changes "
    "WHERE seq <= ?1 - 1024 OR bytes <= (SELECT bytes FROM changes WHERE seq = ?1) - 2097152 AND seq < ?1";

// In the order of StatementId.
constexpr const char* kStatements[] = {
    "SELECT value FROM settings WHERE key = ?1",
    "SELECT key, value FROM settings ORDER BY key",
    "SELECT ifnull(max(seq), 0) FROM changes",
    "SELECT seq, key, value FROM changes WHERE seq > ?1 ORDER BY seq",
    "BEGIN IMMEDIATE",
    "INSERT INTO settings(key, value) VALUES(?1, ?2) ON CONFLICT(key) DO UPDATE SET value = excluded.value",
    "DELETE FROM settings WHERE key = ?1",
    kAppendChangeSql,
    kTrimChangesSql,
    "COMMIT",
    "ROLLBACK",
};
static_assert(sizeof kStatements / sizeof *kStatements == kStatementCount);

// settings.value is an integer or a text. A change's value is that which was written, or null for a removal;
// changes.bytes counts the bytes of all texts written until then.
constexpr const char* kSchema =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE settings(key TEXT PRIMARY KEY NOT NULL, value NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE changes(seq INTEGER PRIMARY KEY, bytes INTEGER NOT NULL, key TEXT NOT NULL, value);"
    "CREATE TABLE store(id INTEGER NOT NULL);"
    "INSERT INTO store(id) VALUES(random());"
    "PRAGMA user_version=1;"
    "COMMIT";

// The log between database and commit is kept short, so that the first program after a start has little to replay.
constexpr const char* kDurableSettings =
    "PRAGMA synchronous=FULL; PRAGMA secure_delete=OFF; PRAGMA wal_autocheckpoint=256;"
    "PRAGMA journal_size_limit=1048576";
constexpr const char* kVolatileSettings =
    "PRAGMA synchronous=OFF; PRAGMA secure_delete=OFF; PRAGMA wal_autocheckpoint=256;"
    "PRAGMA journal_size_limit=1048576";

// While any process keeps the database open, the log begins anew when it has been moved into the database, so it never
// gets much longer than 1 MB. The first process after all have ended does not know what has been moved.
constexpr int64_t kLongLog = 2097152;

constexpr const char* SettingsOf(bool isDurable) { return isDurable ? kDurableSettings : kVolatileSettings; }

constexpr int Primary(int result) { return result & 0xff; }

// Bytes that a URI would take for its own are written as their codes.
std::string PathAsUri(const std::string& path)
{
    std::string uri = "file:";
    for (const char character : path) {
        if (character == '%' || character == '?' || character == '#') {
            constexpr const char* kDigits = "0123456789abcdef";
            uri += '%';
            uri += kDigits[character >> 4];
            uri += kDigits[character & 15];
        } else {
            uri += character;
        }
    }
    return uri;
}

// In slices of wall-clock time: the thread sanitizer does not know a wait on a mutex by the monotonic clock. The
// deadline is monotonic, so that setting the clock does no harm.
bool WaitFor(std::unique_lock<std::timed_mutex>* lock, int64_t deadlineMs)
{
    constexpr auto kSlice = std::chrono::milliseconds(50);
    while (!lock->try_lock_until(std::chrono::system_clock::now() + kSlice))
        if (NowMs(CLOCK_MONOTONIC) >= deadlineMs) return false;
    return true;
}

}  // namespace

std::unique_lock<std::timed_mutex> Connection::Lock()
{
    TakePartInForks();
    std::unique_lock<std::timed_mutex> lock(m_mutex, std::try_to_lock);
    int64_t deadline = 0;
    if (!lock) {
        deadline = NowMs(CLOCK_MONOTONIC) + kPatienceMs;
        if (!WaitFor(&lock, deadline)) return lock;
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
int64_t Connection::Deadline()
{
    if (m_deadlineMs == 0) m_deadlineMs = NowMs(CLOCK_MONOTONIC) + kPatienceMs;
    return m_deadlineMs;
}

int Connection::WaitWhileBusy(void* self, int)
{
    const int64_t left = static_cast<Connection*>(self)->Deadline() - NowMs(CLOCK_MONOTONIC);
    if (left <= 0) return 0;
    usleep(kBusyPollUs);
    return 1;
}

int Connection::Ready()
{
    const unsigned openings = m_openings->load(std::memory_order_acquire);
    if (m_handle && openings == m_openingsSeen && CoarseNowMs() - m_checkedMs < kRecheckMs) return SQLITE_OK;

    m_openingsSeen = openings;
    if (m_handle && !m_isSnapshot && !IsReplaced()) {
        m_checkedMs = CoarseNowMs();
        return SQLITE_OK;
    }
    Close();
    return Open(false);
}

void Connection::LookAgain()
{
    const std::unique_lock<std::timed_mutex> lock = Lock();
    if (lock) m_checkedMs = 0;
}

bool Connection::IsReplaced() const
{
    FileIdentity now;
    return !m_files.Identify(&now) || now.device != m_identity.device || now.inode != m_identity.inode;
}

// A healthy database is opened beside others. Creating one and moving one aside is done by one process at a time,
// which looks again first: another may have done it meanwhile.
int Connection::Open(bool isSuspect)
{
    m_api = LoadSqlite();
    if (!m_api) return SQLITE_CANTOPEN;
    const int error = EnsureDirectory(m_files.Directory());
    if (error) {
        m_systemError = error;
        return SQLITE_CANTOPEN;
    }
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
    if (state == State::kReady && isSuspect && !IsSound()) state = State::kDamaged;
    if (state == State::kDamaged) {
        const int damage = m_openError == SQLITE_OK ? SQLITE_CORRUPT : m_openError;
        Close();
        if (lock.Error() || !MoveAside(damage)) return damage;
        state = State::kEmpty;
    }
    if (state == State::kEmpty) return Create();
    return state == State::kReady ? SQLITE_OK : m_openError;
}

Connection::State Connection::StateAfter(int result)
{
    m_openError = result;
    if (Primary(result) == SQLITE_CANTOPEN) m_systemError = m_api->system_errno(m_handle);
    return result == SQLITE_OK ? State::kReady : IsSuspect(result) ? State::kDamaged : State::kFailed;
}

Connection::State Connection::TryOpen()
{
    Close();
    if (m_files.IsMissingOrEmpty()) return State::kEmpty;

    const State state = OpenHandle(SQLITE_OPEN_READWRITE);
    const int error = Primary(m_openError);
    const bool isForbidden = error == SQLITE_CANTOPEN || error == SQLITE_READONLY;
    return state == State::kFailed && isForbidden ? OpenForReading() : state;
}

// A database without its log, in a place where none can be created, is read as it is.
Connection::State Connection::OpenForReading()
{
    if (m_files.HasLog() || access(m_files.Directory().c_str(), W_OK) == 0) return State::kFailed;

    const State state = OpenHandle(SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    m_isSnapshot = state == State::kReady;
    return state;
}

Connection::State Connection::OpenHandle(int flags)
{
    Close();
    const bool isUri = (flags & SQLITE_OPEN_URI) != 0;
    const std::string name = isUri ? PathAsUri(m_files.Path()) + "?immutable=1" : m_files.Path();
    const int result = m_api->open_v2(name.c_str(), &m_handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result != SQLITE_OK) return StateAfter(result);

    (void)m_api->extended_result_codes(m_handle, 1);  // fails for no handle only, as does the next
    (void)m_api->busy_handler(m_handle, WaitWhileBusy, this);
    // Exit and fork leave the log as it is: a checkpoint there would be slow and, in a child, wrong.
    (void)m_api->db_config(m_handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    if (!m_files.Identify(&m_identity)) return StateAfter(SQLITE_CANTOPEN);
    m_checkedMs = CoarseNowMs();
    m_openings->fetch_add(1, std::memory_order_acq_rel);
    return Examine();
}

// Tells our database from an empty one and from anything else.
Connection::State Connection::Examine()
{
    int64_t version = 0;
    int result = QueryNumber("PRAGMA user_version", &version);
    if (result != SQLITE_OK) return StateAfter(result);
    if (version == kSchemaVersion) {
        result = QueryNumber("SELECT id FROM store", &m_storeId);
        if (result == SQLITE_OK) result = Configure();
        return StateAfter(result);
    }
    int64_t tables = 0;
    result = QueryNumber("SELECT count(*) FROM sqlite_master", &tables);
    if (result != SQLITE_OK) return StateAfter(result);
    if (version == 0 && tables == 0) return State::kEmpty;
    return StateAfter(SQLITE_NOTADB);  // not one of ours
}

// Preparing statements finds tables that are not as they should be.
int Connection::Configure()
{
    int result = m_api->exec(m_handle, SettingsOf(m_isDurable), nullptr, nullptr, nullptr);
    sqlite3_stmt* statement = nullptr;
    if (result == SQLITE_OK) result = Prepare(kGetValue, &statement);
    if (result == SQLITE_OK) result = Prepare(kAppendChange, &statement);
    if (result == SQLITE_OK && m_files.LogSize() > kLongLog) ShortenLog();
    return result;
}

// Without waiting for anybody. Best effort: whoever opens the database next tries again.
void Connection::ShortenLog()
{
    (void)m_api->busy_handler(m_handle, nullptr, nullptr);
    (void)m_api->exec(m_handle, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
    (void)m_api->busy_handler(m_handle, WaitWhileBusy, this);
}

int Connection::Create()
{
    Close();
    if (m_files.IsMissingOrEmpty()) m_files.RemoveRemains();

    const State state = OpenHandle(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    if (state != State::kEmpty) return state == State::kReady ? SQLITE_OK : m_openError;

    m_files.ShareLikeDirectory();
    const int created = CreateTables();
    if (created != SQLITE_OK) {
        Close();
        return created;
    }
    m_files.Wake();
    return Examine() == State::kReady ? SQLITE_OK : m_openError;
}

int Connection::CreateTables()
{
    int result = m_api->exec(m_handle, SettingsOf(m_isDurable), nullptr, nullptr, nullptr);
    if (result == SQLITE_OK) result = m_api->exec(m_handle, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    return result == SQLITE_OK ? m_api->exec(m_handle, kSchema, nullptr, nullptr, nullptr) : result;
}

// Goes through the whole database, so that damage seen by any process is seen again.
bool Connection::IsSound()
{
    sqlite3_stmt* statement = nullptr;
    int result = m_api->prepare_v3(m_handle, "PRAGMA integrity_check(1)", -1, 0, &statement, nullptr);
    if (result == SQLITE_OK) result = m_api->step(statement);
    const void* verdict = result == SQLITE_ROW ? m_api->column_blob(statement, 0) : nullptr;
    const bool isSound = verdict && m_api->column_bytes(statement, 0) == 2 && memcmp(verdict, "ok", 2) == 0;
    (void)m_api->finalize(statement);  // repeats the result of the step
    return isSound;
}

bool Connection::MoveAside(int damage)
{
    const std::string aside = m_files.MoveAside();
    if (aside.empty()) {
        m_systemError = errno;
        return false;
    }
    LogHost(DLOG_ERROR, "%s is damaged (%s); it is kept as %s and a new one begins", m_files.Path().c_str(),
            m_api->errstr(damage), aside.c_str());
    return true;
}

int Connection::QueryNumber(const char* sql, int64_t* number)
{
    sqlite3_stmt* statement = nullptr;
    int result = m_api->prepare_v3(m_handle, sql, -1, 0, &statement, nullptr);
    if (result != SQLITE_OK) return result;

    result = m_api->step(statement);
    if (result == SQLITE_ROW) *number = m_api->column_int64(statement, 0);
    (void)m_api->finalize(statement);  // repeats the result of the step
    return result == SQLITE_ROW ? SQLITE_OK : result == SQLITE_DONE ? SQLITE_CORRUPT : result;
}

int Connection::Prepare(StatementId id, sqlite3_stmt** statement)
{
    sqlite3_stmt*& kept = m_statements[id];
    const int result =
        kept ? SQLITE_OK : m_api->prepare_v3(m_handle, kStatements[id], -1, SQLITE_PREPARE_PERSISTENT, &kept, nullptr);
    *statement = kept;
    return result;
}

int Connection::Execute(StatementId id)
{
    sqlite3_stmt* statement = nullptr;
    const int result = Prepare(id, &statement);
    if (result != SQLITE_OK) return result;
    (void)m_api->step(statement);  // reset tells its result
    return m_api->reset(statement);
}

void Connection::Close()
{
    if (!m_handle) return;
    for (sqlite3_stmt*& statement : m_statements) {
        (void)m_api->finalize(statement);  // repeats the last result
        statement = nullptr;
    }
    (void)m_api->close(m_handle);  // fails only while statements exist
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
void Connection::CloseIfUseless(int result)
{
    const int primary = Primary(result);
    if (primary == SQLITE_READONLY || primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN || IsSuspect(result))
        Close();
}

int Connection::Succeeded()
{
    m_lastFailure = SQLITE_OK;
    return SQLITE_OK;
}

int Connection::Failed(const char* purpose, int result)
{
    LogFailure(purpose, result);
    CloseIfUseless(result);
    return result;
}

int Connection::LogFailure(const char* purpose, int result)
{
    const int systemError = m_systemError.exchange(0);
    if (!IsNews(result)) return result;

    const char* reason = m_api ? m_api->errstr(result) : "SQLite is missing";
    LogHost(DLOG_ERROR, "cannot %s settings in %s: %s%s%s", purpose, m_files.Path().c_str(), reason,
            systemError ? ": " : "", systemError ? strerrordesc_np(systemError) : "");
    return result;
}

}  // namespace host
