// A small set of configurations that has every block on and off.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "tools/Decision.hpp"

namespace ksexpr {

struct CoverAnswer {
  /// A value for every variable, in the order of the model's variables, and the number of different
  /// conditions of blocks that hold.
  struct Configuration {
    NamedValues values;
    std::size_t numOn;
  };
  std::vector<Configuration> configurations;
  std::size_t lowerBound = 0;  ///< how many there have to be at least
  // The blocks that are never on, always on, and those of which that is not known or that no
  // configuration has both on and off.
  std::vector<const KSBlock*> never;
  std::vector<const KSBlock*> always;
  std::vector<const KSBlock*> unknown;
};

/// Answers configurations under which every block that can be on is on at least once and every
/// block that can be off is off at least once, as evaluation confirms. Throws `AnswerError`.
CoverAnswer answerCover(const Question& aQuestion);

/// Writes the answer. Returns a line that sums up. Throws `WriteError`.
std::string writeCover(const Question& aQuestion, const CoverAnswer& aAnswer, std::ostream& aOut);

}  // namespace ksexpr
