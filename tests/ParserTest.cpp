// Text in: grouping, rejected texts and their diagnosis, literals, interning order, depth.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SmallStack.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS {
namespace {

// Hosts parse in destructors of their own statics, too. Where that fails, every test here does.
const struct ParsesAtExit {
  ~ParsesAtExit() {
    SymbolicExprTable table;
    if (SymbolicExprParser(table, true)("a + 1") != 2) std::abort();
  }
} parsesAtExit;

std::string repeat(const std::string& aText, std::size_t aCount) {
  std::string result;
  result.reserve(aText.size() * aCount);
  for (std::size_t i = 0; i < aCount; ++i) result += aText;
  return result;
}

// The node as "kind(inputs)", so that nothing hides how a text was grouped.
std::string structure(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  const SymbolicExpr& node = *aTable.get(aId);
  if (node.isLeaf()) return SymbolicExprPrinter(aTable, false, false, false)(aId);
  std::string text = std::to_string(node.getKind()) + "(";
  for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
    text += (i == 0 ? "" : " ") + structure(aTable, node.getInput(i));
  }
  if (node.getKind() == static_cast<int>(SymbolicOp::MemberValue)) {
    text += "." + static_cast<const SymbolicMemberValue&>(node).getMember();
  }
  return text + ")";
}

std::string structureOf(const std::string& aText, bool aCSyntax = true) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, aCSyntax)(aText);
  return id == invalidSymbolicExprId ? "no expression" : structure(table, id);
}

TEST(Parser, GroupsByPrecedenceFromLeftToRight) {
  const struct {
    const char *text, *structure;
  } rows[] = {
      {"a - b - c", "4(4(a b) c)"},
      {"a < b < c", "11(11(a b) c)"},
      {"a * b / c % d", "8(7(6(a b) c) d)"},
      {"a + b * c", "3(a 6(b c))"},
      {"a << 1 < b", "11(22(a 1) b)"},
      {"a << b + c >> d", "23(22(a 3(b c)) d)"},
      {"a == b < c", "9(a 11(b c))"},
      {"a == b != c ~= d", "10(10(9(a b) c) d)"},
      {"a & b == c", "18(a 9(b c))"},
      {"a ^ b & c | d", "19(20(a 18(b c)) d)"},
      {"a | b ^ c & d", "19(a 20(b 18(c d)))"},
      {"a && b | c || d", "16(15(a 19(b c)) d)"},
      {"a || b && c", "16(a 15(b c))"},
      {"a <= b >= c > d", "13(14(12(a b) c) d)"},
      {"a>>-b", "23(a 5(b))"},
      {"a<-1", "11(a -1)"},
      {"a&&!b", "15(a 17(b))"},
      // Prefix operators bind tightest and take one primary.
      {"-a * b", "6(5(a) b)"},
      {"!a == b", "9(17(a) b)"},
      {"-(-x)", "5(5(x))"},
      {"!(~x)", "17(21(x))"},
      {"-f(x).y", "no expression"},
      {"-s.m", "5(31(s.m))"},
      // Signs: a literal takes its own.
      {"-3", "-3"},
      {"- 3", "5(3)"},
      {"+3", "3"},
      {"+ x", "x"},
      {"--2", "5(-2)"},
      {"a-1", "4(a 1)"},
      {"a - -1", "4(a -1)"},
      {"a--1", "4(a -1)"},
      {"a+-1", "3(a -1)"},
      {"1-1", "4(1 1)"},
      {"-2.5", "-2.5"},
      {"-2147483648", "-2147483648"},
      {"- 2147483647", "5(2147483647)"},
      // Calls, members, lists, brackets, white space.
      {"f()", "27(f)"},
      {"f( )", "27(f)"},
      {"f(x)", "28(f x)"},
      {"f (x , y+1,[z])", "30(f x 3(y 1) 26(z))"},
      {"f(g(),h(f(a)))", "29(f 27(g) 28(h 28(f a)))"},
      {"s . m", "31(s.m)"},
      {"[a]", "26(a)"},
      {"[1, 2, 3]", "25(1 2 3)"},
      {"[[a],[b,c]]", "24(26(a) 24(b c))"},
      {"((a))", "a"},
      {"\t a\n+\v\f\rb  ", "3(a b)"},
      {"_a1 + __", "3(_a1 __)"},
      {"true && false", "15(true false)"},
      {"x~=1", "10(x 1)"},
  };
  for (const auto& row : rows) EXPECT_EQ(structureOf(row.text), row.structure) << row.text;
  EXPECT_EQ(structureOf("~a", false), "17(a)");
  EXPECT_EQ(structureOf("~a", true), "21(a)");
  EXPECT_EQ(structureOf("~ (a ~= ~b)", false), "17(10(a 17(b)))");
  EXPECT_EQ(structureOf("!a", false), "17(a)");
}

// ---------------------------------------------------------------------------------------------

struct Rejected {
  std::string text;
  std::size_t offset;
  const char* expected;
  const char* number = "";  // of the note
};

std::string noteAbout(const std::string& aNumber) {
  return "'" + aNumber +
         "' is a number, and no symbol's or function's name begins with 'inf' or 'nan' in either "
         "case";
}

// Every text is refused by the parser, leaves the table alone, and is explained.
void checkRejected(const std::vector<Rejected>& aRows) {
  for (const Rejected& row : aRows) {
    SymbolicExprTable table;
    const SymbolicExprParser parser(table, true);
    parser("known + 1");
    const std::size_t size = table.size();
    const std::string shown = row.text.substr(0, 60);
    EXPECT_EQ(parser(row.text), invalidSymbolicExprId) << shown;
    const auto error = parser.diagnose(row.text);
    EXPECT_EQ(table.size(), size) << shown;
    ASSERT_TRUE(error) << shown;
    EXPECT_EQ(error->offset, row.offset) << shown;
    EXPECT_EQ(error->expected, row.expected) << shown;
    EXPECT_EQ(error->note, row.number[0] == '\0' ? "" : noteAbout(row.number)) << shown;
  }
}

constexpr const char* operand = "an operand";
constexpr const char* atEnd = "an operator or the end of the expression";
constexpr const char* inBrackets = "an operator or ')'";
constexpr const char* inCall = "an operator, ',' or ')'";
constexpr const char* inList = "an operator, ',' or ']'";
constexpr const char* integer = "an integer of 32 bits";
constexpr const char* member = "a member's name";
constexpr const char* real = "a real number within the range of a double";

TEST(Parser, ExplainsWhatItRefuses) {
  checkRejected({
      {"", 0, operand},
      {" \t ", 3, operand},
      {"a +", 3, operand},
      {"a && ", 5, operand},
      {"a &&& b", 4, operand},
      {"a & & b", 4, operand},
      {"a < = b", 4, operand},
      {"--x", 1, operand},
      {"!!x", 1, operand},
      {"-!x", 1, operand},
      {"~-x", 1, operand},
      {"()", 1, operand},
      {"[]", 1, operand},
      {"f(a,)", 4, operand},
      {"[a,", 3, operand},
      {".", 0, operand},
      {"\"a\"", 0, operand},
      {std::string("a\0b", 3), 1, atEnd},
      {"a + \xff", 4, operand},
      {"a b", 2, atEnd},
      {"a)", 1, atEnd},
      {"a = b", 2, atEnd},
      {"x ~ = 1", 2, atEnd},
      {"a.b.c", 3, atEnd},
      {"a.f(x)", 3, atEnd},
      {"f(x)(y)", 4, atEnd},
      {"a[1]", 1, atEnd},
      {"1a", 1, atEnd},
      {"1.2.3", 3, atEnd},
      {"nan(1) x", 7, atEnd},
      {"nan(1)x", 6, atEnd},
      {"f(nan((1) x)", 10, inCall},
      {"[x, nan(]) y", 11, inList},
      {"(nan(() + 1", 11, inBrackets},
      {"nan(x", 5, inCall},
      // Names have letters up to the last.
      {"nanz", 3, atEnd, "nan"},
      {"INFZ", 3, atEnd, "INF"},
      {"azZ.", 4, member},
      {"fz(a b", 5, inCall},
      {"fZ(a b", 5, inCall},
      {"znan((1) x", 9, inCall},
      {"Znan((1) x", 9, inCall},
      // A name without its member.
      {"s.", 2, member},
      {"s . ", 4, member},
      {"s.1", 2, member},
      {"-s.\t-m", 4, member},
      {"f(s.)", 4, member},
      {"f(a, [s.])", 8, member},
      {"(s.t.", 4, inBrackets},
      {"f().", 3, atEnd},
      {"(s).m", 3, atEnd},
      {"7 .m", 2, atEnd},
      {".m", 0, operand},
      // Names that begin like a number.
      {"info", 3, atEnd, "inf"},
      {"NAND_ECC", 3, atEnd, "NAN"},
      {"info == 1", 3, atEnd, "inf"},
      {"infinite", 3, atEnd, "inf"},
      {"InfinityX", 8, atEnd, "Infinity"},
      {"a + -nano", 8, atEnd, "nan"},
      {"+inf_", 4, atEnd, "inf"},
      {"f(x, !Nan_1)", 9, inCall, "Nan"},
      {"[inf2]", 4, inList, "inf"},
      {"inf(x)", 3, atEnd, "inf"},
      {"nan.m", 3, atEnd, "nan"},
      {"(nan (x))", 5, inBrackets, "nan"},
      {"inf .x", 4, atEnd, "inf"},
      // No name continues here.
      {"inf x", 4, atEnd},
      {"nan 1", 4, atEnd},
      {"inf)", 3, atEnd},
      {"f(in.fo.x)", 7, inCall},
      {"1e", 1, atEnd},
      {"1e+", 1, atEnd},
      {"a*2147483648e", 2, integer},
      {"(a", 2, inBrackets},
      {"(a b)", 3, inBrackets},
      {"((a)", 4, inBrackets},
      {"(f(a)", 5, inBrackets},
      {"f(a b)", 4, inCall},
      {"f(g(x), y", 9, inCall},
      {"a + (b * [c, d)", 14, inList},
      {"[f(a), (b)", 10, inList},
      {"2147483648", 0, integer},
      {"a + 99999999999", 4, integer},
      {"-2147483649", 1, integer},
      {"1e400", 0, real},
      {"a*1e+999", 2, real},
      {"a + -1.5e999999999999", 4, real},
      {std::string(400, '7') + ".5", 0, real},
      {"-" + std::string(400, '7') + "e1", 1, real},
  });
}

TEST(Parser, DeepTextsAreRefused) {
  const std::size_t limit = SymbolicExprParser::maxNesting;
  EXPECT_GE(limit, 256U);
  const char* const tooDeep = "at most 256 levels of brackets";
  const struct {
    const char *open, *close;
    std::size_t place;  // of the bracketed operand in `open`
  } brackets[] = {{"(", ")", 0},  {"[", "]", 0},     {"f(", ")", 0},
                  {"-(", ")", 1}, {"a*(b-", ")", 2}, {"!(a||", ")", 1}};
  for (const auto& bracket : brackets) {
    const auto nested = [&](std::size_t aLevels) {
      return repeat(bracket.open, aLevels) + "x" + repeat(bracket.close, aLevels);
    };
    SymbolicExprTable table;
    EXPECT_NE(SymbolicExprParser(table, true)(nested(limit)), invalidSymbolicExprId)
        << bracket.open;
    EXPECT_FALSE(SymbolicExprParser(table, true).diagnose(nested(limit)));
    const std::size_t beyond = std::strlen(bracket.open) * limit + bracket.place;
    checkRejected({{nested(limit + 1), beyond, tooDeep}, {nested(2 * limit), beyond, tooDeep}});
    // Closed brackets count no more.
    const std::string side = "+" + nested(limit);
    EXPECT_NE(SymbolicExprParser(table, true)("x" + repeat(side, 3)), invalidSymbolicExprId);
  }
}

#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__)
constexpr bool measuresStack = true;
#else
constexpr bool measuresStack = false;  // frames have another size
#endif

TEST(Parser, NeedsLittleStackForAnyText) {
  const std::size_t limit = SymbolicExprParser::maxNesting;
  bool deepest = false, lists = false;
  std::vector<SymbolicExprId> beyond;
  const auto body = [&] {
    SymbolicExprTable table;
    const SymbolicExprParser parser(table, true);
    const auto parses = [&](const std::string& aOpen, const std::string& aClose) {
      const std::string text = repeat(aOpen, limit) + "x" + repeat(aClose, limit);
      return parser(text) != invalidSymbolicExprId && !parser.diagnose(text);
    };
    deepest = parses("(", ")") && parses("a||b&&c|d^e&f==g<h<<i+j*-(", ")");
    lists = parses("[a,", "]") && parses("f(a,", ")");
    for (const char* open : {"(", "[", "f(", "-(", "a+(", "f([(", "- + ! ~"}) {
      const std::string text = repeat(open, 3'000'000 / std::strlen(open));
      beyond.push_back(parser(text));
      if (!parser.diagnose(text)) beyond.push_back(0);
    }
  };
  if (measuresStack) {
    test::runOnStack(std::size_t{1} << 20, body);
  } else {
    body();
  }
  EXPECT_TRUE(deepest);
  EXPECT_TRUE(lists);
  EXPECT_EQ(beyond, std::vector<SymbolicExprId>(7, invalidSymbolicExprId));
}

TEST(Parser, LongChainsAreNoDepth) {
  const std::size_t operands = measuresStack ? 100000 : 20000;
  for (const char* op : {"+", "&&", "*", "-", "%", "<<", "==", "|", ","}) {
    std::string text = op == std::string(",") ? "f(" : "";
    for (std::size_t i = 0; i < operands; ++i) {
      text += (i == 0 ? "" : op) + ("v" + std::to_string(i));
    }
    if (op == std::string(",")) text += ")";
    bool same = false, converted = false;
    test::runOnStack(measuresStack ? std::size_t{256} << 10 : std::size_t{8} << 20, [&] {
      SymbolicExprTable table, copy;
      const SymbolicExprId id = SymbolicExprParser(table, true)(text);
      if (id == invalidSymbolicExprId) return;
      same = SymbolicExprPrinter(table, false, false, false)(id) == text;
      same = same && SymbolicExprCopy(table, copy)(id) != invalidSymbolicExprId;
      const SymbolicExprId there = SymbolicExprC2M(table)(id);
      converted =
          SymbolicExprPrinter(table, false, false, false)(SymbolicExprM2C(table)(there)) == text;
    });
    EXPECT_TRUE(same) << op;
    EXPECT_TRUE(converted) << op;
  }
}

// ---------------------------------------------------------------------------------------------

TEST(Parser, InternsInputsFirstAndLeftToRight) {
  const struct {
    const char* text;
    std::vector<const char*> nodes;
  } rows[] = {
      {"a+b", {"a", "b", "a+b"}},
      {"f(x, y)", {"f", "x", "y", "f(x,y)"}},
      {"f()", {"f", "f()"}},
      {"s.m", {"s", "m", "s.m"}},
      {"[c, b, a]", {"c", "b", "a", "[c,b,a]"}},
      {"a*b+b*a", {"a", "b", "a*b", "b*a", "a*b+b*a"}},
      {"-(x) && (y || x)", {"x", "-x", "y", "y||x", "-x&&(y||x)"}},
      {"1+1.0", {"1", "1.0", "1+1.0"}},
  };
  for (const auto& row : rows) {
    SymbolicExprTable table;
    const SymbolicExprParser parser(table, true);
    const SymbolicExprId id = parser(row.text);
    ASSERT_EQ(table.size(), row.nodes.size()) << row.text;
    EXPECT_EQ(id, table.size() - 1) << row.text;
    for (std::size_t i = 0; i < table.size(); ++i) {
      EXPECT_EQ(SymbolicExprPrinter(table, false, false, false)(i), row.nodes[i]) << row.text;
    }
    EXPECT_EQ(parser(row.text), id) << row.text;
    EXPECT_EQ(table.size(), row.nodes.size()) << row.text;
  }
}

// What an abandoned alternative has read is no part of the expression.
TEST(Parser, BacktrackingLeavesNothingBehind) {
  SymbolicExprTable table;
  const SymbolicExprParser parser(table, true);
  EXPECT_EQ(parser("a + b + (c * [d, f(g, 1.5), s.m] "), invalidSymbolicExprId);
  EXPECT_EQ(table.size(), 0U);
  // "|" and "&" are tried before "||" and "&&".
  EXPECT_NE(parser("a || b && c"), invalidSymbolicExprId);
  EXPECT_EQ(table.size(), 5U);
  // "1.5." fails as a list's last element only after "f(" was entered.
  EXPECT_EQ(parser("f(x, 1.5.)"), invalidSymbolicExprId);
  EXPECT_EQ(table.size(), 5U);
}

// ---------------------------------------------------------------------------------------------

double readBack(const std::string& aText) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
  EXPECT_NE(id, invalidSymbolicExprId) << aText;
  if (id == invalidSymbolicExprId) return 0.0;
  EXPECT_EQ(table.get(id)->getKind(), static_cast<int>(SymbolicOp::DoubleValue)) << aText;
  return table.get(id)->getNumericValue();
}

std::uint64_t bits(double aValue) {
  std::uint64_t result = 0;
  std::memcpy(&result, &aValue, sizeof result);
  return result;
}

TEST(Parser, ReadsRealLiterals) {
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    const char* text;
    double value;
  } rows[] = {
      {"1.", 1.0},
      {".5", 0.5},
      {"-.5", -0.5},
      {"+2.5", 2.5},
      {"1e3", 1000.0},
      {"1E-3", 0.001},
      {"5.e+2", 500.0},
      {"3e9", 3e9},
      {"2147483648.0", 2147483648.0},
      {"0.1", 0.1},
      {"9007199254740993.0", 9007199254740992.0},
      {"1.7976931348623157e308", std::numeric_limits<double>::max()},
      {"179769313486231580793e288", std::numeric_limits<double>::max()},
      {"2.2250738585072011e-308", 2.2250738585072011e-308},
      {"4.9e-324", 4.9e-324},
      {"2e-324", 0.0},
      {"-1e-400", -0.0},
      {"1e-99999999999999999999", 0.0},
      {"0e99999999999999999999", 0.0},
      {"0.0e400", 0.0},
      {"0.00001e312", 1e307},
      {"inf", infinity},
      {"-Infinity", -infinity},
      {"INF", infinity},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(bits(readBack(row.text)), bits(row.value)) << row.text;
  }
  for (const char* text : {"nan", "NaN", "-nan", "nan(123)", "nan()"}) {
    EXPECT_TRUE(std::isnan(readBack(text))) << text;
  }
  for (const char* text :
       {"1.8e308", "1e309", "-1e309", "179769313486231590000e289", "1e99999999999999999999"}) {
    SymbolicExprTable table;
    EXPECT_EQ(SymbolicExprParser(table, true)(text), invalidSymbolicExprId) << text;
  }
  // A long literal is read in full, wherever its digits stand.
  EXPECT_EQ(readBack("0." + std::string(5000, '0') + "1e5001"), 1.0);
  EXPECT_EQ(readBack("1" + std::string(5000, '0') + ".0e-5000"), 1.0);
  EXPECT_EQ(readBack("1." + std::string(100000, '3')), 1.0 + 1.0 / 3.0);
}

}  // namespace
}  // namespace KS
