// SPDX-License-Identifier: Apache-2.0
#include "Output.h"

#include "Escape.h"
#include "Failure.h"
#include "Handle.h"
#include "Wrap.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <json/writer.h>
#include <libsmartcols.h>
#include <unistd.h>

namespace ctl {

namespace {

// By the numbers of Colour.
constexpr const char* kColours[] = {nullptr, "green", "red", "darkgray"};

using TablePtr = srcwatch::Handle<libscols_table, scols_unref_table>;

// The writer leaves DEL, which is a control character, as it is; it can only stand inside a text.
std::string WithoutDel(std::string json)
{
    for (std::size_t at = json.find('\x7f'); at != std::string::npos; at = json.find('\x7f', at)) {
        json.replace(at, 1, "\\u007f");
    }
    return json;
}

std::string ToJson(const Json::Value& value, const char* indentation)
{
    Json::StreamWriterBuilder builder;  // by default all but ASCII becomes \u escapes
    builder["indentation"] = indentation;
    return WithoutDel(Json::writeString(builder, value));
}

bool IsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool WantsColours(Colours colours)
{
    if (colours != Colours::kOnTerminal) return colours == Colours::kAlways;
    const char* const none = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): is never set here
    const char* const terminal = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe): the same
    const bool isDumb = terminal != nullptr && std::strcmp(terminal, "dumb") == 0;
    return (none == nullptr || *none == '\0') && !isDumb && IsTerminal();
}

[[noreturn]] void ThrowNoMemory() { throw std::bad_alloc(); }

void AddRow(libscols_table* table, const Row& row)
{
    libscols_line* const line = scols_table_new_line(table, nullptr);
    if (line == nullptr) ThrowNoMemory();
    for (std::size_t column = 0; column < row.size(); ++column) {
        if (scols_line_set_data(line, column, row[column].text.c_str()) != 0) ThrowNoMemory();
        const char* const colour = kColours[static_cast<std::size_t>(row[column].colour)];
        // A cell may stay without its colour.
        static_cast<void>(scols_cell_set_color(scols_line_get_cell(line, column), colour));
    }
}

void AddColumn(libscols_table* table, const Title& title)
{
    const int flags = title.fit == Fit::kCut ? SCOLS_FL_TRUNC : title.fit == Fit::kWrapped ? SCOLS_FL_WRAP : 0;
    libscols_column* const column = scols_table_new_column(table, title.text.c_str(), 0, flags);
    if (column == nullptr) ThrowNoMemory();
    // The lines of a cell are those that its text has.
    if (title.fit != Fit::kWrapped) return;
    static_cast<void>(scols_column_set_wrapfunc(column, scols_wrapnl_chunksize, scols_wrapnl_nextchunk, nullptr));
}

std::size_t WidthOfColumn(const Table& table, std::size_t column)
{
    std::size_t width = WidthOf(table.titles[column].text);
    for (const Row& row : table.rows) width = std::max(width, WidthOf(row[column].text));
    return width;
}

// The columns that are wrapped share what the others leave of a terminal's width; one that needs less leaves the rest
// to the others.
void Wrap(Table& table, std::size_t terminalWidth)
{
    constexpr std::size_t kNarrowest = 12;
    std::size_t used = table.titles.size() - 1;  // the spaces between
    std::vector<std::pair<std::size_t, std::size_t>> wrapped;
    for (std::size_t column = 0; column < table.titles.size(); ++column) {
        const std::size_t width = WidthOfColumn(table, column);
        if (table.titles[column].fit == Fit::kWrapped) {
            wrapped.emplace_back(width, column);
        } else {
            used += width;
        }
    }
    std::sort(wrapped.begin(), wrapped.end());
    for (std::size_t i = 0; i < wrapped.size(); ++i) {
        const auto [natural, column] = wrapped[i];
        const std::size_t share = (std::max(terminalWidth, used) - used) / (wrapped.size() - i);
        const std::size_t width = std::min(natural, std::max(share, kNarrowest));
        for (Row& row : table.rows) row[column].text = WrapText(row[column].text, width);
        used += width;
    }
}

}  // namespace

std::string CompactJson(const Json::Value& value) { return ToJson(value, ""); }

std::string CellText(const Json::Value& value)
{
    if (value.isNull()) return "";
    return value.isString() ? value.asString() : CompactJson(value);
}

void Output::WriteLine(const std::string& line)
{
    if (std::fputs((line + "\n").c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
        throw Failure(std::string("cannot write the output: ") + strerrordesc_np(errno));
    }
}

void Output::WriteJson(const Json::Value& document)
{
    if (m_format == Format::kJson) return WriteLine(ToJson(document, "  "));
    if (!document.isArray()) return WriteLine(CompactJson(document));
    for (const Json::Value& element : document) WriteLine(CompactJson(element));
}

void Output::WriteRow(const Row& row, const char* separator)
{
    std::string line;
    for (const Cell& cell : row) line += (&cell == row.data() ? "" : separator) + Escape(cell.text);
    WriteLine(line);
}

void Output::WriteTable(Table table)
{
    const TablePtr printed(scols_new_table());
    if (!printed) ThrowNoMemory();
    scols_table_enable_noencoding(printed.get(), 1);  // the cells are escaped
    scols_table_enable_colors(printed.get(), WantsColours(m_colours) ? 1 : 0);

    for (Row& row : table.rows) {
        for (Cell& cell : row) cell.text = Escape(cell.text);
    }
    if (m_isWhole) {
        scols_table_set_termforce(printed.get(), SCOLS_TERMFORCE_NEVER);
    } else if (IsTerminal()) {
        Wrap(table, scols_table_get_termwidth(printed.get()));
    }
    for (const Title& title : table.titles) AddColumn(printed.get(), title);
    for (const Row& row : table.rows) AddRow(printed.get(), row);

    char* text = nullptr;
    if (scols_print_table_to_string(printed.get(), &text) != 0) ThrowNoMemory();
    const srcwatch::Handle<char, std::free> owned(text);
    std::string lines = text;
    while (!lines.empty() && lines.back() == '\n') lines.pop_back();
    WriteLine(lines);
}

void Output::Write(const Json::Value& document, const Table& table)
{
    if (!ShowsTable()) return WriteJson(document);
    if (m_format == Format::kRaw || table.titles.empty()) {
        for (const Row& row : table.rows) WriteRow(row, "\t");
    } else if (!table.rows.empty()) {
        WriteTable(table);
    }
}

void Output::Redraw(const Json::Value& document, const Table& table)
{
    if (!ShowsTable()) return WriteLine(CompactJson(document));
    constexpr const char* kClearScreen = "\x1b[H\x1b[J";
    if (m_format == Format::kTable && IsTerminal()) static_cast<void>(std::fputs(kClearScreen, stdout));
    Write(document, table);
}

void Output::WriteText(const Json::Value& document, const std::string& text)
{
    if (!ShowsTable()) return WriteJson(document);
    WriteLine(EscapeLines(text));
}

void Output::Confirm(const Json::Value& document, const std::string& sentence)
{
    if (!ShowsTable()) return WriteJson(document);
    if (m_format == Format::kTable) WriteLine(Escape(sentence));
}

void Output::BeginStream()
{
    m_first = true;
    if (m_format == Format::kJson) WriteLine("[");
}

void Output::Element(const Json::Value& element, const Row& row)
{
    switch (m_format) {
        case Format::kTable:
            return WriteRow(row, "  ");
        case Format::kRaw:
            return WriteRow(row, "\t");
        case Format::kJsonl:
            return WriteLine(CompactJson(element));
        case Format::kJson:
            WriteLine((m_first ? "  " : ", ") + CompactJson(element));
            m_first = false;
            return;
    }
}

void Output::EndStream()
{
    if (m_format == Format::kJson) WriteLine("]");
}

}  // namespace ctl
