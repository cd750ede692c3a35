// "--show": the installed packages as a table.
#include "tests/program/world.h"

namespace {

constexpr char kHead[] =
    "            Name           Version                     Built\n"
    "------------------------------------------------------------\n";

class Listing : public testing::Test {
 protected:
  void SetUp() override { NEEDS_CHROOT(); }

  void expectRows(const std::string& rows) {
    const std::string tree = router.tree();
    const ProcessResult result = router.run({"--show"});
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(result.out, kHead + rows);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(router.tree(), tree);
  }

  Router router;
};

TEST_F(Listing, OfNoPackageIsTheHead) { expectRows(""); }

TEST_F(Listing, RowHasNameVersionAndTimeInColumns) {
  router.installed({"ppp", k3_20rc2, 1234567890});
  expectRows("             ppp           3.20rc2      Feb/13/2009 23:31:30\n");
}

TEST_F(Listing, DisabledPackageIsMarked) {
  Record record = {"ppp", k3_22_1, 1234567890};
  record.disabled = "auto";
  router.installed(record);
  expectRows("             ppp X          3.22.1      Feb/13/2009 23:31:30\n");
}

TEST_F(Listing, LongNamePushesItsRowToTheRight) {
  router.installed({"a-name-of-twenty-one!", k3_22, 0});
  expectRows("a-name-of-twenty-one!              3.22      Jan/01/1970 00:00:00\n");
}

TEST_F(Listing, LastBuildTimeIsUnsigned) {
  router.installed({"ppp", k3_22, 0xFFFFFFFF});
  expectRows("             ppp              3.22      Feb/07/2106 06:28:15\n");
}

TEST_F(Listing, PackagesStandInTheOrderOfTheDatabase) {
  for (const char* name : {"zebra", "ant", "moth", "bee", "Wasp"}) router.installed({name, k3_22});
  std::string rows;
  for (const std::string& name : router.scanOrder("/flash/var/pdb")) {
    rows += std::string(16 - name.size(), ' ') + name +
            "              3.22      Jan/01/1970 00:00:00\n";
  }
  expectRows(rows);
}

TEST_F(Listing, BundlesAndMembersAreRowsLikeAnyOther) {
  Record bundle = {"combo", k3_22};
  bundle.isBundle = true;
  router.installed(bundle);
  expectRows("           combo              3.22      Jan/01/1970 00:00:00\n");
}

TEST_F(Listing, DamagedRecordIsShownAsFarAsItCouldBeRead) {
  router.folder("/flash/var/pdb/broken");
  expectRows("          broken               0.0      Jan/01/1970 00:00:00\n");
}

TEST_F(Listing, PlainFileInTheDatabaseIsAPackage) {
  router.put("/flash/var/pdb/image", "whatever");
  expectRows("           image               0.0      Jan/01/1970 00:00:00\n");
}

TEST_F(Listing, EntriesThatBeginWithADotAreNoPackages) {
  router.folder("/flash/var/pdb/.hidden").put("/flash/var/pdb/.lock", "");
  expectRows("");
}

TEST_F(Listing, QuietModeListsAllTheSame) {
  const ProcessResult result = router.run({"-q", "--show"});
  EXPECT_EQ(result.out, kHead) << result;
}

TEST_F(Listing, MissingDatabaseIsAWarning) {
  removeTree(router.path("/flash/var/pdb"));
  const ProcessResult result = router.run({"--show"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, std::string("WARNING: could not open repo\n") + kHead);
  // Listing is no reason to write to flash.
  EXPECT_FALSE(router.has("/flash/postlog"));
}

TEST_F(Listing, MissingDatabaseIsNoWarningInQuietMode) {
  removeTree(router.path("/flash/var/pdb"));
  EXPECT_EQ(router.run({"-q", "--show"}).out, kHead);
}

// Reading the database takes the requests up, whatever the mode: they are gone afterwards.
TEST_F(Listing, ScheduledRequestIsTakenUpAndNotCarriedOut) {
  router.installed({"ppp", k3_22, 0}).schedule("ppp", "uninstall");
  const ProcessResult result = router.run({"--show"});
  EXPECT_EQ(result.out,
            std::string(kHead) + "             ppp              3.22      Jan/01/1970 00:00:00\n");
  EXPECT_FALSE(router.has("/ram/pdb/ppp/schedule"));
  EXPECT_TRUE(router.has("/flash/var/pdb/ppp/version"));
}

}  // namespace
