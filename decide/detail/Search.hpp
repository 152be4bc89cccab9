// The search for values under which conditions hold.
#pragma once

#include <cstdint>
#include <vector>

#include "decide/detail/OrderTheory.hpp"
#include "decide/detail/Problem.hpp"
#include "decide/detail/SatSolver.hpp"

namespace KS::Decide::detail {

/// Searches for values with a Boolean solver and the theory of order in turns: where the solver's
/// choice of comparisons cannot hold together, it learns why and chooses again (lazy satisfiability
/// modulo theories). Of a choice only the comparisons are looked at that the conditions need to
/// hold. May be asked again, with other assumptions; what it learned stays.
class Search {
 public:
  enum Result {
    Found,       ///< There are values: `value` gives them.
    Impossible,  ///< There are none; `isCause` tells which assumptions exclude each other.
    TooNarrow,   ///< There are values, but only such that evaluation takes for equal.
    Exhausted    ///< The conflicts that were allowed were not enough.
  };

  /// Borrows both.
  Search(const Formula& aFormula, const Problem& aProblem);

  /// Has a literal of the problem hold from now on.
  void require(Literal aLiteral);
  /// Adds what is known to hold wherever what was required does.
  void learn(Literal aLiteral) { addClause({aLiteral}); }
  /// Searches for values under which the assumptions, literals of the problem, hold. At most
  /// `aConflicts` conflicts of both kinds are allowed.
  Result run(const std::vector<Literal>& aAssumptions, std::int64_t aConflicts);

  /// After `Found`: the value of a term of the problem.
  double value(TermIndex aTerm) const;
  /// After `Found`: whether a term of the problem must have that value. Any other would do as well.
  bool isSettled(TermIndex aTerm) const {
    return theory.isPlaced(aTerm) || truths.count(aTerm) != 0;
  }
  /// After `Found`: whether a literal of the problem holds under these values.
  bool holds(Literal aLiteral);
  /// After `holds`: whether evaluation tells all values apart that are compared. Those that matter
  /// to what was required and assumed it does in any case.
  bool isClear() const { return clear; }
  /// After `Impossible`: whether an assumption is among those that exclude each other. None is if
  /// the problem has no solution at all.
  bool isCause(Literal aAssumption);

 private:
  enum class Step { Sat, Unsat, Limit };

  static int variable(Literal aLiteral) {
    const auto index = static_cast<int>(nodeOf(aLiteral));
    return isNegated(aLiteral) ? -index : index;
  }
  void addClause(std::initializer_list<Literal> aClause);
  void addNodes();
  void addOrders();
  void addConflicts(const std::vector<OrderTheory::Conflict>& aConflicts, bool aWide);
  Step step(const std::vector<Literal>& aAssumptions, bool aIsWide);
  void justify(const std::vector<Literal>& aAssumptions);

  const Formula& formula;
  const Problem& problem;
  SatSolver solver;
  OrderTheory theory;
  std::vector<Literal> required;
  std::vector<std::uint32_t> tieOf;  // by node: one more than its place among the ties
  int wide = 0;                      // the variable for values that evaluation tells apart
  bool isFalseAssumed = false;
  std::int64_t limit = 0;
  std::int64_t spent = 0;  // conflicts of the theory
  std::vector<OrderEdge> edges;
  std::vector<char> isNeeded;  // by node
  bool clear = false;
  std::vector<char> valuation;                        // by node, under the values, or empty
  boost::unordered_flat_map<TermIndex, bool> truths;  // of variables that are not compared
};

}  // namespace KS::Decide::detail
