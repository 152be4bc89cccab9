#include "tools/Model.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <sstream>
#include <system_error>
#include <unordered_map>

#include "parser/SymbolicExprParser.hpp"
#include "tools/Commands.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/JsonReader.hpp"
#include "tools/ModelSyntax.hpp"
#include "tools/Parents.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

constexpr const char* standardInput = "-";

// Returns whether the stream was read to its end; if not, `errno` says why. `aExpected` is the size
// as far as it is known.
bool readStream(std::istream& aStream, std::size_t aExpected, std::string& aText) {
  // A byte more than there is meets the end.
  aText.reserve(aExpected + jsonPadding);
  aText.resize(aExpected + 1);
  std::size_t length = 0;
  while (aStream.read(&aText[length], static_cast<std::streamsize>(aText.size() - length)) ||
         aStream.gcount() > 0) {
    length += static_cast<std::size_t>(aStream.gcount());
    if (length == aText.size()) aText.resize(2 * length);
  }
  aText.resize(length);
  // Only a stream that was read to its end has met the end.
  if (!aStream.eof() || aStream.bad()) return false;
  dropByteOrderMark(aText);
  return true;
}

bool readFile(const std::string& aPath, std::string& aText, Streams& aStreams) {
  constexpr std::size_t usualSize = std::size_t{1} << 16;
  errno = 0;
  if (aPath == standardInput) return readStream(aStreams.takeInput(), usualSize, aText);
  // Nothing that grows step by step needs twice the memory of a large file. A pipe has no size.
  std::error_code hasNoSize;
  const std::uintmax_t size = std::filesystem::file_size(aPath, hasNoSize);
  errno = 0;
  std::ifstream file(aPath, std::ios::binary);
  return readStream(file, hasNoSize ? usualSize : static_cast<std::size_t>(size), aText);
}

std::string cannotRead(const std::string& aPath) {
  return printable(sourceName(aPath)) + ": cannot read: " + std::strerror(errno);
}

void report(const Model& aModel, ModelErrors& aFound, std::ostream& aErrors) {
  std::sort(aFound.told.begin(), aFound.told.end(), [](const ModelError& a, const ModelError& b) {
    return a.offset != b.offset ? a.offset < b.offset : a.message < b.message;
  });
  for (const ModelError& error : aFound.told) {
    aErrors << diagnostic(aModel.path, 1, aModel.text, error.offset, error.message);
  }
  aErrors << aFound.counts.remaining(aModel.path);
}

void checkVariables(const Model& aModel, ModelErrors& aErrors) {
  std::unordered_map<std::string_view, const DeclaredVariable*> byName;
  for (const DeclaredVariable& variable : aModel.variables) {
    const auto [first, isNew] = byName.emplace(variable.name, &variable);
    if (isNew) continue;
    aErrors.add("variables that are described twice", aModel.offsetOf(variable.name),
                "variable \"" + shortened(variable.name) + "\" is described twice, first in line " +
                    std::to_string(aModel.lineOf(first->second->name)));
  }
  for (const DeclaredVariable& variable : aModel.variables) {
    for (const Domain::Value& value : variable.domain.values) {
      const auto* name = std::get_if<std::string>(&value);
      const auto described = name == nullptr ? byName.end() : byName.find(*name);
      if (described == byName.end()) continue;
      aErrors.add("constants that are variables", aModel.offsetOf(described->second->name),
                  "variable \"" + shortened(*name) + "\" is among the values of \"" +
                      shortened(variable.name) + "\" and so a constant");
    }
  }
}

void checkConstraints(const Model& aModel, ModelErrors& aErrors) {
  KS::SymbolicExprTable table;
  const KS::SymbolicExprParser parser(table, false);
  for (const std::string_view constraint : aModel.constraints) {
    const std::string text(constraint);
    const auto error = parser.diagnose(text);
    if (!error) continue;
    aErrors.add("constraints that do not parse", aModel.offsetOf(constraint),
                "constraint, column " + std::to_string(placeOf(text, error->offset).column) +
                    ": expected " + error->expected);
  }
}

}  // namespace

std::size_t Model::offsetOf(std::string_view aString) const {
  const std::less<const char*> isBefore;
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  if (!isBefore(aString.data(), begin) && isBefore(aString.data(), end)) {
    return static_cast<std::size_t>(aString.data() - begin) - 1;
  }
  const auto known = offsetsOfDecoded.find(aString.data());
  return known == offsetsOfDecoded.end() ? 0 : known->second;
}

std::size_t Model::lineOf(std::string_view aString) const {
  return placeOf(text, offsetOf(aString)).line;
}

std::string sourceName(const std::string& aPath) {
  return aPath == standardInput ? "<stdin>" : aPath;
}

std::string readWholeFile(const std::string& aPath, Streams& aStreams) {
  std::string text;
  if (!readFile(aPath, text, aStreams)) throw AnswerError(cannotRead(aPath));
  return text;
}

std::unique_ptr<const Model> readModel(const std::string& aPath, Streams& aStreams,
                                       std::size_t aJobs) {
  std::string text;
  if (!readFile(aPath, text, aStreams)) {
    aStreams.err << cannotRead(aPath) << '\n';
    return nullptr;
  }
  std::ostringstream warnings;
  auto model = modelOfText(sourceName(aPath), std::move(text), aStreams.err, warnings, aJobs);
  if (!aStreams.isQuiet) aStreams.err << warnings.str();
  return model;
}

std::unique_ptr<const Model> modelOfText(const std::string& aName, std::string aText,
                                         std::ostream& aErrors, std::ostream& aWarnings,
                                         std::size_t aJobs) {
  auto model = std::make_unique<Model>();
  model->path = aName;
  model->text = std::move(aText);
  ModelErrors errors;
  ModelErrors warnings;
  const std::vector<ParentName> parents = parseModel(*model, errors, warnings, aJobs);
  if (errors.told.empty()) checkVariables(*model, errors);
  if (errors.told.empty()) checkConstraints(*model, errors);
  if (errors.told.empty()) linkParents(*model, parents, errors, aJobs);
  report(*model, errors, aErrors);
  report(*model, warnings, aWarnings);
  return errors.told.empty() ? std::move(model) : nullptr;
}

}  // namespace ksexpr
