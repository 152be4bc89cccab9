// The canonical order of operands: the byte order of texts that are not written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/detail/Intern.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/detail/TextOrder.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS::test {
namespace {

using detail::compareTexts;
using detail::intern;
using detail::TextOrder;

class TextOrderTest : public testing::Test {
 protected:
  SymbolicExprId symbol(const std::string& aName) { return intern<SymbolicString>(table, aName); }

  SymbolicExprTable table;
  TextOrder order{table};
};

int sign(int aOrder) { return (aOrder > 0) - (aOrder < 0); }

// Expressions that share parts, begin or end alike, or have one text.
class Related {
 public:
  Related(SymbolicExprTable& aTable, unsigned aSeed) : table(aTable), random(aSeed) {
    const std::string longName(29, 'n');
    for (const std::string& name :
         {std::string("a"), std::string("a1"), std::string("b"), std::string("a&&b"),
          std::string("\xC3\xA4"), std::string("-1"), std::string("MODE259"),
          std::string("MODE2590"), std::string("MODE25901"), std::string("a\0", 2), longName,
          longName + "n", longName + "nn", longName + "no"}) {
      ids.push_back(intern<SymbolicString>(table, name));
    }
    const SymbolicExprId one = intern<SymbolicIntValue>(table, 1);
    ids.push_back(intern<SymbolicIntValue>(table, -1));
    ids.push_back(intern<SymbolicUnaryMinusExpr>(table, one));
    ids.push_back(intern<SymbolicDoubleValue>(table, 1e9));
    ids.push_back(intern<SymbolicDoubleValue>(table, std::nextafter(1e9, 2e9)));
  }

  // Mostly on top of what came last.
  SymbolicExprId add() {
    const SymbolicExprId a = pick(3) != 0 ? ids.back() : any();
    ids.push_back(over(a, pick(3) == 0 ? ids.back() : any()));
    return ids.back();
  }
  void dropLast() { ids.pop_back(); }
  const std::vector<SymbolicExprId>& all() const { return ids; }

 private:
  std::size_t pick(std::size_t aCount) { return random() % aCount; }
  SymbolicExprId any() { return ids[pick(ids.size())]; }

  SymbolicExprId over(SymbolicExprId a, SymbolicExprId b) {
    if (pick(2) == 0) return intern<SymbolicAndExpr>(table, a, b);
    const int kind = static_cast<int>(pick(30));
#define KS_UNARY(code, Op, Class) \
  if (kind == code) return intern<Class>(table, a);
#define KS_BINARY(code, Op, Class) \
  if (kind == code) return intern<Class>(table, a, b);
#include "base/SymbolicExprKinds.def"
    const std::vector<SymbolicExprId> both{a, b};
    switch (kind) {
      case 24: return detail::Intern::list(table, both);
      case 25: return intern<SymbolicNDExpr>(table, both);
      case 26: return intern<SymbolicFcnCall0UExpr>(table, "f");
      case 27: return intern<SymbolicMemberValue>(table, a, pick(2) == 0 ? "m" : "m1");
      default: return intern<SymbolicFcnCallExpr>(table, "f", both);
    }
  }

  SymbolicExprTable& table;
  std::mt19937 random;
  std::vector<SymbolicExprId> ids;
};

TEST_F(TextOrderTest, IsTheByteOrderOfThePrintedText) {
  const SymbolicExprPrinter print(table, false, false, false);
  for (unsigned seed = 0; seed < 12; ++seed) {
    Related related(table, seed);
    std::vector<std::pair<std::string, SymbolicExprId>> sorted;
    for (const SymbolicExprId id : related.all()) sorted.emplace_back(print(id), id);
    while (sorted.size() < 150) {
      const SymbolicExprId id = related.add();
      sorted.emplace_back(print(id), id);
      if (sorted.back().first.size() < 3000) continue;
      related.dropLast();
      sorted.pop_back();
    }
    std::vector<SymbolicExprId> ids(sorted.size());
    for (std::size_t i = 0; i < ids.size(); ++i) ids[i] = sorted[i].second;
    for (const auto& [textA, a] : sorted) {
      for (const auto& [textB, b] : sorted) {
        const int expected = sign(textA.compare(textB));
        ASSERT_EQ(sign(order.compare(a, b)), expected) << textA << "\n" << textB;
        ASSERT_EQ(sign(compareTexts(table, a, b)), expected) << textA << "\n" << textB;
      }
    }
    std::sort(sorted.begin(), sorted.end());
    order.sort(ids.data(), ids.data() + ids.size());
    for (std::size_t i = 0; i < ids.size(); ++i) ASSERT_EQ(ids[i], sorted[i].second) << seed;
  }
}

SymbolicExprId listOf(SymbolicExprTable& aTable, std::initializer_list<const char*> aNames) {
  std::vector<SymbolicExprId> names;
  for (const char* const name : aNames) names.push_back(intern<SymbolicString>(aTable, name));
  return intern<SymbolicNDExpr>(aTable, names);
}

// Of expressions with one text, the order is by what they are, in whatever order they were made.
TEST_F(TextOrderTest, IsByStructureWhereTheTextIsOne) {
  using Make = SymbolicExprId (*)(SymbolicExprTable&);
  // From the first to the last; the text is that of all in a row.
  const std::vector<Make> rows[] = {
      {[](SymbolicExprTable& t) { return intern<SymbolicString>(t, "-1"); },
       [](SymbolicExprTable& t) { return intern<SymbolicIntValue>(t, -1); },
       [](SymbolicExprTable& t) {
         return intern<SymbolicUnaryMinusExpr>(t, intern<SymbolicIntValue>(t, 1));
       }},
      // The names of the members differ.
      {[](SymbolicExprTable& t) {
         return intern<SymbolicMemberValue>(t, intern<SymbolicString>(t, "a"), "b.c");
       },
       [](SymbolicExprTable& t) {
         return intern<SymbolicMemberValue>(t, intern<SymbolicString>(t, "a.b"), "c");
       },
       [](SymbolicExprTable& t) {
         return intern<SymbolicMemberValue>(
             t, intern<SymbolicMemberValue>(t, intern<SymbolicString>(t, "a"), "b"), "c");
       }},
      // The number of elements, and then the first that differs.
      {[](SymbolicExprTable& t) {
         return listOf(t, {"a", "p", "q", "b,c,d"});
       },
       [](SymbolicExprTable& t) {
         return listOf(t, {"a", "p", "q,b", "c,d"});
       },
       [](SymbolicExprTable& t) {
         return listOf(t, {"a", "p", "q", "b,c", "d"});
       },
       [](SymbolicExprTable& t) {
         return listOf(t, {"a", "p,q", "b", "c", "d"});
       },
       [](SymbolicExprTable& t) {
         return listOf(t, {"a,p", "q", "b", "c", "d"});
       }},
  };
  for (const std::vector<Make>& row : rows) {
    for (const bool isReversed : {false, true}) {
      SymbolicExprTable made;
      std::vector<SymbolicExprId> ids(row.size());
      for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t place = isReversed ? row.size() - 1 - i : i;
        ids[place] = row[place](made);
      }
      TextOrder ordered(made);
      const SymbolicExprPrinter print(made, false, false, false);
      for (std::size_t i = 0; i < ids.size(); ++i) {
        for (std::size_t j = 0; j < ids.size(); ++j) {
          EXPECT_EQ(ordered.compare(ids[i], ids[j]), 0) << print(ids[i]) << " " << print(ids[j]);
          EXPECT_EQ(ordered.isBefore(ids[i], ids[j]), i < j) << print(ids[i]) << i << j;
          // Behind a common beginning as well.
          const SymbolicExprId one = intern<SymbolicAndExpr>(made, ids[0], ids[i]);
          const SymbolicExprId other = intern<SymbolicAndExpr>(made, ids[0], ids[j]);
          EXPECT_EQ(ordered.isBefore(one, other), i < j) << print(one) << i << j;
        }
      }
      std::vector<SymbolicExprId> sorted(ids.rbegin(), ids.rend());
      ordered.sort(sorted.data(), sorted.data() + sorted.size());
      EXPECT_EQ(sorted, ids);
    }
  }
}

// Texts up to 2 to the power of 100,000 bytes.
TEST_F(TextOrderTest, CostsDistinctNodesAndNoStack) {
  using Grow = std::function<SymbolicExprId(SymbolicExprId)>;
  const SymbolicExprId c = symbol("c");
  const Grow rows[] = {
      [&](SymbolicExprId x) { return intern<SymbolicMinusExpr>(table, x, c); },
      [&](SymbolicExprId x) { return intern<SymbolicMinusExpr>(table, c, x); },
      [&](SymbolicExprId x) { return intern<SymbolicNotExpr>(table, x); },
      [&](SymbolicExprId x) { return intern<SymbolicMinusExpr>(table, x, x); },
      [&](SymbolicExprId x) {
        return intern<SymbolicAndExpr>(table, intern<SymbolicOrExpr>(table, c, x),
                                       intern<SymbolicNotExpr>(table, x));
      },
      [&](SymbolicExprId x) {
        return intern<SymbolicFcnCallExpr>(table, "f", std::vector<SymbolicExprId>{x, x});
      },
  };
  for (const Grow& grow : rows) {
    SymbolicExprId a = symbol("a"), b = symbol("b");
    for (int i = 0; i < 100000; ++i) a = grow(a), b = grow(b);
    const SymbolicExprId shared = intern<SymbolicPlusExpr>(table, a, symbol("y"));
    runOnStack(256 << 10, [&] {
      EXPECT_LT(order.compare(a, b), 0);
      EXPECT_GT(order.compare(intern<SymbolicPlusExpr>(table, a, symbol("z")), shared), 0);
      EXPECT_LT(order.compare(intern<SymbolicPlusExpr>(table, a, symbol("x")), shared), 0);
    });
  }
}

TEST_F(TextOrderTest, EndsWhereDifferentExpressionsHaveOneLongText) {
  const std::string name(std::size_t{1} << 20, 'n');
  const SymbolicExprId a = symbol("x." + name);
  const SymbolicExprId b = intern<SymbolicMemberValue>(table, symbol("x"), name);
  const auto list = [&](SymbolicExprId aId, std::size_t aCount) {
    return intern<SymbolicNDExpr>(table, std::vector<SymbolicExprId>(aCount, aId));
  };
  EXPECT_EQ(order.compare(list(a, 200), list(b, 200)), 0);
  EXPECT_GT(order.compare(list(a, 200), list(b, 201)), 0);  // "]" and ","
  EXPECT_THROW(order.compare(list(a, 300), list(b, 300)), std::length_error);
}

}  // namespace
}  // namespace KS::test
