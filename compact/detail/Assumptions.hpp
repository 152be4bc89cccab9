// Dropping what a formula's surroundings decide.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <utility>
#include <vector>

#include "compact/detail/Formulas.hpp"

namespace KS::detail {

/// Rewrites operands under the assumption that the other operands of the conjunctions around them
/// hold: `a && (a && b || c)` becomes `a && (b || c)`, and `a || b && ~a` becomes `a || b`. Knows
/// of a part only what it is assumed to be itself, and of a relation what other relations over its
/// left operand say. Takes time in the formula written out.
class Assumptions {
 public:
  explicit Assumptions(Formulas& aFormulas) : formulas(aFormulas) {}

  /// The rewritten formula, which has no more literals.
  Formula rewrite(Formula aFormula);

 private:
  enum class Known : std::uint8_t { Nothing, True, False };
  using RelationKey = std::pair<SymbolicExprId, SymbolicExprId>;
  // A conjunction that is being rewritten. Its operands lie in `operands` from `first` on,
  // rewritten up to `next`; the assumptions from `mark` on were made for it.
  struct Frame {
    std::size_t first, next, mark;
    bool isNegated;
  };

  bool enter(Formula aFormula, Formula& aResult);
  Known known(Formula aFormula) const;
  Known knownRelation(Formula aFormula) const;
  void assume(Formula aFormula);
  void forget(std::size_t aMark);

  Formulas& formulas;
  std::vector<Frame> path;
  Formulas::List operands;
  Formulas::List assumed;     // in the order in which they were assumed
  std::vector<Known> values;  // by index of node
  boost::unordered_flat_map<RelationKey, Formulas::List> relations;
};

}  // namespace KS::detail
