// What every question about a model begins with: its conditions, the values that are given, and
// what is to hold in every answer.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "eval/SymbolicExprBindings.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "tools/Layout.hpp"
#include "tools/TypedModel.hpp"
#include "tools/Values.hpp"

namespace ksexpr {

/// What the command line says of a question.
struct QuestionRequest {
  std::string path;
  Family family = VV;
  ValueSources values;
  std::vector<std::string> assumptions;
  std::string assumptionsName = "--assume";  ///< What messages call them.
  Layout layout;
};

/// Whether something holds under the values that are given.
enum class Holds { No, Yes, Open };

/// Values by the names of variables.
using NamedValues = std::vector<std::pair<std::string, VariableValue>>;
/// Values by variables.
using Assignment = std::vector<std::pair<KS::SymbolicExprId, VariableValue>>;

/// A question about one family of a model.
class Question {
 public:
  using Tell = std::function<void(const std::string&)>;

  /// Parses the conditions into the table, and reads the values and what is assumed. Borrows all.
  /// The variables of `aOther`, a model in the same table, are known, too. `aTell` gets warnings
  /// and what is wrong with conditions and files. Throws `UsageError` and `AnswerError`.
  Question(const Model& aModel, const QuestionRequest& aRequest, KS::SymbolicExprTable& aTable,
           const Tell& aTell, const TypedModel* aOther = nullptr);

  const Model& getModel() const { return typed.getModel(); }
  const TypedModel& getTyped() const { return typed; }
  const GivenValues& getGiven() const { return *given; }
  /// The conditions of the command line that hold in every answer.
  const std::vector<KS::SymbolicExprId>& getAssumed() const { return assumed; }
  KS::SymbolicExprTable& getTable() const { return typed.getTable(); }
  /// The given values and those of the constants.
  const KS::SymbolicExprBindings& getBindings() const { return bindings; }
  const Layout& getLayout() const { return layout; }

  /// The text of a condition in the form that is asked for.
  std::string text(KS::SymbolicExprId aId) const { return typed.text(aId, layout.cForm); }
  std::string name(KS::SymbolicExprId aVariable) const {
    return typed.findVariable(aVariable)->name;
  }
  /// The values by name, the given ones of the variables in the conditions included, in the order
  /// of the model's variables.
  NamedValues named(const Assignment& aAssignment,
                    const std::vector<KS::SymbolicExprId>& aConditions) const;
  /// The condition that a variable has a value.
  KS::SymbolicExprId isValue(KS::SymbolicExprId aVariable, const VariableValue& aValue) const;

  /// The given values and those of an assignment, which win.
  KS::SymbolicExprBindings bindingsWith(const Assignment& aAssignment) const;

 private:
  void assume(const std::string& aText, const std::string& aName, const Tell& aTell);

  const Layout layout;
  TypedModel typed;
  std::vector<KS::SymbolicExprId> assumed;
  std::optional<GivenValues> given;
  KS::SymbolicExprBindings bindings;
};

/// Whether each root of a program holds under the values. One that has no truth value, such as a
/// list, is open.
std::vector<Holds> truthsOf(const KS::SymbolicExprProgram& aProgram,
                            const KS::SymbolicExprBindings& aBindings);
/// The same for conditions that are asked about once.
std::vector<Holds> truthsOf(const KS::SymbolicExprTable& aTable,
                            const std::vector<KS::SymbolicExprId>& aConditions,
                            const KS::SymbolicExprBindings& aBindings);

}  // namespace ksexpr
