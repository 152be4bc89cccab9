// The fewest values to change so that conditions hold.
#pragma once

#include <optional>
#include <vector>

#include "tools/Decision.hpp"

namespace ksexpr {

/// Values under which conditions hold, and which of the given ones had to be changed for it.
struct Change {
  /// The given values that change, with their new value.
  Assignment changed;
  /// The values of variables that none was given for.
  Assignment chosen;
  /// Whether it is proven that no fewer changes do.
  bool isFewest = false;
};

/// The fewest changes of the given values under which all conditions hold; variables without a
/// value are free. `aFree` decides without the given values. Nothing where none was found.
std::optional<Change> fewestChanges(const Question& aQuestion, Decision& aFree,
                                    const std::vector<KS::SymbolicExprId>& aConditions);

}  // namespace ksexpr
