// The blocks of a model that a question is about.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/Model.hpp"

namespace ksexpr {

/// The blocks that are asked for.
struct Selection {
  /// The block that all of them are below; null for the whole model.
  const KSBlock* under = nullptr;
  std::vector<bool> isSelected;  ///< By block.
  std::size_t count = 0;
};

/// The blocks below `aUnder`, or all, with one of these ids or an id like one of these patterns, or
/// all. Throws `AnswerError` for a block or pattern that is not in the model.
Selection select(const Model& aModel, const std::optional<std::string>& aUnder,
                 const std::vector<std::string>& aIds);

}  // namespace ksexpr
