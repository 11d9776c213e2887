// SPDX-License-Identifier: Apache-2.0
#include "Streams.h"

#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace panel;
using testing::HasSubstr;
using testing::StartsWith;

Json::Value Change(const std::string& text)
{
    Json::Value change;
    change["text"] = text;
    return change;
}

class FakeReader : public PageReader {
public:
    void Send(const std::string& text) override { m_got += text; }
    std::size_t Unsent() const override { return m_unsent; }
    void Drop() override { m_isDropped = true; }

    std::string m_got;
    std::size_t m_unsent = 0;
    bool m_isDropped = false;
};

TEST(PanelChangeLog, NumbersItsChanges)
{
    ChangeLog log("epoch");

    EXPECT_EQ(log.Add(Change("a")), "id: epoch-1\nevent: change\ndata: {\"text\":\"a\"}\n\n");
    EXPECT_EQ(log.Add(Change("b")), "id: epoch-2\nevent: change\ndata: {\"text\":\"b\"}\n\n");
    EXPECT_EQ(log.Snapshot(Change("c")), "id: epoch-2\nevent: snapshot\ndata: {\"text\":\"c\"}\n\n");
}

TEST(PanelChangeLog, KeepsTextsInOneLineOfUtf8)
{
    ChangeLog log("epoch");

    const std::string& sent = log.Add(Change("a\nb\r\xff\xc3"));

    EXPECT_EQ(sent, "id: epoch-1\nevent: change\ndata: {\"text\":\"a\\nb\\r\xef\xbf\xbd\xef\xbf\xbd\"}\n\n");
}

TEST(PanelChangeLog, ReturnsWhatWasMissed)
{
    ChangeLog log("epoch");
    for (const char* const text : {"a", "b", "c"}) log.Add(Change(text));

    EXPECT_EQ(log.Since("epoch-3"), "");
    EXPECT_THAT(log.Since("epoch-1").value_or(""), StartsWith("id: epoch-2\n"));
    EXPECT_THAT(log.Since("epoch-1").value_or(""), HasSubstr("id: epoch-3\n"));
    EXPECT_TRUE(log.Since("epoch-0").has_value());
}

TEST(PanelChangeLog, KnowsNoOtherIds)
{
    ChangeLog log("epoch");
    log.Add(Change("a"));

    for (const char* const id : {"", "epoch", "epoch-", "epoch-2", "other-1", "epoch--1", "epoch-01", "epoch-1 "}) {
        EXPECT_FALSE(log.Since(id).has_value()) << id;
    }
}

TEST(PanelChangeLog, KeepsTheLastChanges)
{
    ChangeLog log("epoch");
    for (int i = 0; i < 300; ++i) log.Add(Change("a"));

    EXPECT_TRUE(log.Since("epoch-44").has_value());
    EXPECT_FALSE(log.Since("epoch-43").has_value());
}

TEST(PanelChangeLog, KeepsLessOfLargeChanges)
{
    ChangeLog log("epoch");
    for (int i = 0; i < 10; ++i) log.Add(Change(std::string(1024UL * 1024, 'x')));

    EXPECT_TRUE(log.Since("epoch-7").has_value());
    EXPECT_FALSE(log.Since("epoch-5").has_value());
}

class PanelStreams : public testing::Test {
protected:
    std::shared_ptr<FakeReader> Open(const std::string& lastId = "")
    {
        auto reader = std::make_shared<FakeReader>();
        m_streams.Add(reader, lastId);
        return reader;
    }

    Streams m_streams{"epoch", [] { return Change("all"); }};
};

TEST_F(PanelStreams, SendASnapshotAndThenChanges)
{
    const auto reader = Open();
    m_streams.Publish(Change("a"));

    EXPECT_EQ(reader->m_got,
              "id: epoch-0\nevent: snapshot\ndata: {\"text\":\"all\"}\n\n"
              "id: epoch-1\nevent: change\ndata: {\"text\":\"a\"}\n\n");
}

TEST_F(PanelStreams, SendOnlyWhatAReaderMissed)
{
    m_streams.Publish(Change("a"));
    m_streams.Publish(Change("b"));

    const auto reader = Open("epoch-1");

    EXPECT_EQ(reader->m_got, ": again\n\nid: epoch-2\nevent: change\ndata: {\"text\":\"b\"}\n\n");
}

TEST_F(PanelStreams, DropASlowReaderAndNoOther)
{
    const auto slow = Open();
    const auto other = Open();
    slow->m_unsent = Streams::kMostUnsent;

    m_streams.Publish(Change("a"));

    EXPECT_TRUE(slow->m_isDropped);
    EXPECT_THAT(slow->m_got, testing::Not(HasSubstr("change")));
    EXPECT_FALSE(other->m_isDropped);
    EXPECT_THAT(other->m_got, HasSubstr("change"));
}

TEST_F(PanelStreams, AreLimitedInNumber)
{
    std::vector<std::shared_ptr<FakeReader>> readers;
    while (!m_streams.IsFull()) readers.push_back(Open());
    EXPECT_EQ(readers.size(), 16U);

    m_streams.Remove(readers.front().get());

    EXPECT_FALSE(m_streams.IsFull());
}

TEST_F(PanelStreams, EndTogether)
{
    const auto reader = Open();

    m_streams.DropAll();
    m_streams.Publish(Change("a"));

    EXPECT_TRUE(reader->m_isDropped);
    EXPECT_THAT(reader->m_got, testing::Not(HasSubstr("change")));
}

}  // namespace
