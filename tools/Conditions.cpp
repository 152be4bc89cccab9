#include "tools/Conditions.hpp"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>

#include "base/SymbolicExprTable.hpp"
#include "tools/Fingerprints.hpp"
#include "tools/Jobs.hpp"
#include "tools/Subtrees.hpp"
#include "tools/Text.hpp"
#include "tools/TypedModel.hpp"

namespace ksexpr {

namespace {

// The blocks of the file that are answered before they are used: few at first, so that answers
// appear at once, then more as long as it takes no time that anybody notices.
constexpr std::size_t firstStretch = 64;
constexpr std::size_t maxStretch = std::size_t{16} << 10;
constexpr std::chrono::milliseconds stretchTime(30);

// The blocks of a piece of the tree that one answers. The more pieces, the more evenly the work is
// shared in whatever order the blocks stand; each repeats the path above it.
constexpr std::size_t pieceSize = 256;

}  // namespace

Conditions::Conditions(const Model& aModel, const ConditionsRequest& aRequest,
                       const ConditionsObserver& aObserver)
    : model(aModel),
      request(aRequest),
      observer(aObserver),
      style(request.style.value_or(Style::Canonical)),
      selection(select(model, request.underId, request.blockIds)),
      origin(request.isRelative ? selection.under : nullptr),
      hasReadable(style != Style::Canonical || request.withCompact),
      isPlanned(model.blocks.size(), false),
      lines(request.withDecision || request.withCompact ? std::string_view(model.text)
                                                        : std::string_view()) {
  std::vector<bool> isNeeded(model.blocks.size(), false);
  for (const KSBlock& selected : model.blocks) {
    if (!selection.isSelected[model.indexOf(selected)]) continue;
    for (const KSBlock* block = &selected; block != nullptr && !isNeeded[model.indexOf(*block)];
         block = above(*block)) {
      isNeeded[model.indexOf(*block)] = true;
      ++numNeeded;
    }
  }
  share();
  if (hasReadable) readable.resize(model.blocks.size());
  if (!request.onlyDead && !request.withDecision) return;
  for (const Family family : {VV, CG, S}) {
    if (request.families[family]) verdicts[family] = familyVerdicts(model, family);
  }
}

// Large tables take long to give back.
Conditions::~Conditions() {
  try {
    sideBySide(answerers.size(), [this](std::size_t number) { answerers[number].reset(); });
  } catch (const std::exception&) {
    // What is left is given back behind this.
  }
}

// Cuts the tree into pieces for those who answer.
void Conditions::share() {
  constexpr std::size_t maxOwners = std::numeric_limits<std::uint16_t>::max();
  const std::size_t numAnswerers =
      std::max<std::size_t>(std::min({request.jobs, numNeeded / pieceSize, maxOwners}), 1);
  // To have memory for many answers takes as long as to cut the tree.
  sideBySide(numAnswerers > 1 ? 2 : 1, [&](std::size_t number) {
    if (number == 0) {
      answers.resize(model.blocks.size());
      return;
    }
    owners.reserve(model.blocks.size());
    for (const std::uint32_t position : subtreePositions(model)) {
      owners.push_back(static_cast<std::uint16_t>(position / pieceSize % numAnswerers));
    }
  });
  const AnswererRequest what{request.families,  origin,        style,
                             request.withCOfCG, request.withC, request.withCompact};
  for (std::size_t i = 0; i < numAnswerers; ++i) {
    answerers.push_back(std::make_unique<Answerer>(
        model, what, Share{owners, static_cast<std::uint16_t>(i)}, answers));
  }
  idTRUE = static_cast<ConditionId>(answerers.front()->getTable().getIdTRUE());
  idFALSE = static_cast<ConditionId>(answerers.front()->getTable().getIdFALSE());
}

void Conditions::answer(const std::function<void(Stretch)>& aUse,
                        const std::function<void(std::size_t, Stretch)>& aPrepare) {
  std::size_t length = firstStretch;
  for (std::size_t from = 0; from < model.blocks.size();) {
    const auto start = std::chrono::steady_clock::now();
    const std::size_t to = std::min(from + length, model.blocks.size());
    const std::vector<Step> steps = stepsTo(from, to);
    sideBySide(answerers.size(), [&](std::size_t number) {
      answerShare(number, steps);
      if (aPrepare) aPrepare(number, {from, to});
    });
    for (const Step& step : steps) {
      const std::size_t index = model.indexOf(*step.block);
      if (selection.isSelected[index] && isDead(*step.block)) ++numDead;
      for (const Family family : {VV, CG, S}) {
        if (answers[index].net[family] != notAvailable) continue;
        const std::string problem = problemOf(*step.block, family);
        if (problem.empty()) continue;
        aUse({std::exchange(from, step.cause), step.cause});
        observer.problem(problem);
      }
    }
    aUse({from, to});
    from = to;
    numAnswered += steps.size();
    observer.progress(numAnswered, numNeeded);
    const bool isQuick = std::chrono::steady_clock::now() - start < stretchTime;
    length = isQuick ? std::min(2 * length, maxStretch) : std::max(length / 2, firstStretch);
  }
  for (const auto& one : answerers) one->forgetQuestions();
}

// The blocks that are to be answered for those of a stretch, each behind those that it continues.
std::vector<Conditions::Step> Conditions::stepsTo(std::size_t aFrom, std::size_t aTo) {
  std::vector<Step> steps;
  for (std::size_t index = aFrom; index < aTo; ++index) {
    if (!selection.isSelected[index]) continue;
    const auto first = static_cast<std::ptrdiff_t>(steps.size());
    for (const KSBlock* block = &model.blocks[index];
         block != nullptr && !isPlanned[model.indexOf(*block)]; block = above(*block)) {
      isPlanned[model.indexOf(*block)] = true;
      steps.push_back({block, index});
    }
    std::reverse(steps.begin() + first, steps.end());
  }
  return steps;
}

void Conditions::answerShare(std::size_t aNumber, const std::vector<Step>& aSteps) {
  Answerer& one = *answerers[aNumber];
  for (std::size_t i = 0; i < aSteps.size(); ++i) {
    // The others come as far as the first one.
    if (aNumber == 0) observer.progress(numAnswered + i, numNeeded);
    const KSBlock& block = *aSteps[i].block;
    if (answererNumber(block) != aNumber) continue;
    one.answer(block);
    if (!isListed(block)) continue;
    if (hasReadable) readable[model.indexOf(block)] = one.makeReadable(block);
    if (style == Style::Canonical && (request.withC || request.withCOfCG)) one.prepareC(block);
  }
}

// A net condition that is "false" is never true; others may be, which takes a proof to tell.
bool Conditions::isDead(const KSBlock& aBlock) const {
  const std::size_t index = model.indexOf(aBlock);
  for (const Family family : {VV, CG, S}) {
    if (answers[index].net[family] == idFALSE) return true;
    if (!verdicts[family].empty() && verdicts[family][index] == Verdict::Never) return true;
  }
  return false;
}

ConditionId Conditions::shown(const KSBlock& aBlock, Family aFamily, bool aIsNet) const {
  const std::size_t index = model.indexOf(aBlock);
  const ConditionId id = aIsNet ? answers[index].net[aFamily] : answers[index].local[aFamily];
  if (style == Style::Canonical || id == notAvailable) return id;
  return aIsNet ? readable[index].net[aFamily] : readable[index].local[aFamily];
}

// The message about a net condition that is not available; nothing where enough has been told.
std::string Conditions::problemOf(const KSBlock& aBlock, Family aFamily) {
  const bool isHindered = answers[model.indexOf(aBlock)].local[aFamily] != notAvailable;
  if (!problems.add(isHindered ? "net conditions that are not available"
                               : "conditions that cannot be answered")) {
    return "";
  }
  return isHindered ? hindranceMessage(aBlock, aFamily) : failureMessage(aBlock, aFamily);
}

std::string Conditions::failureMessage(const KSBlock& aBlock, Family aFamily) const {
  return conditionProblem(model, aBlock, aFamily,
                          answerers[answererNumber(aBlock)]->failure(aBlock, aFamily));
}

std::string Conditions::hindranceMessage(const KSBlock& aBlock, Family aFamily) const {
  const KSBlock* ancestor = above(aBlock);
  while (answers[model.indexOf(*ancestor)].local[aFamily] != notAvailable) {
    ancestor = above(*ancestor);
  }
  return printable(model.path) + ": block \"" + shortened(aBlock.id) + "\", " +
         familyNames[aFamily] + ": no net condition, because that of its ancestor \"" +
         shortened(ancestor->id) + "\" is not available\n";
}

std::size_t Conditions::countDistinct() const {
  if (answerers.size() == 1) {
    const std::vector<bool>& answered = answerers.front()->getAnswered();
    return static_cast<std::size_t>(std::count(answered.begin(), answered.end(), true));
  }
  const std::size_t count = answerers.size();
  std::vector<std::vector<Fingerprint>> found(count);
  sideBySide(count, [&](std::size_t number) {
    std::vector<Fingerprint> all = fingerprints(answerers[number]->getTable());
    const std::vector<bool>& answered = answerers[number]->getAnswered();
    std::size_t numKept = 0;
    for (std::size_t id = 0; id < answered.size(); ++id) {
      if (answered[id]) all[numKept++] = all[id];
    }
    all.resize(numKept);
    all.shrink_to_fit();
    found[number] = std::move(all);
  });
  // One fingerprint is always counted by the same.
  std::vector<std::size_t> distinct(count);
  sideBySide(count, [&](std::size_t number) {
    std::vector<Fingerprint> own;
    for (const std::vector<Fingerprint>& all : found) {
      std::copy_if(all.begin(), all.end(), std::back_inserter(own),
                   [&](const Fingerprint& one) { return one.second % count == number; });
    }
    std::sort(own.begin(), own.end());
    const auto end = std::unique(own.begin(), own.end());
    distinct[number] = static_cast<std::size_t>(end - own.begin());
  });
  return std::accumulate(distinct.begin(), distinct.end(), std::size_t{0});
}

void Conditions::finish() const {
  const std::string remaining = problems.remaining(model.path);
  if (!remaining.empty()) observer.problem(remaining);
}

}  // namespace ksexpr
