#include "tools/PostfixPrograms.hpp"

#include <nlohmann/json.hpp>
#include <utility>

#include "tools/Text.hpp"
#include "tools/Values.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using KS::SymbolicOp;

namespace {

const char* wordOf(SymbolicOp aOp) {
  switch (aOp) {
    case SymbolicOp::Plus: return "+";
    case SymbolicOp::Minus: return "-";
    case SymbolicOp::UnaryMinus: return "neg";
    case SymbolicOp::Multiply: return "*";
    case SymbolicOp::Divide: return "/";
    case SymbolicOp::Modulo: return "%";
    case SymbolicOp::Equal: return "==";
    case SymbolicOp::NotEqual: return "!=";
    case SymbolicOp::LessThan: return "<";
    case SymbolicOp::LessThanEqual: return "<=";
    case SymbolicOp::GreaterThan: return ">";
    case SymbolicOp::GreaterThanEqual: return ">=";
    case SymbolicOp::And: return "&&";
    case SymbolicOp::Or: return "||";
    case SymbolicOp::Not: return "!";
    case SymbolicOp::BitAnd: return "&";
    case SymbolicOp::BitOr: return "|";
    case SymbolicOp::BitXOr: return "^";
    case SymbolicOp::BitCompl: return "~";
    case SymbolicOp::ShiftLeft: return "<<";
    case SymbolicOp::ShiftRight: return ">>";
    default: return "[";  // no other kind has operands here: calls and members are variables
  }
}

}  // namespace

PostfixPrograms::PostfixPrograms(const TypedModel& aModel,
                                 const std::vector<SymbolicExprId>& aRoots)
    : model(aModel),
      listing(KS::SymbolicExprProgram(aModel.getTable(), aRoots).list()),
      results(listing.steps.size(), none) {
  for (const std::size_t root : listing.roots) write(root, programs.emplace_back());
}

SymbolicOp PostfixPrograms::opOf(std::size_t aStep) const {
  return static_cast<SymbolicOp>(model.getTable().get(listing.steps[aStep].id)->getKind());
}

std::string PostfixPrograms::leaf(const KS::SymbolicExprProgram::Step& aStep) const {
  if (aStep.value) {
    if (aStep.value->tag() == KS::Eval::Scalar::Double) {
      return 'd' + numberText(aStep.value->getDouble());
    }
    return 'i' + std::to_string(aStep.value->toInt());
  }
  if (model.isConstant(aStep.id)) {
    return 'd' + numberText(numberOf(model, model.text(aStep.id, false)));
  }
  return 'v' + std::to_string(model.findVariable(aStep.id) - model.getVariables().data());
}

void PostfixPrograms::write(std::size_t aRoot, std::string& aText) {
  std::vector<std::pair<std::size_t, std::size_t>> open{{aRoot, 0}};  // a step, its next operand
  const auto put = [&aText](const std::string& word) {
    aText += (aText.empty() ? "" : " ") + word;
  };
  while (!open.empty()) {
    auto& [number, next] = open.back();
    const KS::SymbolicExprProgram::Step& step = listing.steps[number];
    const bool isListed = wordOf(opOf(number))[0] == '[';
    if (step.operands.empty()) {
      put(leaf(step));
    } else if (results[number] != none) {
      put('r' + std::to_string(results[number]));
    } else if (next < step.operands.size()) {
      const std::size_t operand = step.operands[next++];
      open.emplace_back(operand, 0);
      continue;
    } else {
      put(wordOf(opOf(number)) + (isListed ? std::to_string(step.operands.size()) : ""));
      results[number] = numResults++;
    }
    open.pop_back();
  }
}

nlohmann::ordered_json PostfixPrograms::operandTexts() const {
  nlohmann::ordered_json texts = nlohmann::ordered_json::object();
  std::vector<bool> isMet(listing.steps.size(), false);
  for (const std::size_t root : listing.roots) {
    const SymbolicOp kind = opOf(root);
    if (kind != SymbolicOp::And && kind != SymbolicOp::Or) continue;
    std::vector<std::size_t> open{root};
    while (!open.empty()) {
      const std::size_t step = open.back();
      open.pop_back();
      if (opOf(step) == kind) {
        const auto& operands = listing.steps[step].operands;
        open.insert(open.end(), operands.begin(), operands.end());
      } else if (results[step] != none && !isMet[step]) {
        isMet[step] = true;
        texts[std::to_string(results[step])] = model.text(listing.steps[step].id, false);
      }
    }
  }
  return texts;
}

}  // namespace ksexpr
