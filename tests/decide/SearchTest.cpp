// One search asked again and again.
#include "decide/detail/Search.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "decide/detail/Encoder.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace KS::Decide::detail {
namespace {

TEST(Search, EachQuestionHasConflictsOfItsOwn) {
  constexpr int numCircles = 20;
  SymbolicExprTable table;
  const SymbolicExprBindings bindings(table);
  const Domains domains;
  Encoder encoder(table, bindings, domains);
  std::vector<Literal> circles;  // each of other variables, so that one says nothing of the next
  for (int i = 0; i < numCircles; ++i) {
    const std::string v = std::to_string(i);
    circles.push_back(encoder.truth(
        SymbolicExprParser(table, false)("a" + v + " < b" + v + " && b" + v + " < c" + v + " && c" +
                                         v + " < d" + v + " && d" + v + " < a" + v)));
  }
  const Problem problem(encoder.getFormula(), circles);
  Search search(encoder.getFormula(), problem);
  for (const Literal circle : circles) {
    const Literal local = problem.local(circle);
    EXPECT_EQ(search.run({local}, 0), Search::Exhausted);
    EXPECT_EQ(search.run({local}, 10), Search::Impossible);  // all take more together
    EXPECT_TRUE(search.isCause(local));
    EXPECT_EQ(search.run({negated(local)}, 10), Search::Found);
    EXPECT_TRUE(search.holds(negated(local)));
  }
}

}  // namespace
}  // namespace KS::Decide::detail
