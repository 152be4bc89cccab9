#include "wrapper.hpp"

#include <KSSymbolicExpr/core.hpp>
#ifdef WRAPPER_DECIDES
#include <KSSymbolicExpr/decide/SymbolicExprDecider.hpp>
#endif

bool canHold(KS::SymbolicExprTable& aTable, const std::string& aCondition) {
  const KS::SymbolicExprId condition = KS::SymbolicExprParser(aTable, false)(aCondition);
#ifdef WRAPPER_DECIDES
  return KS::SymbolicExprDecider(aTable).decide(condition) != KS::Truth::Never;
#else
  std::size_t passes = 0;
  const KS::SymbolicExprId simplified =
      KS::SymbolicExprSimplify(aTable, 10).simplify(condition, passes);
  return KS::SymbolicExprPrinter(aTable, true, false, false)(simplified) != "false";
#endif
}
