// Where a walk keeps what it knows of a node.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace KS::Eval::detail {

/// A map from ids to places, without removal. Ids of one expression lie close together mostly, so
/// neighbouring ids get neighbouring slots, eight to a cache line, and only the lines are hashed.
class PlaceMap {
 public:
  /// The place of `aId`, which becomes `aPlace` (not 0) if it has none.
  std::uint32_t findOrAdd(std::uint32_t aId, std::uint32_t aPlace) {
    if (count * 2 >= slots.size()) grow();
    Slot& slot = slots[slotOf(aId)];
    if (slot.place == 0) {
      slot = {aId, aPlace};
      ++count;
    }
    return slot.place;
  }
  /// The place of `aId`, or 0.
  std::uint32_t find(std::uint32_t aId) const {
    return slots.empty() ? 0 : slots[slotOf(aId)].place;
  }

 private:
  struct Slot {
    std::uint32_t id;
    std::uint32_t place;  // 0 in an empty slot
  };
  static constexpr unsigned leastLines = 4;  // as a power of 2

  // The slot of `aId`, or the empty one where it belongs.
  std::size_t slotOf(std::uint32_t aId) const {
    const std::uint64_t line = (aId / 8 * 0x9E3779B97F4A7C15U) >> lineShift;
    auto idx = static_cast<std::size_t>(line * 8 + aId % 8);
    while (slots[idx].place != 0 && slots[idx].id != aId) idx = (idx + 1) & (slots.size() - 1);
    return idx;
  }

  void grow() {
    const std::vector<Slot> old = std::move(slots);
    lineShift = old.empty() ? 64 - leastLines : lineShift - 1;
    slots = std::vector<Slot>(std::size_t{8} << (64 - lineShift), Slot{0, 0});
    for (const Slot& slot : old) {
      if (slot.place != 0) slots[slotOf(slot.id)] = slot;
    }
  }

  std::vector<Slot> slots;  // a power of 2 of them, half of them empty at least
  std::size_t count = 0;
  unsigned lineShift = 0;  // leaves the bits of a hash that number the lines
};

}  // namespace KS::Eval::detail
