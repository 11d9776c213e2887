// SPDX-License-Identifier: Apache-2.0
#include "Keeper.h"

#include "Home.h"
#include "QDInfoNames.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vconf.h>

namespace sandbox {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kDetectionTime(30);
constexpr std::chrono::seconds kServiceEndTime(5);
constexpr int kForever = -1;
constexpr int kDetectionPauseMilliseconds = 2;
constexpr int kEndPauseMilliseconds = 100;
constexpr int kNoFile = -1;
constexpr std::size_t kLongestNews = 4096;

constexpr const char* kHintsWithService =
    "    srcwatchctl plug 0 voltana-vx-home    a set-top box into HDMI 1\n"
    "    srcwatchctl list                      what is where\n"
    "    srcwatchctl monitor                   the events of the next plug or unplug\n"
    "    ./your-application                    sees the same\n";
constexpr const char* kHintsWithout =
    "    srcwatchctl settings list             what is stored: nothing yet\n"
    "    ./your-service                        finds a bus and settings of its own\n";

/// Thrown to where the sandbox ends, when it is to end before the program runs.
struct Interrupted {};

void Report(const std::string& text)
{
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "srcwatch-sandbox: %s\n", text.c_str()));
}

[[noreturn]] void Fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

std::string CannotStart(const std::string& program)
{
    return "cannot start " + program + ": " + strerrordesc_np(errno);
}

// Returns the user's shell, and says on standard error what it is for.
std::vector<std::string> OfferShell(const Options& options)
{
    static_cast<void>(std::fprintf(stderr,  // nothing can be done if this fails
                                   "A TV with %d HDMI input(s) of its own, until you leave this shell. Try\n%s",
                                   options.hdmiInputs, options.hasService ? kHintsWithService : kHintsWithout));
    const char* const shell = std::getenv("SHELL");
    return {shell != nullptr && *shell != '\0' ? shell : "/bin/sh"};
}

// Nothing ends or stops the keeper but SIGKILL and SIGSTOP; what concerns it is read from the descriptor.
int TakeSignals()
{
    sigset_t all;
    sigset_t read;
    sigfillset(&all);
    sigemptyset(&read);
    sigaddset(&read, SIGCHLD);
    for (const int signal : kPassedOn) sigaddset(&read, signal);
    const int file = sigprocmask(SIG_SETMASK, &all, nullptr) == 0 ? signalfd(-1, &read, SFD_CLOEXEC) : -1;
    if (file < 0) Fail("signals");
    return file;
}

int ListenForReadiness(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int file = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (file < 0 || bind(file, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) Fail(path.c_str());
    return file;
}

// Kills what this process started, and what became its child when its parent ended. Returns false if there is nothing.
bool KillChildren()
{
    std::ifstream children("/proc/thread-self/children");
    bool hasAny = false;
    for (pid_t child = 0; children >> child; hasAny = true) kill(child, SIGKILL);
    return hasAny;
}

}  // namespace

int ExitCodeOf(int status) { return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status); }

Keeper::Keeper(Options options, std::string home, int front, const sigset_t& blockedBefore)
    : m_options(std::move(options)),
      m_home(std::move(home)),
      m_front(front),
      m_blockedBefore(blockedBefore),
      m_signals(TakeSignals())
{
    static_cast<void>(prctl(PR_SET_CHILD_SUBREAPER, 1));      // cannot fail
    static_cast<void>(prctl(PR_SET_NAME, "sandbox-keeper"));  // so that killall(1) does not take both processes
}

int Keeper::Run()
{
    int code = kFailed;
    try {
        code = RunProgram();
    } catch (const Interrupted&) {
        code = *m_code;
    } catch (const std::exception& error) {
        Report(error.what());
    }
    End();
    return code;
}

int Keeper::RunProgram()
{
    const Installation installation = FindInstallation();
    FillHome(m_home, m_options);
    EnterHome(m_home, m_options, installation);
    StartBus();
    if (m_options.hasService) StartService(installation);
    if (!m_options.plugs.empty()) AwaitDetection();
    const std::vector<std::string> program = m_options.program.empty() ? OfferShell(m_options) : m_options.program;
    m_program = Start({program}, m_blockedBefore);
    if (m_program < 0) {
        m_code = errno == ENOENT ? kNotFound : kCannotRun;
        Report(CannotStart(program[0]));
    }
    while (!m_code) Poll(kNoFile, kForever);
    return *m_code;
}

void Keeper::StartBus()
{
    int address[2];
    if (pipe2(address, O_CLOEXEC) != 0 || fcntl(address[1], F_SETFD, 0) != 0) Fail("pipe");
    Command command{{"dbus-daemon", "--config-file=" + BusConfig(m_home), "--nofork", "--nopidfile", "--nosyslog"},
                    true};
    command.words.push_back("--print-address=" + std::to_string(address[1]));
    command.errors = BusErrors(m_home);  // a root without all rights would read there that it has none
    m_bus = Start(command, m_blockedBefore);
    if (m_bus < 0) throw std::runtime_error(CannotStart("dbus-daemon") + "; install the package dbus-daemon");
    close(address[1]);
    std::string text;
    for (char c = '\0'; c != '\n'; text += c) {
        AwaitReadable(address[0]);
        if (read(address[0], &c, 1) != 1) AwaitReadable(kNoFile);  // it ends
    }
    close(address[0]);
    text.pop_back();
    if (setenv("DBUS_SYSTEM_BUS_ADDRESS", text.c_str(), 1) != 0) Fail("environment");
}

void Keeper::StartService(const Installation& installation)
{
    const int ready = ListenForReadiness(NotifySocket(m_home));
    Command command{{installation.service, "--inputs", Inputs(m_home)}, true, "NOTIFY_SOCKET=" + NotifySocket(m_home)};
    if (!installation.profiles.empty())
        command.words.insert(command.words.end(), {"--profiles", installation.profiles});
    m_service = Start(command, m_blockedBefore);
    if (m_service < 0) {
        throw std::runtime_error(CannotStart(installation.service) +
                                 "; install the package srcwatch-service, or use --no-service");
    }
    for (std::string news; news.find("READY=1") == std::string::npos;) {
        AwaitReadable(ready);
        news.resize(kLongestNews);
        news.resize(static_cast<std::size_t>(std::max<ssize_t>(read(ready, news.data(), news.size()), 0)));
    }
    close(ready);
}

// The service shows applications that a detection is pending.
void Keeper::AwaitDetection()
{
    const auto deadline = steady_clock::now() + kDetectionTime;
    int pending = 1;
    while (vconf_get_int(qdinfo::kHotplugProgressKey, &pending) != 0 || pending != 0) {
        if (steady_clock::now() > deadline) throw std::runtime_error("the plugged devices are not detected in time");
        static_cast<void>(Poll(kNoFile, kDetectionPauseMilliseconds));  // there is nothing to read
        if (m_code) throw Interrupted();
    }
}

void Keeper::AwaitReadable(int file)
{
    do {
        if (m_code) throw Interrupted();
    } while (!Poll(file, kForever));
}

// Handles what has come meanwhile. Returns true if the file can be read.
bool Keeper::Poll(int file, int milliseconds)
{
    pollfd files[] = {{m_signals, POLLIN, 0}, {m_front, POLLIN, 0}, {file, POLLIN, 0}};
    if (poll(files, std::size(files), milliseconds) <= 0) return false;
    if (files[0].revents != 0) HandleSignal();
    if (files[1].revents != 0) {
        m_front = kNoFile;
        m_code = kFailed;  // for nobody
    }
    return files[2].revents != 0;
}

void Keeper::HandleSignal()
{
    signalfd_siginfo signal{};
    if (read(m_signals, &signal, sizeof signal) != sizeof signal) return;
    const int number = static_cast<int>(signal.ssi_signo);
    if (number == SIGCHLD) {
        HandleEnds();
    } else if (m_program < 0) {
        m_code = 128 + number;
    } else if (signal.ssi_code != SI_KERNEL) {  // what the terminal sends reaches the program, too
        kill(m_program, number);
    }
}

void Keeper::HandleEnds()
{
    int status = 0;
    for (pid_t child = waitpid(-1, &status, WNOHANG); child > 0; child = waitpid(-1, &status, WNOHANG)) {
        if (child == m_program) m_code = ExitCodeOf(status);
        if (child == m_bus) HandleEndOf(m_bus, "dbus-daemon", status);
        if (child == m_service) HandleEndOf(m_service, "srcwatch-service", status);
    }
}

// It ends before it is to. A program that runs goes on, as it does on a TV.
void Keeper::HandleEndOf(pid_t& daemon, const std::string& name, int status)
{
    if (!m_isEnding) {
        if (&daemon == &m_bus) std::cerr << std::ifstream(BusErrors(m_home)).rdbuf();
        Report(name + " has ended with " + std::to_string(ExitCodeOf(status)));
        if (m_program < 0) m_code = kFailed;
    }
    daemon = -1;
}

// The service may end in its own way. What else is left has no bus and no settings any more.
void Keeper::End()
{
    m_isEnding = true;
    const auto deadline = steady_clock::now() + kServiceEndTime;
    if (m_service > 0) kill(m_service, SIGTERM);
    while (m_service > 0 && steady_clock::now() < deadline) static_cast<void>(Poll(kNoFile, kEndPauseMilliseconds));
    while (KillChildren() && waitpid(-1, nullptr, 0) > 0) {
    }
    RemoveHome(m_home);
}

}  // namespace sandbox
