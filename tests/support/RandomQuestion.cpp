#include "tests/support/RandomQuestion.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <locale>
#include <sstream>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprEvalError.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tests/support/RandomText.hpp"

namespace KS::test {

namespace {

constexpr const char* trueName = "true";
constexpr const char* symbols[] = {"a", "b", "c", "d", "n", trueName, "r0", "r1", "r2"};
constexpr const char* variables[] = {"f(a)", "g()", "h(a, b + 1)", "s.m"};
constexpr const char* literals[] = {"0",   "1",   "2",    "-3",   "2147483647",
                                    "0.5", "0.0", "1e-9", "false"};
constexpr const char* operators[] = {"+", "-",  "*",  "/",  "%", "==", "!=", "<",  "<=",
                                     ">", ">=", "&&", "||", "&", "|",  "^",  "<<", ">>"};

}  // namespace

RandomQuestion::RandomQuestion(std::uint64_t aSeed, std::size_t aNumRoots) : random(aSeed) {
  for (const char* name : {"r0", "r1", "r2"}) table.registerValueId(name, parse(text(1 + pick(6))));
  for (std::size_t i = 0; i < aNumRoots; ++i) {
    texts.push_back(text(1 + pick(14)));
    roots.push_back(parse(texts.back()));
  }
  for (const char* text : symbols) parse(text);
  for (const char* text : variables) parse(text);
}

SymbolicExprId RandomQuestion::parse(const std::string& aText) {
  const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
  EXPECT_NE(id, invalidSymbolicExprId) << aText;
  return id;
}

std::string RandomQuestion::leaf() {
  const std::size_t kind = pick(20);
  if (kind == 0) return variables[pick(std::size(variables))];
  if (kind < 7) return literals[pick(std::size(literals))];
  return symbols[pick(pick(3) == 0 ? std::size(symbols) : 5)];
}

std::string RandomQuestion::text(std::size_t aNodes) {
  if (aNodes <= 1) return leaf();
  if (pick(12) == 0) {
    std::string list = "[" + text(aNodes / 4);
    for (std::size_t i = pick(4); i > 0; --i) list += ", " + text(aNodes / 4);
    return list + "]";
  }
  if (pick(6) == 0) return inOrder({std::string(1, "-!~"[pick(3)]), "(", text(aNodes - 1), ")"});
  const std::size_t left = 1 + pick(aNodes - 1);
  const std::string first = "(" + text(left) + ")";
  const std::string joint = operators[pick(std::size(operators))];
  // A node that is used twice is computed once.
  return first + joint + (pick(8) == 0 ? first : "(" + text(aNodes - left) + ")");
}

Eval::Value RandomQuestion::value() {
  constexpr double inf = std::numeric_limits<double>::infinity();
  const Eval::Scalar scalars[] = {true, false, 0,    1,   2,    -3,  7,        2147483647,
                                  2.5,  0.0,   -0.0, inf, -inf, NAN, 1.000001, -2147483647 - 1};
  const auto scalar = [&] { return scalars[pick(std::size(scalars))]; };
  if (pick(10) > 0) return scalar();
  std::vector<Eval::Scalar> list;
  for (std::size_t i = 1 + pick(3); i > 0; --i) list.push_back(scalar());
  return list;
}

void RandomQuestion::bind(SymbolicExprBindings& aBindings, std::size_t aPercent) {
  for (const char* name : symbols) {
    if (pick(100) < aPercent) aBindings.set(name, value());
  }
  for (const char* text : variables) {
    if (pick(100) < aPercent) aBindings.set(parse(text), value());
  }
  for (std::size_t i = pick(3); i > 0; --i) {
    const SymbolicExprId id = pick(table.size());
    if (!table.get(id)->isNumber()) aBindings.set(id, value());
  }
}

void RandomQuestion::bindRest(SymbolicExprBindings& aBindings, const SymbolicExprBindings& aDone,
                              std::size_t aPercent) {
  const auto bindUnlessDone = [&](SymbolicExprId aId) {
    if (aDone.find(aId) == nullptr && pick(100) < aPercent) aBindings.set(aId, value());
  };
  for (const char* name : symbols) {
    const SymbolicExprId id = parse(name);
    const bool isVariable = table.getValueId(id) == invalidSymbolicExprId && name != trueName;
    if (isVariable) bindUnlessDone(id);
  }
  for (const char* text : variables) bindUnlessDone(parse(text));
}

std::string answer(const std::function<std::vector<double>()>& aCompute) {
  try {
    std::ostringstream numbers;
    numbers.imbue(std::locale::classic());
    numbers.precision(17);
    for (const double number : aCompute()) {
      if (std::isnan(number)) {
        numbers << "nan ";
      } else {
        numbers << number << ' ';
      }
    }
    return numbers.str();
  } catch (const SymbolicExprEvalError& error) {
    return error.what();
  }
}

}  // namespace KS::test
