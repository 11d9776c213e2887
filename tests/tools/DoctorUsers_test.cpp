// SPDX-License-Identifier: Apache-2.0
//
// doctor, where several users share a machine: those of the service, of its group, and others. Only root can be all.
#include "DoctorTest.h"

#include <cstdlib>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

const Words kAsMember = {"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"};
const Words kAsStranger = {"setpriv", "--reuid=daemon", "--regid=daemon", "--clear-groups"};

class DoctorForRoot : public DoctorTest {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "only root can act as other users";
        Prepare();
    }
    virtual void Prepare() = 0;

    Json::Value Findings(int code)
    {
        const Outcome outcome = RunDoctor();
        EXPECT_EQ(outcome.code, code) << outcome;
        return Parse(outcome.out);
    }
};

// ---------------------------------------------------------------------------------------------------------------------
// A service of another user

class BesideAnothersService : public DoctorForRoot {
protected:
    void Prepare() override
    {
        SetMode(".", 0755);
        for (const char* directory : {"state", "run"}) {
            std::filesystem::create_directory(Path(directory));
            SetOwner(directory, kOtherId, kOtherId);
            SetMode(directory, 02770);
        }
        UseBus(
            "<policy context='default'><allow user='*'/><allow own='*'/><allow send_destination='*'/>"
            "<allow receive_sender='*'/></policy>");
        Words command = kAsMember;
        command.insert(command.end(),
                       {SRCWATCH_SERVICE_PROGRAM, "--inputs", Path("inputs"), "--profiles", SRCWATCH_PROFILES_FILE});
        program = std::make_unique<Program>(command, Environment(), Path("service"));
        ASSERT_TRUE(RunUntil([&] { return Run({"call", "status"}).code == 0; })) << program->Errors();
    }
};

TEST_F(BesideAnothersService, FindsNothingAsRoot) { static_cast<void>(Findings(0)); }

TEST_F(BesideAnothersService, FindsNothingAsTheServicesUser)
{
    RunAs(kAsMember);
    static_cast<void>(Findings(0));
}

TEST_F(BesideAnothersService, SendsAStrangerToTheDirectorysGroup)
{
    SetOwner("state", 0, kOtherId);
    RunAs(kAsStranger);

    const Json::Value finding = FindingOf(Findings(1), "settings-readable");

    EXPECT_THAT(finding["detail"].asString(), HasSubstr("the user daemon may not use " + Path("state")));
    EXPECT_THAT(finding["remedy"].asString(), HasSubstr("usermod -aG nogroup daemon"));
}

struct Loss {
    const char* name;
    const char* path;
    mode_t mode;
    const char* detail;
};
std::ostream& operator<<(std::ostream& out, const Loss& loss) { return out << loss.name; }

class DoctorFindsLoss : public BesideAnothersService, public testing::WithParamInterface<Loss> {};

// The remedy is a command. The owners of the log and its index are no rows: SQLite corrects them when root opens them.
TEST_P(DoctorFindsLoss, AndTheCommandThatEndsIt)
{
    SetOwner(GetParam().path, 0, 0);
    SetMode(GetParam().path, GetParam().mode);

    const Json::Value findings = Findings(1);

    EXPECT_EQ(FailedChecks(findings), "settings-owner");
    const Json::Value finding = FindingOf(findings, "settings-owner");
    EXPECT_THAT(finding["detail"].asString(), HasSubstr(GetParam().detail));
    const std::string remedy = finding["remedy"].asString();
    ASSERT_EQ(remedy.rfind("as root: ", 0), 0U) << remedy;
    EXPECT_EQ(std::system(remedy.substr(9).c_str()), 0) << remedy;
    static_cast<void>(Findings(0));
}

INSTANTIATE_TEST_SUITE_P(Of, DoctorFindsLoss,
                         testing::Values(Loss{"TheStateDirectory", "state", 0755, "the user nobody may not use"},
                                         Loss{"TheRunDirectory", "run", 0755, "the user nobody may not use"},
                                         Loss{"TheDatabase", "state/settings.db", 0600, "settings.db (root:root 0600)"},
                                         Loss{"TheWakeUp", "state/settings.db.changed", 0644,
                                              "settings.db.changed (root:root 0644)"},
                                         Loss{"ThePlace", ".", 0700, "the user nobody may not enter"}),
                         [](const auto& loss) { return std::string(loss.param.name); });

// ---------------------------------------------------------------------------------------------------------------------
// The system's bus

constexpr const char* kSystemRules =
    "<policy context='default'><allow user='*'/><deny own='*'/><deny send_type='method_call'/>"
    "<allow send_type='signal'/><allow send_requested_reply='true' send_type='method_return'/>"
    "<allow send_requested_reply='true' send_type='error'/><allow receive_type='method_call'/>"
    "<allow receive_type='method_return'/><allow receive_type='error'/><allow receive_type='signal'/>"
    "<allow send_destination='org.freedesktop.DBus'/></policy>";
constexpr const char* kOwnerRule = "<policy user='root'><allow own='org.nalto.tv.qdinfo'/></policy>";
constexpr const char* kPolicy =
    "<policy context='default'><deny own='org.nalto.tv.qdinfo'/>"
    "<deny send_interface='org.nalto.tv.qdinfo' send_type='signal'/><deny send_destination='org.nalto.tv.qdinfo'/>"
    "<allow receive_sender='org.nalto.tv.qdinfo'/></policy>"
    "<policy group='nogroup'><allow send_interface='org.nalto.tv.qdinfo' send_type='signal'/>"
    "<allow send_destination='org.nalto.tv.qdinfo'/></policy>"
    "<policy user='root'><allow own='org.nalto.tv.qdinfo'/></policy>";

// In the doctor's namespace, the bus is the system's, the policies are the test's, and srcwatch is the group "nogroup".
class OnTheSystemBus : public DoctorForRoot {
protected:
    void Prepare() override
    {
        SetMode(".", 0755);
        Set("db/x", "1", "--int");
        Set("memory/x", "1", "--int");
        for (const char* directory : {"state", "run"}) {
            SetMode(directory, 0777);
            for (const auto& file : std::filesystem::directory_iterator(Path(directory)))
                ASSERT_EQ(chmod(file.path().c_str(), 0666), 0);
        }
        std::filesystem::create_directory(Path("policies"));
        std::filesystem::create_directory(Path("empty"));
        SetMode("policies", 0755);
        WriteFile("group", "root:x:0:\ndaemon:x:1:\nsrcwatch:x:65534:\n");
        SetMode("group", 0644);
    }

    void InstallPolicy(mode_t mode = 0644)
    {
        WriteFile("policies/org.nalto.tv.qdinfo.conf", kPolicy);
        SetMode("policies/org.nalto.tv.qdinfo.conf", mode);
    }

    void Serve(const std::string& rules)
    {
        UseBus(kSystemRules + rules);
        std::filesystem::create_symlink("socket", bus->Directory() + "/system_bus_socket");
        peer = std::make_unique<BusPeer>(bus->Address());
        peer->AnswerWith([](const BusMessage&) { return g_variant_new("(s)", "{}"); });
        ASSERT_EQ(peer->RequestName("org.nalto.tv.qdinfo"), 1U);
        Mount("mount --bind " + bus->Directory() + " /run/dbus");
        Mount("mount --bind " + Path("policies") + " /usr/share/dbus-1/system.d");
        Mount("mount --bind " + Path("empty") + " /etc/dbus-1/system.d");
        Mount("mount --bind " + Path("group") + " /etc/group");
    }
};

TEST_F(OnTheSystemBus, FindsNothingAsAnyWhoMayUseIt)
{
    InstallPolicy();
    Serve(kPolicy);

    static_cast<void>(Findings(0));
    RunAs(kAsMember);
    static_cast<void>(Findings(0));
}

TEST_F(OnTheSystemBus, MissesThePolicy)
{
    Serve(kOwnerRule);

    const Json::Value findings = Findings(1);

    EXPECT_EQ(FailedChecks(findings), "bus-policy");
    EXPECT_THAT(FindingOf(findings, "bus-policy")["detail"].asString(), HasSubstr("has no policy"));
    EXPECT_THAT(FindingOf(findings, "bus-policy")["remedy"].asString(), HasSubstr("org.nalto.tv.qdinfo.conf"));
}

TEST_F(OnTheSystemBus, NoticesThatTheBusDidNotReadThePolicy)
{
    InstallPolicy();
    Serve(kOwnerRule);

    const Json::Value findings = Findings(1);

    EXPECT_EQ(FailedChecks(findings), "bus-policy");
    EXPECT_THAT(FindingOf(findings, "bus-policy")["detail"].asString(), HasSubstr("the bus has not read"));
    EXPECT_THAT(FindingOf(findings, "bus-policy")["remedy"].asString(), HasSubstr("ReloadConfig"));
}

TEST_F(OnTheSystemBus, NoticesThatTheBusMayNotReadThePolicy)
{
    InstallPolicy(0600);
    Serve(kOwnerRule);

    EXPECT_THAT(FindingOf(Findings(1), "bus-policy")["remedy"].asString(), HasSubstr("chmod 644"));
}

TEST_F(OnTheSystemBus, SendsAStrangerToTheGroup)
{
    InstallPolicy();
    Serve(kPolicy);
    RunAs(kAsStranger);

    const Json::Value findings = Findings(1);

    EXPECT_EQ(FailedChecks(findings), "bus-group");
    EXPECT_THAT(FindingOf(findings, "bus-group")["remedy"].asString(), HasSubstr("usermod -aG srcwatch daemon"));
}

TEST_F(OnTheSystemBus, AsksForANewSessionAfterJoiningTheGroup)
{
    WriteFile("group", "root:x:0:\ndaemon:x:1:\nsrcwatch:x:65534:daemon\n");
    InstallPolicy();
    Serve(kPolicy);
    RunAs(kAsStranger);

    EXPECT_EQ(FindingOf(Findings(1), "bus-group")["remedy"], "log in again");
}

TEST_F(OnTheSystemBus, MissesTheGroup)
{
    WriteFile("group", "root:x:0:\ndaemon:x:1:\n");
    InstallPolicy();
    Serve(kPolicy);

    EXPECT_THAT(FindingOf(Findings(1), "bus-group")["remedy"].asString(), HasSubstr("groupadd --system srcwatch"));
}

}  // namespace
