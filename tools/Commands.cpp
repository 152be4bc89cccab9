#include "tools/Commands.hpp"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <istream>
#include <ostream>
#include <set>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Graph.hpp"
#include "tools/Text.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

namespace {

// The shortest text that reads back as the same number; at most 17 significant digits.
std::string numberText(double aValue) {
  if (std::isnan(aValue)) return "nan";
  char buffer[32];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, aValue).ptr};
}

// The symbols' values that the command line binds, parsed once.
class Bindings {
 public:
  explicit Bindings(const Request& aRequest) {
    for (const std::string& binding : aRequest.bindings) add(binding, aRequest.from == Form::C);
  }

  void registerIn(KS::SymbolicExprTable& aTable) const {
    const KS::SymbolicExprCopy copy(table, aTable);
    for (const auto& [name, id] : values) aTable.registerValueId(name, copy(id));
  }

 private:
  void add(const std::string& aBinding, bool aCSyntax) {
    const std::size_t equals = aBinding.find('=');
    const std::string name = aBinding.substr(0, equals);
    const KS::SymbolicExprParser parse(table, aCSyntax);
    const KS::SymbolicExprId nameId = parse(name);
    if (equals == std::string::npos || nameId == KS::invalidSymbolicExprId ||
        table.get(nameId)->getKind() != static_cast<int>(KS::SymbolicOp::String)) {
      throw UsageError("-D " + shortened(aBinding) + ": expected NAME=EXPR");
    }
    const std::string text = aBinding.substr(equals + 1);
    if (const auto error = parse.diagnose(text)) {
      std::string message = diagnostic("<-D " + shortened(name) + '>', 1, text, error->offset,
                                       "expected " + error->expected);
      message.pop_back();
      throw UsageError(message);
    }
    if (!names.insert(nameId).second) {
      throw UsageError("-D " + shortened(name) + ": bound twice");
    }
    values.emplace_back(static_cast<const KS::SymbolicString*>(table.get(nameId))->getText(),
                        parse(text));
  }

  KS::SymbolicExprTable table;
  std::set<KS::SymbolicExprId> names;
  std::vector<std::pair<std::string, KS::SymbolicExprId>> values;
};

// Answers expressions one after the other and remembers whether one failed.
class Answering {
 public:
  Answering(const Command& aCommand, const Request& aRequest, Streams& aStreams, bool& aHasFailed)
      : command(aCommand),
        request(aRequest),
        streams(aStreams),
        hasFailed(aHasFailed),
        bindings(aRequest) {}

  // Answers the text, which is line `aLine` of the source.
  void answer(const std::string& aSource, std::size_t aLine, const std::string& aText) {
    std::string problem;
    std::string text;
    try {
      KS::SymbolicExprTable table;
      bindings.registerIn(table);
      const KS::SymbolicExprParser parse(table, request.from == Form::C);
      const KS::SymbolicExprId id = parse(aText);
      if (id != KS::invalidSymbolicExprId) {
        text = command.answer({table, id, request});
      } else if (const auto error = parse.diagnose(aText)) {
        problem = diagnostic(aSource, aLine, aText, error->offset, "expected " + error->expected);
      }
    } catch (const std::exception& error) {
      problem = diagnostic(aSource, aLine, aText, 0, shortened(error.what()));
    }
    write(text, problem);
  }

  void flush() {
    if (!streams.out.flush()) throw WriteError();
  }

 private:
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
  Bindings bindings;
  bool hasAnswered = false;
};

}  // namespace

WriteError::WriteError() : WriteError(errno) {}
WriteError::WriteError(int aReason)
    : std::runtime_error(std::string("cannot write to standard output: ") +
                         (aReason != 0 ? std::strerror(aReason) : "unknown error")),
      reason(aReason) {}

std::string Expression::print(KS::SymbolicExprId aId) const {
  const Form form = request.to.value_or(request.from);
  return KS::SymbolicExprPrinter(table, form == Form::M, request.spaces,
                                 form == Form::Preprocessor)(aId);
}

std::string answerPrint(const Expression& aExpression) { return aExpression.print(aExpression.id); }

std::string answerSimplify(const Expression& aExpression) {
  const Request& request = aExpression.request;
  const KS::SymbolicExprSimplify simplify(aExpression.table, request.maxPasses);
  if (!request.explain) {
    std::size_t passes = 0;
    const KS::SymbolicExprId id = simplify.simplify(aExpression.id, passes);
    return (request.passes ? std::to_string(passes) + '\t' : "") + aExpression.print(id);
  }
  std::string out;
  std::size_t pass = 0;
  for (const KS::SymbolicExprId id : simplify.explain(aExpression.id)) {
    if (pass++ > 0) out += '\n';
    if (request.passes) out += std::to_string(pass) + '\t';
    out += aExpression.print(id);
  }
  return out;
}

std::string answerEval(const Expression& aExpression) {
  std::string out;
  for (const double value : KS::SymbolicExprEval(aExpression.table).eval(aExpression.id)) {
    if (!out.empty()) out += ' ';
    out += numberText(value);
  }
  return out;
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
  Answering answering(aCommand, aRequest, aStreams, aHasFailed);
  std::size_t number = 0;
  for (const std::string& text : aRequest.expressions) {
    answering.answer("<argument " + std::to_string(++number) + '>', 1, text);
  }
  if (aRequest.expressions.empty()) {
    for (std::string line; std::getline(aStreams.in, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      answering.answer("<stdin>", ++number, line);
      // Whoever waits for the answer before writing the next line gets it; a file is answered in
      // large pieces.
      if (aStreams.in.rdbuf()->in_avail() <= 0) answering.flush();
    }
    if (aStreams.in.bad()) {
      throw std::runtime_error(std::string("cannot read standard input: ") + std::strerror(errno));
    }
  }
  answering.flush();
}

}  // namespace ksexpr
