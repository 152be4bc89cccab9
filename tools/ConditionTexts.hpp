// The texts of conditions, for one who writes many of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/Conditions.hpp"

namespace ksexpr {

/// A text, and whether it stands as it is between the quotes of a JSON string.
struct ConditionText {
  std::string_view text;
  bool isPlain = true;
};

/// Makes the texts of conditions that one answerer has answered. Keeps some, since many blocks
/// share a condition; the texts of all of them together have no bound. Used by the thread that
/// answers, or while nobody does.
class ConditionTexts {
 public:
  /// Whether a text is plain is only looked at for JSON; else none is said to be.
  ConditionTexts(const Conditions& aConditions, std::size_t aAnswerer, bool aForJson)
      : conditions(aConditions), answerer(aConditions.answerer(aAnswerer)), forJson(aForJson) {}

  /// The text of a block's local or net condition that is available, in the style that is asked
  /// for, empty for "true". Lasts until the next call.
  ConditionText of(const KSBlock& aBlock, Family aFamily, bool aIsNet, bool aCForm);
  /// The compact text of a block's net condition, empty for "true".
  ConditionText compact(const KSBlock& aBlock, Family aFamily);

 private:
  enum class Kind : unsigned char { M, C, COfCG, ReadableM, ReadableC };
  struct Kept {
    std::uint64_t key = ~std::uint64_t{0};  // kind and condition
    std::uint32_t begin = 0;
    std::uint32_t length = 0;
    bool isPlain = true;
  };
  static constexpr unsigned keptBits = 12;

  ConditionText find(Kind aKind, ConditionId aId);
  std::string make(Kind aKind, ConditionId aId) const;

  const Conditions& conditions;
  const Answerer& answerer;
  const bool forJson;
  // The texts that were asked for last, each in a place that its kind and condition choose. Texts
  // lie one behind the other; long ones are made anew.
  std::vector<Kept> kept = std::vector<Kept>(std::size_t{1} << keptBits);
  std::string texts;
  std::string longText;
  std::string cText;
};

}  // namespace ksexpr
