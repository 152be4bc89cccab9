// A host in one file: its blocks, what the library wants to know about them, and its questions.
#include <KSSymbolicExpr/core.hpp>
#include <exception>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

// The library knows the host's block class by name only.
class KSBlock {
 public:
  std::string name;
  std::string condition;
  const KSBlock* parent;
};

namespace {

// Tells the library a block's own condition, the same in every family, and the enclosing block.
class PumpCustomizer : public KS::VCCustomizer {
 public:
  std::string getLocalCondition(const KSBlock* aBlock, int /*aSelector*/) const override {
    return aBlock->condition;
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override { return aBlock->parent; }
};

}  // namespace

int main() {
  const KSBlock station{"Station", "", nullptr};
  const KSBlock pumps{"Pumps", "Stages >= 1", &station};
  const KSBlock standby{"Standby", "Stages > 1 || Stages > 2", &pumps};
  const KSBlock drive{"Drive", "Inverter", &pumps};
  const KSBlock brake{"Brake", "bitand(Options, 1) ~= 0", &drive};
  const KSBlock starter{"Starter", "~Inverter", &drive};
  const KSBlock broken{"Broken", "Stages >= ", &station};

  KS::VCService& service = *KS::VCService::getInstance();
  const PumpCustomizer customizer;
  std::cout << std::left;
  for (const KSBlock* block : {&station, &pumps, &standby, &drive, &brake, &starter, &broken}) {
    std::cout << std::setw(10) << block->name;
    try {
      // The empty text stands for a condition that always holds.
      const std::string net = service.getCExprNetCGVCEString(block, &customizer);
      std::cout << (net.empty() ? "always" : net) << '\n';
    } catch (const std::exception& error) {
      // The host's own diagnostic: the condition is no expression.
      std::cout << error.what() << '\n';
    }
  }

  // Conditions are ids of one table, so they can be combined.
  const KS::SymbolicExprId either = service.OR(service.getMExprNetVVCEIdx(&brake, &customizer),
                                               service.getMExprNetVVCEIdx(&starter, &customizer));
  std::cout << "\nBrake or Starter: " << service.printMExpr(either) << '\n';
  KS::VCService::clean();
}
