// SPDX-License-Identifier: Apache-2.0
// The platform log on an ordinary machine. The program's srcwatch_host_log_sink(), or else SRCWATCH_LOG, says where
// lines go:
//
//   journal    the system's journal; the default where there is one
//   stderr     standard error
//   file:PATH  appended to a file, which is created when missing
//   none       nowhere; the default where there is no journal
//
// SRCWATCH_LOG_LEVEL is the lowest priority written, by number (2 to 7) or name (verbose, debug, info, warn, error,
// fatal); the default is info. A value that is none of these is reported once, and stderr or info is used.
// Each call is one line and one write: anything that would break or disguise a line is written as an escape sequence.
#include "Log.h"

#include "Clock.h"
#include "Guarded.h"
#include "Handle.h"
#include "Paths.h"
#include "WriteSignals.h"
#include "srcwatch-host.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <glib.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

// A program need not define it.
#pragma weak srcwatch_host_log_sink

namespace host {
namespace {

constexpr const char* kTag = "srcwatch-host";
constexpr const char* kJournalSocket = "/run/systemd/journal/socket";
constexpr const char* kJournalLibrary = "libsystemd.so.0";
constexpr const char* kFilePrefix = "file:";
constexpr int kDefaultLowest = DLOG_INFO;
constexpr int kNothing = INT_MAX;

struct Priority {
    int number;
    const char* name;
    char letter;
    int syslog;
};

constexpr Priority kPriorities[] = {
    {DLOG_VERBOSE, "verbose", 'V', LOG_DEBUG}, {DLOG_DEBUG, "debug", 'D', LOG_DEBUG},
    {DLOG_INFO, "info", 'I', LOG_INFO},        {DLOG_WARN, "warn", 'W', LOG_WARNING},
    {DLOG_ERROR, "error", 'E', LOG_ERR},       {DLOG_FATAL, "fatal", 'F', LOG_CRIT},
};
constexpr Priority kUnknownPriority = {0, "unknown", '?', LOG_NOTICE};

const Priority& Describe(int number)
{
    for (const Priority& priority : kPriorities)
        if (priority.number == number) return priority;
    return kUnknownPriority;
}

using JournalSend = int (*)(const iovec*, int);

// Where lines go and from which priority on. Exactly one of fd and journal is set, or none for no log at all.
struct Config {
    int fd = -1;
    JournalSend journal = nullptr;
    int lowest = kNothing;
    std::string warning;

    Config() = default;
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;
    ~Config()
    {
        if (fd > STDERR_FILENO) close(fd);
    }
};

std::atomic<const Config*> g_config{nullptr};
std::atomic<int> g_lowest{INT_MIN};  // the configuration's, once that is there

bool HasJournal() { return access(kJournalSocket, W_OK) == 0; }

// Loaded when needed only: linking it would make the start of every program a quarter longer.
JournalSend LoadJournal()
{
    void* library = dlopen(kJournalLibrary, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    return library != nullptr ? reinterpret_cast<JournalSend>(dlsym(library, "sd_journal_sendv")) : nullptr;
}

void UseStderr(Config* config, std::string warning)
{
    config->fd = STDERR_FILENO;
    config->warning = std::move(warning);
}

void UseFile(Config* config, const char* path)
{
    // Not blocking, or a pipe without a reader would stop the program.
    config->fd = OpenAboveStderr(path, O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_NONBLOCK);
    if (config->fd >= 0) return;
    UseStderr(config, std::string("cannot open the log file ") + path + " (" + strerrordesc_np(errno) +
                          "); the log goes to stderr");
}

void UseJournal(Config* config)
{
    config->journal = LoadJournal();
    if (config->journal == nullptr)
        UseStderr(config, std::string("cannot load ") + kJournalLibrary + "; the log goes to stderr");
}

void ChooseSink(Config* config, const char* value)
{
    const std::string sink = value ? value : HasJournal() ? "journal" : "none";
    if (sink == "journal") return UseJournal(config);
    if (sink == "stderr") return UseStderr(config, "");
    if (sink.rfind(kFilePrefix, 0) == 0) return UseFile(config, sink.c_str() + std::strlen(kFilePrefix));
    if (sink == "none") return;
    UseStderr(config, "SRCWATCH_LOG is \"" + sink +
                          "\", which is none of journal, stderr, file:PATH and none; the log goes to stderr");
}

const char* WantedSink()
{
    const char* const chosen = srcwatch_host_log_sink != nullptr ? srcwatch_host_log_sink() : nullptr;
    return chosen != nullptr ? chosen : Environment("SRCWATCH_LOG");
}

// Returns 0 if the value names no priority.
int ParsePriority(const char* value)
{
    for (const Priority& priority : kPriorities)
        if (strcasecmp(value, priority.name) == 0 || value == std::to_string(priority.number)) return priority.number;
    return 0;
}

void ChooseLowest(Config* config, const char* value)
{
    const bool isSilent = config->fd < 0 && config->journal == nullptr;
    if (isSilent) return;

    config->lowest = value != nullptr ? ParsePriority(value) : kDefaultLowest;
    if (config->lowest != 0) return;

    config->lowest = kDefaultLowest;
    if (!config->warning.empty()) config->warning += "; ";
    config->warning += std::string("SRCWATCH_LOG_LEVEL is \"") + value +
                       "\", which is neither a number from 2 to 7 nor one of verbose, debug, info, warn, error and "
                       "fatal; info is used";
}

// Without a lock: a forked child must never find one held, and two threads that both read the environment see the same.
const Config& Configuration()
{
    const Config* current = g_config.load(std::memory_order_acquire);
    if (current != nullptr) return *current;

    auto fresh = std::make_unique<Config>();
    ChooseSink(fresh.get(), WantedSink());
    ChooseLowest(fresh.get(), Environment("SRCWATCH_LOG_LEVEL"));
    if (!g_config.compare_exchange_strong(current, fresh.get(), std::memory_order_acq_rel)) return *current;

    const Config& config = *fresh.release();
    g_lowest.store(config.lowest, std::memory_order_release);
    if (!config.warning.empty()) LogHost(DLOG_WARN, "%s", config.warning.c_str());
    return config;
}

// Characters that move the cursor, end a line or turn the direction of writing.
bool IsHarmful(gunichar character)
{
    const GUnicodeType type = g_unichar_type(character);
    return type == G_UNICODE_CONTROL || type == G_UNICODE_FORMAT || type == G_UNICODE_LINE_SEPARATOR ||
           type == G_UNICODE_PARAGRAPH_SEPARATOR || type == G_UNICODE_SURROGATE;
}

// Appends one character of the text, escaped where needed, and returns the number of its bytes.
std::size_t AppendCharacter(std::string* line, const char* text, std::size_t length)
{
    constexpr struct {
        char character;
        const char* sequence;
    } kShort[] = {{'\n', "\\n"}, {'\r', "\\r"}, {'\t', "\\t"}, {'\\', "\\\\"}};
    for (const auto& escape : kShort) {
        if (*text != escape.character) continue;
        line->append(escape.sequence);
        return 1;
    }
    const gunichar character = g_utf8_get_char_validated(text, static_cast<gssize>(length));
    const bool isInvalid = character >= static_cast<gunichar>(-2);  // or cut
    const std::size_t bytes = isInvalid ? 1 : static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr));
    char code[16] = "";
    if (isInvalid || g_ascii_iscntrl(*text)) {
        static_cast<void>(std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(*text)));  // fits
    } else if (IsHarmful(character)) {
        static_cast<void>(std::snprintf(code, sizeof code, "\\u{%x}", character));  // fits
    }
    line->append(*code == '\0' ? text : code, *code == '\0' ? bytes : std::strlen(code));
    return bytes;
}

void AppendEscaped(std::string* line, const char* text, std::size_t length)
{
    for (std::size_t at = 0; at < length;) at += AppendCharacter(line, text + at, length - at);
}

// The message's own last newline ends the line; any other belongs to the text.
std::size_t LengthWithoutLineEnd(const std::string& message)
{
    return !message.empty() && message.back() == '\n' ? message.size() - 1 : message.size();
}

std::string FormatLine(const Priority& priority, const char* tag, const std::string& message)
{
    const UtcTime now = UtcNow();
    char head[64];
    static_cast<void>(std::snprintf(head, sizeof head, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ %c ", now.year, now.month,
                                    now.day, now.hour, now.minute, now.second, now.millisecond,
                                    priority.letter));  // fits
    std::string line = head;
    AppendEscaped(&line, tag, std::strlen(tag));
    line += ' ' + std::to_string(getpid()) + ' ';
    AppendEscaped(&line, message.data(), LengthWithoutLineEnd(message));
    line += '\n';
    return line;
}

// A line that cannot be written (disk full, stderr closed) is lost: a failing log has nowhere to be reported.
int WriteLine(int fd, const std::string& line)
{
    const WriteSignalsHeld held;
    const ssize_t written = write(fd, line.data(), line.size());
    if (written >= 0) return static_cast<int>(written);
    const int error = errno;
    held.Consume();
    return -error;
}

iovec Field(const std::string& text)
{
    return {const_cast<char*>(text.data()), text.size()};  // NOLINT(cppcoreguidelines-pro-type-const-cast): only read
}

int SendToJournal(JournalSend send, const Priority& priority, const char* tag, const std::string& message)
{
    std::string text = "MESSAGE=";
    AppendEscaped(&text, message.data(), LengthWithoutLineEnd(message));
    const std::string level = "PRIORITY=" + std::to_string(priority.syslog);
    const std::string identifier = std::string("SYSLOG_IDENTIFIER=") + program_invocation_short_name;
    const std::string component = std::string("TAG=") + tag;
    const iovec fields[] = {Field(text), Field(level), Field(identifier), Field(component)};

    const int result = send(fields, G_N_ELEMENTS(fields));
    return result < 0 ? result : static_cast<int>(text.size());
}

// Returns false if memory ran out or the format is not printable.
__attribute__((format(printf, 1, 0))) bool Format(const char* format, va_list arguments, std::string* message)
{
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    if (length < 0) return false;

    const srcwatch::Handle<char, std::free> owner(text);
    message->assign(text, static_cast<std::size_t>(length));
    return true;
}

__attribute__((format(printf, 3, 0))) int Print(int priority, const char* tag, const char* format, va_list arguments)
{
    const Config& config = Configuration();
    if (priority < config.lowest) return 0;

    std::string message;
    if (format == nullptr || !Format(format, arguments, &message)) return -EINVAL;
    if (tag == nullptr) tag = "";
    if (config.journal != nullptr) return SendToJournal(config.journal, Describe(priority), tag, message);
    return WriteLine(config.fd, FormatLine(Describe(priority), tag, message));
}

// Callers read errno after they have logged, so a log line keeps it.
__attribute__((format(printf, 3, 0))) int PrintKeepingErrno(int priority, const char* tag, const char* format,
                                                            va_list arguments)
{
    const int before = errno;
    const int result = Guarded(-ENOMEM, [&] { return Print(priority, tag, format, arguments); });
    errno = before;
    return result;
}

}  // namespace

void LogHost(int priority, const char* format, ...)  // NOLINT(cert-dcl50-cpp): printf-style, checked by the compiler
{
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(PrintKeepingErrno(priority, kTag, format, arguments));  // a lost line has nowhere to be reported
    va_end(arguments);
}

}  // namespace host

SRCWATCH_HOST_API int __dlog_print(int, int priority, const char* tag, const char* format, ...)
{
    if (priority < host::g_lowest.load(std::memory_order_relaxed)) return 0;

    va_list arguments;
    va_start(arguments, format);
    const int result = host::PrintKeepingErrno(priority, tag, format, arguments);
    va_end(arguments);
    return result;
}
