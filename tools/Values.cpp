#include "tools/Values.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Commands.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Layout.hpp"
#include "tools/Nearest.hpp"
#include "tools/Text.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

using KS::SymbolicExprId;

namespace {

using Tell = std::function<void(const std::string&)>;

bool isWholeNumber(double aNumber) {
  return std::floor(aNumber) == aNumber && std::isfinite(aNumber);
}

std::string_view trimmed(std::string_view aText) {
  const std::size_t first = aText.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return aText.substr(first, aText.find_last_not_of(" \t\r") - first + 1);
}

bool isConstantOf(const TypedModel& aModel, const std::string& aName) {
  const auto& names = aModel.getConstants();
  return std::binary_search(names.begin(), names.end(), aName);
}

// A number as files spell it: decimal, or hexadecimal after "0x".
std::optional<double> readNumber(std::string_view aText) {
  std::string_view digits = aText;
  const bool isNegative = !digits.empty() && digits[0] == '-';
  if (isNegative || (!digits.empty() && digits[0] == '+')) digits.remove_prefix(1);
  double value = 0;
  std::from_chars_result read{digits.data(), std::errc::invalid_argument};
  const char* const end = digits.data() + digits.size();
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    unsigned long long bits = 0;
    read = std::from_chars(digits.data() + 2, end, bits, 16);
    value = static_cast<double>(bits);
  } else if (!digits.empty() && (digits[0] == '.' || (digits[0] >= '0' && digits[0] <= '9'))) {
    read = std::from_chars(digits.data(), end, value);
  }
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return isNegative ? -value : value;
}

// The value that a file has for a variable.
std::optional<VariableValue> readValue(const TypedModel& aModel, std::string_view aText) {
  if (aText == "y" || aText == "true") return true;
  if (aText == "n" || aText == "false") return false;
  if (const auto number = readNumber(aText)) return *number;
  if (aText.size() > 1 && (aText[0] == '"' || aText[0] == '\'') && aText.back() == aText[0]) {
    aText = aText.substr(1, aText.size() - 2);
  }
  std::string name(aText);
  if (isConstantOf(aModel, name)) return name;
  return std::nullopt;
}

bool isAllowed(const Domain& aDomain, const VariableValue& aValue) {
  if (const auto* name = std::get_if<std::string>(&aValue)) {
    return std::find(aDomain.values.begin(), aDomain.values.end(), Domain::Value(*name)) !=
           aDomain.values.end();
  }
  const double number = std::holds_alternative<bool>(aValue) ? (std::get<bool>(aValue) ? 1 : 0)
                                                             : std::get<double>(aValue);
  switch (aDomain.kind) {
    case Domain::Kind::Values:
      return std::find(aDomain.values.begin(), aDomain.values.end(), Domain::Value(number)) !=
             aDomain.values.end();
    case Domain::Kind::Boolean: return number == 0 || number == 1;
    case Domain::Kind::Integer:
      return isWholeNumber(number) && aDomain.min <= number && number <= aDomain.max;
    case Domain::Kind::Real: break;
  }
  return aDomain.min <= number && number <= aDomain.max;
}

// The value as the variable's kind has it; sets what is wrong with it instead.
VariableValue adapted(const Variable& aVariable, VariableValue aValue, std::string& aProblem) {
  if (aVariable.domain != nullptr && !isAllowed(*aVariable.domain, aValue)) {
    aProblem = shortened(aVariable.name) + " is " + domainText(*aVariable.domain) + ", not " +
               valueText(aValue);
  }
  if (std::holds_alternative<std::string>(aValue)) return aValue;
  if (aVariable.isTruth && std::holds_alternative<double>(aValue)) {
    return std::get<double>(aValue) != 0;
  }
  if (!aVariable.isTruth && std::holds_alternative<bool>(aValue)) {
    return std::get<bool>(aValue) ? 1.0 : 0.0;
  }
  return aValue;
}

std::string noValue(const Variable& aVariable, std::string_view aText) {
  return "no value for " + shortened(aVariable.name) + ": " + shortened(aText) +
         " is neither a number nor a constant of the model";
}

std::vector<std::string_view> variableNames(const TypedModel& aModel) {
  std::vector<std::string_view> names;
  for (const Variable& variable : aModel.getVariables()) names.push_back(variable.name);
  return names;
}

// What one file says.
class FileReader {
 public:
  FileReader(const TypedModel& aModel, const std::string& aPath, const Tell& aTell)
      : model(aModel), path(sourceName(aPath)), tell(aTell) {}

  // Takes the file's content; returns whether all of it makes sense.
  bool read(const std::string& aText, std::unordered_map<SymbolicExprId, VariableValue>& aValues) {
    const std::size_t first = aText.find_first_not_of(" \t\r\n");
    if (first != std::string::npos && aText[first] == '{') {
      readJson(aText, aValues);
    } else {
      readLines(aText, aValues);
    }
    const std::string remaining = problems.remaining(path);
    if (!remaining.empty()) tell(remaining);
    if (numUnknown > 0) {
      tell("warning: " + printable(path) + ": " + counted(numUnknown, "name") +
           " that the model does not know\n");
    }
    return !hasFailed;
  }

 private:
  void fail(const std::string& aPlace, const std::string& aMessage) {
    hasFailed = true;
    if (problems.add("values that cannot be read")) {
      tell(printable(path) + ':' + aPlace + ' ' + aMessage + '\n');
    }
  }

  void set(std::unordered_map<SymbolicExprId, VariableValue>& aValues, const std::string& aPlace,
           const Variable& aVariable, const std::optional<VariableValue>& aValue,
           std::string_view aText) {
    std::string problem;
    if (!aValue) {
      problem = noValue(aVariable, aText);
    } else {
      aValues[aVariable.id] = adapted(aVariable, *aValue, problem);
    }
    if (!problem.empty()) fail(aPlace, problem);
  }

  void readJson(const std::string& aText,
                std::unordered_map<SymbolicExprId, VariableValue>& aValues) {
    nlohmann::ordered_json json;
    try {
      json = nlohmann::ordered_json::parse(aText);
    } catch (const nlohmann::json::parse_error& error) {
      const Place place = placeOf(aText, error.byte == 0 ? 0 : error.byte - 1);
      fail(std::to_string(place.line) + ':' + std::to_string(place.column) + ':', "no JSON");
      return;
    } catch (const nlohmann::json::out_of_range&) {
      fail("", "a number is too large");
      return;
    }
    for (const auto& [name, value] : json.items()) {
      const Variable* variable = model.findVariable(name);
      if (variable == nullptr) {
        ++numUnknown;
        continue;
      }
      std::optional<VariableValue> found;
      if (value.is_boolean()) found = value.get<bool>();
      if (value.is_number()) found = value.get<double>();
      if (value.is_string() && isConstantOf(model, value.get<std::string>())) {
        found = value.get<std::string>();
      }
      const std::string text = value.is_structured() ? value.type_name() : value.dump();
      set(aValues, "", *variable, found, text);
    }
  }

  void readLines(std::string_view aText,
                 std::unordered_map<SymbolicExprId, VariableValue>& aValues) {
    std::size_t number = 0;
    while (!aText.empty()) {
      const std::size_t end = std::min(aText.find('\n'), aText.size());
      const std::string_view line = trimmed(aText.substr(0, end));
      aText.remove_prefix(std::min(end + 1, aText.size()));
      readLine(line, std::to_string(++number) + ':', aValues);
    }
  }

  void readLine(std::string_view aLine, const std::string& aPlace,
                std::unordered_map<SymbolicExprId, VariableValue>& aValues) {
    constexpr std::string_view notSet = " is not set";
    if (aLine.empty()) return;
    std::string_view name;
    std::string_view value;
    if (aLine[0] == '#') {
      name = trimmed(aLine.substr(1));
      if (name.size() < notSet.size() || name.substr(name.size() - notSet.size()) != notSet) return;
      name = trimmed(name.substr(0, name.size() - notSet.size()));
      if (name.find(' ') != std::string_view::npos) return;
      value = "n";
    } else {
      constexpr std::string_view exported = "export ";
      if (aLine.substr(0, exported.size()) == exported) aLine.remove_prefix(exported.size());
      const std::size_t equals = aLine.find('=');
      if (equals == std::string_view::npos) {
        fail(aPlace, "expected NAME=VALUE");
        return;
      }
      name = trimmed(aLine.substr(0, equals));
      value = trimmed(aLine.substr(equals + 1));
      const std::size_t comment = std::min(value.find(" #"), value.find("\t#"));
      value = trimmed(value.substr(0, comment));
    }
    const Variable* variable = model.findVariable(std::string(name));
    if (variable == nullptr) {
      ++numUnknown;
      return;
    }
    set(aValues, aPlace, *variable, readValue(model, value), value);
  }

  const TypedModel& model;
  const std::string path;
  const Tell& tell;
  ProblemCounts problems;
  std::size_t numUnknown = 0;
  bool hasFailed = false;
};

}  // namespace

std::string valueText(const VariableValue& aValue) {
  if (const auto* truth = std::get_if<bool>(&aValue)) return *truth ? "true" : "false";
  if (const auto* name = std::get_if<std::string>(&aValue)) return *name;
  return numberText(std::get<double>(aValue));
}

nlohmann::ordered_json valueJson(const VariableValue& aValue) {
  if (const auto* truth = std::get_if<bool>(&aValue)) return *truth;
  if (const auto* name = std::get_if<std::string>(&aValue)) return *name;
  const double number = std::get<double>(aValue);
  if (!std::isfinite(number)) return numberText(number);
  if (isWholeNumber(number) && std::abs(number) < 0x1p53) return static_cast<long long>(number);
  return number;
}

std::string valuesText(const std::vector<std::pair<std::string, VariableValue>>& aValues) {
  std::string text;
  for (const auto& [name, value] : aValues) {
    text += (text.empty() ? "" : " ") + printable(name) + '=' + valueText(value);
  }
  return text;
}

nlohmann::ordered_json valuesJson(
    const std::vector<std::pair<std::string, VariableValue>>& aValues) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const auto& [name, value] : aValues) json.push_back({name, valueJson(value)});
  return json;
}

std::string domainText(const Domain& aDomain) {
  if (aDomain.kind == Domain::Kind::Boolean) return "true or false";
  if (aDomain.kind == Domain::Kind::Values) {
    std::string text;
    for (const Domain::Value& value : aDomain.values) {
      const auto* name = std::get_if<std::string>(&value);
      text += (text.empty() ? "" : ", ") +
              (name != nullptr ? *name : numberText(std::get<double>(value)));
    }
    return (aDomain.values.size() > 1 ? "one of " : "") + shortened(text);
  }
  const std::string kind = aDomain.kind == Domain::Kind::Integer ? "whole, " : "";
  return kind + numberText(aDomain.min) + " to " + numberText(aDomain.max);
}

GivenValues::GivenValues(const TypedModel& aModel, const ValueSources& aSources, const Tell& aTell)
    : model(aModel) {
  bool isRead = true;
  for (const std::string& file : aSources.files) {
    isRead = FileReader(model, file, aTell).read(aSources.read(file), byVariable) && isRead;
  }
  if (!isRead) throw AnswerError("values that cannot be used");
  std::set<std::string> names;
  for (const std::string& definition : aSources.definitions) {
    const std::string name = definition.substr(0, definition.find('='));
    if (!names.insert(name).second) {
      throw UsageError("-D " + shortened(name) + ": bound twice");
    }
    define(definition, aTell);
  }
  for (const auto& [name, value] : aSources.named) {
    const Variable* variable = find("", name, aTell);
    if (variable == nullptr) continue;
    const auto* text = std::get_if<std::string>(&value);
    if (text != nullptr && !isConstantOf(model, *text)) {
      throw AnswerError(noValue(*variable, *text));
    }
    give("", *variable, value);
  }
  for (const Variable& variable : model.getVariables()) {
    const auto found = byVariable.find(variable.id);
    if (found != byVariable.end()) values.emplace_back(&variable, found->second);
  }
}

const VariableValue* GivenValues::find(SymbolicExprId aVariable) const {
  const auto found = byVariable.find(aVariable);
  return found == byVariable.end() ? nullptr : &found->second;
}

void GivenValues::define(const std::string& aDefinition, const Tell& aTell) {
  const std::string source = "-D " + shortened(aDefinition);
  const std::size_t equals = aDefinition.find('=');
  const std::string name(trimmed(aDefinition.substr(0, equals)));
  KS::SymbolicExprTable table;
  table.addBoolSymbols();
  const KS::SymbolicExprParser parse(table, false);
  const SymbolicExprId nameId = parse(name);
  if (equals == std::string::npos || nameId == KS::invalidSymbolicExprId ||
      !isVariable(table, nameId)) {
    throw UsageError(source + ": expected NAME=EXPR");
  }
  const std::string text = aDefinition.substr(equals + 1);
  if (const auto error = parse.diagnose(text)) {
    throw noExpression("<-D " + shortened(name) + '>', text, *error);
  }
  const Variable* variable = find("-D ", name, aTell);
  if (variable == nullptr) return;
  const SymbolicExprId id = KS::SymbolicExprM2C(table)(parse(text));
  VariableValue value;
  if (id == table.getIdTRUE() || id == table.getIdFALSE()) {
    value = id == table.getIdTRUE();
  } else if (isConstantOf(model, std::string(trimmed(text)))) {
    value = std::string(trimmed(text));
  } else {
    std::vector<double> numbers;
    try {
      numbers = KS::SymbolicExprEval(table).eval(id);
    } catch (const KS::SymbolicExprEvalError& error) {
      throw AnswerError(source + ": " + shortened(error.what()));
    }
    if (numbers.size() != 1 || isVariable(table, id)) {
      throw AnswerError(source + ": expected one value");
    }
    value = numbers[0];
  }
  give("-D ", *variable, value);
}

// The variable of that name; null, after a warning, where there is none.
const Variable* GivenValues::find(const std::string& aSource, const std::string& aName,
                                  const Tell& aTell) const {
  const Variable* variable = model.findVariable(aName);
  if (variable == nullptr && !model.isKnownElsewhere(aName)) {
    aTell("warning: " + aSource + shortened(aName) + ": the model has no such variable" +
          didYouMean(aName, variableNames(model)) + '\n');
  }
  return variable;
}

void GivenValues::give(const std::string& aSource, const Variable& aVariable,
                       const VariableValue& aValue) {
  std::string problem;
  byVariable[aVariable.id] = adapted(aVariable, aValue, problem);
  if (!problem.empty()) throw AnswerError(aSource + problem);
}

double numberOf(const TypedModel& aModel, const std::string& aConstant) {
  const auto& names = aModel.getConstants();
  const auto place = std::lower_bound(names.begin(), names.end(), aConstant);
  return 0x1p47 + static_cast<double>(place - names.begin());
}

void bindValue(const TypedModel& aModel, KS::SymbolicExprBindings& aBindings,
               SymbolicExprId aVariable, const VariableValue& aValue) {
  if (const auto* truth = std::get_if<bool>(&aValue)) {
    aBindings.set(aVariable, *truth);
  } else if (const auto* name = std::get_if<std::string>(&aValue)) {
    aBindings.set(aVariable, numberOf(aModel, *name));
  } else {
    const double number = std::get<double>(aValue);
    if (isWholeNumber(number) && std::abs(number) < 0x1p31) {
      aBindings.set(aVariable, static_cast<int>(number));
    } else {
      aBindings.set(aVariable, number);
    }
  }
}

void bindConstants(const TypedModel& aModel, KS::SymbolicExprBindings& aBindings) {
  for (const std::string& name : aModel.getConstants()) aBindings.set(name, numberOf(aModel, name));
}

}  // namespace ksexpr
