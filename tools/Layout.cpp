#include "tools/Layout.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "tools/Commands.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

constexpr std::size_t maxColumnWidth = 44;

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

void Columns::widen(const Row& aRow) {
  for (std::size_t i = 0; i < aRow.size(); ++i) {
    widths[i] = std::max(widths[i], std::min(countCharacters(aRow[i]), maxColumnWidth));
  }
}

std::string Columns::line(const Row& aRow) const {
  std::string line;
  for (std::size_t i = 0; i + 1 < aRow.size(); ++i) {
    const std::size_t width = countCharacters(aRow[i]);
    line += aRow[i];
    line.append(2 + (width < widths[i] ? widths[i] - width : 0), ' ');
  }
  return line + aRow.back() + '\n';
}

std::string indentOf(const KSBlock& aBlock) {
  std::string indent;
  const KSBlock* block = &aBlock;
  while ((block = block->parent) != nullptr && indent.size() < 20) indent += "  ";
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
    Columns columns(aTableHeader.size());
    columns.widen(aTableHeader);
    for (const Row& row : aRows) columns.widen(row);
    send(aOut, columns.line(aTableHeader));
    for (const Row& row : aRows) send(aOut, columns.line(row));
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
