#include "tools/Vars.hpp"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <set>
#include <unordered_map>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "tools/Commands.hpp"
#include "tools/Nearest.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using KS::SymbolicOp;

namespace {

// The values that domains of whole numbers are listed with.
constexpr double maxListed = 100;

// What a variable is compared with.
struct Compared {
  std::set<double> numbers;
  std::set<std::string> constants;
  std::set<std::string> variables;
};

// How many blocks depend on a variable.
struct Uses {
  std::size_t own = 0;
  std::size_t all = 0;
};

// The variables of conditions, looked for once for each.
class ConditionVariables {
 public:
  explicit ConditionVariables(const TypedModel& aModel) : model(aModel) {}

  const std::vector<SymbolicExprId>& of(SymbolicExprId aCondition) {
    const auto [place, isNew] = known.try_emplace(aCondition);
    if (isNew) model.appendVariables(aCondition, place->second);
    return place->second;
  }

 private:
  const TypedModel& model;
  std::unordered_map<SymbolicExprId, std::vector<SymbolicExprId>> known;
};

class Comparisons {
 public:
  explicit Comparisons(const TypedModel& aModel)
      : model(aModel), table(aModel.getTable()), evaluation(table) {
    for (const KSBlock& block : model.getModel().blocks) {
      if (model.local(block) != KS::invalidSymbolicExprId) walk(model.local(block));
    }
    for (const SymbolicExprId id : model.getConstraints()) walk(id);
  }

  const Compared& of(SymbolicExprId aVariable) { return found[aVariable]; }

 private:
  void walk(SymbolicExprId aId) {
    std::vector<SymbolicExprId> open{aId};
    while (!open.empty()) {
      const SymbolicExprId id = open.back();
      open.pop_back();
      if (id >= seen.size()) seen.resize(id + 1, false);
      if (seen[id] || isVariable(table, id)) continue;
      seen[id] = true;
      const KS::SymbolicExpr& node = *table.get(id);
      const auto op = static_cast<SymbolicOp>(node.getKind());
      if (op >= SymbolicOp::Equal && op <= SymbolicOp::GreaterThanEqual) {
        compare(node.getInput(0), node.getInput(1));
        compare(node.getInput(1), node.getInput(0));
      }
      for (std::size_t i = 0; i < node.getNumInputs(); ++i) open.push_back(node.getInput(i));
    }
  }

  void compare(SymbolicExprId aVariable, SymbolicExprId aOther) {
    if (model.findVariable(aVariable) == nullptr) return;
    Compared& compared = found[aVariable];
    if (model.isConstant(aOther)) {
      compared.constants.insert(model.text(aOther, false));
    } else if (const Variable* other = model.findVariable(aOther)) {
      compared.variables.insert(other->name);
    } else {
      std::vector<SymbolicExprId> variables;
      model.appendVariables(aOther, variables);
      if (!variables.empty()) return;
      try {
        for (const double number : evaluation.eval(aOther)) compared.numbers.insert(number);
      } catch (const KS::SymbolicExprEvalError&) {
        return;  // Nothing that a variable can be.
      }
    }
  }

  const TypedModel& model;
  const KS::SymbolicExprTable& table;
  KS::SymbolicExprEval evaluation;
  std::vector<bool> seen;
  std::unordered_map<SymbolicExprId, Compared> found;
};

// Counts blocks on a walk down from the top and back, which knows the variables of the conditions
// above.
class UseCounter {
 public:
  explicit UseCounter(const TypedModel& aModel) : typed(aModel), variables(aModel) {
    const Model& model = typed.getModel();
    std::vector<std::vector<const KSBlock*>> children(model.blocks.size());
    std::vector<std::pair<const KSBlock*, bool>> open;  // a block, and whether the way leads back
    for (const KSBlock& block : model.blocks) {
      if (block.parent == nullptr) {
        open.emplace_back(&block, false);
      } else {
        children[model.indexOf(*block.parent)].push_back(&block);
      }
    }
    while (!open.empty()) {
      const auto [block, isBack] = open.back();
      open.pop_back();
      if (isBack) {
        leave(*block);
        continue;
      }
      enter(*block);
      open.emplace_back(block, true);
      for (const KSBlock* child : children[model.indexOf(*block)]) open.emplace_back(child, false);
    }
  }

  Uses of(SymbolicExprId aVariable) const {
    const auto found = counts.find(aVariable);
    return found == counts.end() ? Uses{} : found->second.uses;
  }

 private:
  struct Count {
    Uses uses;
    std::size_t numAbove = 0;  // conditions that have the variable on the way down
    std::size_t firstMet = 0;  // the blocks met before the topmost of these
  };

  const std::vector<SymbolicExprId>& variablesOf(const KSBlock& aBlock) {
    static const std::vector<SymbolicExprId> none;
    const SymbolicExprId condition = typed.local(aBlock);
    return condition == KS::invalidSymbolicExprId ? none : variables.of(condition);
  }

  void enter(const KSBlock& aBlock) {
    for (const SymbolicExprId variable : variablesOf(aBlock)) {
      Count& count = counts[variable];
      ++count.uses.own;
      if (count.numAbove++ == 0) count.firstMet = numMet;
    }
    ++numMet;
  }

  void leave(const KSBlock& aBlock) {
    for (const SymbolicExprId variable : variablesOf(aBlock)) {
      Count& count = counts[variable];
      if (--count.numAbove == 0) count.uses.all += numMet - count.firstMet;
    }
  }

  const TypedModel& typed;
  ConditionVariables variables;
  std::unordered_map<SymbolicExprId, Count> counts;
  std::size_t numMet = 0;
};

const char* kindOf(const Variable& aVariable) {
  if (aVariable.isTruth) return "boolean";
  if (aVariable.domain == nullptr || aVariable.domain->kind == Domain::Kind::Real) return "real";
  if (aVariable.domain->kind == Domain::Kind::Integer) return "integer";
  const auto isWhole = [](const Domain::Value& value) {
    const auto* number = std::get_if<double>(&value);
    return number == nullptr || std::floor(*number) == *number;
  };
  const auto& values = aVariable.domain->values;
  return std::all_of(values.begin(), values.end(), isWhole) ? "integer" : "real";
}

nlohmann::ordered_json numberJson(double aNumber) { return valueJson(VariableValue(aNumber)); }

// The values of a domain, or null where they are not few.
nlohmann::ordered_json domainJson(const Domain* aDomain) {
  if (aDomain == nullptr) return nullptr;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  switch (aDomain->kind) {
    case Domain::Kind::Boolean: return {false, true};
    case Domain::Kind::Real: return nullptr;
    case Domain::Kind::Integer:
      if (aDomain->max - aDomain->min >= maxListed) return nullptr;
      for (double value = aDomain->min; value <= aDomain->max; ++value) {
        json.push_back(numberJson(value));
      }
      return json;
    case Domain::Kind::Values: break;
  }
  for (const Domain::Value& value : aDomain->values) {
    const auto* name = std::get_if<std::string>(&value);
    json.push_back(name != nullptr ? nlohmann::ordered_json(*name)
                                   : numberJson(std::get<double>(value)));
  }
  return json;
}

nlohmann::ordered_json variableJson(const Variable& aVariable, const Compared& aCompared,
                                    const Uses& aUses) {
  nlohmann::ordered_json json{{"name", aVariable.name}, {"kind", kindOf(aVariable)}};
  json["domain"] = domainJson(aVariable.domain);
  json["constants"] = nlohmann::ordered_json::array();
  for (const double number : aCompared.numbers) json["constants"].push_back(numberJson(number));
  for (const std::string& name : aCompared.constants) json["constants"].push_back(name);
  json["compared"] = aCompared.variables;
  json["own"] = aUses.own;
  json["all"] = aUses.all;
  if (aVariable.domain != nullptr && (aVariable.domain->kind == Domain::Kind::Integer ||
                                      aVariable.domain->kind == Domain::Kind::Real)) {
    json["min"] = numberJson(aVariable.domain->min);
    json["max"] = numberJson(aVariable.domain->max);
  }
  return json;
}

std::string comparedText(const Compared& aCompared) {
  std::vector<std::string> texts;
  for (const double number : aCompared.numbers) texts.push_back(numberText(number));
  texts.insert(texts.end(), aCompared.constants.begin(), aCompared.constants.end());
  texts.insert(texts.end(), aCompared.variables.begin(), aCompared.variables.end());
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

}  // namespace

nlohmann::ordered_json variablesJson(const Question& aQuestion) {
  const TypedModel& typed = aQuestion.getTyped();
  Comparisons comparisons(typed);
  const UseCounter uses(typed);
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Variable& variable : typed.getVariables()) {
    json.push_back(variableJson(variable, comparisons.of(variable.id), uses.of(variable.id)));
  }
  return json;
}

std::string answerVars(const Question& aQuestion, std::ostream& aOut) {
  const TypedModel& typed = aQuestion.getTyped();
  if (aQuestion.getLayout().format == Format::Json) {
    writeJson(variablesJson(aQuestion), aOut);
  } else {
    Comparisons comparisons(typed);
    const UseCounter uses(typed);
    const bool isTable = aQuestion.getLayout().format == Format::Table;
    std::vector<Row> rows;
    for (const Variable& variable : typed.getVariables()) {
      const Uses found = uses.of(variable.id);
      rows.push_back({isTable ? printable(variable.name) : variable.name, kindOf(variable),
                      variable.domain == nullptr ? "" : domainText(*variable.domain),
                      std::to_string(found.own), std::to_string(found.all),
                      comparedText(comparisons.of(variable.id))});
    }
    writeRows({"NAME", "KIND", "DOMAIN", "OWN", "ALL", "COMPARED WITH"},
              {"name", "kind", "domain", "own", "all", "compared"}, rows, aQuestion.getLayout(),
              aOut);
  }
  return counted(typed.getVariables().size(), "variable") + '\n';
}

std::string answerUses(const Question& aQuestion, const std::string& aName, std::ostream& aOut) {
  const TypedModel& typed = aQuestion.getTyped();
  const Model& model = aQuestion.getModel();
  const Variable* variable = typed.findVariable(aName);
  if (variable == nullptr) {
    std::vector<std::string_view> names;
    for (const Variable& known : typed.getVariables()) names.push_back(known.name);
    throw AnswerError(printable(model.path) + ": no variable \"" + shortened(aName) + '"' +
                      didYouMean(aName, names));
  }
  ConditionVariables variables(typed);
  std::vector<bool> isUser(model.blocks.size(), false);
  std::vector<bool> isOwn(model.blocks.size(), false);
  for (const KSBlock* block : typed.topDown()) {
    const std::size_t index = model.indexOf(*block);
    const SymbolicExprId condition = typed.local(*block);
    if (condition != KS::invalidSymbolicExprId) {
      const auto& own = variables.of(condition);
      isOwn[index] = std::find(own.begin(), own.end(), variable->id) != own.end();
    }
    const bool isInherited = block->parent != nullptr && isUser[model.indexOf(*block->parent)];
    isUser[index] = isOwn[index] || isInherited;
  }
  std::size_t numOwn = 0;
  std::vector<Row> rows;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  std::size_t numUsers = 0;
  for (const KSBlock& block : model.blocks) {
    const std::size_t index = model.indexOf(block);
    if (!isUser[index]) continue;
    ++numUsers;
    if (isOwn[index]) ++numOwn;
    switch (aQuestion.getLayout().format) {
      case Format::JsonLines:
      case Format::Json: json.push_back({{"block", block.id}, {"own", bool(isOwn[index])}}); break;
      case Format::Csv:
        rows.push_back({std::string(block.id), isOwn[index] ? "true" : "false"});
        break;
      case Format::Table:
        rows.push_back({indentOf(block) + printable(block.id),
                        isOwn[index] ? aQuestion.text(typed.local(block)) : "(inherited)"});
        break;
    }
  }
  if (aQuestion.getLayout().format == Format::Json) {
    writeJson(json, aOut);
  } else {
    writeRows({"BLOCK", "CONDITION"}, {"block", "own"}, rows, aQuestion.getLayout(), aOut);
  }
  return counted(numUsers, "block") + ", " + std::to_string(numOwn) + " by their own condition\n";
}

}  // namespace ksexpr
