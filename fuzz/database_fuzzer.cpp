// SPDX-License-Identifier: Apache-2.0
//
// Databases of settings whose bytes anyone may have changed: what is salvaged from them in memory, and what opening
// them makes of their files. Of a sound one, salvage gives what SQLite lists; a recovered one is sound and stays so.
//
// Input: which database, whether it is opened, then one change of its bytes or its log's after the other.
#include "Connection.h"
#include "DatabaseFiles.h"
#include "Fuzz.h"
#include "Salvage.h"
#include "Schema.h"
#include "Statement.h"
#include "WholeDatabase.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <sqlite3.h>
#include <unistd.h>

namespace {

using fuzz::Input;
using fuzz::Require;
using host::Values;

constexpr std::size_t kPage = 4096;

// A directory that is removed with all that lies in it when the program ends; after a finding, with TMPDIR.
class Place {
public:
    Place()
    {
        const char* const temporary = std::getenv("TMPDIR");
        m_path = temporary != nullptr ? temporary : access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        m_path += "/srcwatch-fuzz-XXXXXX";
        Require(mkdtemp(m_path.data()) != nullptr, "a place for the database");
        Require(setenv("SRCWATCH_LOG", "none", 1) == 0, "no log");
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place()
    {
        Clear();
        std::filesystem::remove(m_path);
    }

    void Clear() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) std::filesystem::remove_all(entry);
    }
    const std::string& Path() const { return m_path; }
    std::string Database() const { return m_path + "/settings.db"; }

private:
    std::string m_path;
};

const Place& ThePlace()
{
    static const Place place;
    return place;
}

// ---------------------------------------------------------------------------------------------------------------------
// Sound databases

struct Image {
    std::string database;
    std::string log;
    Values values;
};

std::string ReadBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

void Run(sqlite3* database, const std::string& sql)
{
    Require(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, "the database is made");
}

Values ListBySqlite(sqlite3* database)
{
    Values values;
    sqlite3_stmt* rows = nullptr;
    Require(sqlite3_prepare_v2(database, "SELECT key, value FROM settings", -1, &rows, nullptr) == SQLITE_OK, "a list");
    while (sqlite3_step(rows) == SQLITE_ROW) {
        host::Value& value = values[reinterpret_cast<const char*>(sqlite3_column_text(rows, 0))];
        if (sqlite3_column_type(rows, 1) == SQLITE_INTEGER) {
            value = sqlite3_column_int(rows, 1);
        } else {
            value = std::string(reinterpret_cast<const char*>(sqlite3_column_text(rows, 1)),
                                static_cast<std::size_t>(sqlite3_column_bytes(rows, 1)));
        }
    }
    sqlite3_finalize(rows);
    return values;
}

// What the SQL makes is in the database, what comes after it in the log.
Image MakeImage(const std::string& sql, const std::string& logged)
{
    ThePlace().Clear();
    const std::string path = ThePlace().Database();
    sqlite3* database = nullptr;
    Require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "a database");
    Run(database, "PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0; PRAGMA synchronous=OFF");
    Run(database, std::string(host::kSchema) + "; COMMIT");
    Run(database, sql);
    Run(database, "PRAGMA wal_checkpoint(TRUNCATE)");
    Run(database, logged);
    Image image{ReadBytes(path), ReadBytes(path + "-wal"), ListBySqlite(database)};
    sqlite3_close(database);
    return image;
}

std::string Fill(const char* count, const char* value)
{
    return std::string("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ") + count +
           ") REPLACE INTO settings SELECT 'db/setting/' || i, " + value + " FROM n;";
}

const std::vector<Image>& Images()
{
    const std::string numbers = Fill("100", "i * 977 % 60000 - 30000");
    const std::string texts = Fill("60", "printf('%.*c', i * i, 't')");
    const std::string longTexts = Fill("8", "printf('%.*c', i * 3000, 'l')");
    const std::string changes = "INSERT INTO changes(bytes, key, value) SELECT 9, key, value FROM settings;";
    const std::string removal =
        "DELETE FROM settings WHERE key LIKE '%3%';"
        "INSERT INTO changes(bytes, key, value) VALUES(9, 'db/setting/3', NULL);";
    static const std::vector<Image> images = {
        MakeImage("", ""),
        MakeImage(numbers, ""),
        MakeImage(numbers + texts + changes, ""),
        MakeImage(longTexts + changes, ""),
        MakeImage(texts + changes + removal, ""),
        MakeImage(numbers, texts + changes),
        MakeImage(texts + longTexts + changes, removal + numbers),
    };
    return images;
}

// ---------------------------------------------------------------------------------------------------------------------
// Changes

void Overwrite(std::string& bytes, std::size_t offset, const std::string& text)
{
    if (bytes.empty()) return;
    offset %= bytes.size();
    bytes.replace(offset, std::min(text.size(), bytes.size() - offset), text, 0, bytes.size() - offset);
}

void Change(Input& input, std::string& bytes)
{
    const unsigned manner = input.Below(6);
    const auto offset = static_cast<std::size_t>(static_cast<std::uint32_t>(input.Number()));
    const std::size_t page = bytes.empty() ? 0 : offset % bytes.size() / kPage * kPage;
    switch (manner) {
        case 0:
            return Overwrite(bytes, offset, input.Text(64));
        case 1:  // in the header of a page
            return Overwrite(bytes, page + input.Below(128), input.Text(8));
        case 2:
            return Overwrite(bytes, page, std::string(kPage, static_cast<char>(input.Byte())));
        case 3:  // another page's content
            return Overwrite(bytes, page, bytes.substr(std::min(bytes.size(), input.Below(64) * kPage), kPage));
        case 4:
            return bytes.resize(bytes.empty() ? 0 : offset % bytes.size());
        default:
            bytes += input.Text(64);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What must hold

host::Bytes BytesOf(const std::string& bytes)
{
    return {static_cast<std::int64_t>(bytes.size()), [&bytes](std::int64_t offset, char* to, std::size_t count) {
                if (offset < 0 || static_cast<std::size_t>(offset) > bytes.size() ||
                    count > bytes.size() - static_cast<std::size_t>(offset))
                    return false;
                std::memcpy(to, bytes.data() + offset, count);
                return true;
            }};
}

void CheckSalvage(const Image& image, const std::string& database, const std::string& log)
{
    const host::Salvaged salvaged = host::Salvage(BytesOf(database), BytesOf(log));
    for (const auto& [key, value] : salvaged.values) {
        Require(key.size() <= database.size() + log.size(), "a key is of the file's bytes");
        if (const auto* text = std::get_if<std::string>(&value))
            Require(text->size() <= database.size() + log.size(), "and so is a text");
    }
    if (database != image.database || log != image.log) return;
    Require(salvaged.isComplete, "of a sound database, nothing is missing");
    Require(salvaged.values == image.values, "and all is as SQLite lists it");
}

using Listing = std::vector<std::pair<std::string, std::string>>;  // numbers with a sign before them

// Opens the files as a process does that has not done so before, and has the database recovered if the check finds
// damage. @return An SQLite result.
int CheckAndList(Listing* listing)
{
    const host::DatabaseFiles files(ThePlace().Path(), "settings.db");
    host::SharedByConnections shared;
    host::Connection connection(files, true, &shared);
    int result =
        connection.Read("check", [](host::Connection& open) { return host::CheckDatabase(open.Api(), open.Handle()); });
    if (result == SQLITE_OK) {
        result = connection.Read("list", [listing](host::Connection& open) {
            listing->clear();
            return host::Statement(open, host::kListSettings).Run([listing](const host::Statement& row) {
                const bool isText = row.Type(1) == SQLITE_TEXT;
                listing->emplace_back(row.Text(0), isText ? row.Text(1) : "#" + std::to_string(row.Number(1)));
            });
        });
    }
    connection.LockAndClose();
    connection.Unlock();
    return result;
}

void CheckOpening(const Image& image, const std::string& database, const std::string& log)
{
    ThePlace().Clear();
    WriteBytes(ThePlace().Database(), database);
    if (!log.empty()) WriteBytes(ThePlace().Database() + "-wal", log);

    Listing first;
    const int result = CheckAndList(&first);
    Listing second;
    Require(CheckAndList(&second) == result, "opening it again has the same result");
    Require(first == second, "and shows the same settings");
    if (database != image.database || log != image.log) return;
    Require(result == SQLITE_OK && first.size() == image.values.size(), "a sound database is used as it is");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    const Image& image = Images()[input.Below(static_cast<unsigned>(Images().size()))];
    const bool isOpened = input.Below(8) == 0;
    std::string database = image.database;
    std::string log = image.log;
    while (input.Left() > 0) Change(input, input.Below(4) == 0 ? log : database);
    CheckSalvage(image, database, log);
    if (isOpened) CheckOpening(image, database, log);
    return 0;
}
