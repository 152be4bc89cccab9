#include "tools/Selection.hpp"

#include <fnmatch.h>
#include <locale.h>  // NOLINT(modernize-deprecated-headers): POSIX adds to it

#include <algorithm>
#include <string_view>

#include "tools/Commands.hpp"
#include "tools/Text.hpp"
#include "tools/TypedModel.hpp"

namespace ksexpr {

namespace {

// Ids and patterns of ids.
class Patterns {
 public:
  explicit Patterns(const std::vector<std::string>& aTexts)
      : locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    for (const std::string& text : aTexts) all.push_back({text, false, false});
  }
  Patterns(const Patterns&) = delete;
  Patterns& operator=(const Patterns&) = delete;
  ~Patterns() {
    if (locale != nullptr) freelocale(locale);
  }

  // Takes note of an id that there is. One that is spelled like a pattern wins over it.
  void meet(std::string_view aId) {
    for (Pattern& pattern : all) {
      if (pattern.text == aId) pattern.isId = true;
      pattern.isMet = pattern.isMet || pattern.isId || isLike(pattern, aId);
    }
  }
  // One that no id is like, or null.
  const std::string* missing() const {
    const auto found =
        std::find_if(all.begin(), all.end(), [](const Pattern& pattern) { return !pattern.isMet; });
    return found == all.end() ? nullptr : &found->text;
  }
  bool matches(std::string_view aId) const {
    return std::any_of(all.begin(), all.end(), [&](const Pattern& pattern) {
      return pattern.isId ? pattern.text == aId : isLike(pattern, aId);
    });
  }

 private:
  struct Pattern {
    std::string text;
    bool isId;
    bool isMet;
  };

  // "?" and "[...]" are about characters, not bytes.
  bool isLike(const Pattern& aPattern, std::string_view aId) const {
    if (aPattern.text.find_first_of("*?[") == std::string::npos) return false;
    const locale_t usual = locale == nullptr ? nullptr : uselocale(locale);
    const bool isMatch = fnmatch(aPattern.text.c_str(), std::string(aId).c_str(), 0) == 0;
    if (usual != nullptr) uselocale(usual);
    return isMatch;
  }

  const locale_t locale;
  std::vector<Pattern> all;
};

// By block: whether it is `aTop` or below it.
std::vector<bool> belowTop(const Model& aModel, const KSBlock& aTop) {
  std::vector<bool> isBelow(aModel.blocks.size(), false);
  isBelow[aModel.indexOf(aTop)] = true;
  std::vector<bool> isMet = isBelow;
  std::vector<std::size_t> path;
  for (const KSBlock& start : aModel.blocks) {
    const KSBlock* block = &start;
    for (; block != nullptr && !isMet[aModel.indexOf(*block)]; block = block->parent) {
      path.push_back(aModel.indexOf(*block));
    }
    const bool isPathBelow = block != nullptr && isBelow[aModel.indexOf(*block)];
    for (const std::size_t index : path) {
      isMet[index] = true;
      isBelow[index] = isPathBelow;
    }
    path.clear();
  }
  return isBelow;
}

}  // namespace

Selection select(const Model& aModel, const std::optional<std::string>& aUnder,
                 const std::vector<std::string>& aIds) {
  Selection found;
  if (aUnder) found.under = &findBlock(aModel, *aUnder);
  found.isSelected = found.under == nullptr ? std::vector<bool>(aModel.blocks.size(), true)
                                            : belowTop(aModel, *found.under);
  if (!aIds.empty()) {
    Patterns wanted(aIds);
    for (const KSBlock& block : aModel.blocks) {
      if (found.isSelected[aModel.indexOf(block)]) wanted.meet(block.id);
    }
    if (const std::string* missing = wanted.missing()) {
      if (found.under == nullptr) throw AnswerError(noBlockMessage(aModel, *missing));
      throw AnswerError(printable(aModel.path) + ": no block \"" + shortened(*missing) +
                        "\" below \"" + shortened(found.under->id) + '"');
    }
    for (const KSBlock& block : aModel.blocks) {
      const std::size_t index = aModel.indexOf(block);
      found.isSelected[index] = found.isSelected[index] && wanted.matches(block.id);
    }
  }
  found.count =
      static_cast<std::size_t>(std::count(found.isSelected.begin(), found.isSelected.end(), true));
  return found;
}

}  // namespace ksexpr
