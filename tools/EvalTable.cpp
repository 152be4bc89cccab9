#include "tools/EvalTable.hpp"

#include <istream>
#include <optional>
#include <ostream>
#include <unordered_set>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Layout.hpp"
#include "tools/Model.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

using KS::SymbolicExprId;

namespace {

// A field of CSV and where it begins.
struct Field {
  std::string text;
  std::size_t line;
  std::size_t number;  // in its row, from 1
};

// Reads the rows of CSV. Empty lines are none.
class CsvReader {
 public:
  CsvReader(const std::string& aPath, std::string_view aText) : path(aPath), text(aText) {}

  // Returns whether there is a row.
  bool next(std::vector<Field>& aRow) {
    aRow.clear();
    while (pos < text.size() && skipLineEnd()) continue;
    if (pos == text.size()) return false;
    for (;;) {
      aRow.push_back({"", line, aRow.size() + 1});
      readField(aRow.back());
      if (pos == text.size() || skipLineEnd()) return true;
      ++pos;  // the comma
    }
  }

  [[noreturn]] void fail(const Field& aField, const std::string& aMessage) const {
    throw AnswerError(printable(path) + ':' + std::to_string(aField.line) + ": field " +
                      std::to_string(aField.number) + ": " + aMessage);
  }

 private:
  bool skipLineEnd() {
    const std::size_t length = text.compare(pos, 2, "\r\n") == 0 ? 2 : text[pos] == '\n' ? 1 : 0;
    pos += length;
    line += length > 0 ? 1 : 0;
    return length > 0;
  }

  void readField(Field& aField) {
    if (pos < text.size() && text[pos] == '"') {
      readQuoted(aField);
      return;
    }
    const std::size_t end = std::min(text.find_first_of(",\n", pos), text.size());
    aField.text = text.substr(pos, end - pos);
    pos = end;
    if (end < text.size() && text[end] == '\n' && !aField.text.empty() &&
        aField.text.back() == '\r') {
      aField.text.pop_back();
      --pos;
    }
    if (aField.text.find('"') != std::string::npos) fail(aField, "a quote inside a field");
  }

  void readQuoted(Field& aField) {
    for (++pos;; ++pos) {
      const std::size_t quote = text.find('"', pos);
      if (quote == std::string_view::npos) fail(aField, "a quote that is not closed");
      for (std::size_t i = pos; i < quote; ++i) line += text[i] == '\n' ? 1 : 0;
      aField.text += text.substr(pos, quote - pos);
      pos = quote + 1;
      if (pos == text.size() || text[pos] != '"') break;
      aField.text += '"';
    }
    if (pos < text.size() && text[pos] != ',' && text[pos] != '\n' &&
        text.compare(pos, 2, "\r\n") != 0) {
      fail(aField, "something behind the closing quote");
    }
  }

  const std::string path;
  const std::string_view text;
  std::size_t pos = 0;
  std::size_t line = 1;
};

// The rows of a table of values, read against a header of names.
class ValueTable {
 public:
  ValueTable(const Request& aRequest, const Definitions& aDefinitions,
             KS::SymbolicExprTable& aTable, const std::string& aText)
      : cSyntax(aRequest.from == Form::C),
        table(aTable),
        reader(sourceName(aRequest.valuesPath), aText) {
    const KS::SymbolicExprParser parse(table, cSyntax);
    std::vector<Field> row;
    if (!reader.next(row)) {
      throw AnswerError(printable(sourceName(aRequest.valuesPath)) + ": no header of names");
    }
    std::unordered_set<SymbolicExprId> met;
    for (const Field& field : row) {
      const SymbolicExprId id = parse(field.text);
      if (!isName(id)) reader.fail(field, '"' + shortened(field.text) + "\" is no name");
      if (!met.insert(id).second || aDefinitions.isBound(field.text)) {
        reader.fail(field, shortened(field.text) + " is bound twice");
      }
      names.push_back(id);
    }
  }

  // Binds the values of the next row; returns whether there is one.
  bool next(KS::SymbolicExprBindings& aBindings) {
    std::vector<Field> row;
    if (!reader.next(row)) return false;
    if (row.size() != names.size()) {
      reader.fail(row.back(), "a row of " + std::to_string(row.size()) + " fields under " +
                                  std::to_string(names.size()) + " names");
    }
    for (const Field& field : row) {
      if (const auto value = valueOf(field)) aBindings.set(names[field.number - 1], *value);
    }
    return true;
  }

 private:
  bool isName(SymbolicExprId aId) const {
    if (aId == KS::invalidSymbolicExprId) return false;
    const auto op = static_cast<KS::SymbolicOp>(table.get(aId)->getKind());
    return op == KS::SymbolicOp::String || op == KS::SymbolicOp::MemberValue;
  }

  std::optional<KS::Eval::Value> valueOf(const Field& aField) const {
    if (aField.text.find_first_not_of(" \t") == std::string::npos) return std::nullopt;
    KS::SymbolicExprTable scratch;
    const KS::SymbolicExprParser parse(scratch, cSyntax);
    const SymbolicExprId id = parse(aField.text);
    if (id == KS::invalidSymbolicExprId) {
      reader.fail(aField, "expected " + parse.diagnose(aField.text)->expected + " in \"" +
                              shortened(aField.text) + '"');
    }
    try {
      const SymbolicExprId value = toOperators(scratch, id, cSyntax ? Form::C : Form::M);
      const KS::SymbolicExprBindings none(scratch);
      requireValue(scratch, value, none);
      const auto outcome = KS::SymbolicExprProgram(scratch, {value}).run(none)[0];
      if (!outcome.value) throw KS::SymbolicExprEvalError(outcome.error);
      return outcome.value;
    } catch (const KS::SymbolicExprEvalError& error) {
      reader.fail(aField, shortened(error.what()));
    }
  }

  const bool cSyntax;
  KS::SymbolicExprTable& table;
  CsvReader reader;
  std::vector<SymbolicExprId> names;
};

std::vector<std::string> expressionsOf(const Request& aRequest, Streams& aStreams) {
  std::vector<std::string> texts = aRequest.expressions;
  if (!texts.empty()) return texts;
  InputLines lines(aStreams);
  for (std::string line; lines.next(line);) texts.push_back(line);
  return texts;
}

}  // namespace

void answerTable(const Request& aRequest, Streams& aStreams, bool& aHasFailed) {
  const std::string text = readWholeFile(aRequest.valuesPath, aStreams);
  const Definitions definitions(aRequest);
  KS::SymbolicExprTable table;
  table.addBoolSymbols();
  KS::SymbolicExprBindings fixed(table);
  definitions.bind(table, fixed);
  {
    // What is wrong with the table is told before anything is answered.
    ValueTable values(aRequest, definitions, table, text);
    for (KS::SymbolicExprBindings row = fixed; values.next(row);) continue;
  }

  const KS::SymbolicExprParser parse(table, aRequest.from == Form::C);
  const std::vector<std::string> texts = expressionsOf(aRequest, aStreams);
  std::vector<SymbolicExprId> roots;  // an expression that does not parse is an empty list
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const SymbolicExprId id = parse(texts[i]);
    if (id == KS::invalidSymbolicExprId) {
      const bool isArgument = !aRequest.expressions.empty();
      aStreams.err << diagnostic(
          isArgument ? "<argument " + std::to_string(i + 1) + '>' : "<stdin>",
          isArgument ? 1 : i + 1, texts[i], *parse.diagnose(texts[i]));
      aHasFailed = true;
    }
    roots.push_back(id == KS::invalidSymbolicExprId ? id : toOperators(table, id, aRequest.from));
  }
  std::vector<SymbolicExprId> parsed;
  parsed.reserve(roots.size());
  for (const SymbolicExprId root : roots) {
    parsed.push_back(root == KS::invalidSymbolicExprId ? table.getIdFALSE() : root);
  }
  const KS::SymbolicExprProgram program(table, parsed);

  const bool isOnTerminal = aStreams.outIsTerminal;
  std::string line;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) line += ',';
    appendCsvField(line, texts[i], isOnTerminal);
  }
  send(aStreams.out, line + csvLineEnd(isOnTerminal));
  ProblemCounts problems;
  ValueTable values(aRequest, definitions, table, text);
  std::size_t number = 0;
  for (;;) {
    KS::SymbolicExprBindings row = fixed;
    if (!values.next(row)) break;
    ++number;
    const auto outcomes = program.run(row);
    line.clear();
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (i > 0) line += ',';
      if (roots[i] == KS::invalidSymbolicExprId) continue;
      try {
        requireValue(table, roots[i], row);
        if (!outcomes[i].value) throw KS::SymbolicExprEvalError(outcomes[i].error);
        std::vector<double> numbers;
        if (outcomes[i].value->tag() == KS::Eval::Value::Single) {
          numbers.push_back(outcomes[i].value->scalar().toDouble());
        } else {
          for (const KS::Eval::Scalar& scalar : outcomes[i].value->vector()) {
            numbers.push_back(scalar.toDouble());
          }
        }
        line += numbersText(numbers);
      } catch (const KS::SymbolicExprEvalError& error) {
        aHasFailed = true;
        if (problems.add("values that cannot be computed")) {
          aStreams.err << "configuration " << number << ", " << shortened(texts[i]) << ": "
                       << shortened(error.what()) << '\n';
        }
      }
    }
    send(aStreams.out, line + csvLineEnd(isOnTerminal));
  }
  aStreams.err << problems.remaining(sourceName(aRequest.valuesPath));
  if (!aStreams.out.flush()) throw WriteError();
}

}  // namespace ksexpr
