#include "eval/detail/EvalWalk.hpp"

namespace KS::Eval::detail {

namespace {

SymbolicOp opOf(const SymbolicExpr& aExpr) { return static_cast<SymbolicOp>(aExpr.getKind()); }

// The value of a symbol for which nothing is registered.
bool unregistered(const std::string& aName) {
  if (aName == "true") return true;
  if (aName == "false") return false;
  throw SymbolicExprEvalError("the symbol '" + aName + "' has no value");
}

const std::string& nameOf(const SymbolicExpr& aSymbol) {
  return static_cast<const SymbolicString&>(aSymbol).getText();
}

}  // namespace

Value EvalWalk::run(SymbolicExprId aRoot) {
  enter(aRoot);
  while (!path.empty()) {
    Frame& top = path.back();
    if (top.next < top.count) {
      enter(input(top, top.next++));
    } else {
      values.at(top.id) = compute(top);
      path.pop_back();
    }
  }
  return *values.at(aRoot);
}

void EvalWalk::enter(SymbolicExprId aId) {
  const SymbolicExpr* node = table.get(aId);
  const auto [entry, isNew] = values.try_emplace(aId);
  if (!isNew) {
    // Inputs are older than their users, so only symbols can lead back to what is on the path.
    if (!entry->second) failCycle(aId);
    return;
  }
  const SymbolicOp op = opOf(*node);
  if (isOpaque(op)) failOpaque(*node);
  const bool isBound = op == SymbolicOp::String && table.getValueId(aId) != invalidSymbolicExprId;
  path.push_back({aId, node, 0, isBound ? 1 : node->getNumInputs()});
}

SymbolicExprId EvalWalk::input(const Frame& aFrame, std::size_t aIdx) const {
  if (opOf(*aFrame.node) == SymbolicOp::String) return table.getValueId(aFrame.id);
  return KS::detail::checkedInput(*aFrame.node, aFrame.id, aIdx);
}

Value EvalWalk::compute(const Frame& aFrame) const {
  const SymbolicOp op = opOf(*aFrame.node);
  if (op == SymbolicOp::String) {
    return aFrame.count == 0 ? Value(unregistered(nameOf(*aFrame.node))) : known(aFrame, 0);
  }
  if (isLiteral(op)) return literal(op, *aFrame.node);
  if (isUnary(op)) return apply(op, known(aFrame, 0));
  if (!isList(op)) return apply(op, known(aFrame, 0), known(aFrame, 1));
  Value list{std::vector<Scalar>()};
  list.vector().reserve(aFrame.count);
  for (std::size_t i = 0; i < aFrame.count; ++i) appendElement(list, known(aFrame, i));
  return list;
}

// The way round is what was entered since the symbol.
void EvalWalk::failCycle(SymbolicExprId aSymbol) const {
  std::string names;
  for (const Frame& frame : path) {
    if (frame.id != aSymbol && names.empty()) continue;
    if (opOf(*frame.node) == SymbolicOp::String) names += "'" + nameOf(*frame.node) + "' -> ";
  }
  throw SymbolicExprEvalError("the value of a symbol leads back to itself: " + names + "'" +
                              nameOf(*table.get(aSymbol)) + "'");
}

void EvalWalk::failOpaque(const SymbolicExpr& aExpr) const {
  if (opOf(aExpr) == SymbolicOp::MemberValue) {
    throw SymbolicExprEvalError("the member access '." +
                                static_cast<const SymbolicMemberValue&>(aExpr).getMember() +
                                "' has no value");
  }
  const SymbolicExpr& name = *table.get(aExpr.getInput(0));
  throw SymbolicExprEvalError("the call of '" +
                              (opOf(name) == SymbolicOp::String ? nameOf(name) : std::string("?")) +
                              "' has no value");
}

}  // namespace KS::Eval::detail
