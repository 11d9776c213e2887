// SPDX-License-Identifier: Apache-2.0
//
// A saved document with every single bit flipped, and cut at every length.
#include "QDInfoServerData.h"
#include "QueryTest.h"

namespace {

using namespace srcwatch_test;

constexpr int kPorts = 2;

class DamagedDocument : public QueryTest {
protected:
    DamagedDocument()
    {
        qdinfo::CQDInfoServerData table;
        table.CreateAndAddNewActivity();
        Fill(table, 0, 1, "STB Provider");
        Fill(table, 1, 3, "Provider");
        EXPECT_TRUE(table.t_SaveActivityInfoToFile());
        Json::Value root;
        EXPECT_TRUE(ParseJson(platform.settings.texts[kHdmiKey], root));
        root["activity"].resize(kPorts);
        saved = Json::writeString(Json::StreamWriterBuilder(), root);
        ForgetCalls();
    }

    static void Fill(qdinfo::CQDInfoServerData& table, int port, int type, const char* provider)
    {
        table.SetDeviceType(type, port);
        table.SetProviderName(provider, port);
        table.SetDeviceName("Disc \"one\"", port);
        table.SetBrandName("B\xc3\xa9", port);
        table.SetCodesetName("C012345678", port);
        table.SetUnknownType("u", port);
        table.SetAKSVKey("0123456789", port);
        table.SetDenyCount(-2, port);
        table.SetChangedType(1, port);
    }

    // Returns true if the text can be loaded, by rules of its own.
    static bool IsLoadable(const std::string& text)
    {
        Json::Value root;
        try {
            if (!ParseJson(Printed(text), root)) return false;
        } catch (const Json::Exception&) {
            return false;
        }
        if (!root.isNull() && !root.isObject()) return false;
        const Json::Value activity = root.isNull() ? root : root["activity"];
        return activity.isNull() || activity.isArray();
    }

    void ExpectStatedAnswers(const std::string& text, int port)
    {
        GivenText(0, text);
        for (const Query& query : AllQueries()) {
            ASSERT_EQ(Ask(query, port), Expected(query, port, &text)) << query.name << " " << text;
        }
        qdinfo::CQDInfoServerData table;
        ASSERT_EQ(table.t_LoadActivityInfoToMemory(), IsLoadable(text)) << text;
        platform.sequence.clear();
    }

    std::string saved;
};

TEST_F(DamagedDocument, IsWholeToBeginWith)
{
    ASSERT_TRUE(IsLoadable(saved));
    for (int port = 0; port < kPorts; ++port) ExpectStatedAnswers(saved, port);
    EXPECT_EQ(Ask(QueryNamed("srcwatch_get_codeset_info"), 1).outputs.text1, "C012345678");
}

TEST_F(DamagedDocument, IsAnsweredAsStatedAfterEverySingleBitFlip)
{
    for (std::size_t at = 0; at < saved.size(); ++at) {
        const int port = at < saved.size() / 2 ? 0 : 1;  // the port whose record is damaged
        for (unsigned bit = 0; bit < 8; ++bit) {
            std::string damaged = saved;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ (1U << bit));
            ExpectStatedAnswers(damaged, port);
            if (HasFatalFailure()) return;
        }
    }
}

TEST_F(DamagedDocument, IsAnsweredAsStatedAtEveryLength)
{
    for (std::size_t length = 0; length <= saved.size(); ++length) {
        for (int port = 0; port < kPorts; ++port) ExpectStatedAnswers(saved.substr(0, length), port);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
