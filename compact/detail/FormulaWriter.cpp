#include "compact/detail/FormulaWriter.hpp"

#include <algorithm>

#include "base/detail/Intern.hpp"
#include "base/detail/Walk.hpp"

namespace KS::detail {

namespace {

constexpr std::size_t connectiveLength = 2;  // of "&&"
constexpr std::size_t negationLength = 3;    // of "~()"

}  // namespace

SymbolicExprId FormulaWriter::write(Formula aFormula) {
  measure(aFormula);
  root = aFormula;
  RewriteStack stack;
  return rewriteDistinct(stack, aFormula.code(), *this);
}

std::size_t FormulaWriter::length(Formula aFormula) {
  measure(aFormula);
  return shape(aFormula, false).length;
}

// Finds the shapes of all nodes up to a formula, which is newer than its operands.
void FormulaWriter::measure(Formula aFormula) {
  const std::size_t numCodes = 2 * (std::size_t{aFormula.index()} + 1);
  while (shapes.size() < numCodes) {
    const Shape next = shape(Formula::ofCode(shapes.size()), true);
    shapes.push_back(next);
  }
}

FormulaWriter::Shape FormulaWriter::shape(Formula aFormula, bool aIsOperand) const {
  if (!formulas.isCompound(aFormula)) {
    if (!aFormula.isNegated() || aFormula.isConstant()) return {};
    const SymbolicOp op = NodeView(table, formulas.expression(aFormula)).kind();
    if (op == SymbolicOp::Equal) return {};  // becomes ~=
    return {isBinaryOperator(op) ? negationLength : 1, false, false};
  }
  // Operands alternate between conjunctions and disjunctions, and only the latter need parentheses.
  const bool isDisjunction = aFormula.isNegated();
  // Operands as they are, and what is saved by those that are shorter when negated.
  std::size_t plain = 0, saved = 0, numSaving = 0;
  const Formulas::Operands operands = formulas.operands(aFormula);
  for (const Formula operand : operands) {
    const Formula asWritten = operand.negatedIf(aFormula.isNegated());
    const std::size_t itself = operandLength(asWritten), negated = operandLength(!asWritten);
    plain += itself;
    if (negated < itself) {
      saved += itself - negated;
      ++numSaving;
    }
  }
  plain += connectiveLength * (operands.size() - 1);
  if (numSaving == operands.size()) {
    // Beside the connectives, a negation needs parentheses of its own and no others.
    const std::size_t parentheses = aIsOperand && isDisjunction ? 2 : 0;
    if (saved + parentheses > negationLength) return {plain - saved + negationLength, false, true};
  } else if (numSaving > 1 && saved > negationLength) {
    return {plain - saved + negationLength, isDisjunction, true};
  }
  return {plain, isDisjunction, false};
}

std::size_t FormulaWriter::operandLength(Formula aOperand) const {
  return shapes[aOperand.code()].lengthAsOperand();
}

SymbolicExprId FormulaWriter::writeAtom(Formula aFormula) const {
  const SymbolicExprId atom = formulas.expression(aFormula);
  if (!aFormula.isNegated()) return atom;
  const NodeView node(table, atom);
  if (node.is(SymbolicOp::Equal)) {
    return intern<SymbolicNotEqualExpr>(table, node.left(), node.right());
  }
  return intern<SymbolicNotExpr>(table, atom);
}

SymbolicExprId FormulaWriter::known(SymbolicExprId aCode) const {
  const Formula formula = Formula::ofCode(aCode);
  if (formula.isConstant()) return formula.isNegated() ? table.getIdFALSE() : table.getIdTRUE();
  if (!formulas.isCompound(formula)) return writeAtom(formula);
  if (formula == root) return invalidSymbolicExprId;
  const auto found = written.find(aCode);
  return found == written.end() ? invalidSymbolicExprId : found->second;
}

// The operands in the order of the formula, each as it stands or negated.
template <class List>
void FormulaWriter::appendOperands(SymbolicExprId aCode, List& aOperands) {
  const Formula formula = Formula::ofCode(aCode);
  const Shape shapeHere = shape(formula, formula != root);
  for (const Formula operand : formulas.operands(formula)) {
    const Formula asWritten = operand.negatedIf(formula.isNegated());
    aOperands.push_back(asWritten.negatedIf(isNegatedIn(shapeHere, asWritten)).code());
  }
}

SymbolicExprId FormulaWriter::rewrite(SymbolicExprId aCode, const SymbolicExprId* aOperands,
                                      std::size_t aCount) {
  const Formula formula = Formula::ofCode(aCode);
  const Shape shapeHere = shape(formula, formula != root);
  std::vector<SymbolicExprId> plain, negated;
  const Formulas::Operands operands = formulas.operands(formula);
  for (std::size_t i = 0; i < aCount; ++i) {
    const Formula asWritten = operands.first[i].negatedIf(formula.isNegated());
    (isNegatedIn(shapeHere, asWritten) ? negated : plain).push_back(aOperands[i]);
  }
  if (!negated.empty()) {
    plain.push_back(intern<SymbolicNotExpr>(table, chain(!formula.isNegated(), negated)));
  }
  const SymbolicExprId result = chain(formula.isNegated(), plain);
  if (formula != root) written.emplace(aCode, result);
  return result;
}

SymbolicExprId FormulaWriter::chain(bool aIsDisjunction,
                                    std::vector<SymbolicExprId>& aOperands) const {
  order.sort(aOperands.data(), aOperands.data() + aOperands.size());
  SymbolicExprId result = aOperands.front();
  for (std::size_t i = 1; i < aOperands.size(); ++i) {
    result = aIsDisjunction ? intern<SymbolicOrExpr>(table, result, aOperands[i])
                            : intern<SymbolicAndExpr>(table, result, aOperands[i]);
  }
  return result;
}

}  // namespace KS::detail
