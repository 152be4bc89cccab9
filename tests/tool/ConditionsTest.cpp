// The main job: the conditions of a model file, and what may be wrong with one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tests/tool/RunTool.hpp"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

// Works in a folder of its own, since tests run side by side.
class KsExprConditions : public testing::Test {
 protected:
  KsExprConditions() : folder(testing::TempDir() + "ksexprXXXXXX") {
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder " + folder);
    std::filesystem::current_path(folder);
  }
  ~KsExprConditions() override {
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }

  // Runs "conditions" on model.json with that text.
  static Outcome conditions(const std::string& aModel, std::vector<std::string> aOptions = {}) {
    std::ofstream("model.json", std::ios::binary) << aModel;
    aOptions.insert(aOptions.begin(), {"conditions", "model.json"});
    return run(aOptions);
  }

 private:
  std::string folder;
};

const char* const smallModel = R"({"note": [{"id": 1}], "blocks": [
{"id": "B \"1\"", "parent": "A", "VV": "x > 1", "CG": "bitand(f, 2) ~= 0 && ~s.m", "S": ""},
{"id": "A", "parent": null, "VV": "x > 0", "CG": "", "S": "y", "extra": {"id": [null]}},
{"id": "C,2", "parent": "B \"1\"", "VV": "x < 1"}
]})";

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
  EXPECT_THAT(json.err, MatchesRegex("3 blocks, 7 distinct conditions, 1 dead block, .* s\n"));

  EXPECT_EQ(conditions(smallModel, {"--format", "csv", "--form", "c"}).out,
            "block,parent,vv_local,vv_net,cg_local,cg_net,s_local,s_net\n"
            "\"B \"\"1\"\"\",A,x > 1,x > 1,!s_m && (f & 2) != 0,!s_m && (f & 2) != 0,true,false\n"
            "A,,x > 0,x > 0,,,false,false\n"
            "\"C,2\",\"B \"\"1\"\"\",x < 1,0,,!s_m && (f & 2) != 0,true,false\n");
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
  EXPECT_EQ(with({"--dead"}).out,
            "block,parent,vv_local,vv_net\n\"C,2\",\"B \"\"1\"\"\",x < 1,false\n");
  EXPECT_EQ(with({"--block", "A", "--block", "B \"1\""}).out,
            "block,parent,vv_local,vv_net\n\"B \"\"1\"\"\",A,x > 1,x > 1\nA,,x > 0,x > 0\n");
  EXPECT_EQ(conditions(smallModel, {"--family", "cg", "--dead", "--format", "json"}).out, "[]\n");
  const Outcome unknown = with({"--block", "Z"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_THAT(unknown.err, HasSubstr("no block \"Z\""));
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
            "block,parent,vv_local,vv_net,cg_local,cg_net,s_local,s_net\n"
            "b,,,,,,false,false\n");
  EXPECT_EQ(part.status, 0);
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
  EXPECT_THAT(found.out, HasSubstr("\n19999,19998,y,x && y,,?,true,true\n"));
}

TEST_F(KsExprConditions, TellsWhatIsWrongWithAModel) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "model.json:1:1: syntax error"},
      {"{\"blocks\": [\n{\"id\": ]}", "model.json:2:8: syntax error while parsing value"},
      {"{\"blocks\": [\n{\"id\": \"a\xFF\"}]}", "model.json:2:10: syntax error"},
      {"{\"blocks\": [{\"id\": \"a\", \"parent\": null}]", "model.json:1:41: syntax error"},
      {"[]", "model.json:1:1: the model must be an object with \"blocks\", not an array"},
      {"{}", "model.json:1:2: the model has no \"blocks\""},
      {"{\"blocks\": 5}", "model.json:1:12: \"blocks\" must be an array, not a number"},
      {"{\"blocks\": [], \"blocks\": []}", "model.json:1:16: \"blocks\" is given twice"},
      {"{\"blocks\": [\n 1]}", "model.json:2:2: a block must be an object, not a number"},
      {"{\"blocks\": [{}]}", "model.json:1:13: the block has no \"id\""},
      {"{\"blocks\": [{\"id\": \"a\"}]}", "model.json:1:13: the block has no \"parent\""},
      {"{\"blocks\": [{\"id\": true}]}", "model.json:1:20: \"id\" must be a string, not a boolean"},
      {"{\"blocks\": [{\"parent\": []}]}",
       "1:24: \"parent\" must be a string or null, not an array"},
      {"{\"blocks\": [{\"VV\":  null}]}", "model.json:1:21: \"VV\" must be a string, not null"},
      {"{\"blocks\": [{\"S\": \"\", \"S\": \"\"}]}", "model.json:1:23: \"S\" is given twice"},
      {"{\"blocks\": [\n{\"id\": \"a\", \"parent\": null},\n{\"id\": \"a\", \"parent\": null}]}",
       "model.json:3:8: block \"a\" is defined twice, first in line 2"},
      {"{\"blocks\": [{\"id\": \"a\", \"parent\": \"b\\n\"}]}",
       "model.json:1:35: block \"a\" has an unknown parent \"b?\""},
      {"{\"blocks\": [{\"id\": \"a\", \"parent\": \"a\"}]}",
       "model.json:1:35: cycle of parents: a -> a"},
      {"{\"blocks\": [{\"id\": \"c\", \"parent\": \"a\"}, {\"id\": \"a\", \"parent\": \"b\"},\n"
       "{\"id\": \"b\", \"parent\": \"a\"}]}",
       "cycle of parents: a -> b -> a"},
  };
  for (const auto& [model, message] : rows) {
    SCOPED_TRACE(model);
    const Outcome found = conditions(model);
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.out, "");
    EXPECT_THAT(found.err, HasSubstr(message));
  }
  EXPECT_THAT(conditions("{\"blocks\": [{\"id\": 1}, {\"id\": 2, \"parent\": null}]}").err,
              testing::AllOf(HasSubstr(":20:"), HasSubstr("no \"parent\""), HasSubstr(":31:")));
  EXPECT_THAT(run({"conditions", "/nonexistent/m"}).err,
              HasSubstr("/nonexistent/m: cannot read: No"));
  EXPECT_THAT(run({"conditions", "/"}).err, HasSubstr("/: cannot read: Is a directory"));
  EXPECT_EQ(conditions(std::string(1000000, '[')).status, 1);
}

TEST_F(KsExprConditions, SampleModel) {
  const Outcome found = run({"conditions", KSEXPR_SAMPLE});
  EXPECT_EQ(found.status, 0);
  EXPECT_THAT(found.out, HasSubstr("AntiWindup  true   true   VV CG   Mode ~= 1 "));
  EXPECT_THAT(found.err, StartsWith("34 blocks, "));
  EXPECT_THAT(found.err, HasSubstr(", 1 dead block, "));
}

}  // namespace
