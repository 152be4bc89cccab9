// A part of a host that brings the library with it when it is loaded.
#include <exception>
#include <string>

#include "eval/SymbolicExprProgram.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#ifdef KS_TEST_DECIDE
#include "decide/SymbolicExprDecider.hpp"
#endif

namespace {

std::string answer(const std::string& aText) {
  KS::SymbolicExprTable table;
  const KS::SymbolicExprParser parse(table, true);
  const KS::SymbolicExprId id = parse(aText);
  if (id == KS::invalidSymbolicExprId) return "expected " + parse.diagnose(aText)->expected;
  std::size_t passes = 0;
  const KS::SymbolicExprId simple = KS::SymbolicExprSimplify(table, 10).simplify(id, passes);
  const KS::SymbolicExprProgram program(table, {simple});
  std::string result = KS::SymbolicExprPrinter(table, false, true, false)(simple) + ", " +
                       program.run(KS::SymbolicExprBindings(table))[0].error;
#ifdef KS_TEST_DECIDE
  result += ", " + std::to_string(static_cast<int>(KS::SymbolicExprDecider(table).decide(simple)));
#endif
  return result;
}

}  // namespace

// The answer about a text, or what was thrown, in memory of the caller.
extern "C" KS_API void tell(const char* aText, char* aAnswer, std::size_t aSize) {
  std::string result;
  try {
    result = answer(aText);
  } catch (const std::exception& error) {
    result = error.what();
  }
  aAnswer[result.copy(aAnswer, aSize - 1)] = '\0';
}
