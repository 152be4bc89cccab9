// What must be true of a text and of the expression that it spells, whatever it is.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace KS::fuzz {

/// The parser agrees with a reader that shares nothing with it, and with the public grammar: on
/// what the text means, or on where it stops making sense.
void checkLanguage(const std::string& aText, bool aCSyntax);

/// A table, and what works on it, that have seen other expressions before.
class UsedTable;
struct DeleteUsedTable {
  void operator()(UsedTable* aTable) const;
};
using UsedTablePtr = std::unique_ptr<UsedTable, DeleteUsedTable>;
UsedTablePtr makeUsedTable();

/// Every operation on the expression that a text spells, if it does: what is printed reads back,
/// results mean what the expression means save for the documented exceptions, the roads of the
/// simplifier agree, and so do the used table and a fresh one. `aSeed` decides on values.
void checkExpression(const std::string& aText, bool aCSyntax, UsedTable& aUsed,
                     std::uint64_t aSeed);

}  // namespace KS::fuzz
