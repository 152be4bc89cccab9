// Formulas as expressions.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "compact/detail/Formulas.hpp"
#include "simplify/detail/TextOrder.hpp"

namespace KS::detail {

/// Writes formulas into the table, operands in the order of their text. Of the operands of a
/// conjunction or disjunction, those that are shorter when negated stand together under one
/// negation where that makes the text shorter: `~a || ~b || ~c || ~d || e` becomes
/// `~(a && b && c && d) || e`.
class FormulaWriter {
 public:
  FormulaWriter(SymbolicExprTable& aTable, TextOrder& aOrder, const Formulas& aFormulas)
      : table(aTable), order(aOrder), formulas(aFormulas) {}

  /// The expression of a formula.
  SymbolicExprId write(Formula aFormula);
  /// The bytes of its text for connectives, negations and parentheses.
  std::size_t length(Formula aFormula);

  // What the walk over the distinct nodes asks.
  SymbolicExprId known(SymbolicExprId aCode) const;
  template <class List>
  void appendOperands(SymbolicExprId aCode, List& aOperands);
  SymbolicExprId rewrite(SymbolicExprId aCode, const SymbolicExprId* aOperands, std::size_t aCount);

 private:
  // How a formula is written.
  struct Shape {
    std::size_t length = 0;         // of connectives, negations and parentheses
    bool needsParentheses = false;  // as an operand
    bool groupsNegations = false;   // operands shorter when negated stand under one negation
    std::size_t lengthAsOperand() const { return length + (needsParentheses ? 2 : 0); }
  };

  void measure(Formula aFormula);
  Shape shape(Formula aFormula, bool aIsOperand) const;
  std::size_t operandLength(Formula aOperand) const;
  bool isNegatedIn(const Shape& aShape, Formula aOperand) const {
    return aShape.groupsNegations && operandLength(!aOperand) < operandLength(aOperand);
  }
  SymbolicExprId writeAtom(Formula aFormula) const;
  SymbolicExprId chain(bool aIsDisjunction, std::vector<SymbolicExprId>& aOperands) const;

  SymbolicExprTable& table;
  TextOrder& order;
  const Formulas& formulas;
  std::vector<Shape> shapes;  // as operands, by code
  Formula root = Formula::constant(true);
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> written;
};

}  // namespace KS::detail
