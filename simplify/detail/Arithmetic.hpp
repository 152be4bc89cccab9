// Sums, differences, products and quotients of simplified operands.
#pragma once

#include "simplify/detail/SimplifyContext.hpp"

namespace KS::detail {

/// Orders the operands of a sum: compound terms, leaves in text order, numbers.
void orderSum(SimplifyContext& aContext, SymbolicExprId& L, SymbolicExprId& R);
/// Orders the operands of a product: numbers, leaves in text order, compound factors.
void orderProduct(SimplifyContext& aContext, SymbolicExprId& L, SymbolicExprId& R);

/// What L + R becomes, of operands in the order of sums.
SymbolicExprId simplifySum(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R);
/// What L - R becomes.
SymbolicExprId simplifyDifference(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R);
/// What L * R becomes, of operands in the order of products.
SymbolicExprId simplifyProduct(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R);
/// What L / R becomes.
SymbolicExprId simplifyQuotient(SymbolicExprTable& t, SymbolicExprId L, SymbolicExprId R);

}  // namespace KS::detail
