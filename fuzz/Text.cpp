// Any bytes as text, in both dialects, through every operation. A line is an expression, for the
// operations that follow parsing.
#include <algorithm>
#include <sstream>
#include <string>

#include "fuzz/ExpressionChecks.hpp"
#include "fuzz/Fuzz.hpp"
#include "tests/support/RandomText.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* aData, std::size_t aSize) {
  using namespace KS::fuzz;
  const std::string text(reinterpret_cast<const char*>(aData), aSize);
  const std::uint64_t seed = digestOf(aData, aSize);
  for (const bool cSyntax : {false, true}) {
    checkLanguage(text, cSyntax);
    const UsedTablePtr used = makeUsedTable();
    std::istringstream lines(text);
    std::string line;
    for (int count = 0; count < 4 && std::getline(lines, line); ++count) {
      checkExpression(line, cSyntax, *used, seed);
    }
  }
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Mutations that keep expressions whole more often than changes of bytes do.

// NOLINTNEXTLINE(readability-redundant-declaration): no header of libFuzzer has it
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* aData, std::size_t aSize,
                                        std::size_t aMaxSize);

namespace {

std::size_t store(const std::string& aText, std::uint8_t* aData, std::size_t aMaxSize) {
  const std::size_t size = std::min(aText.size(), aMaxSize);
  std::copy_n(aText.data(), size, aData);
  return size;
}

const char* anyOperator(KS::test::RandomText& aRandom) {
  static constexpr const char* const operators[] = {"&&", "&&", "&&", "||", "||", "||", "==", "!=",
                                                    "<",  "<=", ">",  ">=", "+",  "-",  "*",  "/",
                                                    "%",  "&",  "|",  "^",  "<<", ">>", ",",  "\n"};
  return aRandom.oneOf(operators);
}

std::string operand(KS::test::RandomText& aRandom) {
  static constexpr const char* const some[] = {
      "1.5", "2147483647", "-2147483648", "0",       "inf",      "nan",        "true",
      "f()", "f(a)",       "s.m",         "[a,b]",   "-(x)",     "~(x)",       "rem(x,3)",
      "x/2", "6*(x/3)",    "x-x",         "(x+1)-1", "1e300",    "-0.0",       "bitshift(x,-2)",
      "x*3", "2*x+2",      "!(a&&b)",     "0.1+0.2", "f(a,b,c)", "bitand(x,6)"};
  switch (aRandom.pick(3)) {
    case 0: return aRandom.condition(1 + aRandom.pick(5));
    case 1: return aRandom.dense(1 + aRandom.pick(4));
    default: return aRandom.oneOf(some);
  }
}

// A part between brackets or operators.
std::pair<std::size_t, std::size_t> anyPart(const std::string& aText,
                                            KS::test::RandomText& aRandom) {
  const auto isInside = [&](std::size_t aPlace) {
    return std::isalnum(static_cast<unsigned char>(aText[aPlace])) != 0 || aText[aPlace] == '_' ||
           aText[aPlace] == '.';
  };
  if (aText.empty()) return {0, 0};
  std::size_t begin = aRandom.pick(aText.size());
  if (aText[begin] == '(') {
    std::size_t end = begin, open = 0;
    do {
      if (aText[end] == '(') ++open;
      if (aText[end] == ')') --open;
      ++end;
    } while (open != 0 && end < aText.size());
    return {begin, end};
  }
  std::size_t end = begin;
  while (begin > 0 && isInside(begin - 1)) --begin;
  while (end < aText.size() && isInside(end)) ++end;
  return {begin, end};
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* aData, std::size_t aSize,
                                               std::size_t aMaxSize, unsigned int aSeed) {
  KS::test::RandomText random(aSeed);
  std::string text(reinterpret_cast<const char*>(aData), aSize);
  const auto [begin, end] = anyPart(text, random);
  switch (random.pick(12)) {
    case 0: text.replace(begin, end - begin, "(" + operand(random) + ")"); break;
    case 1: text = "(" + text + ")" + anyOperator(random) + "(" + operand(random) + ")"; break;
    case 2: text = text + anyOperator(random) + operand(random); break;
    case 3: text.insert(end, anyOperator(random) + text.substr(begin, end - begin)); break;
    case 4: text.replace(begin, end - begin, "!(" + text.substr(begin, end - begin) + ")"); break;
    case 5: text.insert(begin, operand(random) + anyOperator(random)); break;
    case 6: {
      const auto [from, to] = anyPart(text, random);
      text.replace(begin, end - begin, text.substr(from, to - from));
      break;
    }
    default: return LLVMFuzzerMutate(aData, aSize, aMaxSize);
  }
  return store(text, aData, aMaxSize);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* aFirst, std::size_t aFirstSize,
                                                 const std::uint8_t* aSecond,
                                                 std::size_t aSecondSize, std::uint8_t* aOut,
                                                 std::size_t aMaxOutSize, unsigned int aSeed) {
  KS::test::RandomText random(aSeed);
  const std::string first(reinterpret_cast<const char*>(aFirst), aFirstSize);
  const std::string second(reinterpret_cast<const char*>(aSecond), aSecondSize);
  if (random.pick(2) == 0) {
    return store("(" + first + ")" + anyOperator(random) + "(" + second + ")", aOut, aMaxOutSize);
  }
  const auto [begin, end] = anyPart(first, random);
  const auto [from, to] = anyPart(second, random);
  std::string text = first;
  text.replace(begin, end - begin, second.substr(from, to - from));
  return store(text, aOut, aMaxOutSize);
}
