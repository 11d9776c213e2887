// SPDX-License-Identifier: Apache-2.0
//
// doctor.
#include "BusOnlyService.h"
#include "ToolTest.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class DoctorCommand : public ToolTest {
protected:
    // The finding of one check.
    Json::Value Finding(const std::string& check, int code)
    {
        for (const Json::Value& finding : Document({"doctor", "--profiles", SRCWATCH_PROFILES_FILE}, "doctor", code)) {
            if (finding["check"] == check) return finding;
        }
        ADD_FAILURE() << "no check " << check;
        return {};
    }
};

TEST_F(DoctorCommand, PassesAllChecksIfEverythingWorks)
{
    const BusOnlyService service;
    Set(kActivityKey, R"({"activity":[]})");

    const Json::Value findings = Document({"doctor", "--profiles", SRCWATCH_PROFILES_FILE}, "doctor");

    EXPECT_EQ(findings.size(), 18U);
    for (const Json::Value& finding : findings) EXPECT_EQ(finding["ok"], true) << finding;
}

TEST_F(DoctorCommand, LeavesNoSettingBehind)
{
    static_cast<void>(Run({"doctor"}));

    EXPECT_EQ(Document({"settings", "list"}, "settings list").size(), 0U);
}

TEST_F(DoctorCommand, ShowsWhoOwnsTheName)
{
    const BusOnlyService service;

    const std::string detail = Finding("service", 0)["detail"].asString();

    EXPECT_THAT(detail, HasSubstr("process " + std::to_string(getpid())));
    EXPECT_THAT(detail, HasSubstr("user " + std::to_string(getuid())));
}

TEST_F(DoctorCommand, MissesAService)
{
    const Json::Value finding = Finding("service", 1);

    EXPECT_EQ(finding["ok"], false);
    EXPECT_THAT(finding["remedy"].asString(), HasSubstr("srcwatch-service"));
    EXPECT_TRUE(Fails(Run({"doctor", "--profiles", SRCWATCH_PROFILES_FILE}), 1, "1 check(s) failed"));
}

TEST_F(DoctorCommand, MissesABus)
{
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + Path("no-bus"));

    for (const char* const check : {"bus", "service", "service-answers", "events"}) {
        const Json::Value finding = Finding(check, 1);
        EXPECT_EQ(finding["ok"], false) << check;
        EXPECT_THAT(finding["remedy"].asString(), HasSubstr("DBUS_SYSTEM_BUS_ADDRESS")) << check;
    }
}

TEST_F(DoctorCommand, NoticesThatEventsAreNotDelivered)
{
    const std::string address = TheBus().Address();
    const PrivateBus deaf(
        "<policy context='default'><allow user='*'/><allow own='*'/>"
        "<allow send_destination='*'/><allow receive_type='method_return'/>"
        "<allow receive_type='error'/><deny send_interface='org.nalto.tv.qdinfo'/></policy>");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);  // that of the new bus is for the tool only
    SetVariable("DBUS_SYSTEM_BUS_ADDRESS", deaf.Address());

    const Json::Value finding = Finding("events", 1);

    EXPECT_EQ(finding["ok"], false);
    EXPECT_THAT(finding["remedy"].asString(), HasSubstr("policy"));
}

TEST_F(DoctorCommand, FindsAnUnusableStore)
{
    SetVariable("SRCWATCH_RUN_DIR", "/dev/null/run");

    EXPECT_EQ(Finding("settings-readable", 1)["ok"], false);
    EXPECT_EQ(Finding("settings-writable", 1)["ok"], false);
}

TEST_F(DoctorCommand, FindsADamagedDocumentAndItsPlace)
{
    Set(kActivityKey, "{\"activity\": [\n{\"DevType\": []}]}");
    Set(kOpticalKey, "{");
    Set(kStatisticsKey, R"({"Auto":7})");

    EXPECT_EQ(Finding("activity-document", 1)["detail"], "line 2: activity[0].DevType: is not a 32-bit number");
    EXPECT_EQ(Finding("optical-document", 1)["ok"], false);
    EXPECT_EQ(Finding("statistics-document", 1)["ok"], false);
}

// The service takes such records over as they are, so nothing would ever correct them.
TEST_F(DoctorCommand, FindsNoFaultInWhatTheLibraryReads)
{
    const BusOnlyService service;
    Set(kActivityKey, R"({"activity":[{"BName":5},{},{},{}]})");

    const Json::Value finding = Finding("activity-document", 0);

    EXPECT_EQ(finding["ok"], true);
    EXPECT_THAT(finding["detail"].asString(), HasSubstr("line 1: activity[0].BName: is not a text"));
    EXPECT_TRUE(finding["remedy"].isNull());
}

TEST_F(DoctorCommand, MissesTheNumberOfInputs)
{
    WriteFile("platform.conf", "");

    const Json::Value finding = Finding("hdmi-count", 1);

    EXPECT_EQ(finding["ok"], false);
    EXPECT_THAT(finding["remedy"].asString(), HasSubstr(Path("platform.conf")));
}

}  // namespace
