// SPDX-License-Identifier: Apache-2.0
// What is left in a damaged settings database. SQLite gives up at the first damaged page on its way; here each page is
// read by itself, by the rules of SQLite's file format (https://www.sqlite.org/fileformat.html).
#ifndef SRCWATCH_HOST_SALVAGE_H
#define SRCWATCH_HOST_SALVAGE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <variant>

namespace host {

using Value = std::variant<int, std::string>;
using Values = std::map<std::string, Value>;

/// The bytes of a file; read() returns false if they cannot all be read.
struct Bytes {
    std::int64_t size = 0;
    std::function<bool(std::int64_t offset, char* to, std::size_t count)> read;
};

struct Salvaged {
    Values values;
    /// Settings whose last change, as far as the change log is readable, was their removal.
    std::set<std::string> removed;
    /// False if settings may be missing from the values.
    bool isComplete = false;
};

/// Reads the settings from a database and its write-ahead log (size 0 without one), in this order of trust: pages that
/// are reached from the root of the settings and in order; other pages in order that are not free; the change log; the
/// rest of damaged pages. Takes at most the memory of the settings and a few bytes for each page.
Salvaged Salvage(const Bytes& database, const Bytes& log);

}  // namespace host

#endif
