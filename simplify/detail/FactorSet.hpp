// A set of the factors of conjunctions.
#pragma once

#include <array>
#include <boost/core/bit.hpp>
#include <cstddef>
#include <cstdint>

namespace KS::detail {

/// A set of factors by their numbers, a bit each.
template <std::size_t numWords>
class FactorSet {
 public:
  /// Numbers are smaller than this.
  static constexpr std::size_t capacity = 64 * numWords;

  void add(std::size_t aFactor) { words[aFactor / 64] |= std::uint64_t{1} << (aFactor % 64); }
  void remove(std::size_t aFactor) { words[aFactor / 64] &= ~(std::uint64_t{1} << (aFactor % 64)); }
  FactorSet& operator|=(const FactorSet& aOther) {
    for (std::size_t i = 0; i < numWords; ++i) words[i] |= aOther.words[i];
    return *this;
  }
  FactorSet& operator&=(const FactorSet& aOther) {
    for (std::size_t i = 0; i < numWords; ++i) words[i] &= aOther.words[i];
    return *this;
  }
  FactorSet& operator-=(const FactorSet& aOther) {
    for (std::size_t i = 0; i < numWords; ++i) words[i] &= ~aOther.words[i];
    return *this;
  }

  bool contains(std::size_t aFactor) const {
    return (words[aFactor / 64] >> (aFactor % 64) & 1) != 0;
  }
  bool isEmpty() const { return words == std::array<std::uint64_t, numWords>{}; }
  /// Whether a set that is not empty has one number.
  bool isOne() const {
    FactorSet one;
    one.add(first());
    return *this == one;
  }
  std::size_t size() const {
    std::size_t sum = 0;
    for (const std::uint64_t word : words) {
      sum += static_cast<std::size_t>(boost::core::popcount(word));
    }
    return sum;
  }
  bool isSubsetOf(const FactorSet& aOther) const {
    for (std::size_t i = 0; i < numWords; ++i) {
      if ((words[i] & ~aOther.words[i]) != 0) return false;
    }
    return true;
  }
  bool hasCommon(const FactorSet& aOther) const {
    for (std::size_t i = 0; i < numWords; ++i) {
      if ((words[i] & aOther.words[i]) != 0) return true;
    }
    return false;
  }
  /// The smallest number; of a set that is not empty.
  std::size_t first() const { return firstDifference({}); }
  /// The smallest number that is in one of two different sets alone.
  std::size_t firstDifference(const FactorSet& aOther) const {
    const std::size_t i = firstDifferentWord(aOther);
    return 64 * i + firstOf(words[i] ^ aOther.words[i]);
  }
  /// Calls `aUse` with the numbers from `aFrom` on, from the smallest to the largest.
  template <class Use>
  void forEach(Use aUse, std::size_t aFrom = 0) const {
    std::uint64_t wanted = ~std::uint64_t{0} << (aFrom % 64);
    for (std::size_t i = aFrom / 64; i < numWords; ++i, wanted = ~std::uint64_t{0}) {
      for (std::uint64_t left = words[i] & wanted; left != 0; left &= left - 1) {
        aUse(64 * i + firstOf(left));
      }
    }
  }

  friend bool operator==(const FactorSet& a, const FactorSet& b) { return a.words == b.words; }
  /// Whether the first has the smallest number in which they differ: where none of the two is a
  /// subset of the other, that is the order of lists of the numbers.
  friend bool operator<(const FactorSet& a, const FactorSet& b) {
    const std::size_t i = a.firstDifferentWord(b);
    const std::uint64_t differing = a.words[i] ^ b.words[i];
    return (a.words[i] & differing & (~differing + 1)) != 0;
  }
  friend std::size_t hash_value(const FactorSet& aSet) {
    std::uint64_t hash = 0;
    for (const std::uint64_t word : aSet.words) hash = (hash ^ word) * 0x9e3779b97f4a7c15;
    return static_cast<std::size_t>(hash ^ hash >> 32);
  }

 private:
  static std::size_t firstOf(std::uint64_t aWord) {
    return static_cast<std::size_t>(boost::core::countr_zero(aWord));
  }
  // The first word in which two sets differ, or the last one.
  std::size_t firstDifferentWord(const FactorSet& aOther) const {
    std::size_t i = 0;
    while (i + 1 < numWords && words[i] == aOther.words[i]) ++i;
    return i;
  }
  std::array<std::uint64_t, numWords> words{};
};

}  // namespace KS::detail
