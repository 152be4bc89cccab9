#include "compact/detail/Clauses.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KS::detail {

namespace {

// Of so many members, each with the kernels below it, the best is taken.
constexpr std::size_t maxMembersTried = 8;

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

// Takes out of the clauses what all of them have.
void removeCommon(std::vector<Clause>& aClauses) {
  Clause common = aClauses.front();
  for (const Clause& clause : aClauses) {
    Clause both;
    std::set_intersection(common.begin(), common.end(), clause.begin(), clause.end(),
                          std::back_inserter(both));
    common = std::move(both);
    if (common.empty()) return;
  }
  for (Clause& clause : aClauses) clause = without(clause, common);
}

}  // namespace

Clauses::Clauses(const Formulas& aFormulas, std::vector<Clause> aClauses, std::size_t& aWork,
                 std::size_t aMaxWork)
    : formulas(aFormulas), clauses(std::move(aClauses)), work(aWork), maxWork(aMaxWork) {
  file();
  dropImplied();
}

// Finds clauses by their members and by their hashes.
void Clauses::file() {
  places.clear();
  byHash.clear();
  hashes.clear();
  for (std::uint32_t i = 0; i < clauses.size(); ++i) {
    for (const Formula member : clauses[i]) places[member.code()].push_back(i);
    hashes.push_back(hashOf(clauses[i]));
    byHash.emplace(hashes.back(), i);
  }
}

bool Clauses::mayWork(std::size_t aSteps) {
  work += aSteps;
  return work <= maxWork;
}

const Clauses::Places& Clauses::placesOf(Formula aMember) const {
  static const Places none;
  const auto found = places.find(aMember.code());
  return found == places.end() ? none : found->second;
}

// The places of the member that is in the fewest clauses.
const Clauses::Places& Clauses::fewestPlaces(const Clause& aClause) const {
  const Places* fewest = &placesOf(aClause.front());
  for (const Formula member : aClause) {
    const Places& its = placesOf(member);
    if (its.size() < fewest->size()) fewest = &its;
  }
  return *fewest;
}

void Clauses::dropImplied() {
  std::vector<bool> isImplied(clauses.size(), false);
  for (std::uint32_t i = 0; i < clauses.size(); ++i) {
    for (const std::uint32_t other : fewestPlaces(clauses[i])) {
      if (other == i || isImplied[other] || clauses[other].size() < clauses[i].size()) continue;
      if (!mayWork(clauses[i].size())) break;
      isImplied[other] = isWithin(clauses[i], clauses[other]) && !isImplied[i];
    }
  }
  if (std::find(isImplied.begin(), isImplied.end(), true) == isImplied.end()) return;
  std::vector<Clause> kept;
  for (std::size_t i = 0; i < clauses.size(); ++i) {
    if (!isImplied[i]) kept.push_back(std::move(clauses[i]));
  }
  clauses = std::move(kept);
  file();
}

// The members that are in more than one clause, most saved literals first.
std::vector<Clauses::Promise> Clauses::promises(const std::vector<Clause>& aClauses,
                                                std::size_t aMost) {
  std::vector<Formula> members;
  for (const Clause& clause : aClauses) {
    members.insert(members.end(), clause.begin(), clause.end());
  }
  if (!mayWork(members.size())) return {};
  std::sort(members.begin(), members.end());
  std::vector<Promise> found;
  for (std::size_t i = 0, end = 0; i < members.size(); i = end) {
    for (end = i + 1; end < members.size() && members[end] == members[i];) ++end;
    if (end - i > 1) found.push_back({members[i], (end - i - 1) * formulas.literals(members[i])});
  }
  const std::size_t count = std::min(aMost, found.size());
  std::partial_sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count), found.end(),
                    [](const Promise& a, const Promise& b) {
                      return a.literals != b.literals ? a.literals > b.literals
                                                      : a.member < b.member;
                    });
  found.resize(count, Promise{Formula::constant(true), 0});
  return found;
}

// What is left of the clauses with a member, without the members they all have.
std::vector<Clause> Clauses::kernel(const std::vector<Clause>& aClauses, Formula aMember) {
  std::vector<Clause> with;
  for (const Clause& clause : aClauses) {
    if (std::binary_search(clause.begin(), clause.end(), aMember)) with.push_back(clause);
    work += 1 + (with.empty() ? 0 : with.back().size());
  }
  removeCommon(with);
  return with;
}

// The clauses that together with each one of the divisor are among these.
std::vector<Clause> Clauses::divide(const std::vector<Clause>& aDivisor) {
  // How many clauses of the divisor leave a rest, by the hash of the rest. One that misses in any
  // of them is not in the quotient.
  boost::unordered_flat_map<std::uint64_t, std::size_t> rests;
  std::vector<std::uint32_t> firstPlaces;
  for (std::size_t i = 0; i < aDivisor.size(); ++i) {
    const std::uint64_t hash = hashOf(aDivisor[i]);
    std::size_t found = 0;
    for (const std::uint32_t place : fewestPlaces(aDivisor[i])) {
      if (!mayWork(1)) return {};
      const std::uint64_t rest = hashes[place] - hash;
      const auto known = i == 0 ? rests.end() : rests.find(rest);
      if (i != 0 && (known == rests.end() || known->second != i)) continue;
      if (!mayWork(clauses[place].size()) || !isWithin(aDivisor[i], clauses[place])) continue;
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

Factors Clauses::factors(std::vector<Clause> aDivisor) {
  Factors result;
  result.quotient = divide(aDivisor);
  result.divisor = std::move(aDivisor);
  if (result.quotient.empty()) return {};
  result.saved = saved(result.quotient, result.divisor);
  if (result.quotient.size() > 1) improve(result);
  return result;
}

// What the clauses of the quotient have in common belongs to the divisor, which then is what the
// division by the quotient gives.
void Clauses::improve(Factors& aFactors) {
  std::vector<Clause> quotient = aFactors.quotient;
  removeCommon(quotient);
  std::vector<Clause> divisor = divide(quotient);
  if (divisor.empty()) return;
  const std::size_t improved = saved(quotient, divisor);
  if (improved > aFactors.saved) {
    aFactors = {std::move(quotient), std::move(divisor), improved};
  }
}

Factors Clauses::bestFactors() {
  Factors best;
  for (const Promise& promise : promises(clauses, maxMembersTried)) {
    std::vector<Clause> tried = kernel(clauses, promise.member);
    for (;;) {
      const std::vector<Promise> next = promises(tried, 1);
      Factors found = factors(tried);
      if (found.saved > best.saved) best = std::move(found);
      if (next.empty()) break;
      tried = kernel(tried, next.front().member);
    }
  }
  return work <= maxWork ? best : Factors();
}

bool Clauses::remove(const Factors& aFactors) {
  std::vector<bool> isCovered(clauses.size(), false);
  for (const Clause& quotient : aFactors.quotient) {
    for (const Clause& divisor : aFactors.divisor) {
      const Clause whole = joined(quotient, divisor);
      const auto place = byHash.find(hashOf(whole));
      if (place == byHash.end() || clauses[place->second] != whole) return false;
      isCovered[place->second] = true;
    }
  }
  std::vector<Clause> rest;
  for (std::size_t i = 0; i < clauses.size(); ++i) {
    if (!isCovered[i]) rest.push_back(std::move(clauses[i]));
  }
  clauses = std::move(rest);
  file();
  return true;
}

}  // namespace KS::detail
