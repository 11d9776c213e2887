// SPDX-License-Identifier: Apache-2.0
// The pages of an SQLite database as last committed, read from its file and its write-ahead log without SQLite.
#ifndef SRCWATCH_HOST_PAGES_H
#define SRCWATCH_HOST_PAGES_H

#include "Salvage.h"
#include "Schema.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace host {

/// One page; a number is stored with its highest byte first.
struct Page {
    std::array<char, kPageSize> bytes;

    std::uint32_t Number(std::size_t at, std::size_t count) const
    {
        std::uint32_t number = 0;
        for (std::size_t index = at; index < at + count; index++)
            number = number << 8 | static_cast<unsigned char>(bytes[index]);
        return number;
    }
};

class Pages {
public:
    Pages(const Bytes& database, const Bytes& log);

    /// Returns the numbers of all pages that there are.
    std::vector<std::uint32_t> Numbers() const;
    bool Read(std::uint32_t number, Page* page) const;

    /// Free pages, as far as their list is readable.
    struct Free {
        std::set<std::uint32_t> numbers;
        bool areAll = false;  // as many as the first page says
    };
    Free FindFree() const;

private:
    void ReadLog();

    const Bytes& m_database;
    const Bytes& m_log;
    std::uint32_t m_stored;                          // number of pages in the database's file
    std::map<std::uint32_t, std::int64_t> m_logged;  // offset of the last committed version in the log, by page
};

}  // namespace host

#endif
