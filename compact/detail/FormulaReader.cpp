#include "compact/detail/FormulaReader.hpp"

#include <algorithm>
#include <vector>

#include "base/detail/Walk.hpp"

namespace KS::detail {

Formula FormulaReader::read(SymbolicExprId aId) {
  RewriteStack stack;
  return Formula::ofCode(rewriteDistinct(stack, aId, *this));
}

SymbolicExprId FormulaReader::known(SymbolicExprId aId) {
  const auto code = codes.find(aId);
  if (code != codes.end()) return code->second;
  const NodeView node(table, aId);
  if (node.isConnective() || node.is(SymbolicOp::Not)) return invalidSymbolicExprId;
  return codes.emplace(aId, readAtom(aId).code()).first->second;
}

Formula FormulaReader::readAtom(SymbolicExprId aId) {
  SymbolicExprId id = aId;
  if (NodeView(table, id).isRelation()) id = relations(id);
  if (id == table.getIdTRUE() || id == table.getIdFALSE()) {
    return Formula::constant(id == table.getIdTRUE());
  }
  const NodeView node(table, id);
  if (node.is(SymbolicOp::IntValue)) return Formula::constant(node.intValue() != 0);
  return formulas.atom(id, sizes(id).literals);
}

// The operands of a chain, each once, or that of a negation.
template <class List>
void FormulaReader::appendOperands(SymbolicExprId aId, List& aOperands) {
  const SymbolicOp op = NodeView(table, aId).kind();
  if (op == SymbolicOp::Not) {
    appendInputs(table, aId, aOperands);
    return;
  }
  boost::unordered_flat_set<SymbolicExprId> met;
  std::vector<SymbolicExprId> open{aId};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    open.pop_back();
    if (!met.insert(id).second) continue;
    if (!NodeView(table, id).is(op)) {
      aOperands.push_back(id);
      continue;
    }
    const std::size_t before = open.size();
    appendInputs(table, id, open);
    std::reverse(open.begin() + static_cast<std::ptrdiff_t>(before), open.end());
  }
}

SymbolicExprId FormulaReader::rewrite(SymbolicExprId aId, const SymbolicExprId* aCodes,
                                      std::size_t aCount) {
  Formulas::List operands;
  for (std::size_t i = 0; i < aCount; ++i) operands.push_back(Formula::ofCode(aCodes[i]));
  const SymbolicOp op = NodeView(table, aId).kind();
  const Formula result = op == SymbolicOp::Not   ? !operands.front()
                         : op == SymbolicOp::And ? formulas.conjunction(operands)
                                                 : formulas.disjunction(operands);
  codes.emplace(aId, result.code());
  return result.code();
}

}  // namespace KS::detail
