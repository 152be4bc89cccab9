#include "decide/SymbolicExprDomain.hpp"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace KS {

SymbolicExprDomain::SymbolicExprDomain(const SymbolicExprDomain& aOther)
    : SymbolicExprDomain(aOther.theKind, aOther.lowest, aOther.highest) {
  listed.reserve(aOther.listed.size());
  for (const Value& value : aOther.listed) {
    std::visit([this](const auto& aHeld) { listed.emplace_back(aHeld); }, value);
  }
}

SymbolicExprDomain& SymbolicExprDomain::operator=(SymbolicExprDomain aOther) noexcept {
  theKind = aOther.theKind;
  lowest = aOther.lowest;
  highest = aOther.highest;
  listed = std::move(aOther.listed);
  return *this;
}

SymbolicExprDomain SymbolicExprDomain::values(std::vector<Value> aValues) {
  if (aValues.empty()) throw std::invalid_argument("a domain without values");
  for (const Value& value : aValues) {
    const auto* name = std::get_if<std::string>(&value);
    if (name == nullptr && std::isnan(std::get<double>(value))) {
      throw std::invalid_argument("NaN among the values of a domain");
    }
    if (name != nullptr && (name->empty() || *name == "true" || *name == "false")) {
      throw std::invalid_argument("\"" + *name + "\" is no name of a constant");
    }
  }
  SymbolicExprDomain domain(List, 0, 0);
  domain.listed = std::move(aValues);
  return domain;
}

SymbolicExprDomain SymbolicExprDomain::interval(double aLow, double aHigh) {
  if (!(aLow <= aHigh)) throw std::invalid_argument("an interval without numbers");
  return {Interval, aLow, aHigh};
}

SymbolicExprDomain SymbolicExprDomain::integers(int aLow, int aHigh) {
  if (aLow > aHigh) throw std::invalid_argument("a range without whole numbers");
  return {Integers, static_cast<double>(aLow), static_cast<double>(aHigh)};
}

SymbolicExprDomain SymbolicExprDomain::boolean() { return {Boolean, 0, 1}; }

}  // namespace KS
