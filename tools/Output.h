// SPDX-License-Identifier: Apache-2.0
//
// What commands write to standard output: one document in four forms.
#ifndef SRCWATCH_TOOLS_OUTPUT_H
#define SRCWATCH_TOOLS_OUTPUT_H

#include <string>
#include <vector>

#include <json/value.h>

namespace ctl {

enum class Format {
    kTable,  ///< for people
    kJson,   ///< one JSON document
    kJsonl,  ///< one JSON value a line: each element of an array, or the whole of anything else
    kRaw     ///< the table's cells without titles, with a tab between
};

enum class Colour { kNone, kGood, kBad, kDim };

enum class Colours { kOnTerminal, kAlways, kNever };

/// What becomes of a column that is too wide for the terminal.
enum class Fit { kWhole, kCut, kWrapped };

struct Title {
    // NOLINTNEXTLINE(google-explicit-constructor): a text is a title
    Title(const char* titleText, Fit titleFit = Fit::kWhole) : text(titleText), fit(titleFit) {}

    std::string text;
    Fit fit;
};

/// One cell of a table. Its text may come from anywhere; it is escaped when written.
struct Cell {
    // NOLINTNEXTLINE(google-explicit-constructor): a text is a cell
    Cell(std::string cellText, Colour cellColour = Colour::kNone) : text(std::move(cellText)), colour(cellColour) {}
    // NOLINTNEXTLINE(google-explicit-constructor): the same
    Cell(const char* cellText) : text(cellText) {}

    std::string text;
    Colour colour = Colour::kNone;
};
using Row = std::vector<Cell>;

/// The form for people of a document. Without titles the rows are written as they are. Columns are either cut or
/// wrapped, not some of each.
struct Table {
    std::vector<Title> titles;
    std::vector<Row> rows;
};

/// Returns a JSON value in one line.
std::string CompactJson(const Json::Value& value);

/// Returns a JSON value in words for a cell: a text as it is, nothing for null.
std::string CellText(const Json::Value& value);

/// Writes in the chosen format. Standard output is flushed after each call, so that a reader sees all there is.
class Output {
public:
    void SetFormat(Format format) { m_format = format; }
    Format GetFormat() const { return m_format; }
    void SetColours(Colours colours) { m_colours = colours; }

    /// Has tables written whole, however wide the terminal is.
    void DisregardWidth() { m_isWhole = true; }

    /// Returns true if a document's table is written, and not the document itself.
    bool ShowsTable() const { return m_format == Format::kTable || m_format == Format::kRaw; }

    /// Writes a document whose form for people is a table.
    void Write(const Json::Value& document, const Table& table);

    /// Writes a document whose form for people, and raw, is one text of any number of lines.
    void WriteText(const Json::Value& document, const std::string& text);

    /// Writes what was done: the sentence for people, nothing in the raw form.
    void Confirm(const Json::Value& document, const std::string& sentence);

    /// Writes a document that takes the place of the one before: on a terminal over it, elsewhere behind it, one JSON
    /// document a line.
    void Redraw(const Json::Value& document, const Table& table);

    /// @name A document of unknown length: the elements of an array as they come
    /// @{
    void BeginStream();
    void Element(const Json::Value& element, const Row& row);
    void EndStream();
    /// @}

private:
    void WriteJson(const Json::Value& document);
    void WriteLine(const std::string& line);
    void WriteTable(Table table);
    void WriteRow(const Row& row, const char* separator);

    Format m_format = Format::kTable;
    Colours m_colours = Colours::kOnTerminal;
    bool m_isWhole = false;
    bool m_first = true;  // of the elements of a stream
};

}  // namespace ctl

#endif
