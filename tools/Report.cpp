#include "tools/Report.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "tools/Diagnostic.hpp"

namespace ksexpr {

namespace {

constexpr const char* notAvailable = "?";
// A wider text moves the rest of its row, not that of all rows.
constexpr std::size_t maxColumnWidth = 44;

using Row = std::vector<std::string>;

const std::string& textOf(const Condition& aCondition, bool aCForm) {
  return aCForm ? aCondition.c : aCondition.m;
}

std::string truthOf(const Condition* aCondition) {
  if (aCondition == nullptr) return notAvailable;
  return aCondition->isTrue ? "true" : "false";
}

// ---------------------------------------------------------------------------------------------
// Table

std::string cell(const Condition* aCondition, bool aCForm) {
  if (aCondition == nullptr) return notAvailable;
  return aCondition->isTrue ? "true" : textOf(*aCondition, aCForm);
}

// Blanks that show how deep the block lies, up to a depth that still leaves room for the rest.
std::string indentOf(const KSBlock* aBlock) {
  std::string indent;
  while ((aBlock = aBlock->parent) != nullptr && indent.size() < 20) indent += "  ";
  return indent;
}

// Appends the rows of one block: VV and CG share one where they agree, S stands in the first.
void appendRows(std::vector<Row>& aRows, const BlockAnswer& aAnswer,
                const ConditionsRequest& aRequest, bool aCForm) {
  Row row{indentOf(aAnswer.block) + printable(aAnswer.block->id)};
  if (aRequest.families[S]) {
    row.push_back(truthOf(aAnswer.local[S]));
    row.push_back(truthOf(aAnswer.net[S]));
  }
  const auto append = [&](const char* aFamilies, Family aFamily) {
    Row conditions = row;
    conditions.insert(conditions.end(), {aFamilies, cell(aAnswer.local[aFamily], aCForm),
                                         cell(aAnswer.net[aFamily], aCForm)});
    aRows.push_back(std::move(conditions));
  };
  const bool vv = aRequest.families[VV];
  const bool cg = aRequest.families[CG];
  if (vv && cg && aAnswer.local[VV] == aAnswer.local[CG] && aAnswer.net[VV] == aAnswer.net[CG]) {
    append("VV CG", VV);
  } else {
    if (vv) append("VV", VV);
    if (vv && cg) row.assign(row.size(), "");
    if (cg) append("CG", CG);
  }
  if (!vv && !cg) aRows.push_back(row);
}

void writeTable(const std::vector<const BlockAnswer*>& aAnswers, const ConditionsRequest& aRequest,
                bool aCForm, std::ostream& aOut) {
  Row header{"BLOCK"};
  if (aRequest.families[S]) header.insert(header.end(), {"S", "S NET"});
  if (aRequest.families[VV] || aRequest.families[CG]) {
    header.insert(header.end(), {"FAMILY", "LOCAL", "NET"});
  }
  std::vector<Row> rows{header};
  for (const BlockAnswer* answer : aAnswers) appendRows(rows, *answer, aRequest, aCForm);

  std::vector<std::size_t> widths(header.size(), 0);
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], std::min(countCharacters(row[i]), maxColumnWidth));
    }
  }
  for (const Row& row : rows) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      const std::size_t width = countCharacters(row[i]);
      aOut << row[i] << std::string(2 + (width < widths[i] ? widths[i] - width : 0), ' ');
    }
    aOut << row.back() << '\n';
  }
}

// ---------------------------------------------------------------------------------------------
// CSV

std::string csvField(const std::string& aText) {
  if (aText.find_first_of(",\"\r\n") == std::string::npos) return aText;
  std::string quoted = "\"";
  for (const char c : aText) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

void writeCsv(const std::vector<const BlockAnswer*>& aAnswers, const ConditionsRequest& aRequest,
              bool aCForm, std::ostream& aOut) {
  constexpr const char* columns[] = {",vv_local,vv_net", ",cg_local,cg_net", ",s_local,s_net"};
  aOut << "block,parent";
  for (const Family family : {VV, CG, S}) {
    if (aRequest.families[family]) aOut << columns[family];
  }
  aOut << '\n';
  const auto text = [&](const Condition* aCondition) {
    return aCondition == nullptr ? notAvailable : csvField(textOf(*aCondition, aCForm));
  };
  for (const BlockAnswer* answer : aAnswers) {
    aOut << csvField(answer->block->id) << ',' << csvField(answer->block->parentId.value_or(""));
    for (const Family family : {VV, CG}) {
      if (!aRequest.families[family]) continue;
      aOut << ',' << text(answer->local[family]) << ',' << text(answer->net[family]);
    }
    if (aRequest.families[S]) {
      aOut << ',' << truthOf(answer->local[S]) << ',' << truthOf(answer->net[S]);
    }
    aOut << '\n';
  }
}

// ---------------------------------------------------------------------------------------------
// JSON, one block a line

std::string quoted(const std::string& aText) { return nlohmann::json(aText).dump(); }

std::string jsonText(const Condition* aCondition, bool aCForm) {
  return aCondition == nullptr ? "null" : quoted(textOf(*aCondition, aCForm));
}

std::string jsonTruth(const Condition* aCondition) {
  return aCondition == nullptr ? "null" : truthOf(aCondition);
}

std::string jsonBlock(const BlockAnswer& aAnswer, const ConditionsRequest& aRequest) {
  const KSBlock& block = *aAnswer.block;
  std::string out = "{\"block\": " + quoted(block.id) +
                    ", \"parent\": " + (block.parentId ? quoted(*block.parentId) : "null");
  if (aRequest.families[VV]) {
    out += ", \"vv\": {\"local\": " + jsonText(aAnswer.local[VV], false) +
           ", \"net\": " + jsonText(aAnswer.net[VV], false) + '}';
  }
  if (aRequest.families[CG]) {
    out += ", \"cg\": {\"local\": " + jsonText(aAnswer.local[CG], false) +
           ", \"net\": " + jsonText(aAnswer.net[CG], false) +
           ", \"localC\": " + jsonText(aAnswer.local[CG], true) +
           ", \"netC\": " + jsonText(aAnswer.net[CG], true) + '}';
  }
  if (aRequest.families[S]) {
    out += ", \"s\": {\"local\": " + jsonTruth(aAnswer.local[S]) +
           ", \"net\": " + jsonTruth(aAnswer.net[S]) + '}';
  }
  return out + '}';
}

void writeJson(const std::vector<const BlockAnswer*>& aAnswers, const ConditionsRequest& aRequest,
               std::ostream& aOut) {
  const char* separator = "[\n";
  for (const BlockAnswer* answer : aAnswers) {
    aOut << separator << jsonBlock(*answer, aRequest);
    separator = ",\n";
  }
  aOut << (aAnswers.empty() ? "[]\n" : "\n]\n");
}

std::string counted(std::size_t aCount, const char* aWhat) {
  return std::to_string(aCount) + ' ' + aWhat + (aCount == 1 ? "" : "s");
}

}  // namespace

void writeReport(const ConditionsResult& aResult, const ConditionsRequest& aRequest, Format aFormat,
                 bool aCForm, std::ostream& aOut) {
  std::vector<const BlockAnswer*> answers;
  for (const BlockAnswer& answer : aResult.answers) {
    if (!aRequest.onlyDead || answer.isDead()) answers.push_back(&answer);
  }
  switch (aFormat) {
    case Format::Table: writeTable(answers, aRequest, aCForm, aOut); break;
    case Format::Json: writeJson(answers, aRequest, aOut); break;
    case Format::Csv: writeCsv(answers, aRequest, aCForm, aOut); break;
  }
}

void writeSummary(const ConditionsResult& aResult, double aSeconds, std::ostream& aErr) {
  const auto dead = std::count_if(aResult.answers.begin(), aResult.answers.end(),
                                  [](const BlockAnswer& answer) { return answer.isDead(); });
  char seconds[32];
  const auto end = std::to_chars(seconds, std::end(seconds), aSeconds, std::chars_format::fixed, 2);
  aErr << counted(aResult.answers.size(), "block") << ", "
       << counted(aResult.conditions.size(), "distinct condition") << ", "
       << counted(static_cast<std::size_t>(dead), "dead block") << ", "
       << std::string(seconds, end.ptr) << " s\n";
}

ProgressBar::ProgressBar(std::ostream& aErr, bool aIsTerminal)
    : err(aErr),
      isTerminal(aIsTerminal),
      nextDraw(std::chrono::steady_clock::now() + std::chrono::seconds(1)) {}

ProgressBar::~ProgressBar() {
  if (isDrawn) err << "\r\033[K" << std::flush;
}

void ProgressBar::show(std::size_t aDone, std::size_t aTotal) {
  if (!isTerminal || std::chrono::steady_clock::now() < nextDraw) return;
  constexpr std::size_t width = 40;
  const std::size_t filled = width * aDone / aTotal;
  err << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << aDone
      << " of " << aTotal << " blocks" << std::flush;
  isDrawn = true;
  nextDraw = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
}

}  // namespace ksexpr
