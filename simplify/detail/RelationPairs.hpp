// Pairs of relations among the operands of a conjunction or disjunction.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <memory>
#include <utility>

#include "simplify/detail/Operands.hpp"

namespace KS::detail {

/// Applies the rows of PairRules.hpp to relations over one left operand, all to integers or all to
/// one other right operand. One object serves the operands of one chain.
class RelationPairs {
 public:
  RelationPairs(SimplifyContext& aContext, Operands& aOperands)
      : c(aContext), operands(aOperands) {}

  /// Pairs the relations of every group that got a new one since the last call.
  void apply();

 private:
  // What the relations of a group have in common: the left operand, and the right one, or the
  // invalid id for all integers.
  using Key = std::pair<SymbolicExprId, SymbolicExprId>;
  struct Entry {
    Key key;
    SymbolicExprId relation;
  };
  using Entries = boost::container::small_vector<Entry, 12>;

  Entries newRelations();
  void pairAll(Entries& aRelations);
  void pairNew(Entries& aRelations);
  void pairGroup(Ids& aGroup);
  static void sortByKey(Entries& aRelations);

  SimplifyContext& c;
  Operands& operands;
  std::size_t seen = 0;  // the operands up to this place have been paired
  // Relations by group, filed from the second call on.
  std::unique_ptr<boost::unordered_flat_map<Key, Ids>> groups;
};

/// Replaces relations of one group by what they give together. They are paired in text order: the
/// first pair that gives something is replaced, and pairing starts again where that made a new
/// relation. Where they decide, the absorbing value is the only one left.
void pairRelations(SimplifyContext& c, const Connective& aKind, Ids& aGroup);

}  // namespace KS::detail
