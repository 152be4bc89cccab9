// What a table keeps its nodes in.
#pragma once

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/SymbolicExprId.hpp"
#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

namespace detail {

/// What most walks need of a node, so that they neither follow its pointer nor call its virtual
/// functions: the kind code and the inputs of operators, the value of an integer literal, the value
/// id of a symbol. A symbol whose value is an integer has that, too, which spares evaluation two
/// steps for most symbols.
struct NodeDigest {
  /// An id that is not in the table.
  static constexpr std::uint32_t none = 0xFFFFFFFF;
  std::uint8_t kind;
  bool isFinal;          // whether simplification is known to give the node back
  bool isAdded;          // whether the node is one that `SymbolicExprTable::add` was given
  bool isInt;            // whether it is an integer literal, or a symbol whose value is one
  std::uint32_t first;   // the first input, the bits of the integer, the symbol's value id or none
  std::uint32_t second;  // the second input; where `isInt`, the bits of the integer
};

/// An array that grows by blocks: memory costs most when it is touched for the first time, and an
/// array that is copied to a larger one touches all of that. Only a small array, of less than a
/// block, is copied as it grows, and none where its smallest size is that of a block. How many
/// values it holds is its owner's to know.
template <class Value, std::size_t size = 1024, std::size_t smallest = 16>
class BlockArray {
 public:
  static_assert(std::is_trivial_v<Value>);
  static constexpr std::size_t blockSize = size;

  BlockArray() = default;
  ~BlockArray() {
    for (const Value* block : blocks) delete[] block;
  }
  BlockArray(const BlockArray&) = delete;
  BlockArray& operator=(const BlockArray&) = delete;

  Value& operator[](std::size_t aIdx) { return blocks[aIdx / blockSize][aIdx % blockSize]; }
  const Value& operator[](std::size_t aIdx) const {
    return blocks[aIdx / blockSize][aIdx % blockSize];
  }
  /// Where the blocks are; elsewhere once room was made.
  Value* const* data() const { return blocks.data(); }

  /// Whether there is no room for a value after the first `aUsed`.
  bool isFull(std::size_t aUsed) const { return aUsed == capacity; }
  /// Sees to it that there is. Throws `std::bad_alloc`, and changes nothing else, where memory
  /// ends.
  void makeRoom(std::size_t aUsed) {
    if (isFull(aUsed)) grow();
  }

 private:
  void grow() {
    const std::size_t room = std::clamp<std::size_t>(2 * capacity, smallest, blockSize);
    std::unique_ptr<Value[]> fresh(new Value[room]);
    if (capacity > 0 && capacity < blockSize) {
      std::copy_n(blocks[0], capacity, fresh.get());
      delete[] std::exchange(blocks[0], fresh.release());
      capacity = room;
    } else {
      blocks.push_back(fresh.get());
      fresh.release();
      capacity += room;
    }
  }

  std::vector<Value*> blocks;
  std::size_t capacity = 0;
};

/// The ids of a table's nodes by hash, 8 bytes a slot: open addressing with linear probing (D. E.
/// Knuth, The Art of Computer Programming, volume 3, section 6.4, algorithm L). A slot's first
/// choice grows with the hash, so growing reads and writes memory in order.
class NodeIndex {
 public:
  /// The place of the node with that hash for which `aIsIt(id)` holds, or the free one that a node
  /// with that hash would have. Places mean nothing once room was made.
  template <class IsIt>
  std::size_t find(std::uint32_t aHash, const IsIt& aIsIt) const {
    std::size_t place = firstChoice(aHash);
    while (slots[place].id != NodeDigest::none &&
           !(slots[place].hash == aHash && aIsIt(slots[place].id))) {
      place = (place + 1) & mask;
    }
    return place;
  }
  /// Has memory fetch the place where a node with that hash may be. Inlined always: a call that
  /// does nothing else is a call without effect to compilers.
  KS_ALWAYS_INLINE void prefetch(std::uint32_t aHash) const {
    KS_PREFETCH(&slots[firstChoice(aHash)]);
  }
  /// The id of the node at that place, or none.
  std::uint32_t at(std::size_t aPlace) const { return slots[aPlace].id; }

  /// Sees to it that one more node can be put in. Returns whether this made room. Throws
  /// `std::bad_alloc`, and changes nothing, where memory ends.
  bool makeRoom() {
    const bool isFull = used > mask / 4 * 3;
    if (isFull) grow();
    return isFull;
  }

  /// Puts a node in a free place, for which there is room.
  void insert(std::size_t aPlace, std::uint32_t aHash, std::uint32_t aId) {
    slots[aPlace] = {aHash, aId};
    ++used;
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t id = NodeDigest::none;
  };

  void grow();
  std::size_t firstChoice(std::uint32_t aHash) const {
    return static_cast<std::size_t>(std::uint64_t{aHash} << 32 >> shift);
  }

  static constexpr unsigned firstBits = 5;
  std::vector<Slot> slots = std::vector<Slot>(std::size_t{1} << firstBits);
  std::size_t mask = slots.size() - 1;  // the number of slots is a power of 2
  unsigned shift = 64 - firstBits;      // leaves as many bits of 64 as number a slot
  std::size_t used = 0;
};

/// The memory of interned nodes that do not fit in a slot, taken in blocks that grow with the
/// table. All of it is given back at once; destroying the nodes is the table's business.
class NodeArena {
 public:
  /// Memory for an object, aligned for it. Throws `std::bad_alloc`.
  template <class Node>
  void* allocate() {
    static_assert(alignof(Node) <= alignof(void*) && sizeof(Node) % alignof(void*) == 0);
    if (left < sizeof(Node)) grow();
    left -= sizeof(Node);
    return std::exchange(next, next + sizeof(Node));
  }

 private:
  void grow();

  std::vector<std::unique_ptr<std::byte[]>> blocks;
  std::byte* next = nullptr;
  std::size_t left = 0;
  std::size_t total = 0;
};

/// What a table owns.
struct TableStorage {
  NodeArena arena;
  NodeIndex index;                       // of the first of equal nodes
  BlockArray<NodeSlot, 256, 256> nodes;  // which stay where they are
  BlockArray<NodeDigest> digests;        // one per node
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> valueIds;
  /// What the last node constructor interned or found: internal builders read the id from here
  /// instead of searching a second time.
  SymbolicExprId lastInterned = invalidSymbolicExprId;

  /// Whether the blocks have no room for a node after the first `aUsed`.
  bool isFull(std::size_t aUsed) const { return nodes.isFull(aUsed) || digests.isFull(aUsed); }
};

}  // namespace detail

}  // namespace KS
