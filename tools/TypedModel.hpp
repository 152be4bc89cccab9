// The conditions of a model as they were typed, and the variables in them.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "tools/Model.hpp"

namespace ksexpr {

/// What conditions and constraints have values for: a symbol, a member, or a call that is no
/// operator.
struct Variable {
  KS::SymbolicExprId id;
  std::string name;
  /// Null where the model file says nothing.
  const Domain* domain = nullptr;
  /// Whether it is nothing but true or false: by its domain, or because every use takes it for a
  /// truth value.
  bool isTruth = true;
};

/// The conditions of one family and the constraints of a model, parsed into a table that may hold
/// those of another model, too. Functions of M syntax that are operators are such; nothing is
/// simplified.
class TypedModel {
 public:
  /// Parses. Borrows both. Tells every condition that does not parse, and how many blocks below
  /// such have no answer.
  TypedModel(const Model& aModel, Family aFamily, KS::SymbolicExprTable& aTable,
             const std::function<void(const std::string&)>& aTell);

  const Model& getModel() const { return model; }
  KS::SymbolicExprTable& getTable() const { return table; }
  Family getFamily() const { return family; }

  /// Whether the conditions of the block and of all that enclose it parse.
  bool isAvailable(const KSBlock& aBlock) const { return available[model.indexOf(aBlock)]; }
  /// The condition of a block that is available; the id of "true" where it has none.
  KS::SymbolicExprId local(const KSBlock& aBlock) const { return locals[model.indexOf(aBlock)]; }
  /// Whether the block has a condition of its own.
  bool hasCondition(const KSBlock& aBlock) const { return local(aBlock) != table.getIdTRUE(); }
  /// The conjunction of the conditions of an available block and of all that enclose it.
  KS::SymbolicExprId net(const KSBlock& aBlock) const { return nets[model.indexOf(aBlock)]; }
  /// The conditions of the block and of those that enclose it, the outermost first, none of them
  /// "true".
  std::vector<KS::SymbolicExprId> path(const KSBlock& aBlock) const;
  /// The blocks that these are the conditions of.
  std::vector<const KSBlock*> blocksWithCondition(const KSBlock& aBlock) const;

  /// The blocks by file order in an order in which each stands behind its parent.
  const std::vector<const KSBlock*>& topDown() const { return ordered; }
  const std::vector<KS::SymbolicExprId>& getConstraints() const { return constraints; }

  /// In the order in which they are met: in conditions, in constraints, in the file's "variables".
  const std::vector<Variable>& getVariables() const { return variables; }
  /// The names in domains, in the order of their characters, and the nodes of these symbols.
  const std::vector<std::string>& getConstants() const { return constants; }
  bool isConstant(KS::SymbolicExprId aId) const { return constantIds.count(aId) != 0; }
  /// The variable of that name as it is written in texts, or null; blanks in members don't matter.
  const Variable* findVariable(const std::string& aName) const;
  const Variable* findVariable(KS::SymbolicExprId aId) const;
  /// Whether a name that is no variable here is one in another family.
  bool isKnownElsewhere(const std::string& aName) const;
  /// Appends the variables of an expression, each once, in the order in which they are met.
  void appendVariables(KS::SymbolicExprId aId, std::vector<KS::SymbolicExprId>& aVariables) const;

  /// The condition with functions of M syntax for the operators that M syntax has none for.
  KS::SymbolicExprId inMSyntax(KS::SymbolicExprId aId) const;
  /// The text of a condition as it is; empty for "true".
  std::string text(KS::SymbolicExprId aId, bool aCForm) const;

  /// Makes the variables of another condition of the table variables of this model, too.
  void addVariablesOf(KS::SymbolicExprId aId);

 private:
  void parseConditions(const std::function<void(const std::string&)>& aTell);
  void collectVariables();
  void addVariable(KS::SymbolicExprId aId, bool aIsTruth);

  const Model& model;
  const Family family;
  KS::SymbolicExprTable& table;
  const std::vector<const KSBlock*> ordered;
  // By block.
  std::vector<bool> available;
  std::vector<KS::SymbolicExprId> locals;
  std::vector<KS::SymbolicExprId> nets;
  std::vector<KS::SymbolicExprId> constraints;

  std::vector<Variable> variables;
  std::unordered_map<KS::SymbolicExprId, std::size_t> variablePlaces;
  std::unordered_map<std::string, std::size_t> variableNames;
  std::unordered_map<KS::SymbolicExprId, const Domain*> domains;
  std::vector<std::string> constants;
  std::unordered_set<KS::SymbolicExprId> constantIds;
  bool hasOperatorsOfC = false;
  // The walk that looks for variables enters a node at most once as a truth value and once as
  // another one.
  std::vector<unsigned char> entered;
};

/// Whether the node is a symbol other than true and false, a member or a call.
bool isVariable(const KS::SymbolicExprTable& aTable, KS::SymbolicExprId aId);

/// The message about a condition that can't be answered, with its place.
std::string conditionProblem(const Model& aModel, const KSBlock& aBlock, Family aFamily,
                             const std::string& aMessage);

/// The block of that id. Throws where there is none, and names those that are most alike.
const KSBlock& findBlock(const Model& aModel, const std::string& aId);
/// The message for an id that no block has.
std::string noBlockMessage(const Model& aModel, const std::string& aId);

}  // namespace ksexpr
