// Many questions at once.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "decide/detail/Problem.hpp"
#include "decide/detail/Simulation.hpp"

namespace KS::Decide::detail {

/// Finds out for many literals of a formula whether they can hold together with what is assumed.
/// Examples come from a simulation first. What is left is searched for by one solver for all, and
/// each example that it finds is an example for all the others as well.
class Batch {
 public:
  enum State : std::uint8_t {
    Open,      ///< Neither was shown.
    Possible,  ///< There are values under which it holds.
    Impossible
  };

  /// Borrows the formula. Each search may take `aConflicts` conflicts.
  Batch(Formula& aFormula, std::vector<Literal> aAssumed, std::int64_t aConflicts)
      : formula(aFormula), assumed(std::move(aAssumed)), limit(aConflicts) {}

  /// Finds out about the literals; one state each, in their order.
  std::vector<State> run(const std::vector<Literal>& aGoals);

 private:
  Problem makeProblem(const std::vector<Literal>& aLiterals) const;
  std::vector<char> findExact(const Problem& aProblem) const;
  void simulate(const std::vector<Literal>& aLiterals, std::vector<State>& aStates);
  void search(const std::vector<Literal>& aLiterals, std::vector<State>& aStates);

  Formula& formula;
  std::vector<Literal> assumed;
  std::int64_t limit;
};

}  // namespace KS::Decide::detail
