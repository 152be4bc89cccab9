// Every public class of the library.
#pragma once

#include "core.hpp"
#include "parser/Ast2SymbolicExprId.hpp"
#include "parser/ExprParser.hpp"
#include "parser/ExpressionAst.hpp"
