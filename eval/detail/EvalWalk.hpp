// Evaluation of any expression.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/NodeView.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "eval/detail/Operations.hpp"
#include "eval/detail/PlaceMap.hpp"

namespace KS::Eval::detail {

/// Enters every distinct node and the expression of every symbol once, inputs left to right before
/// their users, with a stack of its own, and keeps every scalar until the end. What is bound is not
/// entered. Only literals, symbols whose value is one, and operators on nothing else are computed
/// once per use: that is cheaper than finding their results again. Vectors that no node needs any
/// more are freed from time to time, so memory is in the vectors that are needed at the same time.
class EvalWalk {
 public:
  explicit EvalWalk(const SymbolicExprTable& aTable,
                    const SymbolicExprBindings* aBindings = nullptr)
      : table(aTable), digests(KS::detail::Digests::of(aTable)), bindings(aBindings) {}

  /// The value of `aRoot`. Throws `SymbolicExprEvalError` if there is none.
  Value run(SymbolicExprId aRoot);

 private:
  // A scalar's shape is `isScalar`, a vector's its index in `vectors`. Nodes on the path have none.
  static constexpr std::uint32_t isScalar = 0xFFFFFFFF;
  static constexpr std::uint32_t isOnPath = 0xFFFFFFFE;
  struct Result {
    Scalar scalar;
    std::uint32_t shape;
  };

  // A node one of whose inputs is being computed; of a symbol, the expression that is registered
  // for it.
  struct Frame {
    std::uint32_t id;
    std::uint32_t place;  // in `results`
    std::uint32_t input;  // the index of the input
    SymbolicOp op;
  };

  // So many bytes of vectors are kept before it is asked which of them are needed.
  static constexpr std::size_t leastFreed = std::size_t{1} << 20;

  KS::detail::NodeView node(SymbolicExprId aId) const { return {digests, aId}; }
  SymbolicExprId enter(SymbolicExprId aId);
  SymbolicExprId enterSymbol(const Frame& aFrame);
  SymbolicExprId enterList(const Frame& aFrame);
  SymbolicExprId leave();
  SymbolicExprId nextElement(Frame& aFrame);
  const Value* bound(std::size_t aId) const;
  bool isLeaf(std::size_t aId, Scalar& aScalar) const;
  bool isBoundLeaf(std::size_t aId, Scalar& aScalar) const;
  bool isSimple(std::uint32_t aId, Scalar& aScalar) const;
  void combine(SymbolicOp aOp, const Result& aLeft, const Result& aRight);
  void keep(Value aVector);
  void freeUnneeded();
  Value valueOf(const Result& aResult) const;

  const SymbolicExprTable& table;
  const KS::detail::BlockArray<KS::detail::NodeDigest>& digests;
  const SymbolicExprBindings* bindings;  // or null
  Result current{0, isScalar};           // of what was computed last
  std::vector<Frame> path;
  std::vector<Result> operands;  // the inputs that nodes on the path have got and not used
  PlaceMap places;
  std::vector<Result> results{current};  // no node has the place 0
  std::vector<Value> vectors;
  std::vector<std::uint32_t> freeShapes;  // of no vector
  std::size_t keptBytes = 0;              // of all vectors
  std::size_t freeFrom = leastFreed;      // the bytes at which the next ones are freed
};

}  // namespace KS::Eval::detail
