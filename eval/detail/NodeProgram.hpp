// Expressions compiled into steps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "eval/Eval.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "eval/detail/PlaceMap.hpp"

namespace KS::Eval::detail {

/// What a node came to.
struct Cell {
  static constexpr std::uint32_t isScalar = 0;
  static constexpr std::uint32_t isList = 1;  // which the run keeps elsewhere
  static constexpr std::uint32_t isOpen = 2;  // something that it needs has no value yet
  static constexpr std::uint32_t firstError = 3;

  Scalar scalar;
  std::uint32_t state;  // one of these, or `firstError` and the index of the error

  bool isConstant() const { return state < isOpen; }
  bool hasFailed() const { return state >= firstError; }
};

/// How a node is computed from others.
struct Step {
  std::uint8_t kind;    // of the node; a symbol has the value that is registered for it
  bool endsLeft;        // whether nothing needs the left operand afterwards, in evaluation order
  bool endsRight;       // the same of the right one; both are false for lists
  std::uint32_t place;  // of the node
  std::uint32_t left;   // place of the left or only operand; of a list, the start of its elements
  std::uint32_t right;  // place of the right or only operand; of a list, one past its elements

  SymbolicOp op() const { return static_cast<SymbolicOp>(kind); }
};

/// The distinct nodes of some expressions and of the values that are registered for their symbols,
/// each with a place. No node has the place 0.
struct NodeProgram {
  /// Steps, each behind those of its operands.
  struct Order {
    std::vector<Step> steps;
    std::vector<std::uint32_t> stepAt;  // the step of a place, or `noStep`
  };
  static constexpr std::uint32_t noStep = 0xFFFFFFFF;

  explicit NodeProgram(const SymbolicExprTable& aTable) : table(aTable) {}

  const SymbolicExprTable& table;
  PlaceMap places;                       // by id
  std::vector<SymbolicExprId> ids;       // by place
  std::vector<std::uint32_t> roots;      // their places
  std::vector<std::uint32_t> elements;   // places, of all lists
  std::vector<Cell> cells;               // by place; literals, and what fails unless it is bound
  std::vector<std::uint32_t> valueless;  // places that have no value unless they are bound

  /// The order of evaluation: inputs left to right before their users, a root after the other.
  Order evaluationOrder;
  /// Steps of one depth and kind stand together, which makes a run several times faster, but keeps
  /// more lists at a time. Empty unless it was asked for and there is no list.
  Order kindOrder;

  /// Whether registered values lead back to a node. The input that does so has a place of its own,
  /// which has failed.
  bool isCyclic = false;
  /// Why that has no value, told from the first root that comes upon a cycle.
  std::string cycleText;

  /// The errors that a compiled program knows of are numbered first: that of cycles, then one for
  /// each of the valueless places.
  static constexpr std::uint32_t cycleError = Cell::firstError;
  std::size_t numErrors() const { return 1 + valueless.size(); }
};

/// Compiles expressions. Nodes that are bound in `aBindings`, which may be null, are not entered.
/// Costs time and memory in distinct nodes; depth costs no stack. Throws `std::out_of_range` for a
/// root, an input or a registered value that is not in the table.
NodeProgram compile(const SymbolicExprTable& aTable, const std::vector<SymbolicExprId>& aRoots,
                    const SymbolicExprBindings* aBindings);

/// Makes the order by kinds.
void sortByKinds(NodeProgram& aProgram);

}  // namespace KS::Eval::detail
