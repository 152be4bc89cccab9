// Conjunctions and disjunctions of any number of operands.
#pragma once

#include <cstddef>
#include <optional>

#include "simplify/detail/DisjointJoin.hpp"
#include "simplify/detail/Distribution.hpp"
#include "simplify/detail/GrowingConjunction.hpp"
#include "simplify/detail/Operands.hpp"
#include "simplify/detail/WrittenOrder.hpp"

namespace KS::detail {

/// The order of the rules for conjunctions and disjunctions.
class Chains {
 public:
  explicit Chains(SimplifyContext& aContext)
      : c(aContext), join(aContext), growing(aContext, join), distribution(aContext, *this, join) {}

  /// What a chain of simplified operands becomes. A disjunction is written as `aWritten` says, or
  /// as its two operands are given.
  SymbolicExprId simplify(const Connective& aKind, const SymbolicExprId* aOperands,
                          std::size_t aCount, const WrittenOrder* aWritten = nullptr);
  /// The same for operands whose order of writing does not matter.
  SymbolicExprId simplify(Operands& aOperands);

 private:
  std::optional<SymbolicExprId> conjoinTwo(SymbolicExprId a, SymbolicExprId b);
  std::optional<SymbolicExprId> reduce(Operands& aOperands);

  SimplifyContext& c;
  DisjointJoin join;
  GrowingConjunction growing;
  Distribution distribution;
};

}  // namespace KS::detail
