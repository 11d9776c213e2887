// SPDX-License-Identifier: Apache-2.0
#include "Pages.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace host {
namespace {

constexpr char kMagic[] = "SQLite format 3";
constexpr std::size_t kFirstFreeList = 32;  // offset in the first page
constexpr std::size_t kFreeCount = 36;

// The log: a header, then frames of a header and a page each.
constexpr std::uint32_t kLogMagic = 0x377f0682;  // or 1 more, if sums are made of numbers with the highest byte first
constexpr std::size_t kLogHeader = 32;
constexpr std::size_t kFrameHeader = 24;
constexpr std::size_t kFrame = kFrameHeader + kPageSize;
constexpr std::size_t kSummedHeader = 8;  // the part of a frame's header that its sum covers

std::uint32_t NumberAt(const char* bytes, bool isBigEndian = true)
{
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < 4; index++)
        number = number << 8 | static_cast<unsigned char>(bytes[isBigEndian ? index : 3 - index]);
    return number;
}

struct Sum {
    std::uint32_t first;
    std::uint32_t second;

    void Add(const char* bytes, std::size_t count, bool isBigEndian)
    {
        for (const char* end = bytes + count; bytes < end; bytes += 8) {
            first += NumberAt(bytes, isBigEndian) + second;
            second += NumberAt(bytes + 4, isBigEndian) + first;
        }
    }
    bool operator==(const Sum& other) const { return first == other.first && second == other.second; }
};

struct Frame {
    std::array<char, kFrame> bytes;

    std::uint32_t PageNumber() const { return NumberAt(bytes.data()); }
    bool EndsTransaction() const { return NumberAt(bytes.data() + 4) != 0; }
    bool HasSalts(const char* salts) const { return std::memcmp(bytes.data() + 8, salts, 8) == 0; }
    Sum StoredSum() const { return {NumberAt(bytes.data() + 16), NumberAt(bytes.data() + 20)}; }
    bool Continues(Sum sum, bool isBigEndian) const
    {
        sum.Add(bytes.data(), kSummedHeader, isBigEndian);
        sum.Add(bytes.data() + kFrameHeader, kPageSize, isBigEndian);
        return sum == StoredSum();
    }
};

}  // namespace

Pages::Pages(const Bytes& database, const Bytes& log)
    : m_database(database), m_log(log), m_stored(static_cast<std::uint32_t>(database.size / std::int64_t{kPageSize}))
{
    ReadLog();
}

// As SQLite does it: a frame counts if its sum continues that of the frame before it, and a transaction if it has
// ended.
void Pages::ReadLog()
{
    char header[kLogHeader];
    if (m_log.size < static_cast<std::int64_t>(kLogHeader) || !m_log.read(0, header, kLogHeader)) return;
    if ((NumberAt(header) & ~1U) != kLogMagic || NumberAt(header + 8) != kPageSize) return;
    const bool isBigEndian = (NumberAt(header) & 1) != 0;

    Sum sum = {NumberAt(header + 24), NumberAt(header + 28)};
    std::map<std::uint32_t, std::int64_t> transaction;
    Frame frame = {};
    for (std::int64_t at = kLogHeader; m_log.read(at, frame.bytes.data(), frame.bytes.size());
         at += std::int64_t{kFrame}) {
        if (!frame.HasSalts(header + 16) || !frame.Continues(sum, isBigEndian)) return;  // of an earlier round, or torn
        sum = frame.StoredSum();
        transaction[frame.PageNumber()] = at + std::int64_t{kFrameHeader};
        if (!frame.EndsTransaction()) continue;
        for (const auto& [number, offset] : transaction) m_logged[number] = offset;
        transaction.clear();
    }
}

bool Pages::Read(std::uint32_t number, Page* page) const
{
    const auto logged = m_logged.find(number);
    if (logged != m_logged.end()) return m_log.read(logged->second, page->bytes.data(), kPageSize);
    if (number == 0 || number > m_stored) return false;
    const std::int64_t offset = (std::int64_t{number} - 1) * static_cast<std::int64_t>(kPageSize);
    return m_database.read(offset, page->bytes.data(), kPageSize);
}

std::vector<std::uint32_t> Pages::Numbers() const
{
    std::vector<std::uint32_t> numbers(m_stored);
    std::iota(numbers.begin(), numbers.end(), 1U);
    for (const auto& [number, offset] : m_logged)
        if (number > m_stored) numbers.push_back(number);
    return numbers;
}

// Each page of the list has the number of the next one, and those of free pages.
Pages::Free Pages::FindFree() const
{
    Free free;
    Page page;
    if (!Read(1, &page) || std::memcmp(page.bytes.data(), kMagic, sizeof kMagic) != 0) return free;
    const std::size_t total = page.Number(kFreeCount, 4);
    for (std::uint32_t next = page.Number(kFirstFreeList, 4); Read(next, &page) && free.numbers.insert(next).second;) {
        const std::size_t count = std::min<std::size_t>(page.Number(4, 4), kPageSize / 4 - 2);
        for (std::size_t index = 0; index < count; index++) free.numbers.insert(page.Number(8 + 4 * index, 4));
        next = page.Number(0, 4);
    }
    free.areAll = free.numbers.size() == total;
    return free;
}

}  // namespace host
