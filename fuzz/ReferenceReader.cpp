#include "fuzz/ReferenceReader.hpp"

#include <cctype>
#include <cfenv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <vector>

#include "base/KSSymbolicExpr.hpp"

namespace KS::test {

namespace {

using Found = std::optional<std::string>;

struct Spelling {
  const char* text;
  const char* meaning;
};
// The levels of binary operators, loosest first, each with its spellings in the order of trial.
const std::vector<std::vector<Spelling>> levels{
    {{"||", "||"}},
    {{"&&", "&&"}},
    {{"|", "|"}},
    {{"^", "^"}},
    {{"&", "&"}},
    {{"==", "=="}, {"!=", "!="}, {"~=", "!="}},
    {{"<=", "<="}, {"<", "<"}, {">=", ">="}, {">", ">"}},
    {{">>", ">>"}, {"<<", "<<"}},
    {{"+", "+"}, {"-", "-"}},
    {{"*", "*"}, {"/", "/"}, {"%", "%"}},
};

// A text as the nearest double, whatever the process has set its locale and its rounding to.
double nearest(const std::string& aText) {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
  const int before = std::fegetround();
  std::fesetround(FE_TONEAREST);
  const double value = strtod_l(aText.c_str(), nullptr, classic);
  std::fesetround(before);
  return value;
}

class Reader {
 public:
  Reader(const std::string& aText, bool aCSyntax) : text(aText), cSyntax(aCSyntax) {}

  Found whole() {
    const Found found = binary(0);
    skipSpace();
    return found && pos == text.size() ? found : std::nullopt;
  }

 private:
  char at(std::size_t aPos) const { return aPos < text.size() ? text[aPos] : '\0'; }
  bool isDigitAt(std::size_t aPos) const { return at(aPos) >= '0' && at(aPos) <= '9'; }
  bool isNameStartAt(std::size_t aPos) const {
    const char c = at(aPos);
    return c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  }

  void skipSpace() {
    while (pos < text.size() && std::strchr(" \t\n\v\f\r", text[pos]) != nullptr &&
           text[pos] != '\0') {
      ++pos;
    }
  }
  bool token(const char* aToken) {
    skipSpace();
    if (text.compare(pos, std::strlen(aToken), aToken) != 0) return false;
    pos += std::strlen(aToken);
    return true;
  }

  // Tries to read something, and goes back where that fails.
  template <class Read>
  Found attempt(Read aRead) {
    const std::size_t start = pos;
    Found found = aRead();
    if (!found) pos = start;
    return found;
  }

  Found binary(std::size_t aLevel) {
    if (aLevel == levels.size()) return unary();
    Found left = binary(aLevel + 1);
    while (left) {
      Found longer;
      for (const Spelling& spelling : levels[aLevel]) {
        longer = attempt([&]() -> Found {
          if (!token(spelling.text)) return std::nullopt;
          const Found right = binary(aLevel + 1);
          if (!right) return std::nullopt;
          return std::string(spelling.meaning) + "(" + *left + " " + *right + ")";
        });
        if (longer) break;
      }
      if (!longer) break;
      left = longer;
    }
    return left;
  }

  Found unary() {
    if (const Found found = attempt([&] { return primary(); })) return found;
    const std::vector<Spelling> prefixes{
        {"-", "neg"}, {"+", nullptr}, {"!", "not"}, {"~", cSyntax ? "compl" : "not"}};
    for (const Spelling& prefix : prefixes) {
      const Found found = attempt([&]() -> Found {
        if (!token(prefix.text)) return std::nullopt;
        const Found operand = primary();
        if (!operand || prefix.meaning == nullptr) return operand;
        return std::string(prefix.meaning) + "(" + *operand + ")";
      });
      if (found) return found;
    }
    return std::nullopt;
  }

  Found primary() {
    Found found = attempt([&] { return real(); });
    if (!found) found = attempt([&] { return integer(); });
    if (!found) found = attempt([&] { return call(); });
    if (!found) found = attempt([&] { return member(); });
    if (!found) found = attempt([&] { return emptyCall(); });
    if (!found) found = attempt([&] { return name(); });
    if (!found) found = attempt([&] { return list(); });
    if (!found) found = attempt([&] { return brackets(); });
    return found;
  }

  bool word(const char* aLower) {
    std::size_t end = pos;
    for (const char* c = aLower; *c != '\0'; ++c, ++end) {
      if (std::tolower(static_cast<unsigned char>(at(end))) != *c) return false;
    }
    pos = end;
    return true;
  }
  std::size_t digits() {
    const std::size_t start = pos;
    while (isDigitAt(pos)) ++pos;
    return pos - start;
  }

  Found real() {
    skipSpace();
    const bool isNegative = at(pos) == '-';
    if (isNegative || at(pos) == '+') ++pos;
    const auto withSign = [&](double aValue) {
      return realByItsBits(std::copysign(aValue, isNegative ? -1.0 : 1.0));
    };
    const std::size_t start = pos;
    if (word("inf")) {
      word("inity");
      return withSign(std::numeric_limits<double>::infinity());
    }
    if (word("nan")) {
      if (at(pos) == '(') {
        const std::size_t close = text.find(')', pos);
        if (close == std::string::npos) return std::nullopt;
        pos = close + 1;
      }
      return withSign(std::numeric_limits<double>::quiet_NaN());
    }
    std::size_t count = digits();
    const bool hasPoint = at(pos) == '.';
    if (hasPoint) {
      ++pos;
      count += digits();
    }
    if (count == 0) return std::nullopt;
    bool hasExponent = false;
    if (at(pos) == 'e' || at(pos) == 'E') {
      const std::size_t mark = pos++;
      if (at(pos) == '+' || at(pos) == '-') ++pos;
      hasExponent = digits() != 0;
      if (!hasExponent) pos = mark;
    }
    if (!hasPoint && !hasExponent) return std::nullopt;
    const double value = nearest(text.substr(start, pos - start));
    if (std::isinf(value)) return std::nullopt;
    return withSign(value);
  }

  Found integer() {
    skipSpace();
    const bool isNegative = at(pos) == '-';
    if (isNegative || at(pos) == '+') ++pos;
    if (!isDigitAt(pos)) return std::nullopt;
    std::int64_t value = 0;
    for (; isDigitAt(pos); ++pos) {
      value = value * 10 + (at(pos) - '0');
      if (value > std::int64_t{1} << 31) return std::nullopt;
    }
    if (isNegative) value = -value;
    if (value > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
    return "int " + std::to_string(value);
  }

  Found name() {
    skipSpace();
    if (!isNameStartAt(pos)) return std::nullopt;
    const std::size_t start = pos;
    while (isNameStartAt(pos) || isDigitAt(pos)) ++pos;
    return text.substr(start, pos - start);
  }

  // Expressions with commas between them.
  Found elements() {
    Found all = binary(0);
    while (all) {
      const Found next = attempt([&] { return token(",") ? binary(0) : std::nullopt; });
      if (!next) break;
      *all += " " + *next;
    }
    return all;
  }

  Found call() {
    const Found function = name();
    if (!function || !token("(")) return std::nullopt;
    const Found arguments = elements();
    if (!arguments || !token(")")) return std::nullopt;
    return "call(" + *function + " " + *arguments + ")";
  }
  Found member() {
    const Found object = name();
    if (!object || !token(".")) return std::nullopt;
    const Found field = name();
    if (!field) return std::nullopt;
    return "member(" + *object + " ." + *field + ")";
  }
  Found emptyCall() {
    const Found function = name();
    if (!function || !token("(") || !token(")")) return std::nullopt;
    return "call(" + *function + ")";
  }
  Found list() {
    if (!token("[")) return std::nullopt;
    const Found all = elements();
    if (!all || !token("]")) return std::nullopt;
    return "list(" + *all + ")";
  }
  Found brackets() {
    if (!token("(")) return std::nullopt;
    const Found inner = binary(0);
    if (!inner || !token(")")) return std::nullopt;
    return inner;
  }

  const std::string& text;
  const bool cSyntax;
  std::size_t pos = 0;
};

}  // namespace

Found readReference(const std::string& aText, bool aCSyntax) {
  return Reader(aText, aCSyntax).whole();
}

std::string meaningOf(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  static const std::map<SymbolicOp, const char*> operators{
      {SymbolicOp::Plus, "+"},        {SymbolicOp::Minus, "-"},
      {SymbolicOp::Multiply, "*"},    {SymbolicOp::Divide, "/"},
      {SymbolicOp::Modulo, "%"},      {SymbolicOp::Equal, "=="},
      {SymbolicOp::NotEqual, "!="},   {SymbolicOp::LessThan, "<"},
      {SymbolicOp::GreaterThan, ">"}, {SymbolicOp::LessThanEqual, "<="},
      {SymbolicOp::And, "&&"},        {SymbolicOp::GreaterThanEqual, ">="},
      {SymbolicOp::Or, "||"},         {SymbolicOp::BitAnd, "&"},
      {SymbolicOp::BitOr, "|"},       {SymbolicOp::BitXOr, "^"},
      {SymbolicOp::ShiftLeft, "<<"},  {SymbolicOp::ShiftRight, ">>"},
      {SymbolicOp::Not, "not"},       {SymbolicOp::UnaryMinus, "neg"},
      {SymbolicOp::BitCompl, "compl"}};
  const SymbolicExpr& node = *aTable.get(aId);
  const auto op = static_cast<SymbolicOp>(node.getKind());
  if (op == SymbolicOp::String) return static_cast<const SymbolicString&>(node).getText();
  if (op == SymbolicOp::IntValue) {
    return "int " + std::to_string(static_cast<const SymbolicIntValue&>(node).getValue());
  }
  if (op == SymbolicOp::DoubleValue) return realByItsBits(node.getNumericValue());
  const auto known = operators.find(op);
  std::string text = known != operators.end()        ? known->second
                     : op == SymbolicOp::MemberValue ? "member"
                     : node.getNumDimensions() != 0  ? "list"
                                                     : "call";
  for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
    text += (i == 0 ? "(" : " ") + meaningOf(aTable, node.getInput(i));
  }
  if (op == SymbolicOp::MemberValue) {
    text += " ." + static_cast<const SymbolicMemberValue&>(node).getMember();
  }
  return text + ")";
}

std::string realByItsBits(double aValue) {
  if (aValue == 0.0) return "real 0";  // a table holds one zero
  if (std::isnan(aValue)) return std::signbit(aValue) ? "real -nan" : "real nan";
  std::uint64_t bits = 0;
  std::memcpy(&bits, &aValue, sizeof bits);
  return "real " + std::to_string(bits);
}

}  // namespace KS::test
