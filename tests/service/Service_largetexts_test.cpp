// SPDX-License-Identifier: Apache-2.0
//
// The service over texts that are larger than the settings store takes today.
#include "Intruder.h"
#include "Sanitizers.h"
#include "ServiceTest.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <vconf.h>

namespace srcwatch_test {
namespace {

std::string DurableDatabase() { return std::string(srcwatch_host_state_dir()) + "/settings.db"; }

// The most memory that a process had at any time.
int PeakKiB(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    int peak = -1;
    while (status >> word) {
        if (word == "VmHWM:") status >> peak;
    }
    return peak;
}

std::string IfKeyIs(const std::string& key) { return " WHERE key = '" + key + "'"; }

// Stores a readable document of 20 MB, as an earlier version did.
void PlantDocument(const std::string& key)
{
    const std::string document =
        R"('{"activity":[' || replace(hex(zeroblob(6666666)), '00', '{},') || '{}],"Auto":[]}')";
    Intruder intruder(DurableDatabase());
    ASSERT_TRUE(intruder.Run(("REPLACE INTO settings VALUES('" + key + "', " + document + ")").c_str()));
}

bool IsPlanted(const std::string& key)
{
    Intruder intruder(DurableDatabase());
    EXPECT_TRUE(intruder.Run("CREATE TEMP TABLE large(size CHECK (size > 20000000))"));
    return intruder.Run(("INSERT INTO large SELECT length(value) FROM settings" + IfKeyIs(key)).c_str());
}

class ServiceLargeTexts : public Service {
protected:
    void ExpectLittleMemory() const
    {
        const bool isSanitized = SRCWATCH_ADDRESS_SANITIZER || SRCWATCH_THREAD_SANITIZER;
        EXPECT_LT(PeakKiB(m_service->Id()), isSanitized ? 1024 * 1024 : 40 * 1024);
    }
    static int UnreadLines(const std::string& key)
    {
        return LogLinesWith("cannot read " + key + ": it is larger than 1048576 bytes");
    }
};

class ServiceLargeText : public ServiceLargeTexts, public testing::WithParamInterface<std::string> {};

INSTANTIATE_TEST_SUITE_P(Key, ServiceLargeText,
                         testing::Values(qdinfo::kSourceActivityKey, qdinfo::kOpticalActivityKey,
                                         qdinfo::kStatisticsKey),
                         [](const auto& key) {
                             return key.param == qdinfo::kSourceActivityKey    ? "Records"
                                    : key.param == qdinfo::kOpticalActivityKey ? "OpticalRecord"
                                                                               : "Statistics";
                         });

TEST_P(ServiceLargeText, IsLeftAloneAndCostsNoMemory)
{
    PlantDocument(GetParam());

    StartService();

    EXPECT_EQ(UnreadLines(GetParam()), 1);
    EXPECT_TRUE(IsPlanted(GetParam()));
    ExpectLittleMemory();
}

TEST_P(ServiceLargeText, IsReplacedByWhatIsDetected)
{
    PlantDocument(GetParam());
    StartService();

    Plug("hdmi1", "tivaro-one");
    Plug("optical", "ambrelle-soundbar");

    EXPECT_FALSE(IsPlanted(GetParam()));
    EXPECT_NE(StoredRecord(0)["DevType"].asInt(), 0);
    EXPECT_NE(StoredRecord(kOptical)["DevType"].asInt(), 0);
    EXPECT_TRUE(TextSetting(kStatistics));
    ExpectLittleMemory();
}

TEST_F(ServiceLargeTexts, OfUnknownDevicesStay)
{
    PlantDocument(SRCWATCH_UNKNOWN_DEVICES_KEY);
    StartService();

    Plug("hdmi1", "tivaro-one");

    EXPECT_EQ(UnreadLines(SRCWATCH_UNKNOWN_DEVICES_KEY), 1);
    EXPECT_TRUE(IsPlanted(SRCWATCH_UNKNOWN_DEVICES_KEY));
    EXPECT_EQ(Call(SRCWATCH_REQUEST_STATUS, 0)["unsaved"].asInt(), 0);
    ExpectLittleMemory();
}

TEST_F(ServiceLargeTexts, WrittenByAnotherAreLeftAlone)
{
    StartService();
    Plug("hdmi1", "tivaro-one");

    PlantDocument(kActivity);
    ASSERT_TRUE(
        Intruder(DurableDatabase())
            .Run(("INSERT INTO changes(bytes, key, value) SELECT (SELECT max(bytes) FROM changes) + length(value), "
                  "key, value FROM settings" +
                  IfKeyIs(kActivity))
                     .c_str()));

    ASSERT_TRUE(RunUntil([] { return UnreadLines(kActivity) > 0; }));
    RunFor(std::chrono::milliseconds(200));
    EXPECT_TRUE(IsPlanted(kActivity));
    ExpectLittleMemory();
}

}  // namespace
}  // namespace srcwatch_test
