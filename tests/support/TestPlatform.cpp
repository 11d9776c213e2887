// SPDX-License-Identifier: Apache-2.0
#include "TestPlatform.h"

#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

// Seen by the shared library, for programs that link it instead of its objects.
#pragma GCC visibility push(default)
#include <TVServiceAPI.h>
#include <system_info.h>
#include <vconf.h>
#pragma GCC visibility pop

namespace srcwatch_test {
namespace {

constexpr char kPrefix[] = "%s: %s(%d) > <%ld> ";

// The library calls while it is loaded, so nothing here may wait for a constructor; and threads of a test may call.
std::recursive_mutex& Mutex()
{
    static auto& mutex = *new std::recursive_mutex;
    return mutex;
}

std::vector<std::string>& LoadSequenceStorage()
{
    static auto& sequence = *new std::vector<std::string>;
    return sequence;
}

bool g_testsRun = false;

void Record(std::string entry)
{
    if (!g_testsRun) LoadSequenceStorage().push_back(entry);
    ThePlatform().sequence.push_back(std::move(entry));
}

void RecordAccess(std::string entry)
{
    Record(std::move(entry));
    if (ThePlatform().settings.onAccess) ThePlatform().settings.onAccess();
}

// That of the LogHook, if there is one; used with the mutex held.
std::function<void(const LogLine&)>& LogCallback()
{
    static auto& callback = *new std::function<void(const LogLine&)>;
    return callback;
}

std::atomic<bool> g_callingBack = false;

void CallBack(const LogLine& line)
{
    std::function<void(const LogLine&)> callback;
    {
        const std::lock_guard<std::recursive_mutex> lock(Mutex());
        callback = LogCallback();
    }
    if (!callback || g_callingBack.exchange(true)) return;
    struct End {
        ~End() { g_callingBack = false; }
    } end;
    callback(line);
}

char PriorityLetter(int priority) { return priority == DLOG_ERROR ? 'E' : priority == DLOG_DEBUG ? 'D' : '?'; }

bool IsIdentifier(std::string name)
{
    if (!name.empty() && name[0] == '~') name.erase(0, 1);  // a destructor
    if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) != 0) return false;
    for (const char c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') return false;
    }
    return true;
}

bool MayLog(const std::string& file)
{
    static const std::set<std::string> files = {
        "QDInfo.cpp",           "QDInfoAPI.cpp",          "QDInfoActivityInfo.cpp", "QDInfoData.cpp",
        "QDInfoServerData.cpp", "QDInfoEventManager.cpp", "QDInfoSettingUtil.cpp",  "QDInfoCommon.h"};
    return files.count(file) != 0 || ThePlatform().otherLogFiles.count(file) != 0;
}

void CheckPlace(const LogLine& line)
{
    EXPECT_EQ(line.id, 0);
    EXPECT_EQ(line.tag, "qdinfo");
    EXPECT_TRUE(IsIdentifier(line.function)) << line.function;
    EXPECT_TRUE(MayLog(line.file)) << line.file;
    EXPECT_GT(line.line, 0);
    EXPECT_EQ(line.format.compare(0, std::strlen(kPrefix), kPrefix), 0) << line.format;
    EXPECT_EQ(line.format.back(), '\n') << line.format;
    EXPECT_TRUE(line.stamp >= INT32_MIN && line.stamp <= INT32_MAX) << line.stamp;
}

std::string Format(const char* format, va_list args)
{
    va_list measured;
    va_copy(measured, args);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // a printf stand-in has nothing else
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(static_cast<std::size_t>(length), '\0');
    static_cast<void>(std::vsnprintf(&text[0], text.size() + 1, format, args));
#pragma GCC diagnostic pop
    return text;
}

class SourceControl : public ISourceControl {
public:
    int IsExternalSourceConnected(int source_id, bool* connected) override
    {
        const std::lock_guard<std::recursive_mutex> lock(Mutex());
        Record("connected " + std::to_string(source_id));
        const TvService& tv = ThePlatform().tv;
        const auto state = tv.connected.find(source_id);
        if (state != tv.connected.end()) *connected = state->second;
        const auto result = tv.queryResult.find(source_id);
        return result != tv.queryResult.end() ? result->second : 1;
    }
};

// The number of HDMI inputs of the TV; none when it cannot be asked.
std::optional<int> HdmiCount()
{
    const char* count = std::getenv(kHdmiCountVariable);
    if (count == nullptr) return 4;
    if (std::strcmp(count, "fail") == 0) return std::nullopt;
    return static_cast<int>(std::strtol(count, nullptr, 10));
}

}  // namespace

std::vector<std::string> Platform::LogOf(int priority) const
{
    std::vector<std::string> lines;
    for (const LogLine& line : log) {
        if (line.priority == priority) lines.push_back(line.function + ": " + line.message);
    }
    return lines;
}

std::vector<std::string> Platform::SequenceWithoutLog() const
{
    std::vector<std::string> entries;
    for (const std::string& entry : sequence) {
        if (entry.compare(0, 2, "E ") != 0 && entry.compare(0, 2, "D ") != 0) entries.push_back(entry);
    }
    return entries;
}

Platform& ThePlatform()
{
    static auto& platform = *new Platform;
    return platform;
}

std::recursive_mutex& PlatformMutex() { return Mutex(); }

LogHook::LogHook(std::function<void(const LogLine&)> callback)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    LogCallback() = std::move(callback);
}

LogHook::~LogHook()
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    LogCallback() = nullptr;
}

// The thread is left behind if it does not return: a test that fails must end.
bool ReturnsInAnotherThread(std::function<void()> action)
{
    auto returned = std::make_shared<std::promise<void>>();
    std::future<void> future = returned->get_future();
    std::thread([returned, action = std::move(action)] {
        action();
        returned->set_value();
    }).detach();
    return future.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

const std::vector<std::string>& LoadSequence() { return LoadSequenceStorage(); }

int GivenHdmiCount()
{
    const int count = HdmiCount().value_or(-1);
    return count > 0 ? count : -1;
}

PlatformTest::PlatformTest()
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    g_testsRun = true;
    platform = Platform();
}

PlatformTest::~PlatformTest()
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    for (const LogLine& line : platform.log) CheckPlace(line);
}

}  // namespace srcwatch_test

// Visible to the shared library, which takes these definitions before any platform's.
#pragma GCC visibility push(default)

using srcwatch_test::CallBack;
using srcwatch_test::Mutex;
using srcwatch_test::Record;
using srcwatch_test::RecordAccess;
using srcwatch_test::ThePlatform;

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    srcwatch_test::LogLine line{};
    line.id = log_id;
    line.priority = priority;
    line.tag = tag;
    line.format = format;
    va_list args;
    va_start(args, format);
    line.file = va_arg(args, const char*);
    line.function = va_arg(args, const char*);
    line.line = va_arg(args, int);
    line.stamp = va_arg(args, long);
    line.message = srcwatch_test::Format(format + std::strlen(srcwatch_test::kPrefix), args);
    va_end(args);
    if (!line.message.empty()) line.message.pop_back();  // the newline that ends every line
    {
        const std::lock_guard<std::recursive_mutex> lock(Mutex());
        Record(std::string(1, srcwatch_test::PriorityLetter(priority)) + " " + line.file + " " + line.function + ": " +
               line.message);
        ThePlatform().log.push_back(line);
    }
    CallBack(line);
    return 0;
}

int vconf_get_int(const char* key, int* value)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    RecordAccess(std::string("get ") + key);
    const srcwatch_test::Settings& settings = ThePlatform().settings;
    const auto failing = settings.failingNumbers.find(key);
    if (failing != settings.failingNumbers.end()) {
        *value = failing->second;
        return -1;
    }
    const auto found = settings.numbers.find(key);
    if (found == settings.numbers.end()) return -1;
    *value = found->second;
    return 0;
}

int vconf_set_int(const char* key, int value)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    RecordAccess(std::string("set ") + key + " " + std::to_string(value));
    srcwatch_test::Settings& settings = ThePlatform().settings;
    if (settings.unwritable.count(key) != 0) return -1;
    settings.numbers[key] = value;
    return 0;
}

char* vconf_get_str(const char* key)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    RecordAccess(std::string("gets ") + key);
    const auto& texts = ThePlatform().settings.texts;
    const auto found = texts.find(key);
    return found == texts.end() ? nullptr : strdup(found->second.c_str());
}

int vconf_set_str(const char* key, const char* value)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    RecordAccess(std::string("sets ") + key + " " + value);
    srcwatch_test::Settings& settings = ThePlatform().settings;
    if (settings.unwritable.count(key) != 0) return -1;
    settings.texts[key] = value;
    return 0;
}

// The number of HDMI inputs is read while the library is loaded, so it comes from the environment.
int system_info_get_value_int(system_info_key_e key, int* value)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    Record("count " + std::to_string(key));
    const std::optional<int> count = srcwatch_test::HdmiCount();
    *value = count.value_or(7);  // what a failed query leaves there must not be taken for an answer
    return count ? 0 : -1;
}

int system_info_get_custom_bool(const char* key, bool* value)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    Record(std::string("feature ") + key);
    const srcwatch_test::Platform& platform = ThePlatform();
    const auto failing = platform.failingFeatures.find(key);
    if (failing != platform.failingFeatures.end()) {
        *value = failing->second;
        return -1;
    }
    const auto found = platform.features.find(key);
    if (found == platform.features.end()) return -1;
    *value = found->second;
    return 0;
}

int TVServiceAPI::CreateSourceControl(EProfile profile, int index, ISourceControl** control)
{
    const std::lock_guard<std::recursive_mutex> lock(Mutex());
    Record("control " + std::to_string(profile) + " " + std::to_string(index));
    static auto& sourceControl = *new srcwatch_test::SourceControl;
    const srcwatch_test::TvService& tv = ThePlatform().tv;
    if (!tv.createNull) *control = &sourceControl;
    return tv.createResult;
}

#pragma GCC visibility pop
