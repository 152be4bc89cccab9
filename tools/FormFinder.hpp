// Which expressions have a form of their own in C syntax.
#pragma once

#include <vector>

#include "base/SymbolicExprTable.hpp"

namespace ksexpr {

/// Tells what has a form of its own in C syntax, of the expressions of a table.
class FormFinder {
 public:
  explicit FormFinder(const KS::SymbolicExprTable& aTable);
  /// Whether an expression holds a call, which the conversion to operators may change.
  bool hasCall(KS::SymbolicExprId aId);
  /// Whether the C text of an expression that `hasCall` has been asked about is its M text with "!"
  /// for each "~".
  bool isSpelledAlike(KS::SymbolicExprId aId) const { return found[aId] == none; }

 private:
  // The worst of what an expression holds.
  enum Found : unsigned char { none, otherSpelling, call };

  const KS::SymbolicExprTable& table;
  std::vector<Found> found;  // by id, as far as has been looked
};

}  // namespace ksexpr
