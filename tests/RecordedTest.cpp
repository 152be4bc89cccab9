// Answers as they were: whatever changes one of them is noticed, also where the new one would be
// right. Where it was meant to change, CONTRIBUTING.md tells how the answers are recorded anew.
#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cfenv>
#include <cstdint>
#include <string>
#include <vector>

#include "compact/SymbolicExprCompact.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomNodes.hpp"
#include "tests/support/RandomQuestion.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/Recorded.hpp"
#include "variants/VCService.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"
#include "xform/SymbolicExprM2C.hpp"
#include "xform/SymbolicExprSubstitute.hpp"

namespace KS::test {
namespace {

std::string joined(const std::vector<std::string>& aTexts) {
  std::string line;
  for (const std::string& text : aTexts) line += (line.empty() ? "" : "\t") + text;
  return line;
}

SymbolicExprId parse(SymbolicExprTable& aTable, const std::string& aText) {
  const SymbolicExprId id = SymbolicExprParser(aTable, true)(aText);
  EXPECT_NE(id, invalidSymbolicExprId) << aText;
  return id;
}

// A condition of one of the kinds that rules are made for.
std::string condition(RandomText& aRandom, std::size_t aIdx) {
  static constexpr const char* const relations[] = {"!=", "<=", "<", ">", ">=", "=="};
  static constexpr const char* const sides[] = {"x",   "y", "x", "x+1", "2*x", "-x",
                                                "s.m", "1", "2", "3",   "2.5"};
  switch (aIdx % 5) {
    case 0: return aRandom.dense(1 + aIdx % 7);
    case 1: {  // Relations of few sides, also of symbols with each other.
      const char* const connective = aRandom.pick(2) == 0 ? " && " : " || ";
      std::string text;
      for (std::size_t i = 0, count = 2 + aRandom.pick(4); i < count; ++i) {
        const std::string relation =
            inOrder({aRandom.oneOf(sides), aRandom.oneOf(relations), aRandom.oneOf(sides)});
        text +=
            (i == 0 ? "" : connective) + (aRandom.pick(4) == 0 ? "!(" + relation + ")" : relation);
      }
      return text;
    }
    case 2: {  // A condition that meets itself and its negation.
      const std::string once = aRandom.condition(1 + aRandom.pick(4));
      const std::string other = aRandom.condition(1 + aRandom.pick(3));
      return inOrder({"(", once, " || ", other, ") && (!(", once, ")",
                      aRandom.pick(2) == 0 ? " || " : " && ", aRandom.condition(2), ")"});
    }
    default: return aRandom.condition(1 + aRandom.pick(16));
  }
}

std::string arithmetic(RandomText& aRandom) {
  static constexpr const char* const operators[] = {"+", "-", "*", "/", "+", "-", "*"};
  static constexpr const char* const constants[] = {"0", "1", "2", "-1", "6", "0.5", "4.0"};
  return aRandom.arithmetic(1 + aRandom.pick(7), operators, constants, std::size(constants));
}

// A few terms, leaves and others, that meet each other as operands, factors and divisors.
std::string termsThatMeet(RandomText& aRandom) {
  static constexpr const char* const all[] = {"x",   "y",    "f(x)", "(x+1)", "(y-x)", "x/y",
                                              "s.m", "(-x)", "3",    "(x%2)", "(2-y)", "x*y"};
  static constexpr const char* const operators[] = {"+", "-", "*", "/"};
  const std::string terms[] = {aRandom.oneOf(all), aRandom.oneOf(all), "2"};
  const auto term = [&] { return terms[aRandom.pick(7) / 3]; };
  const auto pair = [&] {
    const std::string first = term();
    if (aRandom.pick(3) == 0) return first;
    return inOrder({"(", first, aRandom.oneOf(operators), term(), ")"});
  };
  std::string text = pair();
  for (std::size_t i = 0, count = 1 + aRandom.pick(2); i < count; ++i) {
    text = inOrder({"(", text, ")", aRandom.oneOf(operators), pair()});
  }
  return text;
}

// The text with longer names, some of which begin alike or are others' beginnings.
std::string withLongNames(const std::string& aText, std::size_t aStyle) {
  static const std::array<std::string, 5> beginnings = {
      "", "sevenBy", "eightByt", "someTwentySevenBytesOfAName", std::string(70, 'n')};
  const auto isOfName = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
  std::string text;
  for (std::size_t i = 0, end = 0; i < aText.size(); i = end) {
    for (end = i + 1; isOfName(aText[i]) && end < aText.size() && isOfName(aText[end]);) ++end;
    const char first = aText[i];
    if (end == i + 1 && std::isalpha(static_cast<unsigned char>(first)) != 0) {
      text += beginnings[aStyle % beginnings.size()];
      text += std::string(1 + static_cast<unsigned char>(first) % (1 + aStyle % 3), first);
      if (aStyle % 2 == 0) text += "_0";
    } else {
      text.append(aText, i, end - i);
    }
  }
  return text;
}

// Every way to print.
std::string printed(const SymbolicExprTable& aTable, SymbolicExprId aId) {
  return joined({SymbolicExprPrinter(aTable, true, true, false)(aId),
                 SymbolicExprPrinter(aTable, false, false, false)(aId),
                 SymbolicExprPrinter(aTable, false, true, true)(aId),
                 SymbolicExprPrinter(aTable, true, false, true)(aId)});
}

// What the operations that need nothing else make of it.
std::string converted(SymbolicExprTable& aTable, SymbolicExprId aId) {
  const auto text = [&](const auto& aConvert) {
    return outcome([&] { return SymbolicExprPrinter(aTable, false, false, false)(aConvert()); });
  };
  return joined({text([&] { return SymbolicExprC2M(aTable)(aId); }),
                 text([&] { return SymbolicExprM2C(aTable)(aId); }),
                 text([&] { return SymbolicExprCast2Int(aTable).cast2Int(aId); }),
                 text([&] { return SymbolicExprFactorDivision(aTable).factorDivision(aId); })});
}

std::string simplified(SymbolicExprTable& aTable, SymbolicExprId aId) {
  return outcome([&] {
    std::size_t passes = 0;
    const SymbolicExprId result = SymbolicExprSimplify(aTable, 30).simplify(aId, passes);
    return joined(
        {std::to_string(passes), SymbolicExprPrinter(aTable, false, true, false)(result)});
  });
}

TEST(Recorded, TextsAndTheirErrors) {
  static constexpr const char* const tokens[] = {
      "a",   "b1",       "_c",   "z",     "Z",          "1",     "23",     "4.5", ".5",     "6.",
      "7e2", "8E-3",     "9e",   "0x1",   "2147483648", "1e999", "1e+999", "2E+", "1e-400", "+",
      "-",   "*",        "/",    "%",     "==",         "!=",    "~=",     "<",   "<=",     ">",
      ">=",  "&&",       "||",   "&",     "|",          "^",     "<<",     ">>",  "!",      "~",
      "=",   "(",        ")",    "(",     ")",          "[",     "]",      ",",   ".",      "s.m",
      "f(",  "g()",      "true", "false", "TRUE",       " ",     "\t",     "\n",  "'",      "\"",
      "#",   "\xc3\xa9", "3a",   ":",     "?"};
  Recorded recorded("texts");
  RandomText random(1);
  for (std::size_t i = 0; i < tries(8000); ++i) {
    // A text with some of its tokens replaced, left out or added.
    std::string text;
    if (i % 2 == 0) {
      for (std::size_t k = 0, count = 1 + random.pick(7); k < count; ++k)
        text += random.oneOf(tokens);
    } else {
      text = i % 4 == 1 ? random.condition(1 + random.pick(5)) : arithmetic(random);
      for (std::size_t k = 0, count = random.pick(3); k < count; ++k) {
        const std::size_t place = random.pick(text.size() + 1), length = random.pick(2);
        text.replace(place, length, random.oneOf(tokens));
      }
    }
    for (const bool cSyntax : {false, true}) {
      SymbolicExprTable table;
      const SymbolicExprParser parser(table, cSyntax);
      const SymbolicExprId id = parser(text);
      if (id == invalidSymbolicExprId) {
        const auto error = parser.diagnose(text);
        ASSERT_TRUE(error) << text;
        recorded.add(joined({text, std::to_string(error->offset), error->expected, error->note}));
      } else {
        recorded.add(joined({text, std::to_string(table.size()), printed(table, id)}));
      }
    }
  }
  recorded.compare();
}

// Simplifies so many texts, which `aMake` makes.
template <class Make>
void recordSimplification(const char* aName, std::uint64_t aSeed, std::size_t aCount,
                          const Make& aMake) {
  if (std::fegetround() != FE_TONEAREST) GTEST_SKIP() << "other values with other rounding";
  Recorded recorded(aName);
  RandomText random(aSeed);
  for (std::size_t i = 0; i < tries(aCount); ++i) {
    const std::string text = aMake(random, i);
    SymbolicExprTable table;
    recorded.add(joined({text, simplified(table, parse(table, text))}));
  }
  recorded.compare();
}

TEST(Recorded, Simplification) {
  recordSimplification("simplification", 2, 40000, [](RandomText& aRandom, std::size_t i) {
    switch (i % 5) {
      case 0: return inOrder({arithmetic(aRandom), i % 2 == 0 ? "" : "==" + arithmetic(aRandom)});
      case 1: return termsThatMeet(aRandom);
      default: return condition(aRandom, i / 5);
    }
  });
}

TEST(Recorded, SimplificationWithLongNames) {
  recordSimplification("names", 5, 8000, [](RandomText& aRandom, std::size_t) {
    const std::string text = condition(aRandom, aRandom.pick(5));
    return withLongNames(text, aRandom.pick(60));
  });
}

// So many operands that what is kept for large conditions matters.
TEST(Recorded, SimplificationOfLargeConditions) {
  recordSimplification("large", 6, 4000, [](RandomText& aRandom, std::size_t i) {
    const std::size_t size = 10 + aRandom.pick(60);
    const std::string text = i % 2 == 0 ? aRandom.dense(size) : aRandom.condition(size);
    return withLongNames(text, aRandom.pick(60));
  });
}

TEST(Recorded, NodesThatNoTextGives) {
  if (std::fegetround() != FE_TONEAREST) GTEST_SKIP() << "other values with other rounding";
  Recorded recorded("nodes");
  RandomText random(7);
  for (std::size_t i = 0; i < tries(20000); ++i) {
    SymbolicExprTable table;
    addNodes(table, random, 4 + random.pick(16));
    const SymbolicExprId last = table.size() - 1;
    const SymbolicExprPrinter inM(table, true, true, false), inC(table, false, false, false);
    const auto text = [&](const auto& aGive) { return outcome([&] { return answer(aGive); }); };
    std::vector<std::string> line{outcome([&] { return printed(table, last); }),
                                  converted(table, last), simplified(table, last)};
    line.push_back(outcome([&] { return inM(SymbolicExprCompact(table)(last)); }));
    line.push_back(text([&] { return SymbolicExprEval(table).eval(last); }));
    SymbolicExprBindings values(table);
    values.set("x", static_cast<int>(random.pick(4)));
    values.set("a", random.pick(2) == 0);
    line.push_back(text([&] { return SymbolicExprEval(table).eval(last, values); }));
    line.push_back(outcome([&] { return inC(SymbolicExprSubstitute(table)(last, values)); }));
    recorded.add(joined(line));
  }
  recorded.compare();
}

TEST(Recorded, Conversions) {
  if (std::fegetround() != FE_TONEAREST) GTEST_SKIP() << "other values with other rounding";
  Recorded recorded("conversions");
  for (std::size_t i = 0; i < tries(8000); ++i) {
    RandomQuestion question(i, 3);
    SymbolicExprTable& table = question.table;
    SymbolicExprBindings values(table);
    question.bind(values, 40);
    for (std::size_t k = 0; k < question.roots.size(); ++k) {
      const SymbolicExprId root = question.roots[k];
      const std::string substituted = outcome([&] {
        return SymbolicExprPrinter(table, false, false,
                                   false)(SymbolicExprSubstitute(table)(root, values));
      });
      recorded.add(
          joined({question.texts[k], printed(table, root), converted(table, root), substituted}));
    }
  }
  recorded.compare();
}

TEST(Recorded, Values) {
  if (std::fegetround() != FE_TONEAREST) GTEST_SKIP() << "other values with other rounding";
  Recorded recorded("values");
  for (std::size_t i = 0; i < tries(8000); ++i) {
    RandomQuestion question(i, 2);
    SymbolicExprBindings values(question.table);
    question.bind(values, 80);
    const SymbolicExprEval evaluation(question.table);
    for (std::size_t k = 0; k < question.roots.size(); ++k) {
      recorded.add(joined(
          {question.texts[k], answer([&] { return evaluation.eval(question.roots[k], values); })}));
    }
  }
  recorded.compare();
}

TEST(Recorded, CompactForms) {
  Recorded recorded("compact");
  RandomText random(3);
  for (std::size_t i = 0; i < tries(8000); ++i) {
    SymbolicExprTable table;
    const SymbolicExprCompact compact(table);
    std::vector<SymbolicExprId> path;
    std::vector<std::string> line;
    for (std::size_t k = 0, count = 1 + random.pick(3); k < count; ++k) {
      line.push_back(condition(random, random.pick(5)));
      path.push_back(parse(table, line.back()));
    }
    SymbolicExprId net = path[0];
    for (std::size_t k = 1; k < path.size(); ++k)
      net = SymbolicAndExpr(table, net, path[k]).getId(table);
    std::size_t passes = 0;
    net = SymbolicExprSimplify(table, 30).simplify(net, passes);
    const SymbolicExprPrinter print(table, true, true, false);
    recorded.add(joined({joined(line), print(compact(net)), print(compact(net, path))}));
  }
  recorded.compare();
}

// Blocks below each other.
struct Chain final : VCCustomizer {
  std::string getLocalCondition(const KSBlock* aBlock, int) const override {
    return texts[index(aBlock)];
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    return index(aBlock) == 0 ? nullptr : block(index(aBlock) - 1);
  }
  std::size_t index(const KSBlock* aBlock) const {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(aBlock) - places);
  }
  const KSBlock* block(std::size_t aIdx) const {
    return reinterpret_cast<const KSBlock*>(&places[aIdx]);
  }
  char places[64]{};
  std::vector<std::string> texts;
};

// The conditions of blocks below each other, the last one first or the top first.
std::string conditionsOf(const std::vector<std::string>& aTexts, bool aTopFirst) {
  Chain chain;
  chain.texts = aTexts;
  VCService service;
  std::vector<std::string> line = aTexts;
  for (std::size_t k = 0; k < aTexts.size(); ++k) {
    const KSBlock* const block = chain.block(aTopFirst ? k : aTexts.size() - 1 - k);
    line.push_back(service.getMExprLocalVVCEString(block, &chain));
    line.push_back(service.getMExprNetVVCEString(block, &chain));
    line.push_back(service.getCExprNetCGVCEString(block, &chain));
  }
  return joined(line);
}

TEST(Recorded, NetConditions) {
  Recorded recorded("net");
  RandomText random(4);
  for (std::size_t i = 0; i < tries(4000); ++i) {
    std::vector<std::string> texts;
    for (std::size_t k = 0, count = 2 + random.pick(5); k < count; ++k) {
      texts.push_back(random.pick(4) == 0 ? std::string() : random.condition(1 + random.pick(4)));
    }
    recorded.add(conditionsOf(texts, i % 2 == 0));
  }
  recorded.compare();
}

// Many blocks with a small condition each, few with large ones.
TEST(Recorded, LargeNetConditions) {
  static constexpr const char* const relations[] = {"==1", "!=1", "==2", "<3", "", ""};
  Recorded recorded("large-net");
  RandomText random(8);
  for (std::size_t i = 0; i < tries(2000); ++i) {
    const bool areSmall = i % 2 == 0;
    const std::size_t numNames = 4 + random.pick(200);
    const auto literal = [&] {
      return inOrder({random.pick(5) == 0 ? "!(v" : "(v", std::to_string(random.pick(numNames)),
                      random.oneOf(relations), ")"});
    };
    std::vector<std::string> texts;
    for (std::size_t k = 0, count = areSmall ? 5 + random.pick(55) : 2 + random.pick(2); k < count;
         ++k) {
      std::string text = literal();
      for (std::size_t n = areSmall ? random.pick(8) / 6 : random.pick(12); n > 0; --n) {
        text += inOrder({random.pick(areSmall ? 8 : 2) == 0 ? " || " : " && ", literal()});
      }
      texts.push_back((areSmall && random.pick(12) == 0 ? "!(" : "(") + text + ")");
    }
    recorded.add(conditionsOf(texts, i % 4 < 2));
  }
  recorded.compare();
}

}  // namespace
}  // namespace KS::test
