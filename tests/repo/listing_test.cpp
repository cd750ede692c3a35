// The listing and the dump, byte for byte.
#include "model/version.h"
#include "repo/repo.h"
#include "tests/support/inroot.h"
#include "tests/support/packbuilder.h"

#include <cstdlib>
#include <ctime>

namespace {

class Listing : public InRoot {
 protected:
  Package* add(const std::string& name, std::uint32_t version, std::uint32_t buildTime) {
    auto* const package = new Package;
    package->name = name;
    package->version = version;
    package->buildTime = buildTime;
    repo_->addPackage(package);
    return package;
  }
  // What follows the header.
  std::string rows() {
    repo_->showPackages();
    const std::string console = takeConsole();
    return console.substr(header().size());
  }
  static std::string header() {
    return "            Name           Version                     Built\n" + std::string(60, '-') +
           '\n';
  }
};

TEST_F(Listing, EmptyRepositoryHasTheHeaderOnly) {
  repo_->showPackages();
  EXPECT_EQ(takeConsole(), header());
}

TEST_F(Listing, ColumnsAreRightAligned) {
  add("tool", kVersion, 1234567890);
  EXPECT_EQ(rows(), "            tool              3.22      Feb/13/2009 23:31:30\n");
}

TEST_F(Listing, DisabledPackageHasAMark) {
  add("tool", kVersion, 1234567890)->disabled = true;
  EXPECT_EQ(rows(), "            tool X            3.22      Feb/13/2009 23:31:30\n");
}

TEST_F(Listing, NameOfSixteenCharactersFillsItsColumn) {
  add("0123456789abcdef", kVersion, 1234567890);
  EXPECT_EQ(rows(), "0123456789abcdef              3.22      Feb/13/2009 23:31:30\n");
}

TEST_F(Listing, LongerNamePushesTheRestToTheRight) {
  add("0123456789abcdefghi", kVersion, 1234567890);
  EXPECT_EQ(rows(), "0123456789abcdefghi              3.22      Feb/13/2009 23:31:30\n");
}

TEST_F(Listing, BuildTimeOfZeroIsTheEpoch) {
  add("tool", kVersion, 0);
  EXPECT_EQ(rows(), "            tool              3.22      Jan/01/1970 00:00:00\n");
}

TEST_F(Listing, BuildTimesGoOnAfter2038) {
  add("tool", kVersion, 2147483648U);
  add("tool", kVersion, 4294967295U);
  EXPECT_EQ(rows(),
            "            tool              3.22      Jan/19/2038 03:14:08\n"
            "            tool              3.22      Feb/07/2106 06:28:15\n");
}

TEST_F(Listing, TimesAreUniversal) {
  setenv("TZ", "EAST-5", 1);
  tzset();
  add("tool", kVersion, 0);
  EXPECT_EQ(rows(), "            tool              3.22      Jan/01/1970 00:00:00\n");
  unsetenv("TZ");
  tzset();
}

TEST_F(Listing, VersionsHaveTheirText) {
  add("a", packVersion(255, 255, kKindFinal, 255), 0);
  add("b", packVersion(3, 20, kKindCandidate, 2), 0);
  EXPECT_EQ(rows(),
            "               a       255.255.255      Jan/01/1970 00:00:00\n"
            "               b           3.20rc2      Jan/01/1970 00:00:00\n");
}

TEST_F(Listing, OrderIsThatOfTheList) {
  add("b", kVersion, 0);
  add("a", kVersion, 0);
  const std::string text = rows();
  EXPECT_LT(text.find(" b "), text.find(" a "));
}

TEST_F(Listing, WidthsDoNotStay) {
  add("a", kVersion, 0);
  const std::string once = rows();
  EXPECT_EQ(rows(), once);
}

TEST_F(Listing, QuietListsAllTheSame) {
  repo_->init(true);
  repo_->showPackages();
  EXPECT_EQ(takeConsole(), header());
}

// The dump.

TEST_F(Listing, DumpOfAnEmptyRepository) {
  repo_->dump();
  EXPECT_EQ(takeConsole(), "\nused files:\n");
}

TEST_F(Listing, DumpShowsEveryPackageAndTheUsedFiles) {
  add("b", kVersion, 0)->files = {"/bin/b"};
  add("a", kVersion, 0)->disabled = true;
  RepoAccess::usedFiles() = {"/flash//bin/z", "/flash//bin/b"};
  repo_->dump();
  EXPECT_EQ(takeConsole(),
            "package <b> version=3.22\n"
            "  deps=\n"
            "  files=\n"
            "    /bin/b\n"
            "package <a> version=3.22\n"
            "   disabled\n"
            "  deps=\n"
            "  files=\n"
            "\n"
            "used files:\n"
            "/flash//bin/b\n"
            "/flash//bin/z\n");
}

}  // namespace
