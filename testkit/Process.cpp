// SPDX-License-Identifier: Apache-2.0
#include "Process.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace srcwatch_test {

namespace {

constexpr int kCannotRun = 127;

// The child's side of fork(): only calls that are safe there. A failure shows in the parent, as the test fails.
[[noreturn]] void Execute(char* const* arguments, char* const* environment, int output, int errors)
{
    static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));
    sigset_t none;
    sigemptyset(&none);
    static_cast<void>(sigprocmask(SIG_SETMASK, &none, nullptr));
    if (dup2(output, STDOUT_FILENO) >= 0 && dup2(errors, STDERR_FILENO) >= 0) {
        static_cast<void>(execvpe(arguments[0], arguments, environment));  // returns only if it failed
    }
    _exit(kCannotRun);
}

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Environment(const std::map<std::string, std::string>& added)
{
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (added.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
    }
    for (const auto& [name, value] : added) environment.push_back(std::string(name).append("=").append(value));
    return environment;
}

int OpenOutput(const std::string& path)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) throw std::runtime_error("cannot write " + path);
    return fd;
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const std::string& outputPath,
                 const std::map<std::string, std::string>& environment)
    : m_id(-1), m_outputPath(outputPath)
{
    std::vector<std::string> arguments = command;
    std::vector<std::string> variables = Environment(environment);
    const std::vector<char*> argumentPointers = Pointers(arguments);
    const std::vector<char*> variablePointers = Pointers(variables);
    const int output = OpenOutput(outputPath + ".out");
    const int errors = OpenOutput(outputPath + ".err");
    m_id = fork();
    if (m_id == 0) Execute(argumentPointers.data(), variablePointers.data(), output, errors);
    for (const int file : {output, errors}) static_cast<void>(close(file));  // the child has its own
    if (m_id < 0) throw std::runtime_error("cannot start " + command[0]);
}

Process::~Process()
{
    if (Result()) return;
    Signal(SIGKILL);
    static_cast<void>(Wait());  // it was killed
}

void Process::Signal(int number) const { static_cast<void>(kill(m_id, number)); }  // it may have ended

std::optional<int> Process::Result()
{
    int status = 0;
    if (!m_result && waitpid(m_id, &status, WNOHANG) == m_id) {
        m_result = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
    return m_result;
}

std::optional<int> Process::Wait(std::chrono::milliseconds time)
{
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!Result() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return m_result;
}

std::string Process::Output() const { return ReadFile(m_outputPath + ".out"); }

std::string Process::Errors() const { return ReadFile(m_outputPath + ".err"); }

Footprint Measure(pid_t process)
{
    const std::string directory = "/proc/" + std::to_string(process);
    Footprint footprint;
    std::ifstream status(directory + "/status");
    for (std::string word; status >> word;) {
        if (word == "RssAnon:") status >> footprint.anonymousKiB;
    }
    const std::filesystem::directory_iterator descriptors(directory + "/fd");
    footprint.descriptors = static_cast<long>(std::distance(begin(descriptors), end(descriptors)));
    return footprint;
}

std::string ReadFile(const std::string& path)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

}  // namespace srcwatch_test
