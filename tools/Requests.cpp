// SPDX-License-Identifier: Apache-2.0
#include "Requests.h"

#include "Bus.h"
#include "Failure.h"
#include "JsonText.h"
#include "QDInfoEventManager.h"

#include <sstream>

namespace ctl {

namespace {

constexpr gint64 kReplyTimeoutUs = 5'000'000;  // of the library's senders

}  // namespace

std::string CallService(int type, const srcwatch_event_s& request, const std::string& extra)
{
    const Connection connection = ConnectBus();
    RequireService(connection.get());

    qdinfo::CQDEventSender sender("");
    sender.AppendArgs(request);
    std::stringstream reply;
    const gint64 start = g_get_monotonic_time();
    const int called = extra.empty() ? sender.Call(type, reply) : sender.Call(type, std::stringstream(extra), reply);
    if (called == 1) return reply.str();
    if (g_get_monotonic_time() - start >= kReplyTimeoutUs) {
        throw Failure("the detection service does not answer in time", kTimedOut);
    }
    throw Failure("the call to the detection service failed; --log shows why");
}

Json::Value CallForDocument(int type, const srcwatch_event_s& request, const std::string& extra)
{
    const std::string reply = CallService(type, request, extra);
    Json::Value document = srcwatch::ParseJson(reply).value_or(Json::nullValue);
    if (!document.isObject()) {
        throw Failure("the detection service does not know this request: it replies \"" + reply + "\"");
    }
    if (document["error"].isString()) throw Failure("the detection service refuses: " + document["error"].asString());
    return document;
}

}  // namespace ctl
