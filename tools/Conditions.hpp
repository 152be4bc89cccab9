// The conditions of a model's blocks, as the condition service answers them.
#pragma once

#include <array>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/SymbolicExprId.hpp"
#include "tools/Model.hpp"

namespace ksexpr {

/// What is asked about a model.
struct ConditionsRequest {
  std::string path;
  /// By `Family`: whether it is answered.
  std::array<bool, 3> families{true, true, true};
  /// The blocks to answer; all if empty.
  std::vector<std::string> blockIds;
  bool onlyDead = false;
  /// Whether texts in C form are needed at all, and whether also of VV conditions.
  bool needsC = false;
  bool needsCOfVV = false;
};

/// A condition with its texts, which are empty for one that is always true. Texts that the request
/// does not need are left empty.
struct Condition {
  bool isTrue = false;
  bool isFalse = false;
  std::string m;
  std::string c;
};

/// The answer for one block. A null condition is not available, since its text or an ancestor's
/// does not parse.
struct BlockAnswer {
  const KSBlock* block;
  std::array<const Condition*, 3> local{};
  std::array<const Condition*, 3> net{};

  /// Whether a net condition of the block is false.
  bool isDead() const;
};

/// What the service made of a model.
struct ConditionsResult {
  /// In file order.
  std::vector<BlockAnswer> answers;
  /// Owns the conditions of the answers, each distinct one once.
  std::unordered_map<KS::SymbolicExprId, Condition> conditions;
  bool hasFailed = false;
};

/// Called with the number of blocks that are done and the number that are to be done.
using ProgressCallback = std::function<void(std::size_t, std::size_t)>;

/// Answers the model's blocks. What can't be answered is told on `aErrors`, the rest is answered.
ConditionsResult answerConditions(const Model& aModel, const ConditionsRequest& aRequest,
                                  std::ostream& aErrors, const ProgressCallback& aProgress);

}  // namespace ksexpr
