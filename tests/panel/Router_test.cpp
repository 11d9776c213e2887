// SPDX-License-Identifier: Apache-2.0
#include "Router.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace panel;

constexpr char kToken[] = "0123456789abcdef";

// A router with a command "/api/do", one that changes nothing, "/api/try", and the questions "/" and "/file/*".
class PanelRouter : public testing::Test {
protected:
    static Routes MakeRoutes()
    {
        const auto echo = [](const Json::Value& body, const Answer& answer) { answer(JsonReply(body)); };
        Routes routes;
        routes.commands = {{"/api/do", true, 100, echo}, {"/api/try", false, 100, echo}};
        routes.questions = {
            {"/",
             [](const std::string&, const Request&, const Answer& answer) {
                 answer({kOk, "text/html", "page"});
             }},
            {"/file/*",
             [](const std::string& rest, const Request&, const Answer& answer) {
                 answer({kOk, "text/plain", rest});
             }},
        };
        return routes;
    }

    static Request Get(const std::string& path)
    {
        Request request;
        request.method = "GET";
        request.path = path;
        request.host = "127.0.0.1:80";
        request.cookie = std::string("srcwatch_panel=") + kToken;
        return request;
    }

    static Request Post(const std::string& path, const std::string& body)
    {
        Request request = Get(path);
        request.method = "POST";
        request.contentType = "application/json";
        request.body = body;
        return request;
    }

    Reply Send(const Request& request, double seconds = 0)
    {
        std::optional<Reply> reply;
        m_isStream = m_router.Handle(request, seconds, [&](const Reply& given) {
            EXPECT_FALSE(reply.has_value());
            reply = given;
        });
        EXPECT_NE(m_isStream, reply.has_value());
        return reply.value_or(Reply{});
    }

    Router m_router{Access(kToken, {"127.0.0.1:80"}), MakeRoutes(), false};
    bool m_isStream = false;
};

TEST_F(PanelRouter, ExchangesTheTokenForACookie)
{
    Request request = Get("/");
    request.cookie = "";
    request.query["token"] = kToken;

    const Reply reply = Send(request);

    EXPECT_EQ(reply.status, kSeeOther);
    ASSERT_EQ(reply.headers.size(), 2U);
    EXPECT_EQ(reply.headers[0].second, "/");
    EXPECT_EQ(reply.headers[1].first, "Set-Cookie");
}

TEST_F(PanelRouter, RefusesAnotherToken)
{
    Request request = Get("/");
    request.query["token"] = "0123456789abcdeg";

    EXPECT_EQ(Send(request).status, kForbidden);
}

TEST_F(PanelRouter, AnswersNothingWithoutTheCookie)
{
    for (Request request : {Get("/"), Get("/file/a"), Get("/api/stream"), Post("/api/do", "{}")}) {
        request.cookie = "";

        EXPECT_EQ(Send(request).status, kForbidden) << request.path;
    }
}

TEST_F(PanelRouter, AnswersNothingToForeignPages)
{
    Request toAnotherHost = Get("/");
    toAnotherHost.host = "evil.example:80";
    Request fromAnotherPage = Post("/api/do", "{}");
    fromAnotherPage.origin = "http://evil.example";

    EXPECT_EQ(Send(toAnotherHost).status, kForbidden);
    EXPECT_EQ(Send(fromAnotherPage).status, kForbidden);
}

TEST_F(PanelRouter, FindsQuestionsByTheirPath)
{
    EXPECT_EQ(Send(Get("/")).body, "page");
    EXPECT_EQ(Send(Get("/file/a/b")).body, "a/b");
    EXPECT_EQ(Send(Get("/file")).status, kNotFound);
    EXPECT_EQ(Send(Get("/nothing")).status, kNotFound);
}

TEST_F(PanelRouter, LeavesTheStreamToItsCaller)
{
    static_cast<void>(Send(Get("/api/stream")));

    EXPECT_TRUE(m_isStream);
}

TEST_F(PanelRouter, RunsCommands)
{
    EXPECT_EQ(Send(Post("/api/do", "{\"a\": 1}")).body, "{\"a\":1}");
    EXPECT_EQ(Send(Post("/api/nothing", "{}")).status, kNotFound);
    EXPECT_EQ(Send(Post("/", "{}")).status, kMethodNotAllowed);
}

TEST_F(PanelRouter, RefusesOtherMethods)
{
    for (const char* const method : {"PUT", "DELETE", "OPTIONS", "HEAD", "", "get"}) {
        Request request = Post("/api/do", "{}");
        request.method = method;

        EXPECT_EQ(Send(request).status, kMethodNotAllowed) << method;
    }
}

TEST_F(PanelRouter, TakesNothingButJson)
{
    for (const char* const type : {"", "text/plain", "application/jsonp", "application/x-www-form-urlencoded"}) {
        Request request = Post("/api/do", "{}");
        request.contentType = type;

        EXPECT_EQ(Send(request).status, kUnsupportedType) << type;
    }
    Request request = Post("/api/do", "{}");
    request.contentType = "application/json; charset=utf-8";
    EXPECT_EQ(Send(request).status, kOk);
}

TEST_F(PanelRouter, RefusesBodiesThatAreNoObject)
{
    for (const std::string& body :
         std::vector<std::string>{std::string(), std::string("[]"), std::string("1"), std::string("{"),
                                  std::string("{} {}"), std::string("{\"a\":1,\"a\":2}"), std::string("\xff")}) {
        EXPECT_EQ(Send(Post("/api/do", body)).status, kBadRequest) << body;
    }
}

TEST_F(PanelRouter, RefusesABodyThatIsNestedTooDeep)
{
    std::string body = "{\"a\":";
    for (int i = 0; i < 40; ++i) body += '[';

    EXPECT_EQ(Send(Post("/api/do", body)).status, kBadRequest);
}

TEST_F(PanelRouter, RefusesABodyThatIsTooLarge)
{
    EXPECT_EQ(Send(Post("/api/do", "{" + std::string(98, ' ') + "}")).status, kOk);
    EXPECT_EQ(Send(Post("/api/do", "{" + std::string(99, ' ') + "}")).status, kTooLarge);
}

TEST_F(PanelRouter, RefusesTooManyRequests)
{
    for (int i = 0; i < 100; ++i) ASSERT_EQ(Send(Post("/api/do", "{}"), 7).status, kOk);

    EXPECT_EQ(Send(Post("/api/do", "{}"), 7).status, kTooManyRequests);
    EXPECT_EQ(Send(Get("/"), 7).status, kOk);
    EXPECT_EQ(Send(Post("/api/do", "{}"), 8).status, kOk);
}

TEST_F(PanelRouter, InReadOnlyModeChangesNothing)
{
    Router router(Access(kToken, {"127.0.0.1:80"}), MakeRoutes(), true);
    Reply reply;
    const Answer answer = [&](const Reply& given) { reply = given; };

    EXPECT_FALSE(router.Handle(Post("/api/do", "{}"), 0, answer));
    EXPECT_EQ(reply.status, kForbidden);
    EXPECT_EQ(reply.body, "{\"error\":\"read-only\"}");
    EXPECT_FALSE(router.Handle(Post("/api/try", "{}"), 0, answer));
    EXPECT_EQ(reply.status, kOk);
}

}  // namespace
