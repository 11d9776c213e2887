// SPDX-License-Identifier: Apache-2.0
#include "MemoryPlatform.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

// Seen by the shared library, for programs that link it instead of its objects.
#pragma GCC visibility push(default)
#include <TVServiceAPI.h>
#include <system_info.h>
#include <vconf.h>
#pragma GCC visibility pop

namespace srcwatch_test {

const char kLogPrefix[] = "%s: %s(%d) > <%ld> ";

namespace {

// Read without the mutex, as it never changes.
bool KeepsCalls()
{
    static const bool keepsCalls = ThePlatform().keepsCalls;
    return keepsCalls;
}

// Waits for its turn where calls are kept, and records the call that describe() names where the sequence is.
template <typename Describe>
std::unique_lock<std::recursive_mutex> Enter(Describe describe)
{
    if (!KeepsCalls()) return {};
    std::unique_lock<std::recursive_mutex> lock(PlatformMutex());
    if (ThePlatform().keepsSequence) ThePlatform().sequence.push_back(describe());
    return lock;
}

template <typename Describe>
std::unique_lock<std::recursive_mutex> EnterStore(Describe describe)
{
    std::unique_lock<std::recursive_mutex> lock = Enter(describe);
    if (ThePlatform().settings.onAccess) ThePlatform().settings.onAccess();
    return lock;
}

template <typename Value>
bool Find(const ByName<Value>& values, const char* name, Value* value)
{
    const auto found = values.find(std::string_view(name));
    if (found == values.end()) return false;
    *value = found->second;
    return true;
}

// The value of a name, which is added if it is absent; makes no string of a name that is there.
template <typename Stored>
Stored& At(ByName<Stored>& values, const char* name)
{
    const auto found = values.find(std::string_view(name));
    return found != values.end() ? found->second : values[name];
}

bool IsWritable(const char* key)
{
    const auto& unwritable = ThePlatform().settings.unwritable;
    return unwritable.find(std::string_view(key)) == unwritable.end();
}

void CallBack(const LogLine& line)
{
    static std::atomic<bool> isCallingBack = false;
    std::function<void(const LogLine&)> callback;
    {
        const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
        callback = ThePlatform().onLine;
    }
    if (!callback || isCallingBack.exchange(true)) return;
    struct End {
        ~End() { isCallingBack = false; }
    } end;
    callback(line);
}

const char* PriorityLetter(int priority)
{
    return priority == DLOG_ERROR ? "E " : priority == DLOG_DEBUG ? "D " : "? ";
}

std::string Format(const char* format, va_list args)
{
    char shortText[1024];
    va_list measured;
    va_copy(measured, args);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // a printf stand-in has nothing else
    const int length = std::vsnprintf(shortText, sizeof(shortText), format, measured);
    va_end(measured);
    std::string text(shortText, std::min(static_cast<std::size_t>(length), sizeof(shortText) - 1));
    if (text.size() < static_cast<std::size_t>(length)) {
        text.resize(static_cast<std::size_t>(length));
        static_cast<void>(std::vsnprintf(&text[0], text.size() + 1, format, args));  // measured above
    }
#pragma GCC diagnostic pop
    return text;
}

// Takes a call of the log apart; the arguments of the prefix come first.
LogLine LineOf(const char* format, va_list args)
{
    LogLine line{};
    line.format = format;
    line.file = va_arg(args, const char*);
    line.function = va_arg(args, const char*);
    line.line = va_arg(args, int);
    line.stamp = va_arg(args, long);
    line.message = Format(format + std::strlen(kLogPrefix), args);
    if (!line.message.empty()) line.message.pop_back();  // the newline that ends every line
    return line;
}

class SourceControl : public ISourceControl {
public:
    int IsExternalSourceConnected(int source_id, bool* connected) override
    {
        const auto lock = Enter([&] { return "connected " + std::to_string(source_id); });
        const TvService& tv = ThePlatform().tv;
        const auto state = tv.connected.find(source_id);
        if (state != tv.connected.end()) *connected = state->second;
        const auto result = tv.queryResult.find(source_id);
        return result != tv.queryResult.end() ? result->second : 1;
    }
};

}  // namespace

NumberAnswer HdmiCountOfEnvironment()
{
    const char* const count = std::getenv(kHdmiCountVariable);
    if (count == nullptr) return {0, 4};
    if (std::strcmp(count, "fail") == 0) return {-1, 7};  // a 7 that must not be taken for an answer
    return {0, static_cast<int>(std::strtol(count, nullptr, 10))};
}

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

void Platform::ForgetCalls()
{
    log.clear();
    sequence.clear();
}

__attribute__((weak)) void ConfigurePlatform(Platform&) {}

// The library calls while it is loaded, before the constructors of any other object and after their destructors.
Platform& ThePlatform()
{
    static Platform& platform = [&]() -> Platform& {
        auto& configured = *new Platform;
        ConfigurePlatform(configured);
        return configured;
    }();
    return platform;
}

std::recursive_mutex& PlatformMutex()
{
    static auto& mutex = *new std::recursive_mutex;
    return mutex;
}

int ExpectedHdmiCount()
{
    const NumberAnswer& count = ThePlatform().hdmiCount;
    return count.result == 0 && count.number.value_or(0) > 0 ? *count.number : -1;
}

}  // namespace srcwatch_test

// Visible to the shared library, which takes these definitions before any platform's.
#pragma GCC visibility push(default)

using srcwatch_test::ThePlatform;

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    if (!srcwatch_test::KeepsCalls()) {
        ++ThePlatform().counts.lines;
        return 0;
    }
    va_list args;
    va_start(args, format);
    srcwatch_test::LogLine line = srcwatch_test::LineOf(format, args);
    va_end(args);
    line.id = log_id;
    line.priority = priority;
    line.tag = tag;
    {
        const auto lock = srcwatch_test::Enter([&] {
            return srcwatch_test::PriorityLetter(priority) + line.file + " " + line.function + ": " + line.message;
        });
        ++ThePlatform().counts.lines;
        ThePlatform().log.push_back(line);
    }
    srcwatch_test::CallBack(line);
    return 0;
}

int vconf_get_int(const char* key, int* value)
{
    const auto lock = srcwatch_test::EnterStore([&] { return std::string("get ") + key; });
    const srcwatch_test::Settings& settings = ThePlatform().settings;
    if (settings.other != nullptr) return settings.other->getNumber(key, value);
    if (srcwatch_test::Find(settings.failingNumbers, key, value)) return -1;
    return srcwatch_test::Find(settings.numbers, key, value) ? 0 : -1;
}

int vconf_set_int(const char* key, int value)
{
    const auto lock =
        srcwatch_test::EnterStore([&] { return std::string("set ") + key + " " + std::to_string(value); });
    srcwatch_test::Platform& platform = ThePlatform();
    if (platform.settings.other != nullptr) return platform.settings.other->setNumber(key, value);
    ++srcwatch_test::At(platform.counts.numberWrites, key);
    if (!srcwatch_test::IsWritable(key)) return -1;
    srcwatch_test::At(platform.settings.numbers, key) = value;
    return 0;
}

char* vconf_get_str(const char* key)
{
    const auto lock = srcwatch_test::EnterStore([&] { return std::string("gets ") + key; });
    srcwatch_test::Platform& platform = ThePlatform();
    if (platform.settings.other != nullptr) return platform.settings.other->getText(key);
    ++platform.counts.textReads;
    const auto found = platform.settings.texts.find(std::string_view(key));
    return found == platform.settings.texts.end() ? nullptr : strdup(found->second.c_str());
}

int vconf_set_str(const char* key, const char* value)
{
    const auto lock = srcwatch_test::EnterStore([&] { return std::string("sets ") + key + " " + value; });
    srcwatch_test::Settings& settings = ThePlatform().settings;
    if (settings.other != nullptr) return settings.other->setText(key, value);
    if (!srcwatch_test::IsWritable(key)) return -1;
    srcwatch_test::At(settings.texts, key) = value;
    return 0;
}

int system_info_get_value_int(system_info_key_e key, int* value)
{
    const auto lock = srcwatch_test::Enter([&] { return "count " + std::to_string(key); });
    const srcwatch_test::NumberAnswer& answer = ThePlatform().hdmiCount;
    *value = answer.number.value_or(*value);
    return answer.result;
}

int system_info_get_custom_bool(const char* key, bool* value)
{
    const auto lock = srcwatch_test::Enter([&] { return std::string("feature ") + key; });
    const srcwatch_test::Platform& platform = ThePlatform();
    if (srcwatch_test::Find(platform.failingFeatures, key, value)) return -1;
    return srcwatch_test::Find(platform.features, key, value) ? 0 : platform.otherFeatureResult;
}

int TVServiceAPI::CreateSourceControl(EProfile profile, int index, ISourceControl** control)
{
    const auto lock =
        srcwatch_test::Enter([&] { return "control " + std::to_string(profile) + " " + std::to_string(index); });
    static auto& sourceControl = *new srcwatch_test::SourceControl;
    const srcwatch_test::TvService& tv = ThePlatform().tv;
    if (!tv.createNull) *control = &sourceControl;
    return tv.createResult;
}

#pragma GCC visibility pop
