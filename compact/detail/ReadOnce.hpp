// Forms that no equivalent one has fewer literals than.
#pragma once

#include <boost/unordered/unordered_flat_set.hpp>

#include "base/SymbolicExprTable.hpp"
#include "compact/detail/Formulas.hpp"
#include "simplify/detail/TextOrder.hpp"

namespace KS::detail {

/// Recognises conditions that mention every symbol once, alone or in a relation to a number. Their
/// truth depends on each of the symbols, so every equivalent condition mentions them all. Without
/// it, results would have as many literals; it saves looking for shorter ones.
class ReadOnce {
 public:
  explicit ReadOnce(const SymbolicExprTable& aTable) : table(aTable) {}

  /// Whether a formula is one.
  bool holds(const Formulas& aFormulas, Formula aFormula);
  /// Whether an expression is a conjunction of such symbols and relations, in the order of their
  /// text, and with so few negations that these stand where they should: its own compact form.
  bool isCompactConjunction(SymbolicExprId aId, TextOrder& aOrder);

 private:
  bool addSymbolOf(SymbolicExprId aAtom);

  const SymbolicExprTable& table;
  boost::unordered_flat_set<SymbolicExprId> symbols;  // met so far
};

}  // namespace KS::detail
