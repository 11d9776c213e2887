// SPDX-License-Identifier: Apache-2.0
//
// The real srcwatchctl as a process, on a private bus and with settings of its own.
#ifndef SRCWATCH_TESTS_TOOLTEST_H
#define SRCWATCH_TESTS_TOOLTEST_H

#include "PrivateBus.h"
#include "Waiting.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <json/json.h>

namespace srcwatch_test {

using Words = std::vector<std::string>;

/// How a program ended.
struct Outcome {
    int code = -1;  // 128 plus the signal's number after a signal
    std::string out;
    std::string err;
};
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

/// A program that a test starts. It never outlives the test.
class Program {
public:
    /// Standard output goes to a file, or to a descriptor that is taken over.
    Program(const Words& command, const std::map<std::string, std::string>& environment, const std::string& directory,
            int output = -1);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    std::string Output() const;
    std::string Errors() const;
    void Signal(int number) { g_subprocess_send_signal(m_process, number); }

    /// Runs the main loop until the output has a text. Returns false if the deadline came first.
    bool WaitForOutput(const std::string& text);
    /// Runs the main loop until the program ends. A program that does not is killed, and fails the test.
    Outcome Wait();

private:
    static void OnEnd(GObject* process, GAsyncResult* result, void* self);

    std::string m_outputPath;
    std::string m_errorPath;
    GSubprocess* m_process = nullptr;
    bool m_ended = false;
};

/// A home of its own for each test: settings, four HDMI inputs, an inputs directory.
class ToolTest : public testing::Test {
protected:
    ToolTest();
    ~ToolTest() override;

    /// Runs the tool to its end.
    Outcome Run(const Words& arguments);
    std::unique_ptr<Program> Start(const Words& arguments);
    /// Runs it with a terminal of 80 columns as its standard output, and returns what the terminal got.
    Outcome RunOnTerminal(const Words& arguments);

    /// Returns the JSON document that a command writes, after a check against its schema, also in the form of lines.
    Json::Value Document(const Words& arguments, const std::string& schema, int code = 0);
    /// Succeeds if a text is a JSON document as the schema of a command has it.
    static testing::AssertionResult Matches(const std::string& schema, const std::string& text);
    static Json::Value Parse(const std::string& text);

    /// Writes a setting, through the tool.
    void Set(const std::string& key, const std::string& text, const std::string& type = "--text");
    std::string Get(const std::string& key);

    /// Stores this as the record of a port, with none before it.
    void StoreRecord(int port, const Json::Value& record);

    std::string Path(const std::string& name) const { return m_home + "/" + name; }
    void WriteFile(const std::string& name, const std::string& content) const;
    void RemoveVariable(const std::string& name) { m_environment.erase(name); }
    void SetVariable(const std::string& name, const std::string& value) { m_environment[name] = value; }
    const std::map<std::string, std::string>& Environment() const { return m_environment; }

private:
    std::string m_home;
    std::map<std::string, std::string> m_environment;
    int m_started = 0;
};

extern const char* const kActivityKey;
extern const char* const kOpticalKey;
extern const char* const kStatisticsKey;

/// Succeeds if the program ended with these words in one line on standard error.
testing::AssertionResult Fails(const Outcome& outcome, int code, const std::string& words);

}  // namespace srcwatch_test

#endif
