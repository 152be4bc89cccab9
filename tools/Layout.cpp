#include "tools/Layout.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <utility>

#include "tools/Commands.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

constexpr std::size_t maxColumnWidth = 44;
constexpr std::size_t columnGap = 2;
constexpr std::size_t usualWidth = 80;  // of a screen

// Bold red, which can be told from other lines on light and on dark screens.
constexpr const char* standsOut = "\033[1;31m";
constexpr const char* standsOutNoMore = "\033[0m";

// Answers are nested a few levels deep.
void appendValue(std::string& aOut, const nlohmann::ordered_json& aJson) {
  const char* separator = "";
  if (aJson.is_object()) {
    aOut += '{';
    for (const auto& [key, value] : aJson.items()) {
      aOut += separator;
      appendJson(aOut, std::string_view(key));
      aOut += ": ";
      appendValue(aOut, value);
      separator = ", ";
    }
    aOut += '}';
  } else if (aJson.is_array()) {
    aOut += '[';
    for (const auto& element : aJson) {
      aOut += separator;
      appendValue(aOut, element);
      separator = ", ";
    }
    aOut += ']';
  } else if (aJson.is_string()) {
    appendJson(aOut, std::string_view(aJson.get_ref<const std::string&>()));
  } else {
    aOut += aJson.dump();
  }
}

}  // namespace

Layout Layout::on(const Streams& aStreams) const {
  Layout layout = *this;
  layout.isOnTerminal = aStreams.outIsTerminal;
  layout.isColoured = aStreams.outHasColour;
  if (!width) {
    if (aStreams.outIsTerminal) layout.width = aStreams.outWidth;
    // Who asks for lines that fit wants them to.
    else if (fit)
      layout.width = usualWidth;
  }
  return layout;
}

Columns::Columns(std::size_t aCount, const Layout& aLayout) : layout(aLayout), widths(aCount, 0) {}

std::size_t Columns::limit() const { return layout.room() == 0 ? maxColumnWidth : layout.room(); }

bool Columns::isOpen(std::size_t aColumn) const {
  const bool endsItsLine = layout.room() == 0 && aColumn + 1 == widths.size();
  return !endsItsLine && widths[aColumn] < limit();
}

void Columns::widen(const RowView& aRow) {
  for (std::size_t i = 0; i < aRow.size(); ++i) {
    // No character takes more columns than bytes.
    if (aRow[i].size() <= widths[i] || !isOpen(i)) continue;
    widths[i] = std::max(widths[i], displayWidth(aRow[i], limit()));
  }
}

void Columns::widen(const Columns& aOthers) {
  for (std::size_t i = 0; i < widths.size(); ++i)
    widths[i] = std::max(widths[i], aOthers.widths[i]);
}

void Columns::settle() {
  if (layout.room() == 0) return;
  const std::size_t gaps = columnGap * (widths.size() - 1);
  const std::size_t room = layout.room() - std::min(gaps, layout.room());
  std::vector<std::size_t> sorted = widths;
  std::sort(sorted.begin(), sorted.end());
  // Those that take less than an equal share leave the rest to the others.
  std::size_t left = room;
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    const std::size_t others = sorted.size() - i;
    if (sorted[i] <= left / others) {
      left -= sorted[i];
      continue;
    }
    const std::size_t share = std::max<std::size_t>(left / others, 1);
    for (std::size_t& width : widths) width = std::min(width, share);
    return;
  }
}

void Columns::append(std::string& aOut, const RowView& aRow, bool aStandsOut) const {
  if (layout.room() > 0) {
    appendFitting(aOut, aRow, aStandsOut);
    return;
  }
  if (aStandsOut && layout.isColoured) aOut += standsOut;
  for (std::size_t i = 0; i + 1 < aRow.size(); ++i) {
    const std::size_t width = displayWidth(aRow[i], widths[i]);
    aOut += aRow[i];
    aOut.append(columnGap + widths[i] - width, ' ');
  }
  aOut += aRow.back();
  if (aStandsOut && layout.isColoured) aOut += standsOutNoMore;
  aOut += '\n';
}

void Columns::write(std::ostream& aOut, const Row& aRow, bool aStandsOut) const {
  std::string text;
  append(text, RowView(aRow.begin(), aRow.end()), aStandsOut);
  send(aOut, text);
}

void Columns::appendFitting(std::string& aOut, const RowView& aRow, bool aStandsOut) const {
  // What is still to be written of each text, and the blanks that all of its lines begin with.
  RowView rest = aRow;
  std::vector<std::size_t> indents;
  for (std::size_t i = 0; i < rest.size(); ++i) {
    const std::size_t blanks = std::min(rest[i].find_first_not_of(' '), rest[i].size());
    indents.push_back(std::min(blanks, widths[i] / 2));
    rest[i].remove_prefix(blanks);
  }
  const bool isCut = layout.fit == Fit::Cut;
  do {
    std::string line;
    std::size_t missing = 0;  // blanks up to the next text
    for (std::size_t i = 0; i < rest.size(); ++i) {
      const std::size_t width = std::max<std::size_t>(widths[i] - indents[i], 1);
      const std::size_t length = isCut ? rest[i].size() : lengthOfFirstLine(rest[i], width);
      std::string text(rest[i].substr(0, length));
      rest[i].remove_prefix(length);
      rest[i].remove_prefix(std::min(rest[i].find_first_not_of(' '), rest[i].size()));
      if (isCut) text = cutToWidth(text, width);
      text.resize(text.find_last_not_of(' ') + 1);
      missing += indents[i];
      if (!text.empty()) line.append(std::exchange(missing, 0), ' ');
      const std::size_t shown = displayWidth(text);
      line += text;
      missing += columnGap + (shown < width ? width - shown : 0);
    }
    if (aStandsOut && layout.isColoured) line = standsOut + line + standsOutNoMore;
    aOut += line + '\n';
  } while (
      std::any_of(rest.begin(), rest.end(), [](std::string_view text) { return !text.empty(); }));
}

std::string indentOf(const KSBlock& aBlock, const KSBlock* aTop) {
  std::string indent;
  const KSBlock* block = &aBlock;
  while (block != aTop && (block = block->parent) != nullptr && indent.size() < 20) indent += "  ";
  return indent;
}

void appendCsvField(std::string& aLine, std::string_view aText, bool aIsOnTerminal) {
  std::string shown;
  if (aIsOnTerminal) aText = shown = printable(aText);
  if (aText.find_first_of(",\"\r\n") == std::string_view::npos) {
    aLine += aText;
    return;
  }
  aLine += '"';
  for (const char c : aText) aLine.append(c == '"' ? 2 : 1, c);
  aLine += '"';
}

const char* csvLineEnd(bool aIsOnTerminal) { return aIsOnTerminal ? "\n" : "\r\n"; }

void send(std::ostream& aOut, const std::string& aText) {
  if (!(aOut << aText)) throw WriteError();
}

void writeRows(const Row& aTableHeader, const Row& aCsvHeader, const std::vector<Row>& aRows,
               const Layout& aLayout, std::ostream& aOut) {
  if (aLayout.format == Format::Table) {
    Columns columns(aTableHeader.size(), aLayout);
    columns.widen(aTableHeader);
    for (const Row& row : aRows) columns.widen(row);
    columns.settle();
    columns.write(aOut, aTableHeader);
    for (const Row& row : aRows) columns.write(aOut, row);
  } else {
    const auto sendRow = [&](const Row& row) {
      std::string line;
      for (std::size_t i = 0; i < row.size(); ++i) {
        if (i > 0) line += ',';
        appendCsvField(line, row[i], aLayout.isOnTerminal);
      }
      send(aOut, line + csvLineEnd(aLayout.isOnTerminal));
    };
    sendRow(aCsvHeader);
    for (const Row& row : aRows) sendRow(row);
  }
  if (!aOut.flush()) throw WriteError();
}

void writeJson(const nlohmann::ordered_json& aJson, std::ostream& aOut) {
  std::string line;
  if (!aJson.is_array()) {
    appendValue(line, aJson);
    send(aOut, line + '\n');
  } else if (aJson.empty()) {
    send(aOut, "[]\n");
  } else {
    line = "[\n";
    for (const auto& element : aJson) {
      appendValue(line, element);
      send(aOut, line);
      line = ",\n";
    }
    send(aOut, "\n]\n");
  }
  if (!aOut.flush()) throw WriteError();
}

std::string counted(std::size_t aCount, const char* aWhat) {
  return std::to_string(aCount) + ' ' + aWhat + (aCount == 1 ? "" : "s");
}

}  // namespace ksexpr
