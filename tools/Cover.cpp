#include "tools/Cover.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <unordered_map>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using KS::Truth;

namespace {

// A net condition that a configuration is to meet or to miss.
struct Goal {
  std::size_t net;  // its place among the nets that differ
  bool isOn;
  // Values of a few variables that are enough for it, and for the constraints.
  std::unordered_map<SymbolicExprId, VariableValue> values{};
  bool isSearched = false;
  bool isCovered = false;
};

struct Configuration {
  std::unordered_map<SymbolicExprId, VariableValue> values;
  std::vector<Holds> nets;
};

class Cover {
 public:
  explicit Cover(const Question& aQuestion)
      : question(aQuestion),
        typed(aQuestion.getTyped()),
        decision(aQuestion, Decision::Values::Given) {
    decision.requireConsistency();
    assumed = typed.getConstraints();
    assumed.insert(assumed.end(), question.getAssumed().begin(), question.getAssumed().end());
    verdicts = verdictsOf(typed, decision);
    collectGoals();
    std::vector<SymbolicExprId> all = nets;
    all.insert(all.end(), assumed.begin(), assumed.end());
    const KS::SymbolicExprProgram program(question.getTable(), all);
    if (goals.empty()) {
      coverConstant();
    } else {
      search(program);
      dropRedundant();
    }
    findBound();
  }

  const std::vector<Configuration>& getConfigurations() const { return configurations; }
  std::size_t getBound() const { return bound; }
  Truth verdict(const KSBlock& aBlock) const {
    return verdicts[question.getModel().indexOf(aBlock)];
  }
  /// Whether the block should have been on and off under some configuration and was not.
  bool isMissed(const KSBlock& aBlock) const {
    const auto place = places.find(typed.net(aBlock));
    if (place == places.end()) return false;
    const std::size_t first = 2 * place->second;
    return !goals[first].isCovered || !goals[first + 1].isCovered;
  }

 private:
  // The exclusions that are looked for by proof, for the bound.
  static constexpr std::size_t maxProofs = 2000;
  // How often values are looked at to find those that are enough for a goal; after that, goals keep
  // the values that were found for all variables of theirs.
  std::size_t workLeft = 500000;

  void collectGoals() {
    for (const KSBlock& block : question.getModel().blocks) {
      if (!typed.isAvailable(block) || verdict(block) != Truth::Sometimes) continue;
      if (!places.emplace(typed.net(block), nets.size()).second) continue;
      goals.push_back({nets.size(), true});
      goals.push_back({nets.size(), false});
      nets.push_back(typed.net(block));
      examples.push_back(&block);
    }
  }

  Holds wanted(const Goal& aGoal) const { return aGoal.isOn ? Holds::Yes : Holds::No; }

  KS::SymbolicExprBindings bindingsOf(
      const std::unordered_map<SymbolicExprId, VariableValue>& aValues) const {
    return question.bindingsWith(Assignment(aValues.begin(), aValues.end()));
  }

  // Finds values for a goal once and keeps those that it takes.
  void searchValues(Goal& aGoal) {
    if (std::exchange(aGoal.isSearched, true)) return;
    const std::vector<SymbolicExprId> path = typed.path(*examples[aGoal.net]);
    const auto found =
        aGoal.isOn ? decision.example(path) : decision.example({}, {nets[aGoal.net]});
    if (!found) return;
    aGoal.values.insert(found->begin(), found->end());
    std::vector<SymbolicExprId> needed = assumed;
    needed.push_back(nets[aGoal.net]);
    const KS::SymbolicExprProgram program(question.getTable(), needed);
    const std::size_t work = found->size() * found->size();
    if (work > workLeft) return;
    workLeft -= work;
    for (const auto& [variable, value] : *found) {
      aGoal.values.erase(variable);
      const std::vector<Holds> truth = truthsOf(program, bindingsOf(aGoal.values));
      const bool isEnough = truth.back() == wanted(aGoal) &&
                            std::all_of(truth.begin(), truth.end() - 1,
                                        [](Holds holds) { return holds == Holds::Yes; });
      if (!isEnough) aGoal.values.emplace(variable, value);
    }
  }

  static bool agree(const std::unordered_map<SymbolicExprId, VariableValue>& aFew,
                    const std::unordered_map<SymbolicExprId, VariableValue>& aMany) {
    return std::all_of(aFew.begin(), aFew.end(), [&](const auto& entry) {
      const auto found = aMany.find(entry.first);
      return found == aMany.end() || found->second == entry.second;
    });
  }

  // One configuration is enough for blocks that are always or never on.
  void coverConstant() {
    const auto found = decision.example({});
    if (!found || question.getModel().blocks.empty()) return;
    configurations.emplace_back();
    configurations.back().values.insert(found->begin(), found->end());
    complete(configurations.back());
  }

  // Values of different goals that agree meet both goals, since few values are enough for each.
  void search(const KS::SymbolicExprProgram& aProgram) {
    for (;;) {
      Configuration configuration;
      bool isAny = false;
      for (Goal& goal : goals) {
        if (goal.isCovered) continue;
        searchValues(goal);
        if (goal.values.empty() || !agree(goal.values, configuration.values)) continue;
        configuration.values.insert(goal.values.begin(), goal.values.end());
        isAny = true;
      }
      if (!isAny) return;
      complete(configuration);
      std::vector<Holds> found = truthsOf(aProgram, bindingsOf(configuration.values));
      // Never seen; a configuration that breaks a constraint would be worth nothing.
      if (std::any_of(found.begin() + static_cast<std::ptrdiff_t>(nets.size()), found.end(),
                      [](Holds holds) { return holds != Holds::Yes; })) {
        return;
      }
      found.resize(nets.size());
      configuration.nets = std::move(found);
      bool isNew = false;
      for (Goal& goal : goals) {
        if (goal.isCovered || configuration.nets[goal.net] != wanted(goal)) continue;
        goal.isCovered = isNew = true;
      }
      if (!isNew) return;
      configurations.push_back(std::move(configuration));
    }
  }

  // Gives a value to what no goal has asked for, a truth value another one in every second
  // configuration.
  void complete(Configuration& aConfiguration) const {
    for (const Variable& variable : typed.getVariables()) {
      if (const VariableValue* given = question.getGiven().find(variable.id)) {
        aConfiguration.values.emplace(variable.id, *given);
      } else {
        aConfiguration.values.emplace(variable.id, anyValue(variable));
      }
    }
  }

  VariableValue anyValue(const Variable& aVariable) const {
    if (aVariable.isTruth) return configurations.size() % 2 == 0;
    if (aVariable.domain == nullptr) return 0.0;
    if (aVariable.domain->kind == Domain::Kind::Values) {
      const auto& values = aVariable.domain->values;
      const Domain::Value& value = values[configurations.size() % values.size()];
      const auto* name = std::get_if<std::string>(&value);
      return name != nullptr ? VariableValue(*name) : std::get<double>(value);
    }
    return std::clamp(0.0, aVariable.domain->min, aVariable.domain->max);
  }

  // Drops configurations whose goals the others meet, the last ones first.
  void dropRedundant() {
    std::vector<std::size_t> counts(goals.size(), 0);
    const auto meets = [this](const Configuration& configuration, std::size_t i) {
      return configuration.nets[goals[i].net] == wanted(goals[i]);
    };
    for (const Configuration& configuration : configurations) {
      for (std::size_t i = 0; i < goals.size(); ++i) counts[i] += meets(configuration, i) ? 1 : 0;
    }
    for (std::size_t k = configurations.size(); k > 0; --k) {
      const Configuration& configuration = configurations[k - 1];
      bool isNeeded = false;
      for (std::size_t i = 0; i < goals.size() && !isNeeded; ++i) {
        isNeeded = counts[i] == 1 && meets(configuration, i);
      }
      if (isNeeded) continue;
      for (std::size_t i = 0; i < goals.size(); ++i) counts[i] -= meets(configuration, i) ? 1 : 0;
      configurations.erase(configurations.begin() + static_cast<std::ptrdiff_t>(k - 1));
    }
  }

  // Goals of which each pair excludes each other need a configuration each. Those that few
  // configurations meet are tried first.
  void findBound() {
    std::vector<std::vector<bool>> met(goals.size());
    std::vector<std::size_t> counts(goals.size(), 0);
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < goals.size(); ++i) {
      order.push_back(i);
      for (const Configuration& configuration : configurations) {
        met[i].push_back(configuration.nets[goals[i].net] == wanted(goals[i]));
        counts[i] += met[i].back() ? 1 : 0;
      }
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return counts[a] < counts[b]; });
    std::vector<std::size_t> exclusive;
    std::size_t numProofs = 0;
    for (const std::size_t candidate : order) {
      const auto excludes = [&](std::size_t other) {
        for (std::size_t k = 0; k < configurations.size(); ++k) {
          if (met[candidate][k] && met[other][k]) return false;
        }
        return ++numProofs <= maxProofs &&
               decision.getDecider().decide(
                   {condition(goals[candidate]), condition(goals[other])}) == Truth::Never;
      };
      if (counts[candidate] > 0 && std::all_of(exclusive.begin(), exclusive.end(), excludes)) {
        exclusive.push_back(candidate);
      }
    }
    bound = std::max<std::size_t>(exclusive.size(), configurations.empty() ? 0 : 1);
  }

  SymbolicExprId condition(const Goal& aGoal) const {
    const SymbolicExprId net = nets[aGoal.net];
    KS::SymbolicExprTable& table = question.getTable();
    return aGoal.isOn ? net : KS::SymbolicNotExpr(table, net).getId(table);
  }

  const Question& question;
  const TypedModel& typed;
  Decision decision;
  std::vector<SymbolicExprId> assumed;
  std::vector<Truth> verdicts;
  // The nets that can be on and off, each once, and a block with it.
  std::vector<SymbolicExprId> nets;
  std::vector<const KSBlock*> examples;
  std::unordered_map<SymbolicExprId, std::size_t> places;
  std::vector<Goal> goals;  // two for each net: on and off
  std::vector<Configuration> configurations;
  std::size_t bound = 0;
};

nlohmann::ordered_json idsJson(const std::vector<const KSBlock*>& aBlocks) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const KSBlock* block : aBlocks) json.push_back(block->id);
  return json;
}

nlohmann::ordered_json coverJson(const CoverAnswer& aAnswer) {
  nlohmann::ordered_json json;
  json["configurations"] = nlohmann::ordered_json::array();
  for (const auto& configuration : aAnswer.configurations) {
    json["configurations"].push_back(valuesJson(configuration.values));
  }
  json["lowerBound"] = aAnswer.lowerBound;
  json["never"] = idsJson(aAnswer.never);
  json["always"] = idsJson(aAnswer.always);
  json["unknown"] = idsJson(aAnswer.unknown);
  return json;
}

}  // namespace

CoverAnswer answerCover(const Question& aQuestion) {
  const Cover cover(aQuestion);
  CoverAnswer answer;
  for (const Configuration& configuration : cover.getConfigurations()) {
    const Assignment values(configuration.values.begin(), configuration.values.end());
    const auto numOn = std::count(configuration.nets.begin(), configuration.nets.end(), Holds::Yes);
    answer.configurations.push_back({aQuestion.named(values, {}), static_cast<std::size_t>(numOn)});
  }
  answer.lowerBound = cover.getBound();
  for (const KSBlock& block : aQuestion.getModel().blocks) {
    if (!aQuestion.getTyped().isAvailable(block)) continue;
    switch (cover.verdict(block)) {
      case Truth::Never: answer.never.push_back(&block); break;
      case Truth::Always: answer.always.push_back(&block); break;
      case Truth::Unknown: answer.unknown.push_back(&block); break;
      case Truth::Sometimes:
        if (cover.isMissed(block)) answer.unknown.push_back(&block);
        break;
    }
  }
  return answer;
}

std::string writeCover(const Question& aQuestion, const CoverAnswer& aAnswer, std::ostream& aOut) {
  const auto& configurations = aAnswer.configurations;
  const Layout& layout = aQuestion.getLayout();
  if (layout.format == Format::Json) {
    writeJson(coverJson(aAnswer), aOut);
  } else if (layout.format == Format::Csv) {
    // As "eval --values" reads it.
    Row header;
    for (const Variable& variable : aQuestion.getTyped().getVariables()) {
      header.push_back(variable.name);
    }
    std::vector<Row> rows;
    for (const auto& configuration : configurations) {
      rows.emplace_back();
      for (const auto& [name, value] : configuration.values) {
        rows.back().push_back(valueText(value));
      }
    }
    writeRows(header, header, rows, layout, aOut);
  } else {
    std::vector<Row> rows;
    rows.reserve(configurations.size());
    for (const auto& configuration : configurations) {
      rows.push_back({std::to_string(rows.size() + 1), std::to_string(configuration.numOn),
                      valuesText(configuration.values)});
    }
    writeRows({"NUMBER", "CONDITIONS ON", "VALUES"}, {}, rows, layout, aOut);
  }
  return counted(configurations.size(), "configuration") + ", at least " +
         std::to_string(aAnswer.lowerBound) + " needed; " + counted(aAnswer.never.size(), "block") +
         " never on, " + std::to_string(aAnswer.always.size()) + " always, " +
         std::to_string(aAnswer.unknown.size()) + " unknown\n";
}

}  // namespace ksexpr
