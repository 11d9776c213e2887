// SPDX-License-Identifier: Apache-2.0
#include "QueryTest.h"

#include "QDInfoServerData.h"

#include <cstdlib>
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

namespace srcwatch_test {

std::ostream& operator<<(std::ostream& stream, const Query& query) { return stream << query.name; }

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome)
{
    return stream << "result " << outcome.result << ", texts " << testing::PrintToString(outcome.outputs.text1) << " "
                  << testing::PrintToString(outcome.outputs.text2) << ", numbers " << outcome.outputs.number1 << " "
                  << outcome.outputs.number2 << ", flag " << outcome.outputs.flag << ", log "
                  << testing::PrintToString(outcome.log) << (outcome.staysInBounds ? "" : ", out of bounds");
}

std::string JsonErrorOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const Json::Exception& e) {
        return e.what();
    }
    ADD_FAILURE() << "no exception";
    return std::string();
}

EdgeBuffer::EdgeBuffer()
    : m_page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
      m_start(static_cast<char*>(mmap(nullptr, 2 * m_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
{
    EXPECT_NE(static_cast<void*>(m_start), MAP_FAILED);
    EXPECT_EQ(mprotect(m_start + m_page, m_page, PROT_NONE), 0);
}

EdgeBuffer::~EdgeBuffer() { EXPECT_EQ(munmap(m_start, 2 * m_page), 0); }

char* EdgeBuffer::Last(std::size_t size) const
{
    char* const last = m_start + m_page - size;
    std::memset(last, '#', size);
    return last;
}

QueryTest::QueryTest()
{
    // No bus listens there, so an announcement ends with one log line.
    EXPECT_EQ(setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/null/no-bus", 1), 0);
    EXPECT_NE(qdinfo::CSingleton<qdinfo::CQDInfoServerData>::GetInstance(), nullptr);
    ForgetCalls();
}

QueryTest::~QueryTest() { qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance(); }

std::vector<std::string> QueryTest::SequenceWithoutBusReason() const
{
    std::vector<std::string> entries = platform.sequence;
    for (std::string& entry : entries) {
        if (entry.compare(0, std::strlen(kNoBus), kNoBus) == 0) entry = kNoBus;
    }
    return entries;
}

const std::string* QueryTest::Stored(int port) const
{
    const auto stored = platform.settings.texts.find(StoredKey(port));
    return stored != platform.settings.texts.end() ? &stored->second : nullptr;
}

std::vector<std::string> QueryTest::OneRead(int port) const
{
    const std::string key = StoredKey(port);
    const std::string loader =
        port == kOptical ? "t_LoadOpticalPortJsonInfoToMemory: " : "t_LoadPortJsonInfoToMemory: ";
    if (Stored(port) == nullptr) {
        return {"gets " + key, "E QDInfoServerData.cpp " + loader + "get " + key + " failed!"};
    }
    return {"gets " + key,
            "D QDInfoServerData.cpp " + loader + " get " + key + " succeed! <" + Printed(*Stored(port)) + ">"};
}

}  // namespace srcwatch_test
