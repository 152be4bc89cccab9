// Random conditions over a few symbols that are compared with each other and with small constants.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace KSBench {

/// Makes conditions in M syntax over the symbols from `p` to `v`.
class RandomConditions {
 public:
  static constexpr char firstSymbol = 'p', lastSymbol = 'v';

  explicit RandomConditions(std::uint64_t aSeed) : random(aSeed) {}
  std::size_t below(std::size_t aEnd) { return static_cast<std::size_t>(random() % aEnd); }

  /// A condition with that many relations or symbols.
  std::string make(std::size_t aAtoms) {
    if (aAtoms <= 1) return below(6) == 0 ? "~" + atom() : atom();
    const std::size_t left = 1 + below(aAtoms - 1);
    const std::string text =
        "(" + make(left) + (below(2) == 0 ? " && " : " || ") + make(aAtoms - left) + ")";
    return below(6) == 0 ? "~" + text : text;
  }
  std::string constant() {
    static const char* const constants[] = {"0", "1", "2", "3", "-1", "7"};
    return constants[below(6)];
  }

 private:
  std::string side() {
    if (below(3) == 0) return below(7) == 0 ? "true" : constant();
    return symbol();
  }
  std::string symbol() {
    return std::string(1, static_cast<char>(firstSymbol + static_cast<char>(below(7))));
  }
  std::string atom() {
    static const char* const relations[] = {"==", "~=", "<", "<=", ">", ">="};
    switch (below(10)) {
      case 0:
      case 1: return symbol();
      case 2: return "((" + symbol() + " < " + side() + ") == " + symbol() + ")";
      default: return "(" + side() + relations[below(6)] + side() + ")";
    }
  }

  std::mt19937_64 random;
};

}  // namespace KSBench
