// How answers look: tables, CSV and JSON.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/Model.hpp"

namespace ksexpr {

/// The layouts of a report.
enum class Format { Table, Json, Csv };

/// How a report looks: `cForm` selects the form of texts; CSV on a terminal shows what it would
/// otherwise send.
struct Layout {
  Format format = Format::Table;
  bool cForm = false;
  bool isOnTerminal = false;
};

using Row = std::vector<std::string>;

/// The columns of a table, as wide as their contents up to a limit: a wider text moves the rest of
/// its row, not that of all rows.
class Columns {
 public:
  explicit Columns(std::size_t aCount) : widths(aCount, 0) {}
  /// Makes room for a row.
  void widen(const Row& aRow);
  /// The row as a line.
  std::string line(const Row& aRow) const;

 private:
  std::vector<std::size_t> widths;
};

/// Blanks that show how deep the block lies, up to a depth that still leaves room for the rest.
std::string indentOf(const KSBlock& aBlock);

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
