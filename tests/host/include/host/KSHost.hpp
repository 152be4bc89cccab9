// The services of a host other than the stand-in: the same declarations over its own types.
#pragma once

#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace qc::diag {
[[noreturn]] void terminate(const char* message, const char* file, int line, const char* function);
}
bool qc_diag_terminate();
std::string kssv_dtoa(double value, bool);

namespace msgcore {
class BaseMsgID {
 public:
  using Argument = std::variant<long long, std::string, std::u16string>;
  BaseMsgID(std::string aComponent, std::string aKey, std::vector<Argument> aArguments);
  virtual ~BaseMsgID();
  const std::string& component() const { return fComponent; }
  const std::string& key() const { return fKey; }
  const std::vector<Argument>& arguments() const { return fArguments; }

 private:
  std::string fComponent;
  std::string fKey;
  std::vector<Argument> fArguments;
};
}  // namespace msgcore

/// This host's diagnostics are numbers.
using KSDiagnosticHandle = int;
KSDiagnosticHandle kssvCreateDiagnosticFromMessageID(const msgcore::BaseMsgID& message);
[[noreturn]] void kssvThrowIExceptionFromDiagnostic(KSDiagnosticHandle diagnostic, void*);

/// What this host throws.
struct FakeHostError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
