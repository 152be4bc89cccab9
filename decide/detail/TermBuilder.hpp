// Expressions of the host as the decider reads them.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <optional>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS::Decide::detail {

/// The number of a literal, or of the symbol "true" or "false".
std::optional<double> constantOf(const SymbolicExpr& aExpr);
/// Whether this is a symbol other than "true" and "false".
bool isSymbol(const SymbolicExpr& aExpr);
/// Whether this is a call.
bool isCall(const SymbolicExpr& aExpr);
/// Whether this is a symbol, a member or a call: something that has whatever value it is given.
bool isVariable(const SymbolicExpr& aExpr);

/// Copies expressions into a table of its own: what is bound becomes its value, functions of M
/// syntax become operators, and operators over constants become their results. Every distinct node
/// is copied once.
class TermBuilder {
 public:
  /// Borrows both.
  TermBuilder(const SymbolicExprTable& aSource, const SymbolicExprBindings& aBindings);

  /// The copy of an expression of the source. Throws `std::out_of_range` for an unknown id.
  SymbolicExprId operator()(SymbolicExprId aId);
  /// The copy, or the invalid id where none was made.
  SymbolicExprId find(SymbolicExprId aId) const {
    const auto known = copies.find(aId);
    return known == copies.end() ? invalidSymbolicExprId : known->second;
  }
  /// The table of the copies.
  const SymbolicExprTable& getTable() const { return table; }
  /// The expressions of the source that a variable is the copy of, in the order of their copying.
  const std::vector<SymbolicExprId>& origins(SymbolicExprId aCopy) const;

  enum class Certainty { No, Maybe, Yes };
  /// Whether an operator over variables gives NaN where these are finite, or a list holds only NaN.
  Certainty isNaN(SymbolicExprId aCopy) const;

  /// Appends the variables below an expression of the own table, each once, in the order of a walk;
  /// what lies inside a call or member is not looked at.
  void appendVariables(SymbolicExprId aCopy, std::vector<SymbolicExprId>& aVariables) const;

 private:
  // Calls the conversion for one call whose parts are copied.
  class CallConverter : public SymbolicExprM2CVisitor {
   public:
    using SymbolicExprM2CVisitor::SymbolicExprM2CVisitor;
    SymbolicExprId convert(SymbolicExprTable& aTable, const std::vector<SymbolicExprId>& aInputs);
  };

  SymbolicExprId copy(const SymbolicExpr& aExpr, const std::vector<SymbolicExprId>& aInputs);
  SymbolicExprId literal(const Eval::Value& aValue);
  Certainty findNaN(const SymbolicExpr& aOperator) const;
  SymbolicExprId folded(SymbolicExprId aCopy);

  const SymbolicExprTable& source;
  const SymbolicExprBindings& bindings;
  SymbolicExprTable table;
  CallConverter converter;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> copies;
  boost::unordered_flat_map<SymbolicExprId, Certainty> nanOf;  // by copy, but for `No`
  boost::unordered_flat_map<SymbolicExprId, std::vector<SymbolicExprId>> originsOf;
};

}  // namespace KS::Decide::detail
