// A user of the installed library that decides conditions.
#include <KSSymbolicExpr/decide/SymbolicExprDecider.hpp>
#include <KSSymbolicExpr/parser/SymbolicExprParser.hpp>

int main() {
  KS::SymbolicExprTable table;
  const KS::SymbolicExprParser parse(table, false);
  KS::SymbolicExprDecider decider(table);
  decider.setDomain(parse("N"), KS::SymbolicExprDomain::integers(1, 8));
  const bool isNever = decider.decide(parse("1 < N && N < 2")) == KS::Truth::Never;
  return isNever && decider.witness(parse("N > 7")) ? 0 : 1;
}
