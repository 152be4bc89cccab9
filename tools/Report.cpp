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

// The bytes of a line that are held back.
constexpr std::size_t maxHeldLength = std::size_t{64} << 10;

// What the layouts have in common: the request, and the answers as text.
class Writer {
 public:
  Writer(Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
         std::ostream& aOut)
      : conditions(aConditions),
        request(aRequest),
        families(aRequest.families),
        layout(aLayout),
        out(aOut) {}

 protected:
  const char* truth(ConditionId aId, const char* aIfUnknown) const {
    if (aId == notAvailable) return aIfUnknown;
    return conditions.isTrue(aId) ? "true" : "false";
  }

  // Sends the text and empties it.
  void send(std::string& aText) {
    ksexpr::send(out, aText);
    aText.clear();
  }
  // Appends a text in pieces of whole characters by `aAppend` and sends on the way, so that a long
  // one is not held twice.
  template <class Append>
  void appendInPieces(std::string& aLine, std::string_view aText, Append aAppend) {
    while (aText.size() > maxHeldLength) {
      std::size_t length = maxHeldLength;
      while (length > 1 && (static_cast<unsigned char>(aText[length]) & 0xC0) == 0x80) --length;
      aAppend(aLine, aText.substr(0, length));
      send(aLine);
      aText.remove_prefix(length);
    }
    aAppend(aLine, aText);
  }

  Conditions& conditions;
  const ConditionsRequest& request;
  const std::array<bool, 3> families;
  const Layout layout;
  std::ostream& out;
};

// ---------------------------------------------------------------------------------------------
// Table

class TableWriter : public Writer {
 public:
  using Writer::Writer;

  void write() {
    Row header{"BLOCK"};
    if (families[S]) header.insert(header.end(), {"S", "S NET"});
    if (families[VV] || families[CG]) {
      header.insert(header.end(), {"FAMILY", "LOCAL" + styleName(), "NET" + styleName()});
    }
    Columns columns(header.size(), layout);
    columns.widen(header);
    conditions.forEach([&](const KSBlock& block, const BlockConditions& answer) {
      for (const Row& row : rows(block, answer)) columns.widen(row);
    });
    columns.settle();
    columns.write(out, header);
    conditions.forEach([&](const KSBlock& block, const BlockConditions& answer) {
      const bool isDead = layout.isColoured && conditions.isDead(block);
      for (const Row& row : rows(block, answer)) columns.write(out, row, isDead);
    });
  }

 private:
  // Canonical conditions need no name, since they are what is meant by conditions.
  std::string styleName() const {
    switch (request.style.value_or(Style::Canonical)) {
      case Style::Compact: return " (compact)";
      case Style::Typed: return " (typed)";
      case Style::Canonical: break;
    }
    return "";
  }

  // The rows of one block: VV and CG share one where they agree, S stands in the first.
  std::vector<Row> rows(const KSBlock& aBlock, const BlockConditions& aAnswer) {
    Row start{indentOf(aBlock, conditions.top()) + printable(aBlock.id)};
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
    if (families[VV] && families[CG] && isSame(aBlock, false) && isSame(aBlock, true)) {
      append("VV CG", VV);
    } else {
      if (families[VV]) append("VV", VV);
      if (families[CG]) append("CG", CG);
    }
    return all;
  }

  bool isSame(const KSBlock& aBlock, bool aIsNet) {
    return conditions.shown(aBlock, VV, aIsNet) == conditions.shown(aBlock, CG, aIsNet);
  }

  std::string cell(const KSBlock& aBlock, Family aFamily, ConditionId aId, bool aIsNet) {
    if (aId == notAvailable) return unknown;
    const std::string& text = conditions.text(aBlock, aFamily, aIsNet, layout.cForm);
    return text.empty() ? "true" : text;
  }
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
  void writeLine() {
    line += csvLineEnd(layout.isOnTerminal);
    send(line);
  }

  void appendField(std::string_view aText) { appendCsvField(line, aText, layout.isOnTerminal); }

  void appendText(const KSBlock& aBlock, Family aFamily, ConditionId aId, bool aIsNet) {
    line += ',';
    if (aId == notAvailable) {
      line += unknown;
      return;
    }
    const std::string& text = conditions.text(aBlock, aFamily, aIsNet, layout.cForm);
    // A condition has no character that would have to be made printable, and no quote.
    const char* const quote = text.find(',') == std::string::npos ? "" : "\"";
    line += quote;
    appendInPieces(line, text, [](std::string& to, std::string_view piece) { to += piece; });
    line += quote;
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
    line = isFirst ? "[]\n" : "\n]\n";
    send(line);
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
    if (request.withDecision || request.withCompact) {
      line += ", \"line\": " + std::to_string(conditions.lineOf(aBlock));
    }
    if (families[VV]) {
      line += ", \"vv\": {\"local\": ";
      appendText(aBlock, VV, aAnswer.local[VV], false, false);
      line += ", \"net\": ";
      appendText(aBlock, VV, aAnswer.net[VV], true, false);
      appendMore(aBlock, VV, aAnswer.net[VV]);
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
      appendMore(aBlock, CG, aAnswer.net[CG]);
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

  // What is only there when it is asked for.
  void appendMore(const KSBlock& aBlock, Family aFamily, ConditionId aNet) {
    constexpr const char* names[] = {"never", "always", "sometimes", "unknown"};  // by Verdict
    if (request.withDecision) {
      line += ", \"decision\": ";
      if (aNet == notAvailable) {
        line += "null";
      } else {
        appendJson(line, names[static_cast<std::size_t>(conditions.verdict(aBlock, aFamily))]);
      }
    }
    if (request.withCompact) {
      line += ", \"compact\": ";
      if (aNet == notAvailable) {
        line += "null";
      } else {
        appendJson(line, conditions.compactText(aBlock, aFamily));
      }
    }
  }

  void appendText(const KSBlock& aBlock, Family aFamily, ConditionId aId, bool aIsNet,
                  bool aCForm) {
    if (aId == notAvailable) {
      line += "null";
    } else {
      line += '"';
      appendInPieces(line, conditions.text(aBlock, aFamily, aIsNet, aCForm), appendJsonCharacters);
      line += '"';
    }
  }

  std::string line;
};

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
