// Text out: parentheses, dialects, layouts, names, growth, and the renderers beside the printer.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>

#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/PreprocessorVCExpr.hpp"
#include "print/StringifySymbolicExpr.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS {
namespace {

using detail::intern;

class PrintTest : public testing::Test {
 protected:
  SymbolicExprId parse(const std::string& aText) {
    const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
    EXPECT_NE(id, invalidSymbolicExprId) << aText;
    return id;
  }
  SymbolicExprId symbol(const std::string& aName) { return intern<SymbolicString>(table, aName); }
  std::string print(SymbolicExprId aId) {
    return SymbolicExprPrinter(table, false, false, false)(aId);
  }

  template <class Renderer>
  std::string render(SymbolicExprId aId, bool aMSyntax, bool aSpaces) {
    Renderer renderer(SymbolicExprPrinter::Predicate::instance(), aMSyntax, aSpaces);
    table.get(aId)->accept(table, renderer);
    return renderer.get();
  }

  SymbolicExprTable table;
};

TEST_F(PrintTest, WritesTheFewestParentheses) {
  struct Row {
    const char* in;
    const char* out;
  };
  const Row rows[] = {
      {"(a+b)*c", "(a+b)*c"},
      {"a+(b*c)", "a+b*c"},
      {"(a-b)-c", "a-b-c"},
      {"a-(b-c)", "a-(b-c)"},
      {"a+(b-c)", "a+(b-c)"},
      {"(a*b)%(c/d)", "a*b%(c/d)"},
      {"(a<<b)+1", "(a<<b)+1"},
      {"a<<(b+1)", "a<<b+1"},
      {"(a<b)==(c>=d)", "a<b==c>=d"},
      {"a<(b==c)", "a<(b==c)"},
      {"a!=(b==c)", "a!=(b==c)"},
      {"(a&b)==c", "(a&b)==c"},
      {"a&(b==c)", "a&b==c"},
      {"a|(b^(c&d))", "a|b^c&d"},
      {"((a|b)^c)&d", "((a|b)^c)&d"},
      {"(a&&b)||(c&&d)", "a&&b||c&&d"},
      {"a&&(b||c)", "a&&(b||c)"},
      {"(a||b)&&c", "(a||b)&&c"},
      {"a||(b||c)", "a||(b||c)"},
      {"(a>>b)>>(c<<d)", "a>>b>>(c<<d)"},
      // Unary operators wrap their equals, and no leaf is ever wrapped.
      {"-(-a)", "-(-a)"},
      {"!(-a)", "!(-a)"},
      {"-(-2)", "--2"},
      {"a - -3", "a--3"},
      {"!(a&&b)", "!(a&&b)"},
      {"(-a)*(!b)", "-a*!b"},
      {"-(f(x))", "-f(x)"},
      {"~(s.m)", "~s.m"},
      // Lists, calls, members, literals.
      {"f((a+b), (c||d))", "f(a+b,c||d)"},
      {"f()+f(x)*f(x,y,z)", "f()+f(x)*f(x,y,z)"},
      {"[a]+[a,(b+1)]", "[a]+[a,b+1]"},
      {"[a,b,c]-[a,b,c,d,e]", "[a,b,c]-[a,b,c,d,e]"},
      {"2 * s . m", "2*s.m"},
      {"-2147483648+1e22-5.", "-2147483648+1e+22-5.0"},
      {"[-inf,NaN,.1]", "[-inf,nan,0.1]"},
  };
  for (const Row& row : rows) EXPECT_EQ(print(parse(row.in)), row.out) << row.in;
  const SymbolicExprId sum = parse("a+b");
  EXPECT_EQ(print(intern<SymbolicMemberValue>(table, sum, "m")), "(a+b).m");
  EXPECT_EQ(print(intern<SymbolicMemberValue>(table, parse("f(x)"), "m")), "f(x).m");
}

TEST_F(PrintTest, LayoutsAndDialects) {
  struct Row {
    const char* in;
    const char* c;
    const char* mSpaced;
    const char* preprocessorC;
    const char* preprocessorM;
  };
  const Row rows[] = {
      {"a!=!b", "a!=!b", "a~=~b", "a != !b", "a ~= ~b"},
      {"~a", "~a", "~a", "~a", "~a"},
      {"a&&b||c", "a&&b||c", "a && b || c", "(a && b) || c", "(a && b) || c"},
      {"a||b&&c", "a||b&&c", "a || b && c", "a || (b && c)", "a || (b && c)"},
      {"a||b||c", "a||b||c", "a || b || c", "a || b || c", "a || b || c"},
      {"(a||b)&&!(c&&d)", "(a||b)&&!(c&&d)", "(a || b) && ~(c && d)", "(a || b) && !(c && d)",
       "(a || b) && ~(c && d)"},
      {"a==1||b&c", "a==1||b&c", "a==1 || b&c", "a == 1 || b & c", "a == 1 || b & c"},
      {"a==1||false", "a==1||false", "a==1 || false", "a == 1 || 0", "a == 1 || false"},
      {"!true", "!true", "~true", "!1", "~true"},
      {"true1&&False", "true1&&False", "true1 && False", "true1 && False", "true1 && False"},
      {"s.m==-x", "s.m==-x", "s.m==-x", "s_m == -x", "s.m == -x"},
      {"f(a+1,[b,c])", "f(a+1,[b,c])", "f(a+1,[b,c])", "f(a + 1,[b,c])", "f(a + 1,[b,c])"},
  };
  for (const Row& row : rows) {
    const SymbolicExprId id = parse(row.in);
    EXPECT_EQ(SymbolicExprPrinter(table, false, false, false)(id), row.c);
    EXPECT_EQ(SymbolicExprPrinter(table, true, true, false)(id), row.mSpaced);
    EXPECT_EQ(SymbolicExprPrinter(table, false, false, true)(id), row.preprocessorC);
    EXPECT_EQ(SymbolicExprPrinter(table, true, false, true)(id), row.preprocessorM);
    // A node is always written without the preprocessor form.
    EXPECT_EQ(SymbolicExprPrinter(table, false, false, true)(*table.get(id)), row.c);
  }
}

TEST_F(PrintTest, PredicateNamesSymbolsAndFunctionsButNotMembersAndBooleans) {
  class Prefix final : public SymbolicExprPrinter::Predicate {
   public:
    std::string operator()(const SymbolicString& aNode) const override {
      return "ns_" + aNode.getText();
    }
  };
  const Prefix prefix;
  const SymbolicExprId id = parse("f(a)==s.m&&true");
  EXPECT_EQ(SymbolicExprPrinter(table, prefix, false, false, false)(id),
            "ns_f(ns_a)==ns_s.m&&ns_true");
  EXPECT_EQ(SymbolicExprPrinter(table, prefix, false, false, true)(id),
            "ns_f(ns_a) == ns_s_m && 1");
  EXPECT_EQ(SymbolicExprPrinter(table, prefix, true, false, true)(id),
            "ns_f(ns_a) == ns_s.m && ns_true");
}

// A random expression that its C text spells without ambiguity: a negated literal would read back
// as one literal.
class RandomExpr {
 public:
  RandomExpr(SymbolicExprTable& aTable, unsigned aSeed) : table(aTable), random(aSeed) {}

  SymbolicExprId operator()(int aDepth) {
    if (aDepth == 0) return leaf();
    const SymbolicExprId a = (*this)(aDepth - 1);
    const int kind = upTo(30);
#define KS_UNARY(code, Op, Class) \
  if (kind == code) return isNumber(a) ? a : intern<Class>(table, a);
#define KS_BINARY(code, Op, Class) \
  if (kind == code) return intern<Class>(table, a, (*this)(upTo(aDepth)));
#include "base/SymbolicExprKinds.def"
    switch (kind) {
      case 24: return detail::Intern::list(table, {a});
      case 25: return intern<SymbolicNDExpr>(table, some(aDepth, 2 + upTo(4)));
      case 26: return intern<SymbolicFcnCall0UExpr>(table, "f0");
      case 27: return intern<SymbolicFcnCallExpr>(table, "f", some(aDepth, 1 + upTo(4)));
      case 28: return member();
      default: return leaf();
    }
  }

 private:
  int upTo(int aLimit) { return static_cast<int>(random() % static_cast<unsigned>(aLimit)); }
  bool isNumber(SymbolicExprId aId) { return table.get(aId)->isNumber(); }
  SymbolicExprId symbol() {
    return intern<SymbolicString>(table, std::string(1 + random() % 9, "abc_Z"[random() % 5]));
  }
  // A member's name is a symbol of its own in a parsed table.
  SymbolicExprId member() {
    const SymbolicExprId object = symbol();
    symbol();
    return intern<SymbolicMemberValue>(table, object, "m");
  }
  SymbolicExprId leaf() {
    switch (upTo(4)) {
      case 0: return intern<SymbolicIntValue>(table, static_cast<int>(random()));
      case 1: return intern<SymbolicDoubleValue>(table, std::ldexp(random(), upTo(200) - 100));
      default: return symbol();
    }
  }
  std::vector<SymbolicExprId> some(int aDepth, int aCount) {
    std::vector<SymbolicExprId> ids;
    for (int i = 0; i < aCount; ++i) ids.push_back((*this)(upTo(aDepth)));
    return ids;
  }

  SymbolicExprTable& table;
  std::mt19937 random;
};

TEST_F(PrintTest, PrinterAndRenderersAgreeAndTheTextReadsBack) {
  RandomExpr random(table, 20240611);
  for (int i = 0; i < 3000; ++i) {
    const SymbolicExprId id = random(i % 12);
    EXPECT_EQ(parse(print(id)), id) << i;
    EXPECT_EQ(parse(SymbolicExprPrinter(table, false, true, false)(id)), id) << i;
    for (const bool mSyntax : {false, true}) {
      for (const bool spaces : {false, true}) {
        EXPECT_EQ(SymbolicExprPrinter(table, mSyntax, spaces, false)(id),
                  render<StringifySymbolicExpr>(id, mSyntax, spaces));
        EXPECT_EQ(SymbolicExprPrinter(table, mSyntax, spaces, true)(id),
                  render<PreprocessorVCExpr>(id, mSyntax, spaces));
      }
    }
    if (HasFailure()) break;
  }
}

TEST_F(PrintTest, LongChainsEitherWayAndDeepNestingNeedNoStack) {
  constexpr int count = 100000;
  SymbolicExprId left = symbol("x");
  SymbolicExprId right = left;
  SymbolicExprId nested = left;
  std::string leftText = "x";
  std::string rightText;
  for (int i = 0; i < count; ++i) {
    const std::string name = "v" + std::to_string(i);
    left = intern<SymbolicMinusExpr>(table, left, symbol(name));
    right = intern<SymbolicMinusExpr>(table, symbol(name), right);
    nested = intern<SymbolicNotExpr>(table, nested);
    leftText += "-" + name;
  }
  for (int i = count; i-- > 0;) rightText += "v" + std::to_string(i) + (i == 0 ? "-" : "-(");
  rightText += "x" + std::string(count - 1, ')');
  std::string nestedText;
  for (int i = 1; i < count; ++i) nestedText += "!(";
  nestedText += "!x" + std::string(count - 1, ')');
  test::runOnStack(256 << 10, [&] {
    EXPECT_TRUE(print(left) == leftText);
    EXPECT_TRUE(print(right) == rightText);
    EXPECT_TRUE(print(nested) == nestedText);
    EXPECT_TRUE(render<StringifySymbolicExpr>(left, false, false) == leftText);
    EXPECT_TRUE(render<StringifySymbolicExpr>(right, false, false) == rightText);
    EXPECT_TRUE(render<StringifySymbolicExpr>(nested, false, false) == nestedText);
  });
}

TEST_F(PrintTest, TextsThatDoubleWithEveryLevelEnd) {
  SymbolicExprId id = symbol("x");
  for (int i = 0; i < 60; ++i) {
    id = intern<SymbolicPlusExpr>(table, id, id);
    if (i != 19) continue;
    EXPECT_EQ(print(id).size(), (std::size_t{3} << 20) - 3);
  }
  EXPECT_THROW(print(id), std::length_error);
  EXPECT_THROW(SymbolicExprPrinter(table, true, true, true)(*table.get(id)), std::length_error);
}

TEST_F(PrintTest, LongNamesEndThereToo) {
  class Long final : public SymbolicExprPrinter::Predicate {
   public:
    std::string operator()(const SymbolicString&) const override {
      return std::string(std::size_t{1} << 20, 'n');
    }
  };
  const Long predicate;
  const SymbolicExprId list =
      intern<SymbolicNDExpr>(table, std::vector<SymbolicExprId>(256, symbol("x")));
  const SymbolicExprPrinter printer(table, predicate, false, false, false);
  EXPECT_THROW(printer(list), std::length_error);
  StringifySymbolicExpr renderer(predicate, false, false);
  EXPECT_THROW(table.get(list)->accept(table, renderer), std::length_error);
}

TEST_F(PrintTest, UnknownIdsThrow) {
  const SymbolicExprPrinter printer(table, false, false, false);
  EXPECT_THROW(printer(0), std::out_of_range);
  EXPECT_THROW(printer(invalidSymbolicExprId), std::out_of_range);
  SymbolicExprTable other;
  const SymbolicPlusExpr sum(other, SymbolicExprId{5}, SymbolicExprId{5});
  EXPECT_THROW(printer(sum), std::out_of_range);
}

TEST_F(PrintTest, RendererWithoutOneFragmentHasNoText) {
  StringifySymbolicExpr renderer(SymbolicExprPrinter::Predicate::instance(), false, false);
  EXPECT_EQ(renderer.get(), "");
  const SymbolicExpr& a = *table.get(symbol("a"));
  const SymbolicExprId sum = parse("a+b");
  a.accept(table, renderer);
  EXPECT_THROW(renderer.visit(static_cast<const SymbolicPlusExpr&>(*table.get(sum))),
               std::logic_error);
  table.get(symbol("b"))->accept(table, renderer);
  EXPECT_EQ(renderer.get(), "");
  // The two fragments are still there, and the renderer can be used again afterwards.
  renderer.visit(static_cast<const SymbolicPlusExpr&>(*table.get(sum)));
  EXPECT_EQ(renderer.get(), "a+b");
  a.accept(table, renderer);
  EXPECT_EQ(renderer.get(), "a");
}

TEST_F(PrintTest, NullIsNoTextOfAnOperation) {
  const auto check = [&](auto&& aRenderer) {
    const SymbolicExpr& sum = *table.get(parse("a+b"));
    table.get(parse("a"))->accept(table, aRenderer);
    table.get(parse("b"))->accept(table, aRenderer);
    EXPECT_THROW(aRenderer.appendBinaryOp(nullptr, 6, 0), std::invalid_argument);
    EXPECT_THROW(aRenderer.appendUnaryOp(nullptr, 3, 1), std::invalid_argument);
    EXPECT_THROW(aRenderer.appendArraySelection(sum, nullptr, "]"), std::invalid_argument);
    EXPECT_THROW(aRenderer.appendArraySelection(sum, "[", nullptr), std::invalid_argument);
    aRenderer.appendArraySelection(sum, "[", "]");
    EXPECT_EQ(aRenderer.get(), "[a,b]");
  };
  const SymbolicExprPrinter::Predicate& names = SymbolicExprPrinter::Predicate::instance();
  check(StringifySymbolicExpr(names, false, false));
  check(PreprocessorVCExpr(names, false, false));
}

TEST_F(PrintTest, AppendOperationsCanBeReplaced) {
  class RightToLeft final : public StringifySymbolicExpr {
   public:
    using StringifySymbolicExpr::StringifySymbolicExpr;
    void appendUnaryOp(const char* aOp, unsigned, unsigned aRightToLeft) override {
      StringifySymbolicExpr::appendUnaryOp(aOp, 99, aRightToLeft);
    }
    void appendBinaryOp(const char* aOp, unsigned aPrecedence, unsigned) override {
      StringifySymbolicExpr::appendBinaryOp(aOp, aPrecedence, 1);
    }
  };
  EXPECT_EQ(render<RightToLeft>(parse("a-b-(c-d)"), false, false), "(a-b)-c-d");
  EXPECT_EQ(render<RightToLeft>(parse("!(a&&b)"), false, false), "!a&&b");
}

}  // namespace
}  // namespace KS
