// SPDX-License-Identifier: Apache-2.0
//
// srcwatch-sandbox: command line, and the process that the user sees.
//
// Two processes, so that nothing is left behind whichever way one of them ends. This one is the user's: it passes
// signals on, and ends when the other has ended. The keeper has everything under it, and a pipe whose other end is
// here: if this process is gone, even by SIGKILL, the pipe is closed and the keeper clears up. If the keeper is, the
// kernel kills what it started (PR_SET_PDEATHSIG), and this process removes the home.
#include "Arguments.h"
#include "FindCapture.h"
#include "Home.h"
#include "InputName.h"
#include "Keeper.h"
#include "srcwatch-api.h"
#include "srcwatch-version.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using sandbox::Options;

int Fail(const char* text)
{
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "srcwatch-sandbox: %s\n", text));
    return sandbox::kFailed;
}

// ---------------------------------------------------------------------------------------------------------------------
// The command line

sandbox::Plug ReadPlug(const std::string& text, const std::string& captures)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) throw std::runtime_error("'" + text + "' is not PORT=CAPTURE");
    const std::string port = text.substr(0, equals);
    const std::optional<int> number = ctl::ParsePort(port);
    if (!number) throw std::runtime_error("'" + port + "' is not a port: 0 is HDMI 1, 99 the optical source");
    return {*number, ctl::FindCapture(text.substr(equals + 1), captures)};
}

void ReadPlugs(const std::vector<std::string>& texts, Options& options)
{
    const std::string captures = sandbox::FindInstallation().captures;
    for (const std::string& text : texts) {
        const sandbox::Plug plug = ReadPlug(text, captures);
        const auto isSame = [&](const sandbox::Plug& other) { return other.port == plug.port; };
        if (plug.port >= options.hdmiInputs && plug.port != SRCWATCH_PORT_OPTICAL) {
            throw std::runtime_error("'" + text + "': the TV has " + std::to_string(options.hdmiInputs) +
                                     " HDMI input(s), 0 to " + std::to_string(options.hdmiInputs - 1));
        }
        if (std::any_of(options.plugs.begin(), options.plugs.end(), isSame))
            throw std::runtime_error("'" + text + "': a device is already plugged into this port");
        options.plugs.push_back(plug);
    }
}

// Opened for a moment, because the programs that write it would not say that they cannot.
void ReadLog(Options& options)
{
    if (options.log.empty()) return;
    options.log = std::filesystem::absolute(options.log);
    if (!std::ofstream(options.log, std::ios::app)) throw std::runtime_error("cannot write " + options.log);
}

// A program's own arguments would be taken for options.
std::string RefuseWord(const std::string& text)
{
    return "'" + text + "' is not an option; a program stands after '--'";
}

void DefineOptions(cli::Program& program, Options& options, std::vector<std::string>& plugs)
{
    program.AddVersion("srcwatch-sandbox " SRCWATCH_VERSION, "Print the version and exit");
    const cli::Command app = program.Root();
    app.AddArgument("PROGRAM", &options.program, "After '--': the program, and its arguments; otherwise a shell")
        .CheckedBy({RefuseWord});
    app.AddOption("--inputs", &options.hdmiInputs, "N", "Number of HDMI inputs, 1 to 8")
        .CheckedBy(ctl::IsNumber(1, srcwatch::kHdmiPorts))
        .ShowsDefault();
    const cli::Option plug = app.AddOption("--plug", &plugs, "PORT=CAPTURE",
                                           "Plug a capture, by its directory or its name, into a port; can be repeated")
                                 .TakesOneEach();
    const auto leaveServiceOut = [&options] { options.hasService = false; };
    app.AddFlag("--no-service", leaveServiceOut, "Do not start the detection service").Excludes(plug);
    app.AddOption("--log", &options.log, "FILE", "Append what service and library log to this file");
}

// The options end at "--"; what follows is the program's. Returns nothing if there is nothing more to do.
std::optional<Options> ReadArguments(std::vector<std::string> arguments)
{
    cli::Program sandbox("Runs a program on a TV of its own: a message bus, a host platform, a detection service.",
                         "srcwatch-sandbox");
    Options options;
    std::vector<std::string> plugs;
    DefineOptions(sandbox, options, plugs);
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    if (end != arguments.end() && end + 1 == arguments.end()) throw std::runtime_error("no program stands after '--'");
    const std::vector<std::string> program(end == arguments.end() ? end : end + 1, arguments.end());
    arguments.erase(end, arguments.end());
    if (!sandbox.Parse(arguments)) return std::nullopt;
    options.program = program;
    ReadPlugs(plugs, options);
    ReadLog(options);
    return options;
}

// ---------------------------------------------------------------------------------------------------------------------
// The process that the user sees

// Passes signals on until the keeper ends. Returns its status.
int Attend(pid_t keeper, const sigset_t& signals)
{
    for (;;) {
        siginfo_t signal{};
        if (sigwaitinfo(&signals, &signal) < 0) continue;
        int status = 0;
        if (signal.si_signo == SIGCHLD) {
            if (waitpid(keeper, &status, WNOHANG) == keeper) return status;
        } else if (signal.si_code != SI_KERNEL) {  // what the terminal sends reaches the keeper, too
            kill(keeper, signal.si_signo);
        }
    }
}

int Run(const Options& options)
{
    sigset_t signals;
    sigset_t blockedBefore;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    for (const int number : sandbox::kPassedOn) sigaddset(&signals, number);
    int front[2];
    const bool isReady = signal(SIGCHLD, SIG_DFL) != SIG_ERR && sigprocmask(SIG_BLOCK, &signals, &blockedBefore) == 0 &&
                         pipe2(front, O_CLOEXEC) == 0;
    if (!isReady) throw std::system_error(errno, std::generic_category(), "cannot start");

    const std::string home = sandbox::MakeHome();
    const pid_t keeper = fork();
    if (keeper == 0) {
        close(front[1]);
        return sandbox::Keeper(options, home, front[0], blockedBefore).Run();
    }
    close(front[0]);
    const int status = keeper > 0 ? Attend(keeper, signals) : SIGKILL;
    if (WIFSIGNALED(status)) sandbox::RemoveHome(home);
    return sandbox::ExitCodeOf(status);
}

}  // namespace

int main(int argc, char** argv)
try {
    const std::optional<Options> options = ReadArguments({argv + 1, argv + argc});
    return options ? Run(*options) : 0;
} catch (const std::exception& e) {
    return Fail(e.what());
}
