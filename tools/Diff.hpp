// What changed between two versions of a model.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "tools/Decision.hpp"

namespace ksexpr {

/// How a block differs; `Spelling` is a condition that is written in another way only.
enum class Difference { Added, Removed, Moved, Condition, Spelling, Unknown };
inline constexpr const char* differenceNames[] = {"added",     "removed",  "moved",
                                                  "condition", "spelling", "unknown"};

struct DiffEntry {
  Difference kind;
  const KSBlock* block;                  ///< of the new model, or the one that was removed
  const KSBlock* before;                 ///< of the old model, or null
  bool isOwn = true;                     ///< whether it is the block's own condition that changed
  const KSBlock* cause = nullptr;        ///< the ancestor whose change this is
  bool isNewlyNever = false;             ///< whether the block could be on and no longer can
  std::optional<NamedValues> witness{};  ///< values that tell the conditions apart
  /// The conditions before and after; nothing where the block is not there or has no answer, empty
  /// for "true".
  std::optional<std::string> oldText{};
  std::optional<std::string> newText{};
};

/// Answers which blocks were added, removed or moved, and which conditions mean something else
/// under the domains and constraints of the new model, which `aNew` asks about; it knows the
/// variables of the old one. Throws `AnswerError`.
std::vector<DiffEntry> answerDiff(const TypedModel& aOld, const Question& aNew);

/// Writes the differences. Returns a line that sums up. Throws `WriteError`.
std::string writeDiff(const Question& aNew, const std::vector<DiffEntry>& aEntries,
                      std::ostream& aOut);

}  // namespace ksexpr
