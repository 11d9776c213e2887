// SPDX-License-Identifier: Apache-2.0
//
// The rooms of the service in the test's own process, with settings of its own and without the program.
#ifndef SRCWATCH_TESTS_ROOMTEST_H
#define SRCWATCH_TESTS_ROOMTEST_H

#include "Announcer.h"
#include "Detector.h"
#include "DirectoryInputs.h"
#include "Records.h"
#include "ServiceTest.h"

#include <string>
#include <vector>

namespace srcwatch_test {

constexpr int kHdmiInputs = 4;

extern const char* const kActivityKey;
extern const char* const kStatisticsKey;

/// Keeps what is announced, as one text for each event: "connection 0 1".
class FakeAnnouncer : public srcwatch::Announcer {
public:
    std::vector<std::string> events;

private:
    void Send(int type, int first, int second, int third, const srcwatch::Classification& names) override;
};

/// A record with a device of a type.
srcwatch::Record RecordOfType(int type);

class RoomTest : public ServiceTest {
protected:
    /// Loads the records, as they are stored.
    RoomTest() = default;
    void SetUp() override { ASSERT_EQ(m_records.Load(), ""); }

    /// Watches the inputs directory, with the profiles of the service.
    void StartDetector();
    bool WaitForAnnouncements(std::size_t count);

    const srcwatch::PortSet m_ports{kHdmiInputs};
    srcwatch::Settings m_settings;
    srcwatch::Records m_records{m_settings};
    FakeAnnouncer m_announcer;
    bool m_inputsLost = false;
    srcwatch::DirectoryInputs m_directory{m_inputs.Path(), 20, m_ports};
    srcwatch::DetectionLog m_log{"", {}};
    srcwatch::Detector m_detector{
        m_directory, m_ports, m_records, m_settings, m_announcer, m_log, [this](const auto&) { m_inputsLost = true; }};
};

}  // namespace srcwatch_test

#endif
