#include "decide/detail/TermBuilder.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprEval.hpp"

namespace KS::Decide::detail {

namespace {

SymbolicOp opOf(const SymbolicExpr& aExpr) { return static_cast<SymbolicOp>(aExpr.getKind()); }

const std::string& textOf(const SymbolicExpr& aExpr) {
  return static_cast<const SymbolicString&>(aExpr).getText();
}

// The operator of that kind over inputs of the table.
SymbolicExprId makeOperator(SymbolicExprTable& aTable, int aKind,
                            const std::vector<SymbolicExprId>& aInputs) {
#define KS_UNARY(code, Op, Class) \
  if (aKind == code) return Class(aTable, aInputs[0]).getId(aTable);
#define KS_BINARY(code, Op, Class) \
  if (aKind == code) return Class(aTable, aInputs[0], aInputs[1]).getId(aTable);
#include "base/SymbolicExprKinds.def"
  return SymbolicNDExpr(aTable, aInputs).getId(aTable);
}

}  // namespace

bool isSymbol(const SymbolicExpr& aExpr) {
  return opOf(aExpr) == SymbolicOp::String && textOf(aExpr) != "true" && textOf(aExpr) != "false";
}

bool isCall(const SymbolicExpr& aExpr) {
  return opOf(aExpr) >= SymbolicOp::FcnCall0U && opOf(aExpr) <= SymbolicOp::FcnCall;
}

bool isVariable(const SymbolicExpr& aExpr) {
  return isSymbol(aExpr) || isCall(aExpr) || opOf(aExpr) == SymbolicOp::MemberValue;
}

std::optional<double> constantOf(const SymbolicExpr& aExpr) {
  if (aExpr.isNumber()) return aExpr.getNumericValue();
  if (opOf(aExpr) != SymbolicOp::String || isSymbol(aExpr)) return std::nullopt;
  return textOf(aExpr) == "true" ? 1 : 0;
}

TermBuilder::TermBuilder(const SymbolicExprTable& aSource, const SymbolicExprBindings& aBindings)
    : source(aSource), bindings(aBindings), converter(table) {}

SymbolicExprId TermBuilder::CallConverter::convert(SymbolicExprTable& aTable,
                                                   const std::vector<SymbolicExprId>& aInputs) {
  for (const SymbolicExprId input : aInputs) push(input);
  if (aInputs.size() == 2) {
    visit(SymbolicFcnCall1UExpr(aTable, aInputs[0], aInputs[1]));
  } else {
    visit(SymbolicFcnCall2UExpr(aTable, aInputs[0], aInputs[1], aInputs[2]));
  }
  return pop();
}

SymbolicExprId TermBuilder::operator()(SymbolicExprId aId) {
  std::vector<SymbolicExprId> open{aId};
  std::vector<SymbolicExprId> inputs;
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    if (copies.count(id) != 0) {
      open.pop_back();
      continue;
    }
    const SymbolicExpr& node = *source.get(id);
    if (const Eval::Value* value = bindings.find(id)) {
      copies.emplace(id, literal(*value));
      continue;
    }
    const std::size_t before = open.size();
    inputs.clear();
    for (std::size_t i = node.getNumInputs(); i > 0; --i) {
      const SymbolicExprId input = node.getInput(i - 1);
      if (input >= id) throw std::out_of_range("an input of a node is not an older one");
      if (copies.count(input) == 0) open.push_back(input);
    }
    // The name of a function has no value. Where a host calls something else, that is an operand.
    const SymbolicExpr* const name = isCall(node) ? source.get(node.getInput(0)) : nullptr;
    const bool isNamed = name != nullptr && opOf(*name) == SymbolicOp::String;
    if (isNamed && open.size() > before && open.back() == node.getInput(0)) open.pop_back();
    if (open.size() > before) continue;
    open.pop_back();
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
      inputs.push_back(i == 0 && isNamed ? SymbolicString(table, textOf(*name)).getId(table)
                                         : copies.at(node.getInput(i)));
    }
    const SymbolicExprId result = copy(node, inputs);
    copies.emplace(id, result);
    if (isVariable(node) && isVariable(*table.get(result))) originsOf[result].push_back(id);
  }
  return copies.at(aId);
}

SymbolicExprId TermBuilder::copy(const SymbolicExpr& aExpr,
                                 const std::vector<SymbolicExprId>& aInputs) {
  switch (opOf(aExpr)) {
    case SymbolicOp::String: return SymbolicString(table, textOf(aExpr)).getId(table);
    case SymbolicOp::IntValue:
      return SymbolicIntValue(table, static_cast<const SymbolicIntValue&>(aExpr).getValue())
          .getId(table);
    case SymbolicOp::DoubleValue:
      return SymbolicDoubleValue(table, aExpr.getNumericValue()).getId(table);
    case SymbolicOp::MemberValue:
      return SymbolicMemberValue(table, aInputs[0],
                                 static_cast<const SymbolicMemberValue&>(aExpr).getMember())
          .getId(table);
    case SymbolicOp::FcnCall1U:
    case SymbolicOp::FcnCall2U: return folded(converter.convert(table, aInputs));
    case SymbolicOp::FcnCall0U:
    case SymbolicOp::FcnCall:
      return SymbolicFcnCallExpr(table, aInputs[0], {aInputs.begin() + 1, aInputs.end()})
          .getId(table);
    default: return folded(makeOperator(table, aExpr.getKind(), aInputs));
  }
}

SymbolicExprId TermBuilder::literal(const Eval::Value& aValue) {
  if (aValue.tag() == Eval::Value::Single) {
    const Eval::Scalar& scalar = aValue.scalar();
    if (scalar.tag() == Eval::Scalar::Double) {
      return SymbolicDoubleValue(table, scalar.getDouble()).getId(table);
    }
    return SymbolicIntValue(table, scalar.toInt()).getId(table);
  }
  std::vector<SymbolicExprId> elements;
  for (const Eval::Scalar& scalar : aValue.vector()) elements.push_back(literal(scalar));
  if (elements.size() == 1) return elements[0];
  return SymbolicNDExpr(table, elements).getId(table);
}

// A list is no number, but its elements may all be NaN.
TermBuilder::Certainty TermBuilder::isNaN(SymbolicExprId aCopy) const {
  const SymbolicOp op = opOf(*table.get(aCopy));
  if (op >= SymbolicOp::_2D && op <= SymbolicOp::ND) return Certainty::Maybe;
  const auto known = nanOf.find(aCopy);
  return known == nanOf.end() ? Certainty::No : known->second;
}

// Arithmetic over NaN gives NaN whatever its variables are, and so does a remainder by zero. Where
// an infinity takes part, it depends on what else does.
TermBuilder::Certainty TermBuilder::findNaN(const SymbolicExpr& aOperator) const {
  const SymbolicOp op = opOf(aOperator);
  if (op < SymbolicOp::Plus || op > SymbolicOp::Modulo) return Certainty::No;
  Certainty result = Certainty::No;
  for (std::size_t i = 0; i < aOperator.getNumInputs(); ++i) {
    const SymbolicExpr& input = *table.get(aOperator.getInput(i));
    const bool isDivisor = op == SymbolicOp::Modulo && i == 1;
    if (const std::optional<double> value = constantOf(input)) {
      if (std::isnan(*value) || (isDivisor && *value == 0)) result = Certainty::Yes;
      if (std::isinf(*value)) result = std::max(result, Certainty::Maybe);
    } else {
      result = std::max(result, isNaN(aOperator.getInput(i)));
      if (isDivisor) result = std::max(result, Certainty::Maybe);
    }
  }
  return result;
}

// The result of an operator over constants.
SymbolicExprId TermBuilder::folded(SymbolicExprId aCopy) {
  const SymbolicExpr& node = *table.get(aCopy);
  if (opOf(node) >= SymbolicOp::_2D) return aCopy;
  for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
    if (constantOf(*table.get(node.getInput(i)))) continue;
    if (const Certainty nan = findNaN(node); nan != Certainty::No) nanOf.emplace(aCopy, nan);
    return aCopy;
  }
  SymbolicExprEvalImpl evaluation(table);
  node.accept(table, evaluation);
  return literal(evaluation.get());
}

const std::vector<SymbolicExprId>& TermBuilder::origins(SymbolicExprId aCopy) const {
  static const std::vector<SymbolicExprId> nothing;
  const auto known = originsOf.find(aCopy);
  return known == originsOf.end() ? nothing : known->second;
}

void TermBuilder::appendVariables(SymbolicExprId aCopy,
                                  std::vector<SymbolicExprId>& aVariables) const {
  boost::unordered_flat_map<SymbolicExprId, bool> seen;
  std::vector<SymbolicExprId> open{aCopy};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    open.pop_back();
    if (!seen.emplace(id, true).second) continue;
    const SymbolicExpr& node = *table.get(id);
    if (isVariable(node)) {
      aVariables.push_back(id);
      continue;
    }
    for (std::size_t i = node.getNumInputs(); i > 0; --i) open.push_back(node.getInput(i - 1));
  }
}

}  // namespace KS::Decide::detail
