// The fewest elements that meet sets, against all choices of elements.
#include "decide/detail/HittingSet.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <random>
#include <vector>

namespace KS::Decide::detail {
namespace {

constexpr std::size_t kElements = 9;
using Mask = std::bitset<kElements>;

Mask maskOf(const HittingSet::Set& aSet) {
  Mask mask;
  for (const std::size_t element : aSet) mask.set(element);
  return mask;
}

std::size_t fewest(const std::vector<Mask>& aSets) {
  std::size_t result = kElements + 1;
  for (unsigned long choice = 0; choice < 1UL << kElements; ++choice) {
    bool meetsAll = true;
    for (const Mask& set : aSets) meetsAll = meetsAll && (set & Mask(choice)).any();
    if (meetsAll) result = std::min(result, Mask(choice).count());
  }
  return result;
}

TEST(HittingSet, FindsTheFewestElementsWhileSetsAreAdded) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    HittingSet hitting(kElements, 100000);
    std::vector<Mask> sets;
    EXPECT_EQ(hitting.smallest(0), HittingSet::Set{});
    for (int added = 0; added < 10; ++added) {
      HittingSet::Set set;
      for (std::size_t element = 0; element < kElements; ++element) {
        if (random() % 4 == 0) set.push_back(element);
      }
      if (set.empty()) set.push_back(random() % kElements);
      hitting.add(set);
      sets.push_back(maskOf(set));
      const std::size_t expected = fewest(sets);
      EXPECT_EQ(hitting.smallest(expected - 1), std::nullopt);
      const auto found = hitting.smallest(kElements);
      ASSERT_TRUE(found);
      EXPECT_EQ(found->size(), expected);
      EXPECT_TRUE(std::is_sorted(found->begin(), found->end()));
      for (const Mask& mask : sets) EXPECT_TRUE((mask & maskOf(*found)).any());
      EXPECT_TRUE(hitting.isExact());
    }
  }
}

TEST(HittingSet, TellsWhenTheStepsWereNotEnough) {
  HittingSet hitting(20, 30);
  for (std::size_t i = 0; i < 20; ++i) {
    for (std::size_t k = 0; k < i; ++k) hitting.add({k, i});
  }
  EXPECT_EQ(hitting.smallest(20), std::nullopt);
  EXPECT_FALSE(hitting.isExact());
}

}  // namespace
}  // namespace KS::Decide::detail
