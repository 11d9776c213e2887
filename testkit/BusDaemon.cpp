// SPDX-License-Identifier: Apache-2.0
#include "BusDaemon.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

constexpr int kFirstPassedDescriptor = 3;  // of systemd's protocol

[[noreturn]] void Fail(const std::string& what) { throw std::runtime_error("private bus: " + what); }

bool WantsBroker()
{
    const char* wanted = std::getenv("SRCWATCH_TEST_BUS");
    return wanted != nullptr && std::string(wanted) == "dbus-broker";
}

// Forks. The child dies with its parent, and has its errors in the log; only what is safe there may follow.
pid_t Fork(int log)
{
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    dup2(log, STDERR_FILENO);
    return child;
}

// dbus-daemon prints its address when it accepts connections.
bool IsReady(int readyPipe)
{
    char c = '\0';
    ssize_t got = 0;
    do {
        got = read(readyPipe, &c, 1);
    } while (got == 1 && c != '\n');
    return got == 1;
}

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) Fail("too long a path: " + path);
    path.copy(address.sun_path, path.size());
    return address;
}

int Listen(const std::string& path)
{
    unlink(path.c_str());
    const sockaddr_un address = AddressOf(path);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        chmod(path.c_str(), 0777) != 0 || listen(listener, SOMAXCONN) != 0) {
        Fail("cannot listen at " + path);
    }
    return listener;
}

// A connection waits until the bus begins to serve, and breaks if it ends before.
bool Answers(const std::string& path)
{
    constexpr char kGreeting[] = "\0AUTH EXTERNAL\r\n";
    const sockaddr_un address = AddressOf(path);
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    char first = '\0';
    const bool answers = connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                         send(client, kGreeting, sizeof kGreeting - 1, MSG_NOSIGNAL) > 0 &&
                         read(client, &first, 1) == 1;
    close(client);
    return answers;
}

std::string ReadAll(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string ProcessFile(pid_t process, const std::string& name)
{
    return ReadAll("/proc/" + std::to_string(process) + "/" + name);
}

bool IsStopped(pid_t process) { return ProcessFile(process, "status").find("State:\tT") != std::string::npos; }

}  // namespace

void BusDaemon::Start()
{
    // The kernel returns a user's inotify instances a little later than their processes end.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (;;) {
        const std::string failure = TryToStart();
        if (failure.empty()) return;
        Kill();
        const bool isShort = failure.find("Too many open files") != std::string::npos;
        if (!isShort || std::chrono::steady_clock::now() > deadline) Fail("it did not start: " + failure);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

// Returns what it said when it did not start.
std::string BusDaemon::TryToStart()
{
    const int log = open(Path("daemon.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    const bool isReady = WantsBroker() ? StartBroker(log) : StartDaemon(log);
    close(log);
    return isReady ? "" : "daemon.log: " + ReadAll(Path("daemon.log"));
}

bool BusDaemon::StartDaemon(int log)
{
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) Fail("no pipe");
    const std::string config = "--config-file=" + Path("bus.conf");
    m_child = Fork(log);
    if (m_child == 0) {
        dup2(ready[1], STDOUT_FILENO);
        execlp("dbus-daemon", "dbus-daemon", config.c_str(), "--nofork", "--nopidfile", "--nosyslog",
               "--print-address=1", nullptr);
        _exit(127);
    }
    m_carrier = m_child;
    close(ready[1]);
    const bool isReady = m_child > 0 && IsReady(ready[0]);
    close(ready[0]);
    return isReady;
}

// The launcher connects to its own bus, for the units of activated services, of which there are none here.
bool BusDaemon::StartBroker(int log)
{
    const int listener = Listen(Path("socket"));
    const std::string command = "LISTEN_FDS=1 LISTEN_PID=$$ DBUS_SYSTEM_BUS_ADDRESS='unix:path=" + Path("socket") +
                                "' exec dbus-broker-launch --scope system --config-file '" + Path("bus.conf") + "'";
    m_child = Fork(log);
    if (m_child == 0) {
        dup2(listener, kFirstPassedDescriptor);
        fcntl(kFirstPassedDescriptor, F_SETFD, 0);  // also where it was that one before
        execlp("sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    close(listener);
    if (m_child < 0 || !Answers(Path("socket"))) return false;
    const std::string children = ProcessFile(m_child, "task/" + std::to_string(m_child) + "/children");
    m_carrier = static_cast<pid_t>(std::strtol(children.c_str(), nullptr, 10));
    return m_carrier > 0;
}

// What a launcher leaves becomes a child of this process, so that it can wait for its end.
void BusDaemon::Kill()
{
    if (m_child <= 0) return;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    kill(m_child, SIGKILL);
    waitpid(m_child, nullptr, 0);
    if (m_carrier > 0 && m_carrier != m_child) {
        kill(m_carrier, SIGKILL);
        waitpid(m_carrier, nullptr, 0);
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0);
    m_child = m_carrier = -1;
}

void BusDaemon::Pause() const
{
    kill(m_carrier, SIGSTOP);
    while (!IsStopped(m_carrier)) sched_yield();
}

void BusDaemon::Continue() const { kill(m_carrier, SIGCONT); }

}  // namespace srcwatch_test
