// A user of the installed library: reads, simplifies and prints a condition, and catches the host's
// exception across the library's border.
#include <KSSymbolicExpr/core.hpp>
#include <KSSymbolicExpr/host/KSHost.hpp>
#include <cstdio>
#include <string>

int main() {
  KS::SymbolicExprTable table;
  table.addBoolSymbols();
  const KS::SymbolicExprParser parse(table, false);
  const KS::SymbolicExprSimplify simplify(table, 10);
  const KS::SymbolicExprPrinter print(table, true, false, false);
  std::size_t passes = 0;
  const std::string text = print(simplify.simplify(parse("2 + 3 == N && N == 5"), passes));
  std::printf("%s %s %s\n", text.c_str(), libtqKSSymbolicExpr_version,
              libtqKSSymbolicExpr_build_date);
  if (text != "N==5") return 1;

  try {
    kssvThrowIExceptionFromDiagnostic(
        kssvCreateDiagnosticFromMessageID(msgcore::BaseMsgID("Consumer", "Key", {})), nullptr);
  } catch (const msgcore::DiagnosticException& diagnostic) {
    return diagnostic.key() == "Key" ? 0 : 1;
  }
}
