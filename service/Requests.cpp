// SPDX-License-Identifier: Apache-2.0
#include "Requests.h"

#include "QDInfoEventManager.h"
#include "srcwatch-protocol.h"
#include "srcwatch-version.h"

#include <limits>
#include <sstream>

#include <json/json.h>

namespace srcwatch {

namespace {

Json::Value Error(const std::string& text)
{
    Json::Value answer;
    answer["error"] = text;
    return answer;
}

}  // namespace

void Requests::Register(qdinfo::CQDEventReciever& receiver)
{
    for (const int type :
         {SRCWATCH_REQUEST_STATUS, SRCWATCH_REQUEST_RECORD, SRCWATCH_REQUEST_FORGET, SRCWATCH_REQUEST_DENY}) {
        receiver.RegisterEventCallback(type, OnRequest, this);
    }
}

// A broadcast of a request's type is heard too, but has no reply: what it would write stays in the stream.
void Requests::OnRequest(void* self, srcwatch_event_s* event)
{
    auto* const reply = static_cast<std::stringstream*>(event->ptr_args[0]);
    if (reply == nullptr || reply->tellp() > 0) return;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    *reply << Json::writeString(builder, static_cast<Requests*>(self)->Answer(event->type, event->args[0]));
}

Json::Value Requests::Answer(int type, int port)
{
    if (type == SRCWATCH_REQUEST_STATUS) return AnswerStatus();
    if (!m_ports.Has(port)) return Error("no such port: " + std::to_string(port));
    if (type == SRCWATCH_REQUEST_DENY) return AnswerDeny(port);
    if (type == SRCWATCH_REQUEST_FORGET) m_records.Clear(port);
    return AnswerRecord(port);
}

Json::Value Requests::AnswerStatus() const
{
    Json::Value answer;
    answer["version"] = SRCWATCH_VERSION;
    answer["inputs"] = m_ports.hdmiCount;
    answer["plugged"] = Json::arrayValue;
    for (const int port : m_ports.All()) {
        if (m_detector.IsPlugged(port)) answer["plugged"].append(port);
    }
    answer["profiles"] = static_cast<Json::UInt64>(m_detector.ProfileCount());
    const Scan& scan = m_commands.FirstSetupScan();
    answer["scan"]["state"] = scan.StateText();
    answer["scan"]["percent"] = scan.Percent();
    answer["scan"]["found"] = scan.DevicesFound();
    answer["twc"]["port"] = m_commands.TwcPort();
    return answer;
}

Json::Value Requests::AnswerRecord(int port) const
{
    Json::Value answer;
    answer["port"] = port;
    answer["plugged"] = m_detector.IsPlugged(port);
    answer["record"] = Records::Stored(port);
    return answer;
}

Json::Value Requests::AnswerDeny(int port)
{
    Record record = m_records.Get(port);
    if (!record.HasDevice()) return Error("nothing was detected on port " + std::to_string(port));
    if (record.denyCount < std::numeric_limits<int>::max()) ++record.denyCount;
    static_cast<void>(m_records.Set(port, record));  // the reply is the same if the count has reached its limit
    return AnswerRecord(port);
}

}  // namespace srcwatch
