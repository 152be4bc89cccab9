// Text out: parentheses, dialects, layouts, names, growth, and the renderers beside the printer.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "base/detail/Intern.hpp"
#include "host/KSHost.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/PreprocessorVCExpr.hpp"
#include "print/StringifySymbolicExpr.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "print/detail/TextLength.hpp"
#include "tests/support/HeapPeak.hpp"
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
      {"true", "true", "true", "1", "true"},
      {"false", "false", "false", "0", "false"},
      {"true1&&False", "true1&&False", "true1 && False", "true1 && False", "true1 && False"},
      // A function's name and an object are symbols like any other, a member's name is none.
      {"true(false())", "true(false())", "true(false())", "1(0())", "true(false())"},
      {"true.false", "true.false", "true.false", "1_false", "true.false"},
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
    EXPECT_EQ(render<PreprocessorVCExpr>(id, false, false), row.preprocessorC);
    EXPECT_EQ(render<PreprocessorVCExpr>(id, true, false), row.preprocessorM);
  }
}

// No text is parsed to these: only names have members there.
TEST_F(PrintTest, MembersOfCompoundObjects) {
  const struct {
    const char *object, *c, *preprocessorC, *preprocessorM;
  } rows[] = {
      {"a+b", "(a+b).m", "(a + b)_m", "(a + b).m"},
      {"a&&b", "(a&&b).m", "(a && b)_m", "(a && b).m"},
      {"-a", "(-a).m", "(-a)_m", "(-a).m"},
      {"f(x)", "f(x).m", "f(x)_m", "f(x).m"},
      {"f()", "f().m", "f()_m", "f().m"},
      {"s.t", "s.t.m", "s_t_m", "s.t.m"},
      {"[a,b]", "[a,b].m", "[a,b]_m", "[a,b].m"},
      {"true", "true.m", "1_m", "true.m"},
      {"7", "7.m", "7_m", "7.m"},
  };
  for (const auto& row : rows) {
    const SymbolicExprId id = intern<SymbolicMemberValue>(table, parse(row.object), "m");
    EXPECT_EQ(print(id), row.c);
    EXPECT_EQ(SymbolicExprPrinter(table, false, false, true)(id), row.preprocessorC);
    EXPECT_EQ(SymbolicExprPrinter(table, true, false, true)(id), row.preprocessorM);
    EXPECT_EQ(render<StringifySymbolicExpr>(id, false, false), row.c);
    EXPECT_EQ(render<PreprocessorVCExpr>(id, false, false), row.preprocessorC);
    EXPECT_EQ(render<PreprocessorVCExpr>(id, true, false), row.preprocessorM);
    const SymbolicExprId sum = intern<SymbolicPlusExpr>(table, id, symbol("z"));
    EXPECT_EQ(print(sum), row.c + std::string("+z"));
  }
}

TEST_F(PrintTest, NodesThatAConstructorAllowsButDoesNotIntern) {
  const SymbolicExprId a = symbol("a"), b = symbol("b"), sum = parse("a+b");
  using Ids = std::vector<SymbolicExprId>;
  const SymbolicFcnCallExpr noArgument(table, "f", Ids{}), oneArgument(table, "f", Ids{sum}),
      twoArguments(table, "f", Ids{a, sum});
  const SymbolicNDExpr nothing(table, Ids{}), one(table, Ids{sum}),
      two(table, Ids{parse("s.m"), parse("2.5")}), three(table, Ids{a, b, sum});
  const struct {
    const SymbolicExpr& node;
    const char* text;
  } rows[] = {{noArgument, "f()"}, {oneArgument, "f(a+b)"}, {twoArguments, "f(a,a+b)"},
              {nothing, "[]"},     {one, "[a+b]"},          {two, "[s.m,2.5]"},
              {three, "[a,b,a+b]"}};
  // The printer asks a node for nothing that it does not have, so the switch makes no difference.
  for (const bool checks : {true, false}) {
    qc::diag::setTerminate(checks);
    for (const auto& row : rows) {
      EXPECT_EQ(SymbolicExprPrinter(table, false, false, false)(row.node), row.text);
      EXPECT_EQ(SymbolicExprPrinter(table, true, true, true)(row.node), row.text);
      StringifySymbolicExpr renderer(SymbolicExprPrinter::Predicate::instance(), false, false);
      row.node.accept(table, renderer);
      EXPECT_EQ(renderer.get(), row.text);
      EXPECT_EQ(detail::textLength({table, row.node, {false, false, false}, false}, 99),
                std::string(row.text).size());
    }
  }
  qc::diag::setTerminate(true);
  // A name that is to be replaced may become any text.
  const SymbolicExpr& name = *table.get(symbol("false"));
  EXPECT_EQ(detail::textLength({table, name, {false, false, true}, false}, 99), 1U);
  EXPECT_EQ(detail::textLength({table, name, {false, false, false}, true}, 99), 0U);
}

TEST_F(PrintTest, PredicateIsAskedOnceForEverySymbolThatIsWritten) {
  class Prefix final : public SymbolicExprPrinter::Predicate {
   public:
    std::string operator()(const SymbolicString& aNode) const override {
      asked += aNode.getText() + ' ';
      return "ns_" + aNode.getText();
    }
    mutable std::string asked;
  };
  const Prefix prefix;
  const SymbolicExprId id = parse("f(a)==s.m&&true||false()!=a");
  const struct {
    bool mSyntax, preprocessor;
    const char* text;
  } rows[] = {
      {false, false, "ns_f(ns_a)==ns_s.m&&ns_true||ns_false()!=ns_a"},
      {true, false, "ns_f(ns_a)==ns_s.m&&ns_true||ns_false()~=ns_a"},
      // Members have no symbol, and the booleans' names are asked for and then dropped.
      {false, true, "(ns_f(ns_a) == ns_s_m && 1) || 0() != ns_a"},
      {true, true, "(ns_f(ns_a) == ns_s.m && ns_true) || ns_false() ~= ns_a"},
  };
  for (const auto& row : rows) {
    prefix.asked.clear();
    EXPECT_EQ(SymbolicExprPrinter(table, prefix, row.mSyntax, false, row.preprocessor)(id),
              row.text);
    EXPECT_EQ(prefix.asked, "f a s true false a ") << row.text;
    prefix.asked.clear();
    StringifySymbolicExpr plain(prefix, row.mSyntax, false);
    PreprocessorVCExpr preprocessor(prefix, row.mSyntax, false);
    StringifySymbolicExpr& renderer =
        row.preprocessor ? static_cast<StringifySymbolicExpr&>(preprocessor) : plain;
    table.get(id)->accept(table, renderer);
    EXPECT_EQ(renderer.get(), row.text);
    EXPECT_EQ(prefix.asked, "f a s true false a ") << row.text;
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

// What is thrown, or the text.
template <class Render>
std::string textOrError(const Render& aRender) {
  try {
    return aRender();
  } catch (const std::length_error& error) {
    return error.what();
  }
}

TEST_F(PrintTest, TheLimitHoldsForWholeTexts) {
  for (const char* text :
       {"x", "12", "a+b*c", "-(a-(b-c))", "f(a,[b,c,2.5])==s.m", "!(a&&b)||0.5>c"}) {
    const SymbolicExprId id = parse(text);
    const auto printed = [&](std::size_t aLimit, bool aRenames) {
      const SymbolicExprPrinter::Predicate renaming;
      SymbolicExprPrinter printer(table,
                                  aRenames ? renaming : SymbolicExprPrinter::Predicate::instance(),
                                  false, false, false);
      printer.setMaxTextLength(aLimit);
      EXPECT_EQ(printer.getMaxTextLength(), aLimit);
      return textOrError([&] { return printer(id); });
    };
    const auto rendered = [&](std::size_t aLimit) {
      StringifySymbolicExpr renderer(SymbolicExprPrinter::Predicate::instance(), false, false);
      renderer.setMaxTextLength(aLimit);
      return textOrError([&] {
        table.get(id)->accept(table, renderer);
        renderer.get();
        table.get(id)->accept(table, renderer);  // what was taken counts no more
        return renderer.get();
      });
    };
    const std::string whole = print(id);
    const std::string error =
        ": the text is longer than " + std::to_string(whole.size() - 1) + " bytes";
    for (const bool renames : {false, true}) {
      EXPECT_EQ(printed(whole.size(), renames), whole);
      EXPECT_EQ(printed(whole.size() - 1, renames), "KS::SymbolicExprPrinter" + error);
    }
    EXPECT_EQ(rendered(whole.size()), whole);
    EXPECT_EQ(rendered(whole.size() - 1), "KS::StringifySymbolicExpr" + error);
  }
}

TEST_F(PrintTest, TextsThatDoubleWithEveryLevelEnd) {
  const std::string error = ": the text is longer than 64 MiB";
  SymbolicExprId id = symbol("x");
  for (int i = 0; i < 60; ++i) {
    id = intern<SymbolicPlusExpr>(table, id, id);
    if (i != 20) continue;
    const test::HeapPeak peak;
    const std::string text = print(id);
    EXPECT_EQ(text.size(), (std::size_t{6} << 20) - 3);
    EXPECT_LT(peak.bytes(), text.size() + (std::size_t{2} << 20));
    EXPECT_TRUE(text == render<StringifySymbolicExpr>(id, false, false));
  }
  EXPECT_EQ(textOrError([&] { return print(id); }), "KS::SymbolicExprPrinter" + error);
  EXPECT_EQ(
      textOrError([&] { return SymbolicExprPrinter(table, true, true, true)(*table.get(id)); }),
      "KS::SymbolicExprPrinter" + error);
}

TEST_F(PrintTest, TextsBeyondTheLimitAreNotWrittenFirst) {
  SymbolicExprId id = symbol(std::string(1000, 'n'));
  for (int i = 0; i < 18; ++i) id = intern<SymbolicPlusExpr>(table, id, id);
  const test::HeapPeak peak;
  EXPECT_THROW(print(id), std::length_error);
  EXPECT_LT(peak.bytes(), std::size_t{4} << 20) << "of 256 MB of text";
}

TEST_F(PrintTest, RenderersTakeMemoryInTheLengthOfTheText) {
  const SymbolicExprId x = symbol("x");
  SymbolicExprId nested = x, right = x, calls = x;
  for (int i = 0; i < 100000; ++i) {
    nested = intern<SymbolicNotExpr>(table, nested);
    right = intern<SymbolicMinusExpr>(table, x, right);
    calls = intern<SymbolicFcnCall1UExpr>(table, "f", calls);
  }
  std::vector<SymbolicExprId> elements(100000, right);
  const SymbolicExprId list = intern<SymbolicNDExpr>(table, elements);
  const std::size_t limit = std::size_t{test::HeapPeak::isMeasured ? 4096 : 64} << 10;
  for (SymbolicExprId id : {x, nested, right, calls, list}) {
    for (int i = 0; i < 30; ++i) id = intern<SymbolicPlusExpr>(table, id, id);
    StringifySymbolicExpr renderer(SymbolicExprPrinter::Predicate::instance(), false, false);
    renderer.setMaxTextLength(limit);
    const test::HeapPeak peak;
    EXPECT_THROW(table.get(id)->accept(table, renderer), std::length_error);
    EXPECT_LT(peak.bytes(), 6 * limit) << id;
  }
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
  const SymbolicExprId sum = parse("a+b"), negation = parse("!a"), call = parse("a()");
  EXPECT_THROW(renderer.visit(static_cast<const SymbolicNotExpr&>(*table.get(negation))),
               std::logic_error);
  EXPECT_THROW(renderer.visit(static_cast<const SymbolicFcnCall0UExpr&>(*table.get(call))),
               std::logic_error);
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

// Writes signs of every operand, and operators that group from the right.
template <class Renderer>
class RightToLeft final : public Renderer {
 public:
  using Renderer::Renderer;
  void appendUnaryOp(const char* aOp, unsigned, unsigned aRightToLeft) override {
    Renderer::appendUnaryOp(aOp, 99, aRightToLeft);
  }
  void appendBinaryOp(const char* aOp, unsigned aPrecedence, unsigned) override {
    Renderer::appendBinaryOp(aOp, aPrecedence, 1);
  }
};

TEST_F(PrintTest, AppendOperationsCanBeReplaced) {
  using Plain = RightToLeft<StringifySymbolicExpr>;
  EXPECT_EQ(render<Plain>(parse("a-b-(c-d)"), false, false), "(a-b)-c-d");
  EXPECT_EQ(render<Plain>(parse("!(a&&b)"), false, false), "!a&&b");
  using Preprocessor = RightToLeft<PreprocessorVCExpr>;
  EXPECT_EQ(render<Preprocessor>(parse("a-b-(c-d)"), false, false), "(a - b) - c - d");
  EXPECT_EQ(render<Preprocessor>(parse("(a||b)||(c||d)"), false, false), "(a || b) || c || d");

  class WithoutSigns final : public StringifySymbolicExpr {
   public:
    using StringifySymbolicExpr::StringifySymbolicExpr;
    void appendUnaryOp(const char*, unsigned aPrecedence, unsigned aRightToLeft) override {
      StringifySymbolicExpr::appendUnaryOp("", aPrecedence, aRightToLeft);
    }
  };
  const std::string name(1000, 'n');
  EXPECT_EQ(render<WithoutSigns>(parse("-" + name + "*-" + name), false, false), name + "*" + name);
}

}  // namespace
}  // namespace KS
