// From the names of parents to the tree of blocks.
#pragma once

#include <cstddef>
#include <vector>

#include "tools/Model.hpp"
#include "tools/ModelSyntax.hpp"

namespace ksexpr {

/// Gives each block its parent, whose name is at the same place in `aParents`. Ids that are defined
/// twice, names of no block and, where there is none of these, cycles are errors. `aJobs` threads
/// share the work on a large model.
void linkParents(Model& aModel, const std::vector<ParentName>& aParents, ModelErrors& aErrors,
                 std::size_t aJobs);

}  // namespace ksexpr
