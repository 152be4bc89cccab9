// The order of a model's tree of blocks, and how it is cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/Model.hpp"

namespace ksexpr {

/// The blocks by file order in an order in which each stands behind its parent.
std::vector<const KSBlock*> parentsFirst(const Model& aModel);

/// By block: how many stand before it where each is followed by all that lie below it, siblings in
/// file order. A stretch of this order is made of whole subtrees and the blocks on one path above
/// them, but for its ends; so besides its own blocks it only needs the ancestors of its first one.
std::vector<std::uint32_t> subtreePositions(const Model& aModel);

}  // namespace ksexpr
