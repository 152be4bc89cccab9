// The syntax of model files: JSON text to blocks, every complaint with its place.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/Diagnostic.hpp"
#include "tools/Model.hpp"

namespace ksexpr {

/// What is wrong with a model file, its kind (see `ProblemCounts`), and at which byte of it.
struct ModelError {
  std::string_view kind;
  std::size_t offset;
  std::string message;
};

/// What is wrong with a model file and to be told, and the number of the rest; or the same for
/// warnings.
struct ModelErrors {
  std::vector<ModelError> told;
  ProblemCounts counts;

  /// Adds an error of a kind, see `ProblemCounts`.
  void add(std::string_view aKind, std::size_t aOffset, std::string aMessage) {
    if (counts.add(aKind)) told.push_back({aKind, aOffset, std::move(aMessage)});
  }
  /// Adds those of the rest of the file.
  void append(const ModelErrors& aRest) {
    for (const ModelError& one : aRest.told) add(one.kind, one.offset, one.message);
    counts.addUntold(aRest.counts);
  }
};

/// The parent of a block as the file names it, nothing for null.
using ParentName = std::optional<std::string_view>;

/// Parses a model's text and appends its blocks, their parents still unresolved; returns the names
/// of the parents, one per block. Members that are not known are skipped with a warning. Broken
/// JSON ends the reading, all else that is wrong is collected. With `aJobs` above 1, two threads
/// share a long text.
std::vector<ParentName> parseModel(Model& aModel, ModelErrors& aErrors, ModelErrors& aWarnings,
                                   std::size_t aJobs);

}  // namespace ksexpr
