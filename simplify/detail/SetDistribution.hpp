// Distribution of a conjunction whose operands are sets of factors.
#pragma once

#include <optional>

#include "simplify/detail/Picks.hpp"

namespace KS::detail {

class Chains;
class DisjointJoin;

/// The simplified disjunction of what the picks from the lists give, each the conjunction of a
/// member of every list. A list has the operands of a final disjunction, or one final conjunction.
/// Nothing where a factor is a disjunction or about many things, and where there are more factors
/// than sets hold.
///
/// Every conjunction is a set of factors here, a bit each. Joining two, telling whether one absorbs
/// the other and comparing their texts then takes a few instructions, and no link is interned but
/// those of the result, each once.
/// - Factors of a pick that meet in a rule (`NumberedFactors`) are simplified by the general rules,
///   once wherever the same ones meet; they and the other factors make a product.
/// - Of the rules for the products of a disjunction, absorption is to find subsets. Where another
///   rule may apply, all products are left to the general rules.
///
/// Saves, in instructions of the benchmark's rows: with `FastRoad::SetDistribution` closed, net
/// conditions take twice as many, long ones 4 to 6 times, and simplifying conditions 1.2 times.
/// `Distribution` would give the same; it may go when closing the road no longer shows in these
/// rows.
std::optional<SymbolicExprId> distributeSets(SimplifyContext& c, Chains& aChains,
                                             DisjointJoin& aJoin, const Lists& aLists);

}  // namespace KS::detail
