#include "tools/Decision.hpp"

#include <nlohmann/json.hpp>
#include <unordered_set>

#include "tools/Commands.hpp"
#include "tools/Text.hpp"
#include "tools/Verdicts.hpp"

namespace ksexpr {

using KS::SymbolicExprId;

namespace {

KS::SymbolicExprDomain deciderDomain(const Domain& aDomain) {
  switch (aDomain.kind) {
    case Domain::Kind::Values: return KS::SymbolicExprDomain::values(aDomain.values);
    case Domain::Kind::Integer:
      return KS::SymbolicExprDomain::integers(static_cast<int>(aDomain.min),
                                              static_cast<int>(aDomain.max));
    case Domain::Kind::Boolean: return KS::SymbolicExprDomain::boolean();
    case Domain::Kind::Real: break;
  }
  return KS::SymbolicExprDomain::interval(aDomain.min, aDomain.max);
}

// The value as the variable's kind has it.
VariableValue valueOf(const Variable& aVariable, const KS::SymbolicExprAssignment& aFound) {
  if (!aFound.name.empty()) return aFound.name;
  const double number = aFound.value.scalar().toDouble();
  if (aVariable.isTruth) return number != 0;
  return number;
}

}  // namespace

Decision::Decision(const Question& aQuestion, Values aValues, const TypedModel* aRules)
    : question(aQuestion),
      rules(aRules != nullptr ? *aRules : aQuestion.getTyped()),
      assumed(rules.getConstraints()),
      values(aValues),
      decider(aQuestion.getTable()) {
  const auto& more = question.getAssumed();
  assumed.insert(assumed.end(), more.begin(), more.end());
  setDomains(decider);
  if (values == Values::Given) {
    // A constant has no number, so having one for a value is a condition.
    KS::SymbolicExprBindings bindings(question.getTable());
    std::vector<SymbolicExprId> conditions;
    for (const auto& [variable, value] : question.getGiven().all()) {
      if (std::holds_alternative<std::string>(value)) {
        conditions.push_back(question.isValue(variable->id, value));
      } else {
        bindValue(question.getTyped(), bindings, variable->id, value);
      }
    }
    decider.assume(bindings);
    for (const SymbolicExprId condition : conditions) decider.assume(condition);
  }
  for (const SymbolicExprId id : assumed) decider.assume(id);
}

void Decision::setDomains(KS::SymbolicExprDecider& aDecider) const {
  for (const Variable& variable : rules.getVariables()) {
    if (variable.domain != nullptr) {
      aDecider.setDomain(variable.id, deciderDomain(*variable.domain));
    }
  }
}

bool Decision::isConsistent() const {
  return assumed.empty() || decider.decide(question.getTable().getIdTRUE()) != KS::Truth::Never;
}

std::string Decision::inconsistency() const {
  KS::SymbolicExprDecider free(question.getTable());
  setDomains(free);
  std::vector<SymbolicExprId> conditions = assumed;
  if (values == Values::Given) {
    for (const auto& [variable, value] : question.getGiven().all()) {
      conditions.push_back(question.isValue(variable->id, value));
    }
  }
  std::string text;
  for (const SymbolicExprId id : free.smallestContradiction(conditions).ids) {
    text += (text.empty() ? "" : ", ") + question.text(id);
  }
  return printable(text);
}

void Decision::requireConsistency() const {
  if (isConsistent()) return;
  throw AnswerError(
      printable(rules.getModel().path) +
      ": nothing satisfies the constraints together with the values: " + inconsistency());
}

std::optional<Assignment> Decision::example(const std::vector<SymbolicExprId>& aHolding,
                                            const std::vector<SymbolicExprId>& aFailing) {
  const auto found = decider.assignment(aHolding, aFailing);
  if (!found) return std::nullopt;
  Assignment assignment;
  for (const KS::SymbolicExprAssignment& entry : *found) {
    const Variable* variable = question.getTyped().findVariable(entry.id);
    if (variable != nullptr) assignment.emplace_back(entry.id, valueOf(*variable, entry));
  }
  std::vector<SymbolicExprId> all = aHolding;
  all.insert(all.end(), assumed.begin(), assumed.end());
  const std::size_t numHolding = all.size();
  all.insert(all.end(), aFailing.begin(), aFailing.end());
  const std::vector<Holds> truths =
      truthsOf(question.getTable(), all, question.bindingsWith(assignment));
  for (std::size_t i = 0; i < truths.size(); ++i) {
    if (truths[i] != (i < numHolding ? Holds::Yes : Holds::No)) return std::nullopt;
  }
  return assignment;
}

std::optional<NamedValues> Decision::witness(const std::vector<SymbolicExprId>& aHolding,
                                             const std::vector<SymbolicExprId>& aFailing) {
  const auto assignment = example(aHolding, aFailing);
  if (!assignment) return std::nullopt;
  std::vector<SymbolicExprId> conditions = aHolding;
  conditions.insert(conditions.end(), aFailing.begin(), aFailing.end());
  return question.named(*assignment, conditions);
}

std::vector<KS::Truth> verdictsOf(const TypedModel& aModel, Decision& aDecision) {
  // Blocks without a condition of their own share the question of the block above.
  std::unordered_map<SymbolicExprId, std::size_t> places;
  std::vector<std::vector<SymbolicExprId>> asked;
  for (const KSBlock* block : aModel.topDown()) {
    if (!aModel.isAvailable(*block)) continue;
    if (places.emplace(aModel.net(*block), asked.size()).second)
      asked.push_back(aModel.path(*block));
  }
  const std::vector<KS::Truth> verdicts = aDecision.getDecider().decideAll(asked);
  std::vector<KS::Truth> result;
  for (const KSBlock& block : aModel.getModel().blocks) {
    result.push_back(aModel.isAvailable(block) ? verdicts[places.at(aModel.net(block))]
                                               : KS::Truth::Unknown);
  }
  return result;
}

std::vector<Verdict> familyVerdicts(const Model& aModel, Family aFamily) {
  KS::SymbolicExprTable table;
  QuestionRequest request;
  request.family = aFamily;
  // Whoever lists conditions tells what is wrong with them.
  const Question question(aModel, request, table, [](const std::string&) {});
  Decision decision(question, Decision::Values::Free);
  decision.requireConsistency();
  std::vector<Verdict> verdicts;
  for (const KS::Truth truth : verdictsOf(question.getTyped(), decision)) {
    switch (truth) {
      case KS::Truth::Never: verdicts.push_back(Verdict::Never); break;
      case KS::Truth::Always: verdicts.push_back(Verdict::Always); break;
      case KS::Truth::Sometimes: verdicts.push_back(Verdict::Sometimes); break;
      case KS::Truth::Unknown: verdicts.push_back(Verdict::Unknown); break;
    }
  }
  return verdicts;
}

std::vector<BlockCondition> blocksOf(const Question& aQuestion, const KSBlock& aBlock,
                                     const std::vector<SymbolicExprId>& aConditions) {
  std::unordered_set<SymbolicExprId> wanted(aConditions.begin(), aConditions.end());
  std::vector<BlockCondition> found;
  for (const KSBlock* block : aQuestion.getTyped().blocksWithCondition(aBlock)) {
    const SymbolicExprId condition = aQuestion.getTyped().local(*block);
    if (wanted.erase(condition) > 0) found.push_back({block, condition});
  }
  return found;
}

nlohmann::ordered_json blockConditionsJson(const Question& aQuestion,
                                           const std::vector<BlockCondition>& aConditions) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const auto& [block, condition] : aConditions) {
    json.push_back({{"block", block->id}, {"condition", aQuestion.text(condition)}});
  }
  return json;
}

std::string blockConditionsText(const Question& aQuestion,
                                const std::vector<BlockCondition>& aConditions) {
  std::string text;
  for (const auto& [block, condition] : aConditions) {
    text +=
        (text.empty() ? "" : ", ") + aQuestion.text(condition) + " (" + printable(block->id) + ')';
  }
  return text;
}

}  // namespace ksexpr
