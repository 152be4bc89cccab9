// Distribution of a conjunction over disjunctions: (a || b) && c -> (a && c) || (b && c).
#pragma once

#include <cstddef>
#include <optional>

#include "simplify/detail/DisjointJoin.hpp"
#include "simplify/detail/Picks.hpp"

namespace KS::detail {

class Chains;

/// Distributes conjunctions that are not too large. Whether one is depends on its operands alone;
/// a larger one keeps its disjunctions, and conditions that nest such conjunctions stay within
/// memory because there is an end to what one simplification distributes in all.
class Distribution {
 public:
  /// A conjunction is distributed where the result, before anything in it absorbs anything, has at
  /// most so many disjuncts and literals.
  static constexpr std::size_t maxDisjuncts = 1024;
  static constexpr std::size_t maxLiterals = 65536;
  /// One simplification distributes conjunctions of at most so many literals in all.
  static constexpr std::size_t maxLiteralsInAll = std::size_t{1} << 24;

  Distribution(SimplifyContext& aContext, Chains& aChains, DisjointJoin& aJoin)
      : c(aContext), chains(aChains), join(aJoin) {}

  /// What a conjunction becomes; nothing where it holds no disjunction or is too large.
  /// Disjunctions that another operand absorbs are taken out in any case: (a || b) && a -> a.
  /// Throws `std::length_error` where this simplification has distributed too much.
  std::optional<SymbolicExprId> distribute(Operands& aOperands);

  /// The same for two final operands; nothing where they have to be looked at more closely.
  std::optional<SymbolicExprId> distributeTwo(SymbolicExprId a, SymbolicExprId b);

 private:
  void takeDisjunctions(Operands& aOperands, Lists& aLists) const;
  std::optional<SymbolicExprId> joinSets(const Lists& aLists);
  SymbolicExprId joinAny(const Lists& aLists);
  std::optional<std::size_t> literalsWithinLimits(std::size_t aNumRest,
                                                  const Lists& aDisjunctions) const;
  void noteWork(std::size_t aNumLiterals);

  SimplifyContext& c;
  Chains& chains;
  DisjointJoin& join;
};

}  // namespace KS::detail
