// The texts that are measured, and a model whose blocks carry them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace KSBench {

/// Texts in C spelling, one expression each.
struct Corpus {
  std::vector<std::string> dimensions;
  std::vector<std::string> conditions;
  std::vector<std::string> redundant;  ///< Conditions in which much can be simplified.
};

/// Reads dimensions-c.txt, conditions-c.txt and redundant-conditions-c.txt, one expression a line.
/// Throws `std::runtime_error` where a file cannot be read or is empty.
Corpus readCorpus(const std::string& aDirectory);

/// 5,000 texts of each kind, the same in every run.
Corpus makeCorpus();

/// A tree of blocks; the block 0 is the root.
struct BlockTree {
  std::vector<std::size_t> parents;  ///< Always smaller than the block; 0 for the root itself.
  std::vector<std::string> locals;   ///< The condition of each block, empty for none.
};

/// A tree of about eight children a block. As in models, half of the blocks have a condition,
/// mostly a relation or two that must both hold, in a fifth of the cases two alternatives.
BlockTree makeTree(std::size_t aCount);

/// The same tree with a condition at every block, taken in turn.
BlockTree makeTree(std::size_t aCount, const std::vector<std::string>& aConditions);

/// Relations over symbols of their own, such as "R7 > 3".
std::vector<std::string> makeRelations(std::size_t aCount);

/// The symbols of `makeChain`: "v0" to the last.
std::string chainSymbol(std::size_t aIdx);

/// A sum of symbols of their own, every second one subtracted.
std::string makeChain(std::size_t aCount);

}  // namespace KSBench
