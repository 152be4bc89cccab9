// Expression text as a sequence of steps in the order in which nodes are interned.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <string_view>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicOp.hpp"
#include "parser/ExpressionAst.hpp"

namespace KS::detail {

/// One step. A leaf brings a value; an operation takes the values of the steps before it and leaves
/// one, so a sequence for a whole expression leaves exactly one value.
struct Step {
  SymbolicOp op;
  /// Function calls: the number of arguments. Lists: of elements. String: the name's length.
  std::size_t count;
  union {
    int integer;
    double real;
    const char* name;  // borrowed from the text or the tree
  };
};

/// A call takes its name and then the arguments, whatever their number; FcnCall stands for all
/// arities, ND for lists of all lengths, BitCompl for prefix "~" of either dialect. Codes that no
/// operation has leave the invalid id.
class Steps {
 public:
  /// Takes one value and leaves the invalid id.
  static constexpr SymbolicOp unknownUnary = static_cast<SymbolicOp>(-2);

  void integer(int aValue) { push(SymbolicOp::IntValue, 0).integer = aValue; }
  void real(double aValue) { push(SymbolicOp::DoubleValue, 0).real = aValue; }
  void name(std::string_view aName) { push(SymbolicOp::String, aName.size()).name = aName.data(); }
  void operation(SymbolicOp aOp, std::size_t aCount = 0) { push(aOp, aCount); }
  /// A value that is no expression.
  void nothing() { push(noOp, 0); }
  void clear() { steps.clear(); }

  /// The steps that the tree's conversion takes.
  void flatten(const Parser::expression_ast& aTree);
  /// The tree that these steps build.
  Parser::expression_ast buildTree() const;
  /// Interns every step's node in order and returns the id of the last: the invalid id for a
  /// sequence that ends in nothing.
  SymbolicExprId intern(SymbolicExprTable& aTable, bool aCSyntax) const;

 private:
  static constexpr SymbolicOp noOp = static_cast<SymbolicOp>(-1);

  Step& push(SymbolicOp aOp, std::size_t aCount) {
    Step step;
    step.op = aOp;
    step.count = aCount;
    step.name = nullptr;
    steps.push_back(step);
    return steps.back();
  }

  boost::container::small_vector<Step, 48> steps;
};

}  // namespace KS::detail
