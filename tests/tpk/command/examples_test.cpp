// Every example: built with the program, verified, installed with the real installer, and what the
// router then has compared with a text that was held against the description by eye
// (examples/NAME.txt beside this file).
#include "tests/support/privilege.h"
#include "tests/support/router.h"
#include "tests/tpk/program.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

enum : std::uint32_t { k3_22 = 0x03166600 };

const char kNow[] = "now";

std::vector<std::string> exampleNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(EXAMPLES_DIR))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// Of a line of a listing.
std::string pathOf(const std::string& line) { return line.substr(0, line.find(' ')); }

// Folders that the installer itself makes have the time of day.
std::string withoutTimeOfDay(const std::string& line) {
  const auto at = line.find(" time=");
  if (at == std::string::npos) return line;
  const std::time_t time = std::stoll(line.substr(at + 6));
  const bool isNow = std::time(nullptr) - time < 3600;
  return isNow ? line.substr(0, at) + " time=" + kNow : line;
}

class Example : public TpkProgram, public ::testing::WithParamInterface<std::string> {
 protected:
  static constexpr unsigned kFields = kTreeMode | kTreeOwner | kTreeSize | kTreeTime | kTreeTypes;

  void SetUp() override {
    // A copy, as the modes and times of a checkout depend on who made it.
    fs::copy(EXAMPLES_DIR, path("examples"),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fillAsTheDemoDoes();
    writeFile(path("examples/layers/product/name"), "big router\n", 0640);
    const timespec old[] = {{1600000000, 0}, {1600000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path("examples/layers/product/name").c_str(), old, 0), 0);
    ASSERT_EQ(chmod(path("examples/layers/product/name").c_str(), 0640), 0);
  }

  void fillAsTheDemoDoes() const {
    writeFile(path("examples/system/root/bin/bash"), "the shell", 0755);
    writeFile(path("examples/licenses/root/doc/licenses/one"), "a license", 0644);
    writeFile(path("examples/toolbox/root/bin/gunzip"), "a script", 0755);
  }

  std::string packagePath() const { return path(GetParam() + ".tpk"); }

  void build(const std::string& manifest, const std::string& to) const {
    Command command;
    command.words = {TPK_PROGRAM, "build", manifest, "--key", PRODUCT_DATA_DIR, "-o", to};
    command.environment = {"SOURCE_DATE_EPOCH=1700000000"};
    const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(result.err, "");
  }

  // What stands on the router before: what the examples require.
  static void prepare(Router& router) {
    Record system = {"system", k3_22, 100};
    system.files = {"/lib/system"};
    Record licenses = {"licenses", 0x01006600, 100};
    licenses.files = {"/doc/licenses/old"};
    router.installed(system);
    if (GetParam() != "system") router.withShell();
    if (GetParam() == "toolbox") router.installed(licenses);
  }

  // What the run has brought, outside the database and the installer's own notes.
  static std::string changes(const std::string& before, const std::string& after) {
    static const std::set<std::string> own = {"/flash/PCKGS_CHANGED", "/flash/postlog"};
    std::set<std::string> old;
    std::istringstream oldLines(before);
    for (std::string line; std::getline(oldLines, line);) old.insert(pathOf(line));
    std::string text;
    std::istringstream lines(after);
    for (std::string line; std::getline(lines, line);) {
      const std::string file = pathOf(line);
      if (old.count(file) == 0 && own.count(file) == 0 && file.rfind("/flash/var/pdb/", 0) != 0)
        text += withoutTimeOfDay(line) + "\n";
    }
    return text;
  }

  // The records of what was installed; how large a compressed file is depends on zlib.
  static std::string records(const Router& router) {
    static const std::regex system("== system/(deps|files|version)\n(?!51799552 1700000000)[^=]*");
    static const std::regex size("<[0-9]+ bytes>");
    const std::string all = std::regex_replace(router.database(), size, "<bytes>");
    return GetParam() == "system" ? all : std::regex_replace(all, system, "");
  }
};

TEST_P(Example, IsInstalledAsItsDescriptionSays) {
  NEEDS_CHROOT();
  static const std::set<std::string> withOwners = {"devices", "entries", "fifo", "rules", "tar"};
  if (withOwners.count(GetParam()) != 0) NEEDS_CHOWN();
  if (GetParam() == "devices") NEEDS_MKNOD();
  build(path("examples/" + GetParam()), packagePath());
  const ProcessResult verified = run({"verify", packagePath()});
  EXPECT_TRUE(verified.exited(0)) << verified;

  Router router;
  prepare(router);
  const std::string before = router.treeOf("/flash", kFields);
  router.put("/in.tpk", readFile(packagePath()));
  const ProcessResult result = router.run({"/in.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;

  const std::string seen = changes(before, router.treeOf("/flash", kFields)) + records(router);
  EXPECT_EQ(seen, readFile(std::string(EXPECTED_DIR) + "/" + GetParam() + ".txt"));
}

TEST_P(Example, IsTheSameBytesAfterExtractingAndBuildingAgain) {
  build(path("examples/" + GetParam()), packagePath());
  const ProcessResult extracted = run({"extract", packagePath(), "-C", "extracted"});
  EXPECT_TRUE(extracted.exited(0)) << extracted;
  EXPECT_EQ(extracted.err, "");
  build(path("extracted"), path("again.tpk"));
  const ProcessResult compared = run({"diff", packagePath(), "again.tpk"});
  EXPECT_TRUE(compared.exited(0)) << compared;
  EXPECT_TRUE(readFile(path("again.tpk")) == readFile(packagePath()));
}

INSTANTIATE_TEST_SUITE_P(Of, Example, ::testing::ValuesIn(exampleNames()), [](const auto& example) {
  std::string name = example.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace
