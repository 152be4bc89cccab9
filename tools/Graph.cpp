#include "tools/Graph.hpp"

#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "print/detail/Operators.hpp"

namespace ksexpr {

namespace {

using KS::SymbolicExpr;
using KS::SymbolicExprId;
using KS::SymbolicExprTable;
using KS::SymbolicOp;

constexpr const char* classNames[] = {
#define KS_KIND(code, Op, Class) #Class,
#include "base/SymbolicExprKinds.def"
};

// The text of a symbol, number or member name; empty for other nodes.
std::string payload(const SymbolicExprTable& aTable, const SymbolicExpr& aNode) {
  if (aNode.getKind() == static_cast<int>(SymbolicOp::MemberValue)) {
    return static_cast<const KS::SymbolicMemberValue&>(aNode).getMember();
  }
  return aNode.isLeaf() ? KS::SymbolicExprPrinter(aTable, true, false, false)(aNode) : "";
}

bool isCall(const SymbolicExpr& aNode) {
  return aNode.isFixedArityFcnCall() || aNode.getKind() == static_cast<int>(SymbolicOp::FcnCall);
}

std::string padded(std::string aText, std::size_t aWidth) {
  if (aText.size() < aWidth) aText.resize(aWidth, ' ');
  return aText;
}

// A node's name, and its looks where it is no operation.
std::string dotNode(const SymbolicExprTable& aTable, const SymbolicExpr& aNode, bool aMSyntax) {
  std::string text = payload(aTable, aNode);
  if (aNode.isNumber()) return "label=\"" + text + "\", style=filled, fillcolor=\"#fff2cc\"";
  if (aNode.isLeaf()) {
    return "label=\"" + text + "\", shape=ellipse, style=filled, fillcolor=\"#dae8fc\"";
  }
  if (isCall(aNode)) {
    text = payload(aTable, *aTable.get(aNode.getInput(0))) + "()";
  } else if (aNode.getNumDimensions() > 0) {
    text = "[ ]";
  } else {
    const auto op = static_cast<SymbolicOp>(aNode.getKind());
    text = KS::detail::operatorText(op).spelling(aMSyntax) + text;
  }
  return "label=\"" + text + '"';
}

}  // namespace

std::string dumpNodes(const SymbolicExprTable& aTable) {
  std::string out;
  for (SymbolicExprId id = 0; id < aTable.size(); ++id) {
    const SymbolicExpr& node = *aTable.get(id);
    std::string inputs;
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
      inputs += (i == 0 ? "" : ",") + std::to_string(node.getInput(i));
    }
    if (inputs.empty()) inputs = "-";
    const std::string text = payload(aTable, node);
    out += (id == 0 ? "" : "\n") + padded(std::to_string(id), 5) + ' ' +
           padded(std::to_string(node.getKind()), 2) + ' ' +
           padded(classNames[node.getKind()], 28) + ' ' +
           (text.empty() ? inputs : padded(inputs, 11) + ' ' + text);
  }
  return out;
}

std::string dotGraph(const SymbolicExprTable& aTable, SymbolicExprId aRoot, bool aMSyntax) {
  std::string nodes;
  std::string edges;
  // Inputs are older than their users, so going down the ids meets every user before its inputs.
  std::vector<bool> isDrawn(aRoot + 1, false);
  isDrawn[aRoot] = true;
  for (SymbolicExprId id = aRoot + 1; id-- > 0;) {
    if (!isDrawn[id]) continue;
    const SymbolicExpr& node = *aTable.get(id);
    nodes += "  n" + std::to_string(id) + " [" + dotNode(aTable, node, aMSyntax) + "];\n";
    const std::size_t first = isCall(node) ? 1 : 0;
    for (std::size_t i = first; i < node.getNumInputs(); ++i) {
      isDrawn[node.getInput(i)] = true;
      // A shared operand can't stand on the proper side of all of its users, so that the side where
      // its edge begins tells left from right.
      const std::size_t last = node.getNumInputs() - 1;
      const char* const side = first == last ? "" : i == first ? ":sw" : i == last ? ":se" : ":s";
      edges +=
          "  n" + std::to_string(id) + side + " -> n" + std::to_string(node.getInput(i)) + ";\n";
    }
  }
  return "digraph expression {\n"
         "  ordering=out;\n"
         "  node [fontname=\"Helvetica\", shape=box, style=\"rounded,filled\", "
         "fillcolor=\"#f5f5f5\"];\n"
         "  edge [arrowsize=0.7];\n" +
         nodes + edges + "}";
}

}  // namespace ksexpr
