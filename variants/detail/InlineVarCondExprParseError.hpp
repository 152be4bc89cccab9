// The diagnostic for a condition that does not parse.
#pragma once

#include <string>
#include <vector>

#include "host/KSHost.hpp"

namespace Kestrin::Variants {

/// The message "Kestrin:Variants" / "InlineVarCondExprParseError" about a text.
class InlineVarCondExprParseError final : public msgcore::BaseMsgID {
 public:
  explicit InlineVarCondExprParseError(const std::string& aText)
      : BaseMsgID("Kestrin:Variants", "InlineVarCondExprParseError", listOf(aText)) {}

 private:
  // Made in place: a list in braces copies its elements, and where copying a variant throws, the
  // one of g++ 12 goes on to destroy what it does not hold.
  static std::vector<Argument> listOf(const std::string& aText) {
    std::vector<Argument> list;
    list.emplace_back(aText);
    return list;
  }
};

}  // namespace Kestrin::Variants

namespace KS::detail {

/// Throws the host's exception that says that the text is not a condition.
[[noreturn]] inline void throwParseError(const std::string& aText) {
  const Kestrin::Variants::InlineVarCondExprParseError message(aText);
  kssvThrowIExceptionFromDiagnostic(kssvCreateDiagnosticFromMessageID(message), nullptr);
}

}  // namespace KS::detail
