// SPDX-License-Identifier: Apache-2.0
//
// The real detection service, and captures of devices that are plugged into its inputs.
#ifndef SRCWATCH_TESTKIT_DETECTIONSERVICE_H
#define SRCWATCH_TESTKIT_DETECTIONSERVICE_H

#include <memory>
#include <string>
#include <vector>

namespace srcwatch_test {

class EventQueue;
class Process;

struct ServiceOptions {
    std::string program = "srcwatch-service";    ///< found by PATH
    std::vector<std::string> arguments = {};     ///< of the program, beside the one that names the inputs
    std::string captures = InstalledCaptures();  ///< the directory in which Plug() looks for a capture

    /// Returns the value of SRCWATCH_CAPTURES, or the directory where the captures are installed.
    static std::string InstalledCaptures();
};

/// srcwatch-service on the TV that the program's TestPlatform is, from the construction on. One at a time.
class DetectionService {
public:
    /// Returns when it serves, with no device that was not plugged in before. Throws std::runtime_error with what it
    /// wrote if it does not.
    explicit DetectionService(ServiceOptions options = {});
    DetectionService(const DetectionService&) = delete;
    DetectionService& operator=(const DetectionService&) = delete;
    /// Ends the service. What is plugged in stays so.
    ~DetectionService();

    /// Plugs a capture, by its name or the path of its directory, into a port, and returns when the device was detected
    /// and announced. Throws std::runtime_error if there is no such capture, the port is occupied, or nothing is
    /// detected.
    void Plug(int port, const std::string& capture);
    /// Unplugs the device, and returns when that was announced.
    void Unplug(int port);

    /// Returns what the service has logged.
    static std::string Log();

private:
    ServiceOptions m_options;
    std::unique_ptr<EventQueue> m_events;
    std::unique_ptr<Process> m_process;
};

}  // namespace srcwatch_test

#endif
