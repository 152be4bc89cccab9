// A library that uses ours and has it in its own interface.
#pragma once

#include <KSSymbolicExpr/base/SymbolicExprTable.hpp>
#include <string>

/// Whether a condition in M syntax can hold.
bool canHold(KS::SymbolicExprTable& aTable, const std::string& aCondition);
