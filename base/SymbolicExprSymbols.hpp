// The symbols that an expression uses.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Tells which symbols an expression uses, in the order of their first encounter, depth first and
/// left to right. Function names are symbols, met before the arguments; "true" and "false" are too,
/// names of members are not. Borrows the table. Costs time in distinct nodes.
class KS_API SymbolicExprSymbols {
 public:
  /// Reads `aTable`.
  explicit SymbolicExprSymbols(const SymbolicExprTable& aTable) : table(aTable) {}

  /// Appends the names of the symbols of `aId`, each once. Throws `std::out_of_range` for an id
  /// that is not in the table.
  void operator()(SymbolicExprId aId, std::vector<std::string>& aNames) const;
  /// Appends the ids of the symbols of `aId`, each once. Throws as above.
  void operator()(SymbolicExprId aId, std::vector<SymbolicExprId>& aIds) const;

 private:
  const SymbolicExprTable& table;
};

/// The walk behind `SymbolicExprSymbols`. It remembers what it has visited, so one walker serves
/// one query; a second one reports only what the first did not reach.
class KS_API SymbolsOfSymbolicExpr {
 public:
  /// Reads `aTable`.
  explicit SymbolsOfSymbolicExpr(const SymbolicExprTable& aTable);
  ~SymbolsOfSymbolicExpr();
  SymbolsOfSymbolicExpr(const SymbolsOfSymbolicExpr&) = delete;
  SymbolsOfSymbolicExpr& operator=(const SymbolsOfSymbolicExpr&) = delete;

  /// Appends the names of symbols that were not visited before.
  void getSymbols(SymbolicExprId aId, std::vector<std::string>& aNames);
  /// Appends the ids of symbols that were not visited before.
  void getSymbolIds(SymbolicExprId aId, std::vector<SymbolicExprId>& aIds);

 private:
  struct Visited;
  std::unique_ptr<Visited> visited;
  const SymbolicExprTable& table;
};

}  // namespace KS
