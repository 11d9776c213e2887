// SPDX-License-Identifier: Apache-2.0
#include "ToolTest.h"

#include "QDInfoNames.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <pty.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace srcwatch_test {

const char* const kActivityKey = qdinfo::kSourceActivityKey;
const char* const kOpticalKey = qdinfo::kOpticalActivityKey;
const char* const kStatisticsKey = qdinfo::kStatisticsKey;

namespace {

std::string ReadFile(const std::string& path)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

Json::Value ParseText(const std::string& text)
{
    Json::Value value;
    std::istringstream stream(text);
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << errors << text;
    return value;
}

// All that a terminal has got; ends with the last program that has it open.
std::string ReadTerminal(int terminal)
{
    std::string text;
    char buffer[4096];
    for (ssize_t got = read(terminal, buffer, sizeof buffer); got > 0; got = read(terminal, buffer, sizeof buffer)) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    close(terminal);
    return text;
}

// The process that checks documents against the schema.
class SchemaChecker {
public:
    SchemaChecker()
        : m_process(g_subprocess_new(
              static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE), nullptr,
              "/usr/bin/python3", SRCWATCHCTL_CHECK_SCHEMA, SRCWATCHCTL_SCHEMA, nullptr))
    {
        if (m_process == nullptr) throw std::runtime_error("there is no /usr/bin/python3");
        m_answers = g_data_input_stream_new(g_subprocess_get_stdout_pipe(m_process));
    }
    SchemaChecker(const SchemaChecker&) = delete;
    SchemaChecker& operator=(const SchemaChecker&) = delete;
    ~SchemaChecker()
    {
        // A failure would only leave the checker running.
        static_cast<void>(g_output_stream_close(g_subprocess_get_stdin_pipe(m_process), nullptr, nullptr));
        static_cast<void>(g_subprocess_wait(m_process, nullptr, nullptr));
        g_object_unref(m_answers);
        g_object_unref(m_process);
    }

    // What is wrong with a document; empty when nothing is.
    std::string Faults(const std::string& definition, const std::string& text)
    {
        Json::Value question;
        question.append(definition);
        question.append(text);
        Json::StreamWriterBuilder inOneLine;
        inOneLine["indentation"] = "";
        const std::string line = Json::writeString(inOneLine, question) + "\n";
        GOutputStream* const questions = g_subprocess_get_stdin_pipe(m_process);
        if (!g_output_stream_write_all(questions, line.data(), line.size(), nullptr, nullptr, nullptr))
            return "no checker";
        const std::unique_ptr<char, decltype(&g_free)> answer(
            g_data_input_stream_read_line(m_answers, nullptr, nullptr, nullptr), g_free);
        if (!answer) return "no answer of the checker";
        return ParseText(answer.get()).asString();
    }

private:
    GSubprocess* const m_process;
    GDataInputStream* m_answers = nullptr;
};

void DieWithParent(void* /*data*/) { static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL)); }

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome)
{
    return stream << "exit code " << outcome.code << "\n--- output\n" << outcome.out << "--- errors\n" << outcome.err;
}

testing::AssertionResult Fails(const Outcome& outcome, int code, const std::string& words)
{
    const bool oneLine = std::count(outcome.err.begin(), outcome.err.end(), '\n') == 1 && outcome.err.back() == '\n';
    if (outcome.code == code && oneLine && outcome.err.find(words) != std::string::npos) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "not exit code " << code << " and one line with '" << words
                                       << "': " << outcome;
}

// ---------------------------------------------------------------------------------------------------------------------
// Program

Program::Program(const Words& command, const std::map<std::string, std::string>& environment,
                 const std::string& directory, int output)
    : m_outputPath(directory + ".out"), m_errorPath(directory + ".err")
{
    GSubprocessLauncher* const launcher = g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_NONE);
    for (const auto& [name, value] : environment) {
        g_subprocess_launcher_setenv(launcher, name.c_str(), value.c_str(), TRUE);
    }
    if (environment.count("NO_COLOR") == 0) g_subprocess_launcher_unsetenv(launcher, "NO_COLOR");
    if (output >= 0) {
        g_subprocess_launcher_take_stdout_fd(launcher, output);
    } else {
        g_subprocess_launcher_set_stdout_file_path(launcher, m_outputPath.c_str());
    }
    g_subprocess_launcher_set_stderr_file_path(launcher, m_errorPath.c_str());
    g_subprocess_launcher_set_child_setup(launcher, DieWithParent, nullptr, nullptr);

    std::vector<const char*> arguments;
    for (const std::string& word : command) arguments.push_back(word.c_str());
    arguments.push_back(nullptr);
    m_process = g_subprocess_launcher_spawnv(launcher, arguments.data(), nullptr);
    g_object_unref(launcher);
    if (m_process == nullptr) throw std::runtime_error("cannot start " + command.front());
    g_subprocess_wait_async(m_process, nullptr, OnEnd, this);
}

Program::~Program()
{
    if (!m_ended) {
        g_subprocess_force_exit(m_process);
        static_cast<void>(RunUntil([this] { return m_ended; }));  // a killed program ends
    }
    g_object_unref(m_process);
}

void Program::OnEnd(GObject* process, GAsyncResult* result, void* self)
{
    static_cast<void>(g_subprocess_wait_finish(G_SUBPROCESS(process), result, nullptr));  // is never cancelled
    static_cast<Program*>(self)->m_ended = true;
}

std::string Program::Output() const { return ReadFile(m_outputPath); }

std::string Program::Errors() const { return ReadFile(m_errorPath); }

bool Program::WaitForOutput(const std::string& text)
{
    return RunUntil([&] { return m_ended || Output().find(text) != std::string::npos; }) &&
           Output().find(text) != std::string::npos;
}

Outcome Program::Wait()
{
    if (!RunUntil([this] { return m_ended; })) {
        g_subprocess_force_exit(m_process);
        ADD_FAILURE() << "a program does not end; its errors: " << Errors();
        static_cast<void>(RunUntil([this] { return m_ended; }));  // a killed program ends
    }
    const int code = g_subprocess_get_if_exited(m_process) ? g_subprocess_get_exit_status(m_process)
                                                           : 128 + g_subprocess_get_term_sig(m_process);
    return {code, Output(), Errors()};
}

// ---------------------------------------------------------------------------------------------------------------------
// ToolTest

ToolTest::ToolTest()
{
    std::string name = (std::filesystem::temp_directory_path() / "srcwatchctl-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a temporary directory");
    m_home = name;
    std::filesystem::create_directory(Path("inputs"));
    WriteFile("platform.conf", "[hdmi]\ninputs=4\n[features]\ncom.korvane/featureconf/bt_profile_bt_calvix=true\n");
    m_environment = {{"SRCWATCH_STATE_DIR", Path("state")},
                     {"SRCWATCH_RUN_DIR", Path("run")},
                     {"SRCWATCH_PLATFORM_CONF", Path("platform.conf")},
                     {"SRCWATCH_INPUTS", Path("inputs")},
                     {"SRCWATCH_CAPTURES", SRCWATCH_CAPTURES_DIR},
                     {"DBUS_SYSTEM_BUS_ADDRESS", TheBus().Address()},
                     {"SRCWATCH_LOG", "none"},
                     {"LC_ALL", "C.UTF-8"}};
}

ToolTest::~ToolTest()
{
    std::error_code ignored;  // nothing more can be done about what stays
    std::filesystem::remove_all(m_home, ignored);
}

std::unique_ptr<Program> ToolTest::Start(const Words& arguments)
{
    Words command = {SRCWATCHCTL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return std::make_unique<Program>(command, m_environment, Path("run-" + std::to_string(++m_started)));
}

Outcome ToolTest::Run(const Words& arguments) { return Start(arguments)->Wait(); }

Outcome ToolTest::RunOnTerminal(const Words& arguments)
{
    int terminal = -1;
    int slave = -1;
    const winsize size{24, 80, 0, 0};
    if (openpty(&terminal, &slave, nullptr, nullptr, &size) != 0) throw std::runtime_error("no terminal");
    static_cast<void>(fcntl(terminal, F_SETFD, FD_CLOEXEC));  // cannot fail
    Words command = {SRCWATCHCTL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    Program program(command, m_environment, Path("terminal-" + std::to_string(++m_started)), slave);
    Outcome outcome = program.Wait();
    outcome.out = ReadTerminal(terminal);
    return outcome;
}

Json::Value ToolTest::Parse(const std::string& text) { return ParseText(text); }

testing::AssertionResult ToolTest::Matches(const std::string& schema, const std::string& text)
{
    static SchemaChecker checker;  // one process for all documents of the program
    const std::string faults = checker.Faults(schema, text);
    if (faults.empty()) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "not as the schema of '" << schema << "' has it: " << faults << "\n" << text;
}

Json::Value ToolTest::Document(const Words& arguments, const std::string& schema, int code)
{
    Words inLines = arguments;
    inLines.insert(inLines.end(), {"-o", "json"});
    const Outcome outcome = Run(inLines);
    EXPECT_EQ(outcome.code, code) << outcome;
    EXPECT_TRUE(Matches(schema, outcome.out));
    return Parse(outcome.out);
}

void ToolTest::Set(const std::string& key, const std::string& text, const std::string& type)
{
    const Outcome outcome = Run({"settings", "set", key, text, type});
    ASSERT_EQ(outcome.code, 0) << outcome;
}

std::string ToolTest::Get(const std::string& key)
{
    const Outcome outcome = Run({"settings", "get", key, "-o", "json"});
    EXPECT_EQ(outcome.code, 0) << outcome;
    return Parse(outcome.out)["value"].asString();
}

void ToolTest::StoreRecord(int port, const Json::Value& record)
{
    Json::Value document;
    if (port == 99) {
        document["activity"] = record;
    } else {
        document["activity"][port] = record;
    }
    Set(port == 99 ? kOpticalKey : kActivityKey, Json::writeString(Json::StreamWriterBuilder(), document));
}

void ToolTest::WriteFile(const std::string& name, const std::string& content) const
{
    std::ofstream file(Path(name), std::ios::binary);
    if (!(file << content).flush()) throw std::runtime_error("cannot write " + Path(name));
}

}  // namespace srcwatch_test
