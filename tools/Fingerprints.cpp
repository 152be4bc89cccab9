#include "tools/Fingerprints.hpp"

#include "base/KSSymbolicExpr.hpp"
#include "print/SymbolicExprPrinter.hpp"

namespace ksexpr {

namespace {

// Spreads each bit over all of them (the finalizer of SplitMix64).
std::uint64_t spread(std::uint64_t aBits) {
  aBits = (aBits ^ aBits >> 30) * 0xBF58476D1CE4E5B9;
  aBits = (aBits ^ aBits >> 27) * 0x94D049BB133111EB;
  return aBits ^ aBits >> 31;
}

void add(Fingerprint& aTo, std::uint64_t aFirst, std::uint64_t aSecond) {
  aTo.first = spread(aTo.first * 3 + aFirst + 0x9E3779B97F4A7C15);
  aTo.second = spread(aTo.second * 5 + aSecond + 0xD1B54A32D192ED03);
}

}  // namespace

std::vector<Fingerprint> fingerprints(const KS::SymbolicExprTable& aTable) {
  const KS::SymbolicExprPrinter print(aTable, true, false, false);
  std::vector<Fingerprint> all;
  all.reserve(aTable.size());
  for (KS::SymbolicExprId id = 0; id < aTable.size(); ++id) {
    const KS::SymbolicExpr& node = *aTable.get(id);
    const auto kind = static_cast<std::uint64_t>(node.getKind());
    Fingerprint made;
    add(made, kind, kind);
    // Inputs are older than their user.
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
      const Fingerprint input = all[node.getInput(i)];
      add(made, input.first, input.second);
    }
    if (node.getNumInputs() == 0) {
      for (const char byte : print(id)) {
        add(made, static_cast<unsigned char>(byte), static_cast<unsigned char>(byte));
      }
    }
    all.push_back(made);
  }
  return all;
}

}  // namespace ksexpr
