// The measured tree of blocks as a host presents it.
#pragma once

#include <string>
#include <vector>

#include "bench/Corpus.hpp"
#include "variants/VCCustomizer.hpp"

/// What the library only points to: a block of the measured tree.
class KSBlock {
 public:
  std::size_t index;  ///< Of the block in the tree.
};

namespace KSBench {

/// Answers from a tree that outlives it.
class TreeCustomizer : public KS::VCCustomizer {
 public:
  explicit TreeCustomizer(const BlockTree& aTree) : tree(aTree) {
    for (std::size_t i = 0; i < aTree.locals.size(); ++i) blocks.push_back({i});
  }
  std::string getLocalCondition(const KSBlock* aBlock, int) const override {
    return tree.locals[aBlock->index];
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    return aBlock->index == 0 ? nullptr : &blocks[tree.parents[aBlock->index]];
  }

  /// All blocks, parents before children.
  const std::vector<KSBlock>& all() const { return blocks; }

 private:
  const BlockTree& tree;
  std::vector<KSBlock> blocks;
};

}  // namespace KSBench
