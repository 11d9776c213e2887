// SPDX-License-Identifier: Apache-2.0
// One run of a statement that a connection keeps: its parameters, and the columns of the row that it is at.
#ifndef SRCWATCH_HOST_STATEMENT_H
#define SRCWATCH_HOST_STATEMENT_H

#include "Connection.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace host {

class Statement {
public:
    Statement(Connection& connection, StatementId id)
        : m_api(connection.Api()), m_result(connection.Prepare(id, &m_statement))
    {
    }
    /// Ends a read transaction, also when memory runs out during it. Run() has returned the result that reset repeats.
    ~Statement() { static_cast<void>(m_api.reset(m_statement)); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& BindNumber(int index, std::int64_t number)
    {
        if (m_result == SQLITE_OK) m_result = m_api.bind_int64(m_statement, index, number);
        return *this;
    }

    /// The text stays the caller's, until the statement has run; null binds an SQL null.
    Statement& BindText(int index, const char* text)
    {
        const std::size_t length = text == nullptr ? 0 : std::strlen(text);
        constexpr sqlite3_destructor_type kOwnedByCaller = nullptr;
        if (m_result == SQLITE_OK)
            m_result = m_api.bind_text64(m_statement, index, text, length, kOwnedByCaller, SQLITE_UTF8);
        return *this;
    }

    /// Calls visit() at each row. @return The first failure of a parameter or a row, or SQLITE_OK.
    template <typename Visit>
    int Run(Visit visit)
    {
        if (m_result != SQLITE_OK) return m_result;
        while ((m_result = m_api.step(m_statement)) == SQLITE_ROW) visit(*this);
        return m_result == SQLITE_DONE ? SQLITE_OK : m_result;
    }
    int Run()
    {
        return Run([](const Statement&) {});
    }

    int Type(int column) const { return m_api.column_type(m_statement, column); }
    std::int64_t Number(int column) const { return m_api.column_int64(m_statement, column); }

    /// Returns the bytes as they are stored, valid until the next row. Their length must not be asked for before.
    const char* Bytes(int column) const { return static_cast<const char*>(m_api.column_blob(m_statement, column)); }
    std::size_t Length(int column) const { return static_cast<std::size_t>(m_api.column_bytes(m_statement, column)); }

    std::string Text(int column) const
    {
        const char* bytes = Bytes(column);
        return bytes == nullptr ? std::string() : std::string(bytes, Length(column));
    }

private:
    const Sqlite& m_api;
    sqlite3_stmt* m_statement = nullptr;
    int m_result;
};

}  // namespace host

#endif
