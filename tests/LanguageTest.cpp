// The language as a whole: random texts, good and bad ones, against a reader of the tests' own.
#include <gtest/gtest.h>

#include <boost/spirit/include/qi_parse.hpp>
#include <random>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "parser/Ast2SymbolicExprId.hpp"
#include "parser/ExprParser.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tests/support/ReferenceReader.hpp"

namespace KS {
namespace {

// Draws texts of the language, with every spelling and white space that it has, and texts that are
// almost in it.
class Texts {
 public:
  explicit Texts(unsigned aSeed) : random(aSeed) {}

  std::string expression(std::size_t aDepth) {
    std::string text = operand(aDepth);
    while (pick(3) == 0) {
      const char* const op = oneOf({"||", "&&", "|", "^", "&", "==", "!=", "~=", "<=", "<",
                                    ">=", ">", ">>", "<<", "+", "-", "*", "/", "%"});
      text += space() + op + space() + operand(aDepth);
    }
    return text;
  }

  // One to three bytes are taken out, doubled, exchanged or put in.
  std::string damaged(std::string aText) {
    for (std::size_t i = 0, count = 1 + pick(3); i < count; ++i) {
      const std::size_t place = pick(aText.size() + 1);
      switch (pick(4)) {
        case 0: aText.erase(place, 1 + pick(2)); break;
        case 1: aText.insert(place, aText.substr(place, 1 + pick(4))); break;
        case 2: aText.insert(place, 1, anyByte()); break;
        default:
          if (place < aText.size()) aText[place] = anyByte();
      }
    }
    return aText;
  }

  // Tokens in any order.
  std::string garbage() {
    std::string text;
    for (std::size_t i = 0, count = pick(9); i < count; ++i) {
      switch (pick(4)) {
        case 0: text += name(); break;
        case 1: text += number(); break;
        default:
          text += oneOf({"(", ")", "[", "]", ",", ".",  "|",  "&",  "=", "!", "~",
                         "<", ">", "+", "-", "*", "||", "&&", "==", " ", "\n"});
      }
    }
    return text;
  }

 private:
  std::size_t pick(std::size_t aCount) { return random() % aCount; }
  const char* oneOf(std::initializer_list<const char*> aTexts) {
    return aTexts.begin()[pick(aTexts.size())];
  }
  char anyByte() {
    static const std::string often = "()[],.|&=!~<>+-*/%^ \t\nae1059_infINF";
    return pick(20) == 0 ? static_cast<char>(pick(256)) : often[pick(often.size())];
  }

  std::string space() {
    return pick(3) != 0 ? "" : oneOf({" ", " ", "\t", "\n", "\v", "\f", "\r", "  \n "});
  }

  // Some of the names are numbers, or begin like one.
  std::string name() {
    return oneOf({"a",  "b",  "x1", "_",   "__a_9",    "true", "false", "f",    "i",    "in",  "n",
                  "na", "e5", "E",  "inf", "Infinity", "nan",  "NAN",   "nand", "info", "INF1"});
  }

  std::string number() {
    const auto digits = [&] {
      std::string text;
      for (std::size_t i = 0, count = 1 + pick(pick(8) == 0 ? 12 : 3); i < count; ++i) {
        text += static_cast<char>('0' + pick(10));
      }
      return text;
    };
    std::string text = oneOf({"", "", "", "-", "+"});
    switch (pick(8)) {
      case 0: return text + digits() + "." + digits();
      case 1: return text + digits() + ".";
      case 2: return text + "." + digits();
      case 3: return text + digits() + oneOf({"e", "E"}) + oneOf({"", "-", "+"}) + digits();
      case 4: return text + digits() + ".5e" + oneOf({"", "-"}) + digits();
      case 5:
        return text + oneOf({"inf", "Infinity", "iNF", "nan", "NaN(1)", "nan()", "2147483647",
                             "2147483648", "1e308", "1e309", "0001"});
      default: return text + digits();
    }
  }

  std::string some(std::size_t aDepth) {
    std::string text = space() + expression(aDepth);
    while (pick(2) == 0) text += space() + "," + space() + expression(aDepth);
    return text + space();
  }

  std::string operand(std::size_t aDepth) {
    const std::string prefix = pick(4) != 0 ? "" : oneOf({"-", "+", "!", "~"}) + space();
    switch (aDepth == 0 ? pick(5) : pick(10)) {
      case 0:
      case 1: return prefix + number();
      case 2: return prefix + name() + space() + "." + space() + name();
      case 3:
      case 4: return prefix + name();
      case 5: return prefix + name() + space() + "(" + space() + ")";
      case 6: return prefix + name() + space() + "(" + some(aDepth - 1) + ")";
      case 7: return prefix + "[" + some(aDepth - 1) + "]";
      default: return prefix + "(" + space() + expression(aDepth - 1) + space() + ")";
    }
  }

  std::mt19937 random;
};

// What the public grammar and the conversion of its tree make of the text. The grammar alone
// matches a text that begins with an expression, too.
std::string meaningOfTree(const std::string& aText, bool aCSyntax) {
  namespace qi = boost::spirit::qi;
  static const Parser::ExprParser<std::string::const_iterator> grammar;
  Parser::expression_ast tree;
  auto end = aText.begin();
  if (!qi::phrase_parse(end, aText.end(), grammar, qi::ascii::space, tree)) return "no expression";
  SymbolicExprTable table;
  const std::string text =
      test::meaningOf(table, Parser::Ast2SymbolicExprId(table, aCSyntax)(tree));
  if (end == aText.end()) return text;
  const std::string matched(aText.begin(), end);
  EXPECT_EQ(text, test::readReference(matched, aCSyntax)) << "of " << matched;
  return "no expression";
}

// Returns whether the text is an expression.
bool checkText(const std::string& aText) {
  bool isExpression = false;
  for (const bool cSyntax : {false, true}) {
    const std::string expected = test::readReference(aText, cSyntax).value_or("no expression");
    SymbolicExprTable table;
    const SymbolicExprParser parser(table, cSyntax);
    const SymbolicExprId known = parser("known");
    const auto error = parser.diagnose(aText);
    EXPECT_EQ(table.size(), 1U);
    const SymbolicExprId id = parser(aText);
    isExpression = id != invalidSymbolicExprId;
    EXPECT_EQ(isExpression ? test::meaningOf(table, id) : "no expression", expected);
    EXPECT_EQ(meaningOfTree(aText, cSyntax), expected);
    EXPECT_EQ(error.has_value(), !isExpression);
    if (isExpression) continue;
    EXPECT_EQ(table.size(), known + 1);
    if (!error) continue;
    EXPECT_LE(error->offset, aText.size());
    // What stands before the place is an expression exactly where it might have ended there.
    const bool mightEnd = test::readReference(aText.substr(0, error->offset), cSyntax).has_value();
    EXPECT_EQ(mightEnd, error->expected == "an operator or the end of the expression")
        << error->offset << ' ' << error->expected;
  }
  return isExpression;
}

TEST(Language, IsReadAsItIsDefined) {
  Texts texts(20240715);
  std::size_t good = 0, bad = 0;
  for (int i = 0; i < 6000 && !testing::Test::HasFailure(); ++i) {
    const std::string text = texts.expression(static_cast<std::size_t>(i) % 4);
    for (const std::string& variant : {text, texts.damaged(text), texts.garbage()}) {
      SCOPED_TRACE(variant);
      ++(checkText(variant) ? good : bad);
    }
  }
  EXPECT_GT(good, 6000U);
  EXPECT_GT(bad, 6000U);
}

}  // namespace
}  // namespace KS
