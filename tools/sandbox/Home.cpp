// SPDX-License-Identifier: Apache-2.0
#include "Home.h"

#include "Handle.h"
#include "InputsDirectory.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <gio/gio.h>
#include <sys/un.h>

namespace sandbox {

namespace {

void WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream file(path);
    if (!(file << text).flush()) throw std::runtime_error("cannot write " + path);
}

// A TV with both remotes, so that nothing but its inputs decides whether it has a device.
std::string PlatformConfig(int hdmiInputs)
{
    return "[hdmi]\ninputs=" + std::to_string(hdmiInputs) +
           "\n[features]\n"
           "com.korvane/featureconf/bt_profile_bt_calvix=true\n"
           "com.korvane/featureconf/cx_core_ir_tavrin=true\n";
}

// As a value in a bus address; nothing is left that means something in XML.
std::string Escaped(const std::string& path)
{
    const srcwatch::Handle<char, g_free> escaped(g_dbus_address_escape_value(path.c_str()));
    return escaped.get();
}

std::string BusConfigText(const std::string& home)
{
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <listen>unix:path=" +
           Escaped(home) +
           "/bus</listen>\n"
           "  <policy context=\"default\">\n"
           "    <allow own=\"*\"/>\n"
           "    <allow send_destination=\"*\"/>\n"
           "    <allow send_type=\"signal\"/>\n"
           "    <allow receive_sender=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
}

void SetVariable(const char* name, const std::string& value)
{
    if (setenv(name, value.c_str(), 1) != 0) throw std::system_error(errno, std::generic_category(), name);
}

}  // namespace

std::string MakeHome()
{
    std::string home = (std::filesystem::temp_directory_path() / "srcwatch-sandbox-XXXXXX").string();
    if (mkdtemp(home.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), "cannot make the directory " + home);
    return home;
}

void FillHome(const std::string& home, const Options& options)
{
    // The longest path of a socket in it.
    if (NotifySocket(home).size() >= sizeof(sockaddr_un::sun_path))
        throw std::runtime_error("too long a path for sockets: " + home + "; set TMPDIR to a shorter one");
    for (const char* directory : {"/inputs", "/run", "/state"}) std::filesystem::create_directory(home + directory);
    WriteFile(home + "/platform.conf", PlatformConfig(options.hdmiInputs));
    WriteFile(BusConfig(home), BusConfigText(home));
    for (const auto& [port, capture] : options.plugs) {
        const srcwatch::InputOutcome outcome = srcwatch::InputsDirectory(Inputs(home)).Link(port, capture);
        if (!outcome.IsDone()) throw std::runtime_error(outcome.reason);
    }
}

void EnterHome(const std::string& home, const Options& options, const Installation& installation)
{
    SetVariable("SRCWATCH_STATE_DIR", home + "/state");
    SetVariable("SRCWATCH_RUN_DIR", home + "/run");
    SetVariable("SRCWATCH_PLATFORM_CONF", home + "/platform.conf");
    SetVariable("SRCWATCH_SERVICE_CONF", "");  // not the machine's
    SetVariable("SRCWATCH_INPUTS", Inputs(home));
    SetVariable("SRCWATCH_CAPTURES", installation.captures);
    if (!options.log.empty()) {
        SetVariable("SRCWATCH_LOG", "file:" + options.log);
    } else if (std::getenv("SRCWATCH_LOG") == nullptr) {
        SetVariable("SRCWATCH_LOG", "none");  // not the machine's journal
    }
    const char* const path = std::getenv("PATH");
    if (!installation.tools.empty() && path != nullptr) SetVariable("PATH", installation.tools + ":" + path);
}

void RemoveHome(const std::string& home)
{
    std::error_code error;
    std::filesystem::remove_all(home, error);
    if (!error) return;
    // Nothing can be done if this fails.
    static_cast<void>(
        std::fprintf(stderr, "srcwatch-sandbox: cannot remove %s: %s\n", home.c_str(), error.message().c_str()));
}

}  // namespace sandbox
