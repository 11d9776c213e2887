// SPDX-License-Identifier: Apache-2.0
#include "DetectionService.h"

#include "EventQueue.h"
#include "ServiceProcess.h"
#include "TestPlatform.h"
#include "srcwatch-protocol.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace srcwatch_test {

namespace {

std::string InputPath(int port)
{
    const std::string name =
        port == SRCWATCH_PORT_OPTICAL ? SRCWATCH_INPUT_OPTICAL : SRCWATCH_INPUT_HDMI + std::to_string(port + 1);
    return TestPlatform::Path("inputs/" + name);
}

}  // namespace

std::string ServiceOptions::InstalledCaptures()
{
    const char* const set = std::getenv("SRCWATCH_CAPTURES");
    return set != nullptr ? set : SRCWATCH_CAPTURES_DIR;
}

DetectionService::DetectionService(ServiceOptions options)
    : m_options(std::move(options)), m_events(std::make_unique<EventQueue>())
{
    std::vector<std::string> command = {m_options.program, "--inputs", TestPlatform::Path("inputs")};
    command.insert(command.end(), m_options.arguments.begin(), m_options.arguments.end());
    const int before = TimesServing();
    m_process = LaunchService(command);
    if (!RunUntil([&] { return m_process->Result() || TimesServing() > before; }) || m_process->Result())
        throw std::runtime_error(m_options.program + " does not serve: " + m_process->Errors());
}

DetectionService::~DetectionService()
{
    m_process->Signal(SIGTERM);
    static_cast<void>(m_process->Wait());  // it is killed if it does not end
}

void DetectionService::Plug(int port, const std::string& capture)
{
    const std::filesystem::path path = std::filesystem::path(m_options.captures) / capture;
    if (!std::filesystem::is_directory(path)) throw std::runtime_error("no such capture: " + path.string());
    m_events->Clear();
    std::filesystem::create_directory_symlink(path, InputPath(port));
    static_cast<void>(m_events->ExpectEvent<srcwatch::Detected>([&](const auto& event) { return event.port == port; }));
}

void DetectionService::Unplug(int port)
{
    m_events->Clear();
    std::filesystem::remove_all(InputPath(port));
    static_cast<void>(m_events->ExpectEvent<srcwatch::ConnectionChanged>(
        [&](const auto& event) { return event.port == port && !event.plugged; }));
}

std::string DetectionService::Log() { return ReadFile(TestPlatform::Path("log")); }

}  // namespace srcwatch_test
