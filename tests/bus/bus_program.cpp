// SPDX-License-Identifier: Apache-2.0
//
// The programs of the process tests, with the shared library and the host platform:
//   bus-program send return|exit|_exit|static NUMBER   sends one event, type 10, and ends at once
//   bus-program fork                                   sends one, and forks a child that exits
//   bus-program service                                a detection service; commands: save PORT NAME, event TYPE NUMBER
//   bus-program application                            prints its events; commands: query PORT
//   bus-program descriptors MORE                       prints how many descriptors are open after each use, of which it
//                                                      may have so many more than at its start
// Service and application print "ready" and end with their input.
#include "QDInfoAPI.h"
#include "QDInfoEventManager.h"
#include "Sanitizers.h"
#include "srcwatch-api.h"
#include "srcwatch-host.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>

#include <glib-unix.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vconf.h>

namespace {

using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;
using qdinfo::CQDInfoAPI;

void Print(const std::string& line) { std::cout << line << std::endl; }  // flushed: the test waits for it

// ---------------------------------------------------------------------------------------------------------------------
// Senders that end at once

int Send(const std::string& ending, long number)
{
    if (ending == "static") {
        static CQDEventSender sender("");
        sender.SendEvent(10, number, 0, 0);
        return 0;
    }
    if (ending == "_exit") {
        CQDEventSender("").SendEvent(10, number, 0, 0);
        _exit(0);
    }
    CQDEventSender sender("");
    sender.SendEvent(10, number, 0, 0);
    if (ending == "exit") std::exit(0);  // the sender still exists
    return 0;
}

[[maybe_unused]] bool g_isForked = false;

int SendAndFork()
{
    CQDEventSender sender("");
    sender.SendEvent(10);
    const pid_t child = fork();
    g_isForked = child == 0;
    if (child == 0) std::exit(0);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// ---------------------------------------------------------------------------------------------------------------------
// Programs with a main loop

using Command = std::function<void(std::istringstream& words)>;

struct Program {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    Command command;
};

gboolean ReadCommand(int, GIOCondition, void* program)
{
    auto* self = static_cast<Program*>(program);
    std::string line;
    for (char c = '\0'; read(STDIN_FILENO, &c, 1) == 1 && c != '\n';) line += c;
    if (line.empty()) {
        g_main_loop_quit(self->loop);
        return G_SOURCE_REMOVE;
    }
    std::istringstream words(line);
    self->command(words);
    return G_SOURCE_CONTINUE;
}

void Run(Program& program)
{
    g_unix_fd_add(STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), &ReadCommand, &program);
    g_main_loop_run(program.loop);
    g_main_loop_unref(program.loop);
}

void PrintEvent(void*, srcwatch_event_s* event)
{
    Print("event " + std::to_string(event->type) + " " + std::to_string(event->args[0]) + " " + event->str_args[0]);
}

void Echo(void*, srcwatch_event_s* event)
{
    std::string word;
    *static_cast<std::stringstream*>(event->ptr_args[1]) >> word;
    *static_cast<std::stringstream*>(event->ptr_args[0]) << "echo " << event->args[0] << " " << word;
}

void RunServiceCommand(std::istringstream& words)
{
    std::string verb;
    int number = 0;
    words >> verb >> number >> std::ws;
    std::string text;
    std::getline(words, text);
    if (verb == "save") {
        CQDInfoAPI::GetQDInfoUtil()->SetCECName(text.c_str(), number);
        srcwatch_set_source_info(number, 0);
        Print("saved");
    } else {
        CQDEventSender("").SendEvent(number, std::strtol(text.c_str(), nullptr, 10), 0, 0);
        Print("sent");
    }
}

int RunService()
{
    if (!CQDInfoAPI::Create(true)) CQDInfoAPI::GetQDInfoUtil()->CreateAndAddNewActivity();
    CQDEventReciever receiver("", true);
    receiver.RegisterEventCallback(5, &Echo, nullptr);
    receiver.RegisterEventCallback(
        SRCWATCH_EVENT_SERVICE_STARTED, [](void*, srcwatch_event_s*) { Print("ready"); }, nullptr);
    Program program;
    program.command = &RunServiceCommand;
    Run(program);
    CQDInfoAPI::Destroy();
    return 0;
}

int RunApplication()
{
    if (srcwatch_register_event_callback(&PrintEvent, nullptr) != 1) return 1;
    CQDEventSender("").IsServiceAvailable();  // answered after the subscription is
    Print("ready");
    Program program;
    program.command = [](std::istringstream& words) {
        std::string verb;
        int port = 0;
        words >> verb >> port;
        char name[SRCWATCH_TEXT_SIZE + 1] = {};
        const int result = srcwatch_get_cec_name(name, port);
        Print(std::to_string(result) + " " + name);
    };
    Run(program);
    return srcwatch_unregister_event_callback(&PrintEvent) == 1 ? 0 : 1;
}

// ---------------------------------------------------------------------------------------------------------------------
// Descriptors

int OpenDescriptors()
{
    const std::filesystem::directory_iterator open("/proc/self/fd"), end;
    return static_cast<int>(std::distance(open, end)) - 1;  // without that of the directory
}

// As an application and as a service, which writes and watches settings.
int CountDescriptors(long more)
{
    const int before = OpenDescriptors();
    const auto limit = static_cast<rlim_t>(before + more);
    const rlimit limits{limit, limit};
    if (setrlimit(RLIMIT_NOFILE, &limits) != 0) return 1;
    std::ostringstream counts;
    const auto count = [&](const char* use) { counts << use << ' ' << OpenDescriptors() - before << ' '; };
    char name[SRCWATCH_TEXT_SIZE] = {};
    srcwatch_get_cec_name(name, 0);
    count("query");
    const bool isEnabled = srcwatch_is_MVPD_enable();
    count("volatile-query");
    bool hasEvent = false;
    const auto onEvent = [](void* seen, srcwatch_event_s*) { *static_cast<bool*>(seen) = true; };
    if (srcwatch_register_event_callback(onEvent, &hasEvent) != 1) return 1;
    count("callback");
    CQDEventSender("").SendEvent(SRCWATCH_EVENT_CONNECTION);
    while (!hasEvent) g_main_context_iteration(nullptr, TRUE);
    count("event");
    for (const char* key : {"db/x", "memory/x"})
        if (vconf_set_int(key, isEnabled ? 1 : 0) != 0) return 1;
    count("write");
    if (srcwatch_host_watch_replacement([](void*) {}, nullptr) == 0) return 1;
    count("watch");
    Print(counts.str());
    const bool isCopied = srcwatch_host_back_up_settings(srcwatch_host_copy_path()) == 0;
    return isCopied && srcwatch_host_repair_settings() == 0 ? 0 : 1;
}

}  // namespace

#if SRCWATCH_ADDRESS_SANITIZER
// In a forked child the leak sanitizer does not find the thread whose memory it is.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() { return g_isForked ? 1 : 0; }
#endif

int main(int argc, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string verb = argc > 1 ? argv[1] : "";
    if (verb == "send" && argc == 4) return Send(argv[2], std::strtol(argv[3], nullptr, 10));
    if (verb == "fork") return SendAndFork();
    if (verb == "service") return RunService();
    if (verb == "application") return RunApplication();
    if (verb == "descriptors" && argc == 3) return CountDescriptors(std::strtol(argv[2], nullptr, 10));
    return 2;
}
