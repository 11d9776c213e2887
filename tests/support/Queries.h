// SPDX-License-Identifier: Apache-2.0
//
// Every query about a port as one row: how to call it, and what it must answer for a stored text. The expectations are
// worked out on their own, from the rules of the interface, and share no code with the library. For programs that
// contain the platform in memory.
#ifndef SRCWATCH_TESTS_QUERIES_H
#define SRCWATCH_TESTS_QUERIES_H

#include <climits>
#include <cstddef>
#include <string>
#include <vector>

#include <json/json.h>

namespace srcwatch_test {

constexpr int kOptical = 99;
constexpr int kAcceptedPorts[] = {0, 1, 2, 3, 4, 5, 6, 7, kOptical};
constexpr int kRefusedPorts[] = {INT_MIN, -1, 8, 98, 100, INT_MAX};
bool IsAccepted(int port);

constexpr char kHdmiKey[] = "db/srcwatch-service/source-activity";
constexpr char kOpticalKey[] = "db/srcwatch-service/optical-source-activity";
constexpr char kStatisticsKey[] = "db/srcwatch-service/spd_aksv_1";

/// The settings key that holds the record of a port.
const char* StoredKey(int port);

/// Compact JSON.
std::string TextOf(const Json::Value& value);

/// An array with element at index, and nulls before it.
Json::Value ArrayWith(int index, const Json::Value& element);

/// The document that holds record as that of port, and nothing else.
std::string DocumentOf(int port, const Json::Value& record);

/// Parses as the library's reader does. @return False if the text is not JSON. Throws what the reader throws.
bool ParseJson(const std::string& text, Json::Value& root);

/// What a caller's buffer of size bytes holds after strncpy of text.
std::string Copied(const std::string& text, std::size_t size = 100);

/// As "%s" prints it: up to the first zero.
std::string Printed(const std::string& text);

/// A caller's buffer between guard bytes.
class GuardedText {
public:
    explicit GuardedText(std::size_t size = 100, char fill = '#');
    char* data() { return &m_bytes[kGuard]; }
    std::string Content() const { return m_bytes.substr(kGuard, m_bytes.size() - 2 * kGuard); }
    bool IsUntouched() const { return GuardsHold() && Content() == std::string(m_bytes.size() - 2 * kGuard, m_fill); }
    bool GuardsHold() const;

private:
    static constexpr std::size_t kGuard = 256;
    char m_fill;
    std::string m_bytes;
};

/// All that a query can write to; each uses a part.
struct Outputs {
    std::string text1;
    std::string text2;
    int number1;
    int number2;
    bool flag;
};

/// The effects of a call of a query.
struct Outcome {
    int result;
    Outputs outputs;
    std::vector<std::string> log;  ///< "function: message" of the lines of the exported functions
    bool staysInBounds = true;     ///< nothing else was written, and nothing logged below ERROR
};

bool operator==(const Outcome& a, const Outcome& b);

struct CallerOutputs {
    char* text1;
    char* text2;
    int* number1;
    int* number2;
    bool* flag;
};

/// Outputs that a query does not test for null: it leaves out the write through a null, and does all else.
struct Untested {
    bool number1 = false;
    bool flag = false;
};

struct Query {
    const char* name;
    const char* blamed;  ///< the function that its exception message names
    std::size_t textSize;
    int (*call)(int port, const CallerOutputs& outputs);
    void (*answer)(const Query& query, int port, Json::Value& record, Outcome& outcome);
    const char* key = nullptr;  ///< of a query for one member
    Untested untested = {};
    bool testsForNull = true;  ///< at least one of its outputs
    int reads = 1;             ///< of the record of the port
};

const std::vector<Query>& AllQueries();
const Query& QueryNamed(const std::string& name);
/// The queries that copy the text of one member.
std::vector<Query> TextQueries();

/// Calls a query with outputs that hold fill, but for those that are null. Forgets earlier log lines and calls of the
/// platform first.
Outcome Ask(const Query& query, int port, char fill = '#', Untested null = {});

/// The outcome that the same call must have if stored is under the port's key; null stands for no text.
Outcome Expected(const Query& query, int port, const std::string* stored, char fill = '#', Untested null = {});

/// The same for the record that was read from that text, null if there is none. Reading adds null members to it, which
/// read as absent ones do.
Outcome ExpectedOfRecord(const Query& query, int port, Json::Value& record, char fill = '#', Untested null = {});

}  // namespace srcwatch_test

#endif
