// SPDX-License-Identifier: Apache-2.0
//
// Databases of settings whose bytes anyone may have changed: what is salvaged from them in memory, and what opening
// them makes of their files. Of a sound one, salvage gives what SQLite lists, and of a damaged one what lies on pages
// that are as they were; a recovered one is sound and stays so. No input takes long, or leaves files elsewhere.
//
// Input: which database, whether it is opened, then one change of its bytes or its log's after the other.
#include "Connection.h"
#include "DatabaseFiles.h"
#include "Fuzz.h"
#include "Place.h"
#include "Salvage.h"
#include "Schema.h"
#include "Statement.h"
#include "WholeDatabase.h"

#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <sqlite3.h>

namespace {

using fuzz::Input;
using fuzz::Require;
using host::Values;

constexpr std::size_t kPage = 4096;

// Of processor time, with a sanitizer: hundreds of times what an input takes.
constexpr std::clock_t kLongestTime = std::clock_t{5} * CLOCKS_PER_SEC;

// With a log that goes nowhere, and a file of somebody else's beside the directory of the settings.
class Place : public fuzz::Place {
public:
    Place()
    {
        Require(setenv("SRCWATCH_LOG", "none", 1) == 0, "no log");
        std::filesystem::create_directory(Directory());
        std::ofstream(Path() + "/other") << kOther;
    }

    std::string Directory() const { return Path() + "/state"; }
    std::string Database() const { return Directory() + "/settings.db"; }
    void Clear() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(Directory())) std::filesystem::remove_all(entry);
    }
    void RequireNothingElsewhere() const
    {
        const std::filesystem::directory_iterator all(Path()), end;
        Require(std::distance(all, end) == 2, "there is no file outside the directory of the settings");
        std::ifstream file(Path() + "/other");
        Require(std::string(std::istreambuf_iterator<char>(file), {}) == kOther, "and the other one is as it was");
        for (const auto& entry : std::filesystem::directory_iterator(Directory())) {
            const std::string name = entry.path().filename();
            Require(name.rfind("settings.db", 0) == 0, "all files in it are of the settings");
        }
    }

private:
    static constexpr const char* kOther = "somebody else's";
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
           ") REPLACE INTO settings SELECT 'db/setting/' || (1000 + i), " + value + " FROM n;";
}

// A text of a size, of which every page shows whose it is.
std::string TextOf(const char* size)
{
    return std::string("substr(replace(hex(zeroblob(1 + ") + size +
           " / 8)), '00', '<db/setting/' || (1000 + i) || '>'), 1, " + size + ")";
}

const std::vector<Image>& Images()
{
    const std::string numbers = Fill("100", "i * 977 % 60000 - 30000");
    const std::string texts = Fill("60", TextOf("i * i").c_str());
    const std::string longTexts = Fill("8", TextOf("i * 3000").c_str());
    const std::string changes = "INSERT INTO changes(bytes, key, value) SELECT 9, key, value FROM settings;";
    const std::string removal =
        "DELETE FROM settings WHERE key LIKE '%3%';"
        "INSERT INTO changes(bytes, key, value) VALUES(9, 'db/setting/1003', NULL);";
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

// The bytes of the changed pages, as they were and as they are.
struct Damage {
    std::string before;
    std::string after;
    bool isBeyondRepair = false;  // several pages are changed, and the tree is no longer whole: a page may seem free
};

Damage FindDamage(const std::string& original, const std::string& database)
{
    constexpr char kInnerPage = 2;
    Damage damage;
    bool isTreeChanged = false;
    for (std::size_t at = 0; at < original.size(); at += kPage) {
        const std::string before = original.substr(at, kPage);
        const std::string after = at < database.size() ? database.substr(at, kPage) : "";
        if (before == after) continue;
        isTreeChanged = isTreeChanged || before.front() == kInnerPage;
        damage.before += before;
        damage.after += after;
    }
    damage.isBeyondRepair = isTreeChanged && damage.before.size() > kPage;
    return damage;
}

// A setting without a part on a changed page is there, with its value unless a changed page has its key now.
void RequireUndamaged(const Image& image, const std::string& database, const Values& found)
{
    const Damage damage = FindDamage(image.database, database);
    if (damage.isBeyondRepair) return;
    for (const auto& [key, value] : image.values) {
        if (damage.before.find(key) != std::string::npos) continue;
        const auto setting = found.find(key);
        Require(setting != found.end(), "a setting on undamaged pages is kept");
        const bool isForged = damage.after.find(key) != std::string::npos;
        Require(isForged || setting->second == value, "with its value");
    }
}

void CheckSalvage(const Image& image, const std::string& database, const std::string& log)
{
    const host::Salvaged salvaged = host::Salvage(BytesOf(database), BytesOf(log));
    for (const auto& [key, value] : salvaged.values) {
        Require(key.size() <= database.size() + log.size(), "a key is of the file's bytes");
        if (const auto* text = std::get_if<std::string>(&value))
            Require(text->size() <= database.size() + log.size(), "and so is a text");
    }
    if (image.log.empty() && log.empty()) RequireUndamaged(image, database, salvaged.values);
    if (database != image.database || log != image.log) return;
    Require(salvaged.isComplete, "of a sound database, nothing is missing");
    Require(salvaged.values == image.values, "and all is as SQLite lists it");
}

using Listing = std::vector<std::pair<std::string, std::string>>;  // numbers with a sign before them

// Opens the files as a process does that has not done so before, and has the database recovered if the check finds
// damage. @return An SQLite result.
int CheckAndList(Listing* listing)
{
    const host::DatabaseFiles files(ThePlace().Directory(), "settings.db");
    host::SharedByConnections shared;
    host::Connection connection(files, false, &shared);
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

// By a connection of SQLite's own.
void RequireSound()
{
    sqlite3* database = nullptr;
    bool isSound =
        sqlite3_open_v2(ThePlace().Database().c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK;
    const auto isOk = [](void* sound, int, char** columns, char**) {
        *static_cast<bool*>(sound) = std::strcmp(columns[0], "ok") == 0;
        return 0;
    };
    isSound =
        isSound && sqlite3_exec(database, "PRAGMA integrity_check(1)", isOk, &isSound, nullptr) == SQLITE_OK && isSound;
    sqlite3_close(database);
    Require(isSound, "what is in use is sound");
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
    if (result == SQLITE_OK) RequireSound();
    ThePlace().RequireNothingElsewhere();
    if (database != image.database || log != image.log) return;
    Require(result == SQLITE_OK && first.size() == image.values.size(), "a sound database is used as it is");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    const Image& image = Images()[input.Below(static_cast<unsigned>(Images().size()))];
    const std::clock_t begin = std::clock();
    const bool isOpened = input.Below(4) == 0;
    std::string database = image.database;
    std::string log = image.log;
    while (input.Left() > 0) Change(input, input.Below(4) == 0 ? log : database);
    CheckSalvage(image, database, log);
    if (isOpened) CheckOpening(image, database, log);
    Require(std::clock() - begin < kLongestTime, "it takes no long time");
    return 0;
}
