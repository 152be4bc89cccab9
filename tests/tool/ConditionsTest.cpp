// The main job: the conditions of a model file, and what may be wrong with one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <streambuf>

#include "tests/support/RandomText.hpp"
#include "tests/tool/ModelFile.hpp"
#include "tools/Model.hpp"
#include "variants/VCService.hpp"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

using KsExprConditions = ModelFile;

const char* const smallModel = R"({"note": [{"id": 1}], "blocks": [
{"id": "B \"1\"", "parent": "A", "VV": "x > 1", "CG": "bitand(f, 2) ~= 0 && ~s.m", "S": ""},
{"id": "A", "parent": null, "VV": "x > 0", "CG": "", "S": "y", "extra": {"id": [null]}},
{"id": "C,2", "parent": "B \"1\"", "VV": "x < 1"}
]})";

// The tool makes most C texts from M texts. They are those that the library has for a host.
TEST_F(KsExprConditions, TextsInCAreThoseOfTheLibrary) {
  struct Customizer : KS::VCCustomizer {
    std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
      return aSelector == 0 ? std::string(aBlock->texts[ksexpr::CG]) : "";
    }
    const KSBlock* getParentBlock(const KSBlock* aBlock) const override { return aBlock->parent; }
  };
  std::vector<std::string> texts{
      "~a",           "s.m ~= 1",     "bitcmp(x, 8) ~= 3", "bitcmp(x) ~= 3",
      "a ~= true",    "f(~a)",        "-x ~= 1.5",         "bitand(x, 1) == 1",
      "x == [1, -2]", "~(a || ~b.c)", "mod(x,2)~=0"};
  KS::test::RandomText random(20);
  for (int i = 0; i < 300; ++i) texts.push_back(random.condition(1 + random.pick(4)));
  std::vector<std::string> blocks;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string parent = i % 4 == 0 ? "null" : "\"b" + std::to_string(i - 1) + '"';
    blocks.push_back(blockOf("b" + std::to_string(i), parent, ", \"CG\": \"" + texts[i] + '"'));
  }
  const auto json = nlohmann::json::parse(conditions(modelOf(blocks), {"--format", "json"}).out);
  ASSERT_EQ(json.size(), texts.size());

  std::vector<KSBlock> answered(texts.size());
  std::vector<ksexpr::BlockTexts::Room> rooms(texts.size());
  KS::VCService service;
  const Customizer customizer;
  std::size_t numDifferent = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    SCOPED_TRACE(texts[i]);
    answered[i].parent = i % 4 == 0 ? nullptr : &answered[i - 1];
    rooms[i][ksexpr::CG] = texts[i];
    answered[i].texts = ksexpr::BlockTexts(rooms[i]);
    const auto& cg = json[i]["cg"];
    EXPECT_EQ(cg["localC"], service.getCExprLocalCGVCEString(&answered[i], &customizer));
    EXPECT_EQ(cg["netC"], service.getCExprNetCGVCEString(&answered[i], &customizer));
    if (cg["net"] != cg["netC"]) ++numDifferent;
  }
  EXPECT_GT(numDifferent, texts.size() / 4);
}

TEST_F(KsExprConditions, AnswersEveryBlockInEveryFormat) {
  const Outcome json = conditions(smallModel, {"--format", "json"});
  EXPECT_EQ(json.status, 0);
  EXPECT_EQ(nlohmann::json::parse(json.out), nlohmann::json::parse(R"([
    {"block": "B \"1\"", "parent": "A", "vv": {"local": "x > 1", "net": "x > 1"},
     "cg": {"local": "~s.m && bitand(f,2) ~= 0", "net": "~s.m && bitand(f,2) ~= 0",
            "localC": "!s_m && (f & 2) != 0", "netC": "!s_m && (f & 2) != 0"},
     "s": {"local": true, "net": false}},
    {"block": "A", "parent": null, "vv": {"local": "x > 0", "net": "x > 0"},
     "cg": {"local": "", "net": "", "localC": "", "netC": ""}, "s": {"local": false, "net": false}},
    {"block": "C,2", "parent": "B \"1\"", "vv": {"local": "x < 1", "net": "false"},
     "cg": {"local": "", "net": "~s.m && bitand(f,2) ~= 0",
            "localC": "", "netC": "!s_m && (f & 2) != 0"},
     "s": {"local": true, "net": false}}])"));
  EXPECT_THAT(json.err, ContainsRegex("\n3 blocks, 7 distinct conditions, 1 dead block, .* s\n$"));

  EXPECT_EQ(conditions(smallModel, {"--format", "csv", "--form", "c"}).out,
            "block,parent,vv_local,vv_net,cg_local,cg_net,s_local,s_net\r\n"
            "\"B \"\"1\"\"\",A,x > 1,x > 1,!s_m && (f & 2) != 0,!s_m && (f & 2) != 0,true,false\r\n"
            "A,,x > 0,x > 0,,,false,false\r\n"
            "\"C,2\",\"B \"\"1\"\"\",x < 1,0,,!s_m && (f & 2) != 0,true,false\r\n");
  EXPECT_EQ(conditions(smallModel, {"--family", "vv,s"}).out,
            "BLOCK    S      S NET  FAMILY  LOCAL  NET\n"
            "  B \"1\"  true   false  VV      x > 1  x > 1\n"
            "A        false  false  VV      x > 0  x > 0\n"
            "    C,2  true   false  VV      x < 1  false\n");
}

TEST_F(KsExprConditions, SelectsBlocks) {
  const std::vector<std::string> csv = {"--format", "csv", "--family", "vv"};
  const auto with = [&csv](std::vector<std::string> more) {
    more.insert(more.begin(), csv.begin(), csv.end());
    return conditions(smallModel, more);
  };
#ifdef KSEXPR_DECIDES
  EXPECT_EQ(with({"--dead"}).out,
            "block,parent,vv_local,vv_net\r\n\"C,2\",\"B \"\"1\"\"\",x < 1,false\r\n");
  EXPECT_EQ(conditions(smallModel, {"--family", "cg", "--dead", "--format", "json"}).out, "[]\n");
#else
  EXPECT_EQ(with({"--dead"}).status, 2);
#endif
  EXPECT_EQ(with({"--block", "A", "--block", "B \"1\""}).out,
            "block,parent,vv_local,vv_net\r\n\"B \"\"1\"\"\",A,x > 1,x > 1\r\nA,,x > 0,x > 0\r\n");
  const Outcome unknown = with({"--block", "Z"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_THAT(unknown.err, HasSubstr("no block \"Z\""));
}

// Blocks are answered with their ancestors, wherever these stand, and listed alone in file order.
TEST_F(KsExprConditions, TakesBlocksMoreThanOnce) {
  const std::string model = modelOf({
      blockOf("leaf", "\"middle\"", ", \"VV\": \"c\""),
      blockOf("other", "null", ", \"VV\": \"(\""),
      blockOf("middle", "\"top\"", ", \"VV\": \"false\""),
      blockOf("top", "null", ", \"VV\": \"a\""),
  });
  const auto linesOf = [&model](const std::vector<std::string>& ids, bool dead = false) {
    std::vector<std::string> options{"--family", "vv", "--format", "csv"};
    if (dead) options.emplace_back("--dead");
    for (const std::string& id : ids) options.insert(options.end(), {"--block", id});
    const Outcome found = conditions(model, options);
    EXPECT_EQ(found.status, 0);
    EXPECT_THAT(found.err, StartsWith(std::to_string(ids.size()) + " block"));
    return found.out.substr(found.out.find('\n') + 1);
  };
  const std::string top = "top,,a,a\r\n";
  const std::string leaf = "leaf,middle,c,false\r\n";
  EXPECT_EQ(linesOf({"top"}), top);
  EXPECT_EQ(linesOf({"leaf"}), leaf);
  EXPECT_EQ(linesOf({"top", "leaf"}), leaf + top);
#ifdef KSEXPR_DECIDES
  EXPECT_EQ(linesOf({"top", "leaf"}, true), leaf);
#endif
  EXPECT_EQ(linesOf({"top", "middle", "leaf"}), leaf + "middle,top,false,false\r\n" + top);

  const Outcome twice = conditions(model, {"--block", "top", "--block", "top", "--family", "vv"});
  EXPECT_EQ(twice.out, "BLOCK  FAMILY  LOCAL  NET\ntop    VV      a      a\n");
  EXPECT_THAT(twice.err, StartsWith("1 block, 1 distinct condition, 0 dead blocks, "));
  const Outcome unknown = conditions(model, {"--block", "top", "--block", "x\x1B", "--block", ""});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.out, "");
  EXPECT_EQ(unknown.err, "ksexpr: model.json: no block \"x?\"\n");
}

// Patterns and subtrees; ids that look like patterns.
TEST_F(KsExprConditions, SelectsBlocksByPatternAndAncestor) {
  const std::string model = modelOf({
      blockOf("Pump2", "\"Pumps\"", ", \"VV\": \"b\""),
      blockOf("Pumps", "\"Top\"", ", \"VV\": \"c\", \"S\": \"y\""),
      blockOf("Pump*", "\"Pumps\"", ", \"VV\": \"d\""),
      blockOf("P\u00fcmp", "\"Pump2\"", ", \"VV\": \"a || ~c\""),
      blockOf("Top", "null", ", \"VV\": \"a && x > 1\", \"S\": \"true\""),
      blockOf("Other", "\"Top\"", ", \"VV\": \"x < 1\""),
  });
  const auto idsOf = [&](std::vector<std::string> options) {
    options.insert(options.end(), {"--family", "vv", "--format", "csv", "--quiet"});
    const Outcome found = conditions(model, options);
    if (found.status != 0) return found.err;
    std::string ids;
    std::istringstream lines(found.out);
    for (std::string line; std::getline(lines, line);) ids += line.substr(0, line.find(',')) + ' ';
    return ids.substr(6);
  };
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"--block", "Pump?"}, "Pump2 Pumps Pump* "},
      {{"--block", "Pump*"}, "Pump* "},  // an id that is spelled so wins
      {{"--block", "Pump[*]"}, "Pump* "},
      {{"--block", "Pump\\*"}, "Pump* "},
      {{"--block", "P?mp"}, "P\u00fcmp "},
      {{"--block", "[A-O]*", "--block", "Top"}, "Top Other "},
      {{"--block", "*"}, "Pump2 Pumps Pump* P\u00fcmp Top Other "},
      {{"--under", "Pumps"}, "Pump2 Pumps Pump* P\u00fcmp "},
      {{"--under", "Pump2"}, "Pump2 P\u00fcmp "},
      {{"--under", "Other"}, "Other "},
      {{"--under", "Pumps", "--block", "*2"}, "Pump2 "},
      {{"--block", "Z*"}, "ksexpr: model.json: no block \"Z*\"\n"},
      {{"--under", "Pumps", "--block", "Other"},
       "ksexpr: model.json: no block \"Other\" below \"Pumps\"\n"},
      {{"--under", "Pump?"},
       "ksexpr: model.json: no block \"Pump?\"; did you mean \"Pump2\", "
       "\"Pumps\", \"Pump*\"?\n"},
  };
  for (const auto& [options, ids] : rows) EXPECT_EQ(idsOf(options), ids);

  // What stands above is used and not shown; below the block, it is not used either.
  EXPECT_EQ(conditions(model, {"--under", "Pumps"}).out,
            "BLOCK     S      S NET  FAMILY  LOCAL    NET\n"
            "  Pump2   true   false  VV      b        a && b && c && x > 1\n"
            "                        CG      true     true\n"
            "Pumps     false  false  VV      c        a && c && x > 1\n"
            "                        CG      true     true\n"
            "  Pump*   true   false  VV      d        a && c && d && x > 1\n"
            "                        CG      true     true\n"
            "    P\u00fcmp  true   false  VV      ~c || a  a && b && c && x > 1\n"
            "                        CG      true     true\n");
  const Outcome below = conditions(model, {"--under", "Pumps", "--relative", "--family", "vv,s"});
  EXPECT_EQ(below.out,
            "BLOCK     S      S NET  FAMILY  LOCAL    NET\n"
            "  Pump2   true   true   VV      b        b\n"
            "Pumps     false  true   VV      c        true\n"
            "  Pump*   true   true   VV      d        d\n"
            "    P\u00fcmp  true   true   VV      ~c || a  (~c && b) || (a && b)\n");
  EXPECT_THAT(below.err, StartsWith("4 blocks, "));
  for (const std::string& style : {std::string("compact"), std::string("typed")}) {
    EXPECT_THAT(conditions(model, {"--under", "Pumps", "--relative", "--style", style}).out,
                HasSubstr(style == "typed" ? "  b && (a || ~c)\n" : "  (~c || a) && b\n"))
        << style;
  }
  // A condition above does not hinder what is below.
  const Outcome broken = conditions(
      modelOf({blockOf("a", "null", ", \"VV\": \"(\""), blockOf("b", "\"a\"", ", \"VV\": \"b\""),
               blockOf("c", "\"b\"", ", \"VV\": \"c\"")}),
      {"--under", "b", "--relative", "--family", "vv", "--format", "csv"});
  EXPECT_EQ(broken.status, 0) << broken.err;
  EXPECT_EQ(broken.out, "block,parent,vv_local,vv_net\r\nb,a,b,\r\nc,b,c,c\r\n");

  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"--relative"},
        {"--relative", "--under", "Pumps", "--dead"},
        {"--relative", "--under", "Pumps", "--format", "json", "--with", "decision"}}) {
    EXPECT_EQ(conditions(model, options).status, 2);
  }
}

// The styles of one block's conditions, in every format and form.
TEST_F(KsExprConditions, WritesConditionsInStyles) {
  const std::string model = modelOf({
      blockOf("A", "null", ", \"VV\": \"a||b\", \"CG\": \"a||b\""),
      blockOf("B", "\"A\"", ", \"VV\": \"c && (a || b)\", \"CG\": \"x/2 > bitand(y,1)\""),
      blockOf("C", "\"B\"", ", \"VV\": \"\", \"CG\": \"d || ~d\""),
      blockOf("D", "\"C\"", ", \"VV\": \"~c\", \"CG\": \"\""),
  });
  const auto csv = [&](std::vector<std::string> options) {
    options.insert(options.end(), {"--format", "csv", "--family", "vv,cg"});
    const std::string out = conditions(model, options).out;
    return out.substr(out.find('\n') + 1);
  };
  EXPECT_EQ(csv({"--style", "typed"}),
            "A,,a || b,a || b,a || b,a || b\r\n"
            "B,A,c && (a || b),(a || b) && c && (a || b),"
            "\"x / 2 > bitand(y,1)\",\"(a || b) && x / 2 > bitand(y,1)\"\r\n"
            "C,B,,(a || b) && c && (a || b),d || ~d,"
            "\"(a || b) && x / 2 > bitand(y,1) && (d || ~d)\"\r\n"
            "D,C,~c,(a || b) && c && (a || b) && ~c,,"
            "\"(a || b) && x / 2 > bitand(y,1) && (d || ~d)\"\r\n");
  EXPECT_EQ(csv({"--style", "compact"}),
            "A,,a || b,a || b,a || b,a || b\r\n"
            "B,A,(a || b) && c,(a || b) && c,"
            "\"bitand(y,1) < x / 2\",\"(a || b) && bitand(y,1) < x / 2\"\r\n"
            "C,B,,(a || b) && c,,\"(a || b) && bitand(y,1) < x / 2\"\r\n"
            "D,C,~c,false,,\"(a || b) && bitand(y,1) < x / 2\"\r\n");
  EXPECT_EQ(csv({"--style", "canonical"}), csv({}));
  EXPECT_THAT(csv({}), HasSubstr("B,A,(a && c) || (b && c),(a && c) || (b && c),"));
  EXPECT_THAT(csv({"--style", "typed", "--form", "c"}),
              HasSubstr("(a || b) && x / 2 > (y & 1)\r\n"));

  const auto json = nlohmann::json::parse(
      conditions(model, {"--format", "json", "--style", "typed", "--with", "compact"}).out);
  EXPECT_EQ(json[1]["vv"]["net"], "(a || b) && c && (a || b)");
  EXPECT_EQ(json[1]["vv"]["compact"], "(a || b) && c");
  EXPECT_EQ(json[1]["cg"]["netC"], "(a || b) && x / 2 > (y & 1)");
  EXPECT_EQ(json[3]["vv"]["compact"], "false");
  EXPECT_EQ(
      conditions(model, {"--style", "typed", "--block", "C"}).out,
      "BLOCK  S     S NET  FAMILY  LOCAL (typed)  NET (typed)\n"
      "    C  true  true   VV      true           (a || b) && c && (a || b)\n"
      "                    CG      d || ~d        (a || b) && x / 2 > bitand(y,1) && (d || ~d)\n");
}

// Where each text is longer than what is kept and than a piece of a line.
TEST_F(KsExprConditions, WritesLongTextsInPieces) {
  std::string typed;
  for (int i = 0; i < 300; ++i) {
    typed += (i > 0 ? " && bitand(" : "bitand(") +
             std::string(static_cast<std::size_t>(i % 7 + 4000), 'v') + ',' + std::to_string(i) +
             ") == 0";
  }
  const std::string model = modelOf({blockOf("a", "null", ", \"VV\": \"" + typed + "\""),
                                     blockOf("b", "\"a\"", ", \"VV\": \"" + typed + "\"")});
  const std::vector<std::string> options{"--family", "vv", "--style", "typed"};
  const auto with = [&](const char* format) {
    auto all = options;
    all.insert(all.end(), {"--format", format});
    return conditions(model, all).out;
  };
  const std::string twice = typed + " && " + typed;
  EXPECT_TRUE(with("csv") == "block,parent,vv_local,vv_net\r\na,,\"" + typed + "\",\"" + typed +
                                 "\"\r\nb,a,\"" + typed + "\",\"" + twice + "\"\r\n");
  const auto json = nlohmann::json::parse(with("json"));
  EXPECT_TRUE(json[1]["vv"]["net"] == twice);
  EXPECT_TRUE(json[1]["vv"]["local"] == typed);
  EXPECT_THAT(with("table"), testing::EndsWith(typed + "  " + twice + '\n'));
}

// An id with everything that a terminal would obey, and a parent that is called so.
TEST_F(KsExprConditions, SendsNoControlCharacters) {
  const std::string id =
      "\x1B[2J\r\n\t\x7F\xC2\x9B\xD8\x9C\xE2\x80\x8E\xE2\x80\xAE\xE2\x81\xA6,\"\xC3\xA4";
  const std::string spelled =
      "\\u001b[2J\\r\\n\\t\x7F\xC2\x9B\xD8\x9C\xE2\x80\x8E\\u202e\xE2\x81\xA6,\\\"\xC3\xA4";
  const std::string model =
      modelOf({blockOf(spelled, "null", ", \"VV\": \"a\""), blockOf("b", '"' + spelled + '"')});
  const std::string header = "block,parent,vv_local,vv_net";
  const std::string quoted =
      "\"\x1B[2J\r\n\t\x7F\xC2\x9B\xD8\x9C\xE2\x80\x8E\xE2\x80\xAE\xE2\x81\xA6,\"\"\xC3\xA4\"";
  const auto with = [&model](const std::string& format, bool onTerminal) {
    return conditions(model, {"--family", "vv", "--format", format}, onTerminal).out;
  };
  EXPECT_EQ(with("csv", false), header + "\r\n" + quoted + ",,a,a\r\nb," + quoted + ",,a\r\n");
  const std::string shown = "?[2J??  ??????,\"\xC3\xA4";
  const std::string shownQuoted = "\"?[2J??  ??????,\"\"\xC3\xA4\"";
  EXPECT_EQ(with("csv", true), header + '\n' + shownQuoted + ",,a,a\nb," + shownQuoted + ",,a\n");
  EXPECT_EQ(with("table", false), "BLOCK              FAMILY  LOCAL  NET\n" + shown +
                                      "  VV      a      a\n  b                VV      true   a\n");
  EXPECT_THAT(with("table", true), HasSubstr('\n' + shown + "  VV      a  "));
  for (const bool onTerminal : {false, true}) {
    const std::string json = with("json", onTerminal);
    EXPECT_THAT(json, HasSubstr("\"\\u001b[2J\\r\\n\\t\\u007f\\u009b\\u061c\\u200e"
                                "\\u202e\\u2066,\\\"\xC3\xA4\", \"vv\""));
    EXPECT_EQ(nlohmann::json::parse(json)[1]["parent"], id);
  }
  // Messages show the same.
  const Outcome failing =
      conditions(modelOf({blockOf(spelled, "null", ", \"VV\": \"a \\u0007 \xE2\x80\xAE\""),
                          blockOf("b", '"' + spelled + '"')}),
                 {"--family", "vv"});
  EXPECT_THAT(failing.err,
              StartsWith("model.json:2: block \"" + shown +
                         "\", VV, column 3: expected an operator or the end of the expression\n"
                         "a ? ?\n  ^\n"
                         "model.json: block \"b\", VV: no net condition, because that of its "
                         "ancestor \"" +
                         shown + "\" is not available\n"));
  EXPECT_THAT(conditions(modelOf({blockOf(spelled, '"' + spelled + '"')})).err,
              HasSubstr("cycle of parents: " + shown + " -> " + shown + '\n'));
}

TEST_F(KsExprConditions, AnswersTheOthersWhenAConditionDoesNotParse) {
  const Outcome found = conditions(R"json({"blocks": [
{"id": "leaf", "parent": "middle", "VV": "c"},
{"id": "middle", "parent": "top", "VV": "b", "S": "1 2"},
{"id": "top", "parent": null, "VV": "a &&\t* b"},
{"id": "other", "parent": null, "VV": "d", "CG": ")", "S": "a && NAND"}
]})json",
                                   {"--format", "json"});
  EXPECT_EQ(found.status, 1);
  const auto blocks = nlohmann::json::parse(found.out);
  ASSERT_EQ(blocks.size(), 4U);
  EXPECT_EQ(blocks[0]["vv"], nlohmann::json::parse(R"({"local": "c", "net": null})"));
  EXPECT_EQ(blocks[0]["s"], nlohmann::json::parse(R"({"local": true, "net": null})"));
  EXPECT_EQ(blocks[0]["cg"]["netC"], "");
  EXPECT_EQ(blocks[2]["vv"], nlohmann::json::parse(R"({"local": null, "net": null})"));
  EXPECT_EQ(blocks[3]["vv"], nlohmann::json::parse(R"({"local": "d", "net": "d"})"));
  EXPECT_THAT(found.err,
              StartsWith("model.json:4: block \"top\", VV, column 6: expected an operand\n"
                         "a &&    * b\n        ^\n"));
  for (const char* message :
       {"model.json:3: block \"middle\", S, column 3: expected an operator or the end",
        "model.json:5: block \"other\", CG, column 1: expected an operand",
        // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one message
        "model.json:5: block \"other\", S, column 9: expected an operator or the end of the "
        "expression\na && NAND\n        ^\nnote: 'NAN' is a number, and no symbol's or ",
        "block \"middle\", VV: no net condition, because that of its ancestor \"top\" is not",
        "block \"leaf\", VV: no net condition, because that of its ancestor \"top\" is not",
        "block \"leaf\", S: no net condition, because that of its ancestor \"middle\" is not"}) {
    EXPECT_THAT(found.err, HasSubstr(message));
  }
  // Who does not ask for the block or the family is not told.
  const Outcome part = conditions(R"json({"blocks": [{"id": "a", "parent": null, "VV": "("},
                                             {"id": "b", "parent": null, "S": "x"}]})json",
                                  {"--block", "b", "--format", "csv"});
  EXPECT_EQ(part.out,
            "block,parent,vv_local,vv_net,cg_local,cg_net,s_local,s_net\r\n"
            "b,,,,,,false,false\r\n");
  EXPECT_EQ(part.status, 0);
}

// A condition whose conjunctions would be written out 257 times with 65,536 symbols.
TEST_F(KsExprConditions, AnswersTheOthersWhenOneIsTooLargeToSimplify) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "sanitizers take a minute for 16 million literals";
#endif
  std::string product, condition;
  for (int i = 0; i < 64; ++i) {
    const std::string number = std::to_string(i);
    product += i < 10 ? "(a" + number + "||b" + number + ")&&" : "r" + number + "&&";
  }
  for (int i = 0; i < 257; ++i) {
    const std::string name = "p" + std::to_string(i);
    condition += (i == 0 ? "(" : "||(") + product + "(" + name + "||~" + name + "))";
  }
  const Outcome found = conditions(
      modelOf({blockOf("large", "null", ", \"VV\": \"" + condition + '"'),
               blockOf("below", "\"large\""), blockOf("other", "null", ", \"VV\": \"c && b\"")}),
      {"--format", "json", "--family", "vv"});
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(nlohmann::json::parse(found.out), nlohmann::json::parse(R"([
      {"block": "large", "parent": null, "vv": {"local": null, "net": null}},
      {"block": "below", "parent": "large", "vv": {"local": "", "net": null}},
      {"block": "other", "parent": null, "vv": {"local": "b && c", "net": "b && c"}}])"));
  EXPECT_THAT(found.err, HasSubstr("model.json:2: block \"large\", VV: KS::SymbolicExprSimplify: "
                                   "conjunctions of more than 16777216 literals"));
}

// Asking every block for a net condition that fails at the far end would take the square of this.
TEST_F(KsExprConditions, TakesLongChainsOfParents) {
  constexpr int depth = 20000;
  std::string model = R"({"blocks": [{"id": "0", "parent": null, "CG": "a b"})";
  for (int i = 1; i < depth; ++i) {
    model += R"(, {"id": ")" + std::to_string(i) + R"(", "parent": ")" + std::to_string(i - 1) +
             R"(", "VV": ")" + (i % 2 == 0 ? "x" : "y") + "\"}";
  }
  const Outcome found = conditions(model + "]}", {"--format", "csv"});
  EXPECT_EQ(found.status, 1);
  EXPECT_THAT(found.out, HasSubstr("\n19999,19998,y,x && y,,?,true,true\r\n"));
}

// A place for output that is full after a while.
class Full : public std::streambuf {
 public:
  Full(std::size_t aSize, int aError) : left(aSize), error(aError) {}

 protected:
  int_type overflow(int_type) override {
    errno = error;
    return left-- > 0 ? 0 : traits_type::eof();
  }

 private:
  std::size_t left;
  int error;
};

// Reports take no memory of their own, and who can't write stops working.
TEST_F(KsExprConditions, WritesWhatIsAnswered) {
  std::vector<std::string> blocks{blockOf("first", "null", ", \"VV\": \"a b\"")};
  for (int i = 0; i < 100; ++i) blocks.push_back(blockOf(std::to_string(i), "null"));
  blocks.push_back(blockOf("last", "null", ", \"VV\": \"a b\""));
  const auto lastRun = [](const std::vector<std::string>& aBlocks, const char* aFormat,
                          std::size_t aSize, int aError) {
    write(modelOf(aBlocks));
    std::istringstream in;
    std::ostringstream err;
    Full full(aSize, aError);
    std::ostream out(&full);
    const int status =
        ksexpr::runTool({"conditions", "model.json", "--format", aFormat}, {in, out, err});
    return Outcome{status, "", err.str()};
  };
  for (const char* format : {"json", "csv"}) {
    const Outcome found = lastRun(blocks, format, 500, ENOSPC);
    EXPECT_EQ(found.status, 1);
    EXPECT_THAT(found.err, HasSubstr("block \"first\", VV"));
    EXPECT_THAT(found.err, Not(HasSubstr("block \"last\", VV")));
    EXPECT_THAT(found.err,
                testing::EndsWith("ksexpr: cannot write to standard output: No space left on "
                                  "device\n"));
    EXPECT_EQ(lastRun(blocks, format, 1000000, ENOSPC).err.find("cannot write"), std::string::npos);
  }
  EXPECT_THAT(lastRun(blocks, "table", 500, ENOSPC).err, HasSubstr("block \"last\", VV"));

  // Whoever reads has seen enough: the status tells of what was answered so far.
  const Outcome failed = lastRun(blocks, "json", 500, EPIPE);
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(failed.err, Not(HasSubstr("cannot write")));
  blocks.erase(blocks.begin());
  const Outcome fine = lastRun(blocks, "json", 500, EPIPE);
  EXPECT_EQ(fine.status, 0);
  EXPECT_EQ(fine.err, "");
}

// Texts are kept for the blocks that share them, but all of these are too many.
TEST_F(KsExprConditions, AnswersMoreTextThanIsKept) {
  constexpr int depth = 600;
  const std::string name(100, 'x');
  std::vector<std::string> blocks;
  blocks.reserve(depth);
  for (int i = 0; i < depth; ++i) {
    blocks.push_back(blockOf(std::to_string(i), i == 0 ? "null" : '"' + std::to_string(i - 1) + '"',
                             ", \"VV\": \"" + name + std::to_string(i) + '"'));
  }
  const Outcome found = conditions(modelOf(blocks), {"--format", "json", "--family", "vv"});
  EXPECT_GT(found.out.size(), 18000000U);
  const auto answers = nlohmann::json::parse(found.out);
  ASSERT_EQ(answers.size(), 600U);
  for (std::size_t i = 0; i < depth; ++i) {
    const std::string net = answers[i]["vv"]["net"];
    EXPECT_EQ(answers[i]["vv"]["local"], name + std::to_string(i));
    EXPECT_EQ(static_cast<std::size_t>(std::count(net.begin(), net.end(), '&')), 2 * i);
  }
}

// A tree in no order, with conditions that are alike, broken, or longer than what is held back.
std::string modelForManyJobs() {
  constexpr unsigned numBlocks = 3000;
  std::vector<std::string> blocks;
  for (unsigned place = 0; place < numBlocks; ++place) {
    const unsigned i = place * 1237 % numBlocks;
    std::string more;
    if (i % 5 < 2)
      more = ", \"VV\": \"x" + std::to_string(i % 7) + " > " + std::to_string(i % 3) + '"';
    if (i % 4 == 1) more += ", \"CG\": \"bitand(y" + std::to_string(i % 11) + ", 1) == 1\"";
    if (i % 50 == 3) more += ", \"S\": \"false\"";
    if (i % 700 == 699) more = ", \"CG\": \"a b\"";
    if (i == 2222) {
      std::string text = "z0";
      for (int k = 1; k < 12000; ++k) text += " || z" + std::to_string(k);
      more = ", \"VV\": \"" + text + '"';
    }
    blocks.push_back(blockOf("b" + std::to_string(i),
                             i == 0 ? "null" : "\"b" + std::to_string((i - 1) / 3) + '"', more));
  }
  return modelOf(blocks);
}

TEST_F(KsExprConditions, DoNotDependOnTheNumberOfJobs) {
  const std::string model = modelForManyJobs();
  const auto answer = [&](std::vector<std::string> options, const std::string& jobs) {
    options.insert(options.end(), {"--jobs", jobs});
    Outcome found = conditions(model, options);
    const std::size_t time = found.err.rfind(", ");
    if (time != std::string::npos && found.err.find(" s\n", time) != std::string::npos) {
      found.err.resize(time);
    }
    return found;
  };
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{"--format", "json"},
                                             {"--format", "csv", "--form", "c"},
                                             {"--format", "table", "--family", "vv,s"},
                                             {"--format", "json", "--style", "typed"},
                                             {"--format", "table", "--width", "90"},
                                             {"--format", "csv", "--dead"},
                                             {"--format", "csv", "--block", "b*7*"},
                                             {"--format", "json", "--under", "b2", "--relative"}}) {
    SCOPED_TRACE(testing::PrintToString(options));
    const Outcome alone = answer(options, "1");
    EXPECT_NE(alone.out, "");
    for (const char* const jobs : {"2", "7"}) {
      const Outcome found = answer(options, jobs);
      EXPECT_EQ(found.status, alone.status);
      EXPECT_TRUE(found.out == alone.out) << jobs;
      EXPECT_EQ(found.err, alone.err);
    }
  }
  EXPECT_EQ(conditions(model, {"--jobs", "0"}).status, 2);
}

std::vector<std::string> linesOf(const std::string& aText) {
  std::istringstream in(aText);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST_F(KsExprConditions, PartsAnswerByThemselves) {
  const std::string known =
      ",\n\"variables\": {\"x1\": {\"integer\": true, \"min\": -1}, \"x2\": {\"max\": 0.5}, "
      "\"c\": {\"values\": [1, \"red\"]}, \"b\": {\"boolean\": true}}, \"constraints\": [\"x1 < "
      "9\"]}";
  std::string model = modelForManyJobs();
  model.replace(model.rfind('}'), 1, known);
  const std::string text = conditions(model, {"--format", "jsonl"}).out;
  const std::vector<std::string> whole = linesOf(text);
  ASSERT_EQ(whole.size(), 3000U);
  EXPECT_EQ(nlohmann::json::parse(whole[1]),
            nlohmann::json::parse(conditions(model, {"--format", "json"}).out)[1]);
  const std::set<std::string> wanted(whole.begin(), whole.end());
  const std::string vars = run({"vars", "model.json", "--format", "json"}).out;
  for (const std::size_t count : {1U, 3U, 16U, 4000U}) {
    SCOPED_TRACE(count);
    const Outcome names = run({"split", "model.json", "--parts", std::to_string(count)});
    EXPECT_EQ(names.status, 0);
    const std::vector<std::string> parts = linesOf(names.out);
    ASSERT_EQ(parts.size(), count);
    EXPECT_EQ(parts.back(), "model-" + std::to_string(count) + ".json");
    if (count > 16) continue;  // most of them are empty
    std::set<std::string> found;
    std::size_t numLines = 0;
    for (const std::string& part : parts) {
      const Outcome answer = run({"conditions", part, "--format", "jsonl", "--quiet"});
      const std::vector<std::string> lines = linesOf(answer.out);
      found.insert(lines.begin(), lines.end());
      numLines += lines.size();
      // Of about the same size, a few ancestors aside.
      EXPECT_LT(lines.size(), 3000 / count + 20);
    }
    EXPECT_TRUE(found == wanted);
    EXPECT_GE(numLines, whole.size());
    EXPECT_EQ(run({"vars", parts[0], "--format", "json"}).out == vars, count == 1);
  }
  EXPECT_EQ(run({"split", "model.json", "--parts", "2", "--prefix", "x/p"}).err,
            "ksexpr: x/p1.json: cannot write: No such file or directory\n");
  EXPECT_EQ(run({"split", "model.json", "--parts", "2", "--prefix", "p"}).out,
            "p1.json\np2.json\n");
  EXPECT_EQ(run({"split", "none.json", "--parts", "2"}).status, 1);
  EXPECT_EQ(run({"split", "model.json"}).status, 2);
}

TEST_F(KsExprConditions, SampleModel) {
  const Outcome found = run({"conditions", KSEXPR_SAMPLE});
  EXPECT_EQ(found.status, 0);
  EXPECT_THAT(found.out, HasSubstr("AntiWindup  true   true   VV CG   Mode ~= 1 "));
  EXPECT_THAT(found.err, StartsWith("34 blocks, "));
  EXPECT_THAT(found.err, HasSubstr(", 1 dead block, "));
}

}  // namespace
