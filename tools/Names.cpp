#include "tools/Names.hpp"

#include "base/KSSymbolicExpr.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace ksexpr {

namespace {

KS::SymbolicOp kindOf(const KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId) {
  return static_cast<KS::SymbolicOp>(aTable.get(aId)->getKind());
}

}  // namespace

bool isConstantName(const std::string& aText) {
  KS::SymbolicExprTable table;
  const KS::SymbolicExprId id = KS::SymbolicExprParser(table, false)(aText);
  if (id == KS::invalidSymbolicExprId || kindOf(table, id) != KS::SymbolicOp::String) return false;
  // Blanks around a name are no part of it.
  return static_cast<const KS::SymbolicString*>(table.get(id))->getText() == aText &&
         aText != "true" && aText != "false";
}

bool isVariableName(const std::string& aText) {
  if (isConstantName(aText)) return true;
  KS::SymbolicExprTable table;
  const KS::SymbolicExprId id = KS::SymbolicExprParser(table, false)(aText);
  return id != KS::invalidSymbolicExprId && kindOf(table, id) == KS::SymbolicOp::MemberValue;
}

}  // namespace ksexpr
