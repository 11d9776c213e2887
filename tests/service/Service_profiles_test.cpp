// SPDX-License-Identifier: Apache-2.0
//
// The profiles that the service loads at its start and on command.
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

TEST_F(Service, LoadsProfilesAgainWhenTheMbrDownloadHasFinished)
{
    const std::string profiles = HomePath("profiles.d");
    std::filesystem::create_directories(profiles);
    StartService({"--profiles", profiles});
    Plug("hdmi1", "nordhus-digibox");
    EXPECT_EQ(Query(srcwatch_get_logo_mso_name, 0), "");

    WriteFile(profiles + "/new.json", R"({"profiles": [{"match": {"vendor": "NORDHUS"},
        "give": {"type": 1, "provider": "Nordhus TV", "codeset": "N1"}}]})");
    srcwatch_set_MBR_download_finished();
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(Query(srcwatch_get_logo_mso_name, 0), "Nordhus TV");
    EXPECT_EQ(NumberSetting("memory/mbr/mbr-mode"), 1);
    std::filesystem::remove_all(profiles);
}

TEST_F(Service, LoadsProfilesAgainAtSighup)
{
    const std::string file = HomePath("hup.json");
    WriteFile(file, R"({"profiles": []})");
    StartService({"--profiles", file});
    Plug("hdmi1", "nordhus-digibox");
    ASSERT_EQ(Query(srcwatch_get_logo_mso_name, 0), "");

    WriteFile(file, R"({"profiles": [{"match": {"vendor": "NORDHUS"}, "give": {"type": 1, "provider": "Nordhus"}}]})");
    m_service->Signal(SIGHUP);
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(Query(srcwatch_get_logo_mso_name, 0), "Nordhus");
    EXPECT_EQ(CountOf(kConnection), 1U);
    EXPECT_EQ(StopService(SIGTERM), 0);
}

TEST_F(Service, AnswersWhereItsProfilesAreFrom)
{
    StartService({"--profiles", HomePath("one.json"), "--profiles", "two.json"});

    const Json::Value paths = Call(SRCWATCH_REQUEST_PROFILES, 0)["paths"];

    ASSERT_EQ(paths.size(), 3U);  // the first is that of all tests
    EXPECT_EQ(paths[1].asString(), HomePath("one.json"));
    EXPECT_EQ(paths[2].asString(), std::filesystem::absolute("two.json"));
}

TEST_F(Service, MatchesProfilesByEachKindOfSign)
{
    const std::string file = HomePath("signs.json");
    WriteFile(file, R"({"profiles": [{"match": {"vendor_id": "a1f004", "device_type": 3, "physical_address": "2.*"},
                                      "give": {"type": 9}},
                                     {"match": {"source_information": 5, "aksv": "0"}, "give": {"type": 1}},
                                     {"match": {"source_information": 5}, "give": {"type": 3}}]})");
    StartService({"--profiles", file});

    Plug("hdmi1", "meruva-tuner");
    Plug("hdmi2", "pellorin-cam");

    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_PC);
    EXPECT_EQ(QueryType(1), SRCWATCH_DEVICE_DISC_PLAYER);
}

TEST_F(Service, LogsEachMalformedProfileWithFileEntryAndReason)
{
    const std::string file = HomePath("bad.json");
    WriteFile(file, R"({"profiles": [{"match": {"vendor": "TIVARO"}, "give": {"type": 2}},
                                     {"match": {"vendor": "TIVARO"}, "give": {"type": 5}}]})");
    StartService({"--profiles", file});

    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(LogLinesWith("bad.json: entry 0: \"type\" is none of 1, 3, 4, 5, 6, 7, 8, 9"), 1);
    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_STREAMING_BOX);
}

class InstalledProfiles : public Service {
protected:
    InstalledProfiles() { std::filesystem::remove_all(SRCWATCH_INSTALLED_PROFILES); }
    ~InstalledProfiles() override { std::filesystem::remove_all(SRCWATCH_INSTALLED_PROFILES); }

    // Starts the service without the option for profiles.
    void StartWithInstalledProfiles()
    {
        const std::vector<std::string> command = {SRCWATCH_SERVICE_WITH_PROFILES, "--inputs", m_inputs.Path()};
        m_service = std::make_unique<Process>(
            command, HomePath("service"),
            std::map<std::string, std::string>{{"SRCWATCH_LOG", "file:" + HomePath("log")},
                                               {"DBUS_SYSTEM_BUS_ADDRESS", TheBus().Address()}});
        ASSERT_TRUE(WaitUntilServing()) << m_service->Errors();
    }

    // The directory cannot even be examined, and root is no exception.
    static void Spoil()
    {
        std::filesystem::remove_all(SRCWATCH_INSTALLED_PROFILES);
        std::filesystem::create_symlink("profiles.d", SRCWATCH_INSTALLED_PROFILES);
    }

    static constexpr const char* kReason = "profiles.d: cannot be opened: Too many levels of symbolic links";
};

TEST_F(InstalledProfiles, AreThoseOfTheFileWithoutADirectory)
{
    StartWithInstalledProfiles();

    Plug("hdmi1", "quellon-bdq900");

    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_DISC_PLAYER);
    EXPECT_EQ(LogLinesWith("profiles.d"), 0);
}

TEST_F(InstalledProfiles, DoNotNeedAReadableDirectory)
{
    Spoil();

    StartWithInstalledProfiles();
    Plug("hdmi1", "quellon-bdq900");

    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_DISC_PLAYER);
    EXPECT_EQ(LogLinesWith(kReason), 1) << Log();
}

TEST_F(InstalledProfiles, MayBecomeUnreadableWhileItRuns)
{
    std::filesystem::create_directory(SRCWATCH_INSTALLED_PROFILES);
    StartWithInstalledProfiles();

    Spoil();
    srcwatch_set_MBR_download_finished();

    EXPECT_TRUE(RunUntil([] { return LogLinesWith(kReason) == 1; })) << Log();
    EXPECT_FALSE(m_service->Result().has_value());
}

}  // namespace
}  // namespace srcwatch_test
