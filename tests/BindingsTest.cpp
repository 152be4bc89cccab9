// Values for one question: what is bound wins, beside a table that stays as it is.
#include <gtest/gtest.h>

#include <locale>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace {

using namespace KS;
using Eval::Scalar;
using Eval::Value;
using Bound = std::vector<std::pair<const char*, Value>>;

const Value list = std::vector<Scalar>{1, 2.5, true};

// N is registered as 4, T as N * N, 'loop' and 'other' as each other.
class Question {
 public:
  Question() {
    for (const auto& [name, value] :
         {std::pair{"N", "4"}, {"T", "N * N"}, {"loop", "1 + other"}, {"other", "-loop"}}) {
      table.registerValueId(name, parse(value));
    }
  }
  SymbolicExprId parse(const std::string& aText) {
    const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
    EXPECT_NE(id, invalidSymbolicExprId) << aText;
    return id;
  }
  std::string eval(const std::string& aText, const Bound& aBound) {
    const SymbolicExprId id = parse(aText);
    SymbolicExprBindings bindings(table);
    for (const auto& [text, value] : aBound) bindings.set(parse(text), value);
    const std::size_t size = table.size();
    std::ostringstream text;
    text.imbue(std::locale::classic());
    try {
      for (const double number : SymbolicExprEval(table).eval(id, bindings)) text << number << ' ';
    } catch (const SymbolicExprEvalError& error) {
      text << error.what();
    }
    EXPECT_EQ(table.size(), size);
    return text.str();
  }

  SymbolicExprTable table;
};

TEST(Bindings, WhatIsBoundWins) {
  const struct {
    const char* text;
    Bound bound;
    const char* answer;
  } rows[] = {
      {"N + T", {}, "20 "},
      {"N + T", {{"N", 5}}, "30 "},  // also below what is registered
      {"N + T", {{"T", 5}}, "9 "},
      {"N", {{"N", 2.5}}, "2.5 "},
      {"1 - x", {{"x", 2.5}}, "-1.5 "},
      {"x - 1", {{"x", list}}, "0 1.5 0 "},
      {"1 - x", {{"x", list}}, "0 -1.5 0 "},
      {"x", {{"x", list}}, "1 2.5 1 "},
      {"[x]", {{"x", list}}, "a list inside a list: element 1 of the outer one is a list"},
      {"x + [1, 2]",
       {{"x", list}},
       "operands of different lengths: a vector of 3 and a vector of 2 elements"},
      {"f(x)", {{"f(x)", 7}}, "7 "},
      {"f(x)", {{"x", 7}}, "0 "},
      {"f(x) + 1", {{"f(x)", 7}, {"f", 1}}, "8 "},
      {"f(x) + 1", {{"f", 7}, {"x", 1}}, "the call of 'f' has no value"},
      {"!s.m", {{"s.m", false}}, "1 "},
      {"!s.m", {{"s", false}}, "the member access '.m' has no value"},
      {"(x + y) * 2 + x", {{"x + y", 3}, {"x", 1}}, "7 "},  // y is not needed
      {"2 * -(x + y)", {{"x + y", 3}}, "-6 "},
      {"1 + 2 + 1", {{"1 + 2", 5}}, "6 "},
      {"2 * (1 + 2)", {{"1 + 2", list}}, "2 5 2 "},
      {"[1, x] + 1", {{"[1, x]", 5}}, "6 "},
      {"0 && x", {}, "the symbol 'x' has no value"},
      {"true + false", {{"false", 5}}, "6 "},
      {"loop", {{"other", 2}}, "3 "},
      {"loop", {{"-loop", 2}}, "3 "},
      {"loop",
       {{"N", 2}},
       "the value of a symbol leads back to itself: 'loop' -> 'other' -> 'loop'"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Question().eval(row.text, row.bound), row.answer) << row.text;
  }
}

TEST(Bindings, NamesAreBoundBeforeTheTableKnowsThem) {
  Question question;
  SymbolicExprBindings bindings(question.table);
  bindings.set("late", 1);
  bindings.set("late", 2);
  bindings.set("N", 3);
  EXPECT_EQ(bindings.find(question.table.size()), nullptr);
  const SymbolicExprId late = question.parse("late");
  const SymbolicExprId sum = question.parse("late + N + g(late)");
  ASSERT_NE(bindings.find(late), nullptr);
  EXPECT_EQ(bindings.find(sum), nullptr);
  bindings.set(question.parse("g(late)"), 10);
  const SymbolicExprEval eval(question.table);
  EXPECT_EQ(eval.eval(sum, bindings), std::vector<double>{15});
  SymbolicExprBindings other = bindings;
  other.set("late", 4);
  EXPECT_EQ(eval.eval(sum, other), std::vector<double>{17});
  EXPECT_EQ(eval.eval(sum, bindings), std::vector<double>{15});
  // Each once, by its last value; a name that the table does not know is left out.
  bindings.set("unknown", 5);
  bindings.set(late, 7);
  std::map<SymbolicExprId, double> bound;
  bindings.forEach([&](SymbolicExprId id, const Eval::Value& value) {
    EXPECT_TRUE(bound.emplace(id, value.scalar().toDouble()).second);
  });
  EXPECT_EQ(bound, (std::map<SymbolicExprId, double>{
                       {late, 7}, {question.parse("N"), 3}, {question.parse("g(late)"), 10}}));
}

TEST(Bindings, WhatCannotBeBoundIsRefused) {
  Question question;
  const SymbolicExprId literal = question.parse("7");
  SymbolicExprBindings bindings(question.table);
  EXPECT_THROW(bindings.set(literal, 1), std::invalid_argument);
  EXPECT_THROW(bindings.set(question.parse("7.5"), 1), std::invalid_argument);
  EXPECT_THROW(bindings.set("x", std::vector<Scalar>()), std::invalid_argument);
  EXPECT_THROW(bindings.set(question.table.size(), 1), std::out_of_range);
  EXPECT_THROW(bindings.set(invalidSymbolicExprId, 1), std::out_of_range);
  EXPECT_EQ(bindings.find(literal), nullptr);
  const SymbolicExprEval eval(question.table);
  EXPECT_THROW(eval.eval(invalidSymbolicExprId, bindings), std::out_of_range);
  EXPECT_THROW(eval.eval(literal, SymbolicExprBindings(Question().table)), std::invalid_argument);
}

}  // namespace
