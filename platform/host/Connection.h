// SPDX-License-Identifier: Apache-2.0
// One kept SQLite connection to a settings database: opened at first use, opened again if the file behind its path is
// another one, and recovered if the database is damaged.
#ifndef SRCWATCH_HOST_CONNECTION_H
#define SRCWATCH_HOST_CONNECTION_H

#include "DatabaseFiles.h"
#include "FileAccess.h"
#include "Schema.h"
#include "Sqlite.h"
#include "WholeDatabase.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace host {

/// What the connections of a process to one database share.
struct SharedByConnections {
    /// How often any was opened: when one has found another file in place, the others compare theirs at once.
    std::atomic<unsigned> openings{0};
    /// How often all had to be closed. SQLite opens the log's index once for all, and keeps it read-only if that was
    /// all that it could do at the time.
    std::atomic<unsigned> closings{0};
};

class Connection {
public:
    Connection(const DatabaseFiles& files, bool isDurable, SharedByConnections* shared)
        : m_files(files), m_isDurable(isDurable), m_shared(shared)
    {
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Runs body(connection), which runs statements and returns an SQLite result, with the connection open and locked.
    /// Body runs again if the database turned out to be damaged (the first time) or, for a write, had been replaced
    /// meanwhile. Failures are logged, each kind once until a call succeeds.
    /// @return SQLite's result code; SQLITE_BUSY after a second in which others kept the lock or the database, and
    /// sooner if another call has just waited in vain.
    template <typename Body>
    int Read(const char* purpose, Body body)
    {
        std::unique_lock<std::timed_mutex> lock = Lock();
        if (!lock) {
            LogFailure(purpose, SQLITE_BUSY);
            return SQLITE_BUSY;
        }
        const WaitLimit limit(MayWait, this);
        int result = EnsureOpen();
        if (result == SQLITE_OK) result = body(*this);
        if (IsSuspect(result)) result = RunAgain(result, body);
        return Finish(purpose, result);
    }

    template <typename Body>
    int Write(const char* purpose, Body body)
    {
        return Read(purpose, [body](Connection& connection) { return connection.WriteWhereItLasts(body); });
    }

    /// Has the next call notice a replaced file at once, and not within a tenth of a second.
    void ExpectReplacement();

    /// For the fork handlers: nothing of SQLite may be inherited by a child.
    void LockAndClose();
    void Unlock() { m_mutex.unlock(); }

    /// For bodies.
    const Sqlite& Api() const { return *m_api; }
    sqlite3* Handle() const { return m_handle; }
    std::int64_t StoreId() const { return m_storeId; }
    int Prepare(StatementId id, sqlite3_stmt** statement);

private:
    enum class State { kReady, kEmpty, kDamaged, kFailed };

    /// What has become of the open database's files: another database is there, or none; or they were harmed:
    /// truncated, or their log or index deleted.
    enum class Fate { kSame, kReplaced, kHarmed };

    std::unique_lock<std::timed_mutex> Lock();
    static bool IsSuspect(int result);
    std::int64_t Deadline();
    int EnsureOpen();
    Fate FindFate();
    void SaveDeletedLog();
    int Reopen(Fate fate);
    int Open(bool isSuspect);
    int OpenInTurn(bool isSuspect);
    State TryOpen();
    State OpenHandle(const std::string& name, int flags);
    State OpenForReading();
    State Examine();
    State StateAfter(int result);
    int Configure();
    int ApplySettings();
    int Run(const char* sql);
    void ShortenLog();
    int Create(const Values& values);
    int Recover();
    void AddFromCopy(Salvaged* salvaged) const;
    int ReadNumber(const char* sql, std::int64_t* number) { return QueryNumber(*m_api, m_handle, sql, number); }
    void Close();
    int Finish(const char* purpose, int result);
    void LogFailure(const char* purpose, int result);
    static bool MayWait(void* self);
    static int WaitWhileBusy(void* self, int count);

    template <typename Body>
    int RunAgain(int suspicion, Body body)
    {
        Close();
        const int result = Open(true);
        if (result != SQLITE_OK) return result;
        const int again = body(*this);
        return IsSuspect(again) ? suspicion : again;
    }

    // A commit to a file that has been moved away meanwhile is lost, so it is done again in the new one.
    template <typename Body>
    int WriteWhereItLasts(Body body)
    {
        constexpr int kAttempts = 5;
        for (int attempt = 0; attempt < kAttempts; attempt++) {
            const int result = body(*this);
            const Fate fate = result == SQLITE_OK ? FindFate() : Fate::kSame;
            if (fate == Fate::kSame) return result;
            const int reopened = Reopen(fate);
            if (reopened != SQLITE_OK) return reopened;
        }
        return SQLITE_CANTOPEN;
    }

    const DatabaseFiles& m_files;
    const bool m_isDurable;
    SharedByConnections* const m_shared;

    std::timed_mutex m_mutex;  // guards all below; held during every use of the connection
    unsigned m_openingsSeen = 0;
    unsigned m_closingsSeen = 0;
    const Sqlite* m_api = nullptr;
    sqlite3* m_handle = nullptr;
    std::array<sqlite3_stmt*, kStatementCount> m_statements = {};
    FilesSeen m_seen;
    std::int64_t m_storeId = 0;     // random number that distinguishes databases
    std::int64_t m_checkedMs = 0;   // when the identity was last compared
    std::int64_t m_deadlineMs = 0;  // when the call in progress stops waiting; 0 as long as it never had to wait
    bool m_isSnapshot = false;      // opened without its log, so never up to date for long
    int m_openError = SQLITE_OK;
    unsigned m_failedReads = 0;                 // in the process, when the connection was opened
    std::atomic<int> m_systemError{0};          // errno of the last failure to open, for the log
    std::atomic<int> m_lastFailure{SQLITE_OK};  // logged already; these two also change without the mutex
};

}  // namespace host

#endif
