// SPDX-License-Identifier: Apache-2.0
#include "Early.h"
#include "Platform.h"
#include "SettingsKeys.h"
#include "Threads.h"
#include "Trial.h"

#include <cstdlib>

namespace conformance {

namespace {

constexpr const char* kFormat = "%s: %s(%d) > <%ld> %s\n";

void LogText(const Platform& platform, const char* text)
{
    platform.Log(kFormat, "srcwatch-platform-test", __func__, __LINE__, 0L, text);
}

void LogsEarly(const std::string& library) { CallEarly(library, kEarlyLog); }

void ThreadsLog(const std::string& library)
{
    const Platform platform(library);
    InThreads([&](int thread) {
        for (int line = 0; line < 100; ++line) LogText(platform, std::to_string(thread * 1000 + line).c_str());
    });
}

void LongLinesAreTaken(const std::string& library)
{
    const Platform platform(library);
    const std::string text(std::size_t{1} << 20U, 'x');
    LogText(platform, text.c_str());
}

// "%n" in a format would write through an argument that is not there.
void TextsAreNoFormats(const std::string& library)
{
    const Platform platform(library);
    for (const char* const text : {"100 % of", "%s%s%s%s%s%s%s%s%s%s%s%s", "%n%n%n%n%n%n%n%n", "\x01\xff\n\r\t"}) {
        LogText(platform, text);
    }
}

std::string g_library;

// Registered before the platform is loaded, so it runs after the platform's own exit handlers.
void UseAtTheEnd()
{
    try {
        const Platform platform(g_library);
        LogText(platform, "the process ends");
        const std::string key = std::string(kVolatile) + "number";
        Write(platform, key, 7);
        RequireStored(platform, key, 7);
        Report(kKept);
    } catch (const std::exception& e) {
        Report(e.what());
    }
}

void EndingProcessesLogAndRead(const std::string& library)
{
    g_library = library;
    Require(std::atexit(UseAtTheEnd) == 0, "no exit handler can be registered");
    const Platform platform(library);
    LogText(platform, "before the process ends");
    Write(platform, std::string(kVolatile) + "number", 6);
    std::exit(EXIT_SUCCESS);
}

}  // namespace

Promises PromisesOfLog()
{
    constexpr const char* kSection = "Log";
    return {
        {kSection, "a line can be written before the platform's own objects exist", LogsEarly},
        {kSection, "threads write lines at once", ThreadsLog},
        {kSection, "a line may have 1 MiB", LongLinesAreTaken},
        {kSection, "a text in a line is not taken for a format", TextsAreNoFormats},
        {kSection, "exit handlers write lines, and use settings", EndingProcessesLogAndRead},
    };
}

}  // namespace conformance
