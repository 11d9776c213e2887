// SPDX-License-Identifier: Apache-2.0
#include "Salvage.h"

#include "Pages.h"
#include "Schema.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace host {
namespace {

// The first table that a database gets begins there.
constexpr std::uint32_t kSettingsRoot = 2;

// Kinds of pages, by their first byte. The settings are a tree of index pages, whose inner ones hold settings too.
enum Kind : unsigned char { kInnerIndex = 2, kLeafIndex = 10, kLeafTable = 13 };

// How much of a cell's content lies in its page; the rest lies on a chain of others.
constexpr std::size_t kLeast = (kPageSize - 12) * 32 / 255 - 23;
constexpr std::size_t kMostInIndex = (kPageSize - 12) * 64 / 255 - 23;
constexpr std::size_t kMostInTable = kPageSize - 35;
constexpr std::size_t kInChainPage = kPageSize - 4;

constexpr std::int64_t kLargestContent = 67108864;
constexpr std::size_t kReadingsOfAPage = 8;  // as part of chains, on average

using Column = std::variant<std::monostate, std::int64_t, std::string>;
using Columns = std::vector<Column>;

// The bytes of a page from one offset to another.
using Part = std::pair<std::size_t, std::size_t>;

// What one page of a tree holds.
struct Node {
    bool isTable = false;
    bool isSound = false;
    std::vector<std::uint32_t> children;
    std::vector<Columns> rows;
};

// Reads the numbers of a cell or a record. After the end, numbers are missing.
class Reader {
public:
    Reader(const char* begin, std::size_t count) : m_at(begin), m_end(begin + count) {}

    std::size_t Left() const { return static_cast<std::size_t>(m_end - m_at); }
    const char* Take(std::size_t count) { return std::exchange(m_at, m_at + count); }

    // Of seven bits a byte, but eight in the ninth.
    std::optional<std::int64_t> Varint()
    {
        std::uint64_t number = 0;
        for (int index = 0; index < 9 && m_at < m_end; index++) {
            const auto byte = static_cast<unsigned char>(*m_at++);
            if (index == 8) return static_cast<std::int64_t>(number << 8 | byte);
            number = number << 7 | (byte & 0x7fU);
            if ((byte & 0x80U) == 0) return static_cast<std::int64_t>(number);
        }
        return std::nullopt;
    }

private:
    const char* m_at;
    const char* m_end;
};

std::uint64_t UnsignedNumber(const char* bytes, std::size_t count, std::uint64_t before = 0)
{
    for (std::size_t index = 0; index < count; index++) before = before << 8 | static_cast<unsigned char>(bytes[index]);
    return before;
}

std::int64_t SignedNumber(const char* bytes, std::size_t count)
{
    const bool isNegative = count > 0 && (*bytes & 0x80) != 0;
    return static_cast<std::int64_t>(UnsignedNumber(bytes, count, isNegative ? ~std::uint64_t{0} : 0));
}

// Of the types that the tables have: null, integer, text.
std::optional<Column> ReadColumn(std::int64_t type, Reader* body)
{
    constexpr std::size_t kSizes[] = {0, 1, 2, 3, 4, 6, 8};
    if (type == 0) return Column();
    if (type == 8 || type == 9) return Column(type - 8);
    const bool isText = type >= 13 && type % 2 == 1;
    if (!isText && (type < 1 || type > 6)) return std::nullopt;
    const std::size_t size = isText ? static_cast<std::size_t>((type - 13) / 2) : kSizes[type];
    if (size > body->Left()) return std::nullopt;
    const char* bytes = body->Take(size);
    return isText ? Column(std::string(bytes, size)) : Column(SignedNumber(bytes, size));
}

// A record: the size of its header, the types of its columns, and the columns.
std::optional<Columns> ReadColumns(const std::string& content)
{
    Reader whole(content.data(), content.size());
    const std::optional<std::int64_t> size = whole.Varint();
    const std::size_t sizeBytes = content.size() - whole.Left();
    if (!size || *size < static_cast<std::int64_t>(sizeBytes) || *size > static_cast<std::int64_t>(content.size()))
        return std::nullopt;
    const auto headerSize = static_cast<std::size_t>(*size);
    Reader types(content.data() + sizeBytes, headerSize - sizeBytes);
    Reader body(content.data() + headerSize, content.size() - headerSize);
    Columns columns;
    while (types.Left() > 0) {
        const std::optional<std::int64_t> type = types.Varint();
        std::optional<Column> column = type ? ReadColumn(*type, &body) : std::nullopt;
        if (!column) return std::nullopt;
        columns.push_back(std::move(*column));
    }
    return body.Left() == 0 ? std::make_optional(std::move(columns)) : std::nullopt;
}

bool HasPrefix(const std::string& key)
{
    return key.compare(0, std::strlen(kDurablePrefix), kDurablePrefix) == 0 ||
           key.compare(0, std::strlen(kVolatilePrefix), kVolatilePrefix) == 0;
}

// Returns the key of a setting in a column; no one can have stored any other.
const std::string* KeyIn(const Column& column)
{
    const auto* key = std::get_if<std::string>(&column);
    return key != nullptr && HasPrefix(*key) && key->find('\0') == std::string::npos ? key : nullptr;
}

std::optional<Value> ValueIn(const Column& column)
{
    if (const auto* number = std::get_if<std::int64_t>(&column)) {
        const bool isInRange = *number >= INT_MIN && *number <= INT_MAX;
        return isInRange ? std::make_optional<Value>(static_cast<int>(*number)) : std::nullopt;
    }
    const auto* text = std::get_if<std::string>(&column);
    return text != nullptr && text->find('\0') == std::string::npos ? std::make_optional<Value>(*text) : std::nullopt;
}

// Adds the blocks of a page that are free. @return False if their list is damaged.
bool AddFreeBlocks(const Page& page, std::vector<Part>* parts)
{
    std::size_t last = 0;
    for (std::size_t at = page.Number(1, 2); at != 0; at = page.Number(at, 2)) {
        if (at <= last || at + 4 > kPageSize) return false;
        parts->emplace_back(at, at + page.Number(at + 2, 2));
        last = at;
    }
    return true;
}

// A page has nothing between the beginning of its content and its end but its cells, free blocks, and as many bytes as
// it says. Otherwise a cell is missing, or there twice.
bool IsFilled(const Page& page, std::vector<Part> parts)
{
    if (!AddFreeBlocks(page, &parts)) return false;
    std::sort(parts.begin(), parts.end());
    std::size_t end = page.Number(5, 2);
    std::size_t between = 0;
    for (const Part& part : parts) {
        if (part.first < end || part.second > kPageSize) return false;
        between += part.first - end;
        end = part.second;
    }
    return end <= kPageSize && between + kPageSize - end == page.Number(7, 1);
}

class Salvager {
public:
    Salvager(const Bytes& database, const Bytes& log)
        : m_pages(database, log),
          m_free(m_pages.FindFree()),
          m_chainPagesLeft(kReadingsOfAPage * m_pages.Numbers().size())
    {
    }

    Salvaged Run();

private:
    std::set<std::uint32_t> WalkSettings();
    void ReadOthers(const std::set<std::uint32_t>& reached);
    bool IsFree(std::uint32_t number) const { return m_free.numbers.count(number) > 0; }
    std::optional<Node> ReadNode(std::uint32_t number);
    bool ReadCell(Reader* cell, Node* node);
    bool ReadContent(Reader* cell, std::int64_t size, std::size_t most, std::string* content);
    bool ReadChain(std::uint32_t number, std::size_t size, std::string* content);
    void TakeSettings(const Node& node);
    void TakeChanges(const Node& node);
    void TakeLastChanges();

    const Pages m_pages;
    const Pages::Free m_free;
    std::size_t m_chainPagesLeft;  // damaged cells could lead over the same pages again and again
    Values m_doubtful;
    std::map<std::string, std::pair<std::int64_t, Column>> m_changes;  // the last one of each key, with its number
    Salvaged m_salvaged;
};

Salvaged Salvager::Run()
{
    m_salvaged.isComplete = true;
    ReadOthers(WalkSettings());
    TakeLastChanges();
    if (!m_salvaged.isComplete) m_salvaged.values.merge(m_doubtful);
    return std::move(m_salvaged);
}

// Follows the tree of the settings. A page that is not sound, free, or reached twice, leaves it incomplete.
std::set<std::uint32_t> Salvager::WalkSettings()
{
    std::set<std::uint32_t> reached;
    std::vector<std::uint32_t> next = {kSettingsRoot};
    while (!next.empty()) {
        const std::uint32_t number = next.back();
        next.pop_back();
        const bool isOfTree = reached.insert(number).second && !(m_free.areAll && IsFree(number));
        const std::optional<Node> node = isOfTree ? ReadNode(number) : std::nullopt;
        const bool isSound = node && node->isSound && !node->isTable;
        m_salvaged.isComplete = m_salvaged.isComplete && isSound;
        if (!node || node->isTable) continue;
        TakeSettings(*node);
        if (isSound) next.insert(next.end(), node->children.begin(), node->children.end());
    }
    return reached;
}

// Only the settings have index pages: one that is neither reached nor free is missing from their tree.
void Salvager::ReadOthers(const std::set<std::uint32_t>& reached)
{
    for (const std::uint32_t number : m_pages.Numbers()) {
        if (number == 1 || reached.count(number) > 0 || IsFree(number)) continue;
        const std::optional<Node> node = ReadNode(number);
        if (!node) continue;
        if (node->isTable) {
            TakeChanges(*node);
        } else if (m_free.areAll || !m_salvaged.isComplete) {
            m_salvaged.isComplete = false;
            TakeSettings(*node);
        }
    }
}

// A page begins with its kind and the number of its cells, and has a list of their places before the cells.
std::optional<Node> Salvager::ReadNode(std::uint32_t number)
{
    Page page;
    if (!m_pages.Read(number, &page)) return std::nullopt;
    const std::uint32_t kind = page.Number(0, 1);
    const bool isInner = kind == kInnerIndex;
    if (!isInner && kind != kLeafIndex && kind != kLeafTable) return std::nullopt;

    const std::size_t places = isInner ? 12 : 8;
    const std::size_t count = page.Number(3, 2);
    Node node;
    node.isTable = kind == kLeafTable;
    node.isSound = places + 2 * count <= kPageSize;
    std::vector<Part> cells;
    for (std::size_t index = 0; index < count && places + 2 * index + 2 <= kPageSize; index++) {
        std::size_t at = page.Number(places + 2 * index, 2);
        const std::size_t begin = at;
        const bool isInside = at >= places + 2 * count && at + 4 <= kPageSize;
        if (isInside && isInner) {
            node.children.push_back(page.Number(at, 4));
            at += 4;
        }
        Reader cell(page.bytes.data() + at, isInside ? kPageSize - at : 0);
        node.isSound = isInside && ReadCell(&cell, &node) && node.isSound;
        cells.emplace_back(begin, kPageSize - cell.Left());
    }
    node.isSound = node.isSound && IsFilled(page, std::move(cells));
    if (isInner) node.children.push_back(page.Number(8, 4));
    return node;
}

// A cell: the size of its content, in a table also its number, and the content.
bool Salvager::ReadCell(Reader* cell, Node* node)
{
    const std::optional<std::int64_t> size = cell->Varint();
    const std::optional<std::int64_t> number = node->isTable ? cell->Varint() : 0;
    std::string content;
    if (!size || !number || !ReadContent(cell, *size, node->isTable ? kMostInTable : kMostInIndex, &content))
        return false;
    std::optional<Columns> columns = ReadColumns(content);
    if (!columns || columns->empty()) return false;
    if (node->isTable) columns->front() = *number;
    node->rows.push_back(std::move(*columns));
    return true;
}

bool Salvager::ReadContent(Reader* cell, std::int64_t size, std::size_t most, std::string* content)
{
    if (size < 1 || size > kLargestContent) return false;
    const auto whole = static_cast<std::size_t>(size);
    std::size_t here = whole;
    if (whole > most) {
        here = kLeast + (whole - kLeast) % kInChainPage;
        if (here > most) here = kLeast;
    }
    if (cell->Left() < here + (here < whole ? 4 : 0)) return false;
    content->assign(cell->Take(here), here);
    if (here == whole) return true;
    return ReadChain(static_cast<std::uint32_t>(UnsignedNumber(cell->Take(4), 4)), whole - here, content);
}

// Each page of a chain begins with the number of the next one, 0 in the last.
bool Salvager::ReadChain(std::uint32_t number, std::size_t size, std::string* content)
{
    Page page;
    while (size > 0) {
        if (m_chainPagesLeft == 0 || !m_pages.Read(number, &page)) return false;
        m_chainPagesLeft--;
        const std::size_t here = std::min(size, kInChainPage);
        content->append(page.bytes.data() + 4, here);
        size -= here;
        number = page.Number(0, 4);
    }
    return number == 0;
}

// What is known already comes from a page that is trusted more.
void Salvager::TakeSettings(const Node& node)
{
    bool isSound = node.isSound;
    Values values;
    for (const Columns& row : node.rows) {
        const std::string* key = row.size() == 2 ? KeyIn(row[0]) : nullptr;
        std::optional<Value> value = key != nullptr ? ValueIn(row[1]) : std::nullopt;
        isSound = isSound && value;
        if (value) values.emplace(*key, std::move(*value));
    }
    m_salvaged.isComplete = m_salvaged.isComplete && isSound;
    (isSound ? m_salvaged.values : m_doubtful).merge(values);
}

// The columns of a change: its number, a count of bytes, key and value.
void Salvager::TakeChanges(const Node& node)
{
    for (const Columns& row : node.rows) {
        const std::string* key = row.size() == 4 ? KeyIn(row[2]) : nullptr;
        if (key == nullptr) continue;
        const std::int64_t number = std::get<std::int64_t>(row[0]);
        auto& [last, value] = m_changes[*key];
        if (number <= last) continue;
        last = number;
        value = row[3];
    }
}

void Salvager::TakeLastChanges()
{
    for (auto& [key, change] : m_changes) {
        const Column& column = change.second;
        if (std::holds_alternative<std::monostate>(column)) {
            m_salvaged.removed.insert(key);
        } else if (std::optional<Value> value = ValueIn(column); value && !m_salvaged.isComplete) {
            m_salvaged.values.emplace(key, std::move(*value));
        }
    }
}

}  // namespace

Salvaged Salvage(const Bytes& database, const Bytes& log) { return Salvager(database, log).Run(); }

}  // namespace host
