// SPDX-License-Identifier: Apache-2.0
//
// The programs of the process tests, with the shared library and the host platform:
//   bus-program send return|exit|_exit|static NUMBER   sends one event, type 10, and ends at once
//   bus-program fork                                   sends one, and forks a child that exits
//   bus-program service                                a detection service; commands: save PORT NAME, event TYPE NUMBER
//   bus-program application                            prints its events; commands: query PORT
// The last two print "ready" and end with their input.
#include "QDInfoAPI.h"
#include "QDInfoEventManager.h"
#include "Sanitizers.h"
#include "srcwatch-api.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <sstream>
#include <string>

#include <glib-unix.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

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
    return 2;
}
