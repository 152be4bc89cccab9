// Random models so small that all values of their variables can be tried.
#pragma once

#include <array>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/tool/ModelFile.hpp"

/// Values of all variables of the small models. `C` is 0 for red, 1 for green, 2 for blue.
struct World {
  bool A, B;
  int M, N, C;
};

inline constexpr std::array<const char*, 5> worldNames{"A", "B", "M", "N", "C"};
inline const std::array<const char*, 3> colours{"red", "green", "blue"};

/// The value of a variable as JSON has it.
inline nlohmann::json valueIn(const World& aWorld, const std::string& aName) {
  if (aName == "A") return aWorld.A;
  if (aName == "B") return aWorld.B;
  if (aName == "C") return colours[static_cast<std::size_t>(aWorld.C)];
  return aName == "M" ? aWorld.M : aWorld.N;
}

inline std::vector<World> allWorlds() {
  std::vector<World> worlds;
  for (const bool a : {false, true}) {
    for (const bool b : {false, true}) {
      for (const int m : {0, 1, 3}) {
        for (const int n : {0, 1, 2}) {
          for (const int c : {0, 1, 2}) worlds.push_back({a, b, m, n, c});
        }
      }
    }
  }
  return worlds;
}

/// The names of variables that have values.
using Names = std::set<std::string>;

/// A condition as text, and what it means: whether it holds in a world, and what evaluation knows
/// of that where only some variables have values.
struct Condition {
  std::string text;
  std::function<bool(const World&)> holds = [](const World&) { return true; };
  std::function<std::optional<bool>(const World&, const Names&)> known =
      [](const World&, const Names&) { return true; };
};

struct SmallBlock {
  std::string id;
  int parent;  // -1 for none
  Condition condition;
};

struct SmallModel {
  std::vector<SmallBlock> blocks;
  std::vector<Condition> constraints;

  /// The worlds that domains and constraints allow.
  std::vector<World> worlds() const {
    std::vector<World> found;
    for (const World& world : allWorlds()) {
      bool isAllowed = true;
      for (const Condition& constraint : constraints) {
        isAllowed = isAllowed && constraint.holds(world);
      }
      if (isAllowed) found.push_back(world);
    }
    return found;
  }

  /// What evaluation knows of whether a block is on: nothing where no condition fails and one is
  /// not known.
  std::optional<bool> isKnownOn(std::size_t aBlock, const World& aWorld,
                                const Names& aGiven) const {
    std::optional<bool> state = true;
    for (const std::size_t block : path(aBlock)) {
      const std::optional<bool> known = blocks[block].condition.known(aWorld, aGiven);
      if (known == false) return false;
      if (!known.has_value()) state.reset();
    }
    return state;
  }

  bool isOn(std::size_t aBlock, const World& aWorld) const {
    for (int block = static_cast<int>(aBlock); block >= 0;) {
      const SmallBlock& found = blocks[static_cast<std::size_t>(block)];
      if (!found.condition.holds(aWorld)) return false;
      block = found.parent;
    }
    return true;
  }

  /// The blocks from the top down to this one.
  std::vector<std::size_t> path(std::size_t aBlock) const {
    std::vector<std::size_t> found;
    for (int block = static_cast<int>(aBlock); block >= 0;
         block = blocks[static_cast<std::size_t>(block)].parent) {
      found.insert(found.begin(), static_cast<std::size_t>(block));
    }
    return found;
  }

  std::size_t indexOf(const std::string& aId) const {
    return static_cast<std::size_t>(std::stoi(aId.substr(1)));
  }

  std::string text() const {
    nlohmann::json json;
    for (const SmallBlock& block : blocks) {
      nlohmann::json entry{{"id", block.id}, {"parent", nullptr}, {"VV", block.condition.text}};
      if (block.parent >= 0) entry["parent"] = blocks[static_cast<std::size_t>(block.parent)].id;
      json["blocks"].push_back(entry);
    }
    json["variables"] = nlohmann::json::parse(R"({"A": {"boolean": true},
        "M": {"values": [0, 1, 3]}, "N": {"integer": true, "min": 0, "max": 2},
        "C": {"values": ["red", "green", "blue"]}})");
    json["constraints"] = nlohmann::json::array();
    for (const Condition& constraint : constraints) json["constraints"].push_back(constraint.text);
    return json.dump();
  }
};

/// Makes models at random.
class ModelMaker {
 public:
  explicit ModelMaker(unsigned aSeed) : random(aSeed) {}

  int below(int aCount) { return static_cast<int>(random() % static_cast<unsigned>(aCount)); }

  Condition condition(int aDepth) {
    if (aDepth == 0 || below(4) == 0) return atom();
    const Condition left = condition(aDepth - 1);
    if (below(6) == 0) {
      return {"~(" + left.text + ")", [left](const World& w) { return !left.holds(w); },
              [left](const World& w, const Names& given) -> std::optional<bool> {
                const std::optional<bool> known = left.known(w, given);
                return known ? std::optional<bool>(!*known) : known;
              }};
    }
    const Condition right = condition(aDepth - 1);
    if (below(2) == 0) {
      return {"(" + left.text + ") && (" + right.text + ")",
              [left, right](const World& w) { return left.holds(w) && right.holds(w); },
              decidedBy(false, left, right)};
    }
    return {"(" + left.text + ") || (" + right.text + ")",
            [left, right](const World& w) { return left.holds(w) || right.holds(w); },
            decidedBy(true, left, right)};
  }

  SmallModel model() {
    SmallModel made;
    const int count = 4 + below(4);
    for (int i = 0; i < count; ++i) {
      const int parent = i == 0 ? -1 : below(i + 1) - 1;
      made.blocks.push_back({"b" + std::to_string(i), parent, {}});
      if (below(5) > 0) made.blocks.back().condition = condition(2);
    }
    for (int i = below(3); i > 0; --i) made.constraints.push_back(condition(1));
    if (made.worlds().empty()) made.constraints.clear();
    return made;
  }

 private:
  // A connective that one operand decides where it is `aDeciding`.
  static decltype(Condition::known) decidedBy(bool aDeciding, const Condition& aLeft,
                                              const Condition& aRight) {
    return [=](const World& w, const Names& given) -> std::optional<bool> {
      const std::optional<bool> left = aLeft.known(w, given), right = aRight.known(w, given);
      if (left == aDeciding || right == aDeciding) return aDeciding;
      return left && right ? std::optional<bool>(!aDeciding) : std::nullopt;
    };
  }

  // A condition over variables all of which need values.
  static Condition over(const Names& aNames, const std::string& aText,
                        const std::function<bool(const World&)>& aHolds) {
    return {aText, aHolds, [=](const World& w, const Names& given) -> std::optional<bool> {
              for (const std::string& name : aNames) {
                if (given.count(name) == 0) return std::nullopt;
              }
              return aHolds(w);
            }};
  }

  Condition atom() {
    const int k = below(4);
    const std::string number = std::to_string(k);
    const int c = below(3);
    const std::string colour = colours[static_cast<std::size_t>(c)];
    switch (below(9)) {
      case 0: return over({"A"}, "A", [](const World& w) { return w.A; });
      case 1: return over({"B"}, "~B", [](const World& w) { return !w.B; });
      case 2: return over({"B"}, "B", [](const World& w) { return w.B; });
      case 3: return over({"M"}, "M == " + number, [k](const World& w) { return w.M == k; });
      case 4: return over({"N"}, "N >= " + number, [k](const World& w) { return w.N >= k; });
      case 5: return over({"M", "N"}, "M < N", [](const World& w) { return w.M < w.N; });
      case 6: return over({"M", "N"}, "N ~= M", [](const World& w) { return w.N != w.M; });
      case 7: return over({"C"}, "C == " + colour, [c](const World& w) { return w.C == c; });
      default: return over({"C"}, "C ~= " + colour, [c](const World& w) { return w.C != c; });
    }
  }

  std::mt19937 random;
};
