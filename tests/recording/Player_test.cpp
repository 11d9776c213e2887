// SPDX-License-Identifier: Apache-2.0
#include "Player.h"

#include "Lines.h"
#include "Waiting.h"

#include <map>
#include <stdexcept>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using srcwatch::Player;
using testing::ElementsAre;

constexpr double kFast = 1000;

// Writes down what takes effect: the kinds of entries, and which ports have a device then.
class Target : public srcwatch::PlayTarget {
public:
    bool Wants(const Json::Value& entry) const override { return wantsAll || entry["kind"] != "event"; }
    void Apply(const Json::Value& entry) override
    {
        if (entry["kind"] == "event" && throwsAtEvents) throw std::runtime_error("an event");
        kinds.push_back(entry["kind"].asString());
        if (entry["kind"] == "input") m_captures[entry["port"].asInt()] = entry["capture"];
        if (!entry.isMember("inputs")) return;
        m_captures.clear();
        for (const Json::Value& input : entry["inputs"]) m_captures[input["port"].asInt()] = input["capture"];
    }
    void Settle() override
    {
        ports.clear();
        for (const auto& [port, capture] : m_captures) {
            if (!capture.isNull()) ports.push_back(port);
        }
    }

    bool wantsAll = true;
    bool throwsAtEvents = false;
    std::vector<std::string> kinds;
    std::vector<int> ports;

private:
    std::map<int, Json::Value> m_captures;
};

class PlayerTest : public testing::Test {
protected:
    std::string Load(const std::vector<std::string>& lines, const srcwatch::PlayEnd& end = {})
    {
        std::string fault = m_player.Load([text = Lines(lines)] { return EntriesOf(text); }, end);
        m_target.kinds.clear();
        return fault;
    }
    std::vector<int> PortsAt(double seconds)
    {
        m_player.Seek(seconds);
        return m_target.ports;
    }
    bool PlayToTheEnd()
    {
        m_player.Play(kFast);
        return RunUntil([&] { return !m_player.IsPlaying(); });
    }

    Target m_target;
    int m_changes = 0;
    Player m_player{m_target, [this] { ++m_changes; }};
};

TEST_F(PlayerTest, AppliesEachEntryInItsOrder)
{
    ASSERT_EQ(Load({kSnapshot, kPlugged, kUnplugged, kEvent}), "");

    ASSERT_TRUE(PlayToTheEnd());

    EXPECT_THAT(m_target.kinds, ElementsAre("snapshot", "input", "input", "event"));
    EXPECT_THAT(m_target.ports, ElementsAre(1));
    EXPECT_EQ(m_player.Count(), 4);
    EXPECT_EQ(m_player.Line(), 4U);
    EXPECT_EQ(m_player.Now(), 4);
    EXPECT_EQ(m_player.Fault(), "");
}

TEST_F(PlayerTest, TakesItsTime)
{
    ASSERT_EQ(Load({kSnapshot, kPlugged}), "");
    const gint64 begin = g_get_monotonic_time();

    m_player.Play(10);
    ASSERT_TRUE(RunUntil([&] { return !m_player.IsPlaying(); }));

    EXPECT_GE(g_get_monotonic_time() - begin, 150000);
    EXPECT_GT(m_changes, 2);
}

TEST_F(PlayerTest, EndsWithTheLastEntryForTheTarget)
{
    m_target.wantsAll = false;

    ASSERT_EQ(Load({kSnapshot, kPlugged, kEvent}), "");

    EXPECT_EQ(m_player.Length(), 1.5);
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_THAT(m_target.kinds, ElementsAre("snapshot", "input"));
}

TEST_F(PlayerTest, EndsWhereItIsTold)
{
    ASSERT_EQ(Load({kSnapshot, kPlugged, kUnplugged}, {2, std::nullopt}), "");
    EXPECT_EQ(m_player.Length(), 1.5);
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_THAT(m_target.kinds, ElementsAre("snapshot", "input"));

    ASSERT_EQ(Load({kSnapshot, kPlugged, kUnplugged}, {std::nullopt, 1.4}), "");
    EXPECT_EQ(m_player.Length(), 0);
}

TEST_F(PlayerTest, KnowsWhatIsPluggedAtEachTime)
{
    ASSERT_EQ(Load({kSnapshot, kPlugged, kUnplugged}), "");

    EXPECT_EQ(m_player.Length(), 3);
    EXPECT_THAT(PortsAt(0), ElementsAre(0));
    EXPECT_THAT(PortsAt(1.5), ElementsAre(0, 1));
    EXPECT_THAT(PortsAt(3), ElementsAre(1));
    EXPECT_THAT(PortsAt(1), ElementsAre(0));
    EXPECT_THAT(PortsAt(99), ElementsAre(1));
    EXPECT_EQ(m_player.Now(), 3);
}

TEST_F(PlayerTest, UnplugsWhatALaterSnapshotDoesNotHave)
{
    const std::string later = R"({"at":20,"time":"","kind":"snapshot","version":1,"inputs":[]})";
    const std::string unknown = R"({"at":15,"time":"","kind":"snapshot","version":1})";

    ASSERT_EQ(Load({kSnapshot, kPlugged, unknown, later}), "");

    EXPECT_THAT(PortsAt(5), ElementsAre(0, 1));
    EXPECT_TRUE(PortsAt(10).empty());
}

TEST_F(PlayerTest, GoesOnAfterAPauseAndBeginsAgainAfterTheEnd)
{
    ASSERT_EQ(Load({kSnapshot, kPlugged, kUnplugged}), "");
    m_player.Play(1);
    ASSERT_TRUE(RunUntil([&] { return m_target.kinds.size() == 1; }));
    m_player.Pause();
    EXPECT_FALSE(m_player.IsPlaying());
    EXPECT_LT(m_player.Now(), 1.5);

    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_THAT(m_target.kinds, ElementsAre("snapshot", "input", "input"));
    m_target.kinds.clear();
    ASSERT_TRUE(PlayToTheEnd());
    EXPECT_THAT(m_target.kinds, ElementsAre("snapshot", "snapshot", "input", "input"));
}

TEST_F(PlayerTest, UnplugsAllWhenItIsStopped)
{
    ASSERT_EQ(Load({kSnapshot, kPlugged}), "");
    EXPECT_FALSE(PortsAt(1.5).empty());

    m_player.Stop();

    EXPECT_TRUE(m_target.ports.empty());
    EXPECT_EQ(m_player.Length(), 0);
    EXPECT_EQ(m_player.Now(), 0);
    const std::size_t before = m_target.kinds.size();
    m_player.Stop();
    EXPECT_EQ(m_target.kinds.size(), before);
}

TEST_F(PlayerTest, LeavesWhatItPlaysForNoFaultyRecording)
{
    ASSERT_EQ(Load({kSnapshot, kPlugged}), "");

    EXPECT_THAT(PortsAt(1.5), ElementsAre(0, 1));
    EXPECT_EQ(Load({kSnapshot, "x"}), "line 2: it is not JSON");

    EXPECT_THAT(PortsAt(1.5), ElementsAre(0, 1));
    EXPECT_EQ(m_player.Length(), 1.5);
}

// A file may be replaced while it is played.
TEST_F(PlayerTest, ReportsARecordingThatIsAnother)
{
    int opened = 0;
    const auto open = [&] { return EntriesOf(++opened == 1 ? Lines({kSnapshot, kPlugged}) : Lines({kSnapshot, "x"})); };
    ASSERT_EQ(m_player.Load(open), "");

    ASSERT_TRUE(PlayToTheEnd());

    EXPECT_EQ(m_player.Fault(), "line 2: it is not JSON");
}

TEST_F(PlayerTest, EndsWithWhatTheTargetThrows)
{
    m_target.throwsAtEvents = true;
    ASSERT_EQ(Load({kSnapshot, kEvent, kUnplugged}), "");

    ASSERT_TRUE(PlayToTheEnd());

    EXPECT_THROW(static_cast<void>(m_player.Fault()), std::runtime_error);
    EXPECT_EQ(m_player.Line(), 1U);
}

}  // namespace
