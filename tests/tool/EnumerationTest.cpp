// The answers to questions about small random models, against all values of their variables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tests/tool/SmallModels.hpp"

namespace {

using nlohmann::json;

constexpr unsigned numModels = 150;

class KsExprEnumeration : public ModelFile {
 protected:
  // Asks about model.json and parses the answer.
  static json ask(std::vector<std::string> aArguments, const std::vector<std::string>& aMore = {}) {
    aArguments.insert(aArguments.end(), aMore.begin(), aMore.end());
    aArguments.insert(aArguments.end(), {"--format", "json"});
    const Outcome found = run(aArguments);
    EXPECT_EQ(found.status, 0) << found.err;
    return found.status == 0 ? json::parse(found.out) : json();
  }
};

// Whether the world has these values.
bool agrees(const World& aWorld, const json& aValues) {
  return std::all_of(aValues.items().begin(), aValues.items().end(), [&](const auto& entry) {
    return valueIn(aWorld, entry.key()) == entry.value();
  });
}

std::vector<World> worldsWith(const std::vector<World>& aWorlds, const json& aValues) {
  std::vector<World> found;
  for (const World& world : aWorlds) {
    if (agrees(world, aValues)) found.push_back(world);
  }
  return found;
}

// The options that give a world's values of some variables.
std::vector<std::string> definitions(const json& aValues) {
  std::vector<std::string> options;
  for (const auto& [name, value] : aValues.items()) {
    options.insert(
        options.end(),
        {"-D", name + "=" + (value.is_string() ? value.get<std::string>() : value.dump())});
  }
  return options;
}

json someValues(const World& aWorld, ModelMaker& aMaker, int aOneIn) {
  json values = json::object();
  for (const char* name : worldNames) {
    if (aMaker.below(aOneIn) != 0) values[name] = valueIn(aWorld, name);
  }
  return values;
}

template <class Holds>
int countWorlds(const std::vector<World>& aWorlds, const Holds& aHolds) {
  return static_cast<int>(std::count_if(aWorlds.begin(), aWorlds.end(), aHolds));
}

// Evaluates a residual, which is in M syntax, by the library.
bool holdsIn(const std::string& aText, const World& aWorld) {
  KS::SymbolicExprTable table;
  const KS::SymbolicExprId id = KS::SymbolicExprParser(table, false)(aText.empty() ? "1" : aText);
  KS::SymbolicExprBindings bindings(table);
  bindings.set("A", aWorld.A);
  bindings.set("B", aWorld.B);
  bindings.set("M", aWorld.M);
  bindings.set("N", aWorld.N);
  bindings.set("C", aWorld.C);
  for (int i = 0; i < 3; ++i) bindings.set(colours[static_cast<std::size_t>(i)], i);
  return KS::SymbolicExprEval(table).eval(id, bindings)[0] != 0;
}

TEST_F(KsExprEnumeration, Active) {
  for (unsigned seed = 0; seed < numModels; ++seed) {
    ModelMaker maker(seed);
    const SmallModel model = maker.model();
    write(model.text());
    const std::vector<World> worlds = model.worlds();
    const World& chosen = worlds[static_cast<std::size_t>(maker.below(int(worlds.size())))];
    const json given = someValues(chosen, maker, 2);
    SCOPED_TRACE(model.text() + " with " + given.dump());
    Names names;
    for (const auto& [name, value] : given.items()) names.insert(name);
    const std::vector<World> left = worldsWith(worlds, given);
    const json answer = ask({"active", "model.json"}, definitions(given));
    ASSERT_EQ(answer.size(), model.blocks.size());
    for (std::size_t i = 0; i < answer.size(); ++i) {
      const int on = countWorlds(worlds, [&](const World& w) { return model.isOn(i, w); });
      std::optional<bool> isOn = model.isKnownOn(i, chosen, names);
      if (!isOn && (on == 0 || on == int(worlds.size()))) isOn = on > 0;
      EXPECT_EQ(answer[i]["block"], model.blocks[i].id);
      EXPECT_EQ(answer[i]["state"], !isOn   ? "open"
                                    : *isOn ? "active"
                                            : "inactive")
          << model.blocks[i].id;
      const std::string residual = answer[i]["residual"];
      for (const World& w : left) {
        EXPECT_EQ(holdsIn(residual, w), model.isOn(i, w)) << residual;
      }
      if (isOn) {
        EXPECT_EQ(residual, *isOn ? "" : "false");
      }
    }
  }
}

// The fewest of these conditions that no world meets together.
std::size_t fewestExcluding(const std::vector<Condition>& aConditions,
                            const std::vector<World>& aWorlds) {
  std::size_t fewest = aConditions.size() + 1;
  for (unsigned set = 0; set < (1U << aConditions.size()); ++set) {
    std::size_t size = 0;
    for (unsigned rest = set; rest != 0; rest >>= 1) size += rest & 1;
    const bool isPossible = std::any_of(aWorlds.begin(), aWorlds.end(), [&](const World& world) {
      for (std::size_t i = 0; i < aConditions.size(); ++i) {
        if ((set >> i & 1) != 0 && !aConditions[i].holds(world)) return false;
      }
      return true;
    });
    if (!isPossible) fewest = std::min(fewest, size);
  }
  return fewest;
}

bool excludeEachOther(const SmallModel& aModel, const json& aConditions,
                      const std::vector<World>& aWorlds) {
  return std::none_of(aWorlds.begin(), aWorlds.end(), [&](const World& world) {
    return std::all_of(aConditions.begin(), aConditions.end(), [&](const json& entry) {
      return aModel.blocks[aModel.indexOf(entry["block"])].condition.holds(world);
    });
  });
}

void expectWhy(const SmallModel& aModel, std::size_t aBlock, const json& aGiven,
               const json& aAnswer) {
  const std::vector<World> worlds = aModel.worlds();
  const std::vector<World> left = worldsWith(worlds, aGiven);
  const auto isOn = [&](const World& w) { return aModel.isOn(aBlock, w); };
  const int on = countWorlds(left, isOn);
  const bool isNever = countWorlds(worlds, isOn) == 0;
  EXPECT_EQ(aAnswer["state"], isNever                  ? "never"
                              : on == 0                ? "inactive"
                              : on == int(left.size()) ? "active"
                                                       : "open");
  const std::vector<std::size_t> path = aModel.path(aBlock);
  ASSERT_EQ(aAnswer["path"].size(), path.size());
  std::vector<Condition> conditions;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const json& step = aAnswer["path"][i];
    const Condition& condition = aModel.blocks[path[i]].condition;
    conditions.push_back(condition);
    EXPECT_EQ(step["block"], aModel.blocks[path[i]].id);
    EXPECT_EQ(step["fails"].empty(), step["value"] != false);
    if (step["value"].is_null()) continue;
    for (const World& w : left) EXPECT_EQ(condition.holds(w), step["value"] == true);
    for (const json& operand : step["fails"]) {
      for (const World& w : left) EXPECT_FALSE(holdsIn(operand, w));
    }
  }
  if (isNever) {
    EXPECT_EQ(aAnswer["contradiction"].size(), fewestExcluding(conditions, worlds));
    EXPECT_TRUE(excludeEachOther(aModel, aAnswer["contradiction"], worlds));
    EXPECT_EQ(aAnswer["contradictionProven"], true);
  } else {
    EXPECT_EQ(aAnswer["contradiction"], json::array());
  }
  if (isNever || on > 0) {
    EXPECT_EQ(aAnswer["change"], nullptr);
    return;
  }
  std::size_t fewest = aGiven.size() + 1;
  for (const World& world : worlds) {
    if (!isOn(world)) continue;
    std::size_t changes = 0;
    for (const auto& [name, value] : aGiven.items()) changes += valueIn(world, name) != value;
    fewest = std::min(fewest, changes);
  }
  EXPECT_EQ(aAnswer["change"].size(), fewest);
  EXPECT_EQ(aAnswer["changeProven"], true);
  json changed = aGiven;
  changed.update(aAnswer["change"]);
  changed.update(aAnswer["chosen"]);
  for (const auto& [name, value] : aAnswer["change"].items()) EXPECT_NE(aGiven[name], value);
  const std::vector<World> after = worldsWith(worlds, changed);
  EXPECT_FALSE(after.empty());
  for (const World& world : after) EXPECT_TRUE(isOn(world));
}

TEST_F(KsExprEnumeration, Why) {
  for (unsigned seed = 0; seed < 2 * numModels; ++seed) {
    ModelMaker maker(seed);
    const SmallModel model = maker.model();
    write(model.text());
    // The values may break the constraints.
    const std::vector<World> worlds = allWorlds();
    const json given =
        someValues(worlds[static_cast<std::size_t>(maker.below(int(worlds.size())))], maker, 5);
    const std::size_t block = model.blocks.size() - 1;
    SCOPED_TRACE(model.text() + " with " + given.dump());
    const json answer =
        ask({"why", "model.json", "--block", model.blocks[block].id}, definitions(given));
    if (!answer.is_null()) expectWhy(model, block, given, answer);
  }
}

using Found = std::set<std::string>;

TEST_F(KsExprEnumeration, Check) {
  for (unsigned seed = 0; seed < numModels; ++seed) {
    ModelMaker maker(seed);
    const SmallModel model = maker.model();
    write(model.text());
    SCOPED_TRACE(model.text());
    const std::vector<World> worlds = model.worlds();
    std::map<std::string, Found> expected;
    const auto mayBe = [&](const auto& holds) { return countWorlds(worlds, holds) > 0; };
    for (std::size_t i = 0; i < model.blocks.size(); ++i) {
      const SmallBlock& block = model.blocks[i];
      const auto isOn = [&](const World& w) { return model.isOn(i, w); };
      const auto isAboveOn = [&](const World& w) {
        return block.parent < 0 || model.isOn(static_cast<std::size_t>(block.parent), w);
      };
      if (!mayBe(isOn)) expected["never"].insert(block.id);
      if (block.condition.text.empty()) continue;
      if (countWorlds(worlds, isOn) == int(worlds.size())) expected["always"].insert(block.id);
      const bool canFail =
          mayBe([&](const World& w) { return isAboveOn(w) && !block.condition.holds(w); });
      if (!canFail && mayBe(isAboveOn)) expected["implied"].insert(block.id);
    }
    for (std::size_t i = 0; i < model.blocks.size(); ++i) {
      std::vector<std::size_t> children;
      for (std::size_t k = 0; k < model.blocks.size(); ++k) {
        if (model.blocks[k].parent == int(i)) children.push_back(k);
      }
      for (const std::size_t a : children) {
        for (const std::size_t b : children) {
          const auto areOn = [&](const World& w) { return model.isOn(a, w) && model.isOn(b, w); };
          if (a < b && mayBe(areOn)) {
            expected["overlap"].insert(model.blocks[a].id + " " + model.blocks[b].id);
          }
        }
      }
      const bool hasGap = mayBe([&](const World& w) {
        return model.isOn(i, w) && std::none_of(children.begin(), children.end(),
                                                [&](std::size_t k) { return model.isOn(k, w); });
      });
      if (!children.empty() && hasGap) expected["gap"].insert(model.blocks[i].id);
    }

    std::map<std::string, Found> found;
    for (const json& entry : ask({"check", "model.json", "--variants", "all"})) {
      const std::string verdict = entry["verdict"];
      const std::size_t block = model.indexOf(entry["block"]);
      std::string name = entry["block"];
      if (entry.contains("witness")) {
        for (const World& w : worldsWith(worlds, entry["witness"])) {
          for (const json& child : entry["children"]) {
            EXPECT_EQ(model.isOn(model.indexOf(child), w), verdict == "overlap");
          }
          EXPECT_TRUE(model.isOn(block, w));
        }
        EXPECT_FALSE(worldsWith(worlds, entry["witness"]).empty());
        if (verdict == "overlap") {
          name = entry["children"][0].get<std::string>() + " " +
                 entry["children"][1].get<std::string>();
        }
      }
      EXPECT_TRUE(found[verdict].insert(name).second) << verdict << ' ' << name;
      const int parent = model.blocks[block].parent;
      if (verdict == "never") {
        const bool isAboveNever =
            parent >= 0 && expected["never"].count(model.blocks[std::size_t(parent)].id) > 0;
        EXPECT_EQ(entry["inherited"], isAboveNever);
        EXPECT_TRUE(excludeEachOther(model, entry["because"], worlds));
        if (isAboveNever) continue;
        std::vector<Condition> conditions;
        for (const std::size_t i : model.path(block)) {
          conditions.push_back(model.blocks[i].condition);
        }
        EXPECT_EQ(entry["because"].size(), fewestExcluding(conditions, worlds));
      } else if (verdict == "implied") {
        for (const World& w : worlds) {
          const bool isBecause = std::all_of(
              entry["because"].begin(), entry["because"].end(), [&](const json& reason) {
                return model.blocks[model.indexOf(reason["block"])].condition.holds(w);
              });
          EXPECT_TRUE(!isBecause || model.blocks[block].condition.holds(w));
        }
      }
    }
    EXPECT_EQ(found, expected);
  }
}

TEST_F(KsExprEnumeration, Diff) {
  for (unsigned seed = 0; seed < numModels; ++seed) {
    ModelMaker maker(seed);
    SmallModel older = maker.model();
    SmallModel newer = older;
    for (SmallBlock& block : newer.blocks) {
      if (maker.below(3) == 0) block.condition = maker.condition(2);
      if (maker.below(4) == 0 && !block.condition.text.empty()) {
        block.condition.text = "(" + block.condition.text + ") && true";
      }
    }
    if (maker.below(3) == 0) newer.constraints.push_back(maker.condition(1));
    if (newer.worlds().empty()) continue;
    write(older.text());
    std::ofstream("new.json") << newer.text();
    SCOPED_TRACE(older.text() + "\n" + newer.text());
    const std::vector<World> worlds = newer.worlds();
    std::map<std::string, Found> expected;
    for (std::size_t i = 0; i < newer.blocks.size(); ++i) {
      const std::string& id = newer.blocks[i].id;
      const int differing =
          countWorlds(worlds, [&](const World& w) { return newer.isOn(i, w) != older.isOn(i, w); });
      const auto wasOn = [&](const World& w) { return older.isOn(i, w); };
      const auto isOn = [&](const World& w) { return newer.isOn(i, w); };
      const bool isNewlyNever =
          countWorlds(worlds, isOn) == 0 && countWorlds(older.worlds(), wasOn) > 0;
      const bool isRespelled = newer.blocks[i].condition.text != older.blocks[i].condition.text;
      if (isNewlyNever) expected["newly never"].insert(id);
      if (differing > 0 || isNewlyNever) {
        expected["condition"].insert(id);
      } else if (isRespelled) {
        expected["spelling"].insert(id);
      }
    }
    std::map<std::string, Found> found;
    std::set<std::string> own;
    for (const json& entry : ask({"diff", "model.json", "new.json"})) {
      found[entry["change"]].insert(entry["block"]);
      if (entry["newlyNever"] == true) {
        found["newly never"].insert(entry["block"]);
        EXPECT_EQ(entry["new"], "false");
      }
      const std::size_t block = newer.indexOf(entry["block"]);
      if (entry["change"] == "condition") {
        const bool isByDomain = entry["own"] == false && entry["from"].is_null();
        const auto with = worldsWith(isByDomain ? older.worlds() : worlds, entry["witness"]);
        EXPECT_FALSE(with.empty());
        for (const World& w : with) {
          EXPECT_TRUE(isByDomain ? older.isOn(block, w)
                                 : newer.isOn(block, w) != older.isOn(block, w))
              << entry.dump();
        }
        if (!entry["from"].is_null()) {
          EXPECT_EQ(entry["own"], false);
          EXPECT_EQ(own.count(entry["from"]), 1U);
          const int parent = newer.blocks[block].parent;
          ASSERT_GE(parent, 0);
        } else if (!isByDomain) {
          own.insert(entry["block"]);
          EXPECT_NE(newer.blocks[block].condition.text, older.blocks[block].condition.text);
        }
      }
    }
    EXPECT_EQ(found, expected);
  }
}

TEST_F(KsExprEnumeration, Cover) {
  for (unsigned seed = 0; seed < numModels; ++seed) {
    ModelMaker maker(seed);
    const SmallModel model = maker.model();
    write(model.text());
    SCOPED_TRACE(model.text());
    const std::vector<World> worlds = model.worlds();
    const json answer = ask({"cover", "model.json"});
    // By world: what is on and what is off, as bits.
    const auto metBy = [&](const World& w) {
      unsigned met = 0;
      for (std::size_t i = 0; i < model.blocks.size(); ++i) met |= 1U << (2 * i + model.isOn(i, w));
      return met;
    };
    std::set<unsigned> kinds;
    unsigned all = 0;
    for (const World& w : worlds) all |= *kinds.insert(metBy(w)).first;
    unsigned met = 0;
    for (const json& configuration : answer["configurations"]) {
      const auto with = worldsWith(worlds, configuration);
      ASSERT_FALSE(with.empty()) << configuration;
      for (const World& w : with) EXPECT_EQ(metBy(w), metBy(with[0]));
      met |= metBy(with[0]);
    }
    EXPECT_EQ(met, all);
    EXPECT_EQ(answer["unknown"], json::array());
    for (std::size_t i = 0; i < model.blocks.size(); ++i) {
      const unsigned can = all >> (2 * i) & 3;
      const auto has = [&](const char* list) {
        return std::count(answer[list].begin(), answer[list].end(), json(model.blocks[i].id)) > 0;
      };
      EXPECT_EQ(has("never"), can == 1);
      EXPECT_EQ(has("always"), can == 2);
    }
    // No fewer than the bound do.
    const std::size_t bound = answer["lowerBound"];
    EXPECT_GE(bound, 1U);
    EXPECT_LE(bound, answer["configurations"].size());
    std::set<unsigned> reached{0};
    for (std::size_t size = 1; size < bound; ++size) {
      std::set<unsigned> next;
      for (const unsigned some : reached) {
        for (const unsigned kind : kinds) next.insert(some | kind);
      }
      reached = next;
      EXPECT_EQ(reached.count(all), 0U) << size << " are enough";
    }
  }
}

}  // namespace
