// Memory that ends at every place of an operation, and what stands afterwards.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <string>

#include "tests/memory/Allocation.hpp"

namespace KS::test {

/// Something to do with a `World`, which tells what came of it.
template <class World>
struct Operation {
  const char* name;
  std::string (*run)(World&);
};

/// Into how many shares what a world is asked is divided, since asking all after each failure would
/// take minutes.
constexpr std::size_t numShares = 7;
/// The answers to a share of the operations: to the first, which tells of changes, and to every
/// seventh of the others.
template <class World, std::size_t count>
std::string shareOfAnswers(const Operation<World> (&aOperations)[count], World& aWorld,
                           std::size_t aShare) {
  std::string found = aOperations[0].run(aWorld);
  for (std::size_t i = 1 + aShare % numShares; i < count; i += numShares) {
    found += '\n' + aOperations[i].run(aWorld);
  }
  return found;
}

/// Has every single allocation of every operation fail, alone and with all that follow it: the
/// exception comes out, and no memory is lost unless it may be kept. After an operation that
/// failed, a world answers like one without it; after one that could do without the memory, like
/// one with it. `World::answers(share)` tells.
template <class World, std::size_t count>
void failEverywhere(const Operation<World> (&aOperations)[count], bool aMayKeep = false) {
  for (const Operation<World>& operation : aOperations) {
    SCOPED_TRACE(operation.name);
    World fresh, after;
    const std::string answer = operation.run(after);
    std::array<std::string, numShares> answersWithout, answersWith;
    for (std::size_t share = 0; share < numShares; ++share) {
      answersWithout[share] = fresh.answers(share);
      answersWith[share] = after.answers(share);
    }
    const std::size_t before = usedBytes();
    auto used = std::make_unique<World>();
    std::size_t failures = 0;
    for (const MemoryEnd::Extent extent : {MemoryEnd::once, MemoryEnd::forGood}) {
      bool wasReached = true;
      for (std::size_t place = 0; wasReached; ++place) {
        const auto isDone = [&](World& aWorld) {
          std::string found;
          try {
            const MemoryEnd end(place, extent);
            found = operation.run(aWorld);
            wasReached = end.wasReached();
          } catch (const std::bad_alloc&) {
            wasReached = true;
            return false;
          }
          EXPECT_EQ(found, answer) << place;
          return true;
        };
        isDone(*used);
        const auto world = std::make_unique<World>();
        const bool done = isDone(*world);
        if (!done) ++failures;
        const std::size_t share = place % numShares;
        ASSERT_EQ(world->answers(share), (done ? answersWith : answersWithout)[share]) << place;
      }
    }
    EXPECT_GT(failures, 1U);
    EXPECT_EQ(operation.run(*used), answer);
    for (std::size_t share = 0; share < numShares; ++share) {
      ASSERT_EQ(used->answers(share), answersWith[share]);
    }
    used = nullptr;
    if (!aMayKeep) {
      EXPECT_EQ(usedBytes(), before);
    }
  }
}

}  // namespace KS::test
