#include "eval/detail/EvalWalk.hpp"

#include <algorithm>
#include <boost/unordered/unordered_flat_set.hpp>
#include <utility>

#include "base/detail/Walk.hpp"
#include "eval/detail/Failures.hpp"

namespace KS::Eval::detail {

namespace {

// What a vector takes, in bytes.
std::size_t sizeOf(const Value& aVector) {
  return sizeof(Value) + aVector.vector().capacity() * sizeof(Scalar);
}

// What a step of the walk gives when it computed something; else it gives the next id to enter.
constexpr SymbolicExprId computed = invalidSymbolicExprId;

[[noreturn]] void fail(const std::string& aText) { throw SymbolicExprEvalError(aText); }

// An input is always older than its user; following one that is not might never end.
SymbolicExprId checked(SymbolicExprId aInput, SymbolicExprId aId) {
  if (aInput >= aId) KS::detail::failBadInput();
  return aInput;
}

}  // namespace

Value EvalWalk::run(SymbolicExprId aRoot) {
  SymbolicExprId next = aRoot;
  do {
    while (next != computed) next = enter(next);
    next = leave();
  } while (next != computed);
  return valueOf(current);
}

// The value that is bound to a node, or null.
const Value* EvalWalk::bound(std::size_t aId) const {
  return bindings == nullptr ? nullptr : bindings->find(aId);
}

// The value of a literal or of a symbol that has one for its value.
bool EvalWalk::isLeaf(std::size_t aId, Scalar& aScalar) const {
  if (bindings != nullptr) return isBoundLeaf(aId, aScalar);
  if (node(aId).hasIntValue()) {
    aScalar = node(aId).intValue();
    return true;
  }
  if (node(aId).is(SymbolicOp::String)) {
    aId = node(aId).valueId();
    if (aId >= table.size()) return false;
  }
  const KS::detail::NodeView leaf = node(aId);
  if (!isLiteral(leaf.kind())) return false;
  aScalar = leaf.is(SymbolicOp::IntValue) ? Scalar(leaf.intValue())
                                          : literal(leaf.kind(), *table.get(aId));
  return true;
}

// The value of a literal or of a symbol to which a scalar is bound.
bool EvalWalk::isBoundLeaf(std::size_t aId, Scalar& aScalar) const {
  const SymbolicOp op = node(aId).kind();
  const Value* const value = op == SymbolicOp::String ? bindings->find(aId) : nullptr;
  if (value != nullptr && value->tag() == Value::Single) {
    aScalar = value->scalar();
  } else if (isLiteral(op)) {
    aScalar = literal(op, *table.get(aId));
  } else {
    return false;
  }
  return true;
}

// The value of a leaf or of an operator on leaves.
bool EvalWalk::isSimple(std::uint32_t aId, Scalar& aScalar) const {
  const KS::detail::NodeView operation = node(aId);
  const SymbolicOp op = operation.kind();
  if (operation.isLeaf()) return isLeaf(aId, aScalar);
  if (isList(op) || isOpaque(op)) return false;
  // Most operators that are not simple are links of chains.
  if (operation.left() >= aId || !node(operation.left()).isLeaf()) return false;
  Scalar left(0);
  if (bound(aId) != nullptr || !isLeaf(operation.left(), left)) return false;
  Scalar right = left;
  if (!isUnary(op) && (operation.right() >= aId || !isLeaf(operation.right(), right))) return false;
  aScalar = apply(op, left, right);
  return true;
}

SymbolicExprId EvalWalk::enter(SymbolicExprId aId) {
  if (aId >= table.size()) table.get(aId);  // throws
  const auto id = static_cast<std::uint32_t>(aId);
  if (isSimple(id, current.scalar)) {
    current.shape = isScalar;
    return computed;
  }
  const auto newPlace = static_cast<std::uint32_t>(results.size());
  const std::uint32_t place = places.findOrAdd(id, newPlace);
  if (place != newPlace) {
    if (results[place].shape == isOnPath) fail(cycleText(table, path, aId));
    current = results[place];
    return computed;
  }
  results.push_back({0, isOnPath});
  if (const Value* const value = bound(aId)) {
    if (value->tag() == Value::Vector) {
      keep(*value);
    } else {
      current = {value->scalar(), isScalar};
    }
    results[place] = current;
    return computed;
  }
  const Frame frame{id, place, 0, node(id).kind()};
  if (isOpaque(frame.op)) fail(noValueText(table, *table.get(aId)));
  if (frame.op == SymbolicOp::String) return enterSymbol(frame);
  if (isList(frame.op)) return enterList(frame);
  path.push_back(frame);
  return checked(node(id).left(), id);
}

SymbolicExprId EvalWalk::enterSymbol(const Frame& aFrame) {
  const SymbolicExprId value = table.getValueId(aFrame.id);
  if (value == invalidSymbolicExprId) {
    const SymbolicExpr& symbol = *table.get(aFrame.id);
    current.shape = isScalar;
    if (!isBoolean(symbol, current.scalar)) fail(noValueText(table, symbol));
    results[aFrame.place] = current;
    return computed;
  }
  path.push_back(aFrame);
  return value;
}

SymbolicExprId EvalWalk::enterList(const Frame& aFrame) {
  const SymbolicExpr& node = *table.get(aFrame.id);
  if (node.getNumInputs() == 0) {
    keep(Value(std::vector<Scalar>()));
    results[aFrame.place] = current;
    return computed;
  }
  path.push_back(aFrame);
  return KS::detail::checkedInput(node, aFrame.id, 0);
}

// Gives what was computed to its user, and the user's result to the user's user, as far as no other
// input is lacking.
SymbolicExprId EvalWalk::leave() {
  while (!path.empty()) {
    Frame& top = path.back();
    const SymbolicOp op = top.op;
    if (isList(op)) {
      const SymbolicExprId next = nextElement(top);
      if (next != computed) return next;
    } else if (isUnary(op)) {
      combine(op, current, current);
    } else if (op != SymbolicOp::String && top.input == 0) {
      const SymbolicExprId right = checked(node(top.id).right(), top.id);
      Result result{0, isScalar};
      if (!isSimple(static_cast<std::uint32_t>(right), result.scalar)) {
        operands.push_back(current);
        top.input = 1;
        return right;
      }
      combine(op, current, result);
    } else if (op != SymbolicOp::String) {
      combine(op, operands.back(), current);
      operands.pop_back();
    }
    results[top.place] = current;
    path.pop_back();
  }
  return computed;
}

SymbolicExprId EvalWalk::nextElement(Frame& aFrame) {
  const SymbolicExpr& node = *table.get(aFrame.id);
  const std::size_t count = node.getNumInputs();
  operands.push_back(current);
  if (++aFrame.input < count) return KS::detail::checkedInput(node, aFrame.id, aFrame.input);
  Value list{std::vector<Scalar>()};
  list.vector().reserve(count);
  for (std::size_t i = operands.size() - count; i < operands.size(); ++i) {
    appendElement(list, valueOf(operands[i]));
  }
  operands.resize(operands.size() - count, current);
  keep(std::move(list));
  return computed;
}

void EvalWalk::combine(SymbolicOp aOp, const Result& aLeft, const Result& aRight) {
  if (aLeft.shape == isScalar && aRight.shape == isScalar) {
    current = {apply(aOp, aLeft.scalar, aRight.scalar), isScalar};
  } else if (aRight.shape == isScalar) {
    keep(apply(aOp, vectors[aLeft.shape], Value(aRight.scalar)));
  } else if (aLeft.shape == isScalar) {
    keep(apply(aOp, Value(aLeft.scalar), vectors[aRight.shape]));
  } else {
    keep(apply(aOp, vectors[aLeft.shape], vectors[aRight.shape]));
  }
}

// Takes a new result. What it was computed from may be freed here.
void EvalWalk::keep(Value aVector) {
  keptBytes += sizeOf(aVector);
  if (keptBytes > freeFrom) freeUnneeded();
  if (freeShapes.empty()) {
    current = {0, static_cast<std::uint32_t>(vectors.size())};
    vectors.push_back(std::move(aVector));
  } else {
    current = {0, freeShapes.back()};
    freeShapes.pop_back();
    vectors[current.shape] = std::move(aVector);
  }
}

// Frees every vector that is neither an operand that waits nor the result of an input that is still
// to be entered, by a node on the path or one below those inputs.
void EvalWalk::freeUnneeded() {
  std::vector<bool> isNeeded(vectors.size());
  const auto need = [&](const Result& aResult) {
    if (aResult.shape < isOnPath) isNeeded[aResult.shape] = true;
  };
  boost::unordered_flat_set<SymbolicExprId> ahead;
  std::vector<SymbolicExprId> open;
  const auto look = [&](SymbolicExprId aId) {
    if (aId >= table.size()) return;
    const std::uint32_t place = places.find(static_cast<std::uint32_t>(aId));
    if (place != 0) return need(results[place]);
    if (ahead.insert(aId).second) open.push_back(aId);
  };
  const auto lookAtInputs = [&](SymbolicExprId aId, SymbolicOp aOp, std::size_t aFirst) {
    if (isList(aOp)) {
      const SymbolicExpr& list = *table.get(aId);
      for (std::size_t i = aFirst; i < list.getNumInputs(); ++i) look(list.getInput(i));
    } else if (aOp == SymbolicOp::String) {
      if (aFirst == 0) look(table.getValueId(aId));
    } else if (!isLiteral(aOp) && !isOpaque(aOp)) {
      if (aFirst == 0) look(node(aId).left());
      if (aFirst < 2 && !isUnary(aOp)) look(node(aId).right());
    }
  };
  for (const Result& operand : operands) need(operand);
  for (const Frame& frame : path) lookAtInputs(frame.id, frame.op, frame.input + 1);
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    open.pop_back();
    lookAtInputs(id, node(id).kind(), 0);
  }

  std::size_t needed = 0;
  freeShapes.clear();
  for (std::uint32_t shape = 0; shape < vectors.size(); ++shape) {
    if (isNeeded[shape]) {
      needed += sizeOf(vectors[shape]);
    } else {
      vectors[shape] = Value(0);
      freeShapes.push_back(shape);
    }
  }
  keptBytes = needed;
  // Searching costs less than what is computed in between, and what may be freed is no more than a
  // few times what is needed.
  const std::size_t searched = path.size() + ahead.size();
  freeFrom = needed + std::max({needed, leastFreed, searched * 4 * sizeof(Scalar)});
}

Value EvalWalk::valueOf(const Result& aResult) const {
  return aResult.shape == isScalar ? Value(aResult.scalar) : vectors[aResult.shape];
}

}  // namespace KS::Eval::detail
