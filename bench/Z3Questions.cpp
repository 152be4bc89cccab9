// Z3 as a witness of what the tool answers to questions about models: it has to agree on random
// models whose conditions compare variables with each other, over reals and whole numbers, with
// constraints and values.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include "bench/RandomConditions.hpp"
#include "bench/Z3Terms.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tools/Cli.hpp"

namespace {

using nlohmann::json;
using Ids = std::set<std::string>;

struct Block {
  std::string id;
  int parent;  // -1 for none
  std::string condition;
};

struct RandomModel {
  std::vector<Block> blocks;
  std::vector<std::string> constraints;
  std::unordered_set<std::string> wholes;

  json asJson() const {
    json file{{"blocks", json::array()}, {"variables", json::object()}};
    for (const Block& block : blocks) {
      json entry{{"id", block.id}, {"parent", nullptr}, {"VV", block.condition}};
      if (block.parent >= 0) entry["parent"] = blocks[static_cast<std::size_t>(block.parent)].id;
      file["blocks"].push_back(std::move(entry));
    }
    for (const std::string& name : wholes) file["variables"][name] = {{"integer", true}};
    file["constraints"] = constraints;
    return file;
  }
};

RandomModel makeModel(KSBench::RandomConditions& aRandom) {
  RandomModel model;
  const std::size_t kind = aRandom.below(3);  // reals, whole numbers, some of both
  for (char symbol = aRandom.firstSymbol; symbol <= aRandom.lastSymbol; ++symbol) {
    if (kind == 1 || (kind == 2 && aRandom.below(2) == 0)) model.wholes.insert({symbol});
  }
  const std::size_t count = 3 + aRandom.below(5);
  for (std::size_t i = 0; i < count; ++i) {
    const int parent = i == 0 ? -1 : static_cast<int>(aRandom.below(i + 1)) - 1;
    const bool hasCondition = aRandom.below(5) > 0;
    model.blocks.push_back(
        {"b" + std::to_string(i), parent, hasCondition ? aRandom.make(1 + aRandom.below(3)) : ""});
  }
  for (std::size_t i = aRandom.below(3); i > 0; --i) {
    model.constraints.push_back(aRandom.make(1 + aRandom.below(2)));
  }
  return model;
}

// What Z3 knows of one model.
class Witness {
 public:
  Witness(z3::context& aContext, const RandomModel& aModel)
      : context(aContext),
        parse(table, false),
        terms(aContext, table, aModel.wholes),
        solver(aContext) {
    solver.set("timeout", 10000U);
    for (const std::string& text : aModel.constraints) solver.add(truth(text));
    for (const Block& block : aModel.blocks) {
      locals.push_back(truth(block.condition));
      nets.push_back(block.parent < 0
                         ? locals.back()
                         : nets[static_cast<std::size_t>(block.parent)] && locals.back());
    }
  }

  z3::expr truth(const std::string& aText) {
    if (aText.empty()) return context.bool_val(true);
    const KS::SymbolicExprId id = parse(aText);
    if (id == KS::invalidSymbolicExprId) throw std::runtime_error("does not parse: " + aText);
    return terms.truth(id);
  }
  // That the variables have these values.
  z3::expr are(const json& aValues) {
    z3::expr all = context.bool_val(true);
    for (const auto& [name, value] : aValues.items()) {
      const z3::expr zero = context.real_val(0);
      const z3::expr variable = terms.number(parse(name));
      if (value.is_boolean()) {
        all = all && (value == true ? variable != zero : variable == zero);
      } else {
        char text[400];
        std::snprintf(text, sizeof text, "%.60f", value.get<double>());
        all = all && variable == context.real_val(text);
      }
    }
    return all;
  }
  bool canHold(const z3::expr& aCondition) {
    solver.push();
    solver.add(aCondition);
    const z3::check_result result = solver.check();
    solver.pop();
    if (result == z3::unknown) throw std::runtime_error("Z3 does not know");
    return result == z3::sat;
  }
  bool canHold() { return canHold(context.bool_val(true)); }
  bool isAlways(const z3::expr& aCondition) { return !canHold(!aCondition); }

  std::vector<z3::expr> locals, nets;  // by block

 private:
  z3::context& context;
  KS::SymbolicExprTable table;
  KS::SymbolicExprParser parse;
  KSBench::Z3Terms terms;
  z3::solver solver;
};

class Comparison {
 public:
  Comparison(z3::context& aContext, KSBench::RandomConditions& aRandom)
      : context(aContext), random(aRandom) {}

  void compareOne() {
    model = makeModel(random);
    std::ofstream("model.json") << model.asJson();
    Witness witness(context, model);
    if (!witness.canHold()) {
      report("contradicting constraints", ask({"check", "model.json"}).is_null());
      return;
    }
    given = json::object();
    for (char symbol = random.firstSymbol; symbol <= random.lastSymbol; ++symbol) {
      if (random.below(3) == 0) given[std::string(1, symbol)] = std::stoi(random.constant());
    }
    compareDecisions(witness);
    compareCheck(witness);
    compareActive(witness);
    compareWhy(witness);
    compareDiff(witness);
    compareCover(witness);
  }

  std::size_t numSame = 0, numDifferent = 0;

 private:
  void report(const std::string& aWhat, bool aIsSame) {
    ++(aIsSame ? numSame : numDifferent);
    if (!aIsSame) {
      std::printf("differs: %s of %s with %s\n", aWhat.c_str(), model.asJson().dump().c_str(),
                  given.dump().c_str());
    }
  }

  // The answer, or null where there is none.
  json ask(std::vector<std::string> aArguments, const json& aValues = json::object()) {
    aArguments.insert(aArguments.end(), {"--format", "json"});
    for (const auto& [name, value] : aValues.items()) {
      aArguments.insert(aArguments.end(), {"-D", name + "=" + value.dump()});
    }
    std::istringstream in;
    std::ostringstream out, err;
    const int status = ksexpr::runTool(aArguments, {in, out, err, false});
    return status == 0 ? json::parse(out.str()) : json();
  }

  std::size_t indexOf(const json& aId) {
    return static_cast<std::size_t>(std::stoi(aId.get<std::string>().substr(1)));
  }
  z3::expr conjunction(const std::vector<z3::expr>& aAll) {
    z3::expr_vector all(context);
    for (const z3::expr& one : aAll) all.push_back(one);
    return z3::mk_and(all);
  }
  std::vector<z3::expr> path(const Witness& aWitness, std::size_t aBlock) {
    std::vector<z3::expr> found;
    for (int i = static_cast<int>(aBlock); i >= 0;
         i = model.blocks[static_cast<std::size_t>(i)].parent) {
      found.push_back(aWitness.locals[static_cast<std::size_t>(i)]);
    }
    return found;
  }
  // Whether the blocks' conditions exclude each other and no fewer along the path do.
  bool isSmallest(Witness& aWitness, std::size_t aBlock, const json& aConditions) {
    std::vector<z3::expr> named{context.bool_val(true)};
    for (const json& entry : aConditions) named.push_back(aWitness.locals[indexOf(entry["block"])]);
    if (aWitness.canHold(conjunction(named))) return false;
    const std::vector<z3::expr> all = path(aWitness, aBlock);
    for (std::size_t set = 0; set < std::size_t{1} << all.size(); ++set) {
      std::vector<z3::expr> some{context.bool_val(true)};
      for (std::size_t i = 0; i < all.size(); ++i) {
        if ((set >> i & 1) != 0) some.push_back(all[i]);
      }
      if (some.size() < named.size() && !aWitness.canHold(conjunction(some))) return false;
    }
    return true;
  }

  void compareDecisions(Witness& aWitness) {
    const json answer =
        ask({"conditions", "model.json", "--family", "vv", "--with", "decision,compact"});
    for (const json& entry : answer) {
      const z3::expr net = aWitness.nets[indexOf(entry["block"])];
      const std::string expected = !aWitness.canHold(net)   ? "never"
                                   : aWitness.isAlways(net) ? "always"
                                                            : "sometimes";
      report("decision", entry["vv"]["decision"] == expected);
      report("net condition", !aWitness.canHold(aWitness.truth(entry["vv"]["net"]) != net));
      report("compact form", !aWitness.canHold(aWitness.truth(entry["vv"]["compact"]) != net));
    }
  }

  void compareCheck(Witness& aWitness) {
    std::map<std::string, Ids> expected, found;
    for (std::size_t i = 0; i < model.blocks.size(); ++i) {
      const Block& block = model.blocks[i];
      const z3::expr net = aWitness.nets[i];
      if (!aWitness.canHold(net)) expected["never"].insert(block.id);
      std::vector<std::size_t> children;
      for (std::size_t k = i + 1; k < model.blocks.size(); ++k) {
        if (model.blocks[k].parent == static_cast<int>(i)) children.push_back(k);
      }
      z3::expr gap = net;
      for (std::size_t a = 0; a < children.size(); ++a) {
        gap = gap && !aWitness.nets[children[a]];
        for (std::size_t b = a + 1; b < children.size(); ++b) {
          if (aWitness.canHold(aWitness.nets[children[a]] && aWitness.nets[children[b]])) {
            expected["overlap"].insert(model.blocks[children[a]].id + model.blocks[children[b]].id);
          }
        }
      }
      if (!children.empty() && aWitness.canHold(gap)) expected["gap"].insert(block.id);
      if (block.condition.empty()) continue;
      if (aWitness.isAlways(net)) expected["always"].insert(block.id);
      const z3::expr above = block.parent < 0
                                 ? context.bool_val(true)
                                 : aWitness.nets[static_cast<std::size_t>(block.parent)];
      if (aWitness.canHold(above) && !aWitness.canHold(above && !aWitness.locals[i])) {
        expected["implied"].insert(block.id);
      }
    }
    for (const json& entry : ask({"check", "model.json", "--variants", "all"})) {
      const std::string verdict = entry["verdict"];
      std::string name = entry["block"];
      if (verdict == "overlap") {
        name = entry["children"][0].get<std::string>() + entry["children"][1].get<std::string>();
      }
      found[verdict].insert(name);
      if (entry.contains("witness")) {
        z3::expr seen = aWitness.are(entry["witness"]) && aWitness.nets[indexOf(entry["block"])];
        for (const json& child : entry["children"]) {
          const z3::expr net = aWitness.nets[indexOf(child)];
          seen = seen && (verdict == "overlap" ? net : !net);
        }
        report(verdict + "'s values", aWitness.canHold(seen));
      } else if (verdict == "never" && entry["inherited"] == false) {
        report("smallest contradiction",
               isSmallest(aWitness, indexOf(entry["block"]), entry["because"]));
      }
    }
    report("check", found == expected);
  }

  void compareActive(Witness& aWitness) {
    const z3::expr values = aWitness.are(given);
    const json answer = ask({"active", "model.json"}, given);
    report("values against constraints", answer.is_null() == !aWitness.canHold(values));
    for (const json& entry : answer) {
      const z3::expr net = aWitness.nets[indexOf(entry["block"])];
      if (entry["state"] == "active") report("active", !aWitness.canHold(values && !net));
      if (entry["state"] == "inactive") report("inactive", !aWitness.canHold(values && net));
      if (entry["state"] == "open") {
        report("open", aWitness.canHold(net) && aWitness.canHold(!net));
      }
      report("residual", !aWitness.canHold(values && aWitness.truth(entry["residual"]) != net));
    }
  }

  void compareWhy(Witness& aWitness) {
    const std::size_t block = model.blocks.size() - 1;
    const z3::expr net = aWitness.nets[block];
    const json answer = ask({"why", "model.json", "--block", model.blocks[block].id}, given);
    const std::string state = answer["state"];
    const z3::expr values = aWitness.are(given);
    const bool canBeOn = aWitness.canHold(values && net);
    report("never", (state == "never") == !aWitness.canHold(net));
    if (state == "never") {
      report("contradiction", isSmallest(aWitness, block, answer["contradiction"]));
      return;
    }
    report("state", canBeOn ? state == "active" || state == "open" : state == "inactive");
    if (canBeOn) {
      report("active under values", (state == "active") == !aWitness.canHold(values && !net));
      return;
    }
    json changed = given;
    changed.update(answer["change"]);
    changed.update(answer["chosen"]);
    report("change", aWitness.canHold(aWitness.are(changed) && net) &&
                         !aWitness.canHold(aWitness.are(changed) && !net));
    // No fewer of the given values, left free, turn the block on.
    std::vector<std::string> names;
    for (const auto& [name, value] : given.items()) names.push_back(name);
    bool isFewest = true;
    for (std::size_t set = 0; set < std::size_t{1} << names.size(); ++set) {
      json kept = json::object();
      for (std::size_t i = 0; i < names.size(); ++i) {
        if ((set >> i & 1) != 0) kept[names[i]] = given[names[i]];
      }
      if (kept.size() + answer["change"].size() > given.size()) {
        isFewest = isFewest && !aWitness.canHold(aWitness.are(kept) && net);
      }
    }
    report("fewest changes", isFewest && answer["changeProven"] == true);
  }

  void compareDiff(Witness& aWitness) {
    RandomModel edited = model;
    for (Block& block : edited.blocks) {
      if (random.below(4) == 0) block.condition = random.make(1 + random.below(3));
    }
    std::ofstream("new.json") << edited.asJson();
    Witness after(context, edited);
    Ids expected, found;
    for (std::size_t i = 0; i < model.blocks.size(); ++i) {
      const bool isNewlyNever = aWitness.canHold(aWitness.nets[i]) && !after.canHold(after.nets[i]);
      if (after.canHold(after.nets[i] != aWitness.nets[i]) || isNewlyNever) {
        expected.insert(model.blocks[i].id + (isNewlyNever ? " newly never" : ""));
      }
    }
    for (const json& entry : ask({"diff", "model.json", "new.json"})) {
      if (entry["change"] != "condition") continue;
      const std::size_t i = indexOf(entry["block"]);
      found.insert(model.blocks[i].id + (entry["newlyNever"] == true ? " newly never" : ""));
      if (entry["witness"].is_null()) continue;
      report("difference's values",
             after.canHold(after.are(entry["witness"]) && (after.nets[i] != aWitness.nets[i])));
    }
    report("diff", found == expected);
  }

  void compareCover(Witness& aWitness) {
    const json answer = ask({"cover", "model.json"});
    Ids expectedNever, expectedAlways;
    std::vector<z3::expr> configurations;
    for (const json& values : answer["configurations"]) {
      configurations.push_back(aWitness.are(values));
      report("configuration", aWitness.canHold(configurations.back()));
    }
    for (std::size_t i = 0; i < model.blocks.size(); ++i) {
      for (const bool isOn : {true, false}) {
        const z3::expr wanted = isOn ? aWitness.nets[i] : !aWitness.nets[i];
        if (!aWitness.canHold(wanted)) {
          (isOn ? expectedNever : expectedAlways).insert(model.blocks[i].id);
          continue;
        }
        const bool isSeen = std::any_of(
            configurations.begin(), configurations.end(),
            [&](const z3::expr& values) { return !aWitness.canHold(values && !wanted); });
        report(isOn ? "covered on" : "covered off", isSeen);
      }
    }
    report("never and always", answer["never"].get<Ids>() == expectedNever &&
                                   answer["always"].get<Ids>() == expectedAlways);
    report("lower bound", answer["lowerBound"].get<std::size_t>() <= configurations.size());
  }

  z3::context& context;
  KSBench::RandomConditions& random;
  RandomModel model;
  json given;  // values
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Compares answers to questions about random models with those of Z3");
  std::size_t models = 1000;
  std::uint64_t seed = 1;
  app.add_option("--models", models, "The number of models");
  app.add_option("--seed", seed, "The seed of the models");
  CLI11_PARSE(app, argc, argv);
  std::string folder = (std::filesystem::temp_directory_path() / "ksXXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) return 1;
  std::filesystem::current_path(folder);
  int status = 1;
  try {
    z3::context context;
    KSBench::RandomConditions random(seed);
    Comparison comparison(context, random);
    for (std::size_t i = 0; i < models; ++i) comparison.compareOne();
    std::printf("same %zu, different %zu\n", comparison.numSame, comparison.numDifferent);
    status = comparison.numDifferent == 0 ? 0 : 1;
  } catch (const z3::exception& error) {
    std::fprintf(stderr, "%s\n", error.msg());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  std::filesystem::current_path("/");
  std::filesystem::remove_all(folder);
  return status;
}
