#include "host/KSHost.hpp"

#include <array>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace {

std::atomic<bool> terminateIsActive = true;

std::string describe(const msgcore::BaseMsgID& aMessage) {
  std::string text = aMessage.component() + " / " + aMessage.key();
  const char* separator = ": ";
  for (const msgcore::BaseMsgID::Argument& argument : aMessage.arguments()) {
    text += separator;
    separator = ", ";
    if (const auto* number = std::get_if<long long>(&argument)) {
      text += std::to_string(*number);
    } else if (const auto* narrow = std::get_if<std::string>(&argument)) {
      text += *narrow;
    } else {
      for (const char16_t unit : std::get<std::u16string>(argument)) {
        text += unit < 0x80 ? static_cast<char>(unit) : '?';
      }
    }
  }
  return text;
}

// Copies what the arguments hold and not the variants: where copying one throws, the variant of
// g++ 12 goes on to destroy what it does not hold.
std::vector<msgcore::BaseMsgID::Argument> copyOf(
    const std::vector<msgcore::BaseMsgID::Argument>& aArguments) {
  std::vector<msgcore::BaseMsgID::Argument> copies;
  copies.reserve(aArguments.size());
  for (const msgcore::BaseMsgID::Argument& argument : aArguments) {
    std::visit([&](const auto& value) { copies.emplace_back(value); }, argument);
  }
  return copies;
}

}  // namespace

namespace qc::diag {

void terminate(const char* message, const char* file, int line, const char* function) {
  std::fprintf(stderr, "%s\n%s:%d\n%s\n", message, file, line, function);
  std::abort();
}

void setTerminate(bool active) { terminateIsActive = active; }

}  // namespace qc::diag

bool qc_diag_terminate() { return terminateIsActive; }

std::string kssv_dtoa(double value, bool) {
  std::array<char, 32> buffer;  // the shortest form of a double takes 24 characters at most
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  std::string text(buffer.data(), end);
  // A text of digits alone would read back as an integer.
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

namespace msgcore {

BaseMsgID::BaseMsgID(std::string aComponent, std::string aKey, std::vector<Argument> aArguments)
    : componentName(std::move(aComponent)),
      messageKey(std::move(aKey)),
      messageArguments(std::move(aArguments)) {}
BaseMsgID::~BaseMsgID() = default;
BaseMsgID::BaseMsgID(const BaseMsgID& aOther)
    : BaseMsgID(aOther.componentName, aOther.messageKey, copyOf(aOther.messageArguments)) {}
BaseMsgID& BaseMsgID::operator=(BaseMsgID aOther) noexcept {
  componentName = std::move(aOther.componentName);
  messageKey = std::move(aOther.messageKey);
  messageArguments = std::move(aOther.messageArguments);
  return *this;
}

DiagnosticException::DiagnosticException(const BaseMsgID& aMessage)
    : DiagnosticException(std::make_shared<const BaseMsgID>(aMessage)) {}
DiagnosticException::DiagnosticException(std::shared_ptr<const BaseMsgID> aMessage)
    : std::runtime_error(describe(*aMessage)), message(std::move(aMessage)) {}
DiagnosticException::~DiagnosticException() = default;

}  // namespace msgcore

KSDiagnosticHandle kssvCreateDiagnosticFromMessageID(const msgcore::BaseMsgID& message) {
  return std::make_shared<const msgcore::BaseMsgID>(message);
}

void kssvThrowIExceptionFromDiagnostic(KSDiagnosticHandle diagnostic, void*) {
  throw msgcore::DiagnosticException(std::move(diagnostic));
}
