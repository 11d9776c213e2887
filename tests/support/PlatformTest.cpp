// SPDX-License-Identifier: Apache-2.0
#include "PlatformTest.h"

#include <cctype>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace srcwatch_test {
namespace {

bool IsIdentifier(std::string name)
{
    if (!name.empty() && name[0] == '~') name.erase(0, 1);  // a destructor
    if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) != 0) return false;
    for (const char c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') return false;
    }
    return true;
}

bool IsLibraryFile(const std::string& file)
{
    static const std::set<std::string> files = {
        "QDInfo.cpp",           "QDInfoAPI.cpp",          "QDInfoActivityInfo.cpp", "QDInfoData.cpp",
        "QDInfoServerData.cpp", "QDInfoEventManager.cpp", "QDInfoSettingUtil.cpp",  "QDInfoCommon.h"};
    return files.count(file) != 0;
}

void CheckPlace(const LogLine& line)
{
    EXPECT_EQ(line.id, 0);
    EXPECT_EQ(line.tag, "qdinfo");
    EXPECT_TRUE(IsIdentifier(line.function)) << line.function;
    EXPECT_GT(line.line, 0);
    EXPECT_EQ(line.format.compare(0, std::strlen(kLogPrefix), kLogPrefix), 0) << line.format;
    EXPECT_EQ(line.format.back(), '\n') << line.format;
    EXPECT_TRUE(line.stamp >= INT32_MIN && line.stamp <= INT32_MAX) << line.stamp;
}

}  // namespace

LogHook::LogHook(std::function<void(const LogLine&)> callback)
{
    const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
    ThePlatform().onLine = std::move(callback);
}

LogHook::~LogHook()
{
    const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
    ThePlatform().onLine = nullptr;
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

const std::vector<std::string>& LoadSequence()
{
    static const std::vector<std::string> sequence = ThePlatform().sequence;
    return sequence;
}

PlatformTest::PlatformTest()
{
    const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
    static_cast<void>(LoadSequence());  // keeps it before the first test
    platform = Platform();
}

PlatformTest::~PlatformTest()
{
    const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
    for (const LogLine& line : platform.log) {
        CheckPlace(line);
        EXPECT_TRUE(IsLibraryFile(line.file) || ownFiles.count(line.file) != 0) << line.file;
    }
}

}  // namespace srcwatch_test
