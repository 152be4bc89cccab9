// Expressions as formulas.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

#include "base/SymbolicExprTable.hpp"
#include "compact/detail/ExpressionSizes.hpp"
#include "compact/detail/Formulas.hpp"
#include "compact/detail/SimplifiedRelations.hpp"

namespace KS::detail {

/// Reads conditions into a pool of formulas. Everything but conjunction, disjunction, negation and
/// constants is an atom; relations are simplified. Every distinct node is read once.
class FormulaReader {
 public:
  FormulaReader(const SymbolicExprTable& aTable, ExpressionSizes& aSizes,
                SimplifiedRelations& aRelations, Formulas& aFormulas)
      : table(aTable), sizes(aSizes), relations(aRelations), formulas(aFormulas) {}

  /// The formula that has the truth of an expression.
  Formula read(SymbolicExprId aId);

  // What the walk over the distinct nodes asks.
  SymbolicExprId known(SymbolicExprId aId);
  template <class List>
  void appendOperands(SymbolicExprId aId, List& aOperands);
  SymbolicExprId rewrite(SymbolicExprId aId, const SymbolicExprId* aCodes, std::size_t aCount);

 private:
  Formula readAtom(SymbolicExprId aId);

  const SymbolicExprTable& table;
  ExpressionSizes& sizes;
  SimplifiedRelations& relations;
  Formulas& formulas;
  boost::unordered_flat_map<SymbolicExprId, std::size_t> codes;
};

}  // namespace KS::detail
