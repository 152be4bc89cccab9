// Sums, differences, products and quotients. L and R are the operands, already simplified; the
// rules of a function are tried from top to bottom and the first that matches wins. Those that
// change a value on purpose are marked; ValueChangingRules.hpp says when.
#include "simplify/detail/Arithmetic.hpp"

#include <optional>
#include <utility>

#include "simplify/detail/Pattern.hpp"
#include "simplify/detail/WrapArithmetic.hpp"

namespace KS::detail {

namespace {

// The factor that two products share, and what is left of each. The pairings are tried in this
// order: p with r, p with s, q with r, q with s, for p*q and r*s.
bool commonFactor(const SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R, SymbolicExprId& f,
                  SymbolicExprId& u, SymbolicExprId& v) {
  return is(t, L, times(any(f), any(u))) &&
         (is(t, R, times(same(f), any(v))) || is(t, R, times(any(v), same(f))) ||
          (is(t, L, times(any(u), any(f))) &&
           (is(t, R, times(same(f), any(v))) || is(t, R, times(any(v), same(f))))));
}

// Whether one of the two operands of a sum, difference or product is x.
bool hasOperand(const SymbolicExprTable& t, SymbolicExprId aId, const SymbolicExprId& x) {
  SymbolicExprId other = invalidSymbolicExprId;
  return is(t, aId, minus(same(x), any(other))) || is(t, aId, minus(any(other), same(x))) ||
         is(t, aId, times(same(x), any(other))) || is(t, aId, times(any(other), same(x))) ||
         is(t, aId, plus(same(x), any(other))) || is(t, aId, plus(any(other), same(x)));
}

// Two literals of which at least one is real: their values as doubles.
bool realOperands(const SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R, double& a,
                  double& b) {
  const SymbolicExpr& left = *t.get(L);
  const SymbolicExpr& right = *t.get(R);
  a = left.getNumericValue();
  b = right.getNumericValue();
  return left.isNumber() && right.isNumber() &&
         (NodeView(t, L).is(SymbolicOp::DoubleValue) || NodeView(t, R).is(SymbolicOp::DoubleValue));
}

bool isProduct(const SymbolicExprTable& t, SymbolicExprId aId) {
  return NodeView(t, aId).is(SymbolicOp::Multiply);
}

// Whether L and R are leaves in text order.
bool areLeavesInOrder(SimplifyContext& aContext, SymbolicExprId L, SymbolicExprId R) {
  return aContext.node(L).isLeaf() && aContext.node(R).isLeaf() &&
         aContext.order.compare(L, R) <= 0;
}

bool isNumber(const SimplifyContext& aContext, SymbolicExprId aId) {
  const SymbolicOp kind = aContext.node(aId).kind();
  return kind == SymbolicOp::IntValue || kind == SymbolicOp::DoubleValue;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Operand order

void orderSum(SimplifyContext& aContext, SymbolicExprId& L, SymbolicExprId& R) {
  const bool isNumberL = isNumber(aContext, L), isNumberR = isNumber(aContext, R);
  const bool keep = isNumberL || isNumberR
                        ? !isNumberL || isNumberR
                        : !aContext.node(L).isLeaf() || areLeavesInOrder(aContext, L, R);
  if (!keep) std::swap(L, R);
}

void orderProduct(SimplifyContext& aContext, SymbolicExprId& L, SymbolicExprId& R) {
  const bool isNumberL = isNumber(aContext, L), isNumberR = isNumber(aContext, R);
  const bool keep = isNumberL || isNumberR
                        ? !isNumberR
                        : !aContext.node(R).isLeaf() || areLeavesInOrder(aContext, L, R);
  if (!keep) std::swap(L, R);
}

// ---------------------------------------------------------------------------------------------
// L + R

namespace {

// Neither operand is negated, and not both are numbers.
SymbolicExprId sumOfTerms(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R) {
  SymbolicExprId x = invalidSymbolicExprId, y = invalidSymbolicExprId;
  SymbolicExprId f = invalidSymbolicExprId, u = invalidSymbolicExprId, v = invalidSymbolicExprId;
  int c = 0;

  if (is(t, L, plus(any(x), any(y)))) {
    // (x + c) + R -> (x + R) + c
    if (is(t, y, intVal(c))) return Plus{t, Plus{t, x, R}, y};
    // (R + y) + R -> 2*R + y
    if (x == R) return Plus{t, Multiply{t, Int{t, 2}, R}, y};
    // (x + R) + R -> x + 2*R
    if (y == R) return Plus{t, x, Multiply{t, Int{t, 2}, R}};
  } else if (is(t, L, minus(any(x), any(y)))) {
    // (x - R) + R -> x
    if (y == R) return x;
    // (x - c) + R -> (x + R) - c
    if (is(t, y, intVal(c))) return Minus{t, Plus{t, x, R}, y};
    // (x - y) + R, R an operand of y -> x - (y - R)
    if (hasOperand(t, y, R)) return Minus{t, x, Minus{t, y, R}};
  }
  // f*u + f*v -> f*(u + v)
  if (commonFactor(t, L, R, f, u, v)) return Multiply{t, f, Plus{t, u, v}};
  const bool leftIsProduct = isProduct(t, L);
  const bool rightIsProduct = isProduct(t, R);
  if (rightIsProduct && !leftIsProduct) {
    // L + L*u -> L*(u + 1)
    if (is(t, R, times(same(L), any(u)))) return Multiply{t, L, Plus{t, u, Int{t, 1}}};
    // L + u*L -> L*(u + 1)
    if (is(t, R, times(any(u), same(L)))) return Multiply{t, L, Plus{t, u, Int{t, 1}}};
  }
  if (leftIsProduct && !rightIsProduct) {
    // R*u + R -> R*(u + 1)
    if (is(t, L, times(same(R), any(u)))) return Multiply{t, R, Plus{t, u, Int{t, 1}}};
    // u*R + R -> R*(u + 1)
    if (is(t, L, times(any(u), same(R)))) return Multiply{t, R, Plus{t, u, Int{t, 1}}};
  }
  // (x + y) + R, leaves y and R, x compound -> x + (y + R)
  if (is(t, R, leaf()) && is(t, L, plus(any(x), any(y))) && is(t, y, leaf()) && !is(t, x, leaf())) {
    return Plus{t, x, Plus{t, y, R}};
  }
  // L + L -> 2*L
  if (L == R) return Multiply{t, Int{t, 2}, R};
  return Plus{t, L, R};
}

}  // namespace

SymbolicExprId simplifySum(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R) {
  SymbolicExprId x = invalidSymbolicExprId, y = invalidSymbolicExprId;
  int c = 0, d = 0;
  double a = 0.0, b = 0.0;

  // c + d -> the sum, wrapping
  if (is(t, L, intVal(c)) && is(t, R, intVal(d))) return Int{t, wrapAdd(c, d)};
  // a + b, at least one of them real -> the sum as double
  if (realOperands(t, L, R, a, b)) return Double{t, a + b};
  if (is(t, R, intVal(c))) {
    // x + 0 -> x
    if (c == 0) return L;
    // (x + d) + c -> x + (d + c)  (changes values)
    if (is(t, L, plus(any(x), intVal(d)))) return Plus{t, x, Int{t, wrapAdd(d, c)}};
    // (x - d) + c -> x + (c - d)  (changes values)
    if (is(t, L, minus(any(x), intVal(d)))) return Plus{t, x, Int{t, wrapSub(c, d)}};
    // x + c, c negative -> x - (-c)  (changes values)
    if (c < 0) return Minus{t, L, Int{t, wrapNeg(c)}};
  }
  // x + (-y) -> x - y
  if (is(t, R, negated(any(y)))) return Minus{t, L, y};
  // (-x) + y -> y - x
  if (is(t, L, negated(any(x)))) return Minus{t, R, x};
  return sumOfTerms(t, L, R);
}

// ---------------------------------------------------------------------------------------------
// L - R

SymbolicExprId simplifyDifference(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R) {
  SymbolicExprId x = invalidSymbolicExprId, y = invalidSymbolicExprId;
  SymbolicExprId f = invalidSymbolicExprId, u = invalidSymbolicExprId, v = invalidSymbolicExprId;
  int c = 0, d = 0;
  double a = 0.0, b = 0.0;

  // x - x -> 0
  if (L == R) return Int{t, 0};
  // c - d -> the difference, wrapping
  if (is(t, L, intVal(c)) && is(t, R, intVal(d))) return Int{t, wrapSub(c, d)};
  // a - b, at least one of them real -> the difference as double
  if (realOperands(t, L, R, a, b)) return Double{t, a - b};
  if (is(t, R, intVal(c))) {
    // x - c, c negative -> x + (-c)
    if (c < 0) return Plus{t, L, Int{t, wrapNeg(c)}};
    // (x + d) - c -> x + (d - c)  (changes values)
    if (is(t, L, plus(any(x), intVal(d)))) return Plus{t, x, Int{t, wrapSub(d, c)}};
  }
  // x - (-y) -> x + y
  if (is(t, R, negated(any(y)))) return Plus{t, L, y};
  // (R + y) - R -> y
  if (is(t, L, plus(same(R), any(y)))) return y;
  // (x + R) - R -> x
  if (is(t, L, plus(any(x), same(R)))) return x;
  // f*u - f*v -> f*(u - v)
  if (commonFactor(t, L, R, f, u, v)) return Multiply{t, f, Minus{t, u, v}};
  if (!isProduct(t, R)) {
    // R*u - R -> R*(u - 1)
    if (is(t, L, times(same(R), any(u)))) return Multiply{t, R, Minus{t, u, Int{t, 1}}};
    // u*R - R -> (u - 1)*R
    if (is(t, L, times(any(u), same(R)))) return Multiply{t, Minus{t, u, Int{t, 1}}, R};
  }
  // (x - y) - R, leaves y and R, x compound -> x - (y + R)
  if (is(t, R, leaf()) && is(t, L, minus(any(x), any(y))) && is(t, y, leaf()) &&
      !is(t, x, leaf())) {
    return Minus{t, x, Plus{t, y, R}};
  }
  return Minus{t, L, R};
}

// ---------------------------------------------------------------------------------------------
// L * R

namespace {

// There is no rule for 0 * x: x may be infinite.
SymbolicExprId productWithInt(SymbolicExprTable& t, SymbolicExprId L, int c, SymbolicExprId R) {
  SymbolicExprId x = invalidSymbolicExprId, y = invalidSymbolicExprId;
  int d = 0;

  // 1 * x -> x
  if (c == 1) return R;
  // c * (x + d) -> c*x + d*c  (changes values)
  if (is(t, R, plus(any(x), intVal(d)))) {
    return Plus{t, Multiply{t, L, x}, Int{t, wrapMul(d, c)}};
  }
  // c * (x - d) -> c*x - d*c  (changes values)
  if (is(t, R, minus(any(x), intVal(d)))) {
    return Minus{t, Multiply{t, L, x}, Int{t, wrapMul(d, c)}};
  }
  // c * (d - y) -> d*c - c*y  (changes values)
  if (is(t, R, minus(intVal(d), any(y)))) {
    return Minus{t, Int{t, wrapMul(d, c)}, Multiply{t, L, y}};
  }
  // c * (d * y) -> (d*c) * y  (changes values)
  if (is(t, R, times(intVal(d), any(y)))) return Multiply{t, Int{t, wrapMul(d, c)}, y};
  // c * (x / d), c / d folds -> (c/d) * x  (changes values)
  if (is(t, R, divided(any(x), intVal(d)))) {
    if (const std::optional<int> q = foldedQuotient(c, d)) return Multiply{t, Int{t, *q}, x};
  }
  return Multiply{t, L, R};
}

}  // namespace

SymbolicExprId simplifyProduct(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R) {
  SymbolicExprId p = invalidSymbolicExprId;
  int c = 0, d = 0;
  double a = 0.0, b = 0.0;

  // c * d -> the product, wrapping
  if (is(t, L, intVal(c)) && is(t, R, intVal(d))) return Int{t, wrapMul(c, d)};
  // a * b, at least one of them real -> the product as double
  if (realOperands(t, L, R, a, b)) return Double{t, a * b};
  // L * (p / L) -> p  (changes values)
  if (!NodeView(t, L).is(SymbolicOp::Divide) && is(t, R, divided(any(p), same(L)))) return p;
  // (p / R) * R -> p  (changes values)
  if (is(t, L, divided(any(p), same(R)))) return p;
  if (is(t, L, intVal(c))) return productWithInt(t, L, c, R);
  return Multiply{t, L, R};
}

// ---------------------------------------------------------------------------------------------
// L / R

SymbolicExprId simplifyQuotient(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R) {
  SymbolicExprId p = invalidSymbolicExprId, q = invalidSymbolicExprId, y = invalidSymbolicExprId;
  int a = 0, c = 0;
  double u = 0.0, v = 0.0;

  // x / x -> 1  (changes values)
  if (L == R) return Int{t, 1};
  // u / v, at least one of them real -> the quotient as double
  if (realOperands(t, L, R, u, v)) return Double{t, u / v};
  // (R * q) / R -> q  (changes values)
  if (is(t, L, times(same(R), any(q)))) return q;
  // (p * R) / R -> p  (changes values)
  if (is(t, L, times(any(p), same(R)))) return p;
  if (is(t, R, intVal(c))) {
    // x / 1 -> x
    if (c == 1) return L;
    // a / c folds -> a/c  (changes values)
    if (is(t, L, intVal(a))) {
      if (const std::optional<int> folded = foldedQuotient(a, c)) return Int{t, *folded};
    }
    // (a * y) / c, a / c folds -> (a/c) * y  (changes values)
    if (is(t, L, times(intVal(a), any(y)))) {
      if (const std::optional<int> folded = foldedQuotient(a, c)) {
        return Multiply{t, Int{t, *folded}, y};
      }
    }
  }
  return Divide{t, L, R};
}

}  // namespace KS::detail
