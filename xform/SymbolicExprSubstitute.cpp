#include "xform/SymbolicExprSubstitute.hpp"

#include <vector>

#include "base/SymbolicExprXFormVisitor.hpp"
#include "base/detail/Intern.hpp"
#include "base/detail/Kinds.hpp"
#include "base/detail/Walk.hpp"
#include "eval/detail/ProgramRun.hpp"

namespace KS {

using detail::intern;
using Eval::Scalar;
using Eval::Value;
using Eval::detail::NodeProgram;
using Eval::detail::ProgramRun;
using Eval::detail::Step;

namespace {

using Ids = std::vector<SymbolicExprId>;

// Builds a node again over other operands.
class Rebuilder : public SymbolicExprXFormVisitor {
 public:
  using SymbolicExprXFormVisitor::SymbolicExprXFormVisitor;
  SymbolicExprId rebuild(const SymbolicExpr& aNode, const Ids& aOperands) {
    for (const SymbolicExprId operand : aOperands) push(operand);
    detail::visitNode(aNode, *this);
    return pop();
  }
};

// What is left of the nodes of a program after a run.
class Residuals {
 public:
  Residuals(SymbolicExprTable& aTable, const NodeProgram& aProgram,
            const SymbolicExprBindings& aBindings)
      : table(aTable),
        program(aProgram),
        bindings(aBindings),
        run(aProgram, aBindings, Eval::detail::Valueless::IsOpen),
        rebuilder(aTable),
        residuals(aProgram.ids.size(), invalidSymbolicExprId),
        truths(residuals) {}

  SymbolicExprId ofRoot() {
    for (std::uint32_t place = 1; place < residuals.size(); ++place) {
      if (!run.at(place).isConstant()) residuals[place] = program.ids[place];
    }
    for (const Step& step : program.evaluationOrder.steps) {
      if (!run.at(step.place).isConstant()) residuals[step.place] = rebuilt(step);
    }
    return operand(program.roots[0]);
  }

 private:
  SymbolicExprId rebuilt(const Step& aStep) {
    if (aStep.op() == SymbolicOp::String) return residuals[aStep.left];
    operands.clear();
    bool isSame = true;
    const auto append = [&](SymbolicExprId aOperand, std::uint32_t aPlace) {
      operands.push_back(aOperand);
      isSame = isSame && aOperand == program.ids[aPlace];
    };
    if (Eval::detail::isList(aStep.op())) {
      for (std::uint32_t i = aStep.left; i < aStep.right; ++i) {
        append(operand(program.elements[i]), program.elements[i]);
      }
    } else if (Eval::detail::isUnary(aStep.op())) {
      append(operand(aStep.left), aStep.left);
    } else {
      for (const std::uint32_t place : {aStep.left, aStep.right}) {
        append(detail::isConnective(aStep.op()) ? truth(place) : operand(place), place);
      }
    }
    const SymbolicExprId id = program.ids[aStep.place];
    return isSame ? id : rebuilder.rebuild(*table.get(id), operands);
  }

  SymbolicExprId operand(std::uint32_t aPlace) {
    SymbolicExprId& residual = residuals[aPlace];
    if (residual == invalidSymbolicExprId) residual = literal(run.valueAt(aPlace));
    return residual;
  }

  // The same as the operand of a connective.
  SymbolicExprId truth(std::uint32_t aPlace) {
    if (!run.at(aPlace).isConstant()) return residuals[aPlace];
    SymbolicExprId& residual = truths[aPlace];
    if (residual == invalidSymbolicExprId) {
      residual = literal(Eval::notOp(Eval::notOp(run.valueAt(aPlace))));
    }
    return residual;
  }

  SymbolicExprId literal(const Value& aValue) {
    if (aValue.tag() == Value::Single) return literal(aValue.scalar());
    // Only a node that a host added is a list without elements, or what is computed from it.
    if (aValue.vector().empty()) {
      const SymbolicNDExpr probe(table, {});
      return table.lookup(&probe);
    }
    Ids elements;
    for (const Scalar& element : aValue.vector()) elements.push_back(literal(element));
    return detail::Intern::list(table, elements);
  }

  SymbolicExprId literal(const Scalar& aScalar) {
    if (aScalar.tag() == Scalar::Double) {
      return intern<SymbolicDoubleValue>(table, aScalar.getDouble());
    }
    if (aScalar.tag() == Scalar::Int) return detail::Intern::integer(table, aScalar.getInt());
    const SymbolicExprId symbol =
        detail::Intern::symbol(table, aScalar.getBool() ? "true" : "false");
    const bool hasOtherValue =
        table.getValueId(symbol) != invalidSymbolicExprId || bindings.find(symbol) != nullptr;
    return hasOtherValue ? detail::Intern::integer(table, aScalar.toInt()) : symbol;
  }

  SymbolicExprTable& table;
  const NodeProgram& program;
  const SymbolicExprBindings& bindings;
  const ProgramRun run;
  Rebuilder rebuilder;
  Ids residuals;  // by place; a constant has none until somebody needs it
  Ids truths;     // the same of constants as operands of connectives
  Ids operands;
};

}  // namespace

SymbolicExprId SymbolicExprSubstitute::operator()(SymbolicExprId aId,
                                                  const SymbolicExprBindings& aBindings) const {
  const NodeProgram program = Eval::detail::compile(*table, {aId}, &aBindings);
  return Residuals(*table, program, aBindings).ofRoot();
}

}  // namespace KS
