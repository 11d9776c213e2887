// SPDX-License-Identifier: Apache-2.0
#include "TestPlatform.h"

#include "PrivateBus.h"
#include "TempDirectory.h"
#include "srcwatch-host.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace srcwatch_test {

namespace {

constexpr const char* kHomeVariable = "SRCWATCH_TEST_HOME";

void SetVariable(const char* name, const std::string& value)
{
    if (setenv(name, value.c_str(), 1) != 0) throw std::runtime_error(std::string("cannot set ") + name);
}

void MakeHome(const TempDirectory& home, const TvModel& model)
{
    std::string configuration = "[hdmi]\ninputs=" + std::to_string(model.hdmiInputs) + "\n[features]\n";
    for (const std::string& feature : model.features) configuration += feature + "=true\n";
    WriteFile(home / "platform.conf", configuration);
    std::filesystem::create_directory(home / "inputs");
    SetVariable(kHomeVariable, home.Path());
    SetVariable("SRCWATCH_STATE_DIR", home / "state");
    SetVariable("SRCWATCH_RUN_DIR", home / "run");
    SetVariable("SRCWATCH_PLATFORM_CONF", home / "platform.conf");
    SetVariable("SRCWATCH_SERVICE_CONF", "");  // not the machine's
    SetVariable("SRCWATCH_INPUTS", home / "inputs");
    if (std::getenv("SRCWATCH_LOG") == nullptr) SetVariable("SRCWATCH_LOG", "none");  // not the machine's journal
}

// The child dies with this process, of which nothing is to be left.
int RunAgain(char** argv)
{
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        static_cast<void>(prctl(PR_SET_PDEATHSIG, SIGKILL));                        // cannot fail
        if (getppid() == parent) static_cast<void>(execv("/proc/self/exe", argv));  // returns only if it fails
        _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return 1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int RunInHome(char** argv, const TvModel& model)
{
    const TempDirectory home;
    MakeHome(home, model);
    return RunAgain(argv);
}

// Not left in the environment: a test program that is started from this one gets a TV of its own.
std::string TakeHome()
{
    const char* const set = std::getenv(kHomeVariable);
    std::string home = set != nullptr ? set : "";
    unsetenv(kHomeVariable);
    return home;
}

std::string& Home()
{
    static std::string home;
    return home;
}

}  // namespace

TestPlatform::TestPlatform(char** argv, const TvModel& model)
{
    Home() = TakeHome();
    if (Home().empty()) std::exit(RunInHome(argv, model));
    static_cast<void>(TheBus());  // starts it
}

void TestPlatform::Clear()
{
    std::vector<std::string> keys;
    srcwatch_host_list_settings([](const char* key, const srcwatch_host_value*,
                                   void* list) { static_cast<std::vector<std::string>*>(list)->emplace_back(key); },
                                &keys);
    for (const std::string& key : keys) srcwatch_host_unset(key.c_str());
    for (const auto& input : std::filesystem::directory_iterator(Path("inputs")))
        std::filesystem::remove_all(input.path());
}

std::string TestPlatform::Path(const std::string& name)
{
    if (Home().empty()) throw std::logic_error("there is no TestPlatform");
    return Home() + "/" + name;
}

}  // namespace srcwatch_test
