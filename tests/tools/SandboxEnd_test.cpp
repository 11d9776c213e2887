// SPDX-License-Identifier: Apache-2.0
//
// How a sandbox ends: by signals, by SIGKILL, in a terminal; nothing is left behind.
#include "SandboxTest.h"

#include <csignal>

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace srcwatch_test {
namespace {

class SandboxEnd : public SandboxTest {
protected:
    // Starts one whose program has children, one of which in a session of its own, and waits until they run.
    std::unique_ptr<Process> StartFamily()
    {
        const std::string script = "sleep 1000 & setsid sleep 1000 & exec sleep 1000";
        std::unique_ptr<Process> sandbox = Start({"--plug", "0=kestelle-k2", "--", "sh", "-c", script});
        EXPECT_TRUE(Eventually([this] { return Processes().size() == kFamily; }));
        return sandbox;
    }
    static bool WaitForOutput(const Process& sandbox, const std::string& text)
    {
        return Eventually([&] { return sandbox.Output().find(text) != std::string::npos; });
    }
    // The process that everything runs under is the child of the one that was started.
    static pid_t KeeperOf(const Process& sandbox)
    {
        const std::string id = std::to_string(sandbox.Id());
        return std::stoi(ReadFile("/proc/" + id + "/task/" + id + "/children"));
    }

    static constexpr std::size_t kFamily = 7;  // two of the sandbox, bus, service, program and its children
};

TEST_F(SandboxEnd, KillsWhatTheProgramLeavesRunning)
{
    EXPECT_EQ(RunShell("sleep 1000 & setsid sleep 1000 & exit 4").code, 4);
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(SandboxEnd, LeavesNothingBehindWhenItIsKilled)
{
    const std::unique_ptr<Process> sandbox = StartFamily();

    sandbox->Signal(SIGKILL);

    EXPECT_TRUE(Eventually([this] { return LeavesNothing(); })) << testing::PrintToString(Processes());
}

TEST_F(SandboxEnd, RemovesItsDirectoryWhenItsOtherProcessIsKilled)
{
    const std::unique_ptr<Process> sandbox = Start({"--", "sh", "-c", "echo ready; exec sleep 1000"});
    ASSERT_TRUE(WaitForOutput(*sandbox, "ready"));

    kill(KeeperOf(*sandbox), SIGKILL);

    EXPECT_EQ(sandbox->Wait(kLongTime), 128 + SIGKILL);
    EXPECT_TRUE(Eventually([this] { return LeavesNothing(); })) << testing::PrintToString(Processes());
}

TEST_F(SandboxEnd, PassesSignalsOnToTheProgram)
{
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        const std::unique_ptr<Process> sandbox =
            Start({"--", "bash", "-c",
                   "for s in HUP INT QUIT TERM; do trap \"echo got $s; exit 9\" $s; done; echo ready; "
                   "while :; do read -t 0.01 <>/dev/zero || true; done"});
        ASSERT_TRUE(WaitForOutput(*sandbox, "ready"));

        sandbox->Signal(signal);

        EXPECT_EQ(sandbox->Wait(kLongTime), 9);
        EXPECT_EQ(sandbox->Output(), "ready\ngot " + std::string(sigabbrev_np(signal)) + "\n");
    }
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(SandboxEnd, ReportsTheSignalThatEndedTheProgram)
{
    const std::unique_ptr<Process> sandbox = Start({"--", "sh", "-c", "echo ready; exec sleep 1000"});
    ASSERT_TRUE(WaitForOutput(*sandbox, "ready"));

    sandbox->Signal(SIGTERM);

    EXPECT_EQ(sandbox->Wait(kLongTime), 128 + SIGTERM);
    EXPECT_TRUE(LeavesNothing());
}

class SandboxStart : public SandboxEnd {
protected:
    // One whose bus does not come to life.
    std::unique_ptr<Process> StartStuck()
    {
        WriteFile(m_directory / "dbus-daemon", "#!/bin/sh\nexec sleep 1000\n");
        std::filesystem::permissions(m_directory / "dbus-daemon", std::filesystem::perms::owner_all);
        std::unique_ptr<Process> sandbox =
            Start({"--", "true"}, {{"PATH", m_directory.Path() + ":" + std::getenv("PATH")}});
        EXPECT_TRUE(Eventually([this] { return Processes().size() == 3; }));
        return sandbox;
    }
};

TEST_F(SandboxStart, CanBeInterrupted)
{
    const std::unique_ptr<Process> sandbox = StartStuck();

    sandbox->Signal(SIGINT);

    EXPECT_EQ(sandbox->Wait(kLongTime), 128 + SIGINT);
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(SandboxStart, LeavesNothingBehindWhenItIsKilled)
{
    const std::unique_ptr<Process> sandbox = StartStuck();

    sandbox->Signal(SIGKILL);

    EXPECT_TRUE(Eventually([this] { return LeavesNothing(); })) << testing::PrintToString(Processes());
}

TEST_F(SandboxEnd, SaysThatTheServiceHasEndedAndGoesOn)
{
    // The service is the keeper's second child.
    const Outcome outcome = RunShell(
        "read bus service rest </proc/$PPID/task/$PPID/children; kill -KILL $service; "
        "while kill -0 $service; do :; done 2>/dev/null; echo still here");

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.output, "still here\n");
    EXPECT_EQ(outcome.errors, "srcwatch-sandbox: srcwatch-service has ended with 137\n");
}

// A sandbox in the foreground of a terminal of its own.
class SandboxTerminal : public SandboxTest {
protected:
    ~SandboxTerminal() override
    {
        if (m_child > 0) kill(m_child, SIGKILL);
        if (m_child > 0) waitpid(m_child, nullptr, 0);
        if (m_terminal >= 0) close(m_terminal);
    }
    void StartInTerminal(const Words& arguments)
    {
        std::vector<const char*> words = {m_program.c_str()};
        for (const std::string& argument : arguments) words.push_back(argument.c_str());
        words.push_back(nullptr);
        m_child = forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_child == 0) {
            setenv("TMPDIR", TempPath().c_str(), 1);
            setenv("PS1", "prompt> ", 1);
            setenv("SHELL", "/bin/bash", 1);
            execv(words[0], const_cast<char**>(words.data()));
            _exit(127);
        }
        ASSERT_GT(m_child, 0);
        fcntl(m_terminal, F_SETFL, O_NONBLOCK);
    }
    void Type(const std::string& text) const
    {
        ASSERT_EQ(write(m_terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void Signal(int number) const { kill(m_child, number); }
    bool Shows(const std::string& text)
    {
        return Eventually([&] {
            Read();
            return m_shown.find(text) != std::string::npos;
        });
    }
    int ExitCode()
    {
        int status = 0;
        const bool ends = Eventually([&] {
            Read();  // what is not read blocks the program
            return m_child < 0 || waitpid(m_child, &status, WNOHANG) == m_child;
        });
        if (!ends) return -1;
        Read();
        m_child = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    // A job that says when it runs.
    static constexpr const char* kJob = "sh -c 'echo runs $((40 + 2)); exec sleep 1000'\n";

    std::string m_shown;

private:
    void Read()
    {
        char piece[256];
        for (ssize_t size = 0; (size = read(m_terminal, piece, sizeof piece)) > 0;)
            m_shown.append(piece, static_cast<std::size_t>(size));
    }

    pid_t m_child = -1;
    int m_terminal = -1;
};

// A second SIGINT would take the way that the SIGTERM takes, before it.
TEST_F(SandboxTerminal, ControlCReachesTheProgramOnce)
{
    StartInTerminal(
        {"--", "bash", "-c", "trap 'echo got it' INT; trap 'exit 6' TERM; echo ready; while :; do :; done"});
    ASSERT_TRUE(Shows("ready"));

    Type("\x03");
    ASSERT_TRUE(Shows("got it"));
    Signal(SIGTERM);

    EXPECT_EQ(ExitCode(), 6);
    EXPECT_EQ(m_shown.find("got it"), m_shown.rfind("got it")) << m_shown;
}

TEST_F(SandboxTerminal, ControlCEndsTheCommandOfAShellOnly)
{
    StartInTerminal({"--", "bash", "--norc", "-i"});
    ASSERT_TRUE(Shows("prompt> "));

    Type(kJob);
    ASSERT_TRUE(Shows("runs 42"));
    Type("\x03");
    Type("srcwatchctl call status >/dev/null && echo alive $((1 + 1))\n");
    EXPECT_TRUE(Shows("alive 2")) << m_shown;
    Type("exit 7\n");

    EXPECT_EQ(ExitCode(), 7);
    EXPECT_EQ(m_shown.find("no job control"), std::string::npos) << m_shown;
    EXPECT_TRUE(LeavesNothing());
}

TEST_F(SandboxTerminal, ControlZStopsACommandOfTheShell)
{
    StartInTerminal({"--", "bash", "--norc", "-i"});
    ASSERT_TRUE(Shows("prompt> "));

    Type(kJob);
    ASSERT_TRUE(Shows("runs 42"));
    Type("\x1a");
    EXPECT_TRUE(Shows("Stopped")) << m_shown;
    Type("exit 5\nexit 5\n");  // the first one warns of the job

    EXPECT_EQ(ExitCode(), 5);
    EXPECT_TRUE(LeavesNothing());
}

}  // namespace
}  // namespace srcwatch_test
