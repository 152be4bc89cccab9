#include "bench/Term.hpp"

#include <cctype>
#include <cstdint>
#include <stdexcept>

namespace KSBench {

namespace {

// Binary operators by the strength with which they bind; longer spellings before their beginnings.
const std::vector<std::vector<std::string>> levels = {
    {"||"}, {"&&"}, {"==", "!="}, {"<=", ">=", "<", ">"}, {"+", "-"}, {"*", "/"}};

std::size_t levelOf(const Term& aTerm) {
  if (aTerm.inputs.empty()) return levels.size() + 1;
  if (aTerm.inputs.size() == 1) return levels.size();
  for (std::size_t i = 0; i < levels.size(); ++i) {
    for (const std::string& op : levels[i]) {
      if (op == aTerm.op) return i;
    }
  }
  throw std::invalid_argument("unknown operator " + aTerm.op);
}

class Reader {
 public:
  explicit Reader(const std::string& aText) : text(aText) {}

  Term whole() {
    Term term = binary(0);
    if (skipBlanks() != text.size()) fail();
    return term;
  }

 private:
  Term binary(std::size_t aLevel) {
    if (aLevel == levels.size()) return prefix();
    Term left = binary(aLevel + 1);
    for (std::string op = takeAny(levels[aLevel]); !op.empty(); op = takeAny(levels[aLevel])) {
      Term right = binary(aLevel + 1);
      left = Term{op, {std::move(left), std::move(right)}};
    }
    return left;
  }

  Term prefix() {
    const std::string op = takeAny({"-", "!"});
    if (!op.empty()) return {op, {prefix()}};
    if (!takeAny({"("}).empty()) {
      Term inner = binary(0);
      if (takeAny({")"}).empty()) fail();
      return inner;
    }
    const std::size_t start = skipBlanks();
    while (at < text.size() &&
           (std::isalnum(static_cast<unsigned char>(text[at])) != 0 || text[at] == '_')) {
      ++at;
    }
    if (at == start) fail();
    return {text.substr(start, at - start), {}};
  }

  std::string takeAny(const std::vector<std::string>& aSpellings) {
    skipBlanks();
    for (const std::string& spelling : aSpellings) {
      if (text.compare(at, spelling.size(), spelling) != 0) continue;
      at += spelling.size();
      return spelling;
    }
    return {};
  }

  std::size_t skipBlanks() {
    while (at < text.size() && text[at] == ' ') ++at;
    return at;
  }

  [[noreturn]] void fail() const {
    throw std::invalid_argument("column " + std::to_string(at + 1) + " of: " + text);
  }

  const std::string& text;
  std::size_t at = 0;
};

bool isSymbol(const Term& aTerm) {
  return aTerm.inputs.empty() && aTerm.op != "true" &&
         std::isdigit(static_cast<unsigned char>(aTerm.op[0])) == 0;
}

std::string call(const std::string& aFunction, std::initializer_list<std::string> aArguments) {
  std::string text = "(" + aFunction;
  for (const std::string& argument : aArguments) text += " " + argument;
  return text + ")";
}

}  // namespace

Term readTerm(const std::string& aText) { return Reader(aText).whole(); }

void addSymbols(const Term& aTerm, std::set<std::string>& aNames) {
  if (isSymbol(aTerm)) aNames.insert(aTerm.op);
  for (const Term& input : aTerm.inputs) addSymbols(input, aNames);
}

bool isLogical(const std::string& aOp) { return aOp.find_first_of("=<>!&|") != std::string::npos; }

std::string plainText(const Term& aTerm) {
  const auto bracketed = [](const Term& aInput, bool aNeeded) {
    return aNeeded ? "(" + plainText(aInput) + ")" : plainText(aInput);
  };
  if (aTerm.inputs.empty()) return aTerm.op;
  const std::size_t level = levelOf(aTerm);
  const auto weak = [&](const Term& aInput) { return aInput.inputs.size() == 1; };
  const Term& first = aTerm.inputs[0];
  if (aTerm.inputs.size() == 1) return aTerm.op + bracketed(first, !first.inputs.empty());
  const Term& second = aTerm.inputs[1];
  return bracketed(first, levelOf(first) < level || weak(first)) + aTerm.op +
         bracketed(second, levelOf(second) <= level || weak(second));
}

std::string smtNumber(const Term& aTerm) {
  if (aTerm.inputs.empty()) return aTerm.op;
  if (isLogical(aTerm.op)) return call("ite", {smtTruth(aTerm), "1", "0"});
  if (aTerm.inputs.size() == 1) return call("-", {smtNumber(aTerm.inputs[0])});
  return call(aTerm.op == "/" ? "div" : aTerm.op,
              {smtNumber(aTerm.inputs[0]), smtNumber(aTerm.inputs[1])});
}

std::string smtTruth(const Term& aTerm) {
  if (aTerm.op == "true") return aTerm.op;
  if (aTerm.inputs.empty() || !isLogical(aTerm.op)) {
    return call("not", {call("=", {smtNumber(aTerm), "0"})});
  }
  if (aTerm.op == "!") return call("not", {smtTruth(aTerm.inputs[0])});
  if (aTerm.op == "&&" || aTerm.op == "||") {
    return call(aTerm.op == "&&" ? "and" : "or",
                {smtTruth(aTerm.inputs[0]), smtTruth(aTerm.inputs[1])});
  }
  const std::string left = smtNumber(aTerm.inputs[0]);
  const std::string right = smtNumber(aTerm.inputs[1]);
  if (aTerm.op == "!=") return call("not", {call("=", {left, right})});
  return call(aTerm.op == "==" ? "=" : aTerm.op, {left, right});
}

int boundValue(const std::string& aName, int aBinding) {
  std::uint64_t hash = 14695981039346656037U + static_cast<std::uint64_t>(aBinding);  // FNV-1a
  for (const char c : aName) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return static_cast<int>((hash >> 32U) % 10U);
}

}  // namespace KSBench
