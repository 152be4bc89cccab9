// Random nodes as only constructors make them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "tests/support/HostNode.hpp"
#include "tests/support/RandomText.hpp"

namespace KS::test {

/// Adds a node of a host's class unless the table refuses it.
inline void addHostNode(SymbolicExprTable& aTable, int aKind, std::vector<SymbolicExprId> aInputs) {
  auto node = std::make_unique<HostNode>(aKind, std::move(aInputs));
  try {
    aTable.add(node.get());
    (void)node.release();  // the table has it
  } catch (const std::invalid_argument&) {
  }
}

/// Adds so many nodes of all kinds over older ones, also over such as no text gives: relations and
/// lists as operands of anything, infinities, names that are none. One in 64 is of a host's class.
inline void addNodes(SymbolicExprTable& aTable, RandomText& aRandom, std::size_t aCount) {
  static constexpr const char* const names[] = {
      "a",      "b",   "x",        "x",      "y",      "n",     "true",
      "false",  "inf", "nan",      "",       "a b",    "a_1",   "aZ",
      "bitand", "rem", "bitshift", "bitcmp", "double", "int32", "anEvenLongerNameThanEight"};
  static constexpr int ints[] = {0, 1, 2, -1, 3, 5, 31, 32, 2147483647, -2147483647 - 1};
  constexpr double inf = std::numeric_limits<double>::infinity();
  constexpr double doubles[] = {0.0, 0.5,   1.0,        -1.5,      2.0,  1e300, 5e-324,
                                0.1, -1e-9, 2147483648, 16777217., -inf, inf,   NAN};
  const auto older = [&] {
    const std::size_t size = aTable.size();
    return size - 1 - aRandom.pick(aRandom.pick(3) == 0 ? size : std::min<std::size_t>(size, 4));
  };
  const auto some = [&](std::size_t aLeast) {
    std::vector<SymbolicExprId> ids(aLeast + aRandom.pick(4));
    for (SymbolicExprId& id : ids) id = older();
    return ids;
  };
  SymbolicString(aTable, aRandom.oneOf(names));
  SymbolicIntValue(aTable, ints[aRandom.pick(std::size(ints))]);
  for (std::size_t i = 2; i < aCount; ++i) {
    const SymbolicExprId left = older(), right = older();
    switch (aRandom.pick(64) / 4) {
      case 0: SymbolicString(aTable, aRandom.oneOf(names)); break;
      case 1: SymbolicIntValue(aTable, ints[aRandom.pick(std::size(ints))]); break;
      case 2: SymbolicDoubleValue(aTable, doubles[aRandom.pick(std::size(doubles))]); break;
      case 3: {
        const std::string name = aRandom.oneOf(names);
        SymbolicFcnCallExpr(aTable, name, some(0));
        break;
      }
      case 4:
        switch (aRandom.pick(4)) {
          case 0: SymbolicNDExpr(aTable, some(1)); break;
          case 1: SymbolicMemberValue(aTable, left, aRandom.oneOf(names)); break;
          case 2: SymbolicFcnCall1UExpr(aTable, aRandom.oneOf(names), left); break;
          default: {
            const auto kind = static_cast<int>(aRandom.pick(32));
            addHostNode(aTable, kind, some(0));
          }
        }
        break;
      case 5:
      case 6: SymbolicNotExpr(aTable, left); break;
      case 7: SymbolicAndExpr(aTable, left, right); break;
      case 8: SymbolicOrExpr(aTable, left, right); break;
      default:
        switch (aRandom.pick(24)) {
#define KS_UNARY(code, Op, Class) \
  case code:                      \
    Class(aTable, left);          \
    break;
#define KS_BINARY(code, Op, Class) \
  case code:                       \
    Class(aTable, left, right);    \
    break;
#include "base/SymbolicExprKinds.def"
          default: SymbolicString(aTable, aRandom.oneOf(names));
        }
    }
  }
}

}  // namespace KS::test
