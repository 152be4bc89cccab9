// An expression engine that is measured: ours, or a peer.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/Corpus.hpp"
#include "bench/Term.hpp"

namespace KSBench {

/// The rows of the comparison.
enum class Work {
  ParseDimensions,
  ParseConditions,
  PrintDimensions,
  PrintConditions,
  EvaluateDimensionsOnce,
  EvaluateConditionsOnce,
  EvaluateAgainCycling,
  EvaluateAgainHot,
  EvaluateAgainProgram,
  SweepDimensions,
  SimplifyConditions,
  SimplifyRedundant,
  SimplifyRedundantDeeply,
  NetConditions,
  NetConditionsBadOrder,
  NetConditionsDense,
  NetConditionsDenseByNode,
  Conjunction,
  ConjunctionBadOrder,
  Chain,
  MemoryDimensions,
  MemoryConditions,
};

/// What engines that can do the same work must agree on.
enum class Question { Dimensions, Conditions, Simplified, Net, NetDense };

/// A tree of blocks and its local conditions as trees; "true" where a block has none.
struct ReadTree {
  BlockTree blocks;
  std::vector<Term> locals;
};

/// A node that some net condition has and no local one: a connective of two nodes, or the negation
/// of `left`.
struct NetNode {
  int kind;
  std::uint32_t left, right;  ///< Numbers of nodes; those of local conditions come first.
};

/// What all engines are given.
struct Inputs {
  Corpus corpus;
  std::vector<Term> dimensions;  ///< The texts of the corpus as trees, to be spelled anew.
  std::vector<Term> conditions;
  std::vector<Term> redundant;
  std::vector<std::string> dimensionSymbols;
  std::vector<std::string> conditionSymbols;  ///< Of both kinds of conditions.
  ReadTree tree;
  ReadTree denseTree;             ///< With a condition of the corpus at every block.
  std::vector<NetNode> netNodes;  ///< Of all net conditions of `denseTree`, inputs first.
  std::size_t numLocalNodes;      ///< Of all its local conditions.
  std::vector<std::string> relations;
  std::size_t chainLength;
  std::string chain;
};

/// One repetition: prepares the work, does it, and gives what the work alone cost: nanoseconds of
/// CPU time for all its items together, or bytes per distinct node.
using Trial = std::function<double()>;

/// An engine and its best documented way to do each work.
class Engine {
 public:
  explicit Engine(const Inputs& aInputs) : inputs(aInputs) {}
  virtual ~Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  virtual std::string name() const = 0;
  virtual std::string version() const = 0;
  /// The trial of that work, empty where the engine does no such thing.
  virtual Trial trial(Work aWork) = 0;
  /// One number for each expression and binding, NaN where the engine's numbers differ by nature;
  /// none at all where the engine cannot answer.
  virtual std::vector<double> answers(Question aQuestion) = 0;

 protected:
  const Inputs& inputs;
};

/// How often an expression is evaluated before the next one, where evaluation is hot.
constexpr std::size_t hotRounds = 100;

/// How often the answers are compared, each time with other values for the symbols.
constexpr int numBindings = 4;

/// Of the blocks of the tree, those whose net conditions are compared.
constexpr std::size_t netSampleStep = 25;

/// The nodes by which the net conditions of a tree exceed the local ones, as ours makes them.
void addNetNodes(const ReadTree& aTree, Inputs& aInputs);

std::unique_ptr<Engine> makeOurs(const Inputs& aInputs);
/// What programs take that were written for one work alone; no peer.
std::unique_ptr<Engine> makeLimit(const Inputs& aInputs);
std::unique_ptr<Engine> makeGinac(const Inputs& aInputs);
std::unique_ptr<Engine> makeMuParser(const Inputs& aInputs);
std::unique_ptr<Engine> makeZ3(const Inputs& aInputs);
std::unique_ptr<Engine> makeBuddy(const Inputs& aInputs);

}  // namespace KSBench
