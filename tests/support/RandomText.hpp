// Expression text from a seed, the same on every machine.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <random>
#include <string>

namespace KS::test {

/// The texts one behind the other, made in that order: compilers differ in which operand of a sum
/// they make first.
inline std::string inOrder(std::initializer_list<std::string> aTexts) {
  std::string all;
  for (const std::string& text : aTexts) all += text;
  return all;
}

/// Draws conditions and sums in the spelling that both dialects share.
class RandomText {
 public:
  explicit RandomText(std::uint64_t aSeed) : random(aSeed) {}

  /// 0 to `aCount - 1`.
  std::size_t pick(std::size_t aCount) { return static_cast<std::size_t>(random() % aCount); }

  template <std::size_t count>
  const char* oneOf(const char* const (&aTexts)[count]) {
    return aTexts[pick(count)];
  }

  /// A condition with that many atoms: symbols, relations, members and calls under nested logical
  /// operators. Few names and small constants, so that operands meet again.
  std::string condition(std::size_t aAtoms) {
    if (aAtoms <= 1) return pick(8) == 0 ? "!(" + atom() + ")" : atom();
    std::string text;
    const std::size_t parts = std::min<std::size_t>(aAtoms, 2 + pick(3));
    const char* const connective = pick(2) == 0 ? " && " : " || ";
    for (std::size_t i = 0; i < parts; ++i) {
      const std::size_t atoms = aAtoms / parts + (i < aAtoms % parts ? 1 : 0);
      text += (i == 0 ? "" : connective) + ("(" + condition(atoms) + ")");
    }
    return pick(6) == 0 ? "!(" + text + ")" : text;
  }

  /// A disjunction of conjunctions, or the other way round, over so few literals that its parts
  /// absorb, complement and repeat each other.
  std::string dense(std::size_t aParts) {
    static constexpr const char* const literals[] = {"a",    "b",    "c",      "d",       "x<3",
                                                     "x>=3", "x==1", "x != 1", "(x > 3)", "x<=3"};
    const bool disjunction = pick(4) != 0;
    const std::size_t choice = 2 + pick(std::size(literals) - 1);
    std::string text;
    for (std::size_t i = 0; i < aParts; ++i) {
      text += i == 0 ? "(" : disjunction ? " || (" : " && (";
      for (std::size_t k = 0, n = 1 + pick(3); k < n; ++k) {
        const std::string literal = literals[pick(choice)];
        text += k == 0 ? "" : disjunction ? " && " : " || ";
        text += pick(2) == 0 ? "!(" + literal + ")" : literal;
      }
      text += ")";
    }
    return text;
  }

  /// An arithmetic expression with that many operands; `aOperators` are picked from.
  template <std::size_t count>
  std::string arithmetic(std::size_t aOperands, const char* const (&aOperators)[count],
                         const char* const* aConstants, std::size_t aConstantCount) {
    if (aOperands <= 1) {
      if (pick(9) == 0) return "-(" + std::string(oneOf(numbers)) + ")";
      return pick(2) == 0 ? oneOf(numbers) : aConstants[pick(aConstantCount)];
    }
    const std::size_t left = 1 + pick(aOperands - 1);
    const std::string a = arithmetic(left, aOperators, aConstants, aConstantCount);
    // One in eight operands stands on both sides: the rules look for equal operands.
    const std::string b =
        pick(8) == 0 ? a : arithmetic(aOperands - left, aOperators, aConstants, aConstantCount);
    return "(" + a + ")" + oneOf(aOperators) + "(" + b + ")";
  }

 private:
  static constexpr const char* names[] = {"a", "b", "c", "d"};
  static constexpr const char* numbers[] = {"x", "y", "z"};

  std::string constant() {
    static constexpr const char* const constants[] = {"0", "1", "2", "3", "-1", "1.5", "2.0"};
    return oneOf(constants);
  }

  std::string atom() {
    static constexpr const char* const relations[] = {"<", "<=", ">", ">=", "==", "!="};
    const std::string relation = oneOf(relations);
    switch (pick(16)) {
      case 0: return inOrder({oneOf(numbers), relation, oneOf(numbers)});
      case 1: return inOrder({constant(), relation, oneOf(numbers)});
      case 2: return "s.m" + relation + constant();
      case 3: return inOrder({"f(", oneOf(names), ")", relation, constant()});
      case 4: return inOrder({oneOf(numbers), "+", constant(), relation, constant()});
      case 5: return inOrder({"2*", oneOf(numbers), "-1", relation, constant()});
      case 6: return pick(3) == 0 ? "true" : pick(2) == 0 ? "false" : oneOf(names);
      case 7: return "a" + relation + (pick(2) == 0 ? "true" : "false");
      case 8:
      case 9:
      case 10: return oneOf(names);
      default: return inOrder({oneOf(numbers), relation, constant()});
    }
  }

  std::mt19937_64 random;
};

}  // namespace KS::test
