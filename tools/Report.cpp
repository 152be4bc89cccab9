#include "tools/Report.hpp"

#include <algorithm>
#include <charconv>
#include <exception>
#include <iterator>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include "tools/Commands.hpp"
#include "tools/ConditionTexts.hpp"
#include "tools/Jobs.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

constexpr const char* unknown = "?";

// The bytes of text that are written at once, and of a text that is not held twice.
constexpr std::size_t writtenLength = std::size_t{256} << 10;
constexpr std::size_t maxHeldLength = std::size_t{64} << 10;

// The bytes of lines that one of several makes ahead, and the blocks between which they wait for
// each other where all has been answered.
constexpr std::size_t maxAhead = std::size_t{8} << 20;
constexpr std::size_t blocksAhead = std::size_t{16} << 10;

// Text on its way out. It is sent when there is much of it, or held back for one who sends it
// later. What is held back has a limit: whoever meets it makes the rest anew when it can be sent.
class Outgoing {
 public:
  // Holds everything back where there is no stream.
  explicit Outgoing(std::ostream* aOut) : out(aOut) {}

  std::string text;

  // Whether a part could not be held.
  bool isIncomplete() const { return incomplete; }
  // Takes back what follows the first `aLength` bytes.
  void shorten(std::size_t aLength) {
    text.resize(aLength);
    incomplete = false;
  }
  // Appends a text in pieces of whole characters by `aAppend`, so that a long one is not held
  // twice.
  template <class Append>
  void appendInPieces(std::string_view aText, Append aAppend) {
    if (aText.size() > maxHeldLength && out == nullptr) {
      incomplete = true;
      return;
    }
    while (aText.size() > maxHeldLength) {
      std::size_t length = maxHeldLength;
      while (length > 1 && (static_cast<unsigned char>(aText[length]) & 0xC0) == 0x80) --length;
      aAppend(text, aText.substr(0, length));
      send();
      aText.remove_prefix(length);
    }
    aAppend(text, aText);
  }
  // Sends a lot.
  void sendIfLong() {
    if (out != nullptr && text.size() >= writtenLength) send();
  }
  void send() {
    ksexpr::send(*out, text);
    text.clear();
  }

 private:
  std::ostream* const out;
  bool incomplete = false;
};

void appendAsIs(std::string& aTo, std::string_view aPiece) { aTo += aPiece; }

// What the layouts have in common: the request, and the answers of one answerer as text.
class Writer {
 public:
  Writer(const Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
         std::size_t aAnswerer)
      : conditions(aConditions),
        request(aRequest),
        families(aRequest.families),
        layout(aLayout),
        texts(aConditions, aAnswerer,
              aLayout.format == Format::Json || aLayout.format == Format::JsonLines) {}
  virtual ~Writer() = default;

  virtual void appendBlock(Outgoing& aOut, const KSBlock& aBlock) = 0;

 protected:
  const char* truth(ConditionId aId, const char* aIfUnknown) const {
    if (aId == notAvailable) return aIfUnknown;
    return conditions.isTrue(aId) ? "true" : "false";
  }

  const Conditions& conditions;
  const ConditionsRequest& request;
  const std::array<bool, 3> families;
  const Layout layout;
  ConditionTexts texts;
};

// ---------------------------------------------------------------------------------------------
// Table

class TableWriter : public Writer {
 public:
  // The columns are still to be made wide enough by `widen`.
  TableWriter(const Conditions& aConditions, const ConditionsRequest& aRequest,
              const Layout& aLayout, std::size_t aAnswerer)
      : Writer(aConditions, aRequest, aLayout, aAnswerer),
        columns(header(aRequest).size(), aLayout) {}

  static Row header(const ConditionsRequest& aRequest) {
    Row header{"BLOCK"};
    if (aRequest.families[S]) header.insert(header.end(), {"S", "S NET"});
    if (aRequest.families[VV] || aRequest.families[CG]) {
      header.insert(header.end(),
                    {"FAMILY", "LOCAL" + styleName(aRequest), "NET" + styleName(aRequest)});
    }
    return header;
  }

  void widen(const KSBlock& aBlock) {
    const auto isOpen = [this](std::size_t column) { return columns.isOpen(column); };
    forEachRow(aBlock, isOpen, [this](const RowView& made) { columns.widen(made); });
  }
  const Columns& getColumns() const { return columns; }
  void setColumns(const Columns& aColumns) { columns = aColumns; }

  void appendBlock(Outgoing& aOut, const KSBlock& aBlock) override {
    const bool isDead = layout.isColoured && conditions.isDead(aBlock);
    const auto isShown = [](std::size_t) { return true; };
    forEachRow(aBlock, isShown,
               [&](const RowView& made) { columns.append(aOut.text, made, isDead); });
  }

 private:
  // Canonical conditions need no name, since they are what is meant by conditions.
  static std::string styleName(const ConditionsRequest& aRequest) {
    switch (aRequest.style.value_or(Style::Canonical)) {
      case Style::Compact: return " (compact)";
      case Style::Typed: return " (typed)";
      case Style::Canonical: break;
    }
    return "";
  }

  // The rows of one block: VV and CG share one where they agree, S stands in the first. Conditions
  // have no text in columns where they are not wanted: to make them takes longest.
  template <class IsWanted, class Use>
  void forEachRow(const KSBlock& aBlock, IsWanted aIsWanted, Use aUse) {
    const BlockConditions& answer = conditions.answerOf(aBlock);
    name = indentOf(aBlock, conditions.top());
    appendPrintable(name, aBlock.id, 0);
    row.assign(1, name);
    if (families[S]) {
      row.emplace_back(truth(answer.local[S], unknown));
      row.emplace_back(truth(answer.net[S], unknown));
    }
    if (!families[VV] && !families[CG]) {
      aUse(row);
      return;
    }
    const std::size_t numCommon = row.size();
    const auto use = [&](const char* label, Family family) {
      const bool wantsLocal = aIsWanted(numCommon + 1), wantsNet = aIsWanted(numCommon + 2);
      local = wantsLocal ? cell(aBlock, family, false) : std::string_view();
      row.resize(numCommon);
      row.insert(row.end(),
                 {label, local, wantsNet ? cell(aBlock, family, true) : std::string_view()});
      aUse(row);
      std::fill_n(row.begin(), numCommon, std::string_view());
    };
    if (families[VV] && families[CG] && isSame(aBlock, false) && isSame(aBlock, true)) {
      use("VV CG", VV);
    } else {
      if (families[VV]) use("VV", VV);
      if (families[CG]) use("CG", CG);
    }
  }

  bool isSame(const KSBlock& aBlock, bool aIsNet) const {
    return conditions.shown(aBlock, VV, aIsNet) == conditions.shown(aBlock, CG, aIsNet);
  }

  std::string_view cell(const KSBlock& aBlock, Family aFamily, bool aIsNet) {
    if (conditions.shown(aBlock, aFamily, aIsNet) == notAvailable) return unknown;
    const std::string_view text = texts.of(aBlock, aFamily, aIsNet, layout.cForm).text;
    return text.empty() ? "true" : text;
  }

  Columns columns;
  // Kept for their memory.
  RowView row;
  std::string name;
  std::string local;
};

// ---------------------------------------------------------------------------------------------
// CSV

class CsvWriter : public Writer {
 public:
  using Writer::Writer;

  static std::string header(const ConditionsRequest& aRequest, const Layout& aLayout) {
    constexpr const char* columns[] = {",vv_local,vv_net", ",cg_local,cg_net", ",s_local,s_net"};
    std::string line = "block,parent";
    for (const Family family : {VV, CG, S}) {
      if (aRequest.families[family]) line += columns[family];
    }
    return line + csvLineEnd(aLayout.isOnTerminal);
  }

  void appendBlock(Outgoing& aOut, const KSBlock& aBlock) override {
    const BlockConditions& answer = conditions.answerOf(aBlock);
    std::string& line = aOut.text;
    appendCsvField(line, aBlock.id, layout.isOnTerminal);
    line += ',';
    if (aBlock.parent != nullptr) appendCsvField(line, aBlock.parent->id, layout.isOnTerminal);
    for (const Family family : {VV, CG}) {
      if (!families[family]) continue;
      appendText(aOut, aBlock, family, false);
      appendText(aOut, aBlock, family, true);
    }
    if (families[S]) {
      line += ',';
      line += truth(answer.local[S], unknown);
      line += ',';
      line += truth(answer.net[S], unknown);
    }
    line += csvLineEnd(layout.isOnTerminal);
  }

 private:
  void appendText(Outgoing& aOut, const KSBlock& aBlock, Family aFamily, bool aIsNet) {
    aOut.text += ',';
    if (conditions.shown(aBlock, aFamily, aIsNet) == notAvailable) {
      aOut.text += unknown;
      return;
    }
    const std::string_view text = texts.of(aBlock, aFamily, aIsNet, layout.cForm).text;
    // A condition has no character that would have to be made printable, and no quote.
    const char* const quote = text.find(',') == std::string_view::npos ? "" : "\"";
    aOut.text += quote;
    aOut.appendInPieces(text, appendAsIs);
    aOut.text += quote;
  }
};

// ---------------------------------------------------------------------------------------------
// JSON, one block a line

class JsonWriter : public Writer {
 public:
  using Writer::Writer;

  void appendBlock(Outgoing& aOut, const KSBlock& aBlock) override {
    const BlockConditions& answer = conditions.answerOf(aBlock);
    std::string& line = aOut.text;
    line += "{\"block\": ";
    appendJson(line, aBlock.id);
    line += ", \"parent\": ";
    appendJsonOrNull(line, aBlock.parent == nullptr ? nullptr : &aBlock.parent->id);
    if (request.withDecision || request.withCompact) {
      line += ", \"line\": " + std::to_string(conditions.lineOf(aBlock));
    }
    if (families[VV]) {
      line += ", \"vv\": {\"local\": ";
      appendText(aOut, aBlock, VV, false, false);
      line += ", \"net\": ";
      appendText(aOut, aBlock, VV, true, false);
      appendMore(aOut, aBlock, VV, answer.net[VV]);
      line += '}';
    }
    if (families[CG]) {
      line += ", \"cg\": {\"local\": ";
      appendText(aOut, aBlock, CG, false, false);
      line += ", \"net\": ";
      appendText(aOut, aBlock, CG, true, false);
      line += ", \"localC\": ";
      appendText(aOut, aBlock, CG, false, true);
      line += ", \"netC\": ";
      appendText(aOut, aBlock, CG, true, true);
      appendMore(aOut, aBlock, CG, answer.net[CG]);
      line += '}';
    }
    if (families[S]) {
      line += ", \"s\": {\"local\": ";
      line += truth(answer.local[S], "null");
      line += ", \"net\": ";
      line += truth(answer.net[S], "null");
      line += '}';
    }
    line += '}';
  }

 private:
  // What is only there when it is asked for.
  void appendMore(Outgoing& aOut, const KSBlock& aBlock, Family aFamily, ConditionId aNet) {
    constexpr const char* names[] = {"never", "always", "sometimes", "unknown"};  // by Verdict
    if (request.withDecision) {
      aOut.text += ", \"decision\": ";
      if (aNet == notAvailable) {
        aOut.text += "null";
      } else {
        appendJson(aOut.text, names[static_cast<std::size_t>(conditions.verdict(aBlock, aFamily))]);
      }
    }
    if (request.withCompact) {
      aOut.text += ", \"compact\": ";
      if (aNet == notAvailable) {
        aOut.text += "null";
      } else {
        appendQuoted(aOut, texts.compact(aBlock, aFamily));
      }
    }
  }

  void appendText(Outgoing& aOut, const KSBlock& aBlock, Family aFamily, bool aIsNet, bool aCForm) {
    if (conditions.shown(aBlock, aFamily, aIsNet) == notAvailable) {
      aOut.text += "null";
    } else {
      appendQuoted(aOut, texts.of(aBlock, aFamily, aIsNet, aCForm));
    }
  }

  static void appendQuoted(Outgoing& aOut, const ConditionText& aText) {
    aOut.text += '"';
    aOut.appendInPieces(aText.text, aText.isPlain ? appendAsIs : appendJsonCharacters);
    aOut.text += '"';
  }
};

// ---------------------------------------------------------------------------------------------
// Side by side

// Writes blocks in order. Where several have answered, each makes the lines of its own blocks
// ahead, for which it has all that it takes at hand.
template <class LineWriter>
class OrderedWriting {
 public:
  // `aOpening` stands before the first block, `aSeparator` before each other one.
  OrderedWriting(const Conditions& aConditions, const ConditionsRequest& aRequest,
                 const Layout& aLayout, std::ostream& aOut, std::string_view aOpening = "",
                 std::string_view aSeparator = "")
      : conditions(aConditions),
        blocks(aConditions.getModel().blocks),
        out(&aOut),
        opening(aOpening),
        separator(aSeparator) {
    for (std::size_t i = 0; i < aConditions.countJobs(); ++i) {
      authors.push_back(std::make_unique<Author>(aConditions, aRequest, aLayout, i));
    }
  }

  // The one who writes what the answerer with that number has answered.
  LineWriter& writer(std::size_t aNumber) { return authors[aNumber]->writer; }

  // Makes the lines of those blocks of a stretch that the answerer with that number has answered.
  void prepare(std::size_t aNumber, Conditions::Stretch aStretch) {
    if (authors.size() == 1) return;
    Author& author = *authors[aNumber];
    author.lines.clear();
    author.nextLine = 0;
    author.ahead.shorten(0);
    author.sent = 0;
    for (std::size_t i = aStretch.from; i < aStretch.to; ++i) {
      if (conditions.answererNumber(blocks[i]) == aNumber && conditions.isListed(blocks[i])) {
        author.lines.push_back(makeAhead(author, blocks[i]));
      }
    }
  }

  // Writes the listed ones of a stretch of blocks that have been answered and prepared.
  void write(Conditions::Stretch aStretch) {
    for (std::size_t i = aStretch.from; i < aStretch.to; ++i) {
      if (!conditions.isListed(blocks[i])) continue;
      Author& author = *authors[conditions.answererNumber(blocks[i])];
      const std::size_t length = author.lines.empty() ? 0 : author.lines[author.nextLine++];
      if (&author != last) sendAhead();
      last = &author;
      if (length > 0) {
        author.due += length;
      } else {
        sendAhead();
        out.text += separatorOfNext();
        author.writer.appendBlock(out, blocks[i]);
        out.sendIfLong();
      }
    }
    sendAhead();
  }
  // Sends what has been written to the stream.
  void flush() { out.send(); }
  bool isEmpty() const { return empty; }

 private:
  // Who writes what one answerer has answered. Each has cache lines of its own, since all of them
  // are written to at the same time.
  struct alignas(64) Author {
    Author(const Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
           std::size_t aAnswerer)
        : writer(aConditions, aRequest, aLayout, aAnswerer) {}

    LineWriter writer;
    // The lines that have been made ahead, and the length of each; 0 for one that is to be made
    // when it is written.
    Outgoing ahead{nullptr};
    std::vector<std::size_t> lines;
    std::size_t nextLine = 0;
    std::size_t sent = 0;
    std::size_t due = 0;  // the bytes behind what was sent that are to be sent next
  };

  std::string_view separatorOfNext() { return std::exchange(empty, false) ? opening : separator; }

  // Writes the lines of the last author that are due, all at once: they stand one behind the other.
  void sendAhead() {
    if (last == nullptr || last->due == 0) return;
    const std::string_view lines =
        std::string_view(last->ahead.text)
            .substr(last->sent + separator.size(), last->due - separator.size());
    out.text += separatorOfNext();
    out.text += lines;
    last->sent += std::exchange(last->due, 0);
    out.sendIfLong();
  }

  // The length of the line with the separator before it; 0 where it is to be made later.
  std::size_t makeAhead(Author& aAuthor, const KSBlock& aBlock) const {
    std::string& text = aAuthor.ahead.text;
    const std::size_t before = text.size();
    if (before > maxAhead) return 0;
    try {
      text += separator;
      aAuthor.writer.appendBlock(aAuthor.ahead, aBlock);
      if (!aAuthor.ahead.isIncomplete()) return text.size() - before;
    } catch (const std::exception&) {
      // It is thrown once more where the block is written.
    }
    aAuthor.ahead.shorten(before);
    return 0;
  }

  const Conditions& conditions;
  const std::vector<KSBlock>& blocks;
  std::vector<std::unique_ptr<Author>> authors;
  Outgoing out;
  const std::string_view opening;
  const std::string_view separator;
  bool empty = true;
  Author* last = nullptr;  // of the block that was written last
};

void writeTable(Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
                std::ostream& aOut) {
  OrderedWriting<TableWriter> writing(aConditions, aRequest, aLayout, aOut);
  const std::vector<KSBlock>& blocks = aConditions.getModel().blocks;
  const std::size_t jobs = aConditions.countJobs();
  // By number: the first block whose texts cannot be made. What is wrong with it is thrown when it
  // is its turn.
  std::vector<std::size_t> failed(jobs, blocks.size());
  const auto measure = [&](std::size_t number, Conditions::Stretch stretch) {
    std::size_t i = stretch.from;
    try {
      for (; i < stretch.to; ++i) {
        if (aConditions.answererNumber(blocks[i]) == number && aConditions.isListed(blocks[i])) {
          writing.writer(number).widen(blocks[i]);
        }
      }
    } catch (const std::exception&) {
      failed[number] = i;
    }
  };
  aConditions.answer(
      [&](Conditions::Stretch stretch) {
        const std::size_t first = *std::min_element(failed.begin(), failed.end());
        if (first >= stretch.to) return;
        writing.writer(aConditions.answererNumber(blocks[first])).widen(blocks[first]);
      },
      measure);

  const Row header = TableWriter::header(aRequest);
  Columns columns(header.size(), aLayout);
  columns.widen(header);
  for (std::size_t i = 0; i < jobs; ++i) columns.widen(writing.writer(i).getColumns());
  columns.settle();
  for (std::size_t i = 0; i < jobs; ++i) writing.writer(i).setColumns(columns);
  columns.write(aOut, header);
  for (std::size_t from = 0; from < blocks.size(); from += blocksAhead) {
    const Conditions::Stretch stretch{from, std::min(from + blocksAhead, blocks.size())};
    sideBySide(jobs, [&](std::size_t number) { writing.prepare(number, stretch); });
    writing.write(stretch);
  }
  writing.flush();
}

// Writes each listed block as soon as it is answered, in the order of the model. Returns whether
// there was one.
template <class LineWriter>
bool writeAsAnswered(Conditions& aConditions, const ConditionsRequest& aRequest,
                     const Layout& aLayout, std::ostream& aOut, std::string_view aOpening = "",
                     std::string_view aSeparator = "") {
  OrderedWriting<LineWriter> writing(aConditions, aRequest, aLayout, aOut, aOpening, aSeparator);
  aConditions.answer(
      [&](Conditions::Stretch stretch) {
        writing.write(stretch);
        writing.flush();
      },
      [&](std::size_t number, Conditions::Stretch stretch) { writing.prepare(number, stretch); });
  return !writing.isEmpty();
}

void writeCsv(Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
              std::ostream& aOut) {
  send(aOut, CsvWriter::header(aRequest, aLayout));
  writeAsAnswered<CsvWriter>(aConditions, aRequest, aLayout, aOut);
}

void writeJsonLines(Conditions& aConditions, const ConditionsRequest& aRequest,
                    const Layout& aLayout, std::ostream& aOut) {
  const bool any = writeAsAnswered<JsonWriter>(aConditions, aRequest, aLayout, aOut, "", "\n");
  if (any) send(aOut, "\n");
}

void writeJsonArray(Conditions& aConditions, const ConditionsRequest& aRequest,
                    const Layout& aLayout, std::ostream& aOut) {
  const bool any = writeAsAnswered<JsonWriter>(aConditions, aRequest, aLayout, aOut, "[\n", ",\n");
  send(aOut, any ? "\n]\n" : "[]\n");
}

}  // namespace

void writeReport(Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
                 std::ostream& aOut) {
  switch (aLayout.format) {
    case Format::Table: writeTable(aConditions, aRequest, aLayout, aOut); break;
    case Format::Json: writeJsonArray(aConditions, aRequest, aLayout, aOut); break;
    case Format::Csv: writeCsv(aConditions, aRequest, aLayout, aOut); break;
    case Format::JsonLines: writeJsonLines(aConditions, aRequest, aLayout, aOut); break;
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
