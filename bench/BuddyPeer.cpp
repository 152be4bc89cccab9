// BuDDy: binary decision diagrams. A relation is a variable; that relations over one symbol depend
// on each other is beyond it. What it costs hangs on the order of the variables, so the best and a
// bad one are measured.
#include <bdd.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <stdexcept>

#include "bench/Engine.hpp"
#include "bench/Measure.hpp"

namespace KSBench {

namespace {

// An atom and whether it is negated: equality and "less" express all relations.
struct Literal {
  Term atom;
  bool isNegated;
};

Literal toLiteral(const Term& aTerm) {
  if (!isLogical(aTerm.op)) return {{"==", {aTerm, {"0", {}}}}, true};
  const Term& left = aTerm.inputs[0];
  const Term& right = aTerm.inputs[1];
  if (aTerm.op == "==" || aTerm.op == "!=") return {{"==", {left, right}}, aTerm.op == "!="};
  if (aTerm.op == "<" || aTerm.op == ">=") return {{"<", {left, right}}, aTerm.op == ">="};
  return {{"<", {right, left}}, aTerm.op == "<="};
}

bool isConnective(const Term& aTerm) {
  return aTerm.op == "&&" || aTerm.op == "||" || aTerm.op == "!";
}

int numberOf(const Term& aTerm, int aBinding) {
  if (!aTerm.inputs.empty()) throw std::invalid_argument("arithmetic in a condition");
  return std::isdigit(static_cast<unsigned char>(aTerm.op[0])) != 0
             ? std::stoi(aTerm.op)
             : boundValue(aTerm.op, aBinding);
}

// The atoms of conditions as variables, in an order that the caller gives.
class Variables {
 public:
  void add(const Term& aTerm) {
    if (aTerm.op == "true") return;
    if (isConnective(aTerm)) {
      for (const Term& input : aTerm.inputs) add(input);
      return;
    }
    const Term atom = toLiteral(aTerm).atom;
    if (numbers.emplace(plainText(atom), static_cast<int>(atoms.size())).second) {
      atoms.push_back(atom);
    }
  }

  void shuffle() {
    std::vector<int> order(atoms.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
    std::shuffle(order.begin(), order.end(), std::mt19937(3));
    std::vector<Term> moved(atoms.size());
    for (auto& [text, number] : numbers) {
      const int place = order[static_cast<std::size_t>(number)];
      moved[static_cast<std::size_t>(place)] = atoms[static_cast<std::size_t>(number)];
      number = place;
    }
    atoms = std::move(moved);
  }

  bdd toBdd(const Term& aTerm) const {
    if (aTerm.op == "true") return bddtrue;
    if (aTerm.op == "!") return !toBdd(aTerm.inputs[0]);
    if (aTerm.op == "&&") return toBdd(aTerm.inputs[0]) & toBdd(aTerm.inputs[1]);
    if (aTerm.op == "||") return toBdd(aTerm.inputs[0]) | toBdd(aTerm.inputs[1]);
    const Literal literal = toLiteral(aTerm);
    const int number = numbers.at(plainText(literal.atom));
    return literal.isNegated ? bdd_nithvarpp(number) : bdd_ithvarpp(number);
  }

  bool isTrue(bdd aCondition, int aBinding) const {
    while (aCondition != bddtrue && aCondition != bddfalse) {
      const Term& atom = atoms[static_cast<std::size_t>(bdd_var(aCondition))];
      const int left = numberOf(atom.inputs[0], aBinding);
      const int right = numberOf(atom.inputs[1], aBinding);
      const bool holds = atom.op == "==" ? left == right : left < right;
      aCondition = holds ? bdd_high(aCondition) : bdd_low(aCondition);
    }
    return aCondition == bddtrue;
  }

  int size() const { return static_cast<int>(atoms.size()); }

 private:
  std::vector<Term> atoms;
  std::map<std::string, int> numbers;
};

// The package's one and only node table, large enough never to be collected or grown.
class Session {
 public:
  explicit Session(int aNumVariables) {
    bdd_init(6000000, 600000);
    bdd_setvarnum(aNumVariables);
  }
  ~Session() { bdd_done(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
};

// Blocks in the order in which they are numbered, which is by and large from the top down.
Variables orderOfBlocks(const ReadTree& aTree) {
  Variables variables;
  for (const Term& local : aTree.locals) variables.add(local);
  return variables;
}

// The innermost blocks first: the conjunction with an outer condition then adds below.
Variables orderOfDepth(const ReadTree& aTree) {
  std::vector<std::vector<std::size_t>> children(aTree.locals.size());
  for (std::size_t i = 1; i < children.size(); ++i) {
    children[aTree.blocks.parents[i]].push_back(i);
  }
  std::vector<std::size_t> pending = {0};
  std::vector<std::size_t> order;
  while (!pending.empty()) {
    order.push_back(pending.back());
    pending.pop_back();
    const auto& next = children[order.back()];
    pending.insert(pending.end(), next.begin(), next.end());
  }
  Variables variables;
  for (auto block = order.rbegin(); block != order.rend(); ++block) {
    variables.add(aTree.locals[*block]);
  }
  return variables;
}

Variables orderOfChance(const ReadTree& aTree) {
  Variables variables = orderOfBlocks(aTree);
  variables.shuffle();
  return variables;
}

std::vector<bdd> localsOf(const ReadTree& aTree, const Variables& aVariables) {
  std::vector<bdd> locals;
  for (const Term& local : aTree.locals) locals.push_back(aVariables.toBdd(local));
  return locals;
}

std::vector<bdd> netsOf(const ReadTree& aTree, const std::vector<bdd>& aLocals) {
  std::vector<bdd> nets;
  nets.reserve(aLocals.size());
  for (std::size_t i = 0; i < aLocals.size(); ++i) {
    nets.push_back(i == 0 ? aLocals[i] : nets[aTree.blocks.parents[i]] & aLocals[i]);
  }
  return nets;
}

double netConditions(const ReadTree& aTree, const Variables& aVariables) {
  const Session session(aVariables.size());
  const std::vector<bdd> locals = localsOf(aTree, aVariables);
  return timed([&] { netsOf(aTree, locals); });
}

double netConditionsAtBest(const ReadTree& aTree) {
  return std::min(netConditions(aTree, orderOfBlocks(aTree)),
                  netConditions(aTree, orderOfDepth(aTree)));
}

class Buddy : public Engine {
 public:
  explicit Buddy(const Inputs& aInputs) : Engine(aInputs) {
    for (const std::string& text : aInputs.relations) relations.push_back(readTerm(text));
  }

  std::string name() const override { return "BuDDy"; }
  std::string version() const override {
    const int number = bdd_versionnum();
    return std::to_string(number / 10) + "." + std::to_string(number % 10);
  }

  Trial trial(Work aWork) override {
    switch (aWork) {
      case Work::NetConditions: return [this] { return netConditionsAtBest(inputs.tree); };
      case Work::NetConditionsBadOrder:
        return [this] { return netConditions(inputs.tree, orderOfChance(inputs.tree)); };
      case Work::NetConditionsDense:
        return [this] { return netConditionsAtBest(inputs.denseTree); };
      case Work::Conjunction: return [this] { return conjunction(true); };
      case Work::ConjunctionBadOrder: return [this] { return conjunction(false); };
      default: return {};
    }
  }

  std::vector<double> answers(Question aQuestion) override {
    if (aQuestion != Question::Net && aQuestion != Question::NetDense) return {};
    const ReadTree& tree = aQuestion == Question::Net ? inputs.tree : inputs.denseTree;
    const Variables variables = orderOfDepth(tree);
    const Session session(variables.size());
    const std::vector<bdd> nets = netsOf(tree, localsOf(tree, variables));
    std::vector<double> results;
    for (int binding = 0; binding < numBindings; ++binding) {
      for (std::size_t i = 0; i < nets.size(); i += netSampleStep) {
        results.push_back(static_cast<double>(variables.isTrue(nets[i], binding)));
      }
    }
    return results;
  }

 private:
  // With the newest relation on top a conjunction adds a node; below, it rebuilds all others.
  double conjunction(bool aNewestOnTop) const {
    Variables variables;
    for (std::size_t i = 0; i < relations.size(); ++i) {
      variables.add(relations[aNewestOnTop ? relations.size() - 1 - i : i]);
    }
    const Session session(variables.size());
    std::vector<bdd> parts;
    for (const Term& relation : relations) parts.push_back(variables.toBdd(relation));
    return timed([&] {
      bdd all = bddtrue;
      for (const bdd& part : parts) all &= part;
    });
  }

  std::vector<Term> relations;
};

}  // namespace

std::unique_ptr<Engine> makeBuddy(const Inputs& aInputs) {
  return std::make_unique<Buddy>(aInputs);
}

}  // namespace KSBench
