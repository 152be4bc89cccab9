// Checks that the library calls the services of the host that it was built with. The last one does
// not return: the exit status 7 is the host's.
#include <KSSymbolicExpr/core.hpp>
#include <cstdio>
#include <host/KSHost.hpp>
#include <string>

namespace {

class Customizer final : public KS::VCCustomizer {
 public:
  std::string getLocalCondition(const KSBlock*, int) const override { return "a +"; }
  const KSBlock* getParentBlock(const KSBlock*) const override { return nullptr; }
};

std::string thrown() {
  int block = 0;
  Customizer customizer;
  KS::VCService service;
  try {
    service.getMExprLocalVVCEString(reinterpret_cast<const KSBlock*>(&block), &customizer);
  } catch (const FakeHostError& error) {
    return error.what();
  }
  return "nothing";
}

}  // namespace

int main() {
  KS::SymbolicExprTable table;
  const KS::SymbolicExprPrinter print(table, true, false, false);
  const KS::SymbolicDoubleValue half(table, 0.5);
  std::printf("%s %s\n", print(half).c_str(), thrown().c_str());
  if (print(half) != "<0.500000>") return 1;
  if (thrown() != "Kestrin:Variants/InlineVarCondExprParseError") return 1;
  static_cast<void>(half.getInput(0));
  return 1;
}
