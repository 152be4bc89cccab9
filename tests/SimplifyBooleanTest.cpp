// Conjunctions, disjunctions and negations: text in, text out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"
#include "tests/support/Equivalence.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SimplifyRows.hpp"

namespace KS::test {
namespace {

TEST(SimplifyBoolean, ConstantsAndRepetition) {
  checkSimplified({
      {"a && a", "a"},
      {"a || b || a", "a || b"},
      {"x && true", "x", 2},
      {"true && x && y", "x && y"},
      {"x && false", "false", 1},
      {"x && y && false && z", "false", 1},
      {"x || true", "true", 1},
      {"false || x || y", "x || y"},
      {"true && true", "true", 1},
      {"false || false", "false", 1},
      // Only the two symbols are constants of logic.
      {"1 && x", "1 && x"},
      {"0 || x", "0 || x"},
      {"a && 1", "1 && a"},
  });
}

TEST(SimplifyBoolean, Absorption) {
  checkSimplified({
      {"(a || b) && a", "a"},
      {"a && (b || a)", "a"},
      {"(a || b) && (b || a)", "a || b"},
      {"(a && b) || a", "a"},
      {"a || (b && a)", "a"},
      {"(a && b) || (a && b && c)", "a && b"},
      {"(a && b) || (a && c)", "a && b || a && c"},
      {"a || (!a && b)", "a || b"},
      {"a && (!a || b)", "a && b"},
      {"(a && x < 3) || x >= 3", "x>=3 || a"},
      {"((a || b) && c) || a || b", "a || b"},
      {"(a && (b || c)) || b || c", "b || c"},
      {"b && a || c || b && a && !c", "a && b || c"},
      {"!a || c && !d || !d && a && c", "!a || !d && c"},
      {"(c && (a || b)) || a || d", "a || b && c || d"},
  });
}

TEST(SimplifyBoolean, Complements) {
  checkSimplified({
      {"a && !a", "false", 1},
      {"!b && a && b", "false", 1},
      {"a || !a", "true", 1},
      {"a || b || !(a || b)", "true", 1},
      {"a || !(a && b)", "true", 1},
      {"a && !(a || b)", "false", 1},
      {"a && b && !(a && b)", "false", 1},
      {"(a || b) && !(a || b)", "false", 1},
      {"a || !(a || b)", "!b || a"},
      {"a && !(a && b)", "!b && a"},
      {"a && b && !(a && b && c)", "!c && a && b"},
      {"a && b && !(a && c && d)", "!(c && d) && a && b"},
      {"a && !(a && !b)", "a && b"},
      {"a && !(a && d) && !((a && b) || c)", "!(a && b || c) && !d && a"},
      {"!(x < 3) || x < 3", "true", 1},
      {"!(x < 3) && x < 3", "false", 1},
      {"!(a == b) && b == a", "false", 1},
      {"!(a == b) || b == a", "true", 1},
      {"!(x == 1) && x == 1", "false", 1},
      // Two conjunctions that differ in one complement.
      {"(a && b) || (a && !b)", "a"},
      {"(a && x < 3) || (a && x >= 3)", "a"},
      {"(a && x < 3) || (a && !(x < 3))", "a"},
      {"(a && x == 3) || (a && x != 3)", "a"},
      {"(a && b && c) || (!b && a && c) || d", "a && c || d"},
      {"(a || b) && (a || !b)", "a"},
      // With what other operands came to.
      {"x < 3 || x == 3 || (x > 3 && b)", "x<=3 || b"},
      {"x > 3 || x == 3 || (x < 3 && b) || c", "b || c || x>=3"},
      {"(a && b) || (a && !b) || (!a && c)", "a || c"},
      // Near misses.
      {"a && !(b || c)", "!(b || c) && a"},
      {"a || !(b && c)", "!(b && c) || a"},
      {"!(a || b) && !a", "!(a || b) && !a"},
      {"!(x < 3) && x >= 3", "!(x<3) && x>=3"},
      {"(a && b) || (a && !b && c)", "!b && a && c || a && b"},
      {"(a && x < 3) || (a && x > 3)", "a && x<3 || a && x>3"},
      {"(a && b) || (c && !b)", "!b && c || a && b"},
      {"!(a && b) && !(c && d)", "!(a && b) && !(c && d)"},
  });
}

TEST(SimplifyBoolean, Negation) {
  checkSimplified({
      {"!true", "false", 1},
      {"!false", "true", 1},
      {"!0", "true", 1},
      {"!7", "false", 1},
      {"!(-1)", "false", 1},
      {"!(a == b)", "a!=b"},
      {"!(b != a)", "a==b"},
      {"!(!a)", "a"},
      {"!(!(!a))", "!a"},
      {"!(!(a || b))", "a || b"},
      {"!(1 < 2)", "false", 1},
      // The ordering relations and the connectives stay under their negation.
      {"!(a < b)", "!(a<b)"},
      {"!(3 >= b)", "!(b<=3)"},
      {"!(a && b)", "!(a && b)"},
      {"!1.5", "!1.5"},
      {"!0.0", "!0.0"},
  });
}

TEST(SimplifyBoolean, Distribution) {
  checkSimplified({
      {"(a || b) && c", "a && c || b && c"},
      {"c && (a || b)", "a && c || b && c"},
      {"(a || b) && (c || d)", "a && c || a && d || b && c || b && d"},
      {"(a || b) && (a || c)", "a || b && c"},
      {"(a || b) && (c || d) && a", "a && c || a && d"},
      {"((a && b) || c) && ((a && b) || d)", "a && b || c && d"},
      {"a && (b || (c && d))", "a && b || a && c && d"},
      {"a && (!a || b) && (!b || c)", "a && b && c"},
      {"a && (x < 3 || x >= 3)", "a"},
      {"a || (x < 3 && x >= 3)", "a"},
      {"x > 3 && (x < 2 || x > 5)", "x>5"},
      // The rest decides, or shares what one of the members is about.
      {"x == 1 && x == 8 && (a && b || c)", "false"},
      {"!(a && b) && (a || c) && d", "!(a && b) && c && d || !b && a && d"},
      {"!(x < 3) && (x < 3 || c) && d", "!(x<3) && c && d"},
      {"!(x < 3) && (y < 3 || c) && (d || !e)",
       "!(x<3) && !e && c || !(x<3) && !e && y<3 || !(x<3) && c && d || !(x<3) && d && y<3"},
      // Nothing is distributed over a conjunction.
      {"a || (b && c)", "a || b && c"},
      {"a && b || a && c || a && d", "a && b || a && c || a && d"},
  });
}

TEST(SimplifyBoolean, PairsOfRelations) {
  checkSimplified({
      {"x <= 2 && x <= 5", "x<=2"},
      {"x <= 3 && x >= 3", "x==3"},
      {"x <= 3 && x != 3", "x<3"},
      {"3 > x && x == 3", "false", 1},
      {"x == 1 && x == 2", "false", 1},
      {"x < 3 && 3 > x", "x<3"},
      {"x < 3 || 3 < x", "x!=3"},
      {"x < 3 || x == 3", "x<=3"},
      {"x >= y && y >= x", "x==y"},
      {"x < y || y < x", "x!=y"},
      {"x+1 < 3 && x+1 < 5", "x+1<3"},
      {"f(x) < 3 || f(x) >= 3", "true", 1},
      {"s.m < t.n || s.m >= t.n", "true", 1},
      {"x < 2.5 && x > 2.5", "false", 1},
      // Three and more.
      {"x <= 1 && x <= 2 && x <= 3", "x<=1"},
      {"x >= 3 && x <= 3 && x != 4", "x==3"},
      {"x >= 3 && x <= 3 && x != 3", "false"},
      {"x < 1 || x > 2 || x == 1", "x<=1 || x>2"},
      {"x < 1 || x > 1 || x == 1", "true"},
      {"x <= 1 || x > 2 || x == 2", "x<=1 || x>=2"},
      {"x != 1 && x != 5 && x <= 1", "x!=5 && x<1"},
      {"x != 1 && x != 2 && x == 2", "false"},
      {"x == 1 || x == 5 || x < 1", "x<=1 || x==5"},
      {"x == 1 || x == 2 || x != 2", "true"},
      {"x != 1 && x != y && x < y && x != z", "x!=1 && x!=z && x<y"},
      {"x > 2 && x >= 2 && x != 1", "x>2"},
      {"x != 1 && x > 2 && x >= 2", "x>2"},
      // One-directional on purpose, or different operands, or nothing single.
      {"x < 3 && x != 5", "x!=5 && x<3"},
      {"x > 2 && x > 2.0", "2.0<x && x>2"},
      {"x <= 5 && x != 3", "x!=3 && x<=5"},
      {"x <= 2 || x >= 3", "x<=2 || x>=3"},
      {"x == 3 || x == 4", "x==3 || x==4"},
      {"x < 3 && y < 3", "x<3 && y<3"},
      {"x < 3 || y >= 3", "x<3 || y>=3"},
  });
}

// The rules that look at one operand beside a set of others, one by one.
TEST(SimplifyBoolean, RulesOfTheVisitor) {
  const struct {
    const char* operands;  // of a chain
    const char* term;
    bool isAnd;
    bool decides;  // as a negation
    bool goes;     // as a product of a disjunction
  } rows[] = {
      {"a || b || c && (a || b)", "c && (a || b)", false, false, true},
      {"a || b || c && (a || d)", "c && (a || d)", false, false, false},
      {"a || b || c", "a && b", false, false, false},
      {"a || b || !(a || b)", "!(a || b)", false, true, false},
      {"a || b || !(a && c)", "!(a && c)", false, true, false},
      {"a || b || !(a || c)", "!(a || c)", false, false, false},
      {"a && b && !(a && b)", "!(a && b)", true, true, false},
      {"a && b && !(a || c)", "!(a || c)", true, true, false},
      {"a && b && !(a && c)", "!(a && c)", true, false, false},
      {"a && b && !(a && b || c)", "!(a && b || c)", true, true, false},
      {"a && !b", "!b", true, false, false},
      {"a > 3 || b || !(3 < a || b)", "!(3 < a || b)", false, true, false},
      {"3 < a && b && !(a > 3 && b)", "!(a > 3 && b)", true, true, false},
      // A chain under the negation that is written from the right.
      {"a || b || c || !(a || (b || c))", "!(a || (b || c))", false, true, false},
      {"a || b || !(a || (b || c))", "!(a || (b || c))", false, false, false},
      {"a && b && c && !(a && (b && c))", "!(a && (b && c))", true, true, false},
      {"a && b && !((a || c) || d)", "!((a || c) || d)", true, true, false},
      {"b && !(c || (d || b))", "!(c || (d || b))", true, true, false},
      {"b && !(c || (d || a))", "!(c || (d || a))", true, false, false},
  };
  for (const auto& row : rows) {
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprParser parse(table, true);
    const SymbolicExprId chain = parse(row.operands), term = parse(row.term);
    SymbolicExprSimplifyVisitor visitor(table);
    SymbolicExprSimplifyVisitor::OperandSet set;
    if (row.isAnd) {
      visitor.getUniqueSymbolicAndExprs(*table.get(chain), set);
    } else {
      visitor.getUniqueSymbolicOrExprs(*table.get(chain), set);
    }
    const SymbolicExprSimplifyVisitor::OperandSet before = set;
    if (!row.isAnd) {
      visitor.simplifyORExprForAbsorptionRule(set, term);
      EXPECT_EQ(set.size(), before.size() - (row.goes ? 1 : 0)) << row.operands;
      EXPECT_EQ(set.contains(term), before.contains(term) && !row.goes) << row.operands;
      set = before;
    }
    if (table.get(term)->getKind() != static_cast<int>(SymbolicOp::Not)) continue;
    if (row.isAnd) {
      visitor.simplifyANDExprWithNOTTerms(set, term);
    } else {
      visitor.simplifyORExprWithNOTTerms(set, term);
    }
    const SymbolicExprId decided = row.isAnd ? table.getIdFALSE() : table.getIdTRUE();
    EXPECT_EQ(set == SymbolicExprSimplifyVisitor::OperandSet{decided}, row.decides) << row.operands;
    EXPECT_EQ(set == before, !row.decides) << row.operands;
  }
}

// Two operands as they are typed: relations by their kinds in canonical orientation, then
// negations, and other kinds last, in the order in which they stand.
TEST(SimplifyBoolean, DisjunctionsOfTwoHaveAnOrder) {
  const struct {
    const char* typed;
    const char* ordered;
  } rows[] = {
      {"b || a", "a || b"},
      {"!b || !a", "!a || !b"},
      {"y>1 || x<2", "x<2 || y>1"},
      {"!a || x!=1", "x!=1 || !a"},
      {"a || !b", "!b || a"},
      {"a || x==1", "x==1 || a"},
      {"y>3 || 2<x", "2<x || y>3"},
      {"2<x || y>=3", "y>=3 || 2<x"},
      {"y<=3 || 2>=x", "2>=x || y<=3"},
      {"f(x) || a && b", "f(x) || a && b"},
      {"a && b || f(x)", "a && b || f(x)"},
      {"z && b || a && b", "a && b || z && b"},
  };
  for (const auto& row : rows) {
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprId typed = SymbolicExprParser(table, true)(row.typed);
    const SymbolicExprId ordered =
        SymbolicExprSimplifyVisitor(table).normalizeSymbolicOrExpr(typed);
    EXPECT_EQ(SymbolicExprPrinter(table, false, true, false)(ordered), row.ordered) << row.typed;
  }
}

// A conjunction that is too large to be distributed, beside members of one of its disjunctions.
TEST(SimplifyBoolean, DisjunctionsAbsorbWhatIsTooLargeToDistribute) {
  std::string large;
  for (const char c : std::string("abcdefghijklmnopqrst")) {
    large += (large.empty() ? "(" : " && (") + std::string(1, c) + "1 || " + c + "2)";
  }
  EXPECT_EQ(simplified("(" + large + ") || c1 || c2").text, "c1 || c2");
  EXPECT_EQ(simplified("c2 || (" + large + ") || d1 || c1").text, "c1 || c2 || d1");
  EXPECT_NE(simplified("(" + large + ") || c1 || d2").text, "c1 || d2");
  // What comes by another rule counts, too.
  EXPECT_EQ(simplified("(" + large + ") || c1 || !c1 && c2").text, "c1 || c2");
}

// A conjunction of symbols "a" to "l", a bit each, some of them negated.
struct Product {
  unsigned positive = 0, negative = 0;

  bool holds(unsigned aTrue) const {
    return (aTrue & positive) == positive && (aTrue & negative) == 0;
  }
  bool absorbs(const Product& aOther) const {
    return (positive & ~aOther.positive) == 0 && (negative & ~aOther.negative) == 0;
  }
};

std::vector<Product> productsOf(const std::string& aText) {
  std::vector<Product> products(1);
  for (std::size_t i = 0; i < aText.size(); ++i) {
    if (aText[i] == '|') {
      if (aText[++i] == '|') products.emplace_back();
    } else if (std::islower(static_cast<unsigned char>(aText[i])) != 0) {
      const unsigned symbol = 1U << (aText[i] - 'a');
      (i > 0 && aText[i - 1] == '!' ? products.back().negative : products.back().positive) |=
          symbol;
    }
  }
  return products;
}

// So many that each is not compared with each, in several rounds: no product of the result absorbs
// another, and no two differ in a negation alone.
TEST(SimplifyBoolean, ManyProducts) {
  constexpr unsigned numSymbols = 12;
  RandomText random(1);
  for (std::size_t i = 0; i < tries(40); ++i) {
    std::string text;
    for (std::size_t k = 0, count = 270 + random.pick(300); k < count; ++k) {
      text += k == 0 ? "" : " || ";
      const std::size_t size = 4 + random.pick(6);
      for (std::size_t n = 0; n < size; ++n) {
        text += n == 0 ? "" : " && ";
        text += random.pick(2) == 0 ? "!" : "";
        text += static_cast<char>('a' + random.pick(numSymbols));
      }
    }
    const std::string result = simplified(text).text;
    const std::vector<Product> given = productsOf(text), found = productsOf(result);
    for (unsigned all = 0; all < 1U << numSymbols; ++all) {
      const auto holds = [all](const Product& aProduct) { return aProduct.holds(all); };
      ASSERT_EQ(std::any_of(given.begin(), given.end(), holds),
                std::any_of(found.begin(), found.end(), holds))
          << text << "\n"
          << result;
    }
    for (const Product& a : found) {
      for (const Product& b : found) {
        if (&a == &b) continue;
        ASSERT_FALSE(a.absorbs(b)) << text << "\n" << result;
        const unsigned other = a.positive & b.negative;
        ASSERT_FALSE(other != 0 && (other & (other - 1)) == 0 &&
                     a.positive == (b.positive | other) && b.negative == (a.negative | other))
            << text << "\n"
            << result;
      }
    }
  }
}

}  // namespace
}  // namespace KS::test
