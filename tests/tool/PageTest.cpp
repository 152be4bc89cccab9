// The page of "report", opened in a browser: its states are those of the library, and what it shows
// is what was meant.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "tests/tool/ModelFile.hpp"
#include "tests/tool/SmallModels.hpp"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Values by name, as the command line has them: "NAME=VALUE".
using Values = std::vector<std::string>;

std::string contentOf(const std::string& aPath) {
  std::ifstream file(aPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool hasBrowser() { return std::system("command -v chromium >/dev/null") == 0; }

// A text as part of an address.
std::string escaped(const std::string& aText) {
  std::string text;
  for (const char c : aText) {
    const bool isPlain = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_';
    char code[4];
    std::snprintf(code, sizeof code, "%%%02X",
                  static_cast<unsigned>(static_cast<unsigned char>(c)));
    text += isPlain ? std::string(1, c) : code;
  }
  return text;
}

std::string addressOf(const Values& aValues) {
  std::string address = "#";
  for (const std::string& value : aValues) {
    const std::size_t equals = value.find('=');
    address += (address.size() > 1 ? "&" : "") + escaped(value.substr(0, equals)) + '=' +
               escaped(value.substr(equals + 1));
  }
  return address;
}

class KsExprPage : public ModelFile {
 protected:
  // The page's document after its scripts have run, as text.
  static std::string opened(const std::string& aPage, const std::string& aAddress) {
    const std::string command =
        "timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage "
        "--user-data-dir=profile --virtual-time-budget=60000 --window-size=1400,900 "
        "--dump-dom 'file://'\"$PWD\"'/" +
        aPage + aAddress + "' >dom 2>browser";
    EXPECT_EQ(std::system(command.c_str()), 0) << contentOf("browser");
    return contentOf("dom");
  }

  // What a script makes of a page: its last expression, or what that promises, as JSON.
  static json evaluated(const std::string& aScript, const std::string& aAddress = "") {
    std::string page = contentOf("page.html");
    page.insert(page.rfind("</body>"),
                "<script>(async () => { const found = await (async () => {" + aScript +
                    "})(); document.documentElement.dataset.found = "
                    "encodeURIComponent(JSON.stringify(found)); })();</script>");
    std::ofstream("asked.html", std::ios::binary) << page;
    const std::string dom = opened("asked.html", aAddress);
    const std::string mark = "data-found=\"";
    const std::size_t begin = dom.find(mark);
    if (begin == std::string::npos) {
      ADD_FAILURE() << "the script has failed: " << contentOf("browser");
      return nullptr;
    }
    std::string text;
    for (std::size_t i = begin + mark.size(); dom[i] != '"'; ++i) {
      if (dom[i] == '%') {
        text += static_cast<char>(std::stoi(dom.substr(i + 1, 2), nullptr, 16));
        i += 2;
      } else {
        text += dom[i];
      }
    }
    return json::parse(text);
  }

  static void report(const std::string& aModel) {
    const Outcome made = run({"report", aModel, "-o", "page.html"});
    ASSERT_EQ(made.status, 0) << made.err;
  }

  // The states on the page, a letter for each block, for one set of values after another.
  static std::vector<std::string> statesOnPage(const std::vector<Values>& aValues) {
    json addresses = json::array();
    for (const Values& values : aValues) addresses.push_back(addressOf(values));
    const std::string script = "const found = []; for (const address of " + addresses.dump() +
                               R"() {
      if ((location.hash || "#") !== address) {
        const change = new Promise((done) => addEventListener("hashchange", done, { once: true }));
        location.hash = address;
        await change;
      }
      found.push([document.documentElement.dataset.states,
                  [...document.querySelectorAll(".problem")].map((each) => each.textContent)]);
    }
    return found;)";
    std::vector<std::string> states;
    for (const json& entry : evaluated(script)) {
      EXPECT_EQ(entry[1], json::array());
      states.push_back(entry[0]);
    }
    return states;
  }

  // Compares the states on the page with those of "active".
  static void compare(const std::string& aModel, const std::vector<Values>& aValues) {
    report(aModel);
    const std::vector<std::string> onPage = statesOnPage(aValues);
    ASSERT_EQ(onPage.size(), aValues.size());
    for (std::size_t i = 0; i < aValues.size(); ++i) {
      SCOPED_TRACE(addressOf(aValues[i]));
      EXPECT_EQ(onPage[i], activeStates(aModel, aValues[i]));
    }
  }

  static std::string activeStates(const std::string& aModel, const Values& aValues) {
    std::vector<std::string> arguments{"active", aModel, "--format", "json"};
    for (const std::string& value : aValues) arguments.insert(arguments.end(), {"-D", value});
    const Outcome found = run(arguments);
    std::string states;
    for (const json& entry : json::parse(found.out)) {
      states += entry["state"].is_null() ? '?' : entry["state"].get<std::string>()[0];
    }
    return states;
  }
};

#define REQUIRE_BROWSER() \
  if (!hasBrowser()) GTEST_SKIP() << "no chromium (Debian package chromium)"

TEST_F(KsExprPage, StatesFollowTheAddress) {
  REQUIRE_BROWSER();
  report(KSEXPR_SAMPLE);
  const Values values{"Mains=1", "Power=10", "Stages=2"};
  const std::string dom = opened("page.html", addressOf(values));
  EXPECT_THAT(dom, HasSubstr("data-states=\"" + activeStates(KSEXPR_SAMPLE, values) + '"'));
  compare(KSEXPR_SAMPLE,
          {{},
           {"Mains=3", "Power=90"},
           {"Mains=0", "Power=0", "Site.remote=true", "Stages=4"},
           {"Inverter=true", "Mode=2", "Range.low=-0.5", "Hours=24"},
           {"Mode=0", "Hours=168", "Options=3", "Tank=false", "Basin=false", "Metering=2"},
           {"Link=2", "Memory=4096", "Site.remote=true", "Standby=false", "RampTime=0.000000001"}});
}

TEST_F(KsExprPage, StatesOfSmallModels) {
  REQUIRE_BROWSER();
  ModelMaker maker(7);
  json blocks = json::array();
  json model;
  // Many small models are one: their trees stand beside each other.
  for (int number = 0; number < 40; ++number) {
    model = json::parse(maker.model().text());
    for (json block : model["blocks"]) {
      const std::string prefix = std::to_string(number) + "/";
      block["id"] = prefix + block["id"].get<std::string>();
      if (!block["parent"].is_null()) block["parent"] = prefix + block["parent"].get<std::string>();
      blocks.push_back(block);
    }
  }
  model["blocks"] = blocks;
  model["constraints"] = json::array();
  write(model.dump());
  std::vector<Values> asked;
  const std::vector<World> worlds = allWorlds();
  for (int i = 0; i < 60; ++i) {
    const World& world =
        worlds[static_cast<std::size_t>(maker.below(static_cast<int>(worlds.size())))];
    Values values;
    for (const char* const name : worldNames) {
      const json value = valueIn(world, name);
      const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
      // Some sets are complete.
      if (i % 4 == 0 || maker.below(3) > 0) values.push_back(std::string(name) + '=' + text);
    }
    asked.push_back(values);
  }
  compare("model.json", asked);
}

// Expressions of all operators on numbers, members, calls and lists.
class Arithmetic {
 public:
  std::string condition(int aDepth) {
    if (aDepth == 0 || below(5) == 0) {
      return number(2) + pick({" == ", " ~= ", " < ", " <= ", " > ", " >= "}) + number(2);
    }
    if (below(6) == 0) return "~(" + condition(aDepth - 1) + ')';
    if (below(9) == 0) return number(2);
    return '(' + condition(aDepth - 1) + pick({" && ", " || "}) + condition(aDepth - 1) + ')';
  }

  int below(int aCount) { return static_cast<int>(random() % static_cast<unsigned>(aCount)); }
  std::string pick(const std::vector<std::string>& aTexts) {
    return aTexts[static_cast<std::size_t>(below(static_cast<int>(aTexts.size())))];
  }

 private:
  std::string number(int aDepth) {
    if (aDepth == 0 || below(4) == 0) {
      return pick({"I", "J", "X", "Y", "S.m", "f(I)", "B", "true", "0", "1", "3", "-1", "31", "0.1",
                   "0.3", "2.5", "2147483647", "1e300", "0.00000001"});
    }
    switch (below(7)) {
      case 0:
        return pick({"bitand", "bitor", "bitxor", "bitshift", "idivide", "rem"}) + '(' +
               number(aDepth - 1) + ", " + number(aDepth - 1) + ')';
      case 1: return "-(" + number(aDepth - 1) + ')';
      case 2: return below(4) > 0 ? number(aDepth - 1) : '[' + number(aDepth - 1) + ", I]";
      default:
        return '(' + number(aDepth - 1) + pick({" + ", " - ", "*", "/"}) + number(aDepth - 1) + ')';
    }
  }

  std::mt19937 random{11};
};

TEST_F(KsExprPage, NumbersMeanWhatTheyMeanInEvaluation) {
  REQUIRE_BROWSER();
  Arithmetic maker;
  std::vector<std::string> blocks;
  for (int i = 0; i < 600; ++i) {
    const std::string parent = i % 3 == 0 ? "null" : "\"b" + std::to_string(i - 1) + '"';
    blocks.push_back(
        blockOf("b" + std::to_string(i), parent, ", \"VV\": \"" + maker.condition(2) + '"'));
  }
  write(modelOf(blocks));
  std::vector<Values> asked;
  const std::vector<std::string> numbers{
      "0",     "1",          "-1",  "7",          "-8",          "0.3",          "-2.5",
      "0.1",   "31",         "32",  "2147483647", "-2147483647", "2147483648.0", "4294967296.0",
      "1e300", "0.00000001", "-0.0"};
  for (int i = 0; i < 40; ++i) {
    Values values;
    for (const char* const name : {"I", "J", "X", "Y", "S.m", "f(I)", "B"}) {
      if (i % 3 > 0 || maker.below(3) > 0) {
        values.push_back(std::string(name) + '=' + maker.pick(numbers));
      }
    }
    asked.push_back(values);
  }
  compare("model.json", asked);
}

TEST_F(KsExprPage, LargeModelsOpenSoon) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the page is the same without sanitizers";
#endif
  REQUIRE_BROWSER();
  const char* const path = std::getenv("KSEXPR_MODEL");
  std::string model = path == nullptr ? "model.json" : path;
  if (path == nullptr) {
    std::vector<std::string> blocks;
    for (int i = 0; i < 12000; ++i) {
      const std::string condition = "V" + std::to_string(i % 900) + " && V" +
                                    std::to_string(i % 7) + " || N" + std::to_string(i % 50) +
                                    " > " + std::to_string(i % 11);
      const std::string parent = i < 20 ? "null" : "\"block" + std::to_string((i - 20) / 3) + '"';
      blocks.push_back(
          blockOf("block" + std::to_string(i), parent, ", \"VV\": \"" + condition + '"'));
    }
    write(modelOf(blocks));
  }
  const json variables = json::parse(run({"vars", model, "--format", "json"}).out);
  std::mt19937 random(3);
  std::vector<Values> asked(3);
  for (Values& values : asked) {
    for (const json& variable : variables) {
      const bool isSet = random() % 3 == 0 && variable["domain"].is_null();
      if (isSet)
        values.push_back(variable["name"].get<std::string>() + '=' +
                         (random() % 2 == 0 ? '0' : '1'));
    }
  }
  compare(model, asked);
  // Only the rows in sight are made, so that opening does not depend on how many there are.
  const json found = evaluated(R"(
    foldAll(false);
    const size = () => document.getElementsByTagName("*").length;
    const early = size();
    byId("tree").scrollTop = 1e9;
    showRows();
    const last = byId("rows").lastElementChild.id;
    return [early, size(), last === `block-${view.rows.at(-1)}`, view.rows.length];)");
  EXPECT_LT(found[0], 3000);
  EXPECT_LT(found[1], 3000);
  EXPECT_EQ(found[2], true);
  EXPECT_GE(found[3], 12000);
}

TEST_F(KsExprPage, AnyTextIsShownAsItIs) {
  REQUIRE_BROWSER();
  const std::vector<std::string> ids{"</script><script>document.title='gone'</script>",
                                     "<!--<script>",
                                     "<img src=x onerror=document.title='gone'>",
                                     "a\u2028b\u2029c",
                                     "\"quoted\" 'too' \\ &amp; `${1}`",
                                     "{}",
                                     "/* script */",
                                     "\"DATA\"",
                                     "héllo 木 😀"};
  json model{{"blocks", json::array()}};
  for (const std::string& id : ids) model["blocks"].push_back({{"id", id}, {"parent", nullptr}});
  write(model.dump());
  report("model.json");
  const json found = evaluated(R"(
    return [[...document.querySelectorAll(".row .id")].map((each) => each.textContent),
            document.title, document.images.length, document.scripts.length,
            performance.getEntriesByType("resource").length];)");
  EXPECT_EQ(found[0], json(ids));
  EXPECT_EQ(found[1], "model.json");
  EXPECT_EQ(found[2], 0);
  EXPECT_EQ(found[3], 3);  // the data, the page's script, this one
  EXPECT_EQ(found[4], 0);
}

TEST_F(KsExprPage, SaysWhy) {
  REQUIRE_BROWSER();
  report(KSEXPR_SAMPLE);
  const std::string script = R"(
    const found = {};
    const clean = (text) => text.replace(/\s+/g, " ").trim();
    for (const id of ["Generator", "Transformer", "Ramp", "StarDelta", "Station", "Pump2"]) {
      choose(model.ids.indexOf(id));
      found[id] = {
        reason: clean(document.querySelector(".reason").textContent),
        first: [...document.querySelectorAll(".step.first strong, .step.first .link")].map((each) => each.textContent),
        parts: [...document.querySelectorAll(".parts")].map((each) => clean(each.textContent)),
        path: document.querySelectorAll(".step").length,
        net: document.querySelector(".net-text").textContent,
      };
    }
    return found;)";
  const json found = evaluated(script, "#Mains=1&Power=5&Stages=2");
  EXPECT_EQ(found["Generator"], json::parse(R"({"reason": "Its own condition fails.",
      "first": ["Generator"], "parts": ["fails: Power >= 8"], "path": 3,
      "net": "(Mains == 1 || Mains == 3) && Power >= 8 && Site.remote"})"));
  EXPECT_EQ(found["Transformer"]["parts"], json({"fail: Mains == 3, Power > 20"}));
  EXPECT_EQ(found["Ramp"]["reason"], "It depends on Inverter, RampTime.");
  EXPECT_EQ(found["StarDelta"]["reason"],
            "It can never be on, because these conditions exclude each other: Inverter (Drive) and "
            "~Inverter && Power > 5 (StarDelta).");
  EXPECT_EQ(found["StarDelta"]["net"], "false");
  EXPECT_EQ(found["Station"]["reason"], "There is no condition on its path.");
  EXPECT_EQ(found["Pump2"]["reason"], "All conditions on its path hold.");
  const json off = evaluated(script, "#Stages=0");
  EXPECT_EQ(off["Ramp"]["reason"], "The condition of Pumps fails, which encloses it.");
  EXPECT_EQ(off["Ramp"]["first"], json({"Pumps"}));
}

TEST_F(KsExprPage, KeysMoveAndFind) {
  REQUIRE_BROWSER();
  report(KSEXPR_SAMPLE);
  const json found = evaluated(R"(
    const tree = byId("tree");
    const found = [];
    const press = (key, target = tree) =>
      target.dispatchEvent(new KeyboardEvent("keydown", { key, bubbles: true, cancelable: true }));
    const note = (...keys) => {
      for (const key of keys) press(key);
      found.push(document.getElementById(tree.getAttribute("aria-activedescendant")).querySelector(".id").textContent);
    };
    note("ArrowDown");
    note("ArrowDown", "ArrowDown");
    note("ArrowLeft");                 // to what encloses it
    note("ArrowLeft", "ArrowDown");    // folded: to its next sibling
    note("ArrowUp", "Enter", "ArrowRight");
    note("End");
    note("PageUp", "Home");
    press("/", document.body);
    found.push(document.activeElement.id);
    byId("search").value = "mode < 2";
    byId("search").dispatchEvent(new Event("input"));
    found.push([...document.querySelectorAll(".row")].map((row) => row.querySelector(".id").textContent).join());
    press("Enter", byId("search"));
    found.push(document.activeElement.id);
    note();
    press("Escape", byId("search"));
    note();
    document.querySelector('[data-letter="n"]').click();
    found.push([...document.querySelectorAll(".row:not(.around) .id")].map((id) => id.textContent).join());
    return found;)");
  EXPECT_EQ(found, json({"Supply", "SoftStarter", "Supply", "Pumps", "Transformer", "Archive",
                         "Station", "search", "Station,Control,OnOff,Cascade", "tree", "Cascade",
                         "Cascade", "StarDelta"}));
}

TEST_F(KsExprPage, RowsAreItemsOfATree) {
  REQUIRE_BROWSER();
  report(KSEXPR_SAMPLE);
  const json found = evaluated(R"(
    const row = document.getElementById(`block-${model.ids.indexOf("Drive")}`);
    const names = ["role", "aria-level", "aria-posinset", "aria-setsize", "aria-expanded",
                   "aria-selected", "aria-label"];
    return names.map((name) => row.getAttribute(name));)",
                               "#Stages=1&Inverter=true");
  EXPECT_EQ(found, json({"treeitem", "3", "6", "6", "true", "false", "Drive, active, Inverter"}));
}

TEST_F(KsExprPage, ValuesAreSetOnThePageAndKeptInTheAddress) {
  REQUIRE_BROWSER();
  write(modelOf({blockOf("Arm", "null", ", \"VV\": \"ARCH == arm\""),
                 blockOf("Big", "null", ", \"VV\": \"Size >= 8\""),
                 blockOf("Far", "null", ", \"VV\": \"Site.remote\"")}));
  std::string text = contentOf("model.json");
  text.insert(text.rfind('}'), R"(, "variables": {"ARCH": {"values": ["arm", "mips"]},
      "Size": {"integer": true, "min": 0, "max": 200}}, "constraints": ["Size ~= 7"])");
  write(text);
  report("model.json");
  const json found = evaluated(R"(
    const found = [];
    const note = () => found.push(location.hash + " " + document.documentElement.dataset.states + " " +
      [...document.querySelectorAll(".problem")].map((each) => each.textContent).join());
    const item = (name) => [...document.querySelectorAll(".variable")].find((each) => each.getAttribute("aria-label") === name);
    const pressed = () => [...item("ARCH").querySelectorAll("[aria-pressed=true]")].map((each) => each.textContent).join();
    const type = (text) => {
      const input = item("Size").querySelector("input");
      input.value = text;
      input.dispatchEvent(new Event("change"));
    };
    item("ARCH").querySelector('[data-value="arm"]').click();
    note();
    found.push(pressed());
    type("0x10"); note();
    type("201"); note();
    type("much"); note();
    type("7"); note();
    item("Site.remote").querySelector('[data-value="false"]').click();
    document.querySelector(".chip").click();
    note();
    byId("clear").click();
    note();
    found.push(pressed());
    return found;)",
                               "#ARCH=mips&Size=9&Nothing=1&Site.remote");
  EXPECT_EQ(found,
            json({"#ARCH=arm&Size=9 aao ", "arm", "#ARCH=arm&Size=16 aao ",
                  "#ARCH=arm&Size=16 aao Size is whole, 0 to 200, not 201",
                  "#ARCH=arm&Size=16 aao Size: “much” is no value",
                  "#ARCH=arm&Size=7 aio These values break the constraint Size ~= 7",
                  "#Size=7&Site.remote=false oii These values break the constraint Size ~= 7",
                  " ooo ", "open"}));
}

TEST_F(KsExprPage, NetConditionsThatAreTooLongAreThoseOfThePath) {
  REQUIRE_BROWSER();
  std::string many = "A0";
  for (int i = 1; i < 700; ++i) many += " || A" + std::to_string(i);
  write(modelOf({blockOf("Top", "null", ", \"VV\": \"" + many + '"'),
                 blockOf("Inner", "\"Top\"", ", \"VV\": \"B && C\""),
                 blockOf("Bad", "\"Top\"", ", \"VV\": \"B &&\""), blockOf("Below", "\"Bad\"")}));
  EXPECT_EQ(run({"report", "model.json", "-o", "page.html"}).status, 1);
  const json found = evaluated(R"(
    choose(1);
    const heading = [...document.querySelectorAll("#detail h3")].at(-1).textContent;
    return [model.net(0), model.net(1), heading, model.states.join(""), model.ownText(2)];)");
  EXPECT_EQ(found[0], (json{{"text", many}, {"isCompact", false}}));
  EXPECT_EQ(found[1], (json{{"text", '(' + many + ") && B && C"}, {"isCompact", false}}));
  EXPECT_EQ(found[2], "Net condition, as typed");
  EXPECT_EQ(found[3], "oo??");
  EXPECT_EQ(found[4], "B &&");
}

TEST_F(KsExprPage, IsWrittenWholeOrNotAtAll) {
  write(modelOf({blockOf("Top", "null", ", \"VV\": \"A\"")}));
  const Outcome shown = run({"report", "model.json", "-o", "-"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.out, HasSubstr("</html>"));
  EXPECT_THAT(shown.out, Not(HasSubstr("/* style */")));
  EXPECT_EQ(run({"report", "model.json", "-o", "page.html"}).status, 0);
  EXPECT_EQ(contentOf("page.html"), shown.out);
  const Outcome failed = run({"report", "model.json", "-o", "missing/page.html"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(failed.err, HasSubstr("cannot write missing/page.html"));
  std::filesystem::create_directory("taken");
  EXPECT_EQ(run({"report", "model.json", "-o", "taken"}).status, 1);
  // Devices and links stay what they are.
  std::filesystem::create_symlink("page.html", "link.html");
  EXPECT_EQ(run({"report", "model.json", "-o", "link.html"}).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink("link.html"));
  std::filesystem::create_symlink("/dev/full", "full");
  EXPECT_EQ(run({"report", "model.json", "-o", "full"}).status, 1);
  EXPECT_TRUE(std::filesystem::is_character_file("full"));
  EXPECT_FALSE(std::filesystem::exists("taken.part"));
  EXPECT_EQ(run({"report", "model.json"}).status, 2);
}

}  // namespace
