#include "tools/Change.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ksexpr {

using KS::SymbolicExprId;

namespace {

// Sets of numbers, each of which has to be hit.
using Sets = std::vector<std::vector<std::size_t>>;

// Searches for a smallest set that has an element of every one: branches on the elements of one
// that is not hit yet.
class SmallestHittingSet {
 public:
  explicit SmallestHittingSet(const Sets& aSets) : sets(aSets) {}

  // Nothing where the search takes too long.
  std::optional<std::vector<std::size_t>> find() {
    for (std::size_t size = 0; size <= sets.size(); ++size) {
      chosen.clear();
      if (search(size)) return chosen;
      if (steps > maxSteps) return std::nullopt;
    }
    return std::nullopt;
  }

 private:
  static constexpr std::size_t maxSteps = 1000000;

  bool search(std::size_t aLeft) {
    const auto isHit = [this](const std::vector<std::size_t>& set) {
      return std::any_of(set.begin(), set.end(), [this](std::size_t element) {
        return std::find(chosen.begin(), chosen.end(), element) != chosen.end();
      });
    };
    const auto open = std::find_if_not(sets.begin(), sets.end(), isHit);
    if (open == sets.end()) return true;
    if (aLeft == 0 || ++steps > maxSteps) return false;
    for (const std::size_t element : *open) {
      chosen.push_back(element);
      if (search(aLeft - 1)) return true;
      chosen.pop_back();
    }
    return false;
  }

  const Sets& sets;
  std::vector<std::size_t> chosen;
  std::size_t steps = 0;
};

class ChangeSearch {
 public:
  ChangeSearch(const Question& aQuestion, Decision& aFree,
               const std::vector<SymbolicExprId>& aConditions)
      : question(aQuestion), free(aFree), conditions(aConditions) {
    std::vector<SymbolicExprId> variables;
    const TypedModel& typed = question.getTyped();
    for (const SymbolicExprId id : conditions) typed.appendVariables(id, variables);
    for (const SymbolicExprId id : typed.getConstraints()) typed.appendVariables(id, variables);
    for (const SymbolicExprId id : question.getAssumed()) typed.appendVariables(id, variables);
    // What the conditions and constraints do not mention can't matter.
    for (const auto& [variable, value] : question.getGiven().all()) {
      if (std::find(variables.begin(), variables.end(), variable->id) == variables.end()) continue;
      keeping.push_back(question.isValue(variable->id, value));
    }
  }

  // Values to be changed are such that every set of values that stand in the way loses one. So the
  // smallest choice from the sets that are known so far is a lower bound, and the answer as soon as
  // it does.
  std::optional<Change> find() {
    Sets obstacles;
    while (obstacles.size() < maxObstacles) {
      const auto changed = SmallestHittingSet(obstacles).find();
      if (!changed) break;
      const auto found = free.example(keepingAllBut(*changed));
      if (found) return makeChange(*found, true);
      const auto obstacle = obstacleWithout(*changed);
      if (obstacle.empty()) break;
      obstacles.push_back(obstacle);
    }
    return someChange();
  }

 private:
  static constexpr std::size_t maxObstacles = 1000;

  std::vector<SymbolicExprId> keepingAllBut(const std::vector<std::size_t>& aChanged) const {
    std::vector<SymbolicExprId> all = conditions;
    for (std::size_t i = 0; i < keeping.size(); ++i) {
      if (std::find(aChanged.begin(), aChanged.end(), i) == aChanged.end()) {
        all.push_back(keeping[i]);
      }
    }
    return all;
  }

  // Values that are kept and together keep the conditions from holding; none where that is not
  // proven.
  std::vector<std::size_t> obstacleWithout(const std::vector<std::size_t>& aChanged) {
    const auto contradiction = free.getDecider().smallestContradiction(keepingAllBut(aChanged));
    std::vector<std::size_t> obstacle;
    for (std::size_t i = 0; i < keeping.size(); ++i) {
      const auto& ids = contradiction.ids;
      if (std::find(ids.begin(), ids.end(), keeping[i]) != ids.end()) obstacle.push_back(i);
    }
    return obstacle;
  }

  Change makeChange(const Assignment& aValues, bool aIsProven) const {
    Change change;
    for (const auto& [variable, value] : aValues) {
      const VariableValue* given = question.getGiven().find(variable);
      if (given == nullptr) {
        change.chosen.emplace_back(variable, value);
      } else if (*given != value) {
        change.changed.emplace_back(variable, value);
      }
    }
    // Without a change the block is not on, so fewer than one do not turn it on.
    change.isFewest = aIsProven || change.changed.size() <= 1;
    return change;
  }

  // Some values under which the conditions hold, as few of them changed as giving one after the
  // other back leads to.
  std::optional<Change> someChange() {
    std::vector<std::size_t> changed(keeping.size());
    for (std::size_t i = 0; i < changed.size(); ++i) changed[i] = i;
    auto found = free.example(keepingAllBut(changed));
    if (!found) return std::nullopt;
    for (std::size_t i = 0; i < keeping.size(); ++i) {
      std::vector<std::size_t> fewer;
      std::copy_if(changed.begin(), changed.end(), std::back_inserter(fewer),
                   [i](std::size_t place) { return place != i; });
      auto better = free.example(keepingAllBut(fewer));
      if (!better) continue;
      changed = std::move(fewer);
      found = std::move(better);
    }
    return makeChange(*found, false);
  }

  const Question& question;
  Decision& free;
  const std::vector<SymbolicExprId>& conditions;
  // That the given values that may matter stay.
  std::vector<SymbolicExprId> keeping;
};

}  // namespace

std::optional<Change> fewestChanges(const Question& aQuestion, Decision& aFree,
                                    const std::vector<SymbolicExprId>& aConditions) {
  return ChangeSearch(aQuestion, aFree, aConditions).find();
}

}  // namespace ksexpr
