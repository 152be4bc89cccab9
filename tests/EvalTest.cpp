// Evaluation end to end: text and bindings in, numbers or the error's text out; the stack machine;
// cost and depth.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/detail/Intern.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tests/support/HeapPeak.hpp"
#include "tests/support/SmallStack.hpp"

namespace {

using namespace KS;
using detail::intern;

// A table in which these names have values.
class Evaluation {
 public:
  Evaluation() {
    for (const auto& [name, value] : {std::pair{"N", "4"},
                                      {"X", "2.5"},
                                      {"M", "[1, N, 3]"},
                                      {"T", "N * N - 1"},
                                      {"alias", "T"},
                                      {"call", "f(N)"},
                                      {"loop", "1 + other"},
                                      {"other", "-loop"},
                                      {"self", "self"},
                                      {"late", "N * unbound"}}) {
      table.registerValueId(name, parse(value));
    }
  }

  SymbolicExprId parse(const std::string& aText) {
    const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
    EXPECT_NE(id, invalidSymbolicExprId) << aText;
    return id;
  }

  // The numbers, separated by blanks, or "error: " and the message.
  std::string operator()(SymbolicExprId aId) const {
    return text([&] { return SymbolicExprEval(table).eval(aId); });
  }
  std::string number(SymbolicExprId aId) const {
    return text([&] { return std::vector{SymbolicExprEval(table).evalNumber(aId)}; });
  }
  std::string byStackMachine(SymbolicExprId aId) const {
    return text([&] {
      SymbolicExprEvalImpl visitor(table);
      table.get(aId)->accept(table, visitor);
      return Eval::eval(visitor.get());
    });
  }

  SymbolicExprTable table;

 private:
  template <class Compute>
  static std::string text(Compute aCompute) {
    try {
      std::ostringstream numbers;
      numbers.imbue(std::locale::classic());
      numbers.precision(17);
      const char* separator = "";
      for (const double number : aCompute()) {
        numbers << separator << number;
        separator = " ";
      }
      return numbers.str();
    } catch (const SymbolicExprEvalError& error) {
      return std::string("error: ") + error.what();
    }
  }
};

struct Row {
  const char* text;
  const char* answer;
};

// More operands than the short cut for small expressions takes, and the same value.
std::string lengthened(const std::string& aText) {
  std::string text = "(" + aText + ")";
  for (int i = 0; i < 80; ++i) text += " + 0";
  return text;
}

const Row numberRows[] = {
    {"7 / 2", "3"},
    {"7.0 / 2", "3.5"},
    {"1 + 2 * 3 - -4", "11"},
    {"-7 % 3", "-1"},
    {"2147483647 + 1", "-2147483648"},
    {"6 / -1", "-6"},
    {"-2147483648 / -1", "-2147483648"},
    {"-2147483648 % -1", "0"},
    {"[6, -2147483648] / -1", "-6 -2147483648"},
    {"1 == 1", "1"},
    {"1 && 0", "0"},
    {"2 > 1.5", "1"},
    {"!N || N != 4", "0"},
    {"~N & 6 | 1 ^ 8", "11"},
    {"1 << N >> 1", "8"},
    {"N", "4"},
    {"-X", "-2.5"},
    {"T + alias", "30"},
    {"true + true", "2"},
    {"false || N < X", "0"},
    {"[2, 3]", "2 3"},
    {"[1, 2, N]", "1 2 4"},
    {"[1, 2, 3, X, N]", "1 2 3 2.5 4"},
    {"[N]", "4"},
    {"M", "1 4 3"},
    {"M * 2 - [1, 2, 3]", "1 6 3"},
    {"-(2 + M)", "-3 -6 -5"},
    {"M == N", "0 1 0"},
    {"f(N)", "0"},
    {"f()", "0"},
    {"unknown(unbound, 1 + [1, [2, 3]])", "0"},
    {"unbound.member", "0"},
    {"g(N, 2)", "0"},
    {"h(N, 2, s.m)", "0"},
};

TEST(Eval, NumbersFromText) {
  for (const Row& row : numberRows) {
    Evaluation eval;
    EXPECT_EQ(eval(eval.parse(row.text)), row.answer) << row.text;
  }
}

TEST(Eval, ErrorsSayWhatHasNoValue) {
  const Row rows[] = {
      {"N + unbound", "error: the symbol 'unbound' has no value"},
      {"late", "error: the symbol 'unbound' has no value"},
      {"1 + f(N)", "error: the call of 'f' has no value"},
      {"[1, g(1, 2, 3)]", "error: the call of 'g' has no value"},
      {"call", "error: the call of 'f' has no value"},
      {"!N.field", "error: the member access '.field' has no value"},
      {"[1, [2, 3]]", "error: a list inside a list: element 2 of the outer one is a list"},
      {"[M, 1]", "error: a list inside a list: element 1 of the outer one is a list"},
      {"M + [1, 2]",
       "error: operands of different lengths: a vector of 3 and a vector of 2 elements"},
      {"self", "error: the value of a symbol leads back to itself: 'self' -> 'self'"},
      {"N + loop",
       "error: the value of a symbol leads back to itself: 'loop' -> 'other' -> 'loop'"},
      // The way round leads back to an operator, the value of 'loop'.
      {"1 + other",
       "error: the value of a symbol leads back to itself: 'other' -> 'loop' -> 'other'"},
  };
  for (const Row& row : rows) {
    Evaluation eval;
    const SymbolicExprId id = eval.parse(row.text);
    const std::size_t size = eval.table.size();
    EXPECT_EQ(eval(id), row.answer) << row.text;
    EXPECT_EQ(eval(id), row.answer) << row.text << ", again";
    EXPECT_EQ(eval.table.size(), size) << row.text;
  }
  // A host may call what is no name.
  Evaluation eval;
  const SymbolicExprId three = eval.parse("3");
  const SymbolicExprId call = SymbolicFcnCall1UExpr(eval.table, three, three).getId(eval.table);
  EXPECT_EQ(eval(SymbolicPlusExpr(eval.table, three, call).getId(eval.table)),
            "error: the call of '?' has no value");
  SymbolicExprTable empty;
  EXPECT_THROW(SymbolicExprEval(empty).eval(0), std::out_of_range);
  EXPECT_THROW(SymbolicExprEval(empty).eval(invalidSymbolicExprId), std::out_of_range);
}

TEST(Eval, AllWaysGiveTheSameNumbers) {
  for (const Row& row : numberRows) {
    Evaluation eval;
    const SymbolicExprId id = eval.parse(row.text);
    // The machine visits the operators inside a call, so what stands there must have values.
    if (std::string(row.text).find("unbound") != std::string::npos) continue;
    EXPECT_EQ(eval.byStackMachine(id), row.answer) << row.text;
    if (!eval.table.get(id)->isBinary() || eval.table.get(id)->getNumFcnArgs() > 0) continue;
    EXPECT_EQ(eval(eval.parse(lengthened(row.text))), row.answer) << row.text;
  }
}

TEST(Eval, OneNumberNeedsNoVector) {
  const Row rows[] = {
      {"N / 8.0", "0.5"},
      {"[N]", "4"},
      {"f(N)", "0"},
      {"call + 1", "error: the call of 'f' has no value"},
      {"N + nothing", "error: the symbol 'nothing' has no value"},
      {"M", "error: one number was asked for, and the expression has 3"},
  };
  for (const Row& row : rows) {
    Evaluation eval;
    EXPECT_EQ(eval.number(eval.parse(row.text)), row.answer) << row.text;
  }
  Evaluation eval;
  EXPECT_EQ(eval.number(eval.parse(lengthened("N / 8.0"))), "0.5");
  SymbolicExprBindings bindings(eval.table);
  bindings.set("N", 6);
  EXPECT_EQ(SymbolicExprEval(eval.table).evalNumber(eval.parse("N / 4.0"), bindings), 1.5);
  EXPECT_THROW(SymbolicExprEval(SymbolicExprTable()).evalNumber(0), std::out_of_range);
}

TEST(Eval, TheStackMachineTakesWhatItIsGiven) {
  SymbolicExprTable table;
  const SymbolicIntValue seven(table, 7);
  const SymbolicIntValue two(table, 2);
  const SymbolicMinusExpr minus(table, seven, two);
  const SymbolicFcnCall1UExpr call(table, "f", seven);
  SymbolicExprEvalImpl visitor(table);
  EXPECT_EQ(Eval::eval(visitor.get()), std::vector<double>{0.0});  // nothing was visited
  visitor.visit(seven);
  visitor.visit(two);
  EXPECT_EQ(Eval::eval(visitor.get()), std::vector<double>{0.0});  // two values stay
  visitor.visit(minus);
  EXPECT_EQ(Eval::eval(visitor.get()), std::vector<double>{5.0});
  EXPECT_THROW(visitor.visit(minus), SymbolicExprEvalError);

  SymbolicExprEvalImpl calls(table);
  call.accept(table, calls);
  EXPECT_EQ(Eval::eval(calls.get()), std::vector<double>{0.0});
  call.accept(table, calls);
  calls.visit(two);
  EXPECT_THROW(calls.visit(minus), SymbolicExprEvalError);

  // A symbol and a call have values in the table of the evaluation alone.
  SymbolicExprTable other;
  const SymbolicString symbol(other, "x");
  const SymbolicFcnCall0UExpr foreign(other, "g");
  SymbolicExprEvalImpl foreigners(table);
  EXPECT_THROW(foreigners.visit(symbol), SymbolicExprEvalError);
  EXPECT_THROW(foreigners.visit(foreign), SymbolicExprEvalError);
  SymbolicString(table, "x");
  table.registerValueId("x", two.getId(table));
  foreigners.visit(symbol);
  EXPECT_EQ(Eval::eval(foreigners.get()), std::vector<double>{2.0});
}

TEST(Eval, BooleansCanBeBoundLikeOtherSymbols) {
  SymbolicExprTable table;
  const SymbolicExprId sum = SymbolicExprParser(table, true)("true * 10 + false");
  EXPECT_EQ(SymbolicExprEval(table).eval(sum), std::vector<double>{10.0});
  table.registerValueId("true", intern<SymbolicIntValue>(table, 7));
  EXPECT_EQ(SymbolicExprEval(table).eval(sum), std::vector<double>{70.0});
}

TEST(Eval, CostIsInDistinctNodesAndDepthIsFree) {
  SymbolicExprTable table;
  SymbolicExprId doubled = intern<SymbolicString>(table, "one");
  table.registerValueId("one", intern<SymbolicDoubleValue>(table, 1.0));
  for (int i = 0; i < 60; ++i) doubled = intern<SymbolicPlusExpr>(table, doubled, doubled);
  SymbolicExprId left = intern<SymbolicIntValue>(table, 1);
  SymbolicExprId right = left;
  SymbolicExprId alias = left;
  SymbolicExprId negated = left;
  for (int i = 0; i < 100000; ++i) {
    const SymbolicExprId operand = intern<SymbolicIntValue>(table, i);
    left = intern<SymbolicMinusExpr>(table, left, operand);
    right = intern<SymbolicMinusExpr>(table, operand, right);
    negated = intern<SymbolicUnaryMinusExpr>(table, negated);
    const std::string name = "alias" + std::to_string(i);
    table.registerValueId(name, alias);
    alias = intern<SymbolicString>(table, name);
  }
  // Every symbol's value uses the one before twice.
  SymbolicExprId bound = alias;
  for (int i = 0; i < 60; ++i) {
    const std::string name = "doubled" + std::to_string(i);
    table.registerValueId(name, intern<SymbolicPlusExpr>(table, bound, bound));
    bound = intern<SymbolicString>(table, name);
  }
  test::runOnStack(std::size_t{64} * 1024, [&] {
    const SymbolicExprEval eval(table);
    EXPECT_EQ(eval.eval(doubled), std::vector<double>{std::ldexp(1.0, 60)});
    EXPECT_EQ(eval.eval(left), std::vector<double>{1.0 - 704982704.0});  // 4999950000 wrapped
    EXPECT_EQ(eval.eval(right), std::vector<double>{50001.0});
    EXPECT_EQ(eval.eval(negated), std::vector<double>{1.0});
    EXPECT_EQ(eval.eval(alias), std::vector<double>{1.0});
    EXPECT_EQ(eval.eval(bound), std::vector<double>{0.0});  // 2 to the 60th power, wrapped
    for (const SymbolicExprId id : {left, right, negated, bound}) {
      SymbolicExprEvalImpl visitor(table);
      table.get(id)->accept(table, visitor);
      EXPECT_EQ(Eval::eval(visitor.get()), eval.eval(id));
    }
  });
}

TEST(Eval, LongCyclesEnd) {
  SymbolicExprTable table;
  for (int i = 0; i < 100000; ++i) {
    const SymbolicExprId next =
        intern<SymbolicString>(table, "s" + std::to_string((i + 1) % 100000));
    table.registerValueId("s" + std::to_string(i), intern<SymbolicNotExpr>(table, next));
  }
  const SymbolicExprId first = intern<SymbolicString>(table, "s0");
  test::runOnStack(std::size_t{64} * 1024, [&] {
    try {
      SymbolicExprEval(table).eval(first);
      ADD_FAILURE() << "a cycle has a value";
    } catch (const SymbolicExprEvalError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr("'s0' -> 's1' -> "));
      EXPECT_THAT(error.what(), testing::EndsWith("'s99999' -> 's0'"));
    }
  });
}

TEST(Eval, MemoryIsInTheVectorsThatAreNeededAtTheSameTime) {
  std::string list = "[1";
  while (list.size() < 8192) list += ",1";
  list += "]";
  SymbolicExprTable table;
  table.registerValueId("x", intern<SymbolicIntValue>(table, 1));
  table.registerValueId("y", SymbolicExprParser(table, true)(list + "*2"));
  SymbolicExprId negated = SymbolicExprParser(table, true)(list);
  std::string left = list, middle = list;
  for (int i = 0; i < 3000; ++i) {
    left += "+x";
    middle += i % 2 == 0 ? "-y" : "+y";
    negated = intern<SymbolicUnaryMinusExpr>(table, negated);
  }
  for (const SymbolicExprId id :
       {SymbolicExprParser(table, true)(left), SymbolicExprParser(table, true)(middle), negated}) {
    const test::HeapPeak peak;
    EXPECT_EQ(SymbolicExprEval(table).eval(id).size(), 4096U);
    EXPECT_LT(peak.bytes(), std::size_t{4} << 20) << "of 200 MB in all results";
  }
  // What is needed last, to find out that it is no element.
  try {
    SymbolicExprEval(table).eval(SymbolicExprParser(table, true)("y-" + left + "+[1,y]"));
    ADD_FAILURE() << "a list inside a list has a value";
  } catch (const SymbolicExprEvalError& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("element 2 of the outer one is a list"));
  }
}

TEST(Eval, ThreadsMayShareATable) {
  Evaluation eval;
  const SymbolicExprId small = eval.parse("T + alias");
  const SymbolicExprId large = eval.parse(lengthened("M * 2"));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 200; ++k) {
        EXPECT_EQ(eval(small), "30");
        EXPECT_EQ(eval(large), "2 8 6");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Eval, TheFirstValueCountsWheneverItsNodeIsMade) {
  SymbolicExprTable table;
  const SymbolicExprId early = SymbolicString(table, "early").getId(table);
  const SymbolicExprId symbol = SymbolicString(table, "late").getId(table);
  const SymbolicExprId sum = intern<SymbolicPlusExpr>(table, symbol, early);
  table.registerValueId("early", SymbolicIntValue(table, 5).getId(table));
  table.registerValueId("early", SymbolicIntValue(table, 6).getId(table));
  const SymbolicExprId next = table.size();
  table.registerValueId("late", next);
  EXPECT_THROW(SymbolicExprEval(table).eval(sum), std::out_of_range);
  ASSERT_EQ(SymbolicIntValue(table, 7).getId(table), next);
  EXPECT_EQ(SymbolicExprEval(table).eval(sum), std::vector<double>{12});
  EXPECT_EQ(SymbolicExprEval(table).eval(symbol), std::vector<double>{7});
}

}  // namespace
