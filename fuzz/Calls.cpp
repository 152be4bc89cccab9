// Sequences of calls decoded from bytes: nodes over valid and invalid ids, what works on them,
// visitors that throw midway, a host's own classes of nodes. Whatever happens, tables only grow,
// nodes stay what they are, and results are those of a fresh table.
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "fuzz/Fuzz.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/HostNode.hpp"
#include "xform/SymbolicExprC2M.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"
#include "xform/SymbolicExprM2C.hpp"
#include "xform/SymbolicExprSubstitute.hpp"

namespace KS::fuzz {
namespace {

using test::HostNode;

constexpr std::size_t maxCalls = 150;
// Walks that visit occurrences, and texts, are for expressions that are no larger written out.
constexpr std::size_t maxTree = 5000;
constexpr std::size_t maxText = 1 << 16;

// What a host's own code throws.
struct HostError {};

// Counts visits, and throws at one of them.
class Countdown final : public SymbolicExprVisitor {
 public:
  Countdown(bool aInputsFirst, std::size_t aCount) : inputsFirst(aInputsFirst), left(aCount) {}
  bool visitInputsFirst() const override { return inputsFirst; }
#define KS_KIND(code, Op, Class) \
  void visit(const Class& aExpr) override { note(aExpr); }
#include "base/SymbolicExprKinds.def"

 private:
  void note(const SymbolicExpr& aExpr) {
    for (std::size_t i = 0; i < aExpr.getNumInputs(); ++i) aExpr.getInput(i);
    if (left-- == 0) throw HostError();
  }
  bool inputsFirst;
  std::size_t left;
};

// Rebuilds, but throws, leaves something out, or puts something else in place.
class Rebuilder final : public SymbolicExprXFormVisitor2 {
 public:
  Rebuilder(SymbolicExprTable& aResult, Choices& aChoices)
      : SymbolicExprXFormVisitor2(aResult), choices(aChoices) {}
  using SymbolicExprXFormVisitor2::visit;
  void visit(const SymbolicString& aExpr) override {
    const std::size_t choice = choices.pick(32);
    if (choice == 1) return;  // pushes nothing
    SymbolicExprXFormVisitor2::visit(aExpr);
    if (choice == 2) SymbolicExprXFormVisitor2::visit(aExpr);  // pushes two
  }
  SymbolicExprId makeSymbolicIntValue(int aValue) override {
    if (choices.pick(16) == 1) throw HostError();
    return SymbolicExprXFormVisitor2::makeSymbolicIntValue(aValue ^ 1);
  }
  SymbolicExprId makeSymbolicPlusExpr(SymbolicExprId aLeft, SymbolicExprId aRight) override {
    switch (choices.pick(16)) {
      case 1: throw HostError();
      case 2: return aLeft;
      default: return SymbolicMinusExpr(result(), aLeft, aRight).getId(result());
    }
  }

 private:
  Choices& choices;
};

// ---------------------------------------------------------------------------------------------

// A table, and what is known of its nodes.
class World {
 public:
  SymbolicExprTable table;
  // What stays in use, also after something was thrown.
  SymbolicExprSimplify simplify{table, 10};
  SymbolicExprCompact compact{table};

  // Looks at the nodes that are new, and at an old one.
  void inspect(Choices& aChoices) {
    require(table.size() >= lines.size(), [] { return "a table shrinks"; });
    for (SymbolicExprId id = lines.size(); id < table.size(); ++id) learn(id);
    if (!lines.empty()) inspect(aChoices.pick(std::min<std::size_t>(lines.size(), 65536)));
  }
  void inspectAll() {
    for (SymbolicExprId id = 0; id < lines.size(); ++id) inspect(id);
  }

  bool isSound(SymbolicExprId aId) const { return aId < isWhole.size() && isWhole[aId]; }
  // Whether a node was made over an id that was none then and is one now: what needs the same node
  // finds this one, which is older than its input.
  bool hasOvertaken() const { return leastAhead < table.size(); }
  bool isHosts(SymbolicExprId aId) const { return aId < hosts.size() && hosts[aId]; }
  // A node among all others, for messages.
  std::string describe(SymbolicExprId aId) const {
    std::string text = std::to_string(aId) + " of";
    for (SymbolicExprId id = 0; id < lines.size(); ++id) {
      text += "\n  " + std::to_string(id) + ": " + lines[id] + (hosts[id] ? " host" : "");
    }
    return text;
  }
  std::size_t treeOf(SymbolicExprId aId) const { return aId < trees.size() ? trees[aId] : 1; }

 private:
  static constexpr std::size_t manyNodes = std::size_t{1} << 40;

  std::string lineOf(SymbolicExprId aId) const {
    const SymbolicExpr& node = *table.get(aId);
    std::string line = std::to_string(node.getKind()) + '#' + std::to_string(node.getHash());
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
      line += ' ' + std::to_string(node.getInput(i));
    }
    return line;
  }
  void learn(SymbolicExprId aId) {
    lines.push_back(lineOf(aId));
    const SymbolicExpr& node = *table.get(aId);
    bool sound = true, hosted = dynamic_cast<const HostNode*>(&node) != nullptr;
    std::size_t tree = 1;
    for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
      const SymbolicExprId input = node.getInput(i);
      sound = sound && input < aId && isWhole[input];
      if (input >= aId) leastAhead = std::min(leastAhead, input);
      hosted = hosted || isHosts(input);
      if (input < aId) tree = std::min(manyNodes, tree + trees[input]);
    }
    isWhole.push_back(sound);
    hosts.push_back(hosted);
    trees.push_back(tree);
  }
  void inspect(SymbolicExprId aId) const {
    require(lineOf(aId) == lines[aId], [&] { return "a node changes: " + lines[aId]; });
    const SymbolicExprId found = table.lookup(table.get(aId));
    require(found == aId || hosts[aId], [&] { return "a node is not found: " + lines[aId]; });
    require(table.contains(table.get(aId)), [] { return "a node is not contained"; });
  }

  SymbolicExprId leastAhead = invalidSymbolicExprId;
  std::vector<std::string> lines;
  std::vector<bool> isWhole;  // all ids in it name older nodes
  std::vector<bool> hosts;    // it holds nodes of a host's class
  std::vector<std::size_t> trees;
};

class Session {
 public:
  Session(const std::uint8_t* aData, std::size_t aSize) : choices(aData, aSize) {}

  void run() {
    for (std::size_t i = 0; i < maxCalls && !choices.isAtEnd(); ++i) {
      call(worlds[choices.pick(8) == 1 ? 1 : 0]);
      for (World& world : worlds) world.inspect(choices);
    }
    for (World& world : worlds) world.inspectAll();
  }

 private:
  SymbolicExprId anyId(const World& aWorld) {
    const std::size_t choice = choices.byte(), size = aWorld.table.size();
    if (choice >= 250 || size == 0) {  // names no node, or one that comes later
      if (choice == 250) return invalidSymbolicExprId;
      if (choice == 251) return std::numeric_limits<std::uint32_t>::max();
      return size + choice % 3;
    }
    return choice < 200 && size > choice ? size - 1 - choice : choice % size;
  }
  std::vector<SymbolicExprId> someIds(const World& aWorld) {
    std::vector<SymbolicExprId> ids(choices.pick(6));
    for (SymbolicExprId& id : ids) id = anyId(aWorld);
    return ids;
  }
  std::string anyName() {
    static constexpr const char* const names[] = {
        "a", "b", "c", "x", "true", "false", "", "inf", "bitand", "rem", "bitshift", "a b", "\n"};
    return choices.oneOf(names);
  }
  int anyInt() {
    static constexpr int ints[] = {0, 1, 2, -1, 3, 2147483647, -2147483647 - 1, 65536};
    return choices.pick(2) == 0 ? ints[choices.pick(std::size(ints))]
                                : static_cast<int>(choices.byte()) - 128;
  }
  double anyDouble() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    static constexpr double doubles[] = {0.0, -0.0,  0.5,      1.0,       1e300, 5e-324,
                                         0.1, 1e-30, infinity, -infinity, 2e9,   3.0};
    if (choices.pick(4) != 0) return doubles[choices.pick(std::size(doubles))];
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = bits << 8 | choices.byte();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  Eval::Value anyValue() {
    switch (choices.pick(4)) {
      case 0: return anyInt();
      case 1: return anyDouble();
      case 2: return choices.pick(2) == 0;
      default:
        std::vector<Eval::Scalar> list;
        for (std::size_t i = choices.pick(4); i > 0; --i) list.emplace_back(anyInt());
        return list;
    }
  }

  void call(World& w) {
    SymbolicExprTable& t = w.table;
    switch (choices.pick(20)) {
      case 0: SymbolicString(t, anyName()); break;
      case 1: SymbolicIntValue(t, anyInt()); break;
      case 2: SymbolicDoubleValue(t, anyDouble()); break;
      case 3:
      case 4:
      case 5:
      case 6:
      case 7: operate(w); break;
      case 8: SymbolicNDExpr(t, someIds(w)); break;
      case 9: {
        const std::string name = anyName();
        SymbolicFcnCallExpr(t, name, someIds(w));
        break;
      }
      case 10: SymbolicMemberValue(t, anyId(w), anyName()); break;
      case 11: parse(w); break;
      case 12: host(w); break;
      case 13: walk(w); break;
      case 14: evaluate(w); break;
      case 15: {
        const std::string name = anyName();
        const SymbolicExprId value = anyId(w);
        hasUnknownValues = hasUnknownValues || !w.isSound(value);
        t.registerValueId(name, value);
        break;
      }
      case 16: copy(w); break;
      default: transform(w); break;
    }
  }

  void operate(World& w) {
    const std::size_t kind = choices.pick(24);
    const SymbolicExprId left = anyId(w), right = anyId(w);
    const std::size_t size = w.table.size();
#define KS_UNARY(code, Op, Class) \
  if (kind == code) expectNode(w, Class(w.table, left), size);
#define KS_BINARY(code, Op, Class) \
  if (kind == code) expectNode(w, Class(w.table, left, right), size);
#include "base/SymbolicExprKinds.def"
    if (kind == 0) Symbolic2DExpr(w.table, left, right);
    if (kind == 1) Symbolic3DExpr(w.table, left, right, left);
    if (kind == 2) SymbolicFcnCall1UExpr(w.table, anyName(), left);
  }
  static void expectNode(const World& w, const SymbolicExpr& aProbe, std::size_t aSize) {
    const SymbolicExprId id = aProbe.getId(w.table);
    require(id < w.table.size(), [] { return "a node that was made is not there"; });
    require(w.table.size() == aSize || (w.table.size() == aSize + 1 && id == aSize),
            [] { return "more than one node was made"; });
  }

  void parse(World& w) {
    static constexpr const char* const texts[] = {
        "a && b || !c", "x + 1 < 3",     "2*x + 2",         "f(a, [b, 1.5])",
        "s.m == -(2)",  "a / b + c / d", "bitand(x, 3)",    "x >> 2",
        "a &&",         "[1,2] + [3]",   "a == 1 && a > 1", "(a || b) && (c || x)",
        "rem(x, 0)",    "nan < inf"};
    SymbolicExprParser(w.table, choices.pick(2) == 0)(choices.oneOf(texts));
  }

  void host(World& w) {
    const int kind = static_cast<int>(choices.pick(40)) - 4;
    std::vector<SymbolicExprId> inputs = someIds(w);
    const std::size_t size = w.table.size();
    auto node = std::make_unique<HostNode>(kind, std::move(inputs), choices.pick(3));
    try {
      w.table.add(node.get());
      (void)node.release();  // the table has it
      require(w.table.size() == size + 1, [] { return "a node was not added"; });
    } catch (const std::invalid_argument&) {
      require(w.table.size() == size, [] { return "what was refused was added"; });
    }
  }

  void walk(World& w) {
    const SymbolicExprId id = anyId(w);
    if (w.treeOf(id) > maxTree) return;
    const std::size_t count = choices.pick(64);
    const std::size_t how = choices.pick(3);
    World& target = worlds[choices.pick(2)];
    const std::size_t size = w.table.size();
    guarded(w, id, [&] {
      try {
        if (how < 2) {
          Countdown countdown(how == 0, count);
          w.table.get(id)->accept(w.table, countdown);
          require(w.table.size() == size, [] { return "visiting made nodes"; });
        } else {
          Rebuilder rebuilder(target.table, choices);
          w.table.get(id)->accept(w.table, rebuilder);
          const SymbolicExprId result = rebuilder.get();
          require(result == invalidSymbolicExprId || result < target.table.size(),
                  [] { return "a result that is not there"; });
        }
      } catch (const HostError&) {
      }
    });
  }

  void evaluate(World& w) {
    const SymbolicExprId id = anyId(w);
    const std::size_t size = w.table.size();
    SymbolicExprBindings bindings(w.table);
    for (std::size_t i = choices.pick(6); i > 0; --i) {
      try {
        if (choices.pick(2) == 0) {
          bindings.set(anyName(), anyValue());
        } else {
          const SymbolicExprId place = anyId(w);
          bindings.set(place, anyValue());
        }
      } catch (const std::invalid_argument&) {
      } catch (const std::out_of_range&) {
      }
    }
    guarded(w, id, [&] {
      using Given = std::optional<SymbolicExprBindings>;
      const auto answer = [&](const Given& aBindings) -> std::string {
        try {
          const SymbolicExprEval eval(w.table);
          std::string text;
          for (const double number : aBindings ? eval.eval(id, *aBindings) : eval.eval(id)) {
            text += std::to_string(number) + ' ';
          }
          return text;
        } catch (const SymbolicExprEvalError& error) {
          return error.what();
        }
      };
      const std::string first = answer(bindings);
      require(first == answer(bindings), [] { return "evaluated twice, it differs"; });
      // Without bindings there is another road, for small expressions.
      const std::string unbound = answer(std::nullopt);
      require(unbound == answer(SymbolicExprBindings(w.table)),
              [&] { return "evaluated without bindings: " + unbound; });
      const SymbolicExprProgram program(w.table, {id, id});
      program.run(bindings);
      program.truths(bindings);
      require(w.table.size() == size, [] { return "evaluation made nodes"; });
      SymbolicExprSubstitute(w.table)(id, bindings);
    });
  }

  void copy(World& w) {
    const SymbolicExprId id = anyId(w);
    World& target = worlds[choices.pick(2)];
    guarded(w, id, [&] {
      const SymbolicExprId result = SymbolicExprCopy(w.table, target.table)(id);
      const std::size_t size = target.table.size();
      const SymbolicExprId again = SymbolicExprCopy(w.table, target.table)(id);
      require(again == result && target.table.size() == size,
              [] { return "copied again, it is another"; });
    });
    guarded(w, id, [&] {
      std::vector<SymbolicExprId> symbols;
      SymbolicExprSymbols walker(w.table);
      walker(id, symbols);
      for (const SymbolicExprId symbol : symbols) {
        require(w.table.get(symbol)->getKind() == 0, [] { return "a symbol that is none"; });
      }
    });
  }

  // One of the operations that give an id of the same table. The first two are those of objects
  // that were used before.
  static SymbolicExprId apply(World& w, std::size_t aWhich, SymbolicExprId aId) {
    std::size_t passes = 0;
    if (aWhich == simplifies) return w.simplify.simplify(aId, passes);
    if (aWhich == compacts) return w.compact(aId);
    return apply(w.table, aWhich, aId);
  }
  static SymbolicExprId apply(SymbolicExprTable& t, std::size_t aWhich, SymbolicExprId aId) {
    std::size_t passes = 0;
    switch (aWhich) {
      case 0: return SymbolicExprM2C(t)(aId);
      case 1: return SymbolicExprC2M(t)(aId);
      case 2: return SymbolicExprCast2Int(t).cast2Int(aId);
      case 3: return SymbolicExprFactorDivision(t).factorDivision(aId);
      case compacts: return SymbolicExprCompact(t)(aId);
      case 5: return SymbolicExprSimplify(t, 3).simplify(aId, passes);
      default: return SymbolicExprSimplify(t, 10).simplify(aId, passes);
    }
  }
  static constexpr std::size_t compacts = 4, simplifies = 6;

  static std::string print(const SymbolicExprTable& t, SymbolicExprId aId, std::size_t aForm) {
    SymbolicExprPrinter printer(t, aForm % 2 != 0, aForm / 2 % 2 != 0, aForm / 4 % 2 != 0);
    printer.setMaxTextLength(maxText);
    return printer(aId);
  }

  void transform(World& w) {
    const SymbolicExprId id = anyId(w);
    const std::size_t which = choices.pick(7), form = choices.pick(8);
    if (which >= 4 && w.treeOf(id) > maxTree) return;
    guarded(w, id, [&] {
      const SymbolicExprId result = apply(w, which, id);
      require(result < w.table.size() || w.isHosts(id), [] { return "no result"; });
      if (result >= w.table.size()) return;
      const std::size_t size = w.table.size();
      require(apply(w, which, id) == result && w.table.size() == size,
              [] { return "done again, it is another"; });
      // A host's nodes are equal to nothing, so they order and merge otherwise.
      if (w.isHosts(id)) return;
      SymbolicExprTable fresh;
      const SymbolicExprId copied = SymbolicExprCopy(w.table, fresh)(id);
      const std::string here = print(w.table, result, form);
      const std::string there = print(fresh, apply(fresh, which, copied), form);
      // 0.0 and -0.0 are one literal, that which was there first.
      if (here.find("-0.0") != std::string::npos || there.find("-0.0") != std::string::npos) return;
      require(here == there, [&] {
        return "operation " + std::to_string(which) + " gives " + here + ", in a fresh table " +
               there + ", of " + print(w.table, id, form);
      });
    });
  }

  // Ids that name no node are refused, and nothing else is.
  template <class Act>
  void guarded(const World& w, SymbolicExprId aId, const Act& aAct) {
    const bool isSound = w.isSound(aId);
    try {
      aAct();
      require(aId < w.table.size(), [] { return "an unknown id is accepted"; });
    } catch (const std::out_of_range& error) {
      // A list without elements, which hosts can make, is nothing where it is made anew.
      require(!isSound || hasUnknownValues || w.hasOvertaken() || w.isHosts(aId),
              [&] { return "node " + w.describe(aId) + " is refused: " + error.what(); });
    } catch (const std::invalid_argument&) {
      // A call whose first input is no name, and the like, is refused where that matters.
      require(!isSound || w.isHosts(aId), [] { return "refused"; });
    } catch (const std::length_error&) {
    }
  }

  Choices choices;
  World worlds[2];
  bool hasUnknownValues = false;  // a symbol has an id registered that names no whole expression
};

}  // namespace
}  // namespace KS::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* aData, std::size_t aSize) {
  KS::fuzz::Session(aData, aSize).run();
  return 0;
}
