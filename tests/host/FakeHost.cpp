#include <cstdio>
#include <cstdlib>
#include <utility>

#include "host/KSHost.hpp"

namespace {
std::vector<std::string> diagnostics;
}

namespace qc::diag {
void terminate(const char* message, const char*, int, const char*) {
  std::printf("fake host: %s\n", message);
  std::fflush(stdout);
  std::_Exit(7);
}
}  // namespace qc::diag
bool qc_diag_terminate() { return true; }
std::string kssv_dtoa(double value, bool) { return "<" + std::to_string(value) + ">"; }

namespace msgcore {
BaseMsgID::BaseMsgID(std::string aComponent, std::string aKey, std::vector<Argument> aArguments)
    : fComponent(std::move(aComponent)), fKey(std::move(aKey)), fArguments(std::move(aArguments)) {}
BaseMsgID::~BaseMsgID() = default;
}  // namespace msgcore

KSDiagnosticHandle kssvCreateDiagnosticFromMessageID(const msgcore::BaseMsgID& message) {
  diagnostics.push_back(message.component() + "/" + message.key());
  return static_cast<int>(diagnostics.size()) - 1;
}
void kssvThrowIExceptionFromDiagnostic(KSDiagnosticHandle diagnostic, void*) {
  throw FakeHostError(diagnostics.at(static_cast<std::size_t>(diagnostic)));
}
