#include "tools/tpk/lint/lint.h"

#include "tests/tpk/lint/lintfixture.h"

#include <filesystem>
#include <set>

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;

constexpr char kProject[] = TEST_DATA_DIR "/../..";

class Lint : public LintTest {
 protected:
  // With something of everything, and nothing wrong. A script costs a run of bash each time.
  static PackBuilder clean(bool withScript = true) {
    PackBuilder bundle = beginBundle()
                             .part(kPartDescription, "two packages")
                             .list(kPartRequires, {system()})
                             .list(kPartProvides, {{"pair", kVersion, 0, 3}})
                             .image()
                             .list(kPartTurnOff, {{"two", 0, 0, 0}});
    add(bundle).list(kPartConflicts, {{"old", 0, kVersion, 0}});
    if (withScript) bundle.part(kPartOnInstall, "#!/bin/bash\necho done\n");
    bundle
        .archive(ArchiveBuilder()
                     .owner(1, 2)
                     .time(kBuildTime)
                     .directory("bin")
                     .regular("bin/a", "text", 0755)
                     .symlink("bin/b", "a")
                     .fifo("bin/c"))
        .sign();
    return add(bundle, "two", {system(), {"one", 0, 0, 0}}).sign();
  }
  // Any finding is as good as any other: what counts is that it comes to an end.
  void survive(const std::string& bytes) const {
    writeFile(path("bad.tpk"), bytes);
    lintFiles({path("bad.tpk")}, options_);
  }
};

TEST_F(Lint, CleanPackagesHaveNoFindings) {
  EXPECT_EQ(lint(clean()), "");
  EXPECT_EQ(lintText({}), "");
}

TEST_F(Lint, DescriptionsNeedNoSignature) {
  writeFile(path("one/package.toml"),
            "name = \"one\"\nversion = \"1.0\"\nbuild-time = 1000\nfiles = \"root\"\n"
            "requires = [{ name = \"system\", min = \"3.22\" }]\n");
  makeFolders(path("one/root"));
  EXPECT_EQ(lint({path("one")}), "");
  EXPECT_EQ(lint({path("one/package.toml")}), "");
}

TEST_F(Lint, NothingIsLeftOfWhatWasBuilt) {
  writeFile(path("one/package.toml"), "name = \"one\"\nversion = \"1.0\"\nbuild-time = 1000\n");
  makeFolders(path("tmp"));
  const char* const before = std::getenv("TMPDIR");
  const std::string kept = before ? before : "";
  ::setenv("TMPDIR", path("tmp").c_str(), 1);
  EXPECT_EQ(lint({path("one")}),
            "warning system-requirement one-1.0: does not require system 3.22 or newer\n");
  before ? ::setenv("TMPDIR", kept.c_str(), 1) : ::unsetenv("TMPDIR");
  EXPECT_EQ(listTree(path("tmp"), 0), "");
  EXPECT_EQ(listTree(path("one"), 0), "/package.toml file\n");
}

TEST_F(Lint, ExamplesHaveNoErrors) {
  std::filesystem::copy(std::string(kProject) + "/examples", path("examples"),
                        std::filesystem::copy_options::recursive);
  unsigned count = 0;
  for (const auto& example : std::filesystem::directory_iterator(path("examples"))) {
    // The demo fills some of them with files of the machine.
    makeFolders(example.path().string() + "/root");
    const auto findings = lintFiles({example.path().string()}, options_);
    EXPECT_EQ(countFindings(findings, Severity::kError), 0u) << lintText(findings);
    ++count;
  }
  EXPECT_GE(count, 8u);
}

TEST_F(Lint, TextNamesPlaceMeaningAndRemedy) {
  const std::string file = put(
      "one.tpk", begin("one", {}).archive(ArchiveBuilder().regular("\x1b[2J", "", 04755)).sign());
  EXPECT_EQ(lintText(lintFiles({file}, options_)),
            file +
                ": one-1.0: warning: does not require system 3.22 or newer [system-requirement]\n"
                "    The clean-up of a router takes every package away that does not require "
                "\"system\" with a lower bound of 3.22 or newer.\n"
                "    Add { name = \"system\", min = \"3.22\" } to the requirements.\n" +
                file +
                ": one-1.0: \\x1b[2J: warning: mode 4755 [set-id]\n"
                "    The program runs with its owner's or its group's rights, whoever starts it.\n"
                "    Drop the setuid and setgid bits unless the program is written for them.\n"
                "0 errors, 2 warnings, 0 notes\n");
}

TEST_F(Lint, JsonHasFindingsAndCounts) {
  EXPECT_EQ(lintJson({}),
            "{\n  \"findings\": [],\n  \"errors\": 0,\n  \"warnings\": 0,\n  \"notes\": 0\n}\n");
  const std::string file =
      put("one.tpk", begin().archive(ArchiveBuilder().regular("\xff", "", 04755)).sign());
  const std::string json = lintJson(lintFiles({file}, options_));
  EXPECT_THAT(json, HasSubstr("\"severity\": \"warning\",\n      \"id\": \"set-id\",\n"
                              "      \"file\": \"" +
                              file +
                              "\",\n"
                              "      \"package\": \"one-1.0\",\n"
                              "      \"entry\": \"\\\\xff\",\n"
                              "      \"entry-hex\": \"ff\",\n"
                              "      \"text\": \"mode 4755\",\n"));
  EXPECT_THAT(json, HasSubstr("\"warnings\": 1,"));
}

TEST_F(Lint, DocumentHasEveryCheck) {
  EXPECT_NE(readFile(std::string(kProject) + "/docs/lint.md").find(lintRuleTable()),
            std::string::npos)
      << "docs/lint.md does not have the table that tpk lint --rules prints";
}

TEST_F(Lint, EveryCheckHasItsOwnId) {
  std::set<std::string> ids;
  for (const LintRule& rule : allLintRules()) {
    EXPECT_TRUE(ids.insert(rule.id).second) << rule.id;
    EXPECT_EQ(std::string(rule.id).find_first_not_of("abcdefghijklmnopqrstuvwxyz-"),
              std::string::npos)
        << rule.id;
  }
}

TEST_F(Lint, EveryCheckHasATest) {
  std::string tests;
  for (const char* subject : {"container", "headers", "archive", "paths", "scripts", "set"})
    tests += readFile(std::string(kProject) + "/tests/tpk/lint/lint" + subject + "_test.cpp");
  for (const LintRule& rule : allLintRules())
    EXPECT_NE(tests.find(std::string(severityWord(rule.severity)) + " " + rule.id),
              std::string::npos)
        << "no test beside this one finds " << rule.id;
}

TEST_F(Lint, CutFilesComeToAnEnd) {
  const std::string whole = clean(false).finish();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    std::string cut = whole.substr(0, size);
    survive(cut);
    // The same with a length that fits, so that what is inside is looked at.
    if (size < FileHeader::kSize) continue;
    put32(reinterpret_cast<unsigned char*>(&cut[FileHeader::kLength]),
          static_cast<std::uint32_t>(size - FileHeader::kSize));
    survive(cut);
  }
}

TEST_F(Lint, FlippedBytesComeToAnEnd) {
  const std::string whole = clean(false).finish();
  const unsigned char masks[] = {0x01, 0x80, 0xff};
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string flipped = whole;
    // Each signature costs a while: one mask for each byte.
    flipped[i] = static_cast<char>(flipped[i] ^ masks[i % 3]);
    survive(flipped);
  }
}

TEST_F(Lint, FlippedArchivesComeToAnEnd) {
  const std::string whole = ArchiveBuilder()
                                .directory("bin")
                                .regular("bin/a", "text")
                                .symlink("bin/b", "a")
                                .charDevice("bin/c", 5)
                                .bytes();
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string flipped = whole;
    flipped[i] = static_cast<char>(flipped[i] ^ 0xff);
    survive(begin().archive(ArchiveBuilder().raw(flipped)).sign().finish());
    survive(begin().archive(ArchiveBuilder().raw(whole.substr(0, i))).sign().finish());
  }
}

}  // namespace
