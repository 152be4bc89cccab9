#include "compact/detail/Clauses.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KS::detail {

namespace {

// Of so many members, each with the kernels below it, the best is taken.
constexpr std::size_t maxMembersTried = 8;
// Work on the first kernel that all others together may take, and so much beside.
constexpr std::size_t kernelsPerFirst = 8;
constexpr std::size_t alwaysAllowed = std::size_t{1} << 14;

// The hash of a clause is the sum of those of its members, so that the hash of what division leaves
// is a difference.
std::uint64_t hashOf(Formula aMember) {
  std::uint64_t hash = (std::uint64_t{aMember.code()} + 1) * 0x9e3779b97f4a7c15;
  hash = (hash ^ hash >> 30) * 0xbf58476d1ce4e5b9;
  hash = (hash ^ hash >> 27) * 0x94d049bb133111eb;
  return hash ^ hash >> 31;
}

std::uint64_t hashOf(const Clause& aClause) {
  std::uint64_t hash = 0;
  for (const Formula member : aClause) hash += hashOf(member);
  return hash;
}

// Whether all members of the first are among those of the second.
bool isWithin(const Clause& aPart, const Clause& aWhole) {
  return std::includes(aWhole.begin(), aWhole.end(), aPart.begin(), aPart.end());
}

Clause without(const Clause& aClause, const Clause& aPart) {
  Clause rest;
  std::set_difference(aClause.begin(), aClause.end(), aPart.begin(), aPart.end(),
                      std::back_inserter(rest));
  return rest;
}

Clause joined(const Clause& a, const Clause& b) {
  Clause all;
  std::set_union(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(all));
  return all;
}

// A bit or more for every member: those of a part are among those of the whole.
std::uint64_t signatureOf(const Clause& aClause) {
  std::uint64_t signature = 0;
  for (const Formula member : aClause) signature |= std::uint64_t{1} << (hashOf(member) >> 58);
  return signature;
}

}  // namespace

Clauses::Clauses(const Formulas& aFormulas, std::vector<Clause> aClauses, FactoringWork& aWork)
    : formulas(aFormulas),
      clauses(std::move(aClauses)),
      isGone(clauses.size(), false),
      work(aWork) {
  for (std::uint32_t i = 0; i < clauses.size(); ++i) {
    for (const Formula member : clauses[i]) {
      places[member.code()].push_back(i);
      ++counts[member.code()];
    }
    hashes.push_back(hashOf(clauses[i]));
    byHash.emplace(hashes.back(), i);
    work.done += clauses[i].size();
  }
  dropImplied();
  for (std::size_t i = 0; i < clauses.size(); ++i) {
    if (isGone[i]) continue;
    for (const Formula member : clauses[i]) {
      const std::uint32_t count = counts[member.code()];
      // Once for every member, at its first place.
      if (count > 1 && places[member.code()].front() == i) {
        promises.push({(count - 1) * formulas.literals(member), member});
      }
    }
  }
}

void Clauses::drop(std::uint32_t aPlace) {
  if (isGone[aPlace]) return;
  isGone[aPlace] = true;
  for (const Formula member : clauses[aPlace]) --counts[member.code()];
}

void Clauses::dropImplied() {
  std::vector<std::uint64_t> signatures;
  for (const Clause& clause : clauses) signatures.push_back(signatureOf(clause));
  for (std::uint32_t i = 0; i < clauses.size(); ++i) {
    if (isGone[i]) continue;
    for (const std::uint32_t other : fewestPlaces(clauses[i])) {
      ++work.done;
      if ((signatures[i] & ~signatures[other]) != 0 || other == i || isGone[other]) continue;
      work.done += clauses[i].size();
      if (!work.isThorough()) return;
      if (isWithin(clauses[i], clauses[other])) drop(other);
    }
  }
}

// The places of the member that is in the fewest clauses.
const Clauses::Places& Clauses::fewestPlaces(const Clause& aClause) const {
  static const Places none;
  const Places* fewest = nullptr;
  for (const Formula member : aClause) {
    const auto found = places.find(member.code());
    if (found == places.end()) return none;
    if (fewest == nullptr || found->second.size() < fewest->size()) fewest = &found->second;
  }
  return fewest == nullptr ? none : *fewest;
}

// Takes the members that promise most from the queue.
std::vector<Clauses::Promise> Clauses::takePromises(std::size_t aMost) {
  std::vector<Promise> taken;
  while (taken.size() < aMost && !promises.empty()) {
    Promise top = promises.top();
    promises.pop();
    const std::uint32_t count = counts[top.member.code()];
    if (count < 2) continue;
    const std::size_t now = (count - 1) * formulas.literals(top.member);
    if (now == top.saved) {
      taken.push_back(top);
    } else if (now > 0) {
      promises.push({now, top.member});
    }
  }
  return taken;
}

// The best member of some clauses; nothing is saved where none is in two of them.
Clauses::Promise Clauses::bestPromise(const std::vector<Clause>& aClauses) {
  boost::unordered_flat_map<std::uint32_t, std::uint32_t> found;
  Promise best{0, Formula::constant(true)};
  for (const Clause& clause : aClauses) {
    work.done += clause.size();
    for (const Formula member : clause) {
      const std::uint32_t count = ++found[member.code()];
      best = std::max(best, Promise{(count - 1) * formulas.literals(member), member});
    }
  }
  return best;
}

Clauses::Kernel Clauses::kernel(Formula aMember) {
  Kernel result;
  for (const std::uint32_t place : places[aMember.code()]) {
    ++work.done;
    if (!isGone[place]) result.clauses.push_back(clauses[place]);
  }
  removeCommon(result);
  return result;
}

Clauses::Kernel Clauses::kernel(const std::vector<Clause>& aClauses, Formula aMember) {
  Kernel result;
  for (const Clause& clause : aClauses) {
    ++work.done;
    if (std::binary_search(clause.begin(), clause.end(), aMember)) result.clauses.push_back(clause);
  }
  removeCommon(result);
  return result;
}

void Clauses::removeCommon(Kernel& aKernel) {
  Clause& common = aKernel.common;
  common = aKernel.clauses.front();
  for (const Clause& clause : aKernel.clauses) {
    work.done += common.empty() ? 0 : clause.size();
    Clause both;
    std::set_intersection(common.begin(), common.end(), clause.begin(), clause.end(),
                          std::back_inserter(both));
    common = std::move(both);
  }
  if (common.empty()) return;
  for (Clause& clause : aKernel.clauses) {
    work.done += clause.size();
    clause = without(clause, common);
  }
}

// The clauses that together with each one of the divisor are among these.
std::vector<Clause> Clauses::divide(const std::vector<Clause>& aDivisor) {
  // How many clauses of the divisor leave a rest, by the hash of the rest. One that misses in any
  // of them is not in the quotient.
  boost::unordered_flat_map<std::uint64_t, std::size_t> rests;
  std::vector<std::uint32_t> firstPlaces;
  for (std::size_t i = 0; i < aDivisor.size(); ++i) {
    const std::uint64_t hash = hashOf(aDivisor[i]);
    work.done += aDivisor[i].size();
    std::size_t found = 0;
    for (const std::uint32_t place : fewestPlaces(aDivisor[i])) {
      ++work.done;
      if (isGone[place]) continue;
      const std::uint64_t rest = hashes[place] - hash;
      const auto known = i == 0 ? rests.end() : rests.find(rest);
      if (i != 0 && (known == rests.end() || known->second != i)) continue;
      work.done += clauses[place].size();
      if (!isWithin(aDivisor[i], clauses[place])) continue;
      ++found;
      if (i == 0) {
        rests.emplace(rest, 1);
        firstPlaces.push_back(place);
      } else {
        ++known->second;
      }
    }
    if (found == 0) return {};
  }
  const std::uint64_t hash = hashOf(aDivisor.front());
  std::vector<Clause> quotient;
  for (const std::uint32_t place : firstPlaces) {
    const auto rest = rests.find(hashes[place] - hash);
    if (rest->second == aDivisor.size()) {
      quotient.push_back(without(clauses[place], aDivisor.front()));
    }
  }
  return quotient;
}

std::size_t Clauses::literals(const std::vector<Clause>& aClauses) const {
  std::size_t count = 0;
  for (const Clause& clause : aClauses) {
    for (const Formula member : clause) count += formulas.literals(member);
  }
  return count;
}

std::size_t Clauses::saved(const std::vector<Clause>& aQuotient,
                           const std::vector<Clause>& aDivisor) const {
  return (aQuotient.size() - 1) * literals(aDivisor) + (aDivisor.size() - 1) * literals(aQuotient);
}

Factors Clauses::factors(const std::vector<Clause>& aDivisor) {
  Factors result{divide(aDivisor), aDivisor, 0};
  if (result.quotient.empty()) return {};
  result.saved = saved(result.quotient, result.divisor);
  if (result.quotient.size() > 1) improve(result);
  return result;
}

// What the clauses of the quotient have in common belongs to the divisor, which then is what the
// division by the quotient gives.
void Clauses::improve(Factors& aFactors) {
  Kernel quotient{{}, aFactors.quotient};
  removeCommon(quotient);
  std::vector<Clause> divisor = divide(quotient.clauses);
  if (divisor.empty()) return;
  const std::size_t improved = saved(quotient.clauses, divisor);
  if (improved > aFactors.saved) {
    aFactors = {std::move(quotient.clauses), std::move(divisor), improved};
  }
}

Factors Clauses::bestFactors() {
  if (!work.isAllowed()) return {};
  const std::vector<Promise> members = takePromises(work.isThorough() ? maxMembersTried : 1);
  if (members.empty()) return {};
  const std::size_t start = work.done;
  Kernel tried = kernel(members.front().member);
  Factors best{{tried.common}, tried.clauses, 0};
  best.saved = saved(best.quotient, best.divisor);
  const std::size_t last = start + kernelsPerFirst * (work.done - start) + alwaysAllowed;
  for (std::size_t i = 0; i < members.size() && work.isThorough() && work.done < last; ++i) {
    if (i > 0) tried = kernel(members[i].member);
    for (;;) {
      Factors found = factors(tried.clauses);
      if (found.saved > best.saved) best = std::move(found);
      const Promise next = bestPromise(tried.clauses);
      if (next.saved == 0 || work.done >= last) break;
      tried = kernel(tried.clauses, next.member);
    }
  }
  for (const Promise& promise : members) promises.push(promise);
  return best;
}

bool Clauses::remove(const Factors& aFactors) {
  Places covered;
  for (const Clause& quotient : aFactors.quotient) {
    for (const Clause& divisor : aFactors.divisor) {
      const Clause whole = joined(quotient, divisor);
      const auto place = byHash.find(hashOf(whole));
      if (place == byHash.end() || clauses[place->second] != whole) return false;
      work.done += whole.size();
      covered.push_back(place->second);
    }
  }
  for (const std::uint32_t place : covered) drop(place);
  return true;
}

std::vector<Clause> Clauses::rest() const {
  std::vector<Clause> kept;
  for (std::size_t i = 0; i < clauses.size(); ++i) {
    if (!isGone[i]) kept.push_back(clauses[i]);
  }
  return kept;
}

}  // namespace KS::detail
