// Numbers by which expressions of different tables are told from each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/SymbolicExprTable.hpp"

namespace ksexpr {

/// 128 bits that depend on an expression alone. That two different expressions have the same ones
/// is less likely than that the machine errs.
struct Fingerprint {
  std::uint64_t first = 0;
  std::uint64_t second = 0;

  bool operator==(const Fingerprint& aOther) const {
    return first == aOther.first && second == aOther.second;
  }
  bool operator<(const Fingerprint& aOther) const {
    return first != aOther.first ? first < aOther.first : second < aOther.second;
  }
};

inline std::size_t hash_value(const Fingerprint& aFingerprint) { return aFingerprint.first; }

/// By id: the fingerprints of a table's expressions.
std::vector<Fingerprint> fingerprints(const KS::SymbolicExprTable& aTable);

}  // namespace ksexpr
