// The program itself: exit status and output of lint and graph.
#include "tests/support/process.h"
#include "tests/tpk/lint/lintfixture.h"

#include <csignal>

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class LintCommand : public LintTest {
 protected:
  static ProcessResult run(std::vector<std::string> arguments, const std::string& input = {}) {
    Command command;
    command.words = {TPK_PROGRAM};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    command.environment = {"PATH=/usr/bin:/bin"};
    command.input = input;
    return Process(command).wait(std::chrono::seconds(15));
  }
  std::string good() const { return put("good.tpk", begin().sign()); }
  std::string warned() const { return put("warned.tpk", begin("one", {}).sign()); }
  std::string bad() const { return put("bad.tpk", begin()); }
};

TEST_F(LintCommand, NothingIsSaidOfGoodPackages) {
  const ProcessResult result = run({"lint", good()});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out + result.err, "");
}

// Whoever starts it may have done so for the sake of its own children.
TEST_F(LintCommand, ScriptsAreLookedAtWhereTheEndOfChildrenIsIgnored) {
  Command command;
  command.words = {TPK_PROGRAM, "lint", put("bad.tpk", begin().part(kPartOnInstall, "(").sign())};
  command.environment = {"PATH=/usr/bin:/bin"};
  command.prepare = [] { return std::signal(SIGCHLD, SIG_IGN) != SIG_ERR; };
  const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, HasSubstr("oninstall: line 2: syntax error: unexpected end of file"));
}

TEST_F(LintCommand, ErrorsAreStatusOne) {
  const ProcessResult result = run({"lint", good(), bad()});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, StartsWith(path("bad.tpk") + ": one-1.0: error: "));
  EXPECT_EQ(result.err, "");
}

TEST_F(LintCommand, WarningsCountWhenAskedTo) {
  const ProcessResult result = run({"lint", warned()});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out, HasSubstr("0 errors, 1 warning, 0 notes\n"));
  EXPECT_TRUE(run({"lint", "--strict", warned()}).exited(1));
  EXPECT_TRUE(run({"lint", "--strict", good()}).exited(0));
}

TEST_F(LintCommand, FlashIsGivenInBytesAndMore) {
  EXPECT_TRUE(run({"lint", "--flash", "12288", good()}).exited(0));
  EXPECT_TRUE(run({"lint", "--flash", "12K", good()}).exited(0));
  EXPECT_TRUE(run({"lint", "--flash", "12287", good()}).exited(1));
  EXPECT_TRUE(run({"lint", "--flash", "much", good()}).exited(2));
}

TEST_F(LintCommand, ProgramsGetJson) {
  const ProcessResult result = run({"lint", "--json", bad()});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, StartsWith("{\n  \"findings\": [\n    {\n"));
  EXPECT_THAT(result.out, HasSubstr("\"id\": \"unsigned\""));
}

TEST_F(LintCommand, StandardInputIsAFile) {
  EXPECT_TRUE(run({"lint", "-"}, begin().sign().finish()).exited(0));
}

TEST_F(LintCommand, OtherProductsHaveOtherKeys) {
  EXPECT_TRUE(run({"product", "new", path("mine")}).exited(0));
  const ProcessResult result = run({"lint", "--product", path("mine"), good()});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, HasSubstr("its signature was made with another key [bad-signature]"));
}

TEST_F(LintCommand, TableNeedsNoFile) {
  const ProcessResult result = run({"lint", "--rules"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, lintRuleTable());
}

TEST_F(LintCommand, WithoutFilesTheLineIsWrong) {
  EXPECT_TRUE(run({"lint"}).exited(2));
  EXPECT_TRUE(run({"graph"}).exited(2));
}

TEST_F(LintCommand, MissingFilesAreTheMachines) {
  const ProcessResult result = run({"lint", path("none.tpk")});
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(result.err,
            "tpk: " + path("none.tpk") + ": cannot be opened: No such file or directory\n");
  EXPECT_TRUE(run({"graph", path("none.tpk")}).exited(3));
}

TEST_F(LintCommand, GraphGoesToStandardOutputOrAFile) {
  const ProcessResult printed = run({"graph", good()});
  EXPECT_TRUE(printed.exited(0)) << printed;
  EXPECT_THAT(printed.out, StartsWith("digraph packages {\n"));
  EXPECT_EQ(run({"graph", "-o", "-", good()}).out, printed.out);

  const ProcessResult written = run({"graph", good(), "-o", path("out.dot")});
  EXPECT_TRUE(written.exited(0)) << written;
  EXPECT_EQ(written.out, "");
  EXPECT_EQ(readFile(path("out.dot")), printed.out);
}

TEST_F(LintCommand, NoGraphIsLeftOfABadPackage) {
  writeFile(path("text"), "something else");
  EXPECT_TRUE(run({"graph", path("text"), "-o", path("out.dot")}).exited(1));
  EXPECT_FALSE(exists(path("out.dot")));
}

}  // namespace
