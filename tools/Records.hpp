// Expressions as records: a line of JSON for each, and one for each answer.
#pragma once

#include <optional>
#include <string>

#include "parser/SymbolicExprParser.hpp"
#include "tools/JsonReader.hpp"

namespace ksexpr {

/// One who asks and is to know which answer is whose.
struct Record {
  std::string id;  ///< The value of "id" as JSON, empty where there is none.
  std::string text;
};

/// Why a line is no record, and where.
struct RecordError {
  std::size_t offset;
  std::string message;
};

/// Reads one record after the other.
class RecordReader {
 public:
  /// Reads `{"id": 1, "text": "a || a"}` into `aRecord`; the id is a number, a text, a boolean or
  /// null, and what else there is is nobody's business. Returns what is wrong with the line, if
  /// anything is; the id is known where it stands before that.
  std::optional<RecordError> read(std::string& aLine, Record& aRecord);

 private:
  SoundJsonReader sound;
};

/// Appends `{"id": 1, "text": "a"}` and the end of the line.
void appendAnswer(std::string& aOut, const std::string& aId, const std::string& aText);
/// Appends `{"id": 1, "error": {"offset": 3, "expected": "an operand"}}` and the end of the line.
void appendError(std::string& aOut, const std::string& aId,
                 const KS::SymbolicExprParseError& aError);
/// Appends `{"id": 1, "error": {"message": "a division by zero"}}` and the end of the line.
void appendError(std::string& aOut, const std::string& aId, const std::string& aMessage);
/// The same with the offset in a line that is no record.
void appendError(std::string& aOut, const std::string& aId, const RecordError& aError);

}  // namespace ksexpr
