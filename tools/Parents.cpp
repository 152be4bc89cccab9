#include "tools/Parents.hpp"

#include <algorithm>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "tools/Jobs.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

// Fewer blocks are not worth a thread.
constexpr std::size_t blocksOfThread = std::size_t{1} << 15;

using Index = std::uint32_t;

// The hashes of a model's ids, by block.
using Hashes = std::vector<std::size_t>;

// Finds blocks by their ids.
struct IdHash {
  using is_transparent = void;
  const Hashes* hashes;
  std::size_t operator()(Index aBlock) const { return (*hashes)[aBlock]; }
  std::size_t operator()(std::string_view aId) const { return std::hash<std::string_view>()(aId); }
};
struct IdEqual {
  using is_transparent = void;
  const std::vector<KSBlock>* blocks;
  bool operator()(Index aLeft, Index aRight) const { return (*this)((*blocks)[aLeft].id, aRight); }
  bool operator()(std::string_view aId, Index aBlock) const { return aId == (*blocks)[aBlock].id; }
};

// The work on all blocks, each thread's in parts that stand one behind the other.
class Linking {
 public:
  Linking(Model& aModel, const std::vector<ParentName>& aParents, std::size_t aJobs)
      : model(aModel),
        parents(aParents),
        count(std::clamp<std::size_t>(aModel.blocks.size() / blocksOfThread, 1, aJobs)),
        hashes(aModel.blocks.size()),
        shares(count, Share{Ids(0, IdHash{&hashes}, IdEqual{&aModel.blocks}), {}, {}}) {
    const std::vector<KSBlock>& blocks = model.blocks;
    const IdHash hash{&hashes};
    forEachPart([&](std::size_t, Index from, Index to) {
      for (Index i = from; i < to; ++i) hashes[i] = hash(blocks[i].id);
    });
    sideBySide(count, [&](std::size_t number) {
      Share& share = shares[number];
      share.ids.reserve(blocks.size() / count * 17 / 16);
      for (Index i = 0; i < blocks.size(); ++i) {
        if (shareOf(hashes[i]) != number) continue;
        const auto [first, isNew] = share.ids.insert(i);
        if (!isNew) share.twice.emplace_back(i, *first);
      }
    });
    forEachPart([&](std::size_t number, Index from, Index to) {
      for (Index i = from; i < to; ++i) {
        if (parents[i] && !link(i, from)) shares[number].orphans.push_back(i);
      }
    });
  }

  // Blocks whose id an earlier one has, and the first that has it, in order.
  std::vector<std::pair<Index, Index>> twice() const {
    std::vector<std::pair<Index, Index>> all;
    for (const Share& share : shares) all.insert(all.end(), share.twice.begin(), share.twice.end());
    std::sort(all.begin(), all.end());
    return all;
  }
  // Blocks whose parent nobody knows, in order.
  std::vector<Index> orphans() const {
    std::vector<Index> all;
    for (const Share& share : shares) {
      all.insert(all.end(), share.orphans.begin(), share.orphans.end());
    }
    return all;
  }

 private:
  using Ids = boost::unordered_flat_set<Index, IdHash, IdEqual>;
  // Of one thread: the ids whose hash chooses it, and what is wrong.
  struct Share {
    Ids ids;
    std::vector<std::pair<Index, Index>> twice;
    std::vector<Index> orphans;
  };

  std::size_t shareOf(std::size_t aHash) const { return (aHash >> 20) % count; }

  template <class Work>
  void forEachPart(const Work& aWork) {
    const std::size_t size = model.blocks.size();
    sideBySide(count, [&](std::size_t number) {
      aWork(number, static_cast<Index>(size * number / count),
            static_cast<Index>(size * (number + 1) / count));
    });
  }

  // Returns whether the block's parent is known. Siblings often stand one after the other.
  bool link(Index aBlock, Index aFirst) {
    KSBlock& block = model.blocks[aBlock];
    const std::string_view name = *parents[aBlock];
    const KSBlock* const last = aBlock > aFirst ? model.blocks[aBlock - 1].parent : nullptr;
    if (last != nullptr && last->id == name) {
      block.parent = last;
      return true;
    }
    const Ids& ids = shares[shareOf(std::hash<std::string_view>()(name))].ids;
    const auto found = ids.find(name);
    if (found != ids.end()) block.parent = &model.blocks[*found];
    return found != ids.end();
  }

  Model& model;
  const std::vector<ParentName>& parents;
  const std::size_t count;
  Hashes hashes;
  std::vector<Share> shares;
};

// "a -> b -> a", shortened where the way back to the block is long.
std::string describeCycle(const KSBlock& aBlock) {
  constexpr std::size_t maxSteps = 10;
  std::string chain;
  const KSBlock* block = &aBlock;
  for (std::size_t steps = 0; steps == 0 || block != &aBlock; ++steps, block = block->parent) {
    if (steps == maxSteps) {
      chain += "... -> ";
      break;
    }
    chain += shortened(block->id) + " -> ";
  }
  return chain + shortened(aBlock.id);
}

void findCycles(const Model& aModel, const std::vector<ParentName>& aParents,
                ModelErrors& aErrors) {
  const bool isInOrder = std::all_of(
      aModel.blocks.begin(), aModel.blocks.end(),
      [](const KSBlock& block) { return block.parent == nullptr || block.parent < &block; });
  if (isInOrder) return;
  // By block: the number of the start from which it was first met, walking up; 0 for not yet.
  std::vector<std::size_t> metFrom(aModel.blocks.size(), 0);
  std::size_t walk = 0;
  for (const KSBlock& start : aModel.blocks) {
    ++walk;
    const KSBlock* block = &start;
    while (block != nullptr && metFrom[aModel.indexOf(*block)] == 0) {
      metFrom[aModel.indexOf(*block)] = walk;
      block = block->parent;
    }
    if (block != nullptr && metFrom[aModel.indexOf(*block)] == walk) {
      aErrors.add("cycles of parents", aModel.offsetOf(*aParents[aModel.indexOf(*block)]),
                  "cycle of parents: " + describeCycle(*block));
    }
  }
}

}  // namespace

void linkParents(Model& aModel, const std::vector<ParentName>& aParents, ModelErrors& aErrors,
                 std::size_t aJobs) {
  const Linking linking(aModel, aParents, aJobs);
  const auto add = [&](const char* kind, std::string_view place, const auto& message) {
    if (aErrors.counts.add(kind)) aErrors.told.push_back({kind, aModel.offsetOf(place), message()});
  };
  const auto named = [&](Index block) {
    return "block \"" + shortened(aModel.blocks[block].id) + '"';
  };
  for (const auto& [block, first] : linking.twice()) {
    add("ids that are defined twice", aModel.blocks[block].id, [&, block = block, first = first] {
      return named(block) + " is defined twice, first in line " +
             std::to_string(aModel.lineOf(aModel.blocks[first].id));
    });
  }
  for (const Index block : linking.orphans()) {
    const std::string_view name = *aParents[block];
    add("unknown parents", name,
        [&] { return named(block) + " has an unknown parent \"" + shortened(name) + '"'; });
  }
  if (aErrors.told.empty()) findCycles(aModel, aParents, aErrors);
}

}  // namespace ksexpr
