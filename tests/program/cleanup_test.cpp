// "--cleanup": packages that were not made for this system go.
#include "tests/program/world.h"

namespace {

class CleanUp : public World {
 protected:
  static Record needing(const std::string& name, const std::vector<PackageDep>& deps) {
    Record record;
    record.name = name;
    record.version = k3_22;
    record.deps = deps;
    record.files = {"/lib/" + name};
    return record;
  }
  void expectRun(const Console& console, const Router::Arguments& arguments = {"--cleanup"}) {
    EXPECT_RUN(router.run(arguments), 0, console);
    // Neither the run log nor the change marker belong to this mode.
    EXPECT_FALSE(router.has("/flash/postlog"));
    EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
  }
  std::vector<std::string> packages() const { return router.names("/flash/var/pdb"); }
};

using Names = std::vector<std::string>;

TEST_F(CleanUp, PackageForThisSystemStays) {
  router.installed(needing("ppp", {dep("system", k3_22)}));
  expectRun(Console());
  EXPECT_EQ(packages(), (Names{"ppp", "system"}));
}

TEST_F(CleanUp, OneOfSeveralDependenciesIsEnough) {
  router.installed(needing("ppp", {dep("moth"), dep("system", k3_22), dep("system", k3_20rc2)}));
  router.installed(needing("moth", {}));
  expectRun(Console());
  EXPECT_EQ(packages(), (Names{"moth", "ppp", "system"}));
}

TEST_F(CleanUp, PackageForAnOlderSystemGoesInSilence) {
  router.installed(needing("ppp", {dep("system", k3_20rc2)}));
  expectRun(Console());
  EXPECT_EQ(packages(), (Names{"system"}));
  EXPECT_FALSE(router.has("/flash/lib/ppp"));
}

TEST_F(CleanUp, PackageThatDoesNotNeedTheSystemGoes) {
  router.installed(needing("ppp", {dep("moth", k3_22)})).installed(needing("moth", {}));
  expectRun(Console());
  EXPECT_EQ(packages(), (Names{"moth", "system"}));
}

TEST_F(CleanUp, ThreePackagesStayWhateverTheyNeed) {
  router.installed(needing("moth", {})).installed(needing("disk-drivers", {}));
  expectRun(Console());
  EXPECT_EQ(packages(), (Names{"disk-drivers", "moth", "system"}));
}

TEST_F(CleanUp, BundleFollowsItsMembers) {
  Record goes = {"goes", k3_22};
  Record stays = {"stays", k3_22};
  goes.isBundle = stays.isBundle = true;
  Record bad = needing("bad", {});
  bad.bundle = "goes";
  Record good = needing("good", {dep("system", k3_22)});
  good.bundle = "stays";
  router.installed(goes).installed(stays).installed(bad).installed(good);
  expectRun(Console());
  EXPECT_EQ(packages(), (Names{"good", "stays", "system"}));
}

TEST_F(CleanUp, PackageThatAnotherNeedsStays) {
  router.installed(needing("ppp", {}));
  router.installed(needing("vpn", {dep("system", k3_22), dep("ppp")}));
  Console console;
  console.warning("can not uninstall ppp-3.22: vpn depends on it");
  expectRun(console);
  EXPECT_EQ(packages(), (Names{"ppp", "system", "vpn"}));
}

TEST_F(CleanUp, PendingRequestsAreCarriedOutInSilenceFirst) {
  router.installed(needing("ppp", {dep("system", k3_22)})).schedule("ppp", "disable");
  expectRun(Console());
  EXPECT_EQ(router.record("ppp", "disabled"), "user\n");
}

TEST_F(CleanUp, DamagedRecordsGo) {
  router.installed(needing("ppp", {dep("system", k3_22)}));
  router.put("/flash/var/pdb/ppp/version", "new\n");
  expectRun(Console());
  EXPECT_EQ(packages(), (Names{"system"}));
}

TEST_F(CleanUp, NothingGoesWhenNothingWouldBeLeft) {
  router.put("/flash/var/pdb/system/disabled", "auto\n");
  router.installed(needing("ppp", {}));
  Console console;
  console.error("can not uninstall or disable all packages");
  expectRun(console);
  EXPECT_EQ(packages(), (Names{"ppp", "system"}));
}

TEST_F(CleanUp, QuietBehindItIsNotSeen) {
  router.put("/flash/var/pdb/system/disabled", "auto\n");
  Console console;
  // Once when what is pending is settled, which is silent, and once for the clean-up.
  console.error("can not uninstall or disable all packages");
  expectRun(console, {"--cleanup", "-q"});
}

TEST_F(CleanUp, QuietBeforeItCounts) {
  router.put("/flash/var/pdb/system/disabled", "auto\n");
  expectRun(Console(), {"-q", "--cleanup"});
}

TEST_F(CleanUp, EmptyDatabaseIsCleanAlready) {
  removeTree(router.path("/flash/var/pdb/system"));
  expectRun(Console());
}

}  // namespace
