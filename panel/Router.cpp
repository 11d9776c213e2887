// SPDX-License-Identifier: Apache-2.0
#include "Router.h"

#include "Json.h"

#include <algorithm>

namespace panel {

namespace {

// Of commands and questions: a page that is used by hand needs a few in a second.
constexpr double kRequestsAtOnce = 100;
constexpr double kRequestsPerSecond = 50;

constexpr char kApi[] = "/api/";

bool IsJson(const std::string& contentType)
{
    return contentType.substr(0, contentType.find_first_of("; ")) == "application/json";
}

Reply Text(Status status, const char* text) { return {status, "text/plain; charset=utf-8", text}; }

}  // namespace

Router::Router(Access access, Routes routes, bool isReadOnly)
    : m_access(std::move(access)),
      m_routes(std::move(routes)),
      m_isReadOnly(isReadOnly),
      m_rate(kRequestsAtOnce, kRequestsPerSecond)
{
}

bool Router::Handle(const Request& request, double seconds, const Answer& answer)
{
    const auto end = [&answer](const Reply& reply) {
        answer(reply);
        return false;
    };
    if (!m_access.IsOwn(request)) return end(Refusal(kForbidden, "the request is not for this server, or not from it"));
    if (request.method == "GET" && request.path == "/" && request.query.count("token") != 0) {
        HandleRoot(request, answer);
        return false;
    }
    if (!m_access.HasCookie(request)) {
        return end(Text(kForbidden, "open the address that srcwatch-panel printed when it was started\n"));
    }
    const bool isApi = request.path.rfind(kApi, 0) == 0;
    if (isApi && !m_rate.Take(seconds)) return end(Refusal(kTooManyRequests, "too many requests; try again later"));
    if (request.method == "GET" && request.path == kStreamPath) return true;
    if (request.method == "GET") {
        Ask(request, answer);
    } else if (request.method == "POST" && isApi) {
        Run(request, answer);
    } else {
        answer(Refusal(kMethodNotAllowed, "no such method here"));
    }
    return false;
}

// The token leaves the address, which browsers keep and show.
void Router::HandleRoot(const Request& request, const Answer& answer) const
{
    if (!m_access.IsToken(request.query.at("token")))
        return answer(Text(kForbidden, "wrong token: open the address that srcwatch-panel printed\n"));
    answer({kSeeOther, "text/plain", "", {{"Location", "/"}, {"Set-Cookie", m_access.SetCookie()}}});
}

void Router::Ask(const Request& request, const Answer& answer) const
{
    for (const Question& question : m_routes.questions) {
        const bool isFamily = question.path.back() == '*';
        const std::string beginning = question.path.substr(0, question.path.size() - (isFamily ? 1 : 0));
        if (isFamily ? request.path.rfind(beginning, 0) == 0 : request.path == beginning) {
            return question.run(request.path.substr(beginning.size()), request, answer);
        }
    }
    answer(Refusal(kNotFound, "no such page"));
}

void Router::Run(const Request& request, const Answer& answer) const
{
    const auto command = std::find_if(m_routes.commands.begin(), m_routes.commands.end(),
                                      [&](const Command& each) { return each.path == request.path; });
    if (command == m_routes.commands.end()) return answer(Refusal(kNotFound, "no such command"));
    if (command->changes && m_isReadOnly) return answer(Refusal(kForbidden, "read-only"));
    if (!IsJson(request.contentType)) return answer(Refusal(kUnsupportedType, "the body must be application/json"));
    if (request.body.size() > command->limit) return answer(Refusal(kTooLarge, "the request is too large"));
    const auto body = ParseObject(request.body);
    if (!body) return answer(Refusal(kBadRequest, "the body is not a JSON object"));
    command->run(*body, answer);
}

}  // namespace panel
