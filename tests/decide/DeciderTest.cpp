// Verdicts on single conditions: one row a property of the theory.
#include "decide/SymbolicExprDecider.hpp"

#include <gtest/gtest.h>

#include <string>

#include "base/KSSymbolicExpr.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace KS {
namespace {

const char* name(Truth aTruth) {
  const char* const names[] = {"never", "always", "sometimes", "unknown"};
  return names[static_cast<int>(aTruth)];
}

struct Row {
  const char* condition;
  const char* reals;     // the verdict
  const char* integers;  // where all symbols are whole numbers
};

const Row kRows[] = {
    {"a && ~a", "never", "never"},
    {"a || ~a", "always", "always"},
    {"a && b", "sometimes", "sometimes"},
    {"x == 1 && x == 2", "never", "never"},
    {"M == 1 && N == M && N == 2", "never", "never"},
    {"1 < x && x < y && y < 3", "sometimes", "never"},
    {"1 < x && x < y && y < 2", "sometimes", "never"},
    {"1 <= x && x <= 2 && x ~= 1 && x ~= 2", "sometimes", "never"},
    {"x < y && y < z && z < x", "never", "never"},
    {"x <= y && y <= z && z <= x && x ~= z", "never", "never"},
    {"x == 0.5", "sometimes", "never"},
    {"x < 0.5 || x > 0.5", "sometimes", "always"},
    {"A && A == 0", "never", "never"},
    {"~A == 1 && A", "never", "never"},
    {"(~A == 1) == (A == 0)", "always", "always"},
    {"(a && b) > c && c == 1", "never", "never"},
    {"true == 1 && false == 0", "always", "always"},
    {"x > 2 && x == 2", "never", "never"},
    {"x > 1 && x < 1.00000000001", "unknown", "never"},
    {"x > 1 && x < 1.00000000001 && x ~= x", "never", "never"},
    {"(x > 1 && x < 1.00000000001) || x == 3", "sometimes", "sometimes"},
    {"x + 1 > 3", "sometimes", "sometimes"},
    {"x + 1 > 3 && x + 1 < 2", "never", "never"},
    {"2 * 3 == 6", "always", "always"},
    {"x * 0 == 1", "unknown", "unknown"},
    {"bitand(6, 3) == 2", "always", "always"},
    {"f(x) == 1 && f(x) == 2", "never", "never"},
    {"f(x) == 1 && f(y) == 2", "sometimes", "sometimes"},
    {"S.m > 2 && S.m < 3", "sometimes", "sometimes"},
    {"x <= 2147483647 && x >= -2147483648", "sometimes", "always"},
    {"3", "always", "always"},
    {"0.0", "never", "never"},
    {"((a&&b)||(~a&&~b)) == ~(a ~= b) && (a == 0 || a == 1) && (b == 0 || b == 1)", "sometimes",
     "sometimes"},
};

TEST(Decider, Verdicts) {
  for (const Row& row : kRows) {
    for (const bool isInteger : {false, true}) {
      SymbolicExprTable table;
      const SymbolicExprParser parse(table, false);
      const SymbolicExprId id = parse(row.condition);
      ASSERT_NE(id, invalidSymbolicExprId) << row.condition;
      SymbolicExprDecider decider(table);
      if (isInteger) {
        for (const char* symbol : {"a", "b", "c", "x", "y", "z", "A", "M", "N"}) {
          decider.setDomain(SymbolicString(table, symbol).getId(table),
                            SymbolicExprDomain::integers());
        }
      }
      EXPECT_STREQ(name(decider.decide(id)), isInteger ? row.integers : row.reals)
          << row.condition << (isInteger ? " over integers" : " over reals");
    }
  }
}

}  // namespace
}  // namespace KS
