// A customizer that answers anything, throws anything, asks back and changes its mind, against what
// the service promises to keep: the same script runs over a service and over a plain one that says
// the promises in a page. Both must be asked the same, and answer the same.
#include <array>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "fuzz/Fuzz.hpp"
#include "host/KSHost.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "variants/VCService.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace KS::fuzz {
namespace {

enum Family { CG, VV, S };  // as customizers know them
constexpr std::size_t numBlocks = 7;
constexpr std::size_t maxCalls = 1500;  // of customizers, in one run

// Blocks are addresses that nobody may follow: nothing is there.
const KSBlock* blockAt(std::size_t aIdx) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): never followed
  return reinterpret_cast<const KSBlock*>(std::uintptr_t{aIdx});
}
std::size_t indexOf(const KSBlock* aBlock) { return reinterpret_cast<std::uintptr_t>(aBlock); }

// What the plain service throws for a text that does not parse: a runtime error like that of the
// host, since customizers tell these apart.
struct NoExpression final : std::runtime_error {
  explicit NoExpression(const std::string& aText) : std::runtime_error(aText), text(aText) {}
  std::string text;
};

// The operations of a service, of which a script uses any.
class Service {
 public:
  virtual ~Service() = default;
  virtual SymbolicExprId local(Family, const KSBlock*, const VCCustomizer*) = 0;
  virtual SymbolicExprId net(Family, const KSBlock*, const VCCustomizer*) = 0;
  virtual SymbolicExprId computeNet(Family, const KSBlock*, const VCCustomizer*) = 0;
  virtual std::string localText(Family, bool aMSyntax, const KSBlock*, const VCCustomizer*) = 0;
  virtual std::string netText(Family, bool aMSyntax, const KSBlock*, const VCCustomizer*) = 0;
  virtual bool isTrue(Family, bool aNet, const KSBlock*, const VCCustomizer*) = 0;
  virtual void set(Family, const KSBlock*, const std::string&) = 0;
  virtual void initialize(const KSBlock*) = 0;
  virtual SymbolicExprId combine(int aHow, SymbolicExprId, SymbolicExprId) = 0;
  virtual SymbolicExprId simplify(const std::string&) = 0;
  virtual std::string print(SymbolicExprId, bool aMSyntax) = 0;
  virtual void clean() = 0;
};

// ---------------------------------------------------------------------------------------------

class RealService final : public Service {
 public:
  explicit RealService(bool aIsProcessWide) : isProcessWide(aIsProcessWide) {
    if (!isProcessWide) own = std::make_unique<VCService>();
  }
  ~RealService() override {
    if (isProcessWide) VCService::clean();
  }
  SymbolicExprId local(Family f, const KSBlock* b, const VCCustomizer* c) override {
    switch (f) {
      case VV: return service().getMExprLocalVVCEIdx(b, c);
      case CG: return service().getMExprLocalCGVCEIdx(b, c);
      default: return service().getLocalSVCEIdx(b, c);
    }
  }
  SymbolicExprId net(Family f, const KSBlock* b, const VCCustomizer* c) override {
    switch (f) {
      case VV: return service().getMExprNetVVCEIdx(b, c);
      case CG: return service().getMExprNetCGVCEIdx(b, c);
      default: return service().getNetSVCEIdx(b, c);
    }
  }
  SymbolicExprId computeNet(Family f, const KSBlock* b, const VCCustomizer* c) override {
    switch (f) {
      case VV: return service().computeMExprNetVVCE(b, c);
      case CG: return service().computeMExprNetCGVCE(b, c);
      default: return service().computeNetSVCE(b, c);
    }
  }
  std::string localText(Family f, bool m, const KSBlock* b, const VCCustomizer* c) override {
    if (f == VV) return service().getMExprLocalVVCEString(b, c);
    return m ? service().getMExprLocalCGVCEString(b, c) : service().getCExprLocalCGVCEString(b, c);
  }
  std::string netText(Family f, bool m, const KSBlock* b, const VCCustomizer* c) override {
    if (f == VV) return service().getMExprNetVVCEString(b, c);
    return m ? service().getMExprNetCGVCEString(b, c) : service().getCExprNetCGVCEString(b, c);
  }
  bool isTrue(Family, bool aNet, const KSBlock* b, const VCCustomizer* c) override {
    return aNet ? service().getNetSVCE(b, c) : service().getLocalSVCE(b, c);
  }
  void set(Family f, const KSBlock* b, const std::string& aText) override {
    f == VV ? service().setMExprLocalVVCEString(b, aText)
            : service().setMExprLocalCGVCEString(b, aText);
  }
  void initialize(const KSBlock* b) override { service().initializeConditions(b); }
  SymbolicExprId combine(int aHow, SymbolicExprId l, SymbolicExprId r) override {
    return aHow == 0 ? service().AND(l, r) : aHow == 1 ? service().OR(l, r) : service().NOT(l);
  }
  SymbolicExprId simplify(const std::string& aText) override { return service().simplify(aText); }
  std::string print(SymbolicExprId aId, bool m) override {
    return m ? service().printMExpr(aId) : service().printCExpr(aId);
  }
  void clean() override {
    if (isProcessWide) VCService::clean();
  }

 private:
  VCService& service() { return isProcessWide ? *VCService::getInstance() : *own; }
  bool isProcessWide;
  std::unique_ptr<VCService> own;
};

// ---------------------------------------------------------------------------------------------

// The promises, as plainly as they can be said.
class PlainService final : public Service {
 public:
  explicit PlainService(bool aIsProcessWide) : isProcessWide(aIsProcessWide) { restart(); }

  SymbolicExprId local(Family f, const KSBlock* b, const VCCustomizer* c) override {
    if (b == nullptr) return ofNoBlock(f);
    const SymbolicExprId known = found(locals[f], b);
    if (known != invalidSymbolicExprId && f != CG) return known;
    const SymbolicExprId asked = askLocal(f, b, c);
    if (known != invalidSymbolicExprId) return known;
    return locals[f][b] = asked;
  }
  SymbolicExprId net(Family f, const KSBlock* b, const VCCustomizer* c) override {
    if (b == nullptr) return ofNoBlock(f);
    const SymbolicExprId known = found(nets[f], b);
    return known != invalidSymbolicExprId ? known : nets[f][b] = computeNet(f, b, c);
  }
  SymbolicExprId computeNet(Family f, const KSBlock* b, const VCCustomizer* c) override {
    std::set<const KSBlock*> path;
    return b == nullptr ? ofNoBlock(f) : computeBelow(f, b, c, path);
  }
  std::string localText(Family f, bool m, const KSBlock* b, const VCCustomizer* c) override {
    return textOf(local(f, b, c), m || f == VV);
  }
  std::string netText(Family f, bool m, const KSBlock* b, const VCCustomizer* c) override {
    return textOf(net(f, b, c), m || f == VV);
  }
  bool isTrue(Family, bool aNet, const KSBlock* b, const VCCustomizer* c) override {
    return (aNet ? net(S, b, c) : local(S, b, c)) == table->getIdTRUE();
  }
  void set(Family f, const KSBlock* b, const std::string& aText) override {
    locals[f][b] = simplify(aText);
  }
  void initialize(const KSBlock*) override {}
  SymbolicExprId combine(int aHow, SymbolicExprId l, SymbolicExprId r) override {
    table->get(l);
    if (aHow == 2) return simplified(SymbolicNotExpr(*table, l).getId(*table));
    table->get(r);
    return simplified(aHow == 0 ? SymbolicAndExpr(*table, l, r).getId(*table)
                                : SymbolicOrExpr(*table, l, r).getId(*table));
  }
  SymbolicExprId simplify(const std::string& aText) override {
    if (aText.empty() || aText == "true") return table->getIdTRUE();
    if (aText == "false") return table->getIdFALSE();
    const SymbolicExprId id = work->parse(aText);
    if (id == invalidSymbolicExprId) throw NoExpression(aText);
    return simplified(id);
  }
  std::string print(SymbolicExprId aId, bool m) override {
    if (aId == table->getIdTRUE()) return {};
    return SymbolicExprPrinter(*table, m, true, true)(aId);
  }
  void clean() override {
    if (!isProcessWide) return;
    if (openCalls != 0) throw std::logic_error("asking");
    restart();
  }

 private:
  using Kept = std::map<const KSBlock*, SymbolicExprId>;

  void restart() {
    work = std::make_unique<Work>();
    table = &work->table;
    table->addBoolSymbols();
    locals.fill({});
    nets.fill({});
  }
  static SymbolicExprId found(const Kept& aKept, const KSBlock* b) {
    const auto place = aKept.find(b);
    return place == aKept.end() ? invalidSymbolicExprId : place->second;
  }
  SymbolicExprId ofNoBlock(Family f) const {
    return f == S ? table->getIdFALSE() : table->getIdTRUE();
  }
  SymbolicExprId simplified(SymbolicExprId aId) {
    std::size_t passes = 0;
    return work->simplify.simplify(aId, passes);
  }
  std::string textOf(SymbolicExprId aId, bool m) {
    return print(m ? aId : SymbolicExprM2C(*table)(aId), m);
  }
  template <class Ask>
  auto ask(const VCCustomizer* c, const Ask& aAsk) {
    if (c == nullptr) throw std::invalid_argument("no customizer");
    if (openCalls == VCService::maxCustomizerDepth) throw std::runtime_error("too deep");
    struct Open {
      explicit Open(std::size_t& aCount) : count(++aCount) {}
      ~Open() { --count; }
      std::size_t& count;
    } open(openCalls);
    return aAsk();
  }
  SymbolicExprId askLocal(Family f, const KSBlock* b, const VCCustomizer* c) {
    return simplify(ask(c, [&] { return c->getLocalCondition(b, f); }));
  }
  SymbolicExprId computeBelow(Family f, const KSBlock* b, const VCCustomizer* c,
                              std::set<const KSBlock*>& aPath) {
    const SymbolicExprId own = f == S ? askLocal(f, b, c) : local(f, b, c);
    aPath.insert(b);
    const KSBlock* const parent = ask(c, [&] { return c->getParentBlock(b); });
    if (parent == nullptr) return own;
    SymbolicExprId above = found(nets[f], parent);
    const bool isOwnParent = parent == b && aPath.size() == 1;
    if (aPath.count(parent) != 0 &&
        (above == invalidSymbolicExprId || aPath.size() > 1 || isOwnParent)) {
      throw std::runtime_error("its own ancestor");
    }
    if (above == invalidSymbolicExprId) above = nets[f][parent] = computeBelow(f, parent, c, aPath);
    return simplified(SymbolicAndExpr(*table, own, above).getId(*table));
  }

  bool isProcessWide;
  struct Work {
    SymbolicExprTable table;
    SymbolicExprParser parse{table, false};
    SymbolicExprSimplify simplify{table, 10};
  };
  std::unique_ptr<Work> work;
  SymbolicExprTable* table = nullptr;
  std::array<Kept, 3> locals, nets;
  std::size_t openCalls = 0;
};

// ---------------------------------------------------------------------------------------------

// What a run did and got, line by line.
using Log = std::vector<std::string>;

class Script final : public VCCustomizer {
 public:
  Script(Service& aService, const std::uint8_t* aData, std::size_t aSize)
      : service(aService), choices(aData, aSize) {
    for (std::size_t i = 1; i <= numBlocks; ++i) {
      // Mostly a forest, in which a block may yet be its own ancestor.
      parents[i] = choices.pick(4) == 0 ? choices.pick(numBlocks + 1) : i / 2;
    }
  }

  Log run() {
    for (std::size_t step = 0; step < 60 && !choices.isAtEnd(); ++step) perform();
    // In the end it is an honest one, of which every answer is compared.
    isHonest = true;
    for (std::size_t i = 1; i <= numBlocks; ++i) {
      if (parents[i] >= i) parents[i] = i / 2;
    }
    for (std::size_t i = 0; i <= numBlocks; ++i) {
      for (const Family f : {VV, CG, S}) {
        write([&] { return service.print(service.local(f, blockAt(i), this), true); });
        write([&] { return service.print(service.net(f, blockAt(i), this), true); });
        write([&] { return service.print(service.computeNet(f, blockAt(i), this), true); });
      }
    }
    return log;
  }

  std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
    log.push_back("asked " + std::to_string(aSelector) + ' ' + std::to_string(indexOf(aBlock)));
    if (isHonest || ++calls > maxCalls) return textOf(indexOf(aBlock), aSelector);
    auto& script = const_cast<Script&>(*this);
    return script.answer(indexOf(aBlock), aSelector);
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    log.push_back("parent of " + std::to_string(indexOf(aBlock)));
    const std::size_t block = indexOf(aBlock);
    if (isHonest || ++calls > maxCalls) return parentOf(block);
    auto& script = const_cast<Script&>(*this);
    script.misbehave(block);
    if (block <= numBlocks && script.choices.pick(16) == 1) {  // another one from now on
      parents[block] = script.choices.pick(numBlocks + 1);
    }
    return parentOf(block);
  }

 private:
  const KSBlock* parentOf(std::size_t aBlock) const {
    return aBlock > numBlocks ? nullptr : blockAt(parents[aBlock]);
  }

  static const char* anyText(Choices& aChoices) {
    static constexpr const char* const texts[] = {"",
                                                  "true",
                                                  "false",
                                                  "A",
                                                  "B",
                                                  "~A",
                                                  "A && B",
                                                  "A || B",
                                                  "C == 1",
                                                  "C == 2",
                                                  "C > 1",
                                                  "C ~= 1 && C < 3",
                                                  "A && ~B",
                                                  "(A || B) && (C || D)",
                                                  "rem(C, 2) == 1",
                                                  "bitand(C, 3) ~= 0",
                                                  "x + 1 > 2",
                                                  "1 < 2",
                                                  "2 < 1",
                                                  "f(x) == s.m",
                                                  "~(A || C == 1)",
                                                  " A ",
                                                  "A &&",
                                                  "A B",
                                                  "\xff",
                                                  "((",
                                                  "[A, B]",
                                                  "nan"};
    return aChoices.oneOf(texts);
  }
  std::string textOf(std::size_t aBlock, int aSelector) const {
    const auto known = texts.find({aBlock, aSelector});
    if (known != texts.end()) return known->second;
    static constexpr const char* const usual[] = {"A", "", "B || C == 1", "C > 1", "A && ~D", ""};
    return usual[(aBlock + static_cast<std::size_t>(aSelector)) % std::size(usual)];
  }

  std::string answer(std::size_t aBlock, int aSelector) {
    misbehave(aBlock);
    // Sometimes it tells something else, once or from now on.
    switch (choices.pick(8)) {
      case 1: return anyText(choices);
      case 2: return texts[{aBlock, aSelector}] = anyText(choices);
      case 3: return std::string("A\0B", 3);
      default: return textOf(aBlock, aSelector);
    }
  }

  // What a host does that is asked, before it answers.
  void misbehave(std::size_t aBlock) {
    switch (choices.pick(16)) {
      case 1: perform(); break;  // asks back
      case 2:
        perform();
        perform();
        break;
      case 3: throw std::domain_error("host");
      case 4: throw 42;
      case 5: throw std::string("host");
      case 6: throw std::bad_alloc();
      case 7: throw NoExpression("host");
      case 8:  // asks back for what it is being asked, without an end
        if (choices.pick(8) == 1) isStubborn = true;
        break;
      case 9: askWithoutCatching(); break;
      default: break;
    }
    if (isStubborn) {
      try {
        service.net(VV, blockAt(aBlock), this);
      } catch (const std::runtime_error&) {
        isStubborn = false;
        throw;
      }
    }
  }

  void askWithoutCatching() {
    const Family f = anyFamily();
    remember(service.net(f, anyBlock(), this));
  }

  Family anyFamily() { return static_cast<Family>(choices.pick(3)); }
  const KSBlock* anyBlock() { return blockAt(choices.pick(numBlocks + 2)); }
  SymbolicExprId anyId() {
    const std::size_t place = choices.pick(32);
    if (place == 31) return invalidSymbolicExprId;
    return ids.empty() ? SymbolicExprId{1} : ids[place % ids.size()];
  }
  SymbolicExprId remember(SymbolicExprId aId) {
    ids.push_back(aId);
    return aId;
  }

  // One operation of the service, and what comes of it.
  void perform() {
    if (++depth > 150) {
      --depth;
      return;
    }
    const std::size_t operation = choices.pick(16);
    const Family f = anyFamily();
    const KSBlock* const block = anyBlock();
    const bool flag = choices.pick(2) != 0;
    const VCCustomizer* const customizer = choices.pick(24) == 1 ? nullptr : this;
    write([&]() -> std::string {
      switch (operation) {
        case 0: return show(service.local(f, block, customizer));
        case 1:
        case 2:
        case 3:
        case 4: return show(service.net(f, block, customizer));
        case 5: return show(service.computeNet(f, block, customizer));
        case 6: return service.localText(f == S ? CG : f, flag, block, customizer);
        case 7: return service.netText(f == S ? CG : f, flag, block, customizer);
        case 8: return service.isTrue(S, flag, block, customizer) ? "yes" : "no";
        case 9: service.set(f == S ? VV : f, block, anyText(choices)); return "set";
        case 10: service.initialize(block); return "known";
        case 11:
        case 12: {
          const SymbolicExprId left = anyId(), right = anyId();
          return show(service.combine(static_cast<int>(choices.pick(3)), left, right));
        }
        case 13: return show(service.simplify(anyText(choices)));
        case 14: return service.print(anyId(), flag);
        default:
          service.clean();
          ids.clear();  // a new service has ids of its own
          return "cleaned";
      }
    });
    --depth;
  }
  std::string show(SymbolicExprId aId) { return service.print(remember(aId), true); }

  // The words of errors are nobody's business, their types are.
  template <class Act>
  void write(const Act& aAct) {
    std::string line;
    try {
      line = "= " + aAct();
    } catch (const msgcore::DiagnosticException& error) {
      line = "no expression: " + std::get<std::string>(error.arguments().at(0));
    } catch (const NoExpression& error) {
      line = "no expression: " + error.text;
    } catch (const std::bad_alloc&) {
      line = "bad_alloc";
    } catch (const std::invalid_argument&) {
      line = "invalid_argument";
    } catch (const std::out_of_range&) {
      line = "out_of_range";
    } catch (const std::domain_error&) {
      line = "domain_error";
    } catch (const std::logic_error&) {
      line = "logic_error";
    } catch (const std::runtime_error&) {
      line = "runtime_error";
    } catch (const std::string& error) {
      line = "string " + error;
    } catch (int error) {
      line = "int " + std::to_string(error);
    }
    log.push_back(line);
  }

  Service& service;
  Choices choices;
  mutable std::array<std::size_t, numBlocks + 1> parents{};
  std::map<std::pair<std::size_t, int>, std::string> texts;
  std::vector<SymbolicExprId> ids;
  mutable Log log;
  mutable std::size_t calls = 0;
  std::size_t depth = 0;
  bool isHonest = false;
  bool isStubborn = false;
};

}  // namespace
}  // namespace KS::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* aData, std::size_t aSize) {
  using namespace KS::fuzz;
  if (aSize == 0) return 0;
  const bool isProcessWide = aData[0] % 2 == 1;
  RealService real(isProcessWide);
  PlainService plain(isProcessWide);
  const Log found = Script(real, aData + 1, aSize - 1).run();
  const Log expected = Script(plain, aData + 1, aSize - 1).run();
  for (std::size_t i = 0; i < std::max(found.size(), expected.size()); ++i) {
    const std::string is = i < found.size() ? found[i] : "nothing";
    const std::string shall = i < expected.size() ? expected[i] : "nothing";
    if (is == shall) continue;
    std::string before;
    for (std::size_t k = i < 12 ? 0 : i - 12; k < i; ++k) before += found[k] + '\n';
    fail("line " + std::to_string(i) + " is \"" + is + "\" instead of \"" + shall + "\", after\n" +
         before);
  }
  return 0;
}
