#include "base/SymbolicExprTable.hpp"

#include <algorithm>
#include <stdexcept>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Intern.hpp"

namespace KS {

namespace {

// Makes room for one more element. Growing by half leaves less memory unused than doubling.
template <class Vector>
void makeRoom(Vector& aVector) {
  if (aVector.size() == aVector.capacity()) {
    aVector.reserve(aVector.size() + aVector.size() / 2 + 16);
  }
}

}  // namespace

std::size_t hash_value(const SymbolicExprRef& aRef) { return aRef.get()->getHash(); }

bool operator==(const SymbolicExprRef& aProbe, const SymbolicExprRef& aStored) {
  return *aProbe.get() == *aStored.get();
}

// Of two slots the younger is the probe: the older one is stored already.
bool SymbolicExprTable::SlotEqual::operator()(const Slot& a, const Slot& b) const {
  if (a.hash != b.hash) return false;
  const SymbolicExpr& probe = *table->nodes[std::max(a.id, b.id)];
  return table->isEqual(probe, probe.getHash(), std::min(a.id, b.id));
}

bool SymbolicExprTable::isEqual(const SymbolicExpr& aProbe, std::size_t aHash,
                                SymbolicExprId aId) const {
  return nodes[aId]->getHash() == aHash && aProbe == *nodes[aId];
}

SymbolicExprTable::SymbolicExprTable() : index(0, SlotHash{}, SlotEqual{this}) {}

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
  detail::NodeDigest digest = detail::Digests::make(*aExpr);
  digest.isAdded = true;
  append(aExpr, aExpr->getHash(), digest);
}

void SymbolicExprTable::append(const SymbolicExpr* aNode, std::size_t aHash,
                               const detail::NodeDigest& aDigest) {
  if (nodes.size() >= detail::NodeDigest::none) failFull();
  makeRoom(nodes);
  makeRoom(digests);
  nodes.push_back(aNode);
  digests.push_back(aDigest);
  try {
    index.insert(slot(aHash, nodes.size() - 1));
  } catch (...) {
    digests.pop_back();
    nodes.pop_back();
    throw;
  }
}

SymbolicExprId SymbolicExprTable::lookup(const SymbolicExpr* aProbe) const {
  if (aProbe == nullptr) return invalidSymbolicExprId;
  const std::size_t hash = aProbe->getHash();
  return search(hash, [&](SymbolicExprId aId) { return isEqual(*aProbe, hash, aId); });
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

void SymbolicExprTable::failFull() {
  throw std::length_error("KS::SymbolicExprTable: the table holds as many expressions as it can");
}

}  // namespace KS
