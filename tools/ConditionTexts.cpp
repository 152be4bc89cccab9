#include "tools/ConditionTexts.hpp"

#include <algorithm>

#include "tools/Text.hpp"

namespace ksexpr {

namespace {

// The bytes of the texts that are kept, and of each of them.
constexpr std::size_t maxKeptLength = std::size_t{256} << 10;
constexpr std::size_t maxKeptTextLength = std::size_t{64} << 10;

}  // namespace

ConditionText ConditionTexts::of(const KSBlock& aBlock, Family aFamily, bool aIsNet, bool aCForm) {
  const ConditionId id = conditions.shown(aBlock, aFamily, aIsNet);
  if (!conditions.isCanonical()) {
    return find(aCForm ? Kind::ReadableC : Kind::ReadableM, id);
  }
  if (conditions.isTrue(id)) return {};
  // The service has a C form of its own for the CG family.
  const bool hasC = aFamily == CG && !conditions.isOrigin(aBlock);
  if (!aCForm || !hasC) return find(aCForm ? Kind::C : Kind::M, id);
  if (!answerer.isSpelledAlike(id)) return find(Kind::COfCG, id);
  const ConditionText inM = find(Kind::M, id);  // which takes half of the work that both would
  const bool isKept = inM.text.data() != longText.data();
  std::string& inC = isKept ? cText.assign(inM.text) : longText;  // a long one is not held twice
  std::transform(inC.begin(), inC.end(), inC.begin(),
                 [](char byte) { return byte == '~' ? '!' : byte; });
  return {inC, inM.isPlain};
}

ConditionText ConditionTexts::compact(const KSBlock& aBlock, Family aFamily) {
  return find(Kind::ReadableM, conditions.compactNet(aBlock, aFamily));
}

ConditionText ConditionTexts::find(Kind aKind, ConditionId aId) {
  const std::uint64_t key = std::uint64_t{static_cast<unsigned char>(aKind)} << 32 | aId;
  Kept& place = kept[key * 0x9E3779B97F4A7C15 >> (64 - keptBits)];
  if (place.key == key) {
    return {std::string_view(texts).substr(place.begin, place.length), place.isPlain};
  }
  longText = std::string();  // its memory serves the next one
  longText = make(aKind, aId);
  const bool isPlain = forJson && isPlainInJson(longText);
  if (longText.size() > maxKeptTextLength) return {longText, isPlain};
  if (texts.size() + longText.size() > maxKeptLength) {
    std::fill(kept.begin(), kept.end(), Kept());
    texts.clear();
  }
  place = {key, static_cast<std::uint32_t>(texts.size()),
           static_cast<std::uint32_t>(longText.size()), isPlain};
  texts += longText;
  return {std::string_view(texts).substr(texts.size() - longText.size()), isPlain};
}

std::string ConditionTexts::make(Kind aKind, ConditionId aId) const {
  switch (aKind) {
    case Kind::ReadableM: return answerer.readableText(aId, false);
    case Kind::ReadableC: return answerer.readableText(aId, true);
    case Kind::M:
    case Kind::C:
    case Kind::COfCG: break;
  }
  return answerer.text(aId, aKind == Kind::COfCG, aKind != Kind::M);
}

}  // namespace ksexpr
