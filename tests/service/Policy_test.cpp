// SPDX-License-Identifier: Apache-2.0
//
// The bus policy that is installed, on a private bus: the names of the service's user and group are replaced by those
// of users that there are on every machine, nothing else.
#include "BusPeer.h"
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>

#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

constexpr const char* kName = "org.nalto.tv.qdinfo";
constexpr const char* kPath = "/org/nalto/tv/qdinfo";
constexpr const char* kMember = "qdinfo";
constexpr std::uint32_t kRefused = 0;

constexpr const char* kNobody = "nobody";
constexpr const char* kNobodysGroup = "nogroup";

std::string Myself() { return getpwuid(geteuid())->pw_name; }

void Replace(std::string& text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
    EXPECT_EQ(text.find(from), std::string::npos) << from;
}

// The rules of a system bus, with those of the policy file for these users after them.
std::string Policy(const std::string& user, const std::string& group)
{
    const char* other = std::getenv("SRCWATCH_TEST_POLICY_FILE");  // for tests of these tests
    std::string text = ReadFile(other != nullptr ? other : SRCWATCH_POLICY_FILE);
    Replace(text, "user=\"srcwatch\"", "user=\"" + user + "\"");
    Replace(text, "group=\"srcwatch\"", "group=\"" + group + "\"");
    const std::size_t begin = text.find("<busconfig>") + std::string("<busconfig>").size();
    return kSystemBusRules + text.substr(begin, text.find("</busconfig>") - begin);
}

GVariant* Message() { return g_variant_new("(is)", SRCWATCH_EVENT_CONNECTION, "0\t1\t"); }

class Policies : public ServiceTest {
protected:
    // Every user may also use the bus's socket and the programs' output.
    void UseBus(const std::string& user, const std::string& group) { m_bus = MakeSecondBus(Policy(user, group)); }

    void LaunchOnBus() { m_service = LaunchService({}, {{"DBUS_SYSTEM_BUS_ADDRESS", m_bus->Address()}}); }

    // Returns true if a signal of an interface that one peer sends reaches another.
    bool IsDelivered(const std::string& interface) const
    {
        BusPeer sender(m_bus->Address());
        BusPeer receiver(m_bus->Address());
        receiver.Listen(interface);
        sender.Emit(kPath, interface, kMember, Message());
        sender.Sync();
        receiver.Sync();
        return !receiver.Signals().empty();
    }

    std::unique_ptr<PrivateBus> m_bus;
};

TEST_F(Policies, LetTheServicesUserOwnTheNameAndSend)
{
    UseBus(Myself(), kNobodysGroup);
    LaunchOnBus();
    ASSERT_TRUE(WaitUntilServing());

    EXPECT_NE(BusPeer(m_bus->Address()).OwnerOf(kName), "");
    EXPECT_TRUE(IsDelivered(kName));
}

TEST_F(Policies, RefuseTheNameToEveryOtherUser)
{
    UseBus(kNobody, kNobodysGroup);

    EXPECT_EQ(BusPeer(m_bus->Address()).RequestName(kName), kRefused);
    LaunchOnBus();
    EXPECT_EQ(m_service->Wait(), 1);
    const std::string start = "srcwatch-service: the bus refuses the name org.nalto.tv.qdinfo: ";
    EXPECT_EQ(m_service->Errors().substr(0, start.size()), start);
}

TEST_F(Policies, RefuseTheNameToMembersOfTheGroup)
{
    UseBus(kNobody, getgrgid(getegid())->gr_name);

    EXPECT_EQ(BusPeer(m_bus->Address()).RequestName(kName), kRefused);
}

TEST_F(Policies, LetMembersOfTheGroupSendSignals)
{
    UseBus(kNobody, getgrgid(getegid())->gr_name);

    EXPECT_TRUE(IsDelivered(kName));
}

TEST_F(Policies, RefuseSignalsOfTheChannelFromEveryOtherUser)
{
    UseBus(kNobody, kNobodysGroup);

    EXPECT_FALSE(IsDelivered(kName));
    EXPECT_TRUE(IsDelivered("org.nalto.tv.other"));  // so it is the policy that refuses
}

// A second user beside the one who runs the service: only root can be both.
class PoliciesForOthers : public Policies {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) GTEST_SKIP() << "only root can act as another user";
    }

    static std::unique_ptr<Process> RunAs(const std::string& user, std::vector<std::string> command)
    {
        const std::string group = getgrgid(getpwnam(user.c_str())->pw_gid)->gr_name;
        const std::vector<std::string> prefix = {"setpriv", "--reuid=" + user, "--regid=" + group, "--init-groups"};
        command.insert(command.begin(), prefix.begin(), prefix.end());
        const std::string output = HomePath(user);
        for (const char* end : {".out", ".err"}) std::filesystem::remove(output + end);
        return std::make_unique<Process>(command, output);
    }

    static std::unique_ptr<Process> RunAsNobody(const std::vector<std::string>& command)
    {
        return RunAs(kNobody, command);
    }

    std::unique_ptr<Process> CallAsNobody(const std::string& method, const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> command = {"gdbus", "call",          "--address", m_bus->Address(), "--dest",
                                            kName,   "--object-path", kPath,       "--method",       method};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return RunAsNobody(command);
    }

    static std::string StatusRequest() { return std::to_string(SRCWATCH_REQUEST_STATUS); }

    void Serve(const std::string& group)
    {
        UseBus(Myself(), group);
        LaunchOnBus();
        ASSERT_TRUE(WaitUntilServing());
    }
};

TEST_F(PoliciesForOthers, LetMembersOfTheGroupCallTheService)
{
    Serve(kNobodysGroup);

    const auto call = CallAsNobody("org.nalto.tv.qdinfo.qdinfo", {StatusRequest(), "0\t"});

    EXPECT_EQ(call->Wait(), 0) << call->Errors();
    EXPECT_NE(call->Output().find("\"inputs\":4"), std::string::npos) << call->Output();
}

TEST_F(PoliciesForOthers, RefuseCallsOfStrangers)
{
    Serve("daemon");

    const auto call = CallAsNobody("org.nalto.tv.qdinfo.qdinfo", {StatusRequest(), "0\t"});

    EXPECT_EQ(call->Wait(), 1);
    EXPECT_NE(call->Errors().find("org.freedesktop.DBus.Error.AccessDenied"), std::string::npos) << call->Errors();
}

TEST_F(PoliciesForOthers, LetStrangersIntrospect)
{
    Serve("daemon");

    const auto call = CallAsNobody("org.freedesktop.DBus.Introspectable.Introspect", {});

    EXPECT_EQ(call->Wait(), 0) << call->Errors();
    EXPECT_NE(call->Output().find("interface name=\"org.nalto.tv.qdinfo\""), std::string::npos) << call->Output();
}

TEST_F(PoliciesForOthers, LetStrangersReceiveSignals)
{
    Serve("daemon");
    const auto monitor =
        RunAsNobody({"gdbus", "monitor", "--address", m_bus->Address(), "--dest", kName, "--object-path", kPath});
    ASSERT_TRUE(RunUntil([&] { return monitor->Output().find("is owned by") != std::string::npos; }));

    LinkCapture("hdmi1", "tivaro-one");

    EXPECT_TRUE(RunUntil([&] {
        return monitor->Output().find("org.nalto.tv.qdinfo.qdinfo (4097,") != std::string::npos;
    })) << monitor->Output();
}

// ---- Who may do what, all of it ----

struct Rights {
    const char* user;
    bool own, signal, call, introspect;
};

std::ostream& operator<<(std::ostream& out, const Rights& rights) { return out << rights.user; }

constexpr const char* kStranger = "daemon";
constexpr const char* kServicesUser = "root";  // who runs the test

// Members of the group are those of "nobody".
constexpr Rights kRights[] = {
    {kServicesUser, true, true, true, true},
    {kNobody, false, true, true, true},
    {kStranger, false, false, false, true},
};

class PolicyMatrix : public PoliciesForOthers, public testing::WithParamInterface<Rights> {
protected:
    // Returns true if the bus lets the user's call through.
    bool MayCall(const std::string& destination, const std::string& path, const std::string& method,
                 const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> command = {"gdbus",     "call",          "--address", m_bus->Address(), "--dest",
                                            destination, "--object-path", path,        "--method",       method};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const auto call = RunAs(GetParam().user, command);
        const bool answered = call->Wait() == 0;
        const bool denied = call->Errors().find("org.freedesktop.DBus.Error.AccessDenied") != std::string::npos;
        EXPECT_NE(answered, denied) << call->Errors();
        return answered;
    }

    void Emit(const std::string& signal) const
    {
        // Given as an address, gdbus would not greet the bus before it sends.
        const auto emit =
            RunAs(GetParam().user, {"env", "DBUS_SYSTEM_BUS_ADDRESS=" + m_bus->Address(), "gdbus", "emit", "--system",
                                    "--object-path", kPath, "--signal", signal, "10", "text"});
        EXPECT_EQ(emit->Wait(), 0) << emit->Errors();
    }

    // Returns true if the user's signal of the channel arrives, before a later one of another interface, which always
    // does.
    bool MaySignal() const
    {
        constexpr const char* kOther = "org.nalto.tv.other";
        BusPeer receiver(m_bus->Address());
        receiver.Listen(kName);
        receiver.Listen(kOther);
        Emit(std::string(kName) + ".forged");
        Emit(std::string(kOther) + ".last");
        std::size_t forged = 0;
        EXPECT_TRUE(WaitUntil([&] {
            const auto signals = receiver.Signals();
            forged = CountOfMember(signals, "forged");
            return CountOfMember(signals, "last") == 1;
        }));
        return forged == 1;
    }

    static std::size_t CountOfMember(const std::vector<BusMessage>& signals, const std::string& member)
    {
        return static_cast<std::size_t>(std::count_if(
            signals.begin(), signals.end(), [&](const BusMessage& signal) { return signal.member == member; }));
    }
};

TEST_P(PolicyMatrix, GrantsEachUserItsRights)
{
    Serve(kNobodysGroup);
    const Rights& rights = GetParam();

    EXPECT_EQ(
        MayCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.RequestName", {kName, "0"}),
        rights.own);
    EXPECT_EQ(MaySignal(), rights.signal);
    EXPECT_EQ(MayCall(kName, kPath, "org.nalto.tv.qdinfo.qdinfo", {StatusRequest(), "0\t"}), rights.call);
    EXPECT_EQ(MayCall(kName, kPath, "org.freedesktop.DBus.Introspectable.Introspect", {}), rights.introspect);
}

INSTANTIATE_TEST_SUITE_P(Users, PolicyMatrix, testing::ValuesIn(kRights),
                         [](const auto& row) { return std::string(row.param.user); });

}  // namespace
}  // namespace srcwatch_test
