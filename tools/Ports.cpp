// SPDX-License-Identifier: Apache-2.0
#include "Ports.h"

#include "DeviceType.h"
#include "Failure.h"
#include "QDInfoNames.h"
#include "Records.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <charconv>
#include <numeric>

#include <TVServiceAPI.h>
#include <glib.h>

namespace ctl {

namespace {

constexpr int kHdmiPorts = 8;  // that the library's functions accept
constexpr double kLongestTimeout = 1e6;
constexpr char kNoDevice[] = "none";  // the name of type 0

// The name of a device type on the command line.
std::string ArgumentOf(const char* name)
{
    std::string argument = name;
    std::transform(argument.begin(), argument.end(), argument.begin(),
                   [](char c) { return c == ' ' ? '-' : g_ascii_tolower(c); });
    return argument;
}

bool IsPort(int port) { return port == SRCWATCH_PORT_OPTICAL || (port >= 0 && port < kHdmiPorts); }

// A validator's answer: what is wrong, or nothing.
std::string WhatIsWrongWithPort(const std::string& text)
{
    const std::optional<int> port = ParseInt(text);
    if (port && IsPort(*port)) return "";
    return "'" + text + "' is no port: 0 to 7 are HDMI 1 to 8, 99 is the optical source";
}

std::string WhatIsWrongWithSeconds(const std::string& text)
{
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, seconds);
    const bool good = error == std::errc() && last == end && seconds >= 0 && seconds <= kLongestTimeout;
    return good ? "" : "'" + text + "' is no number of seconds from 0 to 1000000";
}

}  // namespace

std::optional<int> ParseInt(const std::string& text)
{
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end) return std::nullopt;
    return number;
}

std::string PortName(int port)
{
    return port == SRCWATCH_PORT_OPTICAL ? "optical" : "HDMI " + std::to_string(port + 1);
}

std::vector<int> AllPorts()
{
    const int known = get_hdmi_count();
    const int count = std::min(known > 0 ? known : CountStoredRecords(), kHdmiPorts);
    std::vector<int> ports(static_cast<std::size_t>(count));
    std::iota(ports.begin(), ports.end(), 0);
    ports.push_back(SRCWATCH_PORT_OPTICAL);
    return ports;
}

std::optional<bool> IsConnected(int port)
{
    if (port < 0 || port >= kHdmiPorts) return std::nullopt;
    ISourceControl* control = nullptr;
    if (TVServiceAPI::CreateSourceControl(PROFILE_TYPE_MAIN, 0, &control) != 0 || control == nullptr) {
        return std::nullopt;
    }
    bool connected = false;
    if (control->IsExternalSourceConnected(qdinfo::HDMI_SOURCE_IDS[port], &connected) < 1) return std::nullopt;
    return connected;
}

std::string DeviceTypeName(int type)
{
    if (type == 0) return kNoDevice;
    for (const srcwatch::DeviceTypeName& known : srcwatch::kDeviceTypes) {
        if (known.type == type) return known.name;
    }
    return "error type " + std::to_string(type);
}

int ParseDeviceType(const std::string& text)
{
    if (const std::optional<int> number = ParseInt(text)) return *number;
    if (text == kNoDevice) return 0;
    std::string known = kNoDevice;
    for (const srcwatch::DeviceTypeName& type : srcwatch::kDeviceTypes) {
        if (text == ArgumentOf(type.name)) return type.type;
        known += ", " + ArgumentOf(type.name);
    }
    throw Failure("'" + text + "' is no device type: a number, or one of " + known, kUsage);
}

CLI::Option* AddPort(CLI::App* command, const std::string& name, int& port)
{
    return command->add_option(name, port, "Port: 0 is HDMI 1, 99 the optical source")
        ->required()
        ->type_name(name.front() == '-' ? "PORT" : "")
        ->check(WhatIsWrongWithPort);
}

CLI::Option* AddTimeout(CLI::App* command, std::optional<double>& seconds, const std::string& description)
{
    const auto assign = [&seconds](const double& value) { seconds = value; };
    return command->add_option_function<double>("--timeout", assign, description)
        ->type_name("SECONDS")
        ->check(WhatIsWrongWithSeconds);
}

}  // namespace ctl
