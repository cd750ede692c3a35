// The program itself: exit status and output of every command.
#include "tests/support/process.h"
#include "tests/support/tree.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using ::testing::HasSubstr;

class TpkProgram : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }

  // In the temp folder.
  ProcessResult run(std::vector<std::string> arguments) const {
    Command command;
    command.words = {TPK_PROGRAM};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    const std::string folder = temp_.path();
    command.prepare = [folder] { return chdir(folder.c_str()) == 0; };
    return Process(command).wait(std::chrono::seconds(15));
  }

  void writePackage(const std::string& name) const {
    writeFile(path(name + "/package.toml"),
              "name = \"" + name + "\"\nversion = \"3.22\"\nfiles = \"root\"\n");
    writeFile(path(name + "/root/etc/" + name), name);
  }

  TempFolder temp_;
};

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

TEST_F(TpkProgram, BuildsABundle) {
  writePackage("one");
  writePackage("two");
  writeFile(path("pair.toml"),
            "name = \"pair\"\nversion = \"1.0\"\n[bundle]\nmembers = [\"one\", \"two\"]\n");
  EXPECT_TRUE(run({"build", "pair.toml", "-o", "out.tpk", "--key", PRODUCT_DATA_DIR}).exited(0));
  EXPECT_EQ(run({"verify", "out.tpk"}).out, "out.tpk: good\n");
}

TEST_F(TpkProgram, SaysWhichPackagesAreBroken) {
  writePackage("hello");
  EXPECT_EQ(run({"build", "hello"}).out, "hello-3.22.tpk: unsigned\n");
  EXPECT_TRUE(run({"build", "hello", "-o", "signed.tpk", "--key", PRODUCT_DATA_DIR}).exited(0));
  writeFile(path("long.tpk"), readFile(path("signed.tpk")) + "x");

  const ProcessResult result = run({"verify", "hello-3.22.tpk", "signed.tpk", "long.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(result.out,
            "hello-3.22.tpk: broken: neither signed with the product's key nor in its list of "
            "known packages\n"
            "signed.tpk: good\n"
            "long.tpk: broken: its headers or its length are wrong\n");
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
  EXPECT_EQ(result.err, "tpk: package.toml:1: version is missing\n");
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
