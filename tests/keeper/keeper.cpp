// SPDX-License-Identifier: Apache-2.0
//
// Runs a test so that nothing of it outlives it, nor ctest: srcwatch-test-keeper PROGRAM [ARGUMENT]...
//
// It is two processes. The front is the one that ctest starts and may kill. It ends with ctest, and as the program
// ends: with its exit code, or by the same signal. The keeper is the front's child and the parent of the program. As
// "child subreaper" it takes in what the program leaves behind, in whichever session and process group, and kills it
// when the program or the front has ended. The program has the front's descriptors and signals. Keeper and program are
// in a session of their own: a signal to the process group of ctest does not reach the keeper, and ends the program all
// the same. (With the program in the group of ctest that group would be hung up when a time limit stops and kills the
// front.)
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Exit codes beside the program's own; env(1) and timeout(1) have the same.
enum ExitCode { kFailed = 125, kCannotRun = 126, kNotFound = 127 };

constexpr int kForever = -1;

[[noreturn]] void Fail(const char* what, int code = kFailed)
{
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "srcwatch-test-keeper: %s: %s\n", what, std::strerror(errno)));
    _exit(code);
}

// Returns true if nobody reads what this process writes: ctest ended before it could be noticed in another way.
bool IsUnread()
{
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

[[noreturn]] void RunProgram(char** words, const sigset_t& blocked)
{
    static_cast<void>(setpgid(0, 0));  // cannot fail
    sigprocmask(SIG_SETMASK, &blocked, nullptr);
    execvp(words[0], words);
    Fail(words[0], errno == ENOENT ? kNotFound : kCannotRun);
}

// Nothing ends or stops the keeper but SIGKILL and SIGSTOP. Returns a descriptor from which ends of children are read.
int TakeSignals(sigset_t& blockedBefore)
{
    sigset_t all;
    sigset_t ends;
    sigfillset(&all);
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    const int signals = sigprocmask(SIG_SETMASK, &all, &blockedBefore) == 0 ? signalfd(-1, &ends, SFD_CLOEXEC) : -1;
    if (signals < 0) Fail("signals");
    return signals;
}

// Returns true with the program's status when it has ended, false when the front has.
bool AwaitEnd(int front, int signals, pid_t program, int& status)
{
    pollfd files[] = {{signals, POLLIN, 0}, {front, POLLIN, 0}};
    while (poll(files, std::size(files), kForever) >= 0) {
        if (files[1].revents != 0) return false;
        signalfd_siginfo end{};
        if (read(signals, &end, sizeof end) != sizeof end) Fail("signals");
        for (pid_t child = 1; child > 0;) {
            int statusOfChild = 0;
            child = waitpid(-1, &statusOfChild, WNOHANG);
            if (child != program) continue;
            status = statusOfChild;
            return true;
        }
    }
    Fail("poll");
}

// Kills the children, whose own children then become this process's, until there are none.
void KillAll()
{
    do {
        std::FILE* const children = std::fopen("/proc/thread-self/children", "re");
        if (children == nullptr) Fail("/proc/thread-self/children");
        for (pid_t child = 0; std::fscanf(children, "%d", &child) == 1;) kill(child, SIGKILL);
        static_cast<void>(std::fclose(children));  // nothing was written
    } while (waitpid(-1, nullptr, 0) > 0);
}

[[noreturn]] void Keep(char** words, int front)
{
    // Neither call can fail.
    static_cast<void>(setsid());
    static_cast<void>(prctl(PR_SET_CHILD_SUBREAPER, 1));
    sigset_t blockedBefore;
    const int signals = TakeSignals(blockedBefore);
    const pid_t program = fork();
    if (program < 0) Fail("fork");
    if (program == 0) RunProgram(words, blockedBefore);
    int status = 0;
    const bool hasEnded = AwaitEnd(front, signals, program, status);
    KillAll();
    _exit(hasEnded && write(front, &status, sizeof status) == sizeof status ? EXIT_SUCCESS : kFailed);
}

// Ends as a process of that status has ended, but for the core that it may have left.
int EndLike(int status)
{
    if (!WIFSIGNALED(status)) return WEXITSTATUS(status);
    const int number = WTERMSIG(status);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, number);
    static_cast<void>(prctl(PR_SET_DUMPABLE, 0));  // cannot fail
    std::signal(number, SIG_DFL);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
    static_cast<void>(std::raise(number));  // does not return
    return 128 + number;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: srcwatch-test-keeper PROGRAM [ARGUMENT]...\n", stderr);
        return 2;
    }
    static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));  // cannot fail
    if (IsUnread()) return kFailed;
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) Fail("socketpair");
    const pid_t keeper = fork();
    if (keeper < 0) Fail("fork");
    if (keeper == 0) {
        close(ends[0]);
        Keep(argv + 1, ends[1]);
    }
    close(ends[1]);
    int status = 0;
    const bool hasStatus = read(ends[0], &status, sizeof status) == sizeof status;
    while (waitpid(keeper, nullptr, 0) < 0 && errno == EINTR) {
    }
    return hasStatus ? EndLike(status) : kFailed;
}
