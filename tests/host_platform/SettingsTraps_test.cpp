// SPDX-License-Identifier: Apache-2.0
// What others can put in the places of the settings' files, where a process with more rights comes by.
#include "SettingsTrouble.h"
#include "srcwatch-host.h"

#include <filesystem>
#include <string>
#include <tuple>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr mode_t kVictimMode = 0600;

// As far as this user may.
void MakeForeign(const std::string& path)
{
    EXPECT_TRUE(geteuid() != 0 || chown(path.c_str(), kNobody, kNobody) == 0) << path;
}

struct Trap {
    const char* name;
    void (*set)(const std::string& path, const std::string& place);
};

const Trap kTraps[] = {
    {"LinkToAFile", [](const auto& path, const auto& place) { fs::create_symlink(place + "/victim", path); }},
    {"LinkToNothing", [](const auto& path, const auto& place) { fs::create_symlink(place + "/created", path); }},
    {"OtherNameOfAFile", [](const auto& path, const auto& place) { fs::create_hard_link(place + "/victim", path); }},
    {"Directory", [](const auto& path, const auto&) { fs::create_directory(path); }},
    {"Pipe", [](const auto& path, const auto&) { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }},
    {"FileOfAnotherUser",
     [](const auto& path, const auto&) {
         WriteFile(path, "");
         EXPECT_EQ(chmod(path.c_str(), 0644), 0);
         MakeForeign(path);
     }},
};

struct Place {
    const char* name;
    const char* suffix;
    bool isNeeded;  // the settings cannot be used without it
};

const Place kPlaces[] = {
    {"Database", "", true},        {"Log", "-wal", true},         {"Index", "-shm", true},
    {"Journal", "-journal", true}, {"WakeUp", ".changed", false}, {"Lock", ".lock", false},
};

struct stat StatusOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t ModeOf(const std::string& path) { return StatusOf(path).st_mode & 07777; }

class TrappedSettings : public SettingsTrouble {
protected:
    TrappedSettings()
    {
        fs::permissions(Path(""), fs::perms(0755));
        WriteFile(Path("victim"), "victim");
        EXPECT_EQ(chmod(Path("victim").c_str(), kVictimMode), 0);
        for (const std::string& directory : {StateDir(), RunDir()}) {
            fs::create_directories(directory);
            EXPECT_EQ(chmod(directory.c_str(), 0777), 0);
            MakeForeign(directory);
        }
    }

    void ExpectVictimUntouched() const
    {
        EXPECT_TRUE(ReadFile(Path("victim")) == "victim") << "overwritten or removed";
        EXPECT_EQ(ModeOf(Path("victim")), kVictimMode);
        EXPECT_EQ(StatusOf(Path("victim")).st_uid, geteuid());
        EXPECT_FALSE(fs::exists(Path("created")));
    }

    void ExpectNothingWritableForAll() const
    {
        for (const std::string& directory : {StateDir(), RunDir()}) {
            for (const auto& entry : fs::directory_iterator(directory)) {
                const mode_t bits = entry.is_symlink() ? 0 : ModeOf(entry.path());
                EXPECT_EQ(bits & S_IWOTH, 0u) << entry.path();
            }
        }
    }
};

using Combination = std::tuple<Place, Trap, bool>;

std::string NameOf(const Combination& combination)
{
    const auto& [place, trap, isDurable] = combination;
    return std::string(isDurable ? "Durable" : "Volatile") + place.name + trap.name;
}

class EveryTrap : public TrappedSettings, public testing::WithParamInterface<Combination> {
protected:
    // Uses the settings, with the trap in its place from now on.
    void FallIntoIt()
    {
        const auto& [place, trap, isDurable] = GetParam();
        const std::string path = (isDurable ? DurableDatabase() : VolatileDatabase()) + place.suffix;
        const std::string key = isDurable ? "db/x" : "memory/x";
        fs::remove(path);
        trap.set(path, Path(""));
        EXPECT_TRUE(InProcess([&key, isNeeded = place.isNeeded] {
            const int result = vconf_set_int(key.c_str(), 2);
            EXPECT_TRUE(isNeeded || result == 0) << result;
            int read = kUntouched;
            EXPECT_EQ(vconf_get_int(key.c_str(), &read) == 0 && read == 2, result == 0);
            static_cast<void>(srcwatch_host_unset((key + "/other").c_str()));
            static_cast<void>(srcwatch_host_set_connected(13, true));
        })) << Log();
        ExpectVictimUntouched();
        ExpectNothingWritableForAll();
    }
};

INSTANTIATE_TEST_SUITE_P(In, EveryTrap,
                         testing::Combine(testing::ValuesIn(kPlaces), testing::ValuesIn(kTraps), testing::Bool()),
                         [](const auto& trap) { return NameOf(trap.param); });

TEST_P(EveryTrap, IsHarmlessWhereNothingWasStored) { FallIntoIt(); }

TEST_P(EveryTrap, IsHarmlessInAStoreInUse)
{
    ASSERT_TRUE(InProcess([] {
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
        EXPECT_EQ(vconf_set_int("memory/x", 1), 0);
    }));
    FallIntoIt();
}

TEST_F(TrappedSettings, MayLieBehindALinkOfADirectory)
{
    fs::create_directory_symlink(StateDir(), Path("link"));
    GivenEnvironment("SRCWATCH_STATE_DIR", Path("link"));

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));

    EXPECT_EQ(Sql(DurableDatabase(), "SELECT value FROM settings"), "1");
    EXPECT_EQ(Log(), "");
}

std::string BigEndian(std::size_t number)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xff);
    return bytes;
}

// What a transaction over several databases leaves when it is interrupted: a list of them, to be deleted afterwards.
TEST_F(TrappedSettings, DeleteNoFileThatAJournalNames)
{
    ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));
    const std::string magic = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
    const std::string name = Path("victim");
    std::size_t sum = 0;
    for (const char byte : name) sum += static_cast<unsigned char>(byte);
    std::string header = magic + BigEndian(0) + BigEndian(0) + BigEndian(1) + BigEndian(512) + BigEndian(4096);
    header.resize(512);
    constexpr std::size_t kPageOfTheLocks = 0x40000000 / 4096 + 1;
    WriteFile(DurableDatabase() + "-journal",
              header + BigEndian(kPageOfTheLocks) + name + BigEndian(name.size()) + BigEndian(sum) + magic);

    EXPECT_TRUE(InProcess([] {
        int read = kUntouched;
        static_cast<void>(vconf_get_int("db/x", &read));
    }));

    ExpectVictimUntouched();
}

// As the packages set up the directory: mode 2770, for the group.
TEST_F(TrappedSettings, AreSharedWithTheGroupOfTheirDirectory)
{
    constexpr gid_t kGroup = 54321;
    ASSERT_TRUE(geteuid() != 0 || chown(StateDir().c_str(), 0, kGroup) == 0);
    ASSERT_EQ(chmod(StateDir().c_str(), 02770), 0);
    WriteFile(Path("log"), "");
    fs::permissions(Path("log"), fs::perms(0666));
    ASSERT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 1), 0); }));

    EXPECT_TRUE(InProcess([] {
        if (geteuid() == 0) {
            ASSERT_EQ(setgroups(0, nullptr), 0);
            ASSERT_EQ(setresgid(kGroup, kGroup, kGroup), 0);
        }
        BecomeNobody();
        EXPECT_EQ(vconf_set_int("db/x", 2), 0);
    })) << Log();

    EXPECT_TRUE(InProcess([] { EXPECT_EQ(vconf_set_int("db/x", 3), 0); })) << Log();
    for (const char* suffix : {"", "-wal", "-shm", ".changed"}) {
        EXPECT_EQ(ModeOf(DurableDatabase() + suffix), 0664u) << suffix;
    }
    EXPECT_EQ(Log(), "");
}

TEST_F(TrappedSettings, AreNotSharedWithAllWhoWriteThere)
{
    ASSERT_TRUE(InProcess([] {
        umask(0);
        EXPECT_EQ(vconf_set_int("db/x", 1), 0);
    }));
    ExpectNothingWritableForAll();
}

}  // namespace
