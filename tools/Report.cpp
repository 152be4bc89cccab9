#include "tools/Report.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <ostream>

#include "tools/Commands.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

constexpr const char* unknown = "?";
// A wider text moves the rest of its row, not that of all rows.
constexpr std::size_t maxColumnWidth = 44;

// What the layouts have in common: the request, and the answers as text.
class Writer {
 public:
  Writer(Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
         std::ostream& aOut)
      : conditions(aConditions), families(aRequest.families), layout(aLayout), out(aOut) {}

 protected:
  const char* truth(ConditionId aId, const char* aIfUnknown) const {
    if (aId == notAvailable) return aIfUnknown;
    return conditions.isTrue(aId) ? "true" : "false";
  }

  void send(const std::string& aText) {
    if (!(out << aText)) throw WriteError();
  }

  Conditions& conditions;
  const std::array<bool, 3> families;
  const Layout layout;

 private:
  std::ostream& out;
};

// ---------------------------------------------------------------------------------------------
// Table

using Row = std::vector<std::string>;

class TableWriter : public Writer {
 public:
  using Writer::Writer;

  void write() {
    Row header{"BLOCK"};
    if (families[S]) header.insert(header.end(), {"S", "S NET"});
    if (families[VV] || families[CG]) header.insert(header.end(), {"FAMILY", "LOCAL", "NET"});
    widths.assign(header.size(), 0);
    widen(header);
    conditions.forEach([this](const KSBlock& block, const BlockConditions& answer) {
      for (const Row& row : rows(block, answer)) widen(row);
    });
    writeRow(header);
    conditions.forEach([this](const KSBlock& block, const BlockConditions& answer) {
      for (const Row& row : rows(block, answer)) writeRow(row);
    });
  }

 private:
  void widen(const Row& aRow) {
    for (std::size_t i = 0; i < aRow.size(); ++i) {
      widths[i] = std::max(widths[i], std::min(countCharacters(aRow[i]), maxColumnWidth));
    }
  }

  void writeRow(const Row& aRow) {
    std::string line;
    for (std::size_t i = 0; i + 1 < aRow.size(); ++i) {
      const std::size_t width = countCharacters(aRow[i]);
      line += aRow[i];
      line.append(2 + (width < widths[i] ? widths[i] - width : 0), ' ');
    }
    send(line + aRow.back() + '\n');
  }

  // The rows of one block: VV and CG share one where they agree, S stands in the first.
  std::vector<Row> rows(const KSBlock& aBlock, const BlockConditions& aAnswer) {
    Row start{indentOf(aBlock) + printable(aBlock.id)};
    if (families[S]) {
      start.emplace_back(truth(aAnswer.local[S], unknown));
      start.emplace_back(truth(aAnswer.net[S], unknown));
    }
    if (!families[VV] && !families[CG]) return {start};
    std::vector<Row> all;
    const auto append = [&](const char* name, Family family) {
      all.push_back(start);
      all.back().insert(all.back().end(), {name, cell(aBlock, family, aAnswer.local[family], false),
                                           cell(aBlock, family, aAnswer.net[family], true)});
      start.assign(start.size(), "");
    };
    if (families[VV] && families[CG] && aAnswer.local[VV] == aAnswer.local[CG] &&
        aAnswer.net[VV] == aAnswer.net[CG]) {
      append("VV CG", VV);
    } else {
      if (families[VV]) append("VV", VV);
      if (families[CG]) append("CG", CG);
    }
    return all;
  }

  // Blanks that show how deep the block lies, up to a depth that still leaves room for the rest.
  static std::string indentOf(const KSBlock& aBlock) {
    std::string indent;
    const KSBlock* block = &aBlock;
    while ((block = block->parent) != nullptr && indent.size() < 20) indent += "  ";
    return indent;
  }

  std::string cell(const KSBlock& aBlock, Family aFamily, ConditionId aId, bool aIsNet) {
    if (aId == notAvailable) return unknown;
    if (conditions.isTrue(aId)) return "true";
    return conditions.text(aBlock, aFamily, aIsNet, layout.cForm);
  }

  std::vector<std::size_t> widths;
};

// ---------------------------------------------------------------------------------------------
// CSV

class CsvWriter : public Writer {
 public:
  using Writer::Writer;

  void write() {
    constexpr const char* columns[] = {",vv_local,vv_net", ",cg_local,cg_net", ",s_local,s_net"};
    line = "block,parent";
    for (const Family family : {VV, CG, S}) {
      if (families[family]) line += columns[family];
    }
    writeLine();
    conditions.forEach([this](const KSBlock& block, const BlockConditions& answer) {
      appendField(block.id);
      line += ',';
      if (block.parent != nullptr) appendField(block.parent->id);
      for (const Family family : {VV, CG}) {
        if (!families[family]) continue;
        appendText(block, family, answer.local[family], false);
        appendText(block, family, answer.net[family], true);
      }
      if (families[S]) {
        line += std::string(",") + truth(answer.local[S], unknown) + ',' +
                truth(answer.net[S], unknown);
      }
      writeLine();
    });
  }

 private:
  // Files have the line ends of RFC 4180.
  void writeLine() {
    line += layout.isOnTerminal ? "\n" : "\r\n";
    send(line);
    line.clear();
  }

  void appendField(std::string_view aText) {
    std::string shown;
    if (layout.isOnTerminal) aText = shown = printable(aText);
    if (aText.find_first_of(",\"\r\n") == std::string_view::npos) {
      line += aText;
      return;
    }
    line += '"';
    for (const char c : aText) line.append(c == '"' ? 2 : 1, c);
    line += '"';
  }

  void appendText(const KSBlock& aBlock, Family aFamily, ConditionId aId, bool aIsNet) {
    line += ',';
    appendField(aId == notAvailable ? unknown
                                    : conditions.text(aBlock, aFamily, aIsNet, layout.cForm));
  }

  std::string line;
};

// ---------------------------------------------------------------------------------------------
// JSON, one block a line

class JsonWriter : public Writer {
 public:
  using Writer::Writer;

  void write() {
    line = "[\n";
    bool isFirst = true;
    conditions.forEach([&](const KSBlock& block, const BlockConditions& answer) {
      if (!isFirst) line = ",\n";
      isFirst = false;
      appendBlock(block, answer);
      send(line);
    });
    send(isFirst ? "[]\n" : "\n]\n");
  }

 private:
  void appendBlock(const KSBlock& aBlock, const BlockConditions& aAnswer) {
    line += "{\"block\": ";
    appendJson(line, aBlock.id);
    line += ", \"parent\": ";
    if (aBlock.parent != nullptr) {
      appendJson(line, aBlock.parent->id);
    } else {
      line += "null";
    }
    if (families[VV]) {
      line += ", \"vv\": {\"local\": ";
      appendText(aBlock, VV, aAnswer.local[VV], false, false);
      line += ", \"net\": ";
      appendText(aBlock, VV, aAnswer.net[VV], true, false);
      line += '}';
    }
    if (families[CG]) {
      line += ", \"cg\": {\"local\": ";
      appendText(aBlock, CG, aAnswer.local[CG], false, false);
      line += ", \"net\": ";
      appendText(aBlock, CG, aAnswer.net[CG], true, false);
      line += ", \"localC\": ";
      appendText(aBlock, CG, aAnswer.local[CG], false, true);
      line += ", \"netC\": ";
      appendText(aBlock, CG, aAnswer.net[CG], true, true);
      line += '}';
    }
    if (families[S]) {
      line += ", \"s\": {\"local\": ";
      line += truth(aAnswer.local[S], "null");
      line += ", \"net\": ";
      line += truth(aAnswer.net[S], "null");
      line += '}';
    }
    line += '}';
  }

  void appendText(const KSBlock& aBlock, Family aFamily, ConditionId aId, bool aIsNet,
                  bool aCForm) {
    if (aId == notAvailable) {
      line += "null";
    } else {
      appendJson(line, conditions.text(aBlock, aFamily, aIsNet, aCForm));
    }
  }

  std::string line;
};

std::string counted(std::size_t aCount, const char* aWhat) {
  return std::to_string(aCount) + ' ' + aWhat + (aCount == 1 ? "" : "s");
}

}  // namespace

void writeReport(Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
                 std::ostream& aOut) {
  switch (aLayout.format) {
    case Format::Table: TableWriter(aConditions, aRequest, aLayout, aOut).write(); break;
    case Format::Json: JsonWriter(aConditions, aRequest, aLayout, aOut).write(); break;
    case Format::Csv: CsvWriter(aConditions, aRequest, aLayout, aOut).write(); break;
  }
  if (!aOut.flush()) throw WriteError();
}

std::string summary(const Conditions& aConditions, double aSeconds) {
  char seconds[32];
  const auto end = std::to_chars(seconds, std::end(seconds), aSeconds, std::chars_format::fixed, 2);
  return counted(aConditions.countSelected(), "block") + ", " +
         counted(aConditions.countDistinct(), "distinct condition") + ", " +
         counted(aConditions.countDead(), "dead block") + ", " + std::string(seconds, end.ptr) +
         " s\n";
}

ProgressBar::ProgressBar(std::ostream& aErr, bool aIsTerminal)
    : err(aErr),
      isTerminal(aIsTerminal),
      nextDraw(std::chrono::steady_clock::now() + std::chrono::seconds(1)) {}

ProgressBar::~ProgressBar() { hide(); }

void ProgressBar::hide() {
  if (isDrawn) err << "\r\033[K" << std::flush;
  isDrawn = false;
}

void ProgressBar::show(std::size_t aDone, std::size_t aTotal) {
  if (aDone == aTotal) hide();
  if (!isTerminal || aDone == aTotal || std::chrono::steady_clock::now() < nextDraw) return;
  constexpr std::size_t width = 40;
  const std::size_t filled = width * aDone / aTotal;
  err << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << aDone
      << " of " << aTotal << " blocks" << std::flush;
  isDrawn = true;
  nextDraw = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
}

}  // namespace ksexpr
