// Conjunctions and disjunctions of any number of operands.
#pragma once

#include <cstddef>
#include <optional>

#include "simplify/detail/DisjointJoin.hpp"
#include "simplify/detail/Distribution.hpp"
#include "simplify/detail/GrowingConjunction.hpp"
#include "simplify/detail/Operands.hpp"

namespace KS::detail {

/// How a disjunction is written, for the one result that depends on it: two operands whose kinds
/// have no order keep the order in which they were joined.
class WrittenOrder {
 public:
  virtual ~WrittenOrder() = default;
  /// Whether the disjunction, taken two operands at a time as it is written, comes to the two in
  /// this order.
  virtual bool comesTo(SymbolicExprId aFirst, SymbolicExprId aSecond) const = 0;
};

/// The order of the rules for conjunctions and disjunctions.
class Chains {
 public:
  explicit Chains(SimplifyContext& aContext)
      : c(aContext), join(aContext), growing(aContext, join), distribution(aContext, *this, join) {}

  /// What a chain of simplified operands becomes.
  SymbolicExprId simplify(const Connective& aKind, const SymbolicExprId* aOperands,
                          std::size_t aCount, const WrittenOrder& aWritten);
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
