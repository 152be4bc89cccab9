// The canonical order of operands: the byte order of texts that are not written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/detail/Intern.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/detail/TextOrder.hpp"

namespace KS::test {
namespace {

using detail::intern;

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
    for (const int value : {-1, 1, 9, 10, 2147483647}) {
      ids.push_back(intern<SymbolicIntValue>(table, value));
    }
    ids.push_back(intern<SymbolicUnaryMinusExpr>(table, intern<SymbolicIntValue>(table, 1)));
    ids.push_back(intern<SymbolicDoubleValue>(table, 1e9));
    ids.push_back(intern<SymbolicDoubleValue>(table, std::nextafter(1e9, 2e9)));
    // A long left edge, whose lower nodes have short texts.
    SymbolicExprId chain = ids[0];
    for (int i = 0; i < 70; ++i) {
      chain = intern<SymbolicMinusExpr>(table, chain, ids[2]);
      ids.push_back(chain);
    }
    ids.push_back(ids[1]);
  }

  // Mostly on top of what came last, or a relation, of which many begin alike.
  SymbolicExprId add() {
    const SymbolicExprId a = pick(3) != 0 ? ids.back() : any();
    ids.push_back(pick(3) == 0 ? intern<SymbolicEqualExpr>(table, ids[6 + pick(3)], any())
                               : over(a, pick(3) == 0 ? ids.back() : any()));
    return ids.back();
  }
  void dropLast() { ids.pop_back(); }
  const std::vector<SymbolicExprId>& all() const { return ids; }

 private:
  std::size_t pick(std::size_t aCount) { return random() % aCount; }
  SymbolicExprId any() { return ids[pick(ids.size())]; }

  SymbolicExprId over(SymbolicExprId a, SymbolicExprId b) {
    if (pick(2) == 0) return intern<SymbolicAndExpr>(table, a, b);
    const int kind = static_cast<int>(pick(28));
#define KS_UNARY(code, Op, Class) \
  if (kind == code) return intern<Class>(table, a);
#define KS_BINARY(code, Op, Class) \
  if (kind == code) return intern<Class>(table, a, b);
#include "base/SymbolicExprKinds.def"
    const std::vector<SymbolicExprId> both{a, b};
    if (kind == 24) return intern<SymbolicNDExpr>(table, both);
    if (kind == 25) return intern<SymbolicMemberValue>(table, a, pick(2) == 0 ? "m" : "m1");
    return intern<SymbolicFcnCallExpr>(table, "f", both);
  }

  SymbolicExprTable& table;
  std::mt19937 random;
  std::vector<SymbolicExprId> ids;
};

TEST(TextOrder, IsTheByteOrderOfThePrintedText) {
  const auto sign = [](int order) { return (order > 0) - (order < 0); };
  for (unsigned seed = 0; seed < 12; ++seed) {
    SymbolicExprTable table;
    detail::TextOrder order(table);
    const SymbolicExprPrinter print(table, false, false, false);
    Related related(table, seed);
    std::vector<std::pair<std::string, SymbolicExprId>> sorted;
    for (const SymbolicExprId id : related.all()) sorted.emplace_back(print(id), id);
    while (sorted.size() < 220) {
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
        ASSERT_EQ(sign(detail::compareTexts(table, a, b)), expected) << textA << "\n" << textB;
        ASSERT_EQ(order.isBefore(a, b) || order.isBefore(b, a), a != b) << textA << "\n" << textB;
      }
    }
    order.sort(ids.data(), ids.data() + ids.size());
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = 0; i < ids.size(); ++i) ASSERT_EQ(print(ids[i]), sorted[i].first) << seed;
  }
}

TEST(TextOrder, RefusesInputsThatAreNotOlder) {
  SymbolicExprTable table;
  const SymbolicExprId a = intern<SymbolicString>(table, "a");
  const SymbolicExprId right = intern<SymbolicPlusExpr>(table, a, SymbolicExprId{1});
  const SymbolicExprId left = intern<SymbolicMinusExpr>(table, SymbolicExprId{2}, a);
  const SymbolicExprId unary = intern<SymbolicNotExpr>(table, SymbolicExprId{3});
  for (const SymbolicExprId bad : {right, left, unary}) {
    const SymbolicExprId one = intern<SymbolicMultiplyExpr>(table, a, bad);
    const SymbolicExprId other = intern<SymbolicDivideExpr>(table, a, bad);
    EXPECT_THROW(detail::compareTexts(table, bad, a), std::out_of_range) << bad;
    EXPECT_NE(detail::compareTexts(table, one, other), 0) << "what decides stands before it";
  }
}

SymbolicExprId listOf(SymbolicExprTable& aTable, std::initializer_list<const char*> aNames) {
  std::vector<SymbolicExprId> names;
  for (const char* const name : aNames) names.push_back(intern<SymbolicString>(aTable, name));
  return intern<SymbolicNDExpr>(aTable, names);
}
SymbolicExprId memberOf(SymbolicExprTable& aTable, const char* aObject, const char* aMember) {
  return intern<SymbolicMemberValue>(aTable, intern<SymbolicString>(aTable, aObject), aMember);
}

// Of expressions with one text, the order is by what they are, in whatever order they were made.
TEST(TextOrder, IsByStructureWhereTheTextIsOne) {
  using Table = SymbolicExprTable;
  using Make = SymbolicExprId (*)(Table&);
  // From the first to the last; the text is that of all in a row.
  const std::vector<Make> rows[] = {
      {[](Table& t) { return intern<SymbolicString>(t, "-1"); },
       [](Table& t) { return intern<SymbolicIntValue>(t, -1); },
       [](Table& t) { return intern<SymbolicUnaryMinusExpr>(t, intern<SymbolicIntValue>(t, 1)); }},
      // The names of the members differ.
      {[](Table& t) { return memberOf(t, "a", "b.c"); },
       [](Table& t) { return memberOf(t, "a.b", "c"); },
       [](Table& t) { return intern<SymbolicMemberValue>(t, memberOf(t, "a", "b"), "c"); }},
      // The number of elements, and then the first that differs.
      {[](Table& t) {
         return listOf(t, {"a", "p", "q", "b,c,d"});
       },
       [](Table& t) {
         return listOf(t, {"a", "p", "q,b", "c,d"});
       },
       [](Table& t) {
         return listOf(t, {"a", "p", "q", "b,c", "d"});
       },
       [](Table& t) {
         return listOf(t, {"a,p", "q", "b", "c", "d"});
       }},
  };
  for (const std::vector<Make>& row : rows) {
    for (const bool isReversed : {false, true}) {
      Table table;
      std::vector<SymbolicExprId> ids(row.size());
      for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t place = isReversed ? row.size() - 1 - i : i;
        ids[place] = row[place](table);
      }
      detail::TextOrder order(table);
      std::vector<SymbolicExprId> sorted(ids.rbegin(), ids.rend());
      order.sort(sorted.data(), sorted.data() + sorted.size());
      EXPECT_EQ(sorted, ids);
      for (std::size_t i = 0; i < ids.size(); ++i) {
        for (std::size_t j = 0; j < ids.size(); ++j) {
          EXPECT_EQ(order.compare(ids[i], ids[j]), 0);
          // Behind a common beginning as well.
          EXPECT_EQ(order.isBefore(intern<SymbolicAndExpr>(table, ids[0], ids[i]),
                                   intern<SymbolicAndExpr>(table, ids[0], ids[j])),
                    i < j);
        }
      }
    }
  }
}

}  // namespace
}  // namespace KS::test
