// SPDX-License-Identifier: Apache-2.0
//
// list, watch, show, get, forget: what is known about the devices.
#include "Answers.h"
#include "Arguments.h"
#include "Bus.h"
#include "Commands.h"
#include "Failure.h"
#include "Loop.h"
#include "Note.h"
#include "Ports.h"
#include "RecordFields.h"
#include "Records.h"
#include "Settings.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <memory>

namespace ctl {

namespace {

constexpr char kDetected[] = "detected";
constexpr char kDamaged[] = "damaged";

const char* StateOf(const Json::Value& document)
{
    if (!document["readable"].asBool()) return kDamaged;
    const bool isKnown = document["record"]["DevType"] != 0;
    const bool isConnected = document["connected"].isNull() ? isKnown : document["connected"].asBool();
    if (isConnected) return isKnown ? kDetected : "connected";
    return isKnown ? "gone" : "empty";
}

// A port with what people are shown of its device; null is what they are not shown.
Json::Value ListedPort(int port)
{
    Json::Value document = PortDocument(port);
    const Json::Value type = document["record"]["DevType"];
    const bool isReadable = document["readable"].asBool();
    const bool isKnown = isReadable && type != 0;
    const srcwatch::Answer info = srcwatch::AskFor("device_info_str1", port).value();
    document["type_name"] = isKnown ? Json::Value(NameOfType(type.asInt())) : Json::Value();
    // Without a device the texts mean nothing.
    document["name"] = isKnown ? info.ValueOf("device_info_str1") : Json::Value();
    document["detail"] = isKnown ? info.ValueOf("device_info_str2") : Json::Value();
    document["provider"] = srcwatch::AskFor("PRName", port)->ValueOf("PRName");
    document["codeset"] = srcwatch::AskFor("codeset", port)->ValueOf("codeset");
    document["state"] = StateOf(document);
    return document;
}

Colour ColourOf(const Json::Value& state)
{
    if (state == kDamaged) return Colour::kBad;
    return state == kDetected ? Colour::kGood : state == "connected" ? Colour::kNone : Colour::kDim;
}

Row ListRow(const Json::Value& listed)
{
    Row row{CellText(listed["port"]), CellText(listed["input"])};
    row.emplace_back(listed["readable"].asBool() ? CellText(listed["type_name"]) : "unreadable");
    for (const char* const name : {"name", "detail", "provider", "codeset"}) row.emplace_back(CellText(listed[name]));
    row.emplace_back(CellText(listed["state"]), ColourOf(listed["state"]));
    return row;
}

// What is stored is all that there is to show without a service.
void NoteMissingService()
{
    try {
        RequireService();
    } catch (const Failure& failure) {
        Note(std::string("showing stored records only: ") + failure.what());
    }
}

struct Listing {
    Json::Value document{Json::arrayValue};
    Table table{{"PORT",
                 "INPUT",
                 "TYPE",
                 {"NAME", Fit::kCut},
                 {"DETAIL", Fit::kCut},
                 {"PROVIDER", Fit::kCut},
                 "CODESET",
                 "STATE"},
                {}};
};

Listing ListPorts()
{
    RequireSettings();
    Listing listing;
    for (const int port : AllPorts()) {
        listing.document.append(ListedPort(port));
        listing.table.rows.push_back(ListRow(listing.document[listing.document.size() - 1]));
    }
    return listing;
}

void List(Output& output)
{
    const Listing listing = ListPorts();
    output.Write(listing.document, listing.table);
    NoteMissingService();
}

// Lists the ports whenever something was written. What is written at once, as a detection does, is listed once.
class ListWatch {
public:
    ListWatch(Output& output, int count) : m_output(output), m_count(count) {}
    ListWatch(const ListWatch&) = delete;
    ListWatch& operator=(const ListWatch&) = delete;
    ~ListWatch()
    {
        if (m_pause != 0) g_source_remove(m_pause);
    }

    Loop::End Run(std::optional<double> seconds)
    {
        const SettingsWatch watch(nullptr, OnWritten, this);
        Show();
        return m_loop.Run(seconds);
    }

private:
    static constexpr unsigned kPauseMs = 50;

    static void OnWritten(const char* /*key*/, const srcwatch_host_value* /*value*/, void* self)
    {
        auto& watch = *static_cast<ListWatch*>(self);
        if (watch.m_pause == 0) watch.m_pause = g_timeout_add(kPauseMs, OnPaused, self);
    }

    static gboolean OnPaused(void* self)
    {
        auto& watch = *static_cast<ListWatch*>(self);
        watch.m_pause = 0;
        watch.m_loop.Guard([&] { watch.Show(); });
        return G_SOURCE_REMOVE;
    }

    // What is not different is not listed again.
    void Show()
    {
        Listing listing = ListPorts();
        if (listing.document == m_shown) return;
        m_output.Redraw(listing.document, listing.table);
        m_shown = std::move(listing.document);
        if (++m_times == m_count) m_loop.Quit();
    }

    Output& m_output;
    const int m_count;  // of lists to show; 0 for all
    int m_times = 0;
    Json::Value m_shown;
    unsigned m_pause = 0;
    Loop m_loop;
};

std::vector<std::string> FieldNames()
{
    std::vector<std::string> names;
    for (const srcwatch::RecordField& field : srcwatch::kRecordFields) names.emplace_back(field.key);
    for (const std::string& name : srcwatch::OutputNames()) {
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    return names;
}

void Get(int port, const std::string& field, Output& output)
{
    RequireSettings();
    std::optional<srcwatch::Answer> answer = srcwatch::AskFor(field, port);
    if (!answer) answer = srcwatch::Answer{"the record", SRCWATCH_OK, {{field, LoadRecord(port).members[field]}}};
    const Json::Value value = answer->ValueOf(field);
    const std::string place = "port " + std::to_string(port);
    if (value.isNull() && answer->result == SRCWATCH_OK) {
        throw Failure(answer->function + " has no " + field + " for the device type of " + place);
    }
    if (value.isNull()) {
        throw Failure(answer->function + " returned " + std::to_string(answer->result) + " for " + place + ": " +
                      srcwatch::ResultText(answer->result));
    }
    Json::Value document;
    document["port"] = port;
    document["field"] = field;
    document["value"] = value;
    document["source"] = answer->function;
    output.Write(document, Table{{}, {{CellText(value)}}});
}

void Forget(int port, Output& output)
{
    // A running service has the records in memory and would write them back, so the bus must answer.
    if (ServiceOwner(ConnectBus().get())) {
        srcwatch_event_s request{};
        request.args[0] = port;
        const std::string reply = CallService(SRCWATCH_REQUEST_FORGET, request, "");
        if (!ParseReply(reply).isObject()) {
            throw Failure("the detection service does not know this request: it replies \"" + reply + "\"");
        }
    } else {
        ForgetRecord(port);
    }
    output.Confirm(PortDocument(port), "forgot what was known about " + PortName(port));
}

}  // namespace

void AddPortCommands(cli::Command app, Output& output)
{
    const cli::Command list = app.AddCommand("list", "List the devices on all ports");
    list.Runs([&output] { List(output); });

    const auto count = std::make_shared<int>(0);
    const auto timeout = std::make_shared<std::optional<double>>();
    const cli::Command watch = app.AddCommand("watch", "Show a list that stays up to date");
    watch.RequireCommand();
    const cli::Command watchList = watch.AddCommand("list", "List the devices on all ports whenever one changes");
    AddCount(watchList, *count, "End after this many lists");
    AddTimeout(watchList, *timeout, "End, with exit code 3, after this time");
    watchList.Runs([=, &output] {
        const Loop::End end = ListWatch(output, *count).Run(*timeout);
        if (end == Loop::End::kTimedOut) throw Failure("watch list: time is up", kTimedOut);
    });

    const auto port = std::make_shared<int>();
    const auto field = std::make_shared<std::string>();
    const cli::Command show = app.AddCommand("show", "Show everything known about a port");
    AddPort(show, "PORT", *port);
    show.Runs([=, &output] { ShowPort(*port, output); });

    const cli::Command get = app.AddCommand("get", "Print one value of a port, as it is");
    AddPort(get, "PORT", *port);
    get.AddArgument("FIELD", field.get(), "A member of the record, or an output of a function, as 'show' names them")
        .Required()
        .CheckedBy(IsOneOf("a field", FieldNames()));
    get.Runs([=, &output] { Get(*port, *field, output); });

    const cli::Command forget = app.AddCommand("forget", "Clear what is known about a port, except its deny count");
    AddPort(forget, "PORT", *port);
    forget.Runs([=, &output] { Forget(*port, output); });
}

}  // namespace ctl
