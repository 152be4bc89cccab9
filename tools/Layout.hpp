// How answers look: tables, CSV and JSON.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/Model.hpp"

namespace ksexpr {

struct Streams;

/// The layouts of a report.
enum class Format { Table, Json, Csv, JsonLines };

/// The most columns that a table may be told to fit.
inline constexpr std::size_t maxTableWidth = 100000;

/// What becomes of a text that is wider than its column.
enum class Fit { Wrap, Cut };

/// How a report looks: `cForm` selects the form of texts; CSV on a terminal shows what it would
/// otherwise send.
struct Layout {
  Format format = Format::Table;
  bool cForm = false;
  /// The columns of a screen that a table may take, and how it fits them. By default a table takes
  /// those of its terminal, and as many as it needs where it goes elsewhere; 0 is no limit.
  std::optional<std::size_t> width;
  std::optional<Fit> fit;
  bool isOnTerminal = false;
  bool isColoured = false;

  /// The layout for these streams, of which it takes what is not given.
  Layout on(const Streams& aStreams) const;
  /// The columns that there are; 0 for no limit.
  std::size_t room() const { return width.value_or(0); }
};

using Row = std::vector<std::string>;
/// A row whose texts lie elsewhere.
using RowView = std::vector<std::string_view>;

/// The columns of a table. Where there is no limit, they are as wide as their contents up to some
/// width: a wider text moves the rest of its row, not that of all rows. Where there is one, the
/// widest of them are narrowed to a common width until all fit.
class Columns {
 public:
  Columns(std::size_t aCount, const Layout& aLayout);
  /// Whether a text can still make that column wider. Where there is no limit, that of the last one
  /// does not matter, as nothing stands behind it.
  bool isOpen(std::size_t aColumn) const;
  /// Makes room for a row.
  void widen(const Row& aRow) { widen(RowView(aRow.begin(), aRow.end())); }
  void widen(const RowView& aRow);
  /// Makes room for all that others have made room for.
  void widen(const Columns& aOthers);
  /// Ends making room.
  void settle();
  /// Appends the row: a line, or several where texts are wrapped. A row that stands out is coloured
  /// where the layout has colours.
  void append(std::string& aOut, const RowView& aRow, bool aStandsOut = false) const;
  /// Writes the row. Throws `WriteError`.
  void write(std::ostream& aOut, const Row& aRow, bool aStandsOut = false) const;

 private:
  std::size_t limit() const;
  void appendFitting(std::string& aOut, const RowView& aRow, bool aStandsOut) const;

  Layout layout;
  std::vector<std::size_t> widths;
};

/// Blanks that show how deep the block lies below the outermost one, or below `aTop`, up to a depth
/// that still leaves room for the rest.
std::string indentOf(const KSBlock& aBlock, const KSBlock* aTop = nullptr);

/// Appends a field of CSV, quoted where it has to be; one for a terminal is made printable.
void appendCsvField(std::string& aLine, std::string_view aText, bool aIsOnTerminal);

/// The end of a line of CSV: files have that of RFC 4180.
const char* csvLineEnd(bool aIsOnTerminal);

/// Writes a text and throws `WriteError` where that fails.
void send(std::ostream& aOut, const std::string& aText);

/// Writes rows as a table or as CSV, each under its own header. Throws `WriteError`.
void writeRows(const Row& aTableHeader, const Row& aCsvHeader, const std::vector<Row>& aRows,
               const Layout& aLayout, std::ostream& aOut);

/// Writes JSON as the reports do: an array with one element a line, anything else as one line.
/// Throws `WriteError`.
void writeJson(const nlohmann::ordered_json& aJson, std::ostream& aOut);

/// "1 block", "2 blocks".
std::string counted(std::size_t aCount, const char* aWhat);

}  // namespace ksexpr
