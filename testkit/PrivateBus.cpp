// SPDX-License-Identifier: Apache-2.0
#include "PrivateBus.h"

#include "BusDaemon.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

constexpr char kOpenPolicy[] =
    "  <policy context=\"default\">\n"
    "    <allow own=\"*\"/>\n"
    "    <allow send_destination=\"*\"/>\n"
    "    <allow receive_sender=\"*\"/>\n"
    "  </policy>\n";

[[noreturn]] void Fail(const std::string& what) { throw std::runtime_error("private bus: " + what); }

std::string MakeDirectory()
{
    std::string path = (std::filesystem::temp_directory_path() / "srcwatch-bus-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) Fail("no temporary directory");
    // A policy may let other users in, who have to reach the socket.
    if (chmod(path.c_str(), 0711) != 0) Fail("no access to " + path);
    return path;
}

void WriteConfig(const std::string& path, const std::string& address, const std::string& policy)
{
    std::ofstream file(path);
    file << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig>\n"
            "  <type>system</type>\n"
            "  <auth>EXTERNAL</auth>\n"
            "  <listen>"
         << address << "</listen>\n"
         << policy << "</busconfig>\n";
    if (!file.flush()) Fail("cannot write " + path);
}

}  // namespace

PrivateBus::PrivateBus(const std::string& policy)
    : m_directory(MakeDirectory()), m_daemon(std::make_unique<BusDaemon>(m_directory)), m_owner(getpid())
{
    m_address = "unix:path=" + m_directory + "/socket";
    WriteConfig(m_directory + "/bus.conf", m_address, policy.empty() ? kOpenPolicy : policy);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1);
    m_daemon->Start();
}

PrivateBus::~PrivateBus()
{
    if (getpid() != m_owner) return;
    Kill();
    std::error_code ignored;  // nothing can be done about it
    std::filesystem::remove_all(m_directory, ignored);
}

void PrivateBus::Kill() { m_daemon->Kill(); }

void PrivateBus::Pause() { m_daemon->Pause(); }

void PrivateBus::Continue() { m_daemon->Continue(); }

bool PrivateBus::IsRunning() const { return m_daemon->IsRunning(); }

pid_t PrivateBus::Pid() const { return m_daemon->Pid(); }

void PrivateBus::Restart()
{
    Kill();
    m_daemon->Start();
}

PrivateBus& TheBus()
{
    static PrivateBus bus;
    return bus;
}

}  // namespace srcwatch_test
