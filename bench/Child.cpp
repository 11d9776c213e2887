// SPDX-License-Identifier: Apache-2.0
#include "Child.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr int kReadyFile = 200;  // above those that a program has open for other things

[[noreturn]] void RunChild(pid_t parent, int ready, const std::vector<std::string>& arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);  // it died before
    if (ready != kReadyFile) dup2(ready, kReadyFile);
    fcntl(kReadyFile, F_SETFD, 0);

    std::string program = "/proc/self/exe";
    std::vector<std::string> copies = arguments;
    std::vector<char*> argv = {program.data()};
    for (std::string& argument : copies) argv.push_back(argument.data());
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(1);
}

}  // namespace

Child::Child(const std::vector<std::string>& arguments)
{
    int ends[2];
    Require(pipe2(ends, O_CLOEXEC) == 0, "pipe");
    const pid_t parent = getpid();
    m_pid = fork();
    Require(m_pid >= 0, "fork");
    if (m_pid == 0) RunChild(parent, ends[1], arguments);

    close(ends[1]);
    char ready = 0;
    Require(read(ends[0], &ready, 1) == 1, "a child process ended before it was ready");
    close(ends[0]);
}

Child::~Child()
{
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

void ReportReady()
{
    Require(write(kReadyFile, "", 1) == 1, "no process waits for this one");
    close(kReadyFile);
}

int MakeShared(std::size_t size)
{
    const int file = memfd_create("bench", 0);
    Require(file >= 0 && ftruncate(file, static_cast<off_t>(size)) == 0, "shared memory");
    return file;
}

void* OpenShared(int file, std::size_t size)
{
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    Require(memory != MAP_FAILED, "shared memory");
    return memory;
}

std::string PrivatePlace(const char* variable)
{
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
    static_cast<void>(
        std::fprintf(stderr, "%s is not set; scripts/bench runs this program with all that it needs\n", variable));
    std::exit(2);
}

void Require(bool condition, const char* what)
{
    if (condition) return;
    std::perror(what);
    std::_Exit(1);
}

}  // namespace bench
