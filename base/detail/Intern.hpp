// Interning without a second search, and the other accesses that the library's own code needs.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Digest.hpp"
#include "base/detail/Hash.hpp"

namespace KS::detail {

struct Intern {
  /// Finds the node that equals the probe, or stores a copy of the probe: one hash, one search.
  template <class Node>
  static void node(SymbolicExprTable& aTable, const Node& aProbe) {
    node(aTable, aProbe, aProbe.Node::getHash());
  }
  /// The same for a caller that has the probe's hash.
  template <class Node>
  static void node(SymbolicExprTable& aTable, const Node& aProbe, std::size_t aHash) {
    const SymbolicExprId newId = aTable.nodes.size();
    if (newId >= NodeDigest::none) aTable.failFull();
    makeRoom(aTable.nodes);
    // The new slot names the probe until its copy takes the place.
    aTable.nodes.push_back(&aProbe);
    UndoProbe undo{aTable};
    const auto [slot, isNew] = aTable.index.insert({aHash, newId});
    aTable.lastInterned = slot->id;
    if (!isNew) return;
    undo.slot = &*slot;
    makeRoom(aTable.digests);
    aTable.digests.push_back(Digests::make(aProbe));
    aTable.nodes[newId] = new Node(aProbe);
    undo.keep = true;
  }

  /// Interns a symbol; one that is known costs no string of its own.
  static SymbolicExprId symbol(SymbolicExprTable& aTable, std::string_view aText) {
    const SymbolicExprId known = aTable.search(hashSymbol(aText), [&](SymbolicExprId aId) {
      return Digests::kindOf(aTable, aId) == SymbolicOp::String &&
             static_cast<const SymbolicString*>(aTable.nodes[aId])->getText() == aText;
    });
    if (known != invalidSymbolicExprId) return known;
    SymbolicString(aTable, std::string(aText));
    return lastId(aTable);
  }

  /// Interns an integer literal; most are known.
  static SymbolicExprId integer(SymbolicExprTable& aTable, int aValue) {
    const SymbolicExprId known = aTable.search(signExtended(aValue), [&](SymbolicExprId aId) {
      return Digests::kindOf(aTable, aId) == SymbolicOp::IntValue &&
             Digests::of(aTable)[aId].first == static_cast<std::uint32_t>(aValue);
    });
    if (known != invalidSymbolicExprId) return known;
    SymbolicIntValue(aTable, aValue);
    return lastId(aTable);
  }

  /// Makes room for one more element. Growing by a quarter leaves little memory unused.
  template <class Vector>
  static void makeRoom(Vector& aVector) {
    if (aVector.size() == aVector.capacity()) {
      aVector.reserve(aVector.size() + aVector.size() / 4 + 16);
    }
  }

  /// Says that a constructor interned nothing.
  static void nothing(SymbolicExprTable& aTable) { aTable.lastInterned = invalidSymbolicExprId; }

  /// The id of what the last node constructor interned or found.
  static SymbolicExprId lastId(const SymbolicExprTable& aTable) { return aTable.lastInterned; }

  /// Interns a list of any length as it is, one element included, which the public constructor of
  /// SymbolicNDExpr does not: the text "[a]" is a list of one.
  static SymbolicExprId list(SymbolicExprTable& aTable,
                             const std::vector<SymbolicExprId>& aElements) {
    if (aElements.size() == 1) {
      node(aTable, SymbolicNDExpr(aElements));
    } else {
      SymbolicNDExpr(aTable, aElements);
    }
    return lastId(aTable);
  }

  /// The id of the operator node of that kind over these inputs if it is interned, else the invalid
  /// id. Interns nothing.
  static SymbolicExprId find(const SymbolicExprTable& aTable, SymbolicOp aOp,
                             std::initializer_list<SymbolicExprId> aInputs) {
    const int kind = static_cast<int>(aOp);
    const SymbolicExprId* const inputs = aInputs.begin();
    return aTable.search(hashInputs(kind, inputs, aInputs.size()), [&](SymbolicExprId aId) {
      const SymbolicExpr& node = *aTable.nodes[aId];
      if (node.getKind() != kind || node.getNumInputs() != aInputs.size()) return false;
      for (std::size_t i = 0; i < aInputs.size(); ++i) {
        if (node.getInput(i) != inputs[i]) return false;
      }
      return true;
    });
  }

 private:
  struct UndoProbe {
    SymbolicExprTable& table;
    const SymbolicExprTable::Slot* slot = nullptr;
    bool keep = false;
    ~UndoProbe() {
      if (keep) return;
      if (slot != nullptr) table.index.erase(*slot);
      if (table.digests.size() == table.nodes.size()) table.digests.pop_back();
      table.nodes.pop_back();
    }
  };
};

/// Interns a node of class `Node` with these operands and returns its id.
template <class Node, class... Operands>
SymbolicExprId intern(SymbolicExprTable& aTable, Operands&&... aOperands) {
  const Node probe(aTable, std::forward<Operands>(aOperands)...);
  return Intern::lastId(aTable);
}

}  // namespace KS::detail
