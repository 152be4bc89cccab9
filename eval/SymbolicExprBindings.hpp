// Values for one question, beside the table.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "base/SymbolicExprTable.hpp"
#include "eval/Eval.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Values of symbols, and of any other nodes that have none by themselves or are to have another: a
/// member access, a call, an operator. What is bound wins over what the table has registered and
/// over what would be computed, and nothing below a node that is bound is looked at: neither an
/// input without a value nor a registered value that leads back to itself matters there. A list
/// that is bound to a symbol is what a list registered for it would be.
///
/// Borrows the table and never changes it. Copied freely; read by any number of threads as long as
/// nobody sets a value or extends the table.
///
///     SymbolicExprBindings bindings(table);
///     bindings.set("Mains", 3);
///     bindings.set(parse("Site.remote"), true);
///     SymbolicExprEval(table).eval(parse("Mains == 3 && Site.remote"), bindings);  // {1.0}
class KS_API SymbolicExprBindings {
 public:
  /// No values yet. Borrows the table.
  explicit SymbolicExprBindings(const SymbolicExprTable& aTable) : table(&aTable) {}

  /// Binds a symbol; the last value that is set for it counts. A name that the table doesn't know
  /// yet is bound all the same, for expressions that are added later. Throws, and binds nothing:
  /// `std::invalid_argument` for a list without elements, which no expression has for its value.
  void set(const std::string& aName, Eval::Value aValue);
  /// Binds a node. Throws likewise, and `std::out_of_range` for an id that is not in the table,
  /// `std::invalid_argument` for that of a literal. An id means nothing without its table, so one
  /// of another table binds whatever node has that id in this one.
  void set(SymbolicExprId aId, Eval::Value aValue);

  /// The value that is bound to a node, or null; valid until the next value is set.
  const Eval::Value* find(SymbolicExprId aId) const;

  /// How many values are set.
  std::size_t size() const { return values.size() + unknownNames.size(); }

  /// Calls `aUse(id, value)` for every node that is bound, in no particular order. Names that the
  /// table doesn't know are left out.
  template <class Use>
  void forEach(const Use& aUse) const {
    for (const auto& [id, value] : values) aUse(id, value);
    for (const auto& [name, value] : unknownNames) {
      const SymbolicExprId symbol = symbolNamed(name);
      if (symbol != invalidSymbolicExprId && values.count(symbol) == 0) aUse(symbol, value);
    }
  }

  /// The table whose nodes are bound.
  const SymbolicExprTable& getTable() const { return *table; }

 private:
  SymbolicExprId symbolNamed(const std::string& aName) const;

  const SymbolicExprTable* table;
  std::unordered_map<SymbolicExprId, Eval::Value> values;
  std::unordered_map<std::string, Eval::Value> unknownNames;  // as of when they were set
};

}  // namespace KS
