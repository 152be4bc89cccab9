// The canonical order of operands: the byte order of their text.
#pragma once

#include <algorithm>
#include <array>
#include <boost/container/deque.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "base/detail/NodeView.hpp"
#include "print/detail/TextWriter.hpp"
#include "simplify/detail/PairRules.hpp"

namespace KS::detail {

/// The first eight bytes of a text, as a number with the first one foremost and zeros behind the
/// text: of two texts, the one with the smaller number stands before the other.
struct FirstBytes {
  static constexpr std::uint32_t capacity = sizeof(std::uint64_t);
  std::uint64_t number = 0;
  std::uint32_t length = 0;  // up to the capacity

  FirstBytes() = default;
  explicit FirstBytes(std::string_view aText) { append(aText); }
  FirstBytes(std::uint64_t aNumber, std::uint32_t aLength) : number(aNumber), length(aLength) {}
  bool isFull() const { return length == capacity; }
  void append(std::string_view aText) {
    for (std::size_t i = 0; i < aText.size() && length < capacity; ++i) {
      number |= std::uint64_t{static_cast<unsigned char>(aText[i])} << (8 * (capacity - ++length));
    }
  }
  void append(const FirstBytes& aText) {
    if (isFull()) return;
    number |= aText.number >> (8 * length);
    length = std::min(length + aText.length, capacity);
  }
};

/// Orders expressions by text, so that the order is the same in every table and every run. No text
/// is ever written as a whole: two texts are compared by a ladder, of which each rung is climbed
/// only where those below leave the order open.
///
/// 1. The first eight bytes, as one number. A comparison of integers; the number of an id is kept
///    in a direct-mapped cache, and costs a walk down the left edge where it is not there.
/// 2. Of two conjunctions, the first operands that differ, by their first bytes, then by rungs 4
///    and 5. A step for each operand that they have in common.
/// 3. Of relations of one kind about one operand, and of negated symbols, the leaves in which they
///    differ (`compareLastLeaves`). A comparison of two names or numbers.
/// 4. The symbols with which they begin (`compareLeads`). A few steps down both left edges and a
///    comparison of two names.
/// 5. How they begin, some thirty bytes (`start`). Written once for each id, or for all ids above
///    a long left edge, and kept in a hash map.
/// 6. The texts from end to end, as far as they agree (`compareTexts`). Time in what they have in
///    common; the answer is kept, since sorting asks again.
///
/// Of two expressions with one text, their structure decides.
class TextOrder {
 public:
  /// An id with the first bytes of its text, or as many of them as are at hand.
  struct Text {
    std::uint64_t number;
    std::uint32_t length;
    std::uint32_t id;
  };

  /// Borrows the table.
  explicit TextOrder(const SymbolicExprTable& aTable);

  /// Negative, zero or positive, as the first text stands before, with or after the second. Throws
  /// what `compareTexts` throws.
  int compare(SymbolicExprId a, SymbolicExprId b);

  /// The left operand of a relation, whose text mostly is the beginning of the relation's and is
  /// shared by many; any other id itself.
  SymbolicExprId leftOf(SymbolicExprId aId) const {
    return node(aId).isRelation() ? node(aId).left() : aId;
  }

  /// How the text of an id begins, whose `leftOf` the caller has.
  Text text(SymbolicExprId aId, SymbolicExprId aLeft) {
    const Begun& kept = begun[aLeft % begun.size()];
    if (kept.id == aLeft && (kept.isSymbol || aLeft == aId)) {
      return {kept.number, kept.length, static_cast<std::uint32_t>(aId)};
    }
    return readText(aId, aLeft);
  }

  /// Whether the first stands before the second; of two with one text, their structure decides.
  bool isBefore(SymbolicExprId a, SymbolicExprId b) {
    const int order = compare(a, b);
    return order != 0 ? order < 0 : isStructureBefore(a, b);
  }
  /// The same for texts at hand, neither of a conjunction.
  bool isBefore(const Text& a, const Text& b) {
    return areApart(a, b) ? a.number < b.number : isBeforeBehind(a.id, b.id);
  }

  /// Whether conjunctions that are the same up to these operands, of which the first stands before
  /// the second, are in that order whatever follows.
  bool ordersConjunctions(const Text& aFirst, const Text& aSecond) {
    return areApart(aFirst, aSecond) || differInConjunctions(aFirst.id, aSecond.id);
  }

  /// Sorts texts, none of a conjunction.
  void sort(Text* aFirst, Text* aLast);
  /// Where a text belongs among sorted ones.
  Text* place(Text* aFirst, Text* aLast, const Text& aAdded);
  /// Merges sorted texts into sorted ones, behind which there is room. Returns how many of these
  /// stay in front of the first that was added.
  std::size_t merge(Text* aFirst, std::size_t aCount, const Text* aAdded, std::size_t aAddedCount);

  /// Sorts the ids.
  void sort(SymbolicExprId* aFirst, SymbolicExprId* aLast);

  /// Forgets the beginnings and orders that it keeps where they are so many that they take more
  /// than some MiB of memory.
  void trim();

 private:
  // What an id is sorted by: bytes that its text begins with; then the operands of a conjunction,
  // among all `operands`, of which the first that differ mostly decide.
  struct Key {
    std::uint64_t number;
    std::uint32_t length;
    std::uint32_t id;
    std::uint32_t firstOperand;
    std::uint32_t numOperands;
  };

  NodeView node(SymbolicExprId aId) const { return {digests, aId}; }
  bool isSymbol(SymbolicExprId aId) const { return node(aId).is(SymbolicOp::String); }

  // How a text begins, or all of it.
  struct Start {
    std::string_view text;
    bool isWhole;
  };

  Text readText(SymbolicExprId aId, SymbolicExprId aLeft);
  FirstBytes firstBytes(SymbolicExprId aId);
  FirstBytes readFirstBytes(SymbolicExprId aId);
  FirstBytes bytesFromLeftmost(SymbolicExprId aId, SymbolicExprId aFirst);
  void keep(SymbolicExprId aId, const FirstBytes& aBytes);
  Key key(SymbolicExprId aId);
  Start start(SymbolicExprId aId);
  const TextStart& keptStart(SymbolicExprId aId);
  bool isBare(SymbolicExprId aOperand) const;
  bool startsWithLeft(SymbolicExprId aId) const;
  bool isBeforeBehind(SymbolicExprId a, SymbolicExprId b);
  bool differInConjunctions(SymbolicExprId aFirst, SymbolicExprId aSecond);
  // Whether the bytes that are at hand of both differ: the numbers then are in the order of texts.
  template <class Begin>
  static bool areApart(const Begin& a, const Begin& b) {
    const std::uint32_t halfBehind = 4 * (FirstBytes::capacity - std::min(a.length, b.length));
    return (a.number ^ b.number) >> halfBehind >> halfBehind != 0;
  }
  int compare(const Key& a, const Key& b);
  int compareOperands(const Key& a, const Key& b);
  int compareBeginnings(const Text& a, const Text& b);
  int compareBehind(SymbolicExprId a, SymbolicExprId b);
  std::optional<int> compareLastLeaves(SymbolicExprId a, SymbolicExprId b);
  int compareLeads(SymbolicExprId a, SymbolicExprId b);
  int compareWholly(SymbolicExprId a, SymbolicExprId b);
  bool isStructureBefore(SymbolicExprId a, SymbolicExprId b) const;
  static int compareStarts(const Start& a, const Start& b);

  // Of the nodes on a long left edge, one in so many has its beginning kept.
  static constexpr std::size_t linksBetweenKept = 32;
  static constexpr std::size_t maxStarts = std::size_t{1} << 15;
  static constexpr std::size_t maxOrders = std::size_t{1} << 16;

  const SymbolicExprTable& table;
  const BlockArray<NodeDigest>& digests;
  // Each id's first bytes have one place where they may be.
  struct Begun {
    std::uint64_t number = 0;
    std::uint32_t id = NodeDigest::none;
    std::uint8_t length = 0;
    bool isSymbol = false;
  };
  std::array<Begun, 1024> begun;
  std::vector<Text> operands;               // of the keys that are being sorted
  boost::container::deque<TextStart> pool;  // stays in place as it grows
  boost::unordered_flat_map<SymbolicExprId, const TextStart*> starts;
  // Of two whose starts do not decide, the older one first: sorting asks again and again.
  boost::unordered_flat_map<std::pair<SymbolicExprId, SymbolicExprId>, int> orders;
};

}  // namespace KS::detail
