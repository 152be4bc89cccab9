#include "tools/Commands.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <memory>
#include <ostream>
#include <set>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Explain.hpp"
#include "tools/Graph.hpp"
#include "tools/Layout.hpp"
#include "tools/Records.hpp"
#include "tools/Text.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"
#include "xform/SymbolicExprM2C.hpp"
#include "xform/SymbolicExprSubstitute.hpp"

namespace ksexpr {

namespace {

// Where expressions are answered. One is made for many of them: most symbols of a line have been in
// those before it.
struct Workplace {
  Workplace(const Request& aRequest, const Definitions& aDefinitions)
      : bindings(table),
        parse(table, aRequest.from == Form::C),
        simplifier(table, aRequest.maxPasses),
        forms(table) {
    aDefinitions.bind(table, bindings);
  }

  KS::SymbolicExprTable table;
  KS::SymbolicExprBindings bindings;
  KS::SymbolicExprParser parse;
  KS::SymbolicExprSimplify simplifier;
  FormFinder forms;
};

// Tables come and go while lines are answered. The allocator of glibc goes on to keep as much
// memory as it was once given back in one piece. (Saves a tenth of the time of `print` through a
// pipe, where the system would fill pages with zeros again for every table.)
void keepMemoryOfTables() {
  void* volatile memory = std::malloc(std::size_t{8} << 20);  // volatile, or compilers leave it out
  std::free(memory);
}

// The nodes of a table that goes on being used; so much stays in the processor's cache.
constexpr std::size_t maxKeptNodes = std::size_t{16} << 10;

// Answers expressions one after the other and remembers whether one failed.
class Answering {
 public:
  Answering(const Command& aCommand, const Request& aRequest, Streams& aStreams, bool& aHasFailed)
      : command(aCommand),
        request(aRequest),
        streams(aStreams),
        hasFailed(aHasFailed),
        definitions(aRequest) {}

  // Answers the text, which is line `aLine` of the source.
  void answer(const std::string& aSource, std::size_t aLine, const std::string& aText) {
    const Answer found = find(aText);
    std::string problem;
    if (found.error) {
      problem = diagnostic(aSource, aLine, aText, *found.error);
    } else if (!found.failure.empty()) {
      problem = diagnostic(aSource, aLine, aText, 0, found.failure);
    }
    write(found.text, problem);
  }
  // Answers the text by a record with this id.
  void answerAsRecord(const std::string& aId, const std::string& aText) {
    const Answer found = find(aText);
    line.clear();
    if (found.error) {
      appendError(line, aId, *found.error);
    } else if (!found.failure.empty()) {
      appendError(line, aId, found.failure);
    } else {
      appendAnswer(line, aId, found.text);
    }
    hasFailed = hasFailed || found.error || !found.failure.empty();
    send(streams.out, line);
  }
  // Answers a line that spells a record.
  void answerRecord(std::string& aLine) {
    const std::optional<RecordError> error = records.read(aLine, record);
    if (!error) {
      answerAsRecord(record.id, record.text);
      return;
    }
    line.clear();
    appendError(line, record.id, *error);
    hasFailed = true;
    send(streams.out, line);
  }

  void flush() {
    if (!streams.out.flush()) throw WriteError();
  }

 private:
  // A text, why the question is none, or what is wrong with the answer.
  struct Answer {
    std::string text;
    std::optional<KS::SymbolicExprParseError> error;
    std::string failure;
  };

  Answer find(const std::string& aText) {
    try {
      const bool isOld = place && (command.isAboutTable || place->table.size() > maxKeptNodes);
      if (!place || isOld) {
        place.reset();
        place = std::make_unique<Workplace>(request, definitions);
      }
      const KS::SymbolicExprId id = place->parse(aText);
      if (id != KS::invalidSymbolicExprId) {
        return {command.answer(
                    {place->table, id, request, place->bindings, place->simplifier, place->forms}),
                {},
                {}};
      }
      return {{}, place->parse.diagnose(aText), {}};
    } catch (const std::exception& error) {
      return {{}, {}, shortened(error.what())};
    }
  }

  void write(const std::string& aText, const std::string& aProblem) {
    if (command.manyLines && hasAnswered) streams.out << '\n';
    hasAnswered = true;
    if (!aProblem.empty()) hasFailed = true;
    if (!(streams.out << aText << '\n')) throw WriteError();
    if (aProblem.empty()) return;
    // Answers and messages stay in order where both go to one terminal.
    flush();
    streams.err << aProblem << std::flush;
  }

  const Command& command;
  const Request& request;
  Streams& streams;
  bool& hasFailed;
  Definitions definitions;
  std::unique_ptr<Workplace> place;
  RecordReader records;
  Record record;
  std::string line;  // of an answer that is a record
  bool hasAnswered = false;
};

KS::SymbolicOp opOf(const KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId) {
  return static_cast<KS::SymbolicOp>(aTable.get(aId)->getKind());
}

bool isCall(KS::SymbolicOp aOp) {
  return aOp >= KS::SymbolicOp::FcnCall0U && aOp <= KS::SymbolicOp::FcnCall;
}

const std::string& nameOf(const KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId) {
  return static_cast<const KS::SymbolicString*>(aTable.get(aId))->getText();
}

// What the bindings leave of an expression, in the dialect that it was read in.
KS::SymbolicExprId residual(const Expression& aExpression) {
  if (aExpression.request.bindings.empty()) return aExpression.id;
  KS::SymbolicExprTable& table = aExpression.table;
  const KS::SymbolicExprId operators = aExpression.operators();
  const KS::SymbolicExprId left =
      KS::SymbolicExprSubstitute(table)(operators, aExpression.bindings);
  return operators == aExpression.id ? left : KS::SymbolicExprC2M(table)(left);
}

}  // namespace

std::istream& Streams::takeInput() {
  if (isInputTaken) throw UsageError("standard input (-) can be read once only");
  isInputTaken = true;
  return in;
}

bool InputLines::next(std::string& aLine) {
  errno = 0;
  if (!std::getline(in, aLine)) {
    if (!in.bad()) return false;
    throw std::runtime_error(std::string("cannot read standard input: ") + std::strerror(errno));
  }
  if (std::exchange(isFirst, false)) dropByteOrderMark(aLine);
  if (!aLine.empty() && aLine.back() == '\r') aLine.pop_back();
  return true;
}

bool InputLines::isMoreThere() const { return in.rdbuf()->in_avail() > 0; }

WriteError::WriteError() : WriteError(errno) {}
WriteError::WriteError(int aReason)
    : std::runtime_error(std::string("cannot write to standard output: ") +
                         (aReason != 0 ? std::strerror(aReason) : "unknown error")),
      reason(aReason) {}

Definitions::Definitions(const Request& aRequest) : cSyntax(aRequest.from == Form::C) {
  table.addBoolSymbols();
  for (const std::string& definition : aRequest.bindings) add(definition);
}

UsageError noExpression(const std::string& aSource, const std::string& aText,
                        const KS::SymbolicExprParseError& aError) {
  std::string message = diagnostic(aSource, 1, aText, aError);
  message.pop_back();  // whoever tells it ends the line
  return UsageError(message);
}

void Definitions::add(const std::string& aDefinition) {
  const std::size_t equals = aDefinition.find('=');
  const std::string name = aDefinition.substr(0, equals);
  const KS::SymbolicExprParser parse(table, cSyntax);
  const KS::SymbolicExprId nameId = parse(name);
  if (equals == std::string::npos || nameId == KS::invalidSymbolicExprId ||
      (opOf(table, nameId) != KS::SymbolicOp::String &&
       opOf(table, nameId) != KS::SymbolicOp::MemberValue)) {
    std::string message = "-D " + shortened(aDefinition) + ": expected NAME=EXPR";
    const auto error = parse.diagnose(name);
    if (error && !error->note.empty()) message += "\nnote: " + error->note;
    throw UsageError(message);
  }
  const std::string text = aDefinition.substr(equals + 1);
  if (const auto error = parse.diagnose(text)) {
    throw noExpression("<-D " + shortened(name) + '>', text, *error);
  }
  const bool isTwice = std::any_of(values.begin(), values.end(),
                                   [nameId](const auto& value) { return value.first == nameId; });
  if (isTwice) throw UsageError("-D " + shortened(name) + ": bound twice");
  values.emplace_back(nameId, toOperators(table, parse(text), cSyntax ? Form::C : Form::M));
}

bool Definitions::isBound(const std::string& aName) const {
  KS::SymbolicExprTable scratch;
  const KS::SymbolicExprId id = KS::SymbolicExprParser(scratch, cSyntax)(aName);
  if (id == KS::invalidSymbolicExprId) return false;
  const KS::SymbolicExprId known = table.lookup(scratch.get(id));
  return std::any_of(values.begin(), values.end(),
                     [known](const auto& value) { return value.first == known; });
}

void Definitions::bind(KS::SymbolicExprTable& aTable, KS::SymbolicExprBindings& aBindings) const {
  const KS::SymbolicExprCopy copy(table, aTable);
  for (const auto& [name, value] : values) {
    if (opOf(table, name) == KS::SymbolicOp::String) {
      aTable.registerValueId(nameOf(table, name), copy(value));
    }
  }
  for (const auto& [name, value] : values) {
    if (opOf(table, name) == KS::SymbolicOp::String) continue;
    const KS::SymbolicExprId member = copy(name);
    const KS::SymbolicExprId id = copy(value);
    requireValue(aTable, id, aBindings);
    std::vector<KS::Eval::Scalar> numbers;
    for (const double number : KS::SymbolicExprEval(aTable).eval(id)) {
      const bool isInt = std::floor(number) == number && std::abs(number) < 0x1p31;
      numbers.push_back(isInt ? KS::Eval::Scalar(static_cast<int>(number))
                              : KS::Eval::Scalar(number));
    }
    aBindings.set(member, numbers.size() == 1 ? KS::Eval::Value(numbers[0])
                                              : KS::Eval::Value(std::move(numbers)));
  }
}

KS::SymbolicExprId toOperators(KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId, Form aFrom) {
  return aFrom == Form::M ? KS::SymbolicExprM2C(aTable)(aId) : aId;
}

void requireValue(const KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId,
                  const KS::SymbolicExprBindings& aBindings) {
  for (std::set<KS::SymbolicExprId> met; aBindings.find(aId) == nullptr;) {
    const KS::SymbolicOp op = opOf(aTable, aId);
    if (isCall(op)) {
      throw KS::SymbolicExprEvalError(
          "the call of '" + nameOf(aTable, aTable.get(aId)->getInput(0)) + "' has no value");
    }
    if (op == KS::SymbolicOp::MemberValue) {
      throw KS::SymbolicExprEvalError("the member '" +
                                      KS::SymbolicExprPrinter(aTable, true, false, false)(aId) +
                                      "' has no value");
    }
    if (op != KS::SymbolicOp::String || !met.insert(aId).second) return;
    const KS::SymbolicExprId value = aTable.getValueId(aId);
    if (value == KS::invalidSymbolicExprId) return;
    aId = value;
  }
}

std::string numbersText(const std::vector<double>& aNumbers) {
  std::string out;
  for (const double number : aNumbers) {
    if (!out.empty()) out += ' ';
    out += numberText(number);
  }
  return out;
}

KS::SymbolicExprId Expression::operators() const {
  return forms.hasCall(id) ? toOperators(table, id, request.from) : id;
}

std::string Expression::print(KS::SymbolicExprId aId) const {
  const Form form = request.to.value_or(request.from);
  return KS::SymbolicExprPrinter(table, form == Form::M, request.spaces,
                                 form == Form::Preprocessor)(aId);
}

std::string answerPrint(const Expression& aExpression) { return aExpression.print(aExpression.id); }

std::string answerSimplify(const Expression& aExpression) {
  const Request& request = aExpression.request;
  const KS::SymbolicExprId withValues = residual(aExpression);
  if (request.explain) return explainSimplification(aExpression, withValues);
  std::size_t passes = 0;
  const KS::SymbolicExprId id = aExpression.simplifier.simplify(withValues, passes);
  return (request.passes ? std::to_string(passes) + '\t' : "") + aExpression.print(id);
}

std::string answerEval(const Expression& aExpression) {
  const KS::SymbolicExprId id = aExpression.operators();
  requireValue(aExpression.table, id, aExpression.bindings);
  return numbersText(KS::SymbolicExprEval(aExpression.table).eval(id, aExpression.bindings));
}

std::string answerConvert(const Expression& aExpression) {
  const bool fromM = aExpression.request.from == Form::M;
  const bool toM = aExpression.request.to == Form::M;
  if (fromM && !toM)
    return aExpression.print(KS::SymbolicExprM2C(aExpression.table)(aExpression.id));
  if (toM && !fromM)
    return aExpression.print(KS::SymbolicExprC2M(aExpression.table)(aExpression.id));
  return aExpression.print(aExpression.id);
}

std::string answerCastInt(const Expression& aExpression) {
  return aExpression.print(KS::SymbolicExprCast2Int(aExpression.table).cast2Int(aExpression.id));
}

std::string answerFactor(const Expression& aExpression) {
  return aExpression.print(
      KS::SymbolicExprFactorDivision(aExpression.table).factorDivision(aExpression.id));
}

std::string answerSymbols(const Expression& aExpression) {
  std::vector<std::string> names;
  KS::SymbolicExprSymbols(aExpression.table)(aExpression.id, names);
  std::string out;
  for (const std::string& name : names) {
    if (!out.empty()) out += ' ';
    out += name;
  }
  return out;
}

std::string answerDump(const Expression& aExpression) { return dumpNodes(aExpression.table); }

std::string answerDot(const Expression& aExpression) {
  const Form form = aExpression.request.to.value_or(aExpression.request.from);
  return dotGraph(aExpression.table, aExpression.id, form == Form::M);
}

void answerAll(const Command& aCommand, const Request& aRequest, Streams& aStreams,
               bool& aHasFailed) {
  keepMemoryOfTables();
  Answering answering(aCommand, aRequest, aStreams, aHasFailed);
  std::size_t number = 0;
  for (const std::string& text : aRequest.expressions) {
    ++number;
    if (aRequest.asRecords) {
      answering.answerAsRecord(std::to_string(number), text);
    } else {
      answering.answer("<argument " + std::to_string(number) + '>', 1, text);
    }
  }
  if (aRequest.expressions.empty()) {
    InputLines lines(aStreams);
    for (std::string line; lines.next(line);) {
      ++number;
      if (aRequest.asRecords) {
        answering.answerRecord(line);
      } else {
        answering.answer("<stdin>", number, line);
      }
      // Whoever waits for the answer before writing the next line gets it; a file is answered in
      // large pieces.
      if (!lines.isMoreThere()) answering.flush();
    }
  }
  answering.flush();
}

}  // namespace ksexpr
