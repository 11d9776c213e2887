// SPDX-License-Identifier: Apache-2.0
#include "CecTest.h"

#include "Waiting.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include <dlog.h>

// The platform's, which an executable may replace.
int __dlog_print(int /*log*/, int /*priority*/, const char* /*tag*/, const char* format, ...)
{
    char line[1000];
    va_list arguments;
    va_start(arguments, format);
    // A longer line is cut.
    static_cast<void>(std::vsnprintf(line, sizeof line, format, arguments));
    va_end(arguments);
    srcwatch_test::LogLines().emplace_back(line);
    return 0;
}

namespace srcwatch_test {

const std::vector<std::string> kPlayer = {"4f:84:10:00:04", "40:47:4b:75:76:6f", "4f:87:00:aa:bb", "40:9e:05",
                                          "40:90:00"};
const std::vector<std::string> kTuner = {"3f:84:20:00:03", "30:47:53:61:6c:6f", "3f:87:00:cc:dd", "30:9e:06",
                                         "30:90:01"};

std::vector<std::string>& LogLines()
{
    static std::vector<std::string> lines;
    return lines;
}

CecTest::CecTest()
{
    LogLines().clear();
    m_times.round = 90;
    m_times.pause = 20;
    m_times.claim = 100;
    m_times.answer = 200;
}

void CecTest::Start(unsigned quietMilliseconds)
{
    m_inputs =
        std::make_unique<srcwatch::CecInputs>("/dev/cec7", m_times, quietMilliseconds, srcwatch::PortSet{4}, m_bus);
    ASSERT_EQ(m_inputs->Start(*this), "");
}

bool CecTest::WaitForReports(std::size_t count)
{
    return RunUntil([&] { return m_reports.size() >= count; });
}

bool CecTest::WaitForLog(const std::string& part)
{
    return RunUntil([&] { return LogLinesWith(part) > 0; });
}

int CecTest::LogLinesWith(const std::string& part)
{
    return static_cast<int>(std::count_if(LogLines().begin(), LogLines().end(), [&](const std::string& line) {
        return line.find(part) != std::string::npos;
    }));
}

bool CecTest::WaitForFullRounds(int count)
{
    constexpr int kNobody = 13;
    const int before = m_bus.SentCount(kNobody, -1);
    return RunUntil([&] { return m_bus.SentCount(kNobody, -1) >= before + count; });
}

bool CecTest::WaitForCalls(unsigned long request, int count)
{
    const int before = m_bus.CallCount(request);
    return RunUntil([&] { return m_bus.CallCount(request) >= before + count; });
}

}  // namespace srcwatch_test
