// The commands that answer one expression at a time.
#pragma once

#include <cerrno>
#include <cstddef>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/FormFinder.hpp"

namespace ksexpr {

/// The program's streams, and which of them a person reads as they are written.
struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool outIsTerminal = false;
  bool errIsTerminal = false;
  /// The columns of the terminal that the answers go to; 0 for not known.
  std::size_t outWidth = 0;
  bool outHasColour = false;
  /// Whether summaries, progress and warnings are left out.
  bool isQuiet = false;
  /// Whether somebody has read standard input, which can be read once.
  bool isInputTaken = false;

  /// Standard input, for one who reads all of it. Throws `UsageError` when asked again.
  std::istream& takeInput();
};

/// Standard input line by line, without the ends of lines and without a byte order mark.
class InputLines {
 public:
  /// Takes the input. Throws `UsageError` where it has been taken.
  explicit InputLines(Streams& aStreams) : in(aStreams.takeInput()) {}
  /// Gets the next line; returns whether there was one. Throws `std::runtime_error` where the input
  /// can't be read.
  bool next(std::string& aLine);
  /// Whether the next line need not be waited for.
  bool isMoreThere() const;

 private:
  std::istream& in;
  bool isFirst = true;
};

/// A command line that does not make sense; the exit status is 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
/// The error about a text of the command line, called `aSource`, that is no expression.
UsageError noExpression(const std::string& aSource, const std::string& aText,
                        const KS::SymbolicExprParseError& aError);

/// A question that can't be answered; the message is fit for a terminal. The exit status is 1.
class AnswerError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Standard output can't be written.
class WriteError : public std::runtime_error {
 public:
  /// Made right after the failed write, whose reason `errno` still holds.
  WriteError();
  /// Whether nobody reads on, as `head` does when it has seen enough.
  bool isClosedPipe() const { return reason == EPIPE; }

 private:
  explicit WriteError(int aReason);
  int reason;
};

/// How an expression is spelled.
enum class Form { M, C, Preprocessor };

/// What the command line asks of the expressions.
struct Request {
  Form from = Form::M;
  std::optional<Form> to;
  bool spaces = false;
  bool passes = false;
  bool explain = false;
  std::size_t maxPasses = 10;
  std::vector<std::string> bindings;
  std::string valuesPath;  ///< of a table whose rows are configurations
  /// Whether lines are records, and answers too; see `Record`.
  bool asRecords = false;
  std::vector<std::string> expressions;
};

/// An expression in a table that may hold those before it, on which no answer depends.
struct Expression {
  KS::SymbolicExprTable& table;
  KS::SymbolicExprId id;
  const Request& request;
  /// The values of members; symbols have theirs registered in the table.
  const KS::SymbolicExprBindings& bindings;
  /// These two keep what they know of the table for the expressions after this one.
  const KS::SymbolicExprSimplify& simplifier;
  FormFinder& forms;

  /// The expression with functions of M syntax as operators, where it was read in that syntax.
  KS::SymbolicExprId operators() const;
  /// The text of another expression of the same table, in the form that is asked for.
  std::string print(KS::SymbolicExprId aId) const;
};

/// A command: what it answers, whether answers are several lines, so that an empty line stands
/// between two of them, and whether they tell of the table, which then holds nothing else.
struct Command {
  std::string (*answer)(const Expression&);
  bool manyLines = false;
  bool isAboutTable = false;
};

std::string answerPrint(const Expression& aExpression);
std::string answerSimplify(const Expression& aExpression);
std::string answerEval(const Expression& aExpression);
std::string answerConvert(const Expression& aExpression);
std::string answerCastInt(const Expression& aExpression);
std::string answerFactor(const Expression& aExpression);
std::string answerSymbols(const Expression& aExpression);
std::string answerDump(const Expression& aExpression);
std::string answerDot(const Expression& aExpression);

/// What the command line binds, parsed once: symbols to expressions, members to their values.
class Definitions {
 public:
  /// Throws `UsageError` for a definition that makes no sense.
  explicit Definitions(const Request& aRequest);

  /// Whether a name, as a text spells it, is bound.
  bool isBound(const std::string& aName) const;
  /// Whether there is none.
  bool empty() const { return values.empty(); }
  /// Registers the symbols' values in a table and binds its members. Throws
  /// `KS::SymbolicExprEvalError` for a member without a value.
  void bind(KS::SymbolicExprTable& aTable, KS::SymbolicExprBindings& aBindings) const;

 private:
  void add(const std::string& aDefinition);

  const bool cSyntax;
  KS::SymbolicExprTable table;
  std::vector<std::pair<KS::SymbolicExprId, KS::SymbolicExprId>> values;  // by name's node
};

/// The expression with functions of M syntax as operators, where the text is in that syntax.
KS::SymbolicExprId toOperators(KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId, Form aFrom);

/// Throws `KS::SymbolicExprEvalError` for a call or member that has no value and stands where
/// evaluation would take it for 0: as the expression, or as the value that a symbol is bound to.
void requireValue(const KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId,
                  const KS::SymbolicExprBindings& aBindings);

/// The numbers of a value, separated by blanks.
std::string numbersText(const std::vector<double>& aNumbers);

/// Answers the request's expressions, or the lines of standard input where it has none, in order.
/// Sets `aHasFailed` as soon as one fails. Throws `UsageError` for a binding that makes no sense
/// and `WriteError`.
void answerAll(const Command& aCommand, const Request& aRequest, Streams& aStreams,
               bool& aHasFailed);

}  // namespace ksexpr
