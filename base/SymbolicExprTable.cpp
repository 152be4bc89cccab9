#include "base/SymbolicExprTable.hpp"

#include <stdexcept>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/HostNode.hpp"
#include "base/detail/Intern.hpp"
#include "base/detail/NodeView.hpp"

namespace KS {

namespace {

const SymbolicExpr& nodeOf(const SymbolicExprRef& aRef) {
  if (aRef.get() == nullptr) throw std::invalid_argument("KS::SymbolicExprRef: the node is null");
  return *aRef.get();
}

}  // namespace

std::size_t hash_value(const SymbolicExprRef& aRef) { return nodeOf(aRef).getHash(); }

bool operator==(const SymbolicExprRef& aProbe, const SymbolicExprRef& aStored) {
  return nodeOf(aProbe) == nodeOf(aStored);
}

SymbolicExprTable::SymbolicExprTable() : storage(std::make_unique<detail::TableStorage>()) {
  static_assert(blockSize == decltype(storage->nodes)::blockSize);
}

SymbolicExprTable::~SymbolicExprTable() {
  const detail::TableStorage& stored = *storage;
  for (SymbolicExprId id = 0; id < numNodes; ++id) {
    const detail::NodeSlot& slot = stored.nodes[id];
    if (slot.isInPlace()) continue;
    if (stored.digests[id].isAdded) {
      delete slot.get();
    } else {
      slot.get()->~SymbolicExpr();
    }
  }
}

void SymbolicExprTable::add(const SymbolicExpr* aExpr) {
  if (aExpr == nullptr) {
    throw std::invalid_argument("KS::SymbolicExprTable::add: the node is null");
  }
  detail::checkShape(*aExpr);
  detail::Intern::makeRoom(*this);
  detail::NodeDigest digest = detail::Digests::make(*aExpr);
  digest.isAdded = true;
  const std::size_t nodeHash = aExpr->getHash();
  const std::uint32_t hash = detail::Digests::indexHash(nodeHash);
  detail::NodeIndex& index = storage->index;
  const std::size_t place = index.find(hash, [&](SymbolicExprId aId) {
    return detail::Intern::isEqual(*this, *aExpr, nodeHash, aId);
  });
  if (index.at(place) == detail::NodeDigest::none) {
    index.insert(place, hash, static_cast<std::uint32_t>(size()));
  }
  storage->nodes[size()].refer(aExpr);
  detail::Intern::append(*this, digest);
}

void detail::Intern::growBlocks(SymbolicExprTable& aTable) {
  // All ids of one more block are less than `none`.
  if (aTable.numNodes > NodeDigest::none - BlockArray<NodeDigest>::blockSize) {
    throw std::length_error("KS::SymbolicExprTable: the table holds as many expressions as it can");
  }
  aTable.storage->nodes.makeRoom(aTable.numNodes);
  aTable.blocks = aTable.storage->nodes.data();
  aTable.storage->digests.makeRoom(aTable.numNodes);
}

SymbolicExprId SymbolicExprTable::lookup(const SymbolicExpr* aProbe) const {
  if (aProbe == nullptr) return invalidSymbolicExprId;
  const std::size_t hash = aProbe->getHash();
  return detail::Intern::search(*this, detail::Digests::indexHash(hash), [&](SymbolicExprId aId) {
    return detail::Intern::isEqual(*this, *aProbe, hash, aId);
  });
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
  const bool isFirst = storage->valueIds.emplace(symbol, aValueId).second;
  if (!isFirst || aValueId >= detail::NodeDigest::none) return;
  detail::NodeDigest& digest = storage->digests[symbol];
  digest.first = static_cast<std::uint32_t>(aValueId);
  if (aValueId >= numNodes) return;  // as long as there is no such node, it has no value
  const detail::NodeView value(*this, aValueId);
  digest.isInt = value.is(SymbolicOp::IntValue);
  if (digest.isInt) digest.second = static_cast<std::uint32_t>(value.intValue());
}

SymbolicExprId SymbolicExprTable::getValueId(SymbolicExprId aSymbolId) const {
  const auto value = storage->valueIds.find(aSymbolId);
  return value == storage->valueIds.end() ? invalidSymbolicExprId : value->second;
}

void SymbolicExprTable::failUnknownId(SymbolicExprId aId) const {
  throw std::out_of_range(
      "KS::SymbolicExprTable::get: no expression has the id " +
      (aId == invalidSymbolicExprId ? "of a failed parse or lookup" : std::to_string(aId)));
}

}  // namespace KS
