// Values of a model's variables: from the command line, from files, and as answers show them.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "eval/SymbolicExprBindings.hpp"
#include "tools/TypedModel.hpp"

namespace ksexpr {

/// A truth value, a number, or the name of a constant.
using VariableValue = std::variant<bool, double, std::string>;

/// The value as text, as `-D` takes it.
std::string valueText(const VariableValue& aValue);
/// The value in an answer: infinities and NaN are texts.
nlohmann::ordered_json valueJson(const VariableValue& aValue);
/// "A=1 B=true", by the order of the pairs.
std::string valuesText(const std::vector<std::pair<std::string, VariableValue>>& aValues);
/// The same as a JSON object.
nlohmann::ordered_json valuesJson(
    const std::vector<std::pair<std::string, VariableValue>>& aValues);

/// A domain as people read it: "1, 3", "1 to 8", "true or false"; empty where it excludes nothing.
std::string domainText(const Domain& aDomain);

/// Where values come from.
struct ValueSources {
  std::vector<std::string> definitions;  ///< "NAME=EXPR"
  std::vector<std::string> files;
  /// Values as they are; they win over all others.
  std::vector<std::pair<std::string, VariableValue>> named{};
  /// The content of one of the files.
  std::function<std::string(const std::string&)> read;
};

/// The values that a question is asked for.
class GivenValues {
 public:
  /// Reads them; a definition wins over files, a later file over an earlier one. `aTell` gets
  /// warnings and what is wrong with files. Throws `UsageError` for a definition that is none,
  /// `AnswerError` for one that does not suit its variable and, after telling, where a file fails.
  /// Borrows the model.
  GivenValues(const TypedModel& aModel, const ValueSources& aSources,
              const std::function<void(const std::string&)>& aTell);

  /// By variable, in the model's order.
  const std::vector<std::pair<const Variable*, VariableValue>>& all() const { return values; }
  /// Null where the variable has none.
  const VariableValue* find(KS::SymbolicExprId aVariable) const;

 private:
  void define(const std::string& aDefinition, const std::function<void(const std::string&)>& aTell);
  const Variable* find(const std::string& aSource, const std::string& aName,
                       const std::function<void(const std::string&)>& aTell) const;
  void give(const std::string& aSource, const Variable& aVariable, const VariableValue& aValue);

  const TypedModel& model;
  std::unordered_map<KS::SymbolicExprId, VariableValue> byVariable;
  std::vector<std::pair<const Variable*, VariableValue>> values;
};

/// The number that evaluation takes for a constant: each has its own, above all others, and
/// they come by their characters.
double numberOf(const TypedModel& aModel, const std::string& aConstant);

/// Binds a variable.
void bindValue(const TypedModel& aModel, KS::SymbolicExprBindings& aBindings,
               KS::SymbolicExprId aVariable, const VariableValue& aValue);
/// Binds the constants' names.
void bindConstants(const TypedModel& aModel, KS::SymbolicExprBindings& aBindings);

}  // namespace ksexpr
