// Simplification, dialect conversion and printing keep the meaning: every result is compared with
// its input under assignments that reach all regions.
#include <gtest/gtest.h>

#include <string>

#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/Equivalence.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomText.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS::test {
namespace {

SymbolicExprId parse(SymbolicExprTable& aTable, const std::string& aText, bool aCSyntax = true) {
  const SymbolicExprId id = SymbolicExprParser(aTable, aCSyntax)(aText);
  if (id == invalidSymbolicExprId) throw std::invalid_argument("does not parse: " + aText);
  return id;
}

// Checks everything that must keep the meaning of one condition.
void checkAll(SymbolicExprTable& aTable, SymbolicExprId aId, const std::string& aWhat,
              const Options& aOptions, std::size_t& aCompared) {
  const auto same = [&](const SymbolicExprTable& aOtherTable, SymbolicExprId aOther,
                        const char* aStep) {
    const Verdict verdict = compare(aTable, aId, aOtherTable, aOther, aOptions);
    ASSERT_FALSE(verdict.counterexample)
        << aWhat << "\n"
        << aStep << ": " << SymbolicExprPrinter(aOtherTable, false, true, false)(aOther) << "\n"
        << *verdict.counterexample;
    ASSERT_GT(verdict.compared, 0U) << aWhat << "\n" << aStep;
    aCompared += verdict.compared;
  };
  std::size_t passes = 0;
  const SymbolicExprId simplified = SymbolicExprSimplify(aTable, 30).simplify(aId, passes);
  same(aTable, simplified, "simplified");

  const SymbolicExprId c = SymbolicExprM2C(aTable)(aId);
  same(aTable, c, "in C syntax");
  same(aTable, SymbolicExprC2M(aTable)(c), "in C syntax and back");

  for (const bool mSyntax : {false, true}) {
    // Only operators of one dialect read back as they were written.
    const SymbolicExprId source = mSyntax ? SymbolicExprC2M(aTable)(aId) : aId;
    SymbolicExprTable other;
    const std::string text = SymbolicExprPrinter(aTable, mSyntax, true, false)(source);
    same(other, parse(other, text, !mSyntax), "printed and parsed again");
  }
}

TEST(Equivalence, OfRandomConditions) {
  RandomText random(20240611);
  Options options;
  options.maxAssignments = 100;
  std::size_t compared = 0;
  for (std::size_t i = 0; i < tries(6000) && !HasFatalFailure(); ++i) {
    SymbolicExprTable table;
    const std::string text = i % 2 == 0 ? random.condition(1 + i % 12) : random.dense(2 + i % 6);
    options.seed = i;
    checkAll(table, parse(table, text), text, options, compared);
  }
  EXPECT_GT(compared, tries(600000));
}

}  // namespace
}  // namespace KS::test
