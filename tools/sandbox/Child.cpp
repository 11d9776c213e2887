// SPDX-License-Identifier: Apache-2.0
#include "Child.h"

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sandbox {

namespace {

bool Redirect(int file, const char* path, int flags)
{
    const int opened = open(path, flags | O_CLOEXEC, 0600);
    return opened >= 0 && dup2(opened, file) >= 0;
}

// A daemon reads nothing, and what it writes are errors.
bool LeaveTerminal(const std::string& errors)
{
    return setsid() >= 0 && Redirect(STDIN_FILENO, "/dev/null", O_RDONLY) &&
           (errors.empty() || Redirect(STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_APPEND)) &&
           dup2(STDERR_FILENO, STDOUT_FILENO) >= 0;
}

// The child's side of fork(). Returns only if it failed.
void Execute(const Command& command, const sigset_t& blocked, pid_t parent)
{
    static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));  // cannot fail
    if (getppid() != parent) _exit(1);                    // it died before
    if (command.isDaemon && !LeaveTerminal(command.errors)) return;
    std::string variable = command.variable;
    if (!variable.empty() && putenv(variable.data()) != 0) return;
    std::vector<char*> words;
    for (const std::string& word : command.words) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    if (sigprocmask(SIG_SETMASK, &blocked, nullptr) == 0) static_cast<void>(execvp(words[0], words.data()));
}

}  // namespace

pid_t Start(const Command& command, const sigset_t& blocked)
{
    int failure[2];
    if (pipe2(failure, O_CLOEXEC) != 0) return -1;
    const pid_t parent = getpid();
    const pid_t child = fork();
    int error = errno;
    if (child == 0) {
        Execute(command, blocked, parent);
        error = errno;
        if (write(failure[1], &error, sizeof error) < 0) _exit(2);  // nobody is there to hear of it
        _exit(1);
    }
    close(failure[1]);
    // Closed without a word when the program runs.
    const bool hasFailed = child < 0 || read(failure[0], &error, sizeof error) == sizeof error;
    close(failure[0]);
    if (!hasFailed) return child;
    if (child > 0) waitpid(child, nullptr, 0);
    errno = error;
    return -1;
}

}  // namespace sandbox
