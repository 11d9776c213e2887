// SPDX-License-Identifier: Apache-2.0
#include "Output.h"

#include "Escape.h"
#include "Failure.h"
#include "Handle.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

bool WantsColours()
{
    const char* const noColour = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): is never set here
    return (noColour == nullptr || *noColour == '\0') && isatty(STDOUT_FILENO) == 1;
}

[[noreturn]] void ThrowNoMemory() { throw std::bad_alloc(); }

void AddRow(libscols_table* table, const Row& row)
{
    libscols_line* const line = scols_table_new_line(table, nullptr);
    if (line == nullptr) ThrowNoMemory();
    for (std::size_t column = 0; column < row.size(); ++column) {
        if (scols_line_set_data(line, column, Escape(row[column].text).c_str()) != 0) ThrowNoMemory();
        const char* const colour = kColours[static_cast<std::size_t>(row[column].colour)];
        // A cell may stay without its colour.
        static_cast<void>(scols_cell_set_color(scols_line_get_cell(line, column), colour));
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

void Output::WriteTable(const Table& table)
{
    const TablePtr printed(scols_new_table());
    if (!printed) ThrowNoMemory();
    scols_table_enable_noencoding(printed.get(), 1);  // the cells are escaped already
    scols_table_enable_colors(printed.get(), WantsColours() ? 1 : 0);

    for (const std::string& title : table.titles) {
        if (scols_table_new_column(printed.get(), title.c_str(), 0, 0) == nullptr) ThrowNoMemory();
    }
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
