// The services that the modelling host supplies, and their stand-in for builds without a host.
//
// A host that links the library itself provides a header of this name with the same declarations
// and the definitions behind them (configure with -DKS_HOST=external).
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "host/KSPlatform.hpp"

namespace qc::diag {

/// The assertion service: prints its four arguments to standard error and aborts.
[[noreturn]] KS_API void terminate(const char* message, const char* file, int line,
                                   const char* function);

/// Turns the assertion switch on or off. Stand-in only.
KS_API void setTerminate(bool active);

}  // namespace qc::diag

/// The assertion switch: whether conditional checks are active. On by default.
KS_API bool qc_diag_terminate();

/// The shortest text that reads back as the same double and never as an integer: "5.0", "1e+22",
/// "inf", "nan". The second argument is ignored. Independent of any locale.
KS_API std::string kssv_dtoa(double value, bool);

namespace msgcore {

/// A message identifier: a component, a key and the message's arguments.
class KS_API BaseMsgID {
 public:
  /// One argument of a message.
  using Argument = std::variant<long long, std::string, std::u16string>;

  BaseMsgID(std::string aComponent, std::string aKey, std::vector<Argument> aArguments);
  virtual ~BaseMsgID();
  BaseMsgID(const BaseMsgID& aOther);
  BaseMsgID(BaseMsgID&&) noexcept = default;
  BaseMsgID& operator=(BaseMsgID aOther) noexcept;

  /// The component that the message belongs to, such as "Kestrin:Variants".
  const std::string& component() const { return componentName; }
  /// The message's key within its component.
  const std::string& key() const { return messageKey; }
  /// The message's arguments, in order.
  const std::vector<Argument>& arguments() const { return messageArguments; }

 private:
  std::string componentName;
  std::string messageKey;
  std::vector<Argument> messageArguments;
};

/// What the stand-in throws for a diagnostic; `what()` names component, key and arguments.
class KS_API DiagnosticException : public std::runtime_error {
 public:
  explicit DiagnosticException(const BaseMsgID& aMessage);
  /// The same for a message that is shared with the caller; not null.
  explicit DiagnosticException(std::shared_ptr<const BaseMsgID> aMessage);
  ~DiagnosticException() override;
  /// The component of the message.
  const std::string& component() const { return message->component(); }
  /// The key of the message.
  const std::string& key() const { return message->key(); }
  /// The arguments of the message.
  const std::vector<BaseMsgID::Argument>& arguments() const { return message->arguments(); }

 private:
  // Shared, so that copying the exception while it is thrown cannot itself throw.
  std::shared_ptr<const BaseMsgID> message;
};

}  // namespace msgcore

/// A diagnostic made of a message, ready to be thrown.
using KSDiagnosticHandle = std::shared_ptr<const msgcore::BaseMsgID>;

/// Makes a diagnostic of a message.
KS_API KSDiagnosticHandle kssvCreateDiagnosticFromMessageID(const msgcore::BaseMsgID& message);

/// Throws the host's exception for a diagnostic: `msgcore::DiagnosticException`. The second
/// argument is ignored.
[[noreturn]] KS_API void kssvThrowIExceptionFromDiagnostic(KSDiagnosticHandle diagnostic, void*);
