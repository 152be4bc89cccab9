#include "parser/detail/Diagnosis.hpp"

#include <algorithm>
#include <boost/phoenix/core.hpp>
#include <boost/spirit/include/qi_nonterminal.hpp>
#include <boost/spirit/include/qi_parse.hpp>
#include <functional>
#include <string_view>
#include <vector>

#include "parser/ExprParser.hpp"
#include "parser/detail/StepWriter.hpp"

namespace KS::detail {

namespace {

namespace phx = boost::phoenix;
namespace qi = boost::spirit::qi;
using Iterator = std::string::const_iterator;

// How far the parse got: the furthest place where an operand was looked for, and the furthest end
// of an operand. Nothing that an operator or a bracket needs lies beyond the later of the two.
struct Progress {
  Iterator operandStart;
  Iterator operandEnd;

  // Called by Qi before and after every try to match an operand.
  template <class Context, class State>
  void operator()(const Iterator& aFirst, const Iterator&, const Context&, State aState,
                  const std::string&) {
    if (aState == qi::pre_parse) operandStart = std::max(operandStart, aFirst);
    if (aState == qi::successful_parse) operandEnd = std::max(operandEnd, aFirst);
  }
};

bool isSpace(char c) { return std::string_view(" \t\n\v\f\r").find(c) != std::string_view::npos; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isNamePart(char c) {
  return isDigit(c) || c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether an operand is a name; the match of one includes the white space behind it.
bool isName(std::string_view aOperand) {
  const auto end = std::find_if_not(aOperand.begin(), aOperand.end(), isNamePart);
  return !isDigit(aOperand[0]) && std::all_of(end, aOperand.end(), isSpace);
}

std::string lowerCase(std::string_view aText) {
  std::string lower(aText);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

// The number in letters that an operand consists of, which a sign may precede; else nothing.
std::string_view numberInLetters(std::string_view aOperand) {
  if (aOperand[0] == '+' || aOperand[0] == '-') aOperand.remove_prefix(1);
  const std::string word = lowerCase(aOperand);
  return word == "inf" || word == "infinity" || word == "nan" ? aOperand : std::string_view();
}

// Whether the last name in a text is "nan", of which a bracket behind it is a part.
bool endsInNaN(std::string_view aText) {
  const auto last = std::find_if_not(aText.rbegin(), aText.rend(), isNamePart);
  return lowerCase(aText.substr(static_cast<std::size_t>(aText.rend() - last))) == "nan";
}

// What may follow an operand, by the innermost bracket that is open there.
std::string afterOperand(std::string_view aBefore) {
  std::vector<const char*> expected{"an operator or the end of the expression"};
  char last = ' ';
  for (std::size_t i = 0; i < aBefore.size(); ++i) {
    const char c = aBefore[i];
    if (c == '(' && endsInNaN(aBefore.substr(0, i))) {
      const std::size_t close = aBefore.find(')', i);
      if (close != std::string_view::npos) {
        i = close;
        continue;
      }
    }
    if (c == '[') expected.push_back("an operator, ',' or ']'");
    if (c == '(') {
      expected.push_back(isNamePart(last) ? "an operator, ',' or ')'" : "an operator or ')'");
    }
    if ((c == ')' || c == ']') && expected.size() > 1) expected.pop_back();
    if (!isSpace(c)) last = c;
  }
  return expected.back();
}

constexpr const char* realInRange = "a real number within the range of a double";

// Whether only the first digits of a real literal were taken, as an integer: the literal itself is
// out of range.
bool isCutReal(std::string_view aOperand, std::string_view aRest) {
  if (aOperand.find_first_not_of("+-0123456789") != std::string_view::npos || aRest.empty() ||
      std::string_view(".eE").find(aRest[0]) == std::string_view::npos) {
    return false;
  }
  aRest.remove_prefix(1);
  if (!aRest.empty() && (aRest[0] == '+' || aRest[0] == '-')) aRest.remove_prefix(1);
  return !aRest.empty() && isDigit(aRest[0]);
}

// What an operand should have been, by the text that stands in its place.
std::string asOperand(std::string_view aRest) {
  if (!aRest.empty() && (aRest[0] == '+' || aRest[0] == '-')) aRest.remove_prefix(1);
  const std::string_view digits = aRest.substr(0, aRest.find_first_not_of("0123456789"));
  if (digits.empty()) return "an operand";
  return isCutReal(digits, aRest.substr(digits.size())) ? realInRange : "an integer of 32 bits";
}

}  // namespace

std::optional<SymbolicExprParseError> diagnose(const std::string& aText) {
  StepWriter writer;
  Parser::ExprParser<Iterator> grammar;
  Progress progress{aText.begin(), aText.begin()};
  qi::debug(grammar.primary, std::ref(progress));
  Iterator stop = aText.begin();
  if (qi::phrase_parse(stop, aText.end(), grammar.expression(phx::ref(writer)), qi::ascii::space) &&
      stop == aText.end()) {
    return std::nullopt;
  }
  const std::string_view text = aText;
  const auto offset = [&](Iterator aPlace) {
    return static_cast<std::size_t>(aPlace - aText.begin());
  };
  const auto skipSpace = [&](Iterator aPlace) {
    return offset(std::find_if_not(aPlace, aText.end(), isSpace));
  };
  const std::size_t operand = skipSpace(progress.operandStart);
  const std::size_t operandEnd = offset(progress.operandEnd);
  if (writer.tooDeep()) {
    return SymbolicExprParseError{
        operand,
        "at most " + std::to_string(SymbolicExprParser::maxNesting) + " levels of brackets"};
  }
  if (operand >= operandEnd)
    return SymbolicExprParseError{operand, asOperand(text.substr(operand))};
  const std::string_view matched = text.substr(operand, operandEnd - operand);
  if (isCutReal(matched, text.substr(operandEnd))) {
    return SymbolicExprParseError{operand, realInRange};
  }
  const std::size_t next = skipSpace(progress.operandEnd);
  const char follower = next < text.size() ? text[next] : ' ';
  const std::string_view number = numberInLetters(matched);
  if (number.empty() && isName(matched) && follower == '.') {
    const auto behindDot = aText.begin() + static_cast<std::ptrdiff_t>(next) + 1;
    return SymbolicExprParseError{skipSpace(behindDot), "a member's name"};
  }
  SymbolicExprParseError error{next, afterOperand(text.substr(0, operandEnd))};
  // What could be the rest of a name, a call or a member access.
  const bool isRest =
      (next == operandEnd && isNamePart(follower)) || follower == '(' || follower == '.';
  if (!number.empty() && isRest) {
    error.note = "'" + std::string(number) +
                 "' is a number, and no symbol's or function's name begins with 'inf' or 'nan' in "
                 "either case";
  }
  return error;
}

}  // namespace KS::detail
