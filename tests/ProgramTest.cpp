// Programs: the values and errors are those of evaluation, truths those of Kleene's logic.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/detail/Intern.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tests/support/HeapPeak.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomQuestion.hpp"
#include "tests/support/SmallStack.hpp"

namespace {

using namespace KS;
using detail::intern;
using Eval::Value;
using Holds = SymbolicExprProgram::Holds;
using Ids = std::vector<SymbolicExprId>;

std::string text(const SymbolicExprProgram::Outcome& aOutcome) {
  EXPECT_EQ(aOutcome.value.has_value(), aOutcome.error.empty());
  return test::answer([&] {
    if (!aOutcome.value) throw SymbolicExprEvalError(aOutcome.error);
    return Eval::eval(*aOutcome.value);
  });
}

std::string text(const SymbolicExprProgram::TruthOutcome& aOutcome) {
  EXPECT_EQ(aOutcome.holds == Holds::Error, !aOutcome.error.empty());
  switch (aOutcome.holds) {
    case Holds::No: return "no";
    case Holds::Yes: return "yes";
    case Holds::Open: return "open";
    default: return aOutcome.error;
  }
}

TEST(Programs, ValuesAndErrorsAreThoseOfEvaluation) {
  std::size_t cycles = 0, values = 0, lists = 0;
  for (unsigned seed = 1; seed <= test::tries(2000); ++seed) {
    test::RandomQuestion question(seed, 1 + seed % 8);
    const SymbolicExprTable& table = question.table;
    const SymbolicExprProgram program(table, question.roots);
    const auto unbound = program.run(SymbolicExprBindings(table));
    for (std::size_t i = 0; i < unbound.size(); ++i) {
      ASSERT_EQ(text(unbound[i]),
                test::answer([&] { return SymbolicExprEval(table).eval(question.roots[i]); }))
          << question.texts[i] << ", seed " << seed;
    }
    for (const std::size_t percent : {100U, 85U, 30U}) {
      SymbolicExprBindings bindings(table);
      question.bind(bindings, percent);
      const auto outcomes = program.run(bindings);
      ASSERT_EQ(outcomes.size(), question.roots.size());
      for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const auto& outcome = outcomes[i];
        ASSERT_EQ(text(outcome), test::answer([&] {
                    return SymbolicExprEval(table).eval(question.roots[i], bindings);
                  }))
            << question.texts[i] << ", seed " << seed << ", " << percent << " percent bound";
        values += outcome.value.has_value() ? 1 : 0;
        lists += outcome.value.has_value() && outcome.value->tag() == Value::Vector ? 1 : 0;
        cycles += outcome.error.find("leads back") != std::string::npos ? 1 : 0;
      }
    }
  }
  EXPECT_GT(values, test::tries(10000));
  EXPECT_GT(lists, test::tries(1000));
  EXPECT_GT(cycles, test::tries(40));
}

TEST(Programs, ARunnerGivesWhatAProgramGivesWithEachOfItsValues) {
  std::size_t values = 0, lists = 0, cycles = 0, calls = 0;
  for (unsigned seed = 1; seed <= test::tries(2000); ++seed) {
    test::RandomQuestion question(seed, 1 + seed % 8);
    const SymbolicExprTable& table = question.table;
    const SymbolicExprProgram program(table, question.roots);
    SymbolicExprBindings bindings(table);
    question.bind(bindings, seed % 2 == 0 ? 90 : 40);
    Ids parameters;
    bindings.forEach([&](SymbolicExprId id, const Value&) { parameters.push_back(id); });
    SymbolicExprRunner made(table, question.roots, parameters);
    SymbolicExprRunner runner(table, {}, {});
    runner = std::move(made);
    for (int round = 0; round < 4; ++round) {
      std::vector<Value> given;
      for (const SymbolicExprId id : parameters) {
        given.push_back(round == 0 ? *bindings.find(id) : question.value());
        bindings.set(id, given.back());
      }
      const auto expected = program.run(bindings);
      const auto& outcomes = runner.run(given);
      ASSERT_EQ(outcomes.size(), expected.size());
      for (std::size_t i = 0; i < outcomes.size(); ++i) {
        ASSERT_EQ(text(outcomes[i]), text(expected[i]))
            << question.texts[i] << ", seed " << seed << ", round " << round;
        const auto& value = outcomes[i].value;
        values += value ? 1 : 0;
        lists += value && value->tag() == Value::Vector ? 1 : 0;
        cycles += outcomes[i].error.find("leads back") != std::string::npos ? 1 : 0;
        calls += outcomes[i].error.find("the call") != std::string::npos ? 1 : 0;
      }
    }
  }
  EXPECT_GT(values, test::tries(10000));
  EXPECT_GT(lists, test::tries(1000));
  EXPECT_GT(cycles, test::tries(40));
  EXPECT_GT(calls, test::tries(100));
}

// The values and errors of a listing by the public operations on values, as text.
std::vector<std::string> interpreted(const SymbolicExprTable& aTable,
                                     const SymbolicExprProgram::Listing& aListing,
                                     const SymbolicExprBindings& aBindings) {
  std::vector<std::optional<Value>> values;
  for (const auto& step : aListing.steps) {
    for (const std::size_t operand : step.operands) EXPECT_LT(operand, values.size());
    const auto kind = static_cast<SymbolicOp>(aTable.get(step.id)->getKind());
    const Value* const bound = aBindings.find(step.id);
    const bool isKnown = std::all_of(step.operands.begin(), step.operands.end(),
                                     [&](std::size_t operand) { return values[operand]; });
    const auto operand = [&](std::size_t i) { return *values[step.operands.at(i)]; };
    values.emplace_back();
    if (bound != nullptr) {
      values.back() = *bound;
    } else if (step.value) {
      values.back() = *step.value;
    } else if (step.operands.empty() || !isKnown) {
      continue;
    } else if (kind == SymbolicOp::String) {
      values.back() = operand(0);
    } else if (kind == SymbolicOp::Plus) {
      values.back() = Eval::plus(operand(0), operand(1));
    } else if (kind == SymbolicOp::Minus) {
      values.back() = Eval::minus(operand(0), operand(1));
    } else if (kind == SymbolicOp::LessThan) {
      values.back() = Eval::lessThan(operand(0), operand(1));
    } else if (kind == SymbolicOp::Not) {
      values.back() = Eval::notOp(operand(0));
    } else if (kind == SymbolicOp::And) {
      values.back() = Eval::andOp(operand(0), operand(1));
    } else {
      ADD_FAILURE() << "kind " << aTable.get(step.id)->getKind();
    }
  }
  std::vector<std::string> texts;
  for (const std::size_t root : aListing.roots) {
    texts.push_back(test::answer([&] {
      if (!values.at(root)) throw SymbolicExprEvalError("none");
      return Eval::eval(*values[root]);
    }));
  }
  return texts;
}

TEST(Programs, AListingIsAllThatAnotherMachineNeeds) {
  SymbolicExprTable table;
  table.addBoolSymbols();
  const SymbolicExprParser parse(table, false);
  table.registerValueId("K", parse("N + 1"));
  table.registerValueId("Loop", parse("Loop - 1"));
  const Ids roots{parse("A && ~(N - 2 < K)"),
                  parse("N - 2"),
                  parse("S.m - 0.5"),
                  parse("true"),
                  parse("N"),
                  parse("N - 2"),
                  parse("Loop")};
  const SymbolicExprProgram program(table, roots);
  const SymbolicExprProgram::Listing listing = program.list();
  SymbolicExprBindings bindings(table);
  EXPECT_EQ(interpreted(table, listing, bindings)[3], "1 ");
  bindings.set("A", true);
  bindings.set("N", 7);
  EXPECT_THAT(interpreted(table, listing, bindings),
              testing::ElementsAre("0 ", "5 ", "none", "1 ", "7 ", "5 ", "none"));
  bindings.set(parse("S.m"), 2);
  bindings.set("K", 5);
  bindings.set("Loop", 3);
  EXPECT_THAT(interpreted(table, listing, bindings),
              testing::ElementsAre("1 ", "5 ", "1.5 ", "1 ", "7 ", "5 ", "3 "));
  // One step for each distinct node: A N 2 N-2 1 K < ~ &&, S.m 0.5 -, true, Loop, its way back.
  std::size_t numSymbols = 0;
  std::vector<SymbolicExprId> ids;
  for (const auto& step : listing.steps) {
    const auto kind = static_cast<SymbolicOp>(table.get(step.id)->getKind());
    numSymbols += kind == SymbolicOp::String ? 1 : 0;
    ids.push_back(step.id);
  }
  std::sort(ids.begin(), ids.end());
  const auto twice = std::adjacent_find(ids.begin(), ids.end());
  ASSERT_NE(twice, ids.end());
  EXPECT_EQ(*twice, parse("Loop"));
  EXPECT_EQ(std::adjacent_find(twice + 1, ids.end()), ids.end());
  EXPECT_EQ(numSymbols, 6U);
}

TEST(Programs, AListingHasTheElementsOfLists) {
  SymbolicExprTable table;
  const SymbolicExprParser parse(table, false);
  const auto listing = SymbolicExprProgram(table, {parse("[3, N, 3]")}).list();
  ASSERT_EQ(listing.steps.size(), 3U);
  EXPECT_THAT(listing.steps[2].operands, testing::ElementsAre(0, 1, 0));
  EXPECT_EQ(listing.steps[0].value->getInt(), 3);
  EXPECT_FALSE(listing.steps[1].value);
  EXPECT_THAT(listing.roots, testing::ElementsAre(2));
}

// The value of a node, or none where it is open, by recursion. Throws `std::bad_variant_access` for
// a list as an operand of a connective.
std::optional<Value> kleene(const SymbolicExprTable& aTable, SymbolicExprId aId,
                            const SymbolicExprBindings& aBindings) {
  if (const Value* const bound = aBindings.find(aId)) return *bound;
  const SymbolicExpr& node = *aTable.get(aId);
  const auto op = static_cast<SymbolicOp>(node.getKind());
  if (op >= SymbolicOp::FcnCall0U) return std::nullopt;
  if (op == SymbolicOp::String && aTable.getValueId(aId) != invalidSymbolicExprId) {
    return kleene(aTable, aTable.getValueId(aId), aBindings);
  }
  SymbolicExprBindings inputs(aTable);
  bool isOpen = false;
  for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
    const std::optional<Value> input = kleene(aTable, node.getInput(i), aBindings);
    if (!input) {
      isOpen = true;
    } else if (op == SymbolicOp::And && !input->scalar().toBool()) {
      return Value(false);
    } else if (op == SymbolicOp::Or && input->scalar().toBool()) {
      return Value(true);
    } else if (!aTable.get(node.getInput(i))->isNumber()) {
      inputs.set(node.getInput(i), *input);
    }
  }
  if (isOpen) return std::nullopt;
  return SymbolicExprProgram(aTable, {aId}).run(inputs)[0].value;  // none of a symbol
}

TEST(Programs, TruthsAreThoseOfKleenesLogic) {
  std::size_t open = 0, early = 0;
  for (unsigned seed = 1; seed <= test::tries(2000); ++seed) {
    test::RandomQuestion question(seed, 6);
    const SymbolicExprProgram program(question.table, question.roots);
    SymbolicExprBindings bindings(question.table);
    question.bind(bindings, 40);
    const auto truths = program.truths(bindings);
    const auto outcomes = program.run(bindings);
    for (std::size_t i = 0; i < truths.size(); ++i) {
      if (truths[i].holds == Holds::Error) continue;
      const auto expected = kleene(question.table, question.roots[i], bindings);
      ASSERT_EQ(text(truths[i]), !expected                     ? "open"
                                 : expected->scalar().toBool() ? "yes"
                                                               : "no")
          << question.texts[i] << ", seed " << seed;
      open += expected ? 0 : 1;
      early += expected && !outcomes[i].value ? 1 : 0;
    }
  }
  EXPECT_GT(open, test::tries(1000));
  EXPECT_GT(early, test::tries(100));
}

// N is registered as 4, T as N * M, 'loop' and 'other' as each other, 'far' as a way to both.
class Program : public testing::Test {
 protected:
  Program() {
    for (const auto& [name, value] : {std::pair{"N", "4"},
                                      {"T", "N * M"},
                                      {"loop", "1 + other"},
                                      {"other", "-loop"},
                                      {"far", "other && loop"}}) {
      table.registerValueId(name, parse(value));
    }
  }
  SymbolicExprId parse(const std::string& aText) {
    const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
    EXPECT_NE(id, invalidSymbolicExprId) << aText;
    return id;
  }
  Ids parseAll(const std::vector<std::string>& aTexts) {
    Ids ids;
    for (const std::string& text : aTexts) ids.push_back(parse(text));
    return ids;
  }

  SymbolicExprTable table;
};

TEST_F(Program, TruthsOfEachShape) {
  const Value list = std::vector<Eval::Scalar>{1, 2};
  const struct {
    const char* text;
    const char* truth;
  } rows[] = {
      {"no && x", "no"},
      {"x && no", "no"},
      {"yes && x", "open"},
      {"yes || x", "yes"},
      {"x || yes", "yes"},
      {"no || x", "open"},
      {"x && f(x)", "open"},
      {"!x", "open"},
      {"!(x && no)", "yes"},
      {"(x && no) + 1 > 0", "yes"},
      {"x == x", "open"},
      {"x * 0", "open"},
      {"s.m", "open"},
      {"f(x)", "open"},
      {"[1, x]", "open"},
      {"yes - 2.5", "no"},
      {"0.0 / 0.0 % 0", "yes"},
      {"T", "open"},
      {"T && no", "no"},
      {"list", "a list of 2 elements where a truth value is needed"},
      {"list && x", "a list of 2 elements where a truth value is needed"},
      {"no && [1, 2, 3]", "a list of 3 elements where a truth value is needed"},
      {"!list", "a list of 2 elements where a truth value is needed"},
      {"list + [1, 2, 3] == x || yes",
       "operands of different lengths: a vector of 2 and a vector of 3 elements"},
      {"(x && list) + (list + [1, 2, 3])", "a list of 2 elements where a truth value is needed"},
      {"[x, [1, list]]", "a list inside a list: element 2 of the outer one is a list"},
      {"x && self && no", "the value of a symbol leads back to itself: 'self' -> 'self'"},
  };
  table.registerValueId("self", parse("self"));
  Ids ids;
  for (const auto& row : rows) ids.push_back(parse(row.text));
  SymbolicExprBindings bindings(table);
  bindings.set("no", 0.0);
  bindings.set("yes", 2.5);
  bindings.set("list", list);
  const auto truths = SymbolicExprProgram(table, ids).truths(bindings);
  for (std::size_t i = 0; i < ids.size(); ++i) {
    EXPECT_EQ(text(truths[i]), rows[i].truth) << rows[i].text;
  }
}

TEST_F(Program, EachRootHasItsOwnValueOrError) {
  const Ids ids = parseAll({"N", "N", "x + 1", "f(x)", "1 + f(x)", "s.m", "1 + x + T", "loop",
                            "1 + loop", "other", "far", "1 + other", "x + loop"});
  const SymbolicExprProgram program(table, ids);
  SymbolicExprBindings bindings(table);
  const auto answers = [&] {
    std::vector<std::string> texts;
    for (const auto& outcome : SymbolicExprProgram(program).run(bindings)) {
      texts.push_back(text(outcome));
    }
    return texts;
  };
  const std::string cycle = "the value of a symbol leads back to itself: ";
  const std::string way = cycle + "'loop' -> 'other' -> 'loop'";
  const std::string otherWay = cycle + "'other' -> 'loop' -> 'other'";
  const std::string noX = "the symbol 'x' has no value";
  EXPECT_THAT(answers(),
              testing::ElementsAre("4 ", "4 ", noX, "0 ", "the call of 'f' has no value", "0 ", noX,
                                   way, way, otherWay, otherWay, otherWay, noX));
  bindings.set("x", 2);
  bindings.set("M", 3);
  bindings.set("other", 10);
  EXPECT_THAT(answers(),
              testing::ElementsAre("4 ", "4 ", "3 ", "0 ", "the call of 'f' has no value", "0 ",
                                   "15 ", "11 ", "12 ", "10 ", "1 ", "11 ", "13 "));
  bindings.set(parse("-loop"), 5);
  bindings.set(parse("f(x)"), 7);
  bindings.set("T", 0.5);
  EXPECT_THAT(answers(), testing::ElementsAre("4 ", "4 ", "3 ", "7 ", "8 ", "0 ", "3.5 ", "11 ",
                                              "12 ", "10 ", "1 ", "11 ", "13 "));

  EXPECT_TRUE(SymbolicExprProgram(table, {}).run(bindings).empty());
  EXPECT_THROW(SymbolicExprProgram(table, {table.size()}), std::out_of_range);
  EXPECT_THROW(SymbolicExprProgram(table, {ids[0], invalidSymbolicExprId}), std::out_of_range);
  const SymbolicExprTable other;
  EXPECT_THROW(program.run(SymbolicExprBindings(other)), std::invalid_argument);
  EXPECT_THROW(program.truths(SymbolicExprBindings(other)), std::invalid_argument);
}

TEST_F(Program, ARunnerHasItsParametersAndNoOthers) {
  const Ids roots = parseAll({"x + N", "f(x)", "T", "list"});
  const Ids parameters = parseAll({"x", "unused", "N * M", "list"});
  SymbolicExprRunner runner(table, roots, parameters);
  const auto answers = [&](const std::vector<Value>& aValues) {
    std::vector<std::string> texts;
    for (const auto& outcome : runner.run(aValues)) texts.push_back(text(outcome));
    return texts;
  };
  const Value list = std::vector<Eval::Scalar>{1, 2};
  EXPECT_THAT(answers({2, 0, 0.5, list}), testing::ElementsAre("6 ", "0 ", "0.5 ", "1 2 "));
  EXPECT_THAT(answers({list, list, list, true}), testing::ElementsAre("5 6 ", "0 ", "1 2 ", "1 "));
  EXPECT_THROW(runner.run({1, 2, 3}), std::invalid_argument);
  EXPECT_THROW(runner.run({1, 2, 3, 4, 5}), std::invalid_argument);
  EXPECT_THROW(runner.run({7, std::vector<Eval::Scalar>{}, 7, 7}), std::invalid_argument);
  EXPECT_THAT(answers({3, 0, 0.25, 9}), testing::ElementsAre("7 ", "0 ", "0.25 ", "9 "));

  // What has no value is told as evaluation tells it, for which the parameters have theirs.
  SymbolicExprRunner failing(table, parseAll({"given + missing", "given + [1, 2] + loop"}),
                             parseAll({"given"}));
  EXPECT_EQ(failing.run({1})[0].error, "the symbol 'missing' has no value");
  EXPECT_THAT(failing.run({list})[1].error, testing::HasSubstr("leads back to itself"));
  EXPECT_THAT(failing.run({std::vector<Eval::Scalar>{1, 2, 3}})[1].error,
              testing::HasSubstr("a vector of 3 and a vector of 2 elements"));
  EXPECT_THROW(SymbolicExprRunner(table, roots, parseAll({"x", "4"})), std::invalid_argument);
  EXPECT_THROW(SymbolicExprRunner(table, roots, parseAll({"x", "y", "x"})), std::invalid_argument);
  EXPECT_THROW(SymbolicExprRunner(table, roots, {table.size()}), std::out_of_range);
  EXPECT_THROW(SymbolicExprRunner(table, {table.size()}, {}), std::out_of_range);
}

TEST_F(Program, MemoryIsInTheListsThatAreNeededAtTheSameTime) {
  std::string chain = "y", tree = "y";
  for (int i = 0; i < 3000; ++i) {
    chain += i % 2 == 0 ? "-y" : "+x";
    tree += "+(y*" + std::to_string(i) + ")";
  }
  const Ids ids = parseAll({chain, tree});
  SymbolicExprBindings bindings(table);
  bindings.set("x", 1);
  bindings.set("y", std::vector<Eval::Scalar>(4096, 2));
  const SymbolicExprProgram program(table, ids);
  const test::HeapPeak peak;
  const auto outcomes = program.run(bindings);
  EXPECT_LT(peak.bytes(), std::size_t{4} << 20) << "of 600 MB in all results";
  EXPECT_EQ(outcomes[0].value->vector()[4095].getInt(), 2 - 3000 + 1500);
  EXPECT_EQ(outcomes[1].value->vector()[0].getInt(), 2 + 2999 * 3000);
}

TEST_F(Program, CostIsInDistinctNodesAndDepthIsFree) {
  const SymbolicExprId x = parse("x");
  Ids roots;
  SymbolicExprId doubled = x, deep = x;
  for (int i = 0; i < 60; ++i) doubled = intern<SymbolicPlusExpr>(table, doubled, doubled);
  for (int i = 0; i < 100000; ++i) {
    deep = intern<SymbolicMinusExpr>(table, x, deep);
    if (i % 10 == 0) roots.push_back(deep);
  }
  roots.push_back(doubled);
  test::runOnStack(std::size_t{64} * 1024, [&] {
    const SymbolicExprProgram program(table, roots);
    SymbolicExprBindings bindings(table);
    EXPECT_EQ(program.truths(bindings).back().holds, Holds::Open);
    EXPECT_EQ(program.run(bindings).front().error, "the symbol 'x' has no value");
    bindings.set("x", 1.0);
    EXPECT_EQ(program.run(bindings).back().value->scalar().toDouble(), 0x1p60);
    EXPECT_EQ(program.run(bindings)[9999].value->scalar().toDouble(), 0.0);
  });
}

TEST_F(Program, ThreadsMayShareAProgram) {
  const SymbolicExprProgram program(table, parseAll({"x * N", "[x, 1] * N"}));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      SymbolicExprBindings bindings(table);
      bindings.set("x", i);
      for (int k = 0; k < 200; ++k) {
        const auto outcomes = program.run(bindings);
        EXPECT_EQ(outcomes[0].value->scalar().getInt(), 4 * i);
        EXPECT_EQ(outcomes[1].value->vector()[0].getInt(), 4 * i);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
