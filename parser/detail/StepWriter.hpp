// What the grammar's semantic actions do.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>

#include "parser/SymbolicExprParser.hpp"
#include "parser/detail/BinaryOperators.hpp"
#include "parser/detail/Real.hpp"
#include "parser/detail/Steps.hpp"

namespace KS::detail {

/// Writes the steps of what the grammar matches. Operands are written at once; a binary operator
/// waits until its right operand is complete, which the next operator or the end decides.
class StepWriter {
 public:
  /// What was written so far.
  const Steps& written() const { return steps; }
  /// Whether brackets were nested too deeply for the text to be an expression.
  bool tooDeep() const { return nestingExceeded; }

  /// Forgets everything.
  void clear() {
    steps.clear();
    pending.clear();
    nesting = 0;
    nestingExceeded = false;
  }
  Parser::expression_ast buildTree() const { return steps.buildTree(); }

  void integer(int aValue) { steps.integer(aValue); }
  template <class Text>
  void name(const Text& aText) {
    steps.name({&*aText.begin(), static_cast<std::size_t>(aText.size())});
  }
  /// False for a literal out of range.
  template <class Text>
  bool real(const Text& aText) {
    double value = 0.0;
    const char* const first = &*aText.begin();
    if (!readReal(first, first + aText.size(), value)) return false;
    steps.real(value);
    return true;
  }
  /// An operation whose operands are complete.
  void apply(SymbolicOp aOp, std::size_t aCount) { steps.operation(aOp, aCount); }

  void begin() { pending.push_back({SymbolicOp::String, Level::none}); }
  void infix(BinaryOperator aOperator) {
    // Operators that bind at least as tightly have both their operands.
    completeDownTo(aOperator.level);
    pending.push_back(aOperator);
  }
  void end() {
    completeDownTo(Level::logicalOr);
    pending.pop_back();
  }

  /// Enters a bracket; false beyond the limit.
  bool open() {
    nestingExceeded = nestingExceeded || nesting == SymbolicExprParser::maxNesting;
    if (nestingExceeded) return false;
    ++nesting;
    return true;
  }
  bool close() {
    --nesting;
    return true;
  }

 private:
  void completeDownTo(Level aLevel) {
    for (; pending.back().level >= aLevel; pending.pop_back()) steps.operation(pending.back().op);
  }

  Steps steps;
  boost::container::small_vector<BinaryOperator, 32> pending;
  std::size_t nesting = 0;
  bool nestingExceeded = false;
};

}  // namespace KS::detail
