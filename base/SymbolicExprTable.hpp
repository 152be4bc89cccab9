// The interning table: owner of all expression nodes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "base/SymbolicExprId.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

class SymbolicExpr;

namespace detail {
struct Digests;
struct Intern;
struct TableStorage;

/// Where a table keeps a node: in place if the node is an operator or a number, else elsewhere, and
/// its address here. The first word tells: a node begins with the address of its virtual functions,
/// which is even, as are those of nodes; in a slot that refers to a node it is one more than that.
class NodeSlot {
 public:
  template <class Node>
  static constexpr bool fits = sizeof(Node) <= sizeof(void*) + sizeof(double);

  /// Whether the node is in place, so that it owns no memory of its own.
  bool isInPlace() const { return reinterpret_cast<std::uintptr_t>(firstWord()) % 2 == 0; }
  /// The node.
  const SymbolicExpr* get() const {
    return reinterpret_cast<const SymbolicExpr*>(isInPlace() ? bytes : firstWord() - 1);
  }
  /// Memory for a node that fits.
  void* memory() { return bytes; }
  /// Refers to a node elsewhere.
  void refer(const SymbolicExpr* aNode) {
    const std::byte* const behind = reinterpret_cast<const std::byte*>(aNode) + 1;
    std::memcpy(bytes, &behind, sizeof behind);
  }

 private:
  const std::byte* firstWord() const {
    const std::byte* word = nullptr;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }

  alignas(void*) std::byte bytes[sizeof(void*) + sizeof(double)];
};
}  // namespace detail

/// A hashable key that names a node. Two keys are equal when the nodes are structurally equal. A
/// key of null names none: hashing or comparing it throws `std::invalid_argument`.
class SymbolicExprRef {
 public:
  /// Takes a node that outlives the key.
  explicit SymbolicExprRef(const SymbolicExpr* aExpr) : expr(aExpr) {}
  /// The node that was given.
  const SymbolicExpr* get() const { return expr; }

 private:
  const SymbolicExpr* expr;
};

/// The node's own hash (`SymbolicExpr::getHash`).
KS_API std::size_t hash_value(const SymbolicExprRef& aRef);

/// Whether the probe's `operator==` accepts the stored node.
KS_API bool operator==(const SymbolicExprRef& aProbe, const SymbolicExprRef& aStored);

/// Owns every node and hands out dense ids: the first node is 0, the next 1. Structurally equal
/// expressions are one node. A table only grows, so an id keeps its meaning as long as the table
/// lives. Interning costs one hash and one expected constant-time search. Used by one thread at a
/// time.
///
///     SymbolicExprTable table;
///     SymbolicString a(table, "a");
///     SymbolicExprId sum = SymbolicPlusExpr(table, a, a).getId(table);
class KS_API SymbolicExprTable {
 public:
  /// An empty table; its boolean ids are the invalid id.
  SymbolicExprTable();
  /// Deletes every node, in id order.
  ~SymbolicExprTable();
  SymbolicExprTable(const SymbolicExprTable&) = delete;
  SymbolicExprTable& operator=(const SymbolicExprTable&) = delete;

  /// Takes ownership of a heap node that no table owns and gives it the next id. An equal node that
  /// is already stored keeps answering `lookup`.
  ///
  /// The node may be of a host's own class. Everything then goes by what its virtual functions say,
  /// and a visitor is shown a node of the library's class of that kind over the same inputs, which
  /// lives as long as the visit. Kinds 0, 1, 2 and 31 are for the library's classes alone, since a
  /// text or a number is not something that a virtual function says.
  ///
  /// Throws `std::invalid_argument` for null, for a kind outside 0 to 31, for a node of a host's
  /// class of those four kinds, and for a number of inputs that the kind does not have; and
  /// `std::length_error` beyond 4,294,966,272 nodes, as the node constructors do. What throws
  /// changes nothing, and the node stays the caller's.
  void add(const SymbolicExpr* aExpr);

  /// The id of the stored node that equals the probe, or the invalid id (also for null).
  SymbolicExprId lookup(const SymbolicExpr* aProbe) const;

  /// Whether a node that equals the probe is stored.
  bool contains(const SymbolicExpr* aProbe) const;

  /// The node with that id. Throws `std::out_of_range` for an id that is not in the table.
  const SymbolicExpr* get(SymbolicExprId aId) const {
    if (aId >= numNodes) failUnknownId(aId);
    return blocks[aId / blockSize][aId % blockSize].get();
  }

  /// The id of the symbol "true", or the invalid id before `addBoolSymbols`.
  SymbolicExprId getIdTRUE() const { return idTRUE; }
  /// The id of the symbol "false", or the invalid id before `addBoolSymbols`.
  SymbolicExprId getIdFALSE() const { return idFALSE; }

  /// Interns the symbols "false" and "true", in this order, and records their ids.
  void addBoolSymbols();

  /// Records the expression that gives the symbol its value; the symbol is interned if it is new.
  /// The first registration of a name stays.
  void registerValueId(const std::string& aName, SymbolicExprId aValueId);

  /// The value registered for a symbol's id, or the invalid id.
  SymbolicExprId getValueId(SymbolicExprId aSymbolId) const;

  /// The number of nodes; ids run from 0 to `size() - 1`.
  std::size_t size() const { return numNodes; }

 private:
  friend struct detail::Intern;
  friend struct detail::Digests;

  [[noreturn]] void failUnknownId(SymbolicExprId aId) const;

  // What is read without a call: where the nodes are, in blocks of one size, and their number.
  static constexpr std::size_t blockSize = 256;
  const detail::NodeSlot* const* blocks = nullptr;
  std::size_t numNodes = 0;
  SymbolicExprId idTRUE = invalidSymbolicExprId;
  SymbolicExprId idFALSE = invalidSymbolicExprId;
  std::unique_ptr<detail::TableStorage> storage;
};

}  // namespace KS
