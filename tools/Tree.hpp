// The tree of a model's blocks, as text and as a drawing.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "tools/TypedModel.hpp"

namespace ksexpr {

/// A block and its place in the tree.
struct TreeEntry {
  const KSBlock* block;
  std::size_t depth;     ///< 0 for a block that nothing encloses
  std::size_t numBelow;  ///< the blocks inside, at any depth
  bool isLast;           ///< whether no sibling follows
};

/// The blocks of a model in the order of the tree: each behind the one that encloses it, and before
/// its next sibling. Takes time and memory in blocks, however deep they lie.
std::vector<TreeEntry> treeOf(const Model& aModel);

/// What is shown of a tree: all, or the blocks down to a depth, where 1 is that of the outermost.
struct TreeRequest {
  std::optional<std::size_t> maxDepth;
  bool cForm = false;
  std::size_t width = 0;  ///< the columns that a row may take, 0 for no limit; longer ones are cut
};

/// Draws the tree with lines, each block with its own condition behind it. A block whose inner ones
/// are too deep to be shown says how many they are. Returns a line that sums up. Throws
/// `WriteError`.
std::string writeTree(const TypedModel& aModel, const TreeRequest& aRequest, std::ostream& aOut);

/// Draws the tree for Graphviz. Throws `WriteError`.
void drawTree(const TypedModel& aModel, const TreeRequest& aRequest, std::ostream& aOut);

}  // namespace ksexpr
