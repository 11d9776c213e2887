// SPDX-License-Identifier: Apache-2.0
//
// A request and its reply as values, apart from the connection that they pass over.
#ifndef SRCWATCH_PANEL_HTTP_H
#define SRCWATCH_PANEL_HTTP_H

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <json/value.h>

namespace panel {

/// Status codes of HTTP, as far as they are used.
enum Status : unsigned {
    kOk = 200,
    kSeeOther = 303,
    kBadRequest = 400,
    kForbidden = 403,
    kNotFound = 404,
    kMethodNotAllowed = 405,
    kConflict = 409,
    kTooLarge = 413,
    kUnsupportedType = 415,
    kTooManyRequests = 429,
    kServerError = 500,
    kNotImplemented = 501,
    kBadGateway = 502,
    kUnavailable = 503
};

/// A request. Headers that are absent are empty.
struct Request {
    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::string host;
    std::string origin;
    std::string cookie;
    std::string contentType;
    std::string lastEventId;
    std::string body;
};

struct Reply {
    unsigned status = kOk;
    std::string type = "text/plain; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};
};

/// Gets the reply, now or later.
using Answer = std::function<void(const Reply&)>;

/// Returns an object as a reply.
Reply JsonReply(const Json::Value& object);

/// Returns the reply to a command that was done and has nothing to say.
Reply Done();

/// Returns a refusal, with the reason as {"error": TEXT}.
Reply Refusal(Status status, const std::string& reason);

/// Returns a file to be saved under a name, which has no quotes.
Reply Download(const std::string& type, const std::string& name, std::string bytes);

}  // namespace panel

#endif
