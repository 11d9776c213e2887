// SPDX-License-Identifier: Apache-2.0
#ifndef SRCWATCH_TESTS_INTRUDER_H
#define SRCWATCH_TESTS_INTRUDER_H

#include <string>

#include <sqlite3.h>

namespace srcwatch_test {

/// SQLite's own connection to a settings database, to be in the way.
class Intruder {
public:
    explicit Intruder(const std::string& database) { sqlite3_open(database.c_str(), &m_handle); }
    ~Intruder() { sqlite3_close(m_handle); }
    Intruder(const Intruder&) = delete;
    Intruder& operator=(const Intruder&) = delete;

    bool Run(const char* sql) { return sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK; }

private:
    sqlite3* m_handle = nullptr;
};

}  // namespace srcwatch_test

#endif
