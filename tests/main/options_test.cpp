// The command line, argument by argument.
#include "main/options.h"

#include "repo/repo.h"

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr unsigned kDown = 2;
constexpr unsigned kAgain = 4;

class CommandLine : public testing::Test {
 protected:
  void SetUp() override { console_ = std::cout.rdbuf(output_.rdbuf()); }
  void TearDown() override { std::cout.rdbuf(console_); }

  // Whether the arguments are understood; options_ has what they say.
  bool parse(const std::vector<std::string>& arguments) {
    texts_ = arguments;
    texts_.insert(texts_.begin(), "installer");
    pointers_.clear();
    for (std::string& text : texts_) pointers_.push_back(&text[0]);
    pointers_.push_back(nullptr);
    options_ = Options();
    return parseOptions(static_cast<int>(texts_.size()), pointers_.data(), options_);
  }
  std::string written() const { return output_.str(); }
  std::string gcDirectories() const {
    std::string text;
    for (const char* directory : options_.gcDirectories) text += std::string(directory) + '|';
    return text;
  }

  Options options_;

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
  std::ostringstream output_;
  std::streambuf* console_ = nullptr;
};

TEST_F(CommandLine, NoArgumentsAreTheDefaults) {
  EXPECT_TRUE(parse({}));
  EXPECT_FALSE(options_.quiet);
  EXPECT_FALSE(options_.show);
  EXPECT_FALSE(options_.fileGc);
  EXPECT_FALSE(options_.cleanUp);
  EXPECT_FALSE(options_.imageFromStdin);
  EXPECT_EQ(options_.root, "");
  EXPECT_EQ(options_.extra, "");
  EXPECT_EQ(options_.packagePath, "");
  EXPECT_EQ(options_.installFlags, 0U);
  EXPECT_EQ(gcDirectories(), "");
  EXPECT_EQ(written(), "");
}

TEST_F(CommandLine, ArgumentCountOfZeroIsFine) {
  char* none[] = {nullptr};
  EXPECT_TRUE(parseOptions(0, none, options_));
}

// Arguments that end the parsing.

TEST_F(CommandLine, FileGcTakesTheRestAsDirectories) {
  EXPECT_TRUE(parse({"-q", "--filegc", "/bin", "-q", "--show", "x", "-", "a.tpk"}));
  EXPECT_TRUE(options_.fileGc);
  EXPECT_EQ(gcDirectories(), "/bin|-q|--show|x|-|a.tpk|");
  EXPECT_FALSE(options_.show);
  EXPECT_TRUE(options_.quiet);
}

TEST_F(CommandLine, FileGcAloneHasNoDirectories) {
  EXPECT_TRUE(parse({"--filegc"}));
  EXPECT_TRUE(options_.fileGc);
  EXPECT_EQ(gcDirectories(), "");
}

TEST_F(CommandLine, CleanUpIgnoresTheRest) {
  EXPECT_TRUE(parse({"--cleanup", "nonsense", "--filegc", "--reinstall"}));
  EXPECT_TRUE(options_.cleanUp);
  EXPECT_FALSE(options_.fileGc);
  EXPECT_EQ(options_.installFlags, 0U);
  EXPECT_EQ(written(), "");
}

TEST_F(CommandLine, DashIgnoresTheRest) {
  EXPECT_TRUE(parse({"-", "nonsense", "-down", "-r"}));
  EXPECT_TRUE(options_.imageFromStdin);
  EXPECT_EQ(options_.installFlags, 0U);
}

TEST_F(CommandLine, ArgumentsBeforeTheEndCount) {
  EXPECT_TRUE(parse({"-q", "-r", "/root", "-down", "-"}));
  EXPECT_TRUE(options_.quiet);
  EXPECT_EQ(options_.root, "/root");
  EXPECT_EQ(options_.installFlags, kDown);
  EXPECT_TRUE(options_.imageFromStdin);
}

// Arguments with a value.

TEST_F(CommandLine, RootIsTheNextArgument) {
  EXPECT_TRUE(parse({"-r", "/root"}));
  EXPECT_EQ(options_.root, "/root");
}

TEST_F(CommandLine, LaterRootOverrides) {
  EXPECT_TRUE(parse({"-r", "/one", "-r", "/two"}));
  EXPECT_EQ(options_.root, "/two");
}

TEST_F(CommandLine, AnyArgumentIsAValue) {
  for (const char* value : {"-q", "--show", "-", "--filegc", "--cleanup", "a.tpk", "-r", "", "x"}) {
    EXPECT_TRUE(parse({"-r", value})) << value;
    EXPECT_EQ(options_.root, value);
    EXPECT_FALSE(options_.quiet || options_.show || options_.imageFromStdin || options_.fileGc);
    EXPECT_EQ(options_.packagePath, "");
  }
}

TEST_F(CommandLine, ValueOfMonthIsIgnored) {
  EXPECT_TRUE(parse({"--month", "--show", "-q"}));
  EXPECT_FALSE(options_.show);
  EXPECT_TRUE(options_.quiet);
}

TEST_F(CommandLine, ValueOfXIsKept) {
  EXPECT_TRUE(parse({"-x", "one", "-x", "--show"}));
  EXPECT_EQ(options_.extra, "--show");
  EXPECT_FALSE(options_.show);
}

TEST_F(CommandLine, MissingValueIsNotUnderstood) {
  EXPECT_FALSE(parse({"-r"}));
  EXPECT_FALSE(parse({"--month"}));
  EXPECT_FALSE(parse({"-x"}));
  EXPECT_FALSE(parse({"-q", "-r"}));
  EXPECT_FALSE(parse({"-r", "/root", "-r"}));
}

// Switches.

TEST_F(CommandLine, Quiet) {
  EXPECT_TRUE(parse({"-q"}));
  EXPECT_TRUE(options_.quiet);
}

TEST_F(CommandLine, DownAllowsDowngrades) {
  EXPECT_TRUE(parse({"-down"}));
  EXPECT_EQ(options_.installFlags, kDown);
  EXPECT_EQ(kDown, static_cast<unsigned>(kAllowDowngrade));
}

TEST_F(CommandLine, ReinstallSaysSoAtOnce) {
  EXPECT_TRUE(parse({"--reinstall"}));
  EXPECT_EQ(options_.installFlags, kAgain);
  EXPECT_EQ(kAgain, static_cast<unsigned>(kReinstall));
  EXPECT_EQ(written(), "\nResuming upgrade...\n");
}

TEST_F(CommandLine, ReinstallSaysSoEachTime) {
  EXPECT_TRUE(parse({"--reinstall", "--reinstall"}));
  EXPECT_EQ(options_.installFlags, kAgain);
  EXPECT_EQ(written(), "\nResuming upgrade...\n\nResuming upgrade...\n");
}

TEST_F(CommandLine, ReinstallSaysSoThoughQuiet) {
  EXPECT_TRUE(parse({"-q", "--reinstall"}));
  EXPECT_EQ(written(), "\nResuming upgrade...\n");
}

TEST_F(CommandLine, ReinstallSaysSoBeforeAnErrorIsFound) {
  EXPECT_FALSE(parse({"--reinstall", "nonsense"}));
  EXPECT_EQ(written(), "\nResuming upgrade...\n");
}

TEST_F(CommandLine, FlagsAddUp) {
  EXPECT_TRUE(parse({"-down", "--reinstall", "-down"}));
  EXPECT_EQ(options_.installFlags, kDown | kAgain);
}

TEST_F(CommandLine, OldSwitchesAreIgnored) {
  EXPECT_TRUE(parse({"-b", "--force", "--noupgrade", "-i"}));
  EXPECT_EQ(options_.installFlags, 0U);
  EXPECT_FALSE(options_.quiet || options_.show);
  EXPECT_EQ(written(), "");
}

TEST_F(CommandLine, ShowDoesNotEndTheParsing) {
  EXPECT_TRUE(parse({"--show", "-q", "-r", "/root"}));
  EXPECT_TRUE(options_.show);
  EXPECT_TRUE(options_.quiet);
  EXPECT_EQ(options_.root, "/root");
}

TEST_F(CommandLine, StrayArgumentBehindShowIsNotUnderstood) {
  EXPECT_FALSE(parse({"--show", "x"}));
}

// Package files.

TEST_F(CommandLine, PackageFileIsTaken) {
  EXPECT_TRUE(parse({"some/folder/a.tpk"}));
  EXPECT_EQ(options_.packagePath, "some/folder/a.tpk");
}

TEST_F(CommandLine, PackageFileDoesNotEndTheParsing) {
  EXPECT_TRUE(parse({"a.tpk", "--show"}));
  EXPECT_EQ(options_.packagePath, "a.tpk");
  EXPECT_TRUE(options_.show);
}

TEST_F(CommandLine, SuffixAloneIsAPackageFile) {
  EXPECT_TRUE(parse({".tpk"}));
  EXPECT_EQ(options_.packagePath, ".tpk");
}

TEST_F(CommandLine, PackageFileMayLookLikeAnOption) {
  EXPECT_TRUE(parse({"--x.tpk"}));
  EXPECT_EQ(options_.packagePath, "--x.tpk");
}

TEST_F(CommandLine, SecondPackageFileIsNotUnderstood) {
  EXPECT_FALSE(parse({"a.tpk", "b.tpk"}));
  EXPECT_FALSE(parse({"a.tpk", "-q", "a.tpk"}));
}

TEST_F(CommandLine, OtherSuffixesAreNotUnderstood) {
  for (const char* path :
       {"a.mpk", "a.TPK", "a.Tpk", "a.tpk ", "a.tpkx", "a.tp", "tpk", "a", "pk"}) {
    EXPECT_FALSE(parse({path})) << path;
  }
}

// Everything else.

TEST_F(CommandLine, UnknownArgumentsAreNotUnderstood) {
  for (const char* argument : {"", "x", "--", "-Q", "-qq", "--quiet", "--Show", "--show ",
                               "-down=1", "--down", "-reinstall", "-s", "--file-gc",
                               "--filegc=/bin", "-r/root", "--help", "-h", "--cleanup2", "-0"}) {
    EXPECT_FALSE(parse({argument})) << argument;
    EXPECT_FALSE(parse({"-q", argument})) << argument;
  }
  EXPECT_EQ(written(), "") << "the caller prints the usage line";
}

TEST_F(CommandLine, ParsingEndsAtTheFirstThatIsNotUnderstood) {
  EXPECT_FALSE(parse({"x", "--reinstall"}));
  EXPECT_EQ(written(), "");
}

TEST_F(CommandLine, UsageLine) {
  printUsage();
  EXPECT_EQ(written(), "usage: installer [-q] [--filegc] [-r <root>] [-]\n");
}

}  // namespace
