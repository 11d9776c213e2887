// SPDX-License-Identifier: Apache-2.0
#include "ServiceProcess.h"

#include "PrivateBus.h"
#include "TestPlatform.h"

#include <sstream>

namespace srcwatch_test {

std::unique_ptr<Process> LaunchService(const std::vector<std::string>& command,
                                       const std::map<std::string, std::string>& environment)
{
    std::map<std::string, std::string> variables = environment;
    variables.try_emplace("SRCWATCH_LOG", "file:" + TestPlatform::Path("log"));
    variables.try_emplace("DBUS_SYSTEM_BUS_ADDRESS", TheBus().Address());
    return std::make_unique<Process>(command, TestPlatform::Path("service"), variables);
}

int LogLinesWith(const std::string& text)
{
    std::istringstream log(ReadFile(TestPlatform::Path("log")));
    int count = 0;
    for (std::string line; std::getline(log, line);) count += line.find(text) != std::string::npos ? 1 : 0;
    return count;
}

int TimesServing() { return LogLinesWith(" HDMI input(s) from "); }

}  // namespace srcwatch_test
