// SPDX-License-Identifier: Apache-2.0
//
// Every query about a port as one row: how to call it, and what it must answer for a stored text. The expectations are
// worked out on their own, from the rules of the interface, and share no code with the library.
#ifndef SRCWATCH_TESTS_QUERIES_H
#define SRCWATCH_TESTS_QUERIES_H

#include "TestPlatform.h"

#include <climits>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <json/json.h>

namespace srcwatch_test {

constexpr int kOptical = 99;
constexpr int kAcceptedPorts[] = {0, 1, 2, 3, 4, 5, 6, 7, kOptical};
constexpr int kRefusedPorts[] = {INT_MIN, -1, 8, 98, 100, INT_MAX};

constexpr char kHdmiKey[] = "db/srcwatch-service/source-activity";
constexpr char kOpticalKey[] = "db/srcwatch-service/optical-source-activity";
constexpr char kStatisticsKey[] = "db/srcwatch-service/spd_aksv_1";

// What an announcement leaves in the sequence, as there is no bus; the reason follows it.
constexpr char kNoBus[] = "E QDInfoEventManager.cpp m_Connect: Couldn't connect to DBus bus: '";

// The settings key that holds the record of a port.
const char* StoredKey(int port);

// Compact JSON.
std::string TextOf(const Json::Value& value);

// An array with element at index, and nulls before it.
Json::Value ArrayWith(int index, const Json::Value& element);

// The document that holds record as that of port, and nothing else.
std::string DocumentOf(int port, const Json::Value& record);

// Parses as the library's reader does; throws what it throws.
bool ParseJson(const std::string& text, Json::Value& root);

// What a caller's buffer of size bytes holds after strncpy of text.
std::string Copied(const std::string& text, std::size_t size = 100);

// What JsonCpp says when action fails; fails the test when it does not.
std::string WhatJsonSays(const std::function<void()>& action);

// As "%s" prints it: up to the first zero.
std::string Printed(const std::string& text);

// A caller's buffer between guard bytes.
class GuardedText {
public:
    explicit GuardedText(std::size_t size = 100, char fill = '#');
    char* data() { return &m_bytes[kGuard]; }
    std::string Content() const { return m_bytes.substr(kGuard, m_bytes.size() - 2 * kGuard); }
    bool IsUntouched() const { return m_bytes == m_before; }
    bool GuardsHold() const;

private:
    static constexpr std::size_t kGuard = 256;
    std::string m_bytes;
    std::string m_before;
};

// A buffer whose end is the end of readable and writable memory.
class EdgeBuffer {
public:
    EdgeBuffer();
    EdgeBuffer(const EdgeBuffer&) = delete;
    EdgeBuffer& operator=(const EdgeBuffer&) = delete;
    ~EdgeBuffer();
    char* Last(std::size_t size) const;  // the last size bytes, filled with '#'

private:
    std::size_t m_page;
    char* m_start;
};

// All that a query can write to; each uses a part.
struct Outputs {
    std::string text1;
    std::string text2;
    int number1;
    int number2;
    bool flag;
};

// What a call of a query came to.
struct Outcome {
    int result;
    Outputs outputs;
    std::vector<std::string> log;  // "function: message" of the lines of the exported functions
};

bool operator==(const Outcome& a, const Outcome& b);
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

struct CallerOutputs {
    char* text1;
    char* text2;
    int* number1;
    int* number2;
    bool* flag;
};

// Outputs that a query does not test for null: it leaves out the write through a null, and does all else.
struct Untested {
    bool number1 = false;
    bool flag = false;
};

struct Query {
    const char* name;
    const char* blamed;  // the function that its exception message names
    std::size_t textSize;
    int (*call)(int port, const CallerOutputs& outputs);
    void (*answer)(const Query& query, int port, Json::Value& record, Outcome& outcome);
    const char* key = nullptr;  // of a query for one member
    Untested untested = {};
    bool testsForNull = true;  // at least one of its outputs
};

std::ostream& operator<<(std::ostream& stream, const Query& query);

const std::vector<Query>& AllQueries();
const Query& QueryNamed(const std::string& name);

// Calls a query with outputs that hold fill, but for those that are null; fails the test when it wrote anything else.
// Forgets earlier log lines and calls of the platform first.
Outcome Ask(const Query& query, int port, char fill = '#', Untested null = {});

// What the same call must come to when stored is under the port's key; null stands for no text.
Outcome Expected(const Query& query, int port, const std::string* stored, char fill = '#', Untested null = {});

// Has the store made beforehand, nothing recorded and no bus; the store is gone afterwards.
class QueryTest : public PlatformTest {
protected:
    QueryTest();
    ~QueryTest() override;

    void GivenText(int port, const std::string& text) { platform.settings.texts[StoredKey(port)] = text; }
    void GivenRecord(int port, const Json::Value& record) { GivenText(port, DocumentOf(port, record)); }
    void ForgetCalls();

    // The sequence, with the line of an announcement cut to kNoBus: the reason is the bus library's.
    std::vector<std::string> SequenceWithoutBusReason() const;

    // What one read of a port's record leaves in the sequence.
    std::vector<std::string> OneRead(int port) const;
};

}  // namespace srcwatch_test

#endif
