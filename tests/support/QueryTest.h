// SPDX-License-Identifier: Apache-2.0
//
// What tests of the queries share.
#ifndef SRCWATCH_TESTS_QUERYTEST_H
#define SRCWATCH_TESTS_QUERYTEST_H

#include "PlatformTest.h"
#include "Queries.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace srcwatch_test {

std::ostream& operator<<(std::ostream& stream, const Query& query);
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

/// What an announcement leaves in the sequence, as there is no bus; the reason follows it.
constexpr char kNoBus[] = "E QDInfoEventManager.cpp m_Connect: Couldn't connect to DBus bus: '";

/// Returns the text of the exception of JsonCpp that action throws; fails the test if it throws none.
std::string JsonErrorOf(const std::function<void()>& action);

/// A buffer whose end is the end of readable and writable memory.
class EdgeBuffer {
public:
    EdgeBuffer();
    EdgeBuffer(const EdgeBuffer&) = delete;
    EdgeBuffer& operator=(const EdgeBuffer&) = delete;
    ~EdgeBuffer();
    char* Last(std::size_t size) const;  ///< the last size bytes, filled with '#'

private:
    std::size_t m_page;
    char* m_start;
};

/// Has the store made beforehand, nothing recorded and no bus; the store is gone afterwards.
class QueryTest : public PlatformTest {
protected:
    QueryTest();
    ~QueryTest() override;

    void GivenText(int port, const std::string& text) { platform.settings.texts[StoredKey(port)] = text; }
    void GivenRecord(int port, const Json::Value& record) { GivenText(port, DocumentOf(port, record)); }
    void ForgetCalls() { platform.ForgetCalls(); }

    /// The text that is stored for a port; null if there is none.
    const std::string* Stored(int port) const;

    /// The sequence, with the line of an announcement cut to kNoBus: the reason is the bus library's.
    std::vector<std::string> SequenceWithoutBusReason() const;

    /// What one read of a port's record leaves in the sequence.
    std::vector<std::string> OneRead(int port) const;
};

}  // namespace srcwatch_test

#endif
