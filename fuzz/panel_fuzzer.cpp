// SPDX-License-Identifier: Apache-2.0
//
// Requests to the panel, without a connection: whatever comes is answered once, nothing is answered to strangers, and
// what is answered is JSON in UTF-8. And recordings, which are read where they are shown.
//
// Input: what to do; then who asks, method, path and type, each as a choice, and the body.
#include "Commands.h"
#include "Fuzz.h"
#include "Json.h"
#include "Place.h"
#include "Recording.h"

#include <filesystem>
#include <iterator>
#include <optional>

namespace {

using fuzz::Input;
using fuzz::Require;
using namespace panel;

constexpr char kToken[] = "0123456789abcdef";

constexpr const char* kMethods[] = {"GET", "POST", "PUT", "HEAD", ""};
constexpr const char* kTypes[] = {"application/json", "application/json; charset=utf-8", "text/plain", ""};
constexpr const char* kPaths[] = {"/api/plug", "/api/unplug",  "/api/move", "/api/classify", "/api/profiles/try",
                                  "/api/scan", "/api/optical", "/api/twc",  "/api/profiles", "/api/stream",
                                  "/"};

// The panel on a TV of its own, without a service.
class House {
public:
    House() : m_inputs(m_place.Path(), SRCWATCH_CAPTURES_DIR), m_devices("/nonexistent", {"/nonexistent"})
    {
        Routes routes;
        AddPages(routes);
        AddInputCommands(routes, m_inputs, [] {});
        AddDeviceCommands(routes, m_devices);
        AddScanCommands(routes, {[] { return false; }, [](bool) {}});
        m_router.emplace(Access(kToken, {"127.0.0.1:80"}), std::move(routes), false);
    }

    /// Handles a request, and returns what was answered; nothing for the stream.
    std::optional<Reply> Handle(const Request& request)
    {
        std::optional<Reply> reply;
        const bool isStream = m_router->Handle(request, ++m_seconds, [&](const Reply& given) {
            Require(!reply, "a request is answered once");
            reply = given;
        });
        Require(isStream != reply.has_value(), "a request is answered, or is for the stream");
        return reply;
    }

    /// Nothing is there but what a port may have.
    void CheckInputs() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(m_place.Path())) {
            const std::string name = entry.path().filename();
            Require(name == "optical" || name == ".panel", "only a port of the TV gets a device");
        }
    }

private:
    fuzz::Place m_place;
    const Inputs m_inputs;
    const KnownDevices m_devices;
    std::optional<Router> m_router;
    double m_seconds = 0;  // so much later each time that no request is one too many
};

Request RequestFrom(Input& input)
{
    Request request;
    const std::string right = std::string("srcwatch_panel=") + kToken;
    const unsigned who = input.Below(8);
    request.cookie = who == 1 ? input.Text(40) : who == 2 ? "" : right;
    request.host = who == 3 ? input.Text(40) : "127.0.0.1:80";
    request.origin = who == 4 ? input.Text(40) : "";
    if (who == 5) request.query["token"] = input.Text(40);
    request.method = kMethods[input.Below(std::size(kMethods))];
    const unsigned path = input.Below(std::size(kPaths) + 1);
    request.path = path < std::size(kPaths) ? kPaths[path] : "/" + input.Text(60);
    request.contentType = kTypes[input.Below(std::size(kTypes))];
    request.body = input.Rest();
    return request;
}

bool IsStranger(const Request& request)
{
    const bool isElsewhere = request.host != "127.0.0.1:80" || request.origin.size() != 0;
    const bool hasToken = request.query.count("token") != 0 && request.query.at("token") == kToken;
    return isElsewhere || (request.cookie.find(kToken) == std::string::npos && !hasToken);
}

void CheckRequest(Input& input)
{
    static House house;
    const Request request = RequestFrom(input);
    const std::optional<Reply> reply = house.Handle(request);
    const bool isOwnOrigin = request.origin == "http://127.0.0.1:80";
    if (IsStranger(request) && !isOwnOrigin) Require(reply && reply->status == kForbidden, "strangers get nothing");
    if (reply && reply->type == "application/json") {
        Require(ValidText(reply->body) == reply->body, "a reply is UTF-8");
        const auto object = ParseObject(reply->body);
        Require(object.has_value(), "a reply is an object");
        Require((reply->status == kOk) != (*object)["error"].isString(), "what is refused has a reason");
    }
    house.CheckInputs();
}

void CheckRecording(const std::string& text)
{
    const Recording recording = ParseRecording(text);
    Require(recording.length >= 0, "time goes forward");
    double last = 0;
    for (const Json::Value& line : recording.timeline) {
        Require(line["at"].asDouble() >= last && line["at"].asDouble() <= recording.length, "entries are in order");
        last = line["at"].asDouble();
    }
    const std::unique_ptr<srcwatch::EntrySource> entries = EntriesOf(text);
    while (const auto entry = entries->Next()) {
        const bool isPlugged = entry->json["kind"] == "input" && !entry->json["capture"].isNull();
        Require(!isPlugged || srcwatch::CaptureOf(entry->json["capture"]), "what is plugged in has files");
    }
    Require(ParseObject(ToText(recording.timeline.empty() ? Json::Value(Json::objectValue) : recording.timeline[0]))
                .has_value(),
            "a line is an object");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    if (input.Below(4) == 3) {
        CheckRecording(input.Rest());
    } else {
        CheckRequest(input);
    }
    return 0;
}
