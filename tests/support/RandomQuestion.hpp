// Random expressions of all kinds of nodes, and random values for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "eval/SymbolicExprBindings.hpp"

namespace KS::test {

/// A table with expressions from a seed, and values for some of their symbols: some are registered,
/// which now and then lead back to themselves.
class RandomQuestion {
 public:
  RandomQuestion(std::uint64_t aSeed, std::size_t aNumRoots);

  /// Binds each symbol, and a few other nodes, with that probability in percent.
  void bind(SymbolicExprBindings& aBindings, std::size_t aPercent);
  /// Binds what is left of symbols, calls and members after `aDone`.
  void bindRest(SymbolicExprBindings& aBindings, const SymbolicExprBindings& aDone,
                std::size_t aPercent);
  Eval::Value value();

  SymbolicExprTable table;
  std::vector<SymbolicExprId> roots;
  std::vector<std::string> texts;  ///< of the roots

 private:
  std::size_t pick(std::size_t aCount) { return static_cast<std::size_t>(random() % aCount); }
  std::string text(std::size_t aNodes);
  std::string leaf();
  SymbolicExprId parse(const std::string& aText);

  std::mt19937_64 random;
};

/// The numbers, or the error's text, that `aCompute` gives or throws.
std::string answer(const std::function<std::vector<double>()>& aCompute);

}  // namespace KS::test
