#include "tools/Question.hpp"

#include <cmath>
#include <unordered_map>
#include <unordered_set>

#include "base/KSSymbolicExpr.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tools/Commands.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Nearest.hpp"
#include "tools/Text.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

using KS::SymbolicExprId;

Question::Question(const Model& aModel, const QuestionRequest& aRequest,
                   KS::SymbolicExprTable& aTable, const Tell& aTell, const TypedModel* aOther)
    : layout(aRequest.layout), typed(aModel, aRequest.family, aTable, aTell), bindings(aTable) {
  if (aOther != nullptr) {
    for (const KSBlock& block : aOther->getModel().blocks) {
      if (aOther->isAvailable(block)) typed.addVariablesOf(aOther->local(block));
    }
  }
  // What is assumed has a say in which variables there are and of what kind.
  for (const std::string& text : aRequest.assumptions) {
    assume(text, aRequest.assumptionsName, aTell);
  }
  given.emplace(typed, aRequest.values, aTell);
  bindConstants(typed, bindings);
  for (const auto& [variable, value] : given->all()) {
    bindValue(typed, bindings, variable->id, value);
  }
}

void Question::assume(const std::string& aText, const std::string& aName, const Tell& aTell) {
  KS::SymbolicExprTable& table = typed.getTable();
  const KS::SymbolicExprParser parse(table, false);
  const SymbolicExprId id = parse(aText);
  if (id == KS::invalidSymbolicExprId) {
    throw noExpression('<' + aName + '>', aText, *parse.diagnose(aText));
  }
  const SymbolicExprId condition = KS::SymbolicExprM2C(table)(id);
  std::vector<SymbolicExprId> variables;
  typed.appendVariables(condition, variables);
  for (const SymbolicExprId variable : variables) {
    const std::string unknown = typed.text(variable, false);
    if (typed.findVariable(variable) != nullptr || typed.isKnownElsewhere(unknown)) continue;
    std::vector<std::string_view> names;
    for (const Variable& known : typed.getVariables()) names.push_back(known.name);
    aTell("warning: " + aName + ": the model has no variable \"" + shortened(unknown) + '"' +
          didYouMean(unknown, names) + '\n');
  }
  assumed.push_back(condition);
  typed.addVariablesOf(condition);
}

NamedValues Question::named(const Assignment& aAssignment,
                            const std::vector<SymbolicExprId>& aConditions) const {
  std::unordered_map<SymbolicExprId, VariableValue> values(aAssignment.begin(), aAssignment.end());
  std::vector<SymbolicExprId> mentioned;
  for (const SymbolicExprId condition : aConditions) typed.appendVariables(condition, mentioned);
  for (const SymbolicExprId variable : mentioned) {
    if (const VariableValue* value = given->find(variable)) values.emplace(variable, *value);
  }
  NamedValues result;
  for (const Variable& variable : typed.getVariables()) {
    const auto found = values.find(variable.id);
    if (found != values.end()) result.emplace_back(variable.name, found->second);
  }
  return result;
}

SymbolicExprId Question::isValue(SymbolicExprId aVariable, const VariableValue& aValue) const {
  KS::SymbolicExprTable& table = typed.getTable();
  if (const auto* truth = std::get_if<bool>(&aValue)) {
    return *truth ? aVariable : KS::SymbolicNotExpr(table, aVariable).getId(table);
  }
  SymbolicExprId value;
  if (const auto* name = std::get_if<std::string>(&aValue)) {
    value = KS::SymbolicString(table, *name).getId(table);
  } else {
    const double number = std::get<double>(aValue);
    const bool isInt = std::floor(number) == number && std::abs(number) < 0x1p31;
    value = isInt ? KS::SymbolicIntValue(table, static_cast<int>(number)).getId(table)
                  : KS::SymbolicDoubleValue(table, number).getId(table);
  }
  return KS::SymbolicEqualExpr(table, aVariable, value).getId(table);
}

KS::SymbolicExprBindings Question::bindingsWith(const Assignment& aAssignment) const {
  KS::SymbolicExprBindings all = bindings;
  for (const auto& [variable, value] : aAssignment) bindValue(typed, all, variable, value);
  return all;
}

std::vector<Holds> truthsOf(const KS::SymbolicExprProgram& aProgram,
                            const KS::SymbolicExprBindings& aBindings) {
  using Program = KS::SymbolicExprProgram;
  std::vector<Holds> result;
  for (const auto& outcome : aProgram.truths(aBindings)) {
    result.push_back(outcome.holds == Program::Holds::Yes  ? Holds::Yes
                     : outcome.holds == Program::Holds::No ? Holds::No
                                                           : Holds::Open);
  }
  return result;
}

std::vector<Holds> truthsOf(const KS::SymbolicExprTable& aTable,
                            const std::vector<SymbolicExprId>& aConditions,
                            const KS::SymbolicExprBindings& aBindings) {
  return truthsOf(KS::SymbolicExprProgram(aTable, aConditions), aBindings);
}

}  // namespace ksexpr
