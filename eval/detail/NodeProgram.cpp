#include "eval/detail/NodeProgram.hpp"

#include <algorithm>
#include <utility>

#include "base/detail/NodeView.hpp"
#include "base/detail/Walk.hpp"
#include "eval/detail/Failures.hpp"
#include "eval/detail/Operations.hpp"

namespace KS::Eval::detail {

namespace {

class Compiler {
 public:
  Compiler(const SymbolicExprTable& aTable, const SymbolicExprBindings* aBindings)
      : table(aTable),
        digests(KS::detail::Digests::of(aTable)),
        bindings(aBindings),
        program(aTable) {
    addPlace(invalidSymbolicExprId, {0, Cell::isScalar});
  }

  void add(SymbolicExprId aRoot);
  NodeProgram finish();

 private:
  // A node some of whose inputs are still to be entered.
  struct Frame {
    SymbolicExprId id;
    std::uint32_t place;
    std::uint32_t next;  // the index of the next input
    std::uint32_t count;
  };
  static constexpr std::uint32_t isOnPath = 0xFFFFFFFF;  // the state of a node that has a frame

  std::uint32_t addPlace(SymbolicExprId aId, Cell aCell);
  void enter(SymbolicExprId aId);
  void enterNew(SymbolicExprId aId, std::uint32_t aPlace);
  void addValueless(std::uint32_t aPlace);
  void push(SymbolicExprId aId, std::uint32_t aPlace, std::size_t aCount);
  SymbolicExprId inputOf(const Frame& aFrame) const;
  void leave();
  void markEnds();

  SymbolicOp opOf(SymbolicExprId aId) const { return node(aId).kind(); }
  KS::detail::NodeView node(SymbolicExprId aId) const { return {digests, aId}; }

  const SymbolicExprTable& table;
  const KS::detail::BlockArray<KS::detail::NodeDigest>& digests;
  const SymbolicExprBindings* const bindings;
  NodeProgram program;
  std::vector<Frame> path;
  std::vector<std::uint32_t> operands;  // places of the inputs that nodes on the path have got
};

void Compiler::add(SymbolicExprId aRoot) {
  enter(aRoot);
  while (!path.empty()) {
    Frame& top = path.back();
    if (top.next < top.count) {
      const SymbolicExprId input = inputOf(top);
      ++top.next;
      enter(input);
    } else {
      leave();
    }
  }
  program.roots.push_back(operands.back());
  operands.pop_back();
}

std::uint32_t Compiler::addPlace(SymbolicExprId aId, Cell aCell) {
  program.ids.push_back(aId);
  program.cells.push_back(aCell);
  program.evaluationOrder.stepAt.push_back(NodeProgram::noStep);
  return static_cast<std::uint32_t>(program.ids.size() - 1);
}

void Compiler::enter(SymbolicExprId aId) {
  if (aId >= table.size()) table.get(aId);  // throws
  const auto newPlace = static_cast<std::uint32_t>(program.ids.size());
  const std::uint32_t place = program.places.findOrAdd(static_cast<std::uint32_t>(aId), newPlace);
  operands.push_back(place);
  if (place == newPlace) {
    enterNew(aId, addPlace(aId, {0, Cell::isScalar}));
  } else if (program.cells[place].state == isOnPath) {
    if (!program.isCyclic) program.cycleText = cycleText(table, path, aId);
    program.isCyclic = true;
    operands.back() = addPlace(aId, {0, NodeProgram::cycleError});
  }
}

void Compiler::enterNew(SymbolicExprId aId, std::uint32_t aPlace) {
  if (bindings != nullptr && bindings->find(aId) != nullptr) return;
  const SymbolicOp op = opOf(aId);
  if (isLiteral(op)) {
    program.cells[aPlace].scalar = literal(op, *table.get(aId));
  } else if (isOpaque(op)) {  // NOLINT(bugprone-branch-clone): in the order of the questions
    addValueless(aPlace);
  } else if (isList(op)) {
    push(aId, aPlace, table.get(aId)->getNumInputs());
  } else if (op != SymbolicOp::String) {
    push(aId, aPlace, isUnary(op) ? 1 : 2);
  } else if (table.getValueId(aId) != invalidSymbolicExprId) {
    push(aId, aPlace, 1);
  } else if (!isBoolean(*table.get(aId), program.cells[aPlace].scalar)) {
    addValueless(aPlace);
  }
}

void Compiler::addValueless(std::uint32_t aPlace) {
  const std::size_t error = program.numErrors();
  program.cells[aPlace].state = Cell::firstError + static_cast<std::uint32_t>(error);
  program.valueless.push_back(aPlace);
}

void Compiler::push(SymbolicExprId aId, std::uint32_t aPlace, std::size_t aCount) {
  program.cells[aPlace].state = isOnPath;
  path.push_back({aId, aPlace, 0, static_cast<std::uint32_t>(aCount)});
}

SymbolicExprId Compiler::inputOf(const Frame& aFrame) const {
  const SymbolicOp op = opOf(aFrame.id);
  if (op == SymbolicOp::String) return table.getValueId(aFrame.id);
  if (isList(op)) return KS::detail::checkedInput(*table.get(aFrame.id), aFrame.id, aFrame.next);
  const SymbolicExprId input = aFrame.next == 0 ? node(aFrame.id).left() : node(aFrame.id).right();
  if (input >= aFrame.id) KS::detail::failBadInput();
  return input;
}

void Compiler::leave() {
  const Frame done = path.back();
  path.pop_back();
  const auto first = operands.end() - static_cast<std::ptrdiff_t>(done.count);
  Step step{static_cast<std::uint8_t>(opOf(done.id)), false, false, done.place, 0, 0};
  if (isList(step.op())) {
    step.left = static_cast<std::uint32_t>(program.elements.size());
    program.elements.insert(program.elements.end(), first, operands.end());
    step.right = static_cast<std::uint32_t>(program.elements.size());
  } else {
    step.left = *first;
    step.right = operands.back();
  }
  operands.erase(first, operands.end());
  NodeProgram::Order& order = program.evaluationOrder;
  order.stepAt[done.place] = static_cast<std::uint32_t>(order.steps.size());
  order.steps.push_back(step);
  program.cells[done.place].state = Cell::isScalar;
}

NodeProgram Compiler::finish() {
  markEnds();
  return std::move(program);
}

void Compiler::markEnds() {
  std::vector<bool> isNeeded(program.ids.size());
  const auto isEnd = [&isNeeded](std::uint32_t aPlace) {
    const bool isLast = !isNeeded[aPlace];
    isNeeded[aPlace] = true;
    return isLast;
  };
  for (const std::uint32_t root : program.roots) isNeeded[root] = true;
  std::vector<Step>& steps = program.evaluationOrder.steps;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    if (isList(step->op())) {
      for (std::uint32_t i = step->left; i < step->right; ++i) isEnd(program.elements[i]);
    } else {
      step->endsRight = isEnd(step->right);
      step->endsLeft = isEnd(step->left);
    }
  }
}

}  // namespace

NodeProgram compile(const SymbolicExprTable& aTable, const std::vector<SymbolicExprId>& aRoots,
                    const SymbolicExprBindings* aBindings) {
  Compiler compiler(aTable, aBindings);
  for (const SymbolicExprId root : aRoots) compiler.add(root);
  return compiler.finish();
}

void sortByKinds(NodeProgram& aProgram) {
  const NodeProgram::Order& evaluation = aProgram.evaluationOrder;
  NodeProgram::Order sorted = evaluation;
  std::vector<std::uint32_t> depths(aProgram.ids.size());
  for (const Step& step : evaluation.steps) {
    if (isList(step.op())) return;
    depths[step.place] = std::max(depths[step.left], depths[step.right]) + 1;
  }
  std::stable_sort(sorted.steps.begin(), sorted.steps.end(), [&](const Step& a, const Step& b) {
    return std::make_pair(depths[a.place], a.kind) < std::make_pair(depths[b.place], b.kind);
  });
  for (std::size_t i = 0; i < sorted.steps.size(); ++i) {
    sorted.stepAt[sorted.steps[i].place] = static_cast<std::uint32_t>(i);
  }
  aProgram.kindOrder = std::move(sorted);
}

}  // namespace KS::Eval::detail
