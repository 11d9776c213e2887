// SPDX-License-Identifier: Apache-2.0
#include "Access.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using panel::Access;
using panel::RateLimit;
using panel::Request;

constexpr char kToken[] = "0123456789abcdefABCD";

Request RequestFrom(const std::string& host, const std::string& origin = "")
{
    Request request;
    request.host = host;
    request.origin = origin;
    return request;
}

Request RequestWithCookie(const std::string& cookie)
{
    Request request;
    request.cookie = cookie;
    return request;
}

class PanelAccess : public testing::Test {
protected:
    const Access m_access{kToken, {"127.0.0.1:8080", "localhost:8080", "[::1]:8080"}};
};

TEST_F(PanelAccess, TakesRequestsForItsOwnAddress)
{
    for (const char* const host : {"127.0.0.1:8080", "localhost:8080", "LocalHost:8080", "[::1]:8080"}) {
        EXPECT_TRUE(m_access.IsOwn(RequestFrom(host))) << host;
    }
}

TEST_F(PanelAccess, RefusesRequestsForOtherAddresses)
{
    for (const char* const host : {"", "127.0.0.1", "127.0.0.1:8081", "evil.example:8080", "127.0.0.1:8080.evil"}) {
        EXPECT_FALSE(m_access.IsOwn(RequestFrom(host))) << host;
    }
}

TEST_F(PanelAccess, TakesRequestsOfItsOwnPagesOnly)
{
    EXPECT_TRUE(m_access.IsOwn(RequestFrom("127.0.0.1:8080", "http://127.0.0.1:8080")));
    for (const char* const origin : {"null", "http://evil.example", "https://127.0.0.1:8080", "http://127.0.0.1:80",
                                     "http://127.0.0.1:8080.evil.example", "127.0.0.1:8080"}) {
        EXPECT_FALSE(m_access.IsOwn(RequestFrom("127.0.0.1:8080", origin))) << origin;
    }
}

TEST_F(PanelAccess, FindsItsCookieAmongOthers)
{
    const std::string ours = std::string("srcwatch_panel=") + kToken;

    for (const std::string& cookie :
         std::vector<std::string>{ours, "a=b; " + ours, ours + "; a=b", "srcwatch_panel=old; " + ours, ours + ";"}) {
        EXPECT_TRUE(m_access.HasCookie(RequestWithCookie(cookie))) << cookie;
    }
}

TEST_F(PanelAccess, RefusesOtherCookies)
{
    const std::string token = kToken;
    for (const std::string& cookie :
         std::vector<std::string>{std::string(), token, "srcwatch_panel=", "srcwatch_panel=" + token + "0",
                                  "srcwatch_panel=" + token.substr(1), "xsrcwatch_panel=" + token,
                                  "srcwatch_pane=" + token, std::string(";;;="), "a=srcwatch_panel=" + token}) {
        EXPECT_FALSE(m_access.HasCookie(RequestWithCookie(cookie))) << cookie;
    }
}

TEST_F(PanelAccess, KnowsItsTokenOnly)
{
    EXPECT_TRUE(m_access.IsToken(kToken));
    EXPECT_FALSE(m_access.IsToken(""));
    EXPECT_FALSE(m_access.IsToken("0123456789abcdefABCE"));
}

TEST_F(PanelAccess, AsksForACookieThatNoOtherSiteSends)
{
    const std::string cookie = m_access.SetCookie();

    EXPECT_EQ(cookie, std::string("srcwatch_panel=") + kToken + "; Path=/; HttpOnly; SameSite=Strict");
}

TEST(PanelToken, IsNewEachTime)
{
    const std::string first = panel::MakeToken();

    EXPECT_TRUE(panel::IsTokenText(first));
    EXPECT_EQ(first.size(), 48U);
    EXPECT_NE(first, panel::MakeToken());
}

TEST(PanelToken, IsNotShortNorOfOtherCharacters)
{
    EXPECT_TRUE(panel::IsTokenText("abcdefghijklm-_0"));
    EXPECT_FALSE(panel::IsTokenText("abcdefghijklm-_"));
    EXPECT_FALSE(panel::IsTokenText("abcdefghijklm-_0\n"));
    EXPECT_FALSE(panel::IsTokenText("abcdefghijklm;_0"));
    EXPECT_FALSE(panel::IsTokenText(std::string(129, 'a')));
}

TEST(PanelRateLimit, AllowsSomeAtOnceAndThenSomeASecond)
{
    RateLimit limit(3, 2);

    EXPECT_TRUE(limit.Take(10));
    EXPECT_TRUE(limit.Take(10));
    EXPECT_TRUE(limit.Take(10));
    EXPECT_FALSE(limit.Take(10));
    EXPECT_TRUE(limit.Take(10.5));
    EXPECT_FALSE(limit.Take(10.5));
}

TEST(PanelRateLimit, SavesNoMoreThanItAllowsAtOnce)
{
    RateLimit limit(2, 1);

    EXPECT_TRUE(limit.Take(1000));
    EXPECT_TRUE(limit.Take(1000));
    EXPECT_FALSE(limit.Take(1000));
}

}  // namespace
