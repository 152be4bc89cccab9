// Which symbols an expression uses, in which order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/SymbolicExprSymbols.hpp"
#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace {

using KS::SymbolicExprId;
using Names = std::vector<std::string>;

TEST(Symbols, FirstEncounterDepthFirstLeftToRight) {
  const struct {
    const char* text;
    Names names;
  } rows[] = {
      {"a + b * a", {"a", "b"}},
      {"b + a * b", {"b", "a"}},
      {"(c - a) * [b, a, d, c]", {"c", "a", "b", "d"}},
      {"f(x)", {"f", "x"}},
      {"g(y, f(x), g(z))", {"g", "y", "f", "x", "z"}},
      {"s.field + field2", {"s", "field2"}},
      {"true && !p", {"true", "p"}},
      {"3 + 4.5", {}},
  };
  for (const auto& row : rows) {
    KS::SymbolicExprTable table;
    const SymbolicExprId id = KS::SymbolicExprParser(table, true)(row.text);
    ASSERT_NE(id, KS::invalidSymbolicExprId) << row.text;
    const KS::SymbolicExprSymbols symbols(table);
    Names names;
    symbols(id, names);
    EXPECT_EQ(names, row.names) << row.text;
    std::vector<SymbolicExprId> ids;
    symbols(id, ids);
    ASSERT_EQ(ids.size(), names.size()) << row.text;
    for (std::size_t i = 0; i < ids.size(); ++i) {
      EXPECT_EQ(ids[i], KS::SymbolicString(table, names[i]).getId(table)) << row.text;
    }
  }
}

TEST(Symbols, EveryCallAppends) {
  KS::SymbolicExprTable table;
  const SymbolicExprId id = KS::SymbolicExprParser(table, true)("a + b");
  const KS::SymbolicExprSymbols symbols(table);
  Names names{"earlier"};
  symbols(id, names);
  symbols(id, names);
  EXPECT_EQ(names, (Names{"earlier", "a", "b", "a", "b"}));
  EXPECT_THROW(symbols(table.size(), names), std::out_of_range);
  EXPECT_EQ(names.size(), 5U);
}

TEST(Symbols, DeepAndSharedExpressionsCostTheirDistinctNodes) {
  KS::SymbolicExprTable table;
  SymbolicExprId chain = KS::detail::intern<KS::SymbolicString>(table, "s0");
  Names expected{"s0"};
  for (int i = 1; i < 100000; ++i) {
    expected.push_back("s" + std::to_string(i));
    const SymbolicExprId next = KS::detail::intern<KS::SymbolicString>(table, expected.back());
    chain = KS::detail::intern<KS::SymbolicPlusExpr>(table, chain, next);
  }
  for (int i = 0; i < 60; ++i)
    chain = KS::detail::intern<KS::SymbolicPlusExpr>(table, chain, chain);
  Names names;
  KS::SymbolicExprSymbols{table}(chain, names);
  EXPECT_EQ(names, expected);
}

}  // namespace
