#include "base/detail/TableStorage.hpp"

namespace KS::detail {

void NodeIndex::grow() {
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
void NodeArena::grow() {
  constexpr std::size_t least = 1024, most = std::size_t{1} << 20;
  const std::size_t size = std::clamp(total / 4 / sizeof(void*) * sizeof(void*), least, most);
  blocks.push_back(std::unique_ptr<std::byte[]>(new std::byte[size]));
  next = blocks.back().get();
  left = size;
  total += size;
}

}  // namespace KS::detail
