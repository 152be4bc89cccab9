// Every public class of the library.
#pragma once

#include "base/KSApi.hpp"
#include "base/KSSymbolicExpr.hpp"
#include "base/KSVersion.hpp"
#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprId.hpp"
#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicExprVisitor.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "base/SymbolicOp.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
