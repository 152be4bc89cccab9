#include "base/SymbolicExprTable.hpp"

#include <algorithm>
#include <stdexcept>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Intern.hpp"

namespace KS {

std::size_t hash_value(const SymbolicExprRef& aRef) { return aRef.get()->getHash(); }

bool operator==(const SymbolicExprRef& aProbe, const SymbolicExprRef& aStored) {
  return *aProbe.get() == *aStored.get();
}

bool SymbolicExprTable::isEqual(const SymbolicExpr& aProbe, std::size_t aHash,
                                SymbolicExprId aId) const {
  return nodes[aId]->getHash() == aHash && aProbe == *nodes[aId];
}

void detail::NodeIndex::grow() {
  std::vector<Slot> old(slots.size() * 2);
  old.swap(slots);
  mask = slots.size() - 1;
  --shift;
  for (const Slot& slot : old) {
    if (slot.id == NodeDigest::none) continue;
    slots[find(slot.hash, [](std::uint32_t) { return false; })] = slot;
  }
}

// A quarter more each time leaves little memory unused.
void detail::NodeArena::grow() {
  constexpr std::size_t least = 1024, most = std::size_t{1} << 20;
  const std::size_t size = std::clamp(total / 4 / sizeof(void*) * sizeof(void*), least, most);
  blocks.push_back(std::unique_ptr<std::byte[]>(new std::byte[size]));
  next = blocks.back().get();
  left = size;
  total += size;
}

SymbolicExprTable::SymbolicExprTable() = default;

SymbolicExprTable::~SymbolicExprTable() {
  for (std::size_t id = 0; id < nodes.size(); ++id) {
    if (digests[id].isAdded) {
      delete nodes[id];
    } else {
      nodes[id]->~SymbolicExpr();
    }
  }
}

void SymbolicExprTable::add(const SymbolicExpr* aExpr) {
  if (aExpr == nullptr) {
    throw std::invalid_argument("KS::SymbolicExprTable::add: the node is null");
  }
  makeRoom();
  detail::NodeDigest digest = detail::Digests::make(*aExpr);
  digest.isAdded = true;
  const std::size_t nodeHash = aExpr->getHash();
  const std::uint32_t hash = detail::Digests::indexHash(nodeHash);
  const std::size_t place =
      index.find(hash, [&](SymbolicExprId aId) { return isEqual(*aExpr, nodeHash, aId); });
  if (index.at(place) == detail::NodeDigest::none) {
    index.insert(place, hash, static_cast<std::uint32_t>(nodes.size()));
  }
  append(aExpr, digest);
}

void SymbolicExprTable::failFull() {
  throw std::length_error("KS::SymbolicExprTable: the table holds as many expressions as it can");
}

SymbolicExprId SymbolicExprTable::lookup(const SymbolicExpr* aProbe) const {
  if (aProbe == nullptr) return invalidSymbolicExprId;
  const std::size_t hash = aProbe->getHash();
  return detail::Intern::search(*this, detail::Digests::indexHash(hash),
                                [&](SymbolicExprId aId) { return isEqual(*aProbe, hash, aId); });
}

bool SymbolicExprTable::contains(const SymbolicExpr* aProbe) const {
  return lookup(aProbe) != invalidSymbolicExprId;
}

void SymbolicExprTable::addBoolSymbols() {
  idFALSE = detail::intern<SymbolicString>(*this, "false");
  idTRUE = detail::intern<SymbolicString>(*this, "true");
}

void SymbolicExprTable::registerValueId(const std::string& aName, SymbolicExprId aValueId) {
  const SymbolicExprId symbol = detail::intern<SymbolicString>(*this, aName);
  const bool isFirst = valueIds.emplace(symbol, aValueId).second;
  if (isFirst && aValueId < detail::NodeDigest::none) {
    digests[symbol].first = static_cast<std::uint32_t>(aValueId);
  }
}

SymbolicExprId SymbolicExprTable::getValueId(SymbolicExprId aSymbolId) const {
  const auto value = valueIds.find(aSymbolId);
  return value == valueIds.end() ? invalidSymbolicExprId : value->second;
}

void SymbolicExprTable::failUnknownId(SymbolicExprId aId) const {
  throw std::out_of_range(
      "KS::SymbolicExprTable::get: no expression has the id " +
      (aId == invalidSymbolicExprId ? "of a failed parse or lookup" : std::to_string(aId)));
}

}  // namespace KS
