#include "eval/detail/ProgramRun.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "base/detail/Kinds.hpp"
#include "eval/detail/Failures.hpp"

namespace KS::Eval::detail {

ProgramRun::ProgramRun(const NodeProgram& aProgram, const SymbolicExprBindings& aBindings,
                       Valueless aValueless)
    : program(aProgram), valueless(aValueless), cells(aProgram.cells) {
  if (&aBindings.getTable() != &program.table) {
    throw std::invalid_argument("the bindings are of another table than the expressions");
  }
  if (valueless != Valueless::Fails) {
    for (const std::uint32_t place : program.valueless) cells[place].state = Cell::isOpen;
  }
  computeAllBut(bind(aBindings));
}

void ProgramRun::restart(const std::vector<Parameter>& aParameters,
                         const std::vector<Value>& aValues) {
  if (!isEveryStepScalar) {
    lists.clear();
    errors.clear();
    cells = program.cells;
  }
  isEveryStepScalar = true;
  for (const Parameter& parameter : aParameters) {
    const Value& value = aValues[parameter.index];
    if (value.tag() == Value::Single) {
      cells[parameter.place] = {value.scalar(), Cell::isScalar};
    } else {
      put(parameter.place, value);
      isEveryStepScalar = false;
    }
  }
  computeAllBut({});
}

// Gives what is bound its value. Returns the places. Looks at the nodes or at the bindings,
// whichever are fewer.
std::vector<std::uint32_t> ProgramRun::bind(const SymbolicExprBindings& aBindings) {
  std::vector<std::uint32_t> bound;
  const auto bindPlace = [&](std::uint32_t aPlace, const Value& aValue) {
    put(aPlace, aValue);
    bound.push_back(aPlace);
  };
  if (aBindings.size() < cells.size()) {
    aBindings.forEach([&](SymbolicExprId aId, const Value& aValue) {
      const std::uint32_t place = program.places.find(static_cast<std::uint32_t>(aId));
      if (place != 0) bindPlace(place, aValue);
    });
  } else {
    for (std::uint32_t place = 1; place < cells.size(); ++place) {
      const Value* const value = aBindings.find(program.ids[place]);
      if (value != nullptr) bindPlace(place, *value);
    }
  }
  return bound;
}

void ProgramRun::computeAllBut(std::vector<std::uint32_t>&& aPlaces) {
  const bool areScalars = lists.empty() && !program.kindOrder.steps.empty();
  const NodeProgram::Order& order = areScalars ? program.kindOrder : program.evaluationOrder;
  std::vector<std::uint32_t>& leftOut = aPlaces;
  for (std::uint32_t& place : leftOut) place = order.stepAt[place];
  std::sort(leftOut.begin(), leftOut.end());
  const Step* const first = order.steps.data();
  const Step* next = first;
  for (const std::uint32_t step : leftOut) {
    if (step == NodeProgram::noStep) break;
    compute(next, first + step);
    release(first[step]);
    next = first + step + 1;
  }
  compute(next, first + order.steps.size());
}

void ProgramRun::compute(const Step* aStep, const Step* aEnd) {
  Cell* const at = cells.data();
  while (aStep != aEnd) {
    const std::uint8_t kind = aStep->kind;
    const auto whileOfThisKind = [&](const auto& aRule) {
      do {
        const Cell& left = at[aStep->left];
        const Cell& right = at[aStep->right];
        if ((left.state | right.state) == Cell::isScalar) {
          at[aStep->place].scalar = aRule(left.scalar, right.scalar);
        } else {
          compute(*aStep);
        }
        ++aStep;
      } while (aStep != aEnd && aStep->kind == kind);
    };
    withRule(
        aStep->op(), whileOfThisKind,
        [&](auto rule) {
          whileOfThisKind([&](const Scalar&, const Scalar& aRight) { return rule(aRight); });
        },
        [&] { compute(*aStep++); });
  }
}

// What is not an operator on scalars.
void ProgramRun::compute(const Step& aStep) {
  isEveryStepScalar = false;
  if (isList(aStep.op())) return computeList(aStep);
  const Cell& left = cells[aStep.left];
  const Cell& right = cells[aStep.right];
  Cell& result = cells[aStep.place];
  const bool isLogical = KS::detail::isConnective(aStep.op()) || aStep.op() == SymbolicOp::Not;
  if (left.hasFailed() || right.hasFailed()) {
    result = left.hasFailed() ? left : right;
  } else if (valueless == Valueless::IsUndecided && isLogical) {
    computeConnective(aStep);
  } else if (left.isConstant() && right.isConstant()) {
    computeFromConstants(aStep);
  } else {
    result.state = Cell::isOpen;
  }
  if (!result.isConstant()) {
    keep(aStep.left);
    keep(aStep.right);
  }
  release(aStep);
}

// All elements are computed before it turns out that one of them is a list.
void ProgramRun::computeList(const Step& aStep) {
  const auto begin = program.elements.begin() + aStep.left;
  const auto end = program.elements.begin() + aStep.right;
  const auto isNotConstant = [this](std::uint32_t e) { return !cells[e].isConstant(); };
  const auto hasFailed = [this](std::uint32_t e) { return cells[e].hasFailed(); };
  if (std::none_of(begin, end, isNotConstant)) {
    Value list{std::vector<Scalar>()};
    list.vector().reserve(aStep.right - aStep.left);
    Value room(0);
    try {
      for (auto element = begin; element != end; ++element) {
        appendElement(list, valueAt(*element, room));
      }
      return put(aStep.place, std::move(list));
    } catch (const SymbolicExprEvalError& error) {
      fail(aStep.place, error.what());
    }
  } else {
    const auto failed = std::find_if(begin, end, hasFailed);
    cells[aStep.place].state = failed == end ? Cell::isOpen : cells[*failed].state;
  }
  std::for_each(begin, end, [this](std::uint32_t e) { keep(e); });
}

// An operand alone may decide: false that a conjunction is false, true that a disjunction is true.
void ProgramRun::computeConnective(const Step& aStep) {
  const bool deciding = aStep.op() == SymbolicOp::Or;
  Cell result{deciding, Cell::isOpen};
  for (const std::uint32_t place : {aStep.left, aStep.right}) {
    const Cell& operand = cells[place];
    if (operand.state == Cell::isList) return fail(aStep.place, noTruthText(lists.at(place).list));
    const bool isScalar = operand.state == Cell::isScalar;
    if (isScalar && operand.scalar.toBool() == deciding) result.state = Cell::isScalar;
  }
  cells[aStep.place] = result;
}

void ProgramRun::computeFromConstants(const Step& aStep) {
  Value leftRoom(0), rightRoom(0);
  const Value& left = valueAt(aStep.left, leftRoom);
  const Value& right = valueAt(aStep.right, rightRoom);
  try {
    put(aStep.place, aStep.op() == SymbolicOp::String ? right : apply(aStep.op(), left, right));
  } catch (const SymbolicExprEvalError& error) {
    fail(aStep.place, error.what());
  }
}

const Value& ProgramRun::valueAt(std::uint32_t aPlace, Value& aRoom) const {
  if (cells[aPlace].state == Cell::isList) return lists.at(aPlace).list;
  return aRoom = cells[aPlace].scalar;
}

std::string ProgramRun::errorAt(std::uint32_t aPlace) const {
  const std::uint32_t state = cells[aPlace].state;
  if (state == NodeProgram::cycleError) return program.cycleText;
  const std::size_t number = state - Cell::firstError;
  if (number >= program.numErrors()) return errors[number - program.numErrors()];
  const SymbolicExprId id = program.ids[program.valueless[number - 1]];
  return noValueText(program.table, *program.table.get(id));
}

void ProgramRun::put(std::uint32_t aPlace, Value aValue) {
  if (aValue.tag() == Value::Single) {
    cells[aPlace] = {aValue.scalar(), Cell::isScalar};
  } else {
    lists.insert_or_assign(aPlace, Held{std::move(aValue)});
    cells[aPlace].state = Cell::isList;
  }
}

void ProgramRun::fail(std::uint32_t aPlace, std::string aError) {
  const std::size_t number = program.numErrors() + errors.size();
  errors.push_back(std::move(aError));
  cells[aPlace].state = Cell::firstError + static_cast<std::uint32_t>(number);
}

void ProgramRun::keep(std::uint32_t aPlace) {
  const bool isNeeded = valueless == Valueless::IsOpen && cells[aPlace].state == Cell::isList;
  if (isNeeded) lists.at(aPlace).isKept = true;
}

// Frees the operands that no later step needs.
void ProgramRun::release(const Step& aStep) {
  const auto end = [this](bool aEnds, std::uint32_t aPlace) {
    const auto held = aEnds ? lists.find(aPlace) : lists.end();
    if (held != lists.end() && !held->second.isKept) lists.erase(held);
  };
  if (lists.empty()) return;
  end(aStep.endsLeft, aStep.left);
  end(aStep.endsRight, aStep.right);
}

}  // namespace KS::Eval::detail
