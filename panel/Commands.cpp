// SPDX-License-Identifier: Apache-2.0
#include "Commands.h"

#include "Composer.h"
#include "Explanation.h"
#include "InputName.h"
#include "Json.h"
#include "Tar.h"
#include "Tv.h"
#include "Words.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

namespace panel {

namespace {

constexpr std::size_t kBodyLimit = 64UL * 1024;

// Runs body(port) for a port that the TV has, and refuses all others.
template <typename Body>
void WithPort(const Json::Value& command, const char* name, const Answer& answer, Body body)
{
    const auto port = NumberIn(command, name);
    if (!port) return answer(Refusal(kBadRequest, std::string(name) + " is not a number"));
    if (!HasPort(*port)) return answer(Refusal(kBadRequest, "the TV has no port " + std::to_string(*port)));
    body(*port);
}

Outcome Plug(const Inputs& inputs, int port, const Json::Value& command)
{
    if (const auto capture = TextIn(command, "capture")) return inputs.Plug(port, *capture);
    const ComposedDevice device = ComposeDevice(command["device"]);
    return device.capture ? inputs.PlugDevice(port, *device.capture) : Outcome{kBadRequest, device.reason};
}

void Classify(const KnownDevices& devices, const Json::Value& command, const Answer& answer)
{
    const ComposedDevice device = ComposeDevice(command["device"]);
    answer(device.capture ? JsonReply(devices.Verdict(*device.capture)) : Refusal(kBadRequest, device.reason));
}

// Passes a request about a port on to the service, and its reply back.
void PassOn(ServiceCalls& calls, int request, int port, const Answer& answer)
{
    calls.Call(request, port, [answer](const ServiceReply& reply) {
        answer(reply.IsReply() ? JsonReply(reply.object) : Refusal(kBadGateway, reply.reason));
    });
}

// ---------------------------------------------------------------------------------------------------------------------
// Scans

struct ScanCommand {
    const char* path;
    const char* name;
    void (*send)();
};
constexpr ScanCommand kScanCommands[] = {
    {"/api/scan", "start", srcwatch_oobe_scan_start},     {"/api/scan", "stop", srcwatch_oobe_scan_stop},
    {"/api/scan", "resume", srcwatch_oobe_scan_resume},   {"/api/optical", "start", srcwatch_optical_scan_start},
    {"/api/optical", "stop", srcwatch_optical_scan_stop},
};

void SendScan(const std::string& path, const ScanListener& listener, const Json::Value& body, const Answer& answer)
{
    const std::string name = TextIn(body, "command").value_or("");
    for (const ScanCommand& command : kScanCommands) {
        if (path != command.path || name != command.name) continue;
        if (!listener.hasService()) return answer(Refusal(kUnavailable, "no detection service is running"));
        command.send();
        if (path == "/api/optical") listener.onOptical(name == "start");
        return answer(Done());
    }
    answer(Refusal(kBadRequest, "no such command: " + name));
}

void SendTwc(int port, const ScanListener& listener, const std::string& name, const Answer& answer)
{
    if (port == SRCWATCH_PORT_OPTICAL) return answer(Refusal(kBadRequest, "the TWC check is for HDMI inputs only"));
    if (name != "start" && name != "end") return answer(Refusal(kBadRequest, "no such command: " + name));
    if (!listener.hasService()) return answer(Refusal(kUnavailable, "no detection service is running"));
    name == "start" ? srcwatch_TWC_check_start(port) : srcwatch_TWC_check_end(port);
    answer(Done());
}

// ---------------------------------------------------------------------------------------------------------------------
// Captures as files

Reply TarOf(int port, const srcwatch::Capture& capture)
{
    if (capture.IsEmpty()) return Refusal(kNotFound, "no device data on " + srcwatch::PortName(port));
    std::vector<TarFile> files;
    const auto add = [&](const char* name, const std::string& bytes) {
        if (!bytes.empty()) files.push_back({name, bytes});
    };
    add(srcwatch::kSpdFile, {capture.spd.begin(), capture.spd.end()});
    add(srcwatch::kCecFile, capture.cec);
    add(srcwatch::kAksvFile, {capture.aksv.begin(), capture.aksv.end()});
    const auto tar = PackTar(files);
    if (!tar) return Refusal(kServerError, "cannot pack the files of the device");
    return Download("application/x-tar", srcwatch::InputName(port) + ".tar", *tar);
}

// Answers a question about a port with what replyOf(port, capture) makes of the device on it. A device that an adapter
// knows has no directory.
template <typename ReplyOf>
void WithCapture(ServiceCalls& calls, const Inputs& inputs, const Request& request, const Answer& answer,
                 ReplyOf replyOf)
{
    const auto port = PortIn(request);
    if (!port) return answer(Refusal(kBadRequest, "the TV has no such port"));
    const srcwatch::Capture capture = inputs.Read(*port);
    if (!capture.IsEmpty()) return answer(replyOf(*port, capture));
    calls.Call(SRCWATCH_REQUEST_CAPTURE, *port, [=](const ServiceReply& reply) {
        const auto known = reply.IsReply() ? srcwatch::CaptureOf(reply.object) : std::nullopt;
        answer(replyOf(*port, known.value_or(srcwatch::Capture())));
    });
}

}  // namespace

// Answers with what has become of an input, once everybody else knows.
void AddInputCommands(Routes& routes, const Inputs& inputs, const std::function<void()>& onChange)
{
    const auto end = [onChange](const Answer& answer, const Outcome& outcome) {
        if (outcome.IsDone()) onChange();
        answer(outcome.ToReply());
    };
    const auto add = [&routes](const char* path, const auto& run) {
        routes.commands.push_back({path, true, kBodyLimit, run});
    };
    add("/api/plug", [&inputs, end](const Json::Value& body, const Answer& answer) {
        WithPort(body, "port", answer, [&](int port) { end(answer, Plug(inputs, port, body)); });
    });
    add("/api/unplug", [&inputs, end](const Json::Value& body, const Answer& answer) {
        WithPort(body, "port", answer, [&](int port) { end(answer, inputs.Unplug(port)); });
    });
    add("/api/move", [&inputs, end](const Json::Value& body, const Answer& answer) {
        WithPort(body, "from", answer,
                 [&](int from) { WithPort(body, "to", answer, [&](int to) { end(answer, inputs.Move(from, to)); }); });
    });
}

void AddDeviceCommands(Routes& routes, const KnownDevices& devices)
{
    routes.commands.push_back(
        {"/api/classify", false, kBodyLimit,
         [&devices](const Json::Value& body, const Answer& answer) { Classify(devices, body, answer); }});
    routes.commands.push_back(
        {"/api/profiles/try", false, kLargestBody, [&devices](const Json::Value& body, const Answer& answer) {
             const auto text = TextIn(body, "text");
             answer(text ? JsonReply(devices.TryText(*text)) : Refusal(kBadRequest, "text is not a text"));
         }});
    routes.questions.push_back({"/api/profiles", [&devices](const std::string&, const Request&, const Answer& answer) {
                                    answer(JsonReply(devices.Profiles()));
                                }});
}

void AddServiceCommands(Routes& routes, ServiceCalls& calls, const Inputs& inputs, const KnownDevices& devices)
{
    struct Passed {
        const char* path;
        int request;
    };
    for (const Passed& passed :
         {Passed{"/api/deny", SRCWATCH_REQUEST_DENY}, {"/api/forget", SRCWATCH_REQUEST_FORGET}}) {
        routes.commands.push_back({passed.path, true, kBodyLimit,
                                   [&calls, request = passed.request](const Json::Value& body, const Answer& answer) {
                                       WithPort(body, "port", answer,
                                                [&](int port) { PassOn(calls, request, port, answer); });
                                   }});
    }
    routes.questions.push_back({"/api/capture", [&](const std::string&, const Request& request, const Answer& answer) {
                                    WithCapture(calls, inputs, request, answer, TarOf);
                                }});
    routes.questions.push_back({"/api/explain", [&](const std::string&, const Request& request, const Answer& answer) {
                                    const auto explain = [&devices](int port, const srcwatch::Capture& device) {
                                        return JsonReply(Explain(port, device, devices));
                                    };
                                    WithCapture(calls, inputs, request, answer, explain);
                                }});
}

void AddScanCommands(Routes& routes, const ScanListener& listener)
{
    for (const char* const path : {"/api/scan", "/api/optical"}) {
        routes.commands.push_back({path, true, kBodyLimit, [=](const Json::Value& body, const Answer& answer) {
                                       SendScan(path, listener, body, answer);
                                   }});
    }
    routes.commands.push_back({"/api/twc", true, kBodyLimit, [=](const Json::Value& body, const Answer& answer) {
                                   WithPort(body, "port", answer, [&](int port) {
                                       SendTwc(port, listener, TextIn(body, "command").value_or(""), answer);
                                   });
                               }});
}

std::optional<int> PortIn(const Request& request)
{
    const auto text = request.query.find("port");
    if (text == request.query.end()) return std::nullopt;
    for (const int port : Ports()) {
        if (text->second == std::to_string(port)) return port;
    }
    return std::nullopt;
}

}  // namespace panel
