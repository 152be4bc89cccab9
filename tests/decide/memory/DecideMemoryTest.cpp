// Memory that ends anywhere while conditions are decided: the exception comes out, nothing leaks,
// and the decider answers as if nothing had happened.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decide/SymbolicExprDecider.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tests/memory/Allocation.hpp"

namespace KS {
namespace {

TEST(MemoryEnds, WhileConditionsAreDecided) {
  SymbolicExprTable table;
  const SymbolicExprParser parse(table, false);
  const std::vector<SymbolicExprId> ids = {parse("x < y && y < 3 && (a || x > 1)"),
                                           parse("y <= x || f(bitand(x, 1)) == 2"),
                                           parse("x + 1 > 2 && ARCH ~= arm && ~a")};
  const SymbolicExprId arch = parse("ARCH"), contrary = parse("y < x && ~(x > 5)");
  const SymbolicExprDomain domain = SymbolicExprDomain::values({"arm", "mips", 3.0});
  const auto ask = [&](SymbolicExprDecider& aDecider) {
    aDecider.setDomain(arch, domain);
    std::string answers;
    const auto add = [&](int aAnswer) { answers += static_cast<char>('0' + aAnswer); };
    for (const Truth verdict : aDecider.decideAll({{ids[0]}, {ids[0], ids[1]}, ids})) {
      add(static_cast<int>(verdict));
    }
    add(static_cast<int>(aDecider.decide(ids)));
    add(aDecider.witness(ids[2]).has_value());
    add(static_cast<int>(aDecider.unknownTerms(ids).size()));
    const auto contradiction = aDecider.smallestContradiction({ids[0], ids[2], contrary});
    add(static_cast<int>(contradiction.ids.size()));
    return answers;
  };
  std::string expected;
  {
    SymbolicExprDecider decider(table);
    expected = ask(decider);
  }
  SymbolicExprDecider used(table);
  test::endMemoryEverywhere(
      [&] { EXPECT_EQ(ask(used), expected); },
      [&] { ASSERT_EQ(static_cast<int>(used.decide(ids)), expected[3] - '0'); });
  EXPECT_EQ(ask(used), expected);
  const std::size_t before = test::usedBytes();
  {
    SymbolicExprDecider decider(table);
    ask(decider);
  }
  EXPECT_EQ(test::usedBytes(), before);
}

}  // namespace
}  // namespace KS
