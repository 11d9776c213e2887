// SPDX-License-Identifier: Apache-2.0
// The platform log: where lines go, which are written, what they look like, and what cannot hurt.
#include "HostTest.h"
#include "Pattern.h"
#include "dlog.h"
#include "srcwatch-host.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char* g_chosenSink = nullptr;  // what this program chooses for its log

}  // namespace

__attribute__((visibility("default"))) const char* srcwatch_host_log_sink() { return g_chosenSink; }

namespace {

namespace fs = std::filesystem;

constexpr int kPriorities[] = {DLOG_VERBOSE, DLOG_DEBUG, DLOG_INFO, DLOG_WARN, DLOG_ERROR, DLOG_FATAL};

class PlatformLog : public HostTest {
protected:
    // What one call writes: the line after date, priority, tag and process number.
    std::string Written(const std::string& message)
    {
        fs::remove(Path("log"));
        EXPECT_TRUE(InProcess([&message] { EXPECT_GT(__dlog_print(0, DLOG_ERROR, "tag", "%s", message.c_str()), 0); }));
        const std::string log = Log();
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        const std::size_t process = log.find(" E tag ") + strlen(" E tag ");
        const std::size_t text = log.find(' ', process) + 1;
        return log.substr(text, log.size() - text - 1);
    }

    // The priorities that are written at a level.
    std::string Letters(const std::string& level)
    {
        fs::remove(Path("log"));
        GivenEnvironment("SRCWATCH_LOG_LEVEL", level);
        EXPECT_TRUE(InProcess([] {
            for (const int priority : kPriorities) __dlog_print(0, priority, "tag", "at %d\n", priority);
        }));
        std::string letters;
        for (const std::string& written : LogLines(" tag ")) {
            const std::vector<std::string> parts =
                srcwatch_test::FindPattern("^\\S+ ([A-Z]) tag [0-9]+ at [0-9]$", written);
            letters += parts.empty() ? written : parts[1];
        }
        return letters;
    }

    // Runs body with its standard error in the file "stderr".
    std::string StderrOf(const std::function<void()>& body)
    {
        EXPECT_TRUE(InProcess([this, &body] {
            const int fd = open(Path("stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(fd, STDERR_FILENO);
            body();
        }));
        return ReadFile(Path("stderr"));
    }
};

TEST_F(PlatformLog, WritesDatePriorityTagProcessAndMessage)
{
    EXPECT_TRUE(InProcess([this] {
        __dlog_print(0, DLOG_ERROR, "qdinfo", "%s: %s(%d) > <%ld> %s\n", "QDInfo.cpp", "f", 12, 34L, "text");
        WriteFile(Path("pid"), std::to_string(getpid()));
    }));

    const std::string log = Log();
    const std::vector<std::string> parts = srcwatch_test::FindPattern(
        "^([0-9]{4}(-[0-9]{2}){2}T[0-9]{2}(:[0-9]{2}){2})\\.[0-9]{3}Z E qdinfo ([0-9]+) QDInfo.cpp: f\\(12\\) > <34> "
        "text\n$",
        log);
    ASSERT_FALSE(parts.empty()) << log;
    EXPECT_EQ(parts[4], ReadFile(Path("pid")));
    tm utc = {};
    ASSERT_NE(strptime(parts[1].c_str(), "%Y-%m-%dT%H:%M:%S", &utc), nullptr);
    EXPECT_NEAR(static_cast<double>(timegm(&utc)), static_cast<double>(time(nullptr)), 60);
}

TEST_F(PlatformLog, NamesEveryPriorityByItsLetter) { EXPECT_EQ(Letters("verbose"), "VDIWEF"); }

TEST_F(PlatformLog, LeavesOutWhatIsBelowTheLevel)
{
    EXPECT_EQ(Letters("debug"), "DIWEF");
    EXPECT_EQ(Letters("info"), "IWEF");
    EXPECT_EQ(Letters("warn"), "WEF");
    EXPECT_EQ(Letters("error"), "EF");
    EXPECT_EQ(Letters("fatal"), "F");
    EXPECT_EQ(Letters("FATAL"), "F");
    EXPECT_EQ(Letters("2"), "VDIWEF");
    EXPECT_EQ(Letters("5"), "WEF");
    EXPECT_EQ(Letters("7"), "F");
}

TEST_F(PlatformLog, LeavesOutDebugLinesByDefault) { EXPECT_EQ(Letters(""), "IWEF"); }

TEST_F(PlatformLog, UsesInfoAndSaysSoOnceForAnUnknownLevel)
{
    for (const char* level : {"loud", "1", "8", "-1", "5x", " "}) {
        EXPECT_EQ(Letters(level), "IWEF") << level;
        EXPECT_EQ(LogLines("SRCWATCH_LOG_LEVEL is \"" + std::string(level) + "\"").size(), 1u) << Log();
    }
}

TEST_F(PlatformLog, UsesStderrAndSaysSoOnceForAnUnknownSink)
{
    for (const char* sink : {"syslog", "file", "Stderr"}) {
        GivenEnvironment("SRCWATCH_LOG", sink);
        const std::string written = StderrOf([] {
            __dlog_print(0, DLOG_ERROR, "tag", "one\n");
            __dlog_print(0, DLOG_ERROR, "tag", "two\n");
        });
        const std::string lines = "^\\S+ W srcwatch-host [0-9]+ SRCWATCH_LOG is \"" + std::string(sink) +
                                  "\", [^\n]*\n\\S+ E tag [0-9]+ one\n\\S+ E tag [0-9]+ two\n$";
        EXPECT_FALSE(srcwatch_test::FindPattern(lines, written).empty()) << written;
    }
}

TEST_F(PlatformLog, UsesStderrAndReportsAFileThatCannotBeOpened)
{
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    for (const std::string& path : {Path("no/such/directory/log"), Path(""), std::string(), Path("pipe")}) {
        GivenEnvironment("SRCWATCH_LOG", "file:" + path);
        const std::string written = StderrOf([] { __dlog_print(0, DLOG_ERROR, "tag", "one\n"); });
        const std::string lines =
            "^\\S+ W srcwatch-host [0-9]+ cannot open the log file [^\n]*\n\\S+ E tag [0-9]+ one\n$";
        EXPECT_FALSE(srcwatch_test::FindPattern(lines, written).empty()) << path << ": " << written;
    }
}

TEST_F(PlatformLog, WritesToStandardError)
{
    GivenEnvironment("SRCWATCH_LOG", "stderr");
    const std::string written = StderrOf([] { __dlog_print(0, DLOG_WARN, "tag", "text\n"); });
    EXPECT_FALSE(srcwatch_test::FindPattern("^\\S+ W tag [0-9]+ text\n$", written).empty()) << written;
}

TEST_F(PlatformLog, WritesNothingWhenSwitchedOff)
{
    GivenEnvironment("SRCWATCH_LOG", "none");
    const std::string written = StderrOf([] { EXPECT_EQ(__dlog_print(0, DLOG_FATAL, "tag", "text\n"), 0); });
    EXPECT_EQ(written, "");
    EXPECT_FALSE(fs::exists(Path("log")));
}

TEST_F(PlatformLog, GoesWhereTheProgramChooses)
{
    EXPECT_EQ(StderrOf([] {
                  g_chosenSink = "none";
                  EXPECT_EQ(__dlog_print(0, DLOG_FATAL, "tag", "text\n"), 0);
              }),
              "");
    const std::string written = StderrOf([] {
        g_chosenSink = "stderr";
        __dlog_print(0, DLOG_WARN, "tag", "text\n");
    });
    EXPECT_FALSE(srcwatch_test::FindPattern("^\\S+ W tag [0-9]+ text\n$", written).empty()) << written;
    EXPECT_FALSE(fs::exists(Path("log")));
}

TEST_F(PlatformLog, AppendsToAFileThatExists)
{
    WriteFile(Path("log"), "before\n");
    EXPECT_TRUE(InProcess([] { __dlog_print(0, DLOG_ERROR, "tag", "after\n"); }));
    EXPECT_EQ(Log().rfind("before\n", 0), 0u);
    EXPECT_EQ(LogLines("after").size(), 1u);
}

TEST_F(PlatformLog, GivesOneLinePerCallWhateverTheMessage)
{
    EXPECT_EQ(Written("plain"), "plain");
    EXPECT_EQ(Written("plain\n"), "plain");
    EXPECT_EQ(Written("double\n\n"), "double\\n");
    EXPECT_EQ(Written("two\nlines\n"), "two\\nlines");
    EXPECT_EQ(Written("\r\n"), "\\r");
    EXPECT_EQ(Written(""), "");
    EXPECT_EQ(Written("a\tb\\c"), "a\\tb\\\\c");
    EXPECT_EQ(Written("\x01\x1b[31m\x7f"), "\\x01\\x1b[31m\\x7f");
}

TEST_F(PlatformLog, LeavesTextOfOtherLanguagesAsItIs)
{
    EXPECT_EQ(Written("Fernseher \u00fc\u00df, \u30c6\u30ec\u30d3, \U0001f4fa"),
              "Fernseher \u00fc\u00df, \u30c6\u30ec\u30d3, \U0001f4fa");
}

TEST_F(PlatformLog, EscapesWhatDisguisesALine)
{
    EXPECT_EQ(Written("a\u202eb\u2066c\u200fd"), "a\\u{202e}b\\u{2066}c\\u{200f}d");
    EXPECT_EQ(Written("a\u0085b\u2028c\u009bd"), "a\\u{85}b\\u{2028}c\\u{9b}d");
}

TEST_F(PlatformLog, EscapesBytesThatAreNoText)
{
    EXPECT_EQ(Written("a\xff\xfe"), "a\\xff\\xfe");
    EXPECT_EQ(Written("cut \xe3\x83"), "cut \\xe3\\x83");
    EXPECT_EQ(Written("\xc0\xaf \xed\xa0\x80"), "\\xc0\\xaf \\xed\\xa0\\x80");
}

TEST_F(PlatformLog, WritesLongMessagesWhole)
{
    for (const std::size_t length : {1000u, 1022u, 1023u, 1024u, 1025u, 100000u}) {
        const std::string message(length, 'x');
        EXPECT_TRUE(Written(message) == message) << length;
    }
}

TEST_F(PlatformLog, EscapesTheTagToo)
{
    EXPECT_TRUE(InProcess([] { __dlog_print(0, DLOG_ERROR, "two\nlines", "text\n"); }));
    EXPECT_EQ(LogLines("E two\\nlines ").size(), 1u) << Log();
}

TEST_F(PlatformLog, ToleratesMissingTagsAndUnknownPriorities)
{
    EXPECT_TRUE(InProcess([] {
        const char* nothing = nullptr;
        EXPECT_GT(__dlog_print(0, DLOG_ERROR, nothing, "no tag\n"), 0);
        EXPECT_GT(__dlog_print(7, 99, "tag", "unknown\n"), 0);
        EXPECT_EQ(__dlog_print(0, 0, "tag", "unknown\n"), 0);
        EXPECT_EQ(__dlog_print(0, INT_MIN, "tag", "unknown\n"), 0);
    }));
    EXPECT_EQ(LogLines("no tag").size(), 1u);
    EXPECT_EQ(LogLines(" ? tag ").size(), 1u) << Log();
    EXPECT_EQ(LogLines("").size(), 2u) << Log();
}

TEST_F(PlatformLog, LeavesErrnoAlone)
{
    EXPECT_TRUE(InProcess([] {
        errno = ENOTTY;
        __dlog_print(0, DLOG_ERROR, "tag", "first: %m\n");
        EXPECT_EQ(errno, ENOTTY);
        __dlog_print(0, DLOG_DEBUG, "tag", "second\n");
        EXPECT_EQ(errno, ENOTTY);
    }));
    EXPECT_EQ(LogLines("first: Inappropriate ioctl for device").size(), 1u) << Log();
}

TEST_F(PlatformLog, KeepsLinesOfManyThreadsAndProcessesWhole)
{
    std::vector<Process> processes;
    for (int process = 0; process < 3; process++) {
        processes.push_back(Start([] {
            const std::string text(3000, 'x');
            const auto log = [&text] {
                for (int line = 0; line < 100; line++) __dlog_print(0, DLOG_INFO, "tag", "<%s>\n", text.c_str());
            };
            std::thread other(log);
            log();
            other.join();
        }));
    }
    for (Process& process : processes) EXPECT_TRUE(process.Succeeds());

    EXPECT_EQ(LogLines("").size(), 600u);
    EXPECT_EQ(LogLines(" <" + std::string(3000, 'x') + ">").size(), 600u);
}

TEST_F(PlatformLog, SurvivesAFullDisk)
{
    GivenEnvironment("SRCWATCH_LOG", "file:/dev/full");
    EXPECT_TRUE(InProcess([] {
        EXPECT_EQ(__dlog_print(0, DLOG_ERROR, "tag", "text\n"), -ENOSPC);
        EXPECT_EQ(__dlog_print(0, DLOG_ERROR, "tag", "text\n"), -ENOSPC);
    }));
}

TEST_F(PlatformLog, SurvivesALimitOnTheFilesSize)
{
    EXPECT_TRUE(InProcess([] {
        const rlimit limit = {100, RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        for (int line = 0; line < 10; line++) __dlog_print(0, DLOG_ERROR, "tag", "%050d\n", line);
        EXPECT_EQ(__dlog_print(0, DLOG_ERROR, "tag", "text\n"), -EFBIG);
    }));
    EXPECT_EQ(Log().size(), 100u);
}

TEST_F(PlatformLog, SurvivesAClosedStandardError)
{
    GivenEnvironment("SRCWATCH_LOG", "stderr");
    EXPECT_TRUE(InProcess([] {
        close(STDERR_FILENO);
        EXPECT_EQ(__dlog_print(0, DLOG_ERROR, "tag", "text\n"), -EBADF);
    }));
}

TEST_F(PlatformLog, SurvivesAReaderThatIsGone)
{
    GivenEnvironment("SRCWATCH_LOG", "stderr");
    EXPECT_TRUE(InProcess([] {
        int ends[2] = {};
        ASSERT_EQ(pipe(ends), 0);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        EXPECT_EQ(__dlog_print(0, DLOG_ERROR, "tag", "text\n"), -EPIPE);

        sigset_t pending;
        sigpending(&pending);
        EXPECT_FALSE(sigismember(&pending, SIGPIPE));
    }));
}

TEST_F(PlatformLog, LeavesAPendingSignalOfTheProgramPending)
{
    GivenEnvironment("SRCWATCH_LOG", "stderr");
    EXPECT_TRUE(InProcess([] {
        sigset_t pipeSignal;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
        int ends[2] = {};
        ASSERT_EQ(pipe(ends), 0);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        raise(SIGPIPE);
        __dlog_print(0, DLOG_ERROR, "tag", "text\n");

        sigset_t pending;
        sigpending(&pending);
        EXPECT_TRUE(sigismember(&pending, SIGPIPE));
    }));
}

TEST_F(PlatformLog, DoesNotTakeAStandardDescriptor)
{
    EXPECT_TRUE(InProcess([this] {
        close(STDERR_FILENO);
        __dlog_print(0, DLOG_ERROR, "tag", "to the log\n");
        EXPECT_LT(write(STDERR_FILENO, "stray", 5), 0);
        EXPECT_EQ(Log().find("stray"), std::string::npos);
    }));
    EXPECT_EQ(LogLines("to the log").size(), 1u);
}

TEST_F(PlatformLog, IsNotInheritedByProgramsThatAreStarted)
{
    EXPECT_TRUE(InProcess([this] {
        __dlog_print(0, DLOG_ERROR, "tag", "text\n");
        const std::string command = "ls -l /proc/self/fd > '" + Path("descriptors") + "'";
        EXPECT_EQ(system(command.c_str()), 0);
    }));
    EXPECT_EQ(ReadFile(Path("descriptors")).find(Path("log")), std::string::npos);
}

TEST_F(PlatformLog, CostsAlmostNothingBelowTheLevel)
{
    GivenEnvironment("SRCWATCH_LOG_LEVEL", "error");
    EXPECT_TRUE(InProcess([] {
        constexpr int kCalls = 100000;
        timespec before = {};
        timespec after = {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
        for (int call = 0; call < kCalls; call++) __dlog_print(0, DLOG_WARN, "tag", "%s %d\n", "text", call);
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
        const double nanoseconds = 1e9 * static_cast<double>(after.tv_sec - before.tv_sec) +
                                   static_cast<double>(after.tv_nsec - before.tv_nsec);
        EXPECT_LT(nanoseconds / kCalls, 300.0);
    }));
    EXPECT_EQ(Log(), "");
}

// A place for the journal's socket that only this process sees.
bool HasPrivateJournal(int* socketFd)
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0)
        return false;
    fs::create_directories("/run/systemd/journal");
    *socketFd = socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
    return bind(*socketFd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

TEST_F(PlatformLog, GoesToTheJournalByDefaultWhereThereIsOne)
{
    GivenEnvironment("SRCWATCH_LOG", "");
    EXPECT_TRUE(InProcess([] {
        int journal = -1;
        if (!HasPrivateJournal(&journal)) return;  // needs the right to mount
        EXPECT_GT(__dlog_print(0, DLOG_ERROR, "qdinfo", "two\nlines %s\n\n", "\x1b"), 0);

        char entry[4096] = {};
        ASSERT_GT(recv(journal, entry, sizeof entry - 1, MSG_DONTWAIT), 0);
        const std::string text = std::string("\n") + entry;
        EXPECT_NE(text.find("\nMESSAGE=two\\nlines \\x1b\\n\n"), std::string::npos) << text;
        EXPECT_NE(text.find("\nPRIORITY=3\n"), std::string::npos) << text;
        EXPECT_NE(text.find("\nTAG=qdinfo\n"), std::string::npos) << text;
        EXPECT_NE(text.find(std::string("\nSYSLOG_IDENTIFIER=") + program_invocation_short_name + '\n'),
                  std::string::npos)
            << text;
        EXPECT_LT(recv(journal, entry, sizeof entry, MSG_DONTWAIT), 0);
    }));
}

TEST_F(PlatformLog, GivesTheJournalItsOwnPriorities)
{
    GivenEnvironment("SRCWATCH_LOG", "journal");
    EXPECT_TRUE(InProcess([] {
        int journal = -1;
        if (!HasPrivateJournal(&journal)) return;  // needs the right to mount
        std::string priorities;
        for (const int priority : kPriorities) {
            __dlog_print(0, priority, "tag", "text\n");
            char entry[4096] = {};
            ASSERT_GT(recv(journal, entry, sizeof entry - 1, MSG_DONTWAIT), 0);
            const char* field = strstr(entry, "PRIORITY=");
            ASSERT_NE(field, nullptr) << entry;
            priorities += field[strlen("PRIORITY=")];
        }
        EXPECT_EQ(priorities, "776432");
    }));
}

TEST_F(PlatformLog, IsSilentByDefaultWhereThereIsNoJournal)
{
    GivenEnvironment("SRCWATCH_LOG", "");
    const std::string written = StderrOf([] {
        const bool isPrivate = unshare(CLONE_NEWNS) == 0 &&
                               mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                               mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0;
        if (!isPrivate && fs::exists("/run/systemd/journal/socket")) return;  // there is one, for good
        EXPECT_EQ(__dlog_print(0, DLOG_FATAL, "tag", "text\n"), 0);
    });
    EXPECT_EQ(written, "");
}

}  // namespace
