#include "tools/Subtrees.hpp"

namespace ksexpr {

std::vector<const KSBlock*> parentsFirst(const Model& aModel) {
  std::vector<const KSBlock*> ordered;
  ordered.reserve(aModel.blocks.size());
  std::vector<bool> isPlaced(aModel.blocks.size(), false);
  std::vector<const KSBlock*> above;
  for (const KSBlock& start : aModel.blocks) {
    for (const KSBlock* block = &start; block != nullptr && !isPlaced[aModel.indexOf(*block)];
         block = block->parent) {
      isPlaced[aModel.indexOf(*block)] = true;
      above.push_back(block);
    }
    ordered.insert(ordered.end(), above.rbegin(), above.rend());
    above.clear();
  }
  return ordered;
}

std::vector<std::uint32_t> subtreePositions(const Model& aModel) {
  const std::size_t numBlocks = aModel.blocks.size();
  // By block, and behind them for the whole: the size of the subtree.
  std::vector<std::uint32_t> sizes(numBlocks + 1, 1);
  const auto parentOf = [&](std::size_t index) {
    const KSBlock* const parent = aModel.blocks[index].parent;
    return parent == nullptr ? numBlocks : aModel.indexOf(*parent);
  };
  const std::vector<const KSBlock*> ordered = parentsFirst(aModel);
  for (auto block = ordered.rbegin(); block != ordered.rend(); ++block) {
    const std::size_t index = aModel.indexOf(**block);
    sizes[parentOf(index)] += sizes[index];
  }
  // By block: where the next of its children begins. Siblings keep their order in the file, though
  // not all of them stand in that order among the blocks that are ordered by their parents.
  std::vector<std::uint32_t> next(numBlocks + 1, 0);
  std::vector<std::uint32_t> offsets(numBlocks, 0);  // from the parent's first child
  for (std::size_t index = 0; index < numBlocks; ++index) {
    offsets[index] = next[parentOf(index)];
    next[parentOf(index)] += sizes[index];
  }
  std::vector<std::uint32_t> positions(numBlocks, 0);
  for (const KSBlock* const block : ordered) {
    const std::size_t index = aModel.indexOf(*block);
    positions[index] =
        offsets[index] + (block->parent == nullptr ? 0 : positions[parentOf(index)] + 1);
  }
  return positions;
}

}  // namespace ksexpr
