// The id by which every expression is known.
#pragma once

#include <cstddef>
#include <cstdint>

/// The dense index of a node in the table that issued it, starting at 0.
using SymbolicExprId = std::size_t;

namespace KS {

using ::SymbolicExprId;

/// No such expression: a lookup miss, a failed parse, a visitor without a result (all bits set).
inline constexpr SymbolicExprId invalidSymbolicExprId = static_cast<SymbolicExprId>(-1);

namespace detail {

/// An input as a node keeps it, in 4 bytes: no table holds more nodes than these can number. An id
/// that no table has becomes the invalid one.
class InputId {
 public:
  InputId(SymbolicExprId aId)  // NOLINT(google-explicit-constructor)
      : id(aId < none ? static_cast<std::uint32_t>(aId) : none) {}
  operator SymbolicExprId() const {  // NOLINT(google-explicit-constructor)
    return id == none ? invalidSymbolicExprId : SymbolicExprId{id};
  }

 private:
  static constexpr std::uint32_t none = 0xFFFFFFFF;
  std::uint32_t id;
};

}  // namespace detail

}  // namespace KS
