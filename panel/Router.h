// SPDX-License-Identifier: Apache-2.0
//
// From a request to what answers it, or to the reason for which nothing does. It knows no connection: requests and
// replies are values.
#ifndef SRCWATCH_PANEL_ROUTER_H
#define SRCWATCH_PANEL_ROUTER_H

#include "Access.h"
#include "Http.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <json/value.h>

namespace panel {

/// The most bytes that the body of any request may have.
constexpr std::size_t kLargestBody = 256UL * 1024;

/// A command of a page.
struct Command {
    std::string path;
    bool changes;       ///< not in read-only mode
    std::size_t limit;  ///< of the body
    std::function<void(const Json::Value& body, const Answer& answer)> run;
};

/// A question of a page. The path may end with '*', which stands for the rest of the request's.
struct Question {
    std::string path;
    std::function<void(const std::string& rest, const Request& request, const Answer& answer)> run;
};

struct Routes {
    std::vector<Command> commands;
    std::vector<Question> questions;
};

class Router {
public:
    static constexpr const char* kStreamPath = "/api/stream";

    Router(Access access, Routes routes, bool isReadOnly);

    /// Answers a request. @return True if it is one for the stream instead, and nothing was answered.
    bool Handle(const Request& request, double seconds, const Answer& answer);

private:
    void HandleRoot(const Request& request, const Answer& answer) const;
    void Ask(const Request& request, const Answer& answer) const;
    void Run(const Request& request, const Answer& answer) const;

    const Access m_access;
    const Routes m_routes;
    const bool m_isReadOnly;
    RateLimit m_rate;
};

}  // namespace panel

#endif
