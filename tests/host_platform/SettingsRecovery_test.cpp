// SPDX-License-Identifier: Apache-2.0
// What is kept of a damaged database: every setting whose pages are as they were.
#include "SettingsTrouble.h"
#include "srcwatch-host.h"

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPage = 4096;
constexpr int kSettings = 100;
constexpr int kRemoved = 10;

using Contents = std::map<std::string, std::string>;  // numbers as texts

std::string KeyOf(int index)
{
    const std::string number = std::to_string(1000 + index);
    return "db/setting/" + number;
}

// Numbers, short texts, and texts that need pages of their own; each page with a part of one shows whose it is.
std::string ValueOf(int index)
{
    if (index % 5 == 0) return std::to_string(index);
    std::string text;
    const std::size_t length = index % 5 == 1 ? 9000 : index % 5 == 2 ? 1200 : 60;
    while (text.size() < length) text += "<" + KeyOf(index) + ">";
    return text;
}

Contents AllSettings()
{
    Contents contents;
    const auto collect = [](const char* key, const srcwatch_host_value* value, void* to) {
        (*static_cast<Contents*>(to))[key] = value->text != nullptr ? value->text : std::to_string(value->number);
    };
    EXPECT_EQ(srcwatch_host_list_settings(collect, &contents), 0);
    return contents;
}

struct Damage {
    const char* name;
    std::function<std::string(const std::string& content, std::size_t page)> bytes;
};

const std::vector<Damage>& Damages()
{
    static const std::vector<Damage> damages = {
        {"zeros", [](const auto&, auto) { return std::string(kPage, '\0'); }},
        {"noise",
         [](const auto&, auto page) {
             std::string bytes(kPage, '\0');
             unsigned state = static_cast<unsigned>(page) + 1;
             for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
             return bytes;
         }},
        {"ones", [](const auto&, auto) { return std::string(kPage, '\xff'); }},
        {"half a page",
         [](const auto& content, auto page) {
             return std::string(kPage / 2, '\x0a') + content.substr(page * kPage + kPage / 2, kPage / 2);
         }},
    };
    return damages;
}

class SettingsRecovery : public SettingsTrouble {
protected:
    // Some are written twice, and some removed, so that there are free pages with their old values.
    void GivenSettings()
    {
        ASSERT_TRUE(InProcess([] {
            for (int index = kSettings - kRemoved; index < kSettings + kRemoved; index++) {
                EXPECT_EQ(vconf_set_str(KeyOf(index).c_str(), std::string(5000, 'o').c_str()), 0);
            }
            for (int index = 0; index < kSettings; index++) {
                const std::string value = ValueOf(index);
                EXPECT_EQ(index % 5 == 0 ? vconf_set_int(KeyOf(index).c_str(), index)
                                         : vconf_set_str(KeyOf(index).c_str(), value.c_str()),
                          0);
            }
            for (int index = kSettings; index < kSettings + kRemoved; index++) {
                EXPECT_EQ(srcwatch_host_unset(KeyOf(index).c_str()), 0);
            }
        }));
        Sql(DurableDatabase(), "PRAGMA wal_checkpoint(TRUNCATE)");
        m_content = ReadFile(DurableDatabase());
        for (int index = 0; index < kSettings; index++) m_expected[KeyOf(index)] = ValueOf(index);
    }

    // Without them, nothing but the pages of the settings can help.
    void GivenNoChanges()
    {
        Sql(DurableDatabase(), "DELETE FROM changes WHERE seq < (SELECT max(seq) FROM changes)");
        Sql(DurableDatabase(), "PRAGMA wal_checkpoint(TRUNCATE)");
        m_content = ReadFile(DurableDatabase());
    }

    std::set<std::string> KeysOn(std::size_t page) const
    {
        std::set<std::string> keys;
        const std::string bytes = m_content.substr(page * kPage, kPage);
        for (const auto& [key, value] : m_expected)
            if (bytes.find(key) != std::string::npos) keys.insert(key);
        return keys;
    }

    // A database with that page damaged, as after a start.
    void Plant(std::size_t page, const std::string& bytes) const
    {
        fs::remove_all(StateDir());
        fs::create_directories(StateDir());
        std::string content = m_content;
        content.replace(page * kPage, kPage, bytes);
        WriteFile(DurableDatabase(), content);
    }

    // Repairs the database, and compares the settings that have no part on the damaged page.
    testing::AssertionResult IsRecoveredBesides(const std::set<std::string>& lost) const
    {
        return InProcess([&] {
            ASSERT_EQ(srcwatch_host_repair_settings(), 0);
            Contents found = AllSettings();
            for (const auto& [key, value] : m_expected) {
                if (lost.count(key) > 0) continue;
                EXPECT_EQ(found[key], value) << key;
            }
            for (const auto& [key, value] : found) EXPECT_EQ(m_expected.count(key), 1U) << key << " was removed";
        });
    }

    std::string m_content;
    Contents m_expected;
};

// Damage on a free page, or between the parts of a page, changes no setting, and may stay unnoticed.
TEST_F(SettingsRecovery, KeepsAllThatIsNotOnTheDamagedPage)
{
    GivenSettings();
    GivenNoChanges();
    for (std::size_t page = 0; page < m_content.size() / kPage; page++) {
        for (const Damage& damage : Damages()) {
            Plant(page, damage.bytes(m_content, page));
            EXPECT_TRUE(InProcess([this] {
                const bool isSound = srcwatch_host_check_settings() == 0 && LogLines("is damaged").empty();
                EXPECT_TRUE(!isSound || AllSettings() == m_expected) << "silent";
            })) << damage.name
                << " on page " << page;
            EXPECT_TRUE(IsRecoveredBesides(KeysOn(page))) << damage.name << " on page " << page;
            fs::remove(Path("log"));
        }
    }
}

// An inner page of the tree has a cell less or twice, or another page's content, and looks as if it was whole.
TEST_F(SettingsRecovery, KeepsAllThatIsMissingInTheTree)
{
    constexpr char kInner = 2;
    constexpr char kLeaf = 10;
    constexpr std::size_t kCount = 4;
    constexpr std::size_t kPlaces = 12;
    GivenSettings();
    GivenNoChanges();
    std::vector<std::size_t> inner;
    std::string leaf;
    for (std::size_t page = 0; page < m_content.size() / kPage; page++) {
        if (m_content[page * kPage] == kInner) inner.push_back(page);
        const std::string bytes = m_content.substr(page * kPage, kPage);
        const bool hasRemoved = bytes.find("db/setting/11") != std::string::npos;
        if (bytes.front() == kLeaf && !hasRemoved) leaf = bytes;
    }
    ASSERT_FALSE(inner.empty());
    for (const std::size_t page : inner) {
        std::string fewer = m_content.substr(page * kPage, kPage);
        std::string twice = fewer;
        ASSERT_GT(fewer[kCount]--, 1);
        twice.replace(kPlaces, 2, twice.substr(kPlaces + 2, 2));
        for (const std::string& bytes : {fewer, twice, leaf}) {
            Plant(page, bytes);
            EXPECT_TRUE(IsRecoveredBesides(KeysOn(page))) << "page " << page;
        }
    }
}

// The change log has a second copy of what was written lately.
TEST_F(SettingsRecovery, KeepsAllWithTheHelpOfTheChangeLog)
{
    GivenSettings();
    for (std::size_t page = 0; page < m_content.size() / kPage; page++) {
        Plant(page, Damages()[page % Damages().size()].bytes(m_content, page));
        EXPECT_TRUE(IsRecoveredBesides({})) << "page " << page;
    }
}

// The good copy has what neither the pages nor the change log have.
TEST_F(SettingsRecovery, TakesTheRestFromTheCopy)
{
    GivenSettings();
    ASSERT_TRUE(InProcess([] { EXPECT_EQ(srcwatch_host_back_up_settings(srcwatch_host_copy_path()), 0); }));
    const std::string copy = ReadFile(DurableDatabase() + ".copy");
    GivenNoChanges();
    for (std::size_t page = 0; page < m_content.size() / kPage; page++) {
        Plant(page, Damages()[page % Damages().size()].bytes(m_content, page));
        WriteFile(DurableDatabase() + ".copy", copy);
        EXPECT_TRUE(IsRecoveredBesides({})) << "page " << page;
    }
}

TEST_F(SettingsRecovery, GoesOnWhereAnotherProcessWasKilled)
{
    GivenSettings();
    for (const char* suffix : {"", "-wal"}) {
        Plant(0, m_content.substr(0, kPage));
        ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/in-the-log", 1), 0); }));
        for (const char* moved : {"", "-wal"}) {
            fs::rename(DurableDatabase() + moved, DurableDatabase() + ".recovering" + moved);
            if (std::string(moved) == suffix) break;
        }
        m_expected["db/in-the-log"] = "1";
        EXPECT_TRUE(IsRecoveredBesides({})) << "after the move of settings.db" << suffix;
        EXPECT_EQ(DamagedFiles().size(), 1U);
        EXPECT_FALSE(fs::exists(DurableDatabase() + ".recovering"));
    }
}

}  // namespace
