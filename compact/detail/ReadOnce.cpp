#include "compact/detail/ReadOnce.hpp"

#include <vector>

#include "base/detail/NodeView.hpp"

namespace KS::detail {

namespace {

// From four negated symbols on, one negation of them all is shorter.
constexpr std::size_t maxNegations = 3;

bool isNumber(SymbolicOp aOp) {
  return aOp == SymbolicOp::IntValue || aOp == SymbolicOp::DoubleValue;
}

}  // namespace

// Notes the symbol that an atom is or compares with a number. Returns false where there is none, or
// it was met before. Inputs of a host's own nodes may be anything; who walks on reports them.
bool ReadOnce::addSymbolOf(SymbolicExprId aAtom) {
  const NodeView node(table, aAtom);
  const SymbolicExprId symbol = node.isRelation() ? node.left() : aAtom;
  if (node.isRelation()) {
    if (symbol >= aAtom || node.right() >= aAtom) return false;
    if (!isNumber(NodeView(table, node.right()).kind())) return false;
  }
  if (!NodeView(table, symbol).is(SymbolicOp::String)) return false;
  if (symbol == table.getIdTRUE() || symbol == table.getIdFALSE()) return false;
  return symbols.insert(symbol).second;
}

bool ReadOnce::holds(const Formulas& aFormulas, Formula aFormula) {
  symbols.clear();
  std::vector<Formula> open{aFormula};
  while (!open.empty()) {
    const Formula formula = open.back();
    open.pop_back();
    if (aFormulas.isCompound(formula)) {
      const Formulas::Operands operands = aFormulas.operands(formula);
      open.insert(open.end(), operands.begin(), operands.end());
    } else if (formula.isConstant() || !addSymbolOf(aFormulas.expression(formula))) {
      return false;
    }
  }
  return true;
}

bool ReadOnce::isCompactConjunction(SymbolicExprId aId, TextOrder& aOrder) {
  symbols.clear();
  std::size_t negations = 0;
  // From the last operand to the first.
  SymbolicExprId rest = aId, behind = invalidSymbolicExprId;
  for (bool isLast = false; !isLast;) {
    const NodeView link(table, rest);
    isLast = !link.is(SymbolicOp::And);
    const SymbolicExprId operand = isLast ? rest : link.right();
    if (!isLast && (operand >= rest || link.left() >= rest)) return false;
    const NodeView node(table, operand);
    const bool isNegation = node.is(SymbolicOp::Not);
    if (isNegation) {
      if (node.left() >= operand || ++negations > maxNegations) return false;
      // The negation of a relation may be another relation.
      if (NodeView(table, node.left()).isRelation()) return false;
    }
    if (!addSymbolOf(isNegation ? node.left() : operand)) return false;
    // Only what is known to have sound inputs has a text that can be compared.
    if (behind != invalidSymbolicExprId && !aOrder.isBefore(operand, behind)) return false;
    behind = operand;
    rest = isLast ? rest : link.left();
  }
  return true;
}

}  // namespace KS::detail
