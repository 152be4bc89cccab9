// Answers of the decider as they were: whatever changes one of them is noticed, also where the new
// one would be right.
#include "tests/support/Recorded.hpp"

#include <gtest/gtest.h>

#include <cfenv>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "decide/SymbolicExprDecider.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomNodes.hpp"
#include "tests/support/RandomText.hpp"

namespace KS::test {
namespace {

constexpr const char* relations[] = {"==", "~=", "<", "<=", ">", ">="};
constexpr const char* constants[] = {"0", "1", "2", "3", "-1", "1.5", "2.0", "2147483647", "1e-7"};
constexpr const char* variables[] = {"x", "y", "z", "n", "c", "p", "s.m", "f(x)"};
constexpr const char* named[] = {"red", "green", "blue"};

std::string term(RandomText& aRandom) {
  const std::string variable = aRandom.oneOf(variables), other = aRandom.oneOf(variables);
  const std::string constant = aRandom.oneOf(constants);
  switch (aRandom.pick(14)) {
    case 0: return variable + "+" + constant;
    case 1: return constant + "-" + variable;
    case 2: return "2*" + variable + "+" + constant;
    case 3: return "-" + variable;
    case 4: return variable + (aRandom.pick(2) == 0 ? "+" : "-") + other;
    case 5: return variable + "/" + constant;
    case 6: return "(" + variable + aRandom.oneOf(relations) + other + ")";
    case 7: return variable + (aRandom.pick(4) == 0 ? "%2" : "*3");
    case 8: return "";  // a constant
    default: return variable;
  }
}

std::string atom(RandomText& aRandom) {
  if (aRandom.pick(8) == 0) return aRandom.oneOf(variables);
  static constexpr const char* const ofConstants[] = {"c", "c", "n", "x"};
  if (aRandom.pick(8) == 0) {
    const std::string left = aRandom.oneOf(ofConstants);
    return inOrder({left, aRandom.oneOf(relations), aRandom.oneOf(named)});
  }
  const auto side = [&] {
    const std::string text = aRandom.pick(3) == 0 ? "" : term(aRandom);
    return text.empty() ? aRandom.oneOf(constants) : text;
  };
  const std::string left = side();
  return inOrder({left, aRandom.oneOf(relations), side()});
}

std::string condition(RandomText& aRandom, std::size_t aAtoms) {
  if (aAtoms <= 1) return inOrder({aRandom.pick(4) == 0 ? "~(" : "(", atom(aRandom), ")"});
  const std::size_t left = 1 + aRandom.pick(aAtoms - 1);
  const char* const connective = aRandom.pick(3) == 0 ? " || " : " && ";
  const std::string text =
      inOrder({condition(aRandom, left), connective, condition(aRandom, aAtoms - left)});
  return (aRandom.pick(6) == 0 ? "~(" : "(") + text + ")";
}

std::string text(std::optional<bool> aAnswer) {
  if (!aAnswer) return "unknown";
  return *aAnswer ? "yes" : "no";
}

// The same under every rounding.
std::string text(const Eval::Value& aValue) {
  const Eval::Scalar& scalar = aValue.scalar();
  if (scalar.tag() != Eval::Scalar::Double) return std::to_string(scalar.toInt());
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << std::hexfloat << scalar.toDouble();
  return stream.str();
}

// Everything that can be asked about three conditions.
std::string answers(const SymbolicExprTable& aTable, SymbolicExprDecider& aDecider,
                    const std::vector<SymbolicExprId>& aIds) {
  const SymbolicExprPrinter print(aTable, true, false, false);
  std::string line;
  const auto add = [&](const std::string& aText) { line += "\t" + aText; };
  const auto addAll = [&](const std::vector<SymbolicExprId>& aFound) {
    std::string texts;
    for (const SymbolicExprId id : aFound) texts += print(id) + "; ";
    add(texts);
  };
  for (const SymbolicExprId id : aIds) {
    add(std::to_string(static_cast<int>(aDecider.decide(id))));
    add(std::to_string(static_cast<int>(aDecider.unknownCause({id}))));
    addAll(aDecider.unknownTerms(id));
  }
  add(std::to_string(static_cast<int>(aDecider.decide(aIds))));
  std::string truths;
  for (const Truth truth :
       aDecider.decideAll({{aIds[0]}, {aIds[1]}, {aIds[2]}, {aIds[0], aIds[1]}, aIds})) {
    truths += std::to_string(static_cast<int>(truth));
  }
  add(truths);
  add(text(aDecider.implies({aIds[0], aIds[1]}, aIds[2])));
  add(text(aDecider.equivalent(aIds[0], aIds[1])));
  add(text(aDecider.exclusive(aIds[1], aIds[2])));
  for (const auto& [holding, failing] :
       {std::pair{aIds, std::vector<SymbolicExprId>()},
        std::pair{std::vector{aIds[0]}, std::vector{aIds[1], aIds[2]}}}) {
    const auto found = aDecider.assignment(holding, failing);
    if (!found) add("none");
    for (std::size_t i = 0; found && i < found->size(); ++i) {
      const SymbolicExprAssignment& one = (*found)[i];
      const std::string value = one.name.empty() ? text(one.value) : one.name;
      add(print(one.id) + "=" + value);
    }
  }
  const SymbolicExprContradiction contradiction = aDecider.smallestContradiction(aIds);
  add(std::to_string(contradiction.exists) + std::to_string(contradiction.isMinimal) +
      std::to_string(contradiction.isShortest));
  addAll(contradiction.ids);
  return line;
}

SymbolicExprDomain domain(RandomText& aRandom) {
  switch (aRandom.pick(6)) {
    case 0: return SymbolicExprDomain::values({0.0, 2.0, 3.5});
    case 1: return SymbolicExprDomain::interval(0, 2);
    case 2: return SymbolicExprDomain::integers(-1, 4);
    case 3: return SymbolicExprDomain::integers();
    case 4: return SymbolicExprDomain::boolean();
    default: return SymbolicExprDomain::values({1.0, std::string("red"), std::string("green")});
  }
}

// Conditions over variables of all kinds, some of which have a value.
TEST(RecordedDecisions, VerdictsWitnessesAndContradictions) {
  if (std::fegetround() != FE_TONEAREST) GTEST_SKIP() << "other values with other rounding";
  Recorded recorded("decisions");
  RandomText random(1);
  for (std::size_t i = 0; i < tries(6000); ++i) {
    SymbolicExprTable table;
    SymbolicExprDecider decider(table);
    const SymbolicExprParser parse(table, false);
    decider.setDomain(parse("n"), SymbolicExprDomain::integers());
    decider.setDomain(parse("c"),
                      SymbolicExprDomain::values(
                          {std::string("red"), std::string("green"), std::string("blue")}));
    decider.setDomain(parse("p"), SymbolicExprDomain::boolean());
    for (const char* const name : {"x", "y"}) {
      if (random.pick(3) == 0) decider.setDomain(parse(name), domain(random));
    }
    std::string line;
    std::vector<SymbolicExprId> ids;
    for (std::size_t k = 0; k < 4; ++k) {
      const std::string text = condition(random, 1 + random.pick(1 + i % 5));
      line += text + "\t";
      ids.push_back(parse(text));
      ASSERT_NE(ids.back(), invalidSymbolicExprId) << text;
    }
    SymbolicExprBindings bindings(table);
    if (random.pick(4) == 0) bindings.set("z", static_cast<int>(random.pick(3)));
    if (random.pick(6) == 0) bindings.set("x", 1.5);
    decider.assume(bindings);
    if (random.pick(3) == 0) decider.assume(ids.back());
    ids.pop_back();
    recorded.add(line + answers(table, decider, ids));
  }
  recorded.compare();
}

// Nodes as only constructors make them, values that are nearly equal, and larger conditions, of
// which many are decided at once.
TEST(RecordedDecisions, NodesThatNoTextGives) {
  if (std::fegetround() != FE_TONEAREST) GTEST_SKIP() << "other values with other rounding";
  Recorded recorded("decided-nodes");
  RandomText random(3);
  for (std::size_t i = 0; i < tries(6000); ++i) {
    SymbolicExprTable table;
    addNodes(table, random, 6 + random.pick(16));
    SymbolicExprDecider decider(table);
    const SymbolicExprPrinter print(table, true, false, false);
    std::string line;
    for (SymbolicExprId id = table.size() - 2; id < table.size(); ++id) {
      line += print(id) + "\t" + outcome([&] {
                std::string answers = std::to_string(static_cast<int>(decider.decide(id))) +
                                      std::to_string(static_cast<int>(decider.unknownCause({id})));
                for (const SymbolicExprId term : decider.unknownTerms(id))
                  answers += "; " + print(term);
                const auto found = decider.assignment({id});
                for (const auto& one : found ? *found : std::vector<SymbolicExprAssignment>()) {
                  answers +=
                      "; " + print(one.id) + "=" + (one.name.empty() ? text(one.value) : one.name);
                }
                return answers + "\t";
              });
    }
    recorded.add(line);
  }
  recorded.compare();
}

TEST(RecordedDecisions, ManyQuestionsAtOnce) {
  static constexpr const char* const nearlyEqual[] = {"0", "1e-9", "0.9999999", "1", "1.00000001"};
  static constexpr const char* const side[] = {"x", "y", "x+y", "x-y", "2*x"};
  if (std::fegetround() != FE_TONEAREST) GTEST_SKIP() << "other values with other rounding";
  Recorded recorded("batches");
  RandomText random(4);
  for (std::size_t i = 0; i < tries(2000); ++i) {
    SymbolicExprTable table;
    SymbolicExprDecider decider(table);
    const SymbolicExprParser parse(table, false);
    std::string line;
    std::vector<SymbolicExprId> ids;
    for (std::size_t k = 0, count = 4 + random.pick(9); k < count; ++k) {
      std::string text = condition(random, 1 + random.pick(3));
      if (i % 3 == 0) {
        text = inOrder({random.oneOf(side), random.oneOf(relations),
                        random.oneOf(random.pick(4) == 0 ? side : nearlyEqual)});
      }
      line += text + "\t";
      ids.push_back(parse(text));
    }
    if (random.pick(2) == 0) decider.setDomain(parse("x"), domain(random));
    std::vector<std::vector<SymbolicExprId>> questions;
    for (std::size_t k = 0, count = 2 + random.pick(30); k < count; ++k) {
      std::vector<SymbolicExprId> question(1 + random.pick(ids.size()));
      for (SymbolicExprId& id : question) id = ids[random.pick(ids.size())];
      questions.push_back(question);
    }
    for (const Truth truth : decider.decideAll(questions)) {
      line += std::to_string(static_cast<int>(truth));
    }
    recorded.add(line);
  }
  recorded.compare();
}

// Of several smallest ones always the same.
TEST(RecordedDecisions, ContradictionsAmongManyConditions) {
  Recorded recorded("contradictions");
  RandomText random(2);
  const auto name = [&] { return std::string(1, static_cast<char>('a' + random.pick(5))); };
  for (std::size_t i = 0; i < tries(2000); ++i) {
    SymbolicExprTable table;
    SymbolicExprDecider decider(table);
    const SymbolicExprParser parse(table, false);
    std::string line;
    std::vector<SymbolicExprId> ids;
    for (std::size_t k = 0, count = 5 + random.pick(8); k < count; ++k) {
      std::string text = inOrder({name(), random.oneOf(relations), name()});
      if (random.pick(3) == 0) text = inOrder({name(), "==", std::to_string(random.pick(3))});
      if (random.pick(4) == 0) text += " || " + name() + ">1";
      if (random.pick(6) == 0) text = random.pick(2) == 0 ? name() : "~" + name();
      line += text + "; ";
      ids.push_back(parse(text));
    }
    for (const char* const whole : {"a", "b"}) {
      if (random.pick(2) == 0) decider.setDomain(parse(whole), SymbolicExprDomain::integers(0, 3));
    }
    const SymbolicExprContradiction found = decider.smallestContradiction(ids);
    line += "\t" + std::to_string(found.isMinimal) + std::to_string(found.isShortest) + "\t";
    const SymbolicExprPrinter print(table, true, false, false);
    for (const SymbolicExprId id : found.ids) line += print(id) + "; ";
    recorded.add(line);
  }
  recorded.compare();
}

}  // namespace
}  // namespace KS::test
