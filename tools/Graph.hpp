// An expression's graph as text: the table's nodes, and a picture for Graphviz.
#pragma once

#include <string>

#include "base/SymbolicExprTable.hpp"

namespace ksexpr {

/// The table's nodes, one a line without a newline after the last: id, kind code, class, inputs
/// ("-" for none) and payload, which is the text of a symbol, number or member name.
std::string dumpNodes(const KS::SymbolicExprTable& aTable);

/// A Graphviz digraph of the expression `aRoot`. A node that is used several times is drawn once;
/// operators are spelled as M or C syntax prints them.
std::string dotGraph(const KS::SymbolicExprTable& aTable, KS::SymbolicExprId aRoot, bool aMSyntax);

}  // namespace ksexpr
