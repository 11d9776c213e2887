// SPDX-License-Identifier: Apache-2.0
#include "Requests.h"

#include "RoomTest.h"
#include "srcwatch-protocol.h"

#include <limits>

namespace srcwatch_test {
namespace {

class RequestsTest : public RoomTest {
protected:
    srcwatch::Commands m_commands{10, m_ports, m_records, m_detector, m_announcer, m_settings, [] {}};
    srcwatch::Requests m_requests{m_ports, m_records, m_settings, m_detector, m_commands};
};

TEST_F(RequestsTest, AnswerTheStatus)
{
    StartDetector();
    LinkCapture("hdmi2", "tivaro-one");
    ASSERT_TRUE(WaitForAnnouncements(2));

    const Json::Value status = m_requests.Answer(SRCWATCH_REQUEST_STATUS, -5);

    EXPECT_EQ(status["inputs"], kHdmiInputs);
    ASSERT_EQ(status["plugged"].size(), 1U);
    EXPECT_EQ(status["plugged"][0], 1);
    EXPECT_GT(status["profiles"].asInt(), 0);
    EXPECT_EQ(status["scan"]["state"], "idle");
    EXPECT_EQ(status["twc"]["port"], -1);
}

TEST_F(RequestsTest, RefusePortsThatTheTvDoesNotHave)
{
    for (const int type :
         {SRCWATCH_REQUEST_RECORD, SRCWATCH_REQUEST_FORGET, SRCWATCH_REQUEST_DENY, SRCWATCH_REQUEST_CAPTURE}) {
        for (const int port : {-1, kHdmiInputs, 98}) {
            EXPECT_EQ(m_requests.Answer(type, port)["error"], "no such port: " + std::to_string(port)) << type;
        }
    }
}

TEST_F(RequestsTest, AnswerWhatADeviceSays)
{
    StartDetector();
    LinkCapture("hdmi2", "tessaly-cable");
    ASSERT_TRUE(WaitForAnnouncements(2));

    const Json::Value plugged = m_requests.Answer(SRCWATCH_REQUEST_CAPTURE, 1);
    const Json::Value empty = m_requests.Answer(SRCWATCH_REQUEST_CAPTURE, 0);

    EXPECT_EQ(plugged["port"], 1);
    EXPECT_EQ(plugged["spd"].asString().substr(0, 6), "830119");
    EXPECT_EQ(plugged["cec"], ReadFile(std::string(SRCWATCH_CAPTURES_DIR) + "/tessaly-cable/cec.log"));
    EXPECT_EQ(plugged["aksv"].asString().size(), 10U);
    for (const char* item : {"spd", "cec", "aksv"}) EXPECT_EQ(empty[item], "") << item;
}

TEST_F(RequestsTest, CountDenialsAndForgetAllElse)
{
    srcwatch::Record record = RecordOfType(6);
    record.denyCount = std::numeric_limits<int>::max() - 1;
    static_cast<void>(m_records.Set(0, record));

    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(m_requests.Answer(SRCWATCH_REQUEST_DENY, 0)["record"]["DenyCount"], std::numeric_limits<int>::max());
    }
    const Json::Value forgotten = m_requests.Answer(SRCWATCH_REQUEST_FORGET, 0);

    EXPECT_EQ(forgotten["record"]["DevType"], 0);
    EXPECT_EQ(forgotten["record"]["DenyCount"], std::numeric_limits<int>::max());
    EXPECT_EQ(m_requests.Answer(SRCWATCH_REQUEST_DENY, 0)["error"], "nothing was detected on port 0");
}

TEST_F(RequestsTest, AnswerARecordAsStored)
{
    EXPECT_TRUE(m_requests.Answer(SRCWATCH_REQUEST_RECORD, 3)["record"].isNull());
    static_cast<void>(m_records.Set(3, RecordOfType(9)));

    const Json::Value answer = m_requests.Answer(SRCWATCH_REQUEST_RECORD, 3);

    EXPECT_EQ(answer["port"], 3);
    EXPECT_EQ(answer["plugged"], false);
    EXPECT_EQ(answer["record"], StoredRecord(3));
}

}  // namespace
}  // namespace srcwatch_test
