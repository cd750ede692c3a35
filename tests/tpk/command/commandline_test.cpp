// The program itself: exit status and output of every command.
#include "tests/support/privilege.h"
#include "tests/tpk/program.h"

#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

TEST_F(TpkProgram, MakesProductDataAndAGenuinePackage) {
  writePackage("hello");
  EXPECT_TRUE(run({"product", "new", "mine"}).exited(0));

  const ProcessResult built = run({"build", "hello", "--key", "mine"});
  EXPECT_TRUE(built.exited(0)) << built;
  EXPECT_EQ(built.out, "hello-3.22.tpk: signed\n");
  EXPECT_EQ(built.err, "");

  const ProcessResult verified = run({"verify", "--product", "mine", "hello-3.22.tpk"});
  EXPECT_TRUE(verified.exited(0)) << verified;
  EXPECT_EQ(verified.out, "hello-3.22.tpk: good\n");
}

TEST_F(TpkProgram, SaysWhichWordIsWrong) {
  const std::pair<std::vector<std::string>, const char*> lines[] = {
      {{"bild", "hello"},
       "tpk: unknown command \"bild\"; did you mean \"build\"?\nSee tpk --help.\n"},
      {{"bild", "--key", "product", "hello"},
       "tpk: unknown command \"bild\"; did you mean \"build\"?\nSee tpk --help.\n"},
      {{"product", "nev"},
       "tpk product: unknown command \"nev\"; did you mean \"new\"?\nSee tpk product --help.\n"},
      {{"build", "hello", "--kee", "product"},
       "tpk build: unknown option \"--kee\"; did you mean \"--key\"?\nSee tpk build --help.\n"},
      {{"build"}, "tpk build: MANIFEST is required\nSee tpk build --help.\n"}};
  for (const auto& [words, message] : lines) {
    const ProcessResult result = run(words);
    EXPECT_TRUE(result.exited(2)) << result;
    EXPECT_EQ(result.err, message);
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(TpkProgram, NamesItsCommandsWhenNoneIsGiven) {
  const ProcessResult result = run({});
  EXPECT_TRUE(result.exited(2)) << result;
  EXPECT_THAT(result.err, HasSubstr("tpk: a command is missing; there are "));
  EXPECT_THAT(result.err, HasSubstr(" verify"));
}

TEST_F(TpkProgram, SaysItsVersion) {
  const ProcessResult result = run({"--version"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out, ::testing::MatchesRegex("tpk [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(TpkProgram, BuildsABundle) {
  writePackage("one");
  writePackage("two");
  writeFile(path("pair.toml"),
            "name = \"pair\"\nversion = \"1.0\"\n[bundle]\nmembers = [\"one\", \"two\"]\n");
  EXPECT_TRUE(run({"build", "pair.toml", "-o", "out.tpk", "--key", PRODUCT_DATA_DIR}).exited(0));
  EXPECT_EQ(run({"verify", "out.tpk"}).out,
            "out.tpk: good\n"
            "  one-3.22: good\n"
            "  two-3.22: good\n");
}

TEST_F(TpkProgram, SaysWhichPackagesAreBroken) {
  writePackage("hello");
  EXPECT_EQ(run({"build", "hello"}).out, "hello-3.22.tpk: unsigned\n");
  EXPECT_TRUE(run({"build", "hello", "-o", "signed.tpk", "--key", PRODUCT_DATA_DIR}).exited(0));
  writeFile(path("long.tpk"), readFile(path("signed.tpk")) + "x");

  const ProcessResult result = run({"verify", "hello-3.22.tpk", "signed.tpk", "long.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out,
              MatchesRegex("hello-3.22.tpk: broken: neither signed nor one of the product's known "
                           "packages \\(digest [0-9a-f]{10}..\\)\n"
                           "signed.tpk: good\n"
                           "long.tpk: broken: the length field is off by 1: the file has [0-9]+ "
                           "bytes, its header says [0-9]+\n"));

  const ProcessResult quiet = run({"verify", "-q", "signed.tpk", "long.tpk"});
  EXPECT_TRUE(quiet.exited(1)) << quiet;
  EXPECT_THAT(quiet.out, StartsWith("long.tpk: broken: "));
  EXPECT_TRUE(run({"verify", "-q", "signed.tpk"}).exited(0));
  EXPECT_EQ(run({"verify", "-q", "signed.tpk"}).out, "");
}

TEST_F(TpkProgram, VerifiesStandardInput) {
  writePackage("hello");
  EXPECT_TRUE(run({"build", "hello", "--key", PRODUCT_DATA_DIR}).exited(0));
  const std::string package = readFile(path("hello-3.22.tpk"));
  const ProcessResult whole = run({"verify", "-"}, package);
  EXPECT_TRUE(whole.exited(0)) << whole;
  EXPECT_EQ(whole.out, "standard input: good\n");
  EXPECT_TRUE(run({"verify", "-"}, package.substr(0, package.size() - 1)).exited(1));
}

TEST_F(TpkProgram, VerdictsForPrograms) {
  writePackage("hello");
  EXPECT_TRUE(run({"build", "hello", "--key", PRODUCT_DATA_DIR}).exited(0));
  writeFile(path("long.tpk"), readFile(path("hello-3.22.tpk")) + "x");
  const ProcessResult result =
      run({"verify", "--json", "hello-3.22.tpk", "long.tpk", "missing.tpk"});
  EXPECT_TRUE(result.exited(3)) << result;
  const auto report = nlohmann::json::parse(result.out);
  ASSERT_EQ(report.size(), 3U);
  EXPECT_EQ(report[0]["file"], "hello-3.22.tpk");
  EXPECT_EQ(report[0]["good"], true);
  EXPECT_TRUE(report[0]["reasons"].empty());
  EXPECT_EQ(report[0]["packages"][0]["name"], "hello-3.22");
  EXPECT_EQ(report[0]["packages"][0]["by"], "signature");
  EXPECT_EQ(report[1]["good"], false);
  EXPECT_EQ(report[1]["reasons"][0]["fault"], "length");
  EXPECT_EQ(report[1]["reasons"][0]["offset"], 4);
  EXPECT_EQ(report[2]["error"], "missing.tpk: cannot be opened: No such file or directory");
}

TEST_F(TpkProgram, VerifiesTheRestWhenAFileCannotBeOpened) {
  writePackage("hello");
  EXPECT_TRUE(run({"build", "hello", "--key", PRODUCT_DATA_DIR}).exited(0));
  makeFolders(path("folder"));
  const ProcessResult result = run({"verify", "missing.tpk", "folder", "hello-3.22.tpk"});
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(result.err,
            "tpk: missing.tpk: cannot be opened: No such file or directory\n"
            "tpk: folder: is a folder, not a package file\n");
  EXPECT_EQ(result.out, "hello-3.22.tpk: good\n");
}

TEST_F(TpkProgram, DumpsFilesAndStandardInput) {
  writePackage("hello");
  EXPECT_TRUE(run({"build", "hello", "--key", PRODUCT_DATA_DIR}).exited(0));
  const std::string package = readFile(path("hello-3.22.tpk"));
  const ProcessResult file = run({"dump", "hello-3.22.tpk"});
  EXPECT_TRUE(file.exited(0)) << file;
  EXPECT_THAT(file.out, StartsWith("hello-3.22.tpk: "));
  EXPECT_THAT(file.out, EndsWith("\n\nverdict: good\n"));
  EXPECT_EQ(file.err, "");

  const ProcessResult full = run({"dump", "--full", "-"}, package);
  EXPECT_TRUE(full.exited(0)) << full;
  EXPECT_THAT(full.out, StartsWith("standard input: "));
  EXPECT_GT(full.out.size(), file.out.size());

  EXPECT_TRUE(run({"dump", "-"}, package + "x").exited(1));
  EXPECT_TRUE(run({"dump", "missing.tpk"}).exited(3));
  EXPECT_TRUE(run({"dump"}).exited(2));
  EXPECT_TRUE(run({"product", "new", "mine"}).exited(0));
  EXPECT_TRUE(run({"dump", "--product", "mine", "hello-3.22.tpk"}).exited(1));
}

// What a terminal would get; the child has a terminal of its own.
std::string onTerminal(const std::string& file, const char* noColour) {
  int master = -1;
  const pid_t child = forkpty(&master, nullptr, nullptr, nullptr);
  if (child == 0) {
    if (noColour) {
      setenv("NO_COLOR", noColour, 1);
    } else {
      unsetenv("NO_COLOR");
    }
    execl(TPK_PROGRAM, TPK_PROGRAM, "dump", file.c_str(), nullptr);
    _exit(127);
  }
  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(master, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(got));
  int status = 0;
  waitpid(child, &status, 0);
  close(master);
  return text;
}

TEST_F(TpkProgram, DumpIsColouredOnATerminalOnly) {
  NEEDS_TERMINALS();
  writeFile(path("p.tpk"), "no package");
  EXPECT_THAT(run({"dump", "p.tpk"}).out, Not(HasSubstr("\033")));
  EXPECT_THAT(onTerminal(path("p.tpk"), nullptr), HasSubstr("\033[31m^ here: wrong magic"));
  EXPECT_THAT(onTerminal(path("p.tpk"), ""), HasSubstr("\033["));
  const std::string plain = onTerminal(path("p.tpk"), "1");
  EXPECT_THAT(plain, HasSubstr("^ here: wrong magic"));
  EXPECT_THAT(plain, Not(HasSubstr("\033")));
}

TEST_F(TpkProgram, RefusesAnotherProductsPackages) {
  EXPECT_TRUE(run({"product", "new", "mine"}).exited(0));
  writePackage("hello");
  EXPECT_TRUE(run({"build", "hello", "--key", "mine"}).exited(0));
  EXPECT_TRUE(run({"verify", "hello-3.22.tpk"}).exited(1));
}

TEST_F(TpkProgram, BadDescriptionsAreStatusOne) {
  writeFile(path("package.toml"), "name = \"one\"\n");
  const ProcessResult result = run({"build", "package.toml"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(result.err, "tpk: package.toml:1: version is missing; add version = \"1.0\"\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(listTree(temp_.path(), 0), "/package.toml file\n");
}

TEST_F(TpkProgram, WrongUseIsStatusTwo) {
  EXPECT_TRUE(run({}).exited(2));
  EXPECT_TRUE(run({"build"}).exited(2));
  EXPECT_TRUE(run({"verify"}).exited(2));
  EXPECT_TRUE(run({"product"}).exited(2));
  EXPECT_TRUE(run({"product", "new"}).exited(2));
  EXPECT_TRUE(run({"unknown"}).exited(2));
  EXPECT_TRUE(run({"build", "x", "--unknown"}).exited(2));
}

TEST_F(TpkProgram, MissingFilesAreStatusThree) {
  const ProcessResult result = run({"verify", "missing.tpk"});
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(result.err, "tpk: missing.tpk: cannot be opened: No such file or directory\n");
  EXPECT_TRUE(run({"build", "missing"}).exited(3));
}

TEST_F(TpkProgram, ProductDataIsNotOverwritten) {
  EXPECT_TRUE(run({"product", "new", "mine"}).exited(0));
  const std::string before = listTree(path("mine"), kTreeContents | kTreeMode);
  const ProcessResult again = run({"product", "new", "mine"});
  EXPECT_TRUE(again.exited(1)) << again;
  EXPECT_EQ(again.err, "tpk: mine/public-key: exists already and is not overwritten\n");
  EXPECT_EQ(listTree(path("mine"), kTreeContents | kTreeMode), before);
}

TEST_F(TpkProgram, Helps) {
  const ProcessResult result = run({"--help"});
  EXPECT_TRUE(result.exited(0));
  EXPECT_THAT(result.out, HasSubstr("build"));
}

}  // namespace
