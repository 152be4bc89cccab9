// Verdicts on the net conditions of a model.
#pragma once

#include <vector>

#include "tools/Model.hpp"

namespace ksexpr {

/// Under which values of its variables a condition holds: none, all, some, or not known.
enum class Verdict : unsigned char { Never, Always, Sometimes, Unknown };

/// The verdicts by block, under the model's domains and constraints; `Unknown` where conditions do
/// not parse. Throws `AnswerError` for constraints that exclude each other, and `UsageError` in a
/// program that can't decide.
std::vector<Verdict> familyVerdicts(const Model& aModel, Family aFamily);

}  // namespace ksexpr
