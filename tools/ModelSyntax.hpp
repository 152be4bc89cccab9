// The syntax of model files: JSON text to blocks, every complaint with its place.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/Model.hpp"

namespace ksexpr {

/// What is wrong with a model file, and at which byte of it.
struct ModelError {
  std::size_t offset;
  std::string message;
};

/// Parses a model's text and appends its blocks, their parents still unresolved. Members that are
/// not known are skipped. Broken JSON ends the reading, all else that is wrong is collected.
std::vector<ModelError> parseModel(const std::string& aText, std::vector<KSBlock>& aBlocks);

}  // namespace ksexpr
