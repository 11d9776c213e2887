// SPDX-License-Identifier: Apache-2.0
#include "Http.h"

#include "Json.h"

namespace panel {

Reply JsonReply(const Json::Value& object) { return {kOk, "application/json", ToText(object)}; }

Reply Done() { return JsonReply(Json::objectValue); }

Reply Refusal(Status status, const std::string& reason)
{
    Json::Value object;
    object["error"] = reason;
    Reply reply = JsonReply(object);
    reply.status = status;
    return reply;
}

Reply Download(const std::string& type, const std::string& name, std::string bytes)
{
    return {kOk, type, std::move(bytes), {{"Content-Disposition", "attachment; filename=\"" + name + "\""}}};
}

}  // namespace panel
