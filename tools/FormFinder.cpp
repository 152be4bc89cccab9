#include "tools/FormFinder.hpp"

#include <algorithm>

#include "base/KSSymbolicExpr.hpp"

namespace ksexpr {

FormFinder::FormFinder(const KS::SymbolicExprTable& aTable) : table(aTable) {}

bool FormFinder::hasCall(KS::SymbolicExprId aId) {
  using KS::SymbolicOp;
  // An expression is made of older ones.
  for (KS::SymbolicExprId id = found.size(); id <= aId; ++id) {
    const KS::SymbolicExpr& node = *table.get(id);
    const auto op = static_cast<SymbolicOp>(node.getKind());
    const bool isCall = op >= SymbolicOp::FcnCall0U && op <= SymbolicOp::FcnCall;
    // The names of "true" and "false" are values in C, a member's name is joined by another
    // character, and "~" is the complement too.
    const bool isBoolean = id == table.getIdTRUE() || id == table.getIdFALSE();
    const bool isAlike = !isBoolean && op <= SymbolicOp::Not;
    Found worst = isCall ? call : isAlike ? none : otherSpelling;
    for (std::size_t i = 0; i < node.getNumInputs() && worst != call; ++i) {
      worst = std::max(worst, found[node.getInput(i)]);
    }
    found.push_back(worst);
  }
  return found[aId] == call;
}

}  // namespace ksexpr
