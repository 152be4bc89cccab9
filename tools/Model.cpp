#include "tools/Model.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <system_error>
#include <unordered_map>

#include "tools/Diagnostic.hpp"
#include "tools/ModelSyntax.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool readFile(const std::string& aPath, std::string& aText, std::ostream& aErrors) {
  // Nothing that grows step by step needs twice the memory of a large file. A pipe has no size.
  std::error_code hasNoSize;
  const std::uintmax_t size = std::filesystem::file_size(aPath, hasNoSize);
  if (!hasNoSize) aText.reserve(size);

  errno = 0;
  std::ifstream file(aPath, std::ios::binary);
  std::vector<char> buffer(1 << 16);
  while (file.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) ||
         file.gcount() > 0) {
    aText.append(buffer.data(), static_cast<std::size_t>(file.gcount()));
  }
  // Only a file that was read to its end has met the end.
  if (file.eof()) {
    if (aText.compare(0, byteOrderMark.size(), byteOrderMark) == 0) {
      aText.erase(0, byteOrderMark.size());
    }
    return true;
  }
  aErrors << printable(aPath) << ": cannot read: " << std::strerror(errno) << '\n';
  return false;
}

void linkParents(Model& aModel, const std::vector<ParentName>& aParents, ModelErrors& aErrors) {
  std::unordered_map<std::string_view, const KSBlock*> byId;
  byId.reserve(aModel.blocks.size());
  for (const KSBlock& block : aModel.blocks) {
    const auto [first, isNew] = byId.emplace(block.id, &block);
    if (isNew || !aErrors.counts.add("ids that are defined twice")) continue;
    aErrors.told.push_back(
        {block.idOffset, "block \"" + shortened(block.id) + "\" is defined twice, first in line " +
                             std::to_string(aModel.lineOf(first->second->idOffset))});
  }
  for (KSBlock& block : aModel.blocks) {
    const ParentName& name = aParents[aModel.indexOf(block)];
    if (!name.id) continue;
    const auto parent = byId.find(*name.id);
    if (parent != byId.end()) {
      block.parent = parent->second;
    } else {
      aErrors.add("unknown parents", name.offset,
                  "block \"" + shortened(block.id) + "\" has an unknown parent \"" +
                      shortened(*name.id) + '"');
    }
  }
}

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
      aErrors.add("cycles of parents", aParents[aModel.indexOf(*block)].offset,
                  "cycle of parents: " + describeCycle(*block));
    }
  }
}

void report(const Model& aModel, ModelErrors& aFound, std::ostream& aErrors) {
  std::sort(aFound.told.begin(), aFound.told.end(), [](const ModelError& a, const ModelError& b) {
    return a.offset != b.offset ? a.offset < b.offset : a.message < b.message;
  });
  for (const ModelError& error : aFound.told) {
    aErrors << diagnostic(aModel.path, 1, aModel.text, error.offset, error.message);
  }
  aErrors << aFound.counts.remaining(aModel.path);
}

}  // namespace

std::size_t Model::lineOf(std::size_t aOffset) const { return placeOf(text, aOffset).line; }

std::unique_ptr<const Model> readModel(const std::string& aPath, std::ostream& aErrors) {
  auto model = std::make_unique<Model>();
  model->path = aPath;
  if (!readFile(aPath, model->text, aErrors)) return nullptr;
  ModelErrors errors;
  const std::vector<ParentName> parents = parseModel(*model, errors);
  if (errors.told.empty()) linkParents(*model, parents, errors);
  if (errors.told.empty()) findCycles(*model, parents, errors);
  if (errors.told.empty()) return model;
  report(*model, errors, aErrors);
  return nullptr;
}

}  // namespace ksexpr
