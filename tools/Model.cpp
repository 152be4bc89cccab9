#include "tools/Model.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <ostream>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "tools/Diagnostic.hpp"
#include "tools/ModelSyntax.hpp"

namespace ksexpr {

namespace {

// More would only hide the first ones.
constexpr std::size_t maxReported = 20;

bool readFile(const std::string& aPath, std::string& aText, std::ostream& aErrors) {
  errno = 0;
  std::ifstream file(aPath, std::ios::binary);
  std::array<char, 65536> buffer;
  while (file.read(buffer.data(), buffer.size()) || file.gcount() > 0) {
    aText.append(buffer.data(), static_cast<std::size_t>(file.gcount()));
  }
  // Only a file that was read to its end has met the end.
  if (file.eof()) return true;
  aErrors << aPath << ": cannot read: " << std::strerror(errno) << '\n';
  return false;
}

void linkParents(Model& aModel, std::vector<ModelError>& aErrors) {
  std::unordered_map<std::string_view, const KSBlock*> byId;
  byId.reserve(aModel.blocks.size());
  for (const KSBlock& block : aModel.blocks) {
    const auto [first, isNew] = byId.emplace(block.id, &block);
    if (isNew) continue;
    const std::size_t line = aModel.lineOf(first->second->idOffset);
    aErrors.push_back({block.idOffset, "block \"" + printable(block.id) +
                                           "\" is defined twice, first in line " +
                                           std::to_string(line)});
  }
  for (KSBlock& block : aModel.blocks) {
    if (!block.parentId) continue;
    const auto parent = byId.find(*block.parentId);
    if (parent != byId.end()) {
      block.parent = parent->second;
    } else {
      aErrors.push_back({block.parentOffset, "block \"" + printable(block.id) +
                                                 "\" has an unknown parent \"" +
                                                 printable(*block.parentId) + '"'});
    }
  }
}

ModelError cycleError(const std::vector<const KSBlock*>& aPath, const KSBlock* aRepeated) {
  const auto start = std::find(aPath.begin(), aPath.end(), aRepeated);
  std::string chain;
  for (auto block = start; block != aPath.end(); ++block) {
    if (block - start == 10) {
      chain += "... -> ";
      break;
    }
    chain += printable((*block)->id) + " -> ";
  }
  return {aRepeated->parentOffset, "cycle of parents: " + chain + printable(aRepeated->id)};
}

void orderParentsFirst(Model& aModel, std::vector<ModelError>& aErrors) {
  std::unordered_set<const KSBlock*> done;
  std::unordered_set<const KSBlock*> onPath;
  std::vector<const KSBlock*> path;
  for (const KSBlock& start : aModel.blocks) {
    path.clear();
    onPath.clear();
    const KSBlock* block = &start;
    while (block != nullptr && done.count(block) == 0 && onPath.insert(block).second) {
      path.push_back(block);
      block = block->parent;
    }
    if (block != nullptr && done.count(block) == 0) aErrors.push_back(cycleError(path, block));
    done.insert(path.begin(), path.end());
    aModel.parentsFirst.insert(aModel.parentsFirst.end(), path.rbegin(), path.rend());
  }
}

void report(const Model& aModel, std::vector<ModelError>& aFound, std::ostream& aErrors) {
  std::stable_sort(aFound.begin(), aFound.end(),
                   [](const ModelError& a, const ModelError& b) { return a.offset < b.offset; });
  for (std::size_t i = 0; i < std::min(aFound.size(), maxReported); ++i) {
    aErrors << diagnostic(aModel.path, 1, aModel.text, aFound[i].offset, aFound[i].message);
  }
  if (aFound.size() > maxReported) {
    aErrors << aModel.path << ": " << aFound.size() - maxReported << " more errors\n";
  }
}

}  // namespace

std::size_t Model::lineOf(std::size_t aOffset) const {
  const auto next = std::upper_bound(lineStarts.begin(), lineStarts.end(), aOffset);
  return static_cast<std::size_t>(next - lineStarts.begin());
}

std::optional<Model> readModel(const std::string& aPath, std::ostream& aErrors) {
  Model model;
  model.path = aPath;
  if (!readFile(aPath, model.text, aErrors)) return std::nullopt;
  model.lineStarts.push_back(0);
  for (std::size_t i = 0; (i = model.text.find('\n', i)) != std::string::npos;) {
    model.lineStarts.push_back(++i);
  }
  std::vector<ModelError> errors = parseModel(model.text, model.blocks);
  if (errors.empty()) linkParents(model, errors);
  if (errors.empty()) orderParentsFirst(model, errors);
  if (errors.empty()) return model;
  report(model, errors, aErrors);
  return std::nullopt;
}

}  // namespace ksexpr
