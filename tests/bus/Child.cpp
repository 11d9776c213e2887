// SPDX-License-Identifier: Apache-2.0
#include "Child.h"

#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace srcwatch_test {

Child::Child(std::vector<std::string> command)
{
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    const int result = posix_spawnp(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    m_input = input[1];
    m_output = output[0];
    if (result != 0) throw std::runtime_error("cannot run " + command[0]);
}

Child::~Child()
{
    if (m_input >= 0) close(m_input);
    close(m_output);
    if (m_pid <= 0) return;
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

void Child::WriteLine(const std::string& line) const
{
    const std::string text = line + "\n";
    if (write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the program does not listen");
    }
}

bool Child::ReadMore(std::chrono::milliseconds deadline)
{
    pollfd readable = {m_output, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(deadline.count())) <= 0) return false;
    char buffer[4096];
    const ssize_t length = read(m_output, buffer, sizeof(buffer));
    if (length <= 0) return false;
    m_read.append(buffer, static_cast<std::size_t>(length));
    return true;
}

std::string Child::ReadLine(std::chrono::milliseconds deadline)
{
    std::size_t end = m_read.find('\n');
    while (end == std::string::npos) {
        if (!ReadMore(deadline)) return std::string();
        end = m_read.find('\n');
    }
    std::string line = m_read.substr(0, end);
    m_read.erase(0, end + 1);
    return line;
}

std::string Child::Finish()
{
    close(m_input);
    m_input = -1;
    while (ReadMore(kDeadline)) {
    }
    Wait();
    return m_read;
}

int Child::Wait()
{
    if (m_pid <= 0) return m_status;
    int status = 0;
    waitpid(m_pid, &status, 0);
    m_pid = -1;
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return m_status;
}

bool IsInstalled(const std::string& program)
{
    gchar* path = g_find_program_in_path(program.c_str());
    g_free(path);
    return path != nullptr;
}

}  // namespace srcwatch_test
