// SPDX-License-Identifier: Apache-2.0
//
// doctor: one fault a row in a healthy system, the checks that fail, what the first of them says, and the cure, which
// is what its remedy says: after it, nothing is wrong.
#include "DoctorTest.h"

#include <csignal>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

// What cannot be read makes these unknown.
#define UNREADABLE "settings-readable settings-writable"
#define UNKNOWN " activity-document optical-document statistics-document"
#define NO_BUS "bus service service-answers events"

using Act = void (*)(DoctorTest& home);

struct Fault {
    const char* name;
    bool isForRoot;  // who alone can plant it
    Act plant;
    const char* failed;
    const char* check;
    const char* detail;
    const char* remedy;
    Act cure;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault) { return out << fault.name; }

constexpr const char* kGoodConf = "[hdmi]\ninputs=4\n";
void WriteGoodConf(DoctorTest& home) { home.WriteFile("platform.conf", kGoodConf); }
void CureNothingElse(DoctorTest& /*home*/) {}  // what RunPlainly() undoes

// Puts things in the places of files.
template <int Which>
void MoveAway(DoctorTest& home)
{
    constexpr const char* kNames[] = {"state",
                                      "run",
                                      "state/settings.db",
                                      "state/settings.db-wal",
                                      "state/settings.db.lock",
                                      "state/settings.db.changed",
                                      "run/volatile.db",
                                      "home"};
    home.Remove(kNames[Which]);
}

void FillWith(DoctorTest& home, const std::string& directory)
{
    home.Mount("mount -t tmpfs -o size=1m tmpfs " + home.Path(directory));
    home.Mount("head -c 4000000 /dev/zero > " + home.Path(directory + "/filler") + " 2>/dev/null || true");
}

void ReplaceByLink(DoctorTest& home, const std::string& name)
{
    home.WriteFile("victim", "");
    home.Remove(name);
    home.Link(home.Path("victim"), name);
}

void StoreNumber(DoctorTest& home, const char* key) { home.Set(key, "7", "--int"); }

const Fault kConfigurationFaults[] = {
    {"NoConfiguration", false, [](auto& home) { home.Remove("platform.conf"); }, "hdmi-count", "hdmi-count",
     "platform.conf: No such file", "put 'inputs=4'", WriteGoodConf},
    {"EmptyConfiguration", false, [](auto& home) { home.WriteFile("platform.conf", ""); }, "hdmi-count", "hdmi-count",
     "not known", "put 'inputs=4'", WriteGoodConf},
    {"NoGroupOfInputs", false, [](auto& home) { home.WriteFile("platform.conf", "[features]\n"); }, "hdmi-count",
     "hdmi-count", "hdmi", "put 'inputs=4'", WriteGoodConf},
    {"NoKeyFile", false, [](auto& home) { home.WriteFile("platform.conf", "inputs 4\n"); }, "hdmi-count", "hdmi-count",
     "not a key-value pair", "put 'inputs=4'", WriteGoodConf},
    {"InputsInWords", false, [](auto& home) { home.WriteFile("platform.conf", "[hdmi]\ninputs=four\n"); }, "hdmi-count",
     "hdmi-count", "cannot be interpreted", "put 'inputs=4'", WriteGoodConf},
    {"NoInputs", false, [](auto& home) { home.WriteFile("platform.conf", "[hdmi]\ninputs=0\n"); }, "hdmi-count",
     "hdmi-count", "0 HDMI inputs are not possible", "put 'inputs=4'", WriteGoodConf},
    {"NegativeInputs", false, [](auto& home) { home.WriteFile("platform.conf", "[hdmi]\ninputs=-3\n"); }, "hdmi-count",
     "hdmi-count", "-3 HDMI inputs are not possible", "put 'inputs=4'", WriteGoodConf},
    {"NineInputs", false, [](auto& home) { home.WriteFile("platform.conf", "[hdmi]\ninputs=9\n"); }, "hdmi-count",
     "hdmi-count", "9 HDMI inputs are not possible: 1 to 8", "put 'inputs=4'", WriteGoodConf},
    {"AbsurdInputs", false, [](auto& home) { home.WriteFile("platform.conf", "[hdmi]\ninputs=2147483647\n"); },
     "hdmi-count", "hdmi-count", "2147483647 HDMI inputs are not possible", "put 'inputs=4'", WriteGoodConf},
    {"InputsBeyondNumbers", false, [](auto& home) { home.WriteFile("platform.conf", "[hdmi]\ninputs=99999999999\n"); },
     "hdmi-count", "hdmi-count", "cannot be interpreted", "put 'inputs=4'", WriteGoodConf},
    {"ConfigurationIsADirectory", false,
     [](auto& home) {
         home.Remove("platform.conf");
         std::filesystem::create_directory(home.Path("platform.conf"));
     },
     "hdmi-count", "hdmi-count", "is not a file", "move it away, and put 'inputs=4'",
     [](auto& home) {
         home.Remove("platform.conf");
         WriteGoodConf(home);
     }},
    {"ProfilesAreNoDocument", false,
     [](auto& home) {
         home.WriteFile("profiles.json", "{");
         home.UseProfiles(home.Path("profiles.json"));
     },
     "profiles", "profiles", "profiles.json: not JSON", "srcwatchctl validate --kind profiles", CureNothingElse},
    {"AProfileHasNoType", false,
     [](auto& home) {
         home.WriteFile("profiles.json", R"({"profiles":[{"spd_vendor":"X"}]})");
         home.UseProfiles(home.Path("profiles.json"));
     },
     "profiles", "profiles", "profiles.json: entry 0", "srcwatchctl validate --kind profiles", CureNothingElse},
    {"ProfilesAreMissing", false, [](auto& home) { home.UseProfiles(home.Path("none.json")); }, "profiles", "profiles",
     "none.json: no such file", "--profiles", CureNothingElse},
    {"NoSqlite", false,
     [](auto& home) {
         home.WriteFile("libsqlite3.so.0", "");
         home.SetVariable("LD_LIBRARY_PATH", home.Path(""));
     },
     "sqlite " UNREADABLE UNKNOWN, "sqlite", "SQLite cannot be loaded", "install SQLite 3",
     [](auto& home) { home.SetVariable("LD_LIBRARY_PATH", ""); }},
};

const Fault kPlaceFaults[] = {
    {"StateDirectoryIsAFile", false,
     [](auto& home) {
         home.Remove("state");
         home.WriteFile("state", "");
     },
     "state-directory " UNREADABLE " settings-damaged" UNKNOWN, "state-directory", "state is not a directory", "move ",
     MoveAway<0>},
    {"StateDirectoryIsALinkLoop", false,
     [](auto& home) {
         home.Remove("state");
         home.Link(home.Path("loop"), "state");
         home.Link(home.Path("state"), "loop");
     },
     "state-directory " UNREADABLE " settings-damaged" UNKNOWN, "state-directory", "a link that leads back to itself",
     "rm ", MoveAway<0>},
    {"StateDirectoryIsALinkToNothing", false,
     [](auto& home) {
         home.Remove("state");
         home.Link(home.Path("nothing"), "state");
     },
     "state-directory " UNREADABLE UNKNOWN, "state-directory", "a link to nothing", "rm ", MoveAway<0>},
    {"RunDirectoryIsAFile", false,
     [](auto& home) {
         home.Remove("run");
         home.WriteFile("run", "");
     },
     "run-directory " UNREADABLE " settings-damaged", "run-directory", "run is not a directory", "move ", MoveAway<1>},
    {"RunDirectoryIsALinkLoop", false,
     [](auto& home) {
         home.Remove("run");
         home.Link("run", "run");
     },
     "run-directory " UNREADABLE " settings-damaged", "run-directory", "a link that leads back to itself", "rm ",
     MoveAway<1>},
    {"AFileAboveTheStateDirectory", false,
     [](auto& home) {
         home.WriteFile("home", "");
         home.SetVariable("SRCWATCH_STATE_DIR", home.Path("home/state"));
     },
     "state-directory " UNREADABLE " settings-damaged" UNKNOWN, "state-directory", "home is not a directory", "move ",
     MoveAway<7>},
    {"TheStatePathIsTooLong", false,
     [](auto& home) {
         std::string path = home.Path("long");
         while (path.size() < 510) path += "/" + std::string(50, 'x');
         home.SetVariable("SRCWATCH_STATE_DIR", path);
     },
     "state-directory " UNREADABLE UNKNOWN, "state-directory", "has more than 504 bytes", "set SRCWATCH_STATE_DIR",
     [](auto& home) { home.SetVariable("SRCWATCH_STATE_DIR", home.Path("state")); }},
    {"ANameInTheStatePathIsTooLong", false,
     [](auto& home) { home.SetVariable("SRCWATCH_STATE_DIR", home.Path(std::string(300, 'x'))); },
     "state-directory " UNREADABLE " settings-damaged" UNKNOWN, "state-directory", "is too long", "use shorter names",
     [](auto& home) { home.SetVariable("SRCWATCH_STATE_DIR", home.Path("state")); }},
    {"TheRunPathIsTooLong", false,
     [](auto& home) {
         std::string path = home.Path("long");
         while (path.size() < 510) path += "/" + std::string(50, 'x');
         home.SetVariable("SRCWATCH_RUN_DIR", path);
     },
     "run-directory " UNREADABLE, "run-directory", "has more than 504 bytes", "set SRCWATCH_RUN_DIR",
     [](auto& home) { home.SetVariable("SRCWATCH_RUN_DIR", home.Path("run")); }},
    {"TheDatabaseIsALink", false, [](auto& home) { ReplaceByLink(home, "state/settings.db"); },
     "state-directory " UNREADABLE UNKNOWN, "state-directory", "settings.db is a link, not a file", "move ",
     MoveAway<2>},
    {"TheDatabaseIsADirectory", false,
     [](auto& home) {
         home.Remove("state/settings.db");
         std::filesystem::create_directory(home.Path("state/settings.db"));
     },
     "state-directory " UNREADABLE UNKNOWN, "state-directory", "settings.db is a directory, not a file", "move ",
     MoveAway<2>},
    {"TheDatabaseIsAPipe", false,
     [](auto& home) {
         home.Remove("state/settings.db");
         ASSERT_EQ(mkfifo(home.Path("state/settings.db").c_str(), 0600), 0);
     },
     "state-directory " UNREADABLE UNKNOWN, "state-directory", "settings.db is a pipe, not a file", "move ",
     MoveAway<2>},
    {"TheLogIsALink", false, [](auto& home) { ReplaceByLink(home, "state/settings.db-wal"); },
     "state-directory " UNREADABLE UNKNOWN, "state-directory", "settings.db-wal is a link, not a file", "move ",
     MoveAway<3>},
    {"TheLogIsAlsoAnotherFile", false,
     [](auto& home) { std::filesystem::create_hard_link(home.Path("state/settings.db-wal"), home.Path("other")); },
     "state-directory " UNREADABLE UNKNOWN, "state-directory", "settings.db-wal is also another file", "move ",
     MoveAway<3>},
    {"TheLockIsALink", false, [](auto& home) { ReplaceByLink(home, "state/settings.db.lock"); }, "state-directory",
     "state-directory", "settings.db.lock is a link, not a file", "move ", MoveAway<4>},
    {"TheWakeUpIsALink", false, [](auto& home) { ReplaceByLink(home, "state/settings.db.changed"); }, "state-directory",
     "state-directory", "settings.db.changed is a link, not a file", "move ", MoveAway<5>},
    {"TheVolatileDatabaseIsALink", false, [](auto& home) { ReplaceByLink(home, "run/volatile.db"); },
     "run-directory " UNREADABLE, "run-directory", "volatile.db is a link, not a file", "move ", MoveAway<6>},
};

const Fault kStoreFaults[] = {
    {"TheDurableDiskIsFull", true, [](auto& home) { FillWith(home, "state"); }, "state-directory " UNREADABLE UNKNOWN,
     "state-directory", "state is full: 0 bytes are free", "free space", CureNothingElse},
    {"TheVolatileDiskIsFull", true, [](auto& home) { FillWith(home, "run"); }, "run-directory " UNREADABLE,
     "run-directory", "run is full: 0 bytes are free", "free space", CureNothingElse},
    {"TheDurableDiskIsReadOnly", true,
     [](auto& home) {
         const std::string state = home.Path("state");
         home.Mount("mount --bind " + state + " " + state + " && mount -o remount,bind,ro " + state);
     },
     "state-directory settings-writable", "settings-writable", "is mounted read-only", "for writing", CureNothingElse},
    {"FilesMayNotGrow", false,
     [](auto& home) {
         home.Remove("run");
         home.RunAs({"prlimit", "--fsize=8192"});
     },
     UNREADABLE UNKNOWN, "settings-writable", "may write files of 8192 bytes only", "ulimit -f unlimited",
     CureNothingElse},
    {"ALaterVersionMadeTheDatabase", false, [](auto& home) { home.Sql("state/settings.db", "PRAGMA user_version=2"); },
     UNREADABLE UNKNOWN, "settings-readable", "a later version of this software created", "install that version",
     MoveAway<2>},
    {"ALaterVersionMadeTheVolatileDatabase", false,
     [](auto& home) { home.Sql("run/volatile.db", "PRAGMA user_version=9"); }, UNREADABLE, "settings-readable",
     "a later version of this software created", "install that version", MoveAway<6>},
    {"AnotherProcessLocksTheDatabase", false, [](auto& home) { home.Sql("state/settings.db", "BEGIN IMMEDIATE"); },
     "settings-writable", "settings-writable", "keeps", "kill -CONT", CureNothingElse},
    {"TheDatabaseIsDamaged", false,
     [](auto& home) {
         home.Remove("state/settings.db-wal");
         home.WriteFile("state/settings.db", std::string(8192, 'x'));
     },
     "settings-damaged", "settings-damaged", "1 database(s) were damaged and put aside, the last as", "move ",
     [](auto& home) { home.Remove("state"); }},
    {"TwoDatabasesWerePutAside", false,
     [](auto& home) {
         home.WriteFile("state/settings.db.damaged-20260101T000000.000Z", "x");
         home.WriteFile("state/settings.db.damaged-20260101T000000.000Z-wal", "x");
         home.WriteFile("state/settings.db.damaged-20260202T000000.000Z", "x");
     },
     "settings-damaged", "settings-damaged", "2 database(s) were damaged and put aside, the last as ",
     "settings.db.damaged-20260202T000000.000Z elsewhere",
     [](auto& home) {
         home.Remove("state/settings.db.damaged-20260202T000000.000Z");
         home.Remove("state/settings.db.damaged-20260101T000000.000Z");
     }},
    {"TheVolatileDatabaseWasPutAside", false,
     [](auto& home) { home.WriteFile("run/volatile.db.damaged-20260101T000000.000Z", "x"); }, "settings-damaged",
     "settings-damaged", "volatile.db.damaged-", "move ",
     [](auto& home) { home.Remove("run/volatile.db.damaged-20260101T000000.000Z"); }},
    {"TheActivityDocumentIsDamaged", false,
     [](auto& home) { home.Set(kActivityKey, "{\"activity\": [\n{\"DevType\": []}]}"); }, "activity-document",
     "activity-document", "line 2: activity[0].DevType: is not a 32-bit number", "replaces it when it starts",
     [](auto& home) { home.Set(kActivityKey, R"({"activity":[]})"); }},
    {"TheOpticalDocumentIsDamaged", false, [](auto& home) { home.Set(kOpticalKey, "{"); }, "optical-document",
     "optical-document", "line 1", "replaces it when it starts",
     [](auto& home) { home.Set(kOpticalKey, R"({"activity":{}})"); }},
    {"TheStatisticsAreDamaged", false, [](auto& home) { home.Set(kStatisticsKey, R"({"Auto":7})"); },
     "statistics-document", "statistics-document", "Auto", "replaces it when it starts",
     [](auto& home) { home.Set(kStatisticsKey, R"({"Auto":[]})"); }},
    {"AFaultHasNotBeenMetYet", false,
     [](auto& home) {
         home.Set("db/text", "text");
         home.Sql("state/settings.db", "UPDATE settings SET value = 'a' || char(0) WHERE key = 'db/text'");
     },
     "settings-damaged", "settings-damaged", "a database is damaged", "settings repair",
     [](auto& home) { home.Remove("state"); }},
    {"ADocumentIsTooLarge", false,
     [](auto& home) {
         home.Set(kActivityKey, "{}");
         home.Sql("state/settings.db", "UPDATE settings SET value = printf('%.*c', 2000000, 'x')");
     },
     "activity-document", "activity-document", "too large to be read", "settings set",
     [](auto& home) { home.Set(kActivityKey, R"({"activity":[]})"); }},
    {"ADocumentIsANumber", false, [](auto& home) { StoreNumber(home, kActivityKey); }, "activity-document",
     "activity-document", "a number is stored", "replaces it when it starts",
     [](auto& home) { home.Set(kActivityKey, R"({"activity":[]})"); }},
};

const Fault kBusFaults[] = {
    {"NoBus", false,
     [](auto& home) { home.SetVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + home.Path("no-bus")); }, NO_BUS, "bus",
     "cannot reach the system bus", "set DBUS_SYSTEM_BUS_ADDRESS", CureNothingElse},
    {"TheBusHangs", false,
     [](auto& home) {
         home.UseBus("");
         home.bus->Pause();
     },
     NO_BUS, "bus", "the system bus does not answer", "kill -CONT", CureNothingElse},
    {"NoService", false, [](auto& home) { home.StopFake(); }, "service", "service", "has no owner",
     "start srcwatch-service", [](auto& home) { home.StartFake(); }},
    {"TheServiceHangs", false,
     [](auto& home) {
         home.StopFake();
         home.peer = std::make_unique<BusPeer>();
         home.peer->RequestName("org.nalto.tv.qdinfo");
     },
     "service-answers", "service-answers", "does not answer a call within 2 s", "kill -KILL",
     [](auto& home) { home.StartFake(); }},
    {"EventsAreNotDelivered", false,
     [](auto& home) {
         home.UseBus(
             "<policy context='default'><allow user='*'/><allow own='*'/><allow send_destination='*'/>"
             "<allow receive_type='method_return'/><allow receive_type='error'/>"
             "<deny send_interface='org.nalto.tv.qdinfo' send_type='signal'/></policy>");
         home.peer = std::make_unique<BusPeer>(home.bus->Address());
         home.peer->AnswerWith([](const BusMessage&) { return g_variant_new("(s)", "{}"); });
         home.peer->RequestName("org.nalto.tv.qdinfo");
     },
     "events", "events", "did not arrive", "let the bus's policy allow signals", CureNothingElse},
};

class DoctorFinds : public DoctorTest, public testing::WithParamInterface<Fault> {
protected:
    void SetUp() override
    {
        if (GetParam().isForRoot && geteuid() != 0) GTEST_SKIP() << "only root can plant this";
        StartFake();
        Set("db/x", "1", "--int");
        Set("memory/x", "1", "--int");
    }
};

TEST_P(DoctorFinds, TheFaultAndItsRemedy)
{
    const Fault& fault = GetParam();
    ASSERT_EQ(RunDoctor().code, 0) << "the system is not healthy";
    fault.plant(*this);
    ASSERT_FALSE(HasFatalFailure());

    const Outcome found = RunDoctor();

    const Json::Value findings = Parse(found.out);
    EXPECT_EQ(FailedChecks(findings), fault.failed) << found;
    EXPECT_TRUE(Fails(found, 1, "check(s) failed"));
    EXPECT_THAT(FindingOf(findings, fault.check)["detail"].asString(), HasSubstr(fault.detail));
    EXPECT_THAT(FindingOf(findings, fault.check)["remedy"].asString(), HasSubstr(fault.remedy));

    RunPlainly();
    fault.cure(*this);
    const Outcome cured = RunDoctor();
    EXPECT_EQ(cured.code, 0) << cured;
}

std::string NameOf(const testing::TestParamInfo<Fault>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(OfConfiguration, DoctorFinds, testing::ValuesIn(kConfigurationFaults), NameOf);
INSTANTIATE_TEST_SUITE_P(OfPlaces, DoctorFinds, testing::ValuesIn(kPlaceFaults), NameOf);
INSTANTIATE_TEST_SUITE_P(OfTheStore, DoctorFinds, testing::ValuesIn(kStoreFaults), NameOf);
INSTANTIATE_TEST_SUITE_P(OfTheBus, DoctorFinds, testing::ValuesIn(kBusFaults), NameOf);

}  // namespace
