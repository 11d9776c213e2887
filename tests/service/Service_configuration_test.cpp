// SPDX-License-Identifier: Apache-2.0
//
// A service that is configured by a file, and what becomes of changes of it while it runs.
#include "ServiceTest.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

namespace srcwatch_test {
namespace {

class ConfiguredService : public Service {
protected:
    // The environment would count before the file.
    void Start()
    {
        m_service =
            srcwatch_test::LaunchService({SRCWATCH_SERVICE_PROGRAM, "--config", m_file}, {{"SRCWATCH_INPUTS", ""}});
        ASSERT_TRUE(WaitUntilServing()) << m_service->Errors();
    }

    ConfiguredService() { WriteFile(m_profiles, R"({"profiles": []})"); }

    // Writes the file, with the inputs directory of the test and the profiles of all tests.
    void Configure(const std::string& more, const std::string& inputs = "") const
    {
        WriteFile(m_file, "[inputs]\ninputs=" + (inputs.empty() ? m_inputs.Path() : inputs) +
                              "\n[detection]\nprofiles=" SRCWATCH_PROFILES_FILE ";" + m_profiles + "\n" + more);
    }

    TempDirectory m_directory;
    const std::string m_file = m_directory / "service.conf";
    const std::string m_profiles = m_directory / "profiles.json";
    const std::string m_detections = m_directory / "detections.jsonl";
};

TEST_F(ConfiguredService, ServesByAFileAlone)
{
    Configure("[fleet]\ndetections=" + m_detections + "\ntv=kitchen\n");
    Start();

    Plug("hdmi1", "quellon-bdq900");

    EXPECT_EQ(QueryType(0), SRCWATCH_DEVICE_DISC_PLAYER);
    EXPECT_NE(ReadFile(m_detections).find(R"("tv":"kitchen")"), std::string::npos) << ReadFile(m_detections);
    EXPECT_EQ(StopService(SIGTERM), 0);
}

TEST_F(ConfiguredService, AdoptsChangesAtSighup)
{
    Configure("scan-step-ms=60000\n[fleet]\ndetections=" + m_detections + "\ntv=kitchen\n");
    Start();

    Configure("scan-step-ms=10\n[fleet]\ndetections=" + m_detections + ".new\ntv=hall\n");
    m_service->Signal(SIGHUP);
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("the configuration has changed: ") == 1; })) << Log();
    Plug("hdmi1", "quellon-bdq900");
    srcwatch_oobe_scan_start();

    EXPECT_TRUE(WaitForEvents(kFinished, 1));  // before the sixty seconds of the pace before
    EXPECT_EQ(LogLinesWith("the configuration has changed: scan-step-ms, detections, tv"), 1);
    EXPECT_FALSE(std::filesystem::exists(m_detections));
    EXPECT_NE(ReadFile(m_detections + ".new").find(R"("tv":"hall")"), std::string::npos);
    EXPECT_EQ(StopService(SIGTERM), 0);
}

TEST_F(ConfiguredService, LoadsTheProfilesThatAreNamedAtSighup)
{
    Configure("");
    Start();
    Plug("hdmi1", "nordhus-digibox");
    ASSERT_EQ(Query(srcwatch_get_logo_mso_name, 0), "");

    WriteFile(m_directory / "ours.json",
              R"({"profiles": [{"match": {"vendor": "NORDHUS"}, "give": {"type": 1, "provider": "Nordhus"}}]})");
    WriteFile(m_file, "[inputs]\ninputs=" + m_inputs.Path() + "\n[detection]\nprofiles=" + (m_directory / "ours.json"));
    m_service->Signal(SIGHUP);
    ASSERT_TRUE(WaitForEvents(kDetected, 2));

    EXPECT_EQ(Query(srcwatch_get_logo_mso_name, 0), "Nordhus");
    EXPECT_EQ(StopService(SIGTERM), 0);
}

TEST_F(ConfiguredService, KeepsItsConfigurationIfTheFileHasAFault)
{
    Configure("[fleet]\ndetections=" + m_detections + "\ntv=kitchen\n");
    Start();
    Plug("hdmi1", "nordhus-digibox");
    const Json::Value record = StoredRecord(0);

    Configure("scan-step-ms=soon\n[fleet]\ndetections=" + m_detections + ".new\ntv=hall\n");
    WriteFile(m_profiles, R"({"profiles": [{"match": {"vendor": "NORDHUS"}, "give": {"type": 1, "provider": "N"}}]})");
    m_service->Signal(SIGHUP);
    ASSERT_TRUE(WaitForEvents(kDetected, 2));  // by the profiles, which are loaded again
    Plug("hdmi2", "quellon-bdq900");

    EXPECT_EQ(LogLinesWith(m_file + ":detection/scan-step-ms: 'soon' is not a number from 1 to 60000"), 1) << Log();
    EXPECT_EQ(LogLinesWith("the configuration stays as it was"), 1);
    EXPECT_EQ(LogLinesWith("the configuration has changed"), 0);
    EXPECT_FALSE(std::filesystem::exists(m_detections + ".new"));
    EXPECT_EQ(ReadFile(m_detections).find(R"("tv":"hall")"), std::string::npos);
    EXPECT_EQ(StoredRecord(0)["ModelName"], record["ModelName"]);
    EXPECT_EQ(StopService(SIGTERM), 0);
}

TEST_F(ConfiguredService, KeepsItsConfigurationIfTheFileIsGone)
{
    Configure("");
    Start();

    std::filesystem::remove(m_file);
    m_service->Signal(SIGHUP);
    ASSERT_TRUE(RunUntil([] { return LogLinesWith("the configuration stays as it was") == 1; })) << Log();
    Plug("hdmi1", "quellon-bdq900");

    EXPECT_EQ(LogLinesWith(m_file + ": cannot be read: No such file or directory"), 1);
    EXPECT_EQ(StopService(SIGTERM), 0);
}

TEST_F(ConfiguredService, NamesWhatNeedsARestartAndServesOn)
{
    const TempDirectory other;
    Configure("");
    Start();

    Configure("", other.Path());
    m_service->Signal(SIGHUP);
    ASSERT_TRUE(RunUntil([] {
        return LogLinesWith("changed, but takes effect only at a restart of the service: inputs") == 1;
    })) << Log();
    Plug("hdmi1", "quellon-bdq900");
    m_service->Signal(SIGHUP);

    EXPECT_TRUE(RunUntil([] { return LogLinesWith("only at a restart of the service: inputs") == 2; })) << Log();
    EXPECT_EQ(StopService(SIGTERM), 0);
}

}  // namespace
}  // namespace srcwatch_test
