// The man page and the completions, of definitions that are hard to quote.
#include "tools/Generate.hpp"

#include <gmock/gmock.h>

#include <sstream>

#include "tests/tool/RunTool.hpp"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Generate : public testing::Test {
 protected:
  Generate() : app("A tool", "ksexpr") {
    CLI::App* const command = app.add_subcommand("find", "Find [what] it's: a \\ b");
    command->add_option("MODEL", one, "The model")->required();
    command->add_option("EXPR", many, ".dots and -dashes");
    command->add_option("--how", one, "How: 'well'")->type_name("ill|well");
    command->add_option("-i,--in", many, "Where")->type_name("here,there");
    command->add_option("--hidden", one, "Secret")->group("");
    command->add_flag("--all", flag, "All");
    command->footer("A 'foot'\n.line");
    app.add_subcommand("hidden", "Hidden")->group("");
  }

  std::string written(void (*aWrite)(const ksexpr::ToolText&, std::ostream&)) const {
    std::ostringstream out;
    aWrite(ksexpr::describe(app), out);
    return out.str();
  }

  CLI::App app;
  std::string one;
  std::vector<std::string> many;
  bool flag = false;
};

TEST_F(Generate, DescribesWhatIsNotHidden) {
  const ksexpr::ToolText text = ksexpr::describe(app);
  ASSERT_EQ(text.commands.size(), 1U);
  const ksexpr::CommandText& find = text.commands[0];
  EXPECT_EQ(find.name, "find");
  ASSERT_EQ(find.arguments.size(), 2U);
  EXPECT_TRUE(find.arguments[0].isRequired && find.arguments[0].takesFile);
  EXPECT_FALSE(find.arguments[0].isRepeated);
  EXPECT_TRUE(find.arguments[1].isRepeated);
  EXPECT_FALSE(find.arguments[1].isRequired || find.arguments[1].takesFile);
  ASSERT_EQ(find.options.size(), 4U);
  EXPECT_TRUE(find.options[0].isHelp);
  EXPECT_THAT(find.options[0].names, ElementsAre("-h", "--help"));
  EXPECT_THAT(find.options[1].words, ElementsAre("ill", "well"));
  EXPECT_FALSE(find.options[1].takesList || find.options[1].takesFile || find.options[1].isHelp);
  EXPECT_THAT(find.options[2].words, ElementsAre("here", "there"));
  EXPECT_TRUE(find.options[2].takesList);
  EXPECT_EQ(find.options[3].value, "");
}

TEST_F(Generate, EscapesForRoff) {
  const std::string page = written(ksexpr::writeManPage);
  EXPECT_THAT(page, HasSubstr("\nFind [what] it's: a \\e b.\n"));
  EXPECT_THAT(page, HasSubstr("\n\\fBksexpr find\\fR [\\fIOPTIONS\\fR] \\fIMODEL\\fR "
                              "[\\fIEXPR\\fR...]\n"));
  EXPECT_THAT(page, HasSubstr("\n\\&.dots and \\-dashes.\n"));
  EXPECT_THAT(page, HasSubstr("\n\\fB\\-i\\fR, \\fB\\-\\-in\\fR \\fBhere\\fR,\\fBthere\\fR\n"));
  EXPECT_THAT(page, HasSubstr("\\fBill\\fR|\\fBwell\\fR\n"));
  EXPECT_THAT(page, HasSubstr("\n.nf\nA 'foot'\n\\&.line\n.fi\n"));
  EXPECT_THAT(page, Not(HasSubstr("idden")));
}

TEST_F(Generate, EscapesForShells) {
  const std::string zsh = written(ksexpr::writeZshCompletion);
  EXPECT_THAT(zsh, HasSubstr("'find:Find [what] it'\\''s\\: a \\\\ b'\n"));
  EXPECT_THAT(zsh, HasSubstr("'--how=[How\\: '\\''well'\\'']:word:(ill well)'"));
  EXPECT_THAT(zsh, HasSubstr("'*-i+[Where]:word:_sequence compadd - here there'"));
  EXPECT_THAT(zsh, HasSubstr("'*--in=[Where]:word:_sequence compadd - here there'"));
  EXPECT_THAT(zsh, HasSubstr("'--all[All]'"));
  EXPECT_THAT(zsh, HasSubstr("':MODEL:_files'"));
  EXPECT_THAT(zsh, HasSubstr("'*:EXPR:()'"));
  const std::string fish = written(ksexpr::writeFishCompletion);
  EXPECT_THAT(fish, HasSubstr(" -a find -d 'Find [what] it'\\''s: a \\\\ b'\n"));
  EXPECT_THAT(fish, HasSubstr(" -l how -x -a 'ill well' -d 'How: '\\''well'\\'''\n"));
  EXPECT_THAT(fish, HasSubstr(" -s i -l in -x -a "));
  const std::string bash = written(ksexpr::writeBashCompletion);
  EXPECT_THAT(bash, HasSubstr("'find -i' | 'find --in') words='here there' list=yes ;;"));
}

TEST(GenerateOption, IsKnownAndHidden) {
  EXPECT_EQ(run({"--generate", "man"}).out.substr(0, 13), ".TH KSEXPR 1 ");
  EXPECT_EQ(run({"--generate", "man"}).status, 0);
  EXPECT_EQ(run({"--generate", "csh"}).status, 2);
  EXPECT_THAT(run({"--help"}).out, Not(HasSubstr("generate")));
}

}  // namespace
