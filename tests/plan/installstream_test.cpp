// Details of an installation from a stream that do not show, or not alone, in a run of the program.
#include "tests/plan/planworld.h"

#include <sstream>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr unsigned kUpgrade = kAllowUpgrade;

// "system" is there so that a plan may take everything else away.
class InstallFrom : public PlanWorld {
 protected:
  void SetUp() override {
    PlanWorld::SetUp();
    if (IsSkipped()) return;
    add("system");
    onlySystem_ = flash();
  }

  void expectOnlySystem() const {
    EXPECT_THAT(installed(), ElementsAre("system-1.0"));
    EXPECT_EQ(flash(), onlySystem_);
  }

  Lines onlySystem_;
};

TEST_F(InstallFrom, PutsThePackageIntoTheList) {
  EXPECT_EQ(install(packageFile({"app"})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0"));
  EXPECT_THAT(messages(), ElementsAre("installed app-1.0"));
  EXPECT_THAT(flash(), ElementsAre("/opt/app", "/opt/system", "/var/pdb/app/version",
                                   "/var/pdb/system/version"));
}

// Return values.

TEST_F(InstallFrom, WhatIsNoPackageGivesOne) {
  EXPECT_EQ(install(""), 1);
  EXPECT_EQ(install("no package"), 1);
  EXPECT_EQ(install(std::string(100, '\0')), 1);
  EXPECT_EQ(install(PackBuilder().finish()), 1);
  EXPECT_THAT(messages(), IsEmpty());
  expectOnlySystem();
}

TEST_F(InstallFrom, AFileThatBeginsWithAnotherPartGivesOne) {
  EXPECT_EQ(install(PackBuilder().part(kPartArchitecture, "mipsel").finish()), 1);
  PackBuilder file;
  file.list(kPartRequires, {dep("system")});
  appendPackage(file, {"app"});
  EXPECT_EQ(install(file.finish()), 1);
  expectOnlySystem();
}

TEST_F(InstallFrom, PartsThatMeanNothingArePassedOver) {
  PackBuilder file;
  file.part(99, "anything").part(kPartDescription, "text");
  appendPackage(file, {"app"});
  EXPECT_EQ(install(file.finish()), 0);
}

TEST_F(InstallFrom, APackageHeaderCutShortGivesOne) {
  EXPECT_EQ(install(PackBuilder().part(kPartPackage, "app").finish()), 1);
  expectOnlySystem();
}

TEST_F(InstallFrom, ABundleHeaderCutShortGivesOne) {
  EXPECT_EQ(install(PackBuilder().part(kPartBundle, "kit").finish()), 1);
  expectOnlySystem();
}

TEST_F(InstallFrom, ABundleWhoseRecordCannotBeMadeGivesOne) {
  writeFile("/flash/var/pdb/kit", "in the way");
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}})), 1);
  EXPECT_THAT(installed(), ElementsAre("system-1.0"));
}

TEST_F(InstallFrom, ARefusedPackageGivesOne) {
  EXPECT_EQ(install(packageFile({"app", k1_0, {dep("lib")}})), 1);
  EXPECT_THAT(messages(),
              ElementsAre("ERROR: can not install app-1.0: lib is not installed, but is required"));
  expectOnlySystem();
}

TEST_F(InstallFrom, ARefusedBundleGivesTwo) {
  EXPECT_EQ(install(bundleFile({"kit", k1_0, {dep("lib")}}, {{"app"}})), 2);
  EXPECT_THAT(messages(),
              ElementsAre("ERROR: can not install kit-1.0: lib is not installed, but is required"));
  expectOnlySystem();
}

TEST_F(InstallFrom, ABundleInConflictGivesTwo) {
  repo_->findPackage("system")->conflicts.push_back(dep("kit"));
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}})), 2);
  EXPECT_THAT(messages(),
              ElementsAre("ERROR: can not install kit-1.0: it conflicts with system-1.0"));
  expectOnlySystem();
}

TEST_F(InstallFrom, ABundleInConflictIsTakenWhenConflictsAreNotAskedFor) {
  repo_->findPackage("system")->conflicts.push_back(dep("kit"));
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}}), kUpgrade | kQuietConflicts), 0);
}

TEST_F(InstallFrom, ABundleWithoutAnInstalledMemberGivesThree) {
  EXPECT_EQ(install(bundleFile({"kit"}, {})), 3);
  EXPECT_EQ(install(bundleFile({"set"}, {{"app", k1_0, {dep("lib")}}})), 3);
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "set-1.0"));
}

// The copy of the stream.

TEST_F(InstallFrom, CopiesTheStreamByteForByte) {
  const std::string file = packageFile({"app"});
  std::istringstream in(file);
  std::stringbuf copy;
  EXPECT_EQ(repo_->installFrom(in, kUpgrade, choices_, &copy, nullptr), 0);
  EXPECT_EQ(copy.str(), file);
}

TEST_F(InstallFrom, CopiesABundleByteForByte) {
  const std::string file = bundleFile({"kit"}, {{"app"}, {"tool", k1_0, {dep("lib")}}});
  std::istringstream in(file);
  std::stringbuf copy;
  EXPECT_EQ(repo_->installFrom(in, kUpgrade, choices_, &copy, nullptr), 0);
  EXPECT_EQ(copy.str(), file);
}

// Counts how often it is told that it is whole.
class Copy : public std::stringbuf {
 public:
  unsigned flushes = 0;

 protected:
  int sync() override {
    ++flushes;
    return 0;
  }
};

TEST_F(InstallFrom, FlushesTheCopyOfAnInstalledPackage) {
  std::string file = packageFile({"app"});
  put32(reinterpret_cast<unsigned char*>(&file[4]), 100000);
  for (const unsigned flags : {kUpgrade, kUpgrade | kReinstall}) {
    std::istringstream in(file);
    Copy copy;
    EXPECT_EQ(repo_->installFrom(in, flags, choices_, &copy, nullptr), 0);
    EXPECT_EQ(copy.flushes, 1u);
  }
}

TEST_F(InstallFrom, DoesNotFlushTheCopyOfAPackageThatFailed) {
  const std::string file = packageFile({"app"});
  std::istringstream in(file.substr(0, file.size() - 1));
  Copy copy;
  EXPECT_EQ(repo_->installFrom(in, kUpgrade, choices_, &copy, nullptr), 1);
  EXPECT_EQ(copy.flushes, 0u);
}

TEST_F(InstallFrom, FlushesTheCopyOfABundleThatCameToItsEnd) {
  const std::string file = bundleFile({"kit"}, {{"app"}});
  // Bytes that the file header counts and that do not come.
  for (const unsigned missing : {0u, 1u, 5u, 6u, 1000u}) {
    SCOPED_TRACE(missing);
    std::string announced = file;
    put32(reinterpret_cast<unsigned char*>(&announced[4]),
          static_cast<std::uint32_t>(file.size() - FileHeader::kSize + missing));
    std::istringstream in(announced);
    Copy copy;
    EXPECT_EQ(repo_->installFrom(in, kUpgrade, choices_, &copy, nullptr), 0);
    EXPECT_EQ(copy.flushes, missing < PartHeader::kSize ? 1u : 0u);
  }
}

// The meta directory for an image.

TEST_F(InstallFrom, NamesTheMetaDirectoryOfAPackageWithAnImage) {
  EXPECT_EQ(install(packageFile({"app", k1_0, {}, {}, {}, true})), 0);
  EXPECT_EQ(imageDir_, "/flash/var/pdb/app/");
}

TEST_F(InstallFrom, NamesNoMetaDirectoryWithoutAnImage) {
  EXPECT_EQ(install(packageFile({"app"})), 0);
  EXPECT_EQ(imageDir_, "");
}

TEST_F(InstallFrom, NamesTheMetaDirectoryBeforeItIsDecidedWhetherToInstall) {
  EXPECT_EQ(install(packageFile({"app", k1_0, {dep("lib")}, {}, {}, true})), 1);
  EXPECT_EQ(imageDir_, "/flash/var/pdb/app/");
}

TEST_F(InstallFrom, NamesTheMetaDirectoryOfABundleWithAnImage) {
  EXPECT_EQ(install(bundleFile({"kit", k1_0, {}, {}, {}, true}, {{"app"}})), 0);
  EXPECT_EQ(imageDir_, "/flash/var/pdb/kit/");
}

TEST_F(InstallFrom, MembersDoNotNameTheirMetaDirectory) {
  const PackContents member = {"app", k1_0, {}, {}, {}, true};
  EXPECT_EQ(install(bundleFile({"kit"}, {member})), 0);
  EXPECT_EQ(imageDir_, "");
  EXPECT_EQ(install(bundleFile({"set", k1_0, {}, {}, {}, true}, {member})), 0);
  EXPECT_EQ(imageDir_, "/flash/var/pdb/set/");
}

TEST_F(InstallFrom, NeedsNoPlaceForTheMetaDirectory) {
  std::istringstream in(packageFile({"app", k1_0, {}, {}, {}, true}));
  EXPECT_EQ(repo_->installFrom(in, kUpgrade, choices_, nullptr, nullptr), 0);
}

// What the user chose.

TEST_F(InstallFrom, AChoiceToDisableCounts) {
  choices_["app"] = true;
  EXPECT_EQ(install(packageFile({"app"})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed (disabled) app-1.0"));
  EXPECT_EQ(readFile("/flash/var/pdb/app/disabled"), "user\n");
  EXPECT_TRUE(exists("/flash/x/app/opt/app"));
  EXPECT_TRUE(repo_->findPackage("app")->disabled);
  EXPECT_TRUE(repo_->findPackage("app")->userForced);
}

TEST_F(InstallFrom, AChoiceToEnableCounts) {
  choices_["app"] = false;
  EXPECT_EQ(install(packageFile({"app"})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed app-1.0"));
  EXPECT_EQ(readFile("/flash/var/pdb/app/enabled"), "user\n");
  EXPECT_TRUE(repo_->findPackage("app")->userForced);
}

TEST_F(InstallFrom, WithoutAChoiceItIsEnabledByItself) {
  choices_["other"] = true;
  EXPECT_EQ(install(packageFile({"app"})), 0);
  EXPECT_FALSE(exists("/flash/var/pdb/app/enabled"));
  EXPECT_FALSE(exists("/flash/var/pdb/app/disabled"));
  EXPECT_FALSE(repo_->findPackage("app")->userForced);
}

TEST_F(InstallFrom, AConflictDisablesWhateverWasChosen) {
  repo_->findPackage("system")->conflicts.push_back(dep("app"));
  choices_["app"] = false;
  EXPECT_EQ(install(packageFile({"app"})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed (disabled) app-1.0"));
  EXPECT_EQ(readFile("/flash/var/pdb/app/disabled"), "user\n");
}

TEST_F(InstallFrom, ChoicesCountForMembers) {
  choices_["app"] = true;
  EXPECT_EQ(install(bundleFile({"kit"}, {{"tool"}, {"app"}})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "tool-1.0", "app-1.0(disabled)"));
}

TEST_F(InstallFrom, ChoicesStayAsTheyAre) {
  choices_ = {{"app", true}, {"other", false}};
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}}, {dep("tool")})), 0);
  EXPECT_EQ(choices_, (std::map<std::string, bool>{{"app", true}, {"other", false}}));
}

// A package that is skipped.

TEST_F(InstallFrom, AnEqualPackageClearsTheStatusLineWithBlanks) {
  add("app");
  EXPECT_EQ(install(packageFile({"app"}), kUpgrade | kReinstall), 0);
  const std::string console = takeConsole();
  EXPECT_EQ(console, "\033[?25l\r" + std::string(78, ' ') + "\r\033[?25h" + "\033[?25l\r" +
                         std::string(78, ' ') + "\r\033[?25h" + "installed app-1.0\n");
}

TEST_F(InstallFrom, AnEqualPackageIsRefusedWithoutReinstalling) {
  add("app");
  EXPECT_EQ(install(packageFile({"app"})), 1);
  EXPECT_THAT(messages(),
              ElementsAre("WARNING: omitting package app-1.0: it is already installed"));
}

TEST_F(InstallFrom, AnEqualPackageIsToldWithTheStateThatItWouldGet) {
  add("app");
  choices_["app"] = true;
  EXPECT_EQ(install(packageFile({"app"}), kUpgrade | kReinstall), 0);
  EXPECT_THAT(messages(), ElementsAre("installed (disabled) app-1.0"));
  EXPECT_FALSE(repo_->findPackage("app")->disabled);
}

TEST_F(InstallFrom, AnEqualPackageThatCannotBeUsedIsRefused) {
  add("app");
  EXPECT_EQ(install(packageFile({"app", k1_0, {dep("lib")}}), kUpgrade | kReinstall), 1);
}

TEST_F(InstallFrom, AllowedUnusablePackagesAreInstalled) {
  PackContents pack = {"app"};
  pack.arch = "i386";
  EXPECT_EQ(install(packageFile(pack), kUpgrade | kQuietUnusable), 0);
  EXPECT_THAT(messages(), ElementsAre("installed app-1.0"));
}

TEST_F(InstallFrom, ASkippedMemberLeavesItsPartsBehind) {
  add("app", k2_0);
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"tool"}})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-2.0", "kit-1.0", "tool-1.0"));
  EXPECT_EQ(readFile("/flash/opt/app"), "2.0");
}

// Step by step.

TEST_F(InstallFrom, TheOldVersionIsReplacedAtTheEndOfTheList) {
  add("app");
  add("other");
  EXPECT_EQ(install(packageFile({"app", k2_0})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "other-1.0", "app-2.0"));
  EXPECT_EQ(readFile("/flash/opt/app"), "2.0");
}

TEST_F(InstallFrom, AForgedUpgradeLeavesNeitherVersion) {
  add("app");
  PackContents pack = {"app", k2_0};
  pack.genuine = false;
  EXPECT_EQ(install(packageFile(pack)), 1);
  EXPECT_THAT(messages(), ElementsAre("ERROR: installation of app-2.0 failed: broken package"));
  expectOnlySystem();
}

TEST_F(InstallFrom, WhatANewPackageForcesHappensBeforeItsFilesLand) {
  add("old");
  EXPECT_EQ(install(packageFile({"app", k1_0, {}, {dep("old")}})), 0);
  EXPECT_THAT(messages(), ElementsAre("disabled old-1.0", "installed app-1.0"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "old-1.0(disabled)", "app-1.0"));
}

TEST_F(InstallFrom, WhatADumbPackageForcesHappensAfterwardsAndInSilence) {
  add("old");
  EXPECT_EQ(install(packageFile({"app", k1_0, {}, {dep("old")}}, true)), 0);
  EXPECT_THAT(messages(), ElementsAre("installed app-1.0"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "old-1.0(disabled)", "app-1.0"));
}

TEST_F(InstallFrom, PendingRequestsOfOthersAreCarriedOutFirst) {
  add("old")->scheduledAction = kActionDisable;
  EXPECT_EQ(install(packageFile({"app"})), 0);
  EXPECT_THAT(messages(), ElementsAre("disabled old-1.0", "installed app-1.0"));
}

TEST_F(InstallFrom, ADumbPackageStandsBesideAnInstalledOneOfItsName) {
  add("app");
  EXPECT_EQ(install(packageFile({"app", k2_0}, true)), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0", "app-2.0"));
  EXPECT_EQ(readFile("/flash/opt/app"), "2.0");
  EXPECT_EQ(readFile("/flash/var/pdb/app/version"), std::to_string(k1_0) + " 0\n");
}

TEST_F(InstallFrom, ADumbPackageThatFailsIsNotPutIntoTheList) {
  PackContents pack = {"app"};
  pack.genuine = false;
  EXPECT_EQ(install(packageFile(pack, true)), 1);
  expectOnlySystem();
}

// The scheduled actions take the new package itself away. The sanitizers see whether anything that
// was freed is touched.

// The old version, which it needs, is not in the list any more when the actions are planned.
TEST_F(InstallFrom, APackageThatNeedsItsOldVersionIsTakenAwayBeforeItIsWritten) {
  add("app");
  EXPECT_EQ(install(packageFile({"app", k2_0, {dep("app", k1_0, k1_0)}})), 1);
  EXPECT_THAT(messages(), IsEmpty());
  expectOnlySystem();
}

TEST_F(InstallFrom, AMemberThatNeedsItsOldVersionIsTakenAwayBeforeItIsWritten) {
  add("app");
  const PackContents member = {"app", k2_0, {dep("app", k1_0, k1_0)}};
  EXPECT_EQ(install(bundleFile({"kit"}, {{"tool"}, member})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed kit-1.0"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "tool-1.0"));
  EXPECT_FALSE(exists("/flash/opt/app"));
  EXPECT_FALSE(exists("/flash/var/pdb/app"));
}

// The plan with the only member, which goes, takes the bundle too: nothing is left of it.
TEST_F(InstallFrom, AnOnlyMemberThatIsTakenAwayTakesItsBundleAway) {
  add("app");
  const PackContents member = {"app", k2_0, {dep("app", k1_0, k1_0)}};
  EXPECT_EQ(install(bundleFile({"kit"}, {member})), 3);
  EXPECT_THAT(messages(), IsEmpty());
  expectOnlySystem();
}

TEST_F(InstallFrom, APackageThatLosesADependencyWithMissingPartsIsTakenAwayInQuietModeToo) {
  EXPECT_EQ(install(packageFile({"app", k1_0, {dep("lib")}}), kUpgrade | kQuietUnusable), 1);
  EXPECT_THAT(messages(), IsEmpty());
  expectOnlySystem();
}

// A bundle without members goes with the first plan, what needs it with the next: that is the one
// behind the installation.
TEST_F(InstallFrom, APackageThatNeedsWhatGoesIsTakenAwayBehindItsInstallation) {
  addBundle("empty");
  EXPECT_EQ(install(packageFile({"app", k1_0, {dep("empty")}})), 1);
  EXPECT_THAT(messages(), ElementsAre("installed app-1.0"));
  expectOnlySystem();
}

TEST_F(InstallFrom, AMemberThatNeedsWhatGoesIsTakenAwayBehindItsInstallation) {
  addBundle("empty");
  EXPECT_EQ(install(bundleFile({"kit"}, {{"tool"}, {"app", k1_0, {dep("empty")}}})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed kit-1.0"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "tool-1.0"));
  EXPECT_FALSE(exists("/flash/opt/app"));
  EXPECT_FALSE(exists("/flash/var/pdb/app"));
}

TEST_F(InstallFrom, AnOnlyMemberThatIsTakenAwayBehindItsInstallationGivesThree) {
  addBundle("empty");
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app", k1_0, {dep("empty")}}})), 3);
  expectOnlySystem();
}

TEST_F(InstallFrom, ADumbPackageThatNeedsWhatIsMissingIsTakenAwayBehindItsInstallation) {
  const std::string file = packageFile({"app", k1_0, {dep("lib")}}, true);
  EXPECT_EQ(install(file, kUpgrade | kQuietUnusable), 1);
  expectOnlySystem();
}

TEST_F(InstallFrom, TheLastPackageIsNotTakenAway) {
  RepoAccess::fresh();
  EXPECT_EQ(install(packageFile({"app", k1_0, {dep("lib")}}), kUpgrade | kQuietUnusable), 0);
  EXPECT_THAT(messages(),
              ElementsAre("ERROR: can not uninstall or disable all packages", "installed app-1.0"));
  EXPECT_THAT(installed(), ElementsAre("app-1.0"));
}

// A package that becomes disabled by the plan is placed where disabled packages are.
TEST_F(InstallFrom, APackageWhoseDependencyItDisablesIsInstalledDisabled) {
  add("lib");
  EXPECT_EQ(install(packageFile({"app", k1_0, {dep("lib")}, {dep("lib")}})), 0);
  EXPECT_THAT(messages(),
              ElementsAre("disabled app-1.0", "disabled lib-1.0", "installed (disabled) app-1.0"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "lib-1.0(disabled)", "app-1.0(disabled)"));
  EXPECT_TRUE(exists("/flash/x/app/opt/app"));
  EXPECT_EQ(readFile("/flash/var/pdb/app/disabled"), "auto\n");
}

// Bundles.

TEST_F(InstallFrom, ABundleHasARecordWithoutFilesAndMembersKnowIt) {
  EXPECT_EQ(install(bundleFile({"kit", k2_0}, {{"app"}})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed kit-2.0"));
  EXPECT_FALSE(exists("/flash/var/pdb/kit/files"));
  EXPECT_TRUE(repo_->findPackage("kit")->isBundle);
  EXPECT_EQ(readFile("/flash/var/pdb/app/bundle"), "kit\n");
  const PackageDep& bundle = repo_->findPackage("app")->bundle;
  EXPECT_EQ(bundle.name, "kit");
  EXPECT_EQ(bundle.minVersion, k2_0);
  EXPECT_EQ(bundle.maxVersion, k2_0);
  EXPECT_EQ(bundle.weight, 0);
}

TEST_F(InstallFrom, ABundleTakesThePlaceOfAPackageOfItsName) {
  add("kit");
  EXPECT_EQ(install(bundleFile({"kit", k2_0}, {{"app"}})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-2.0", "app-1.0"));
  EXPECT_FALSE(exists("/flash/opt/kit"));
}

// Both are to go. Of two packages of one name a plan carries out the newer one's request.
TEST_F(InstallFrom, EveryPackageOfAFormerMembersNameIsToGo) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"old"}})), 0);
  EXPECT_EQ(install(packageFile({"old", k2_0}, true)), 0);
  EXPECT_EQ(install(bundleFile({"kit", k2_0}, {{"app", k2_0}})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "old-1.0", "kit-2.0", "app-2.0"));
  EXPECT_EQ(repo_->findPackage("old")->scheduledAction, kActionUninstall);
}

TEST_F(InstallFrom, TheSameBundleIsTakenAgain) {
  const std::string file = bundleFile({"kit"}, {{"app"}, {"tool"}});
  EXPECT_EQ(install(file), 0);
  messages();
  EXPECT_EQ(install(file), 0);
  EXPECT_THAT(messages(), ElementsAre("installed kit-1.0"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0", "tool-1.0", "kit-1.0"));
}

TEST_F(InstallFrom, MembersThatTheBundleNoLongerCarriesGoInSilence) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"old"}})), 0);
  messages();
  EXPECT_EQ(install(bundleFile({"kit", k2_0}, {{"app", k2_0}})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed kit-2.0"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-2.0", "app-2.0"));
}

// Nobody knows what else it carried.
TEST_F(InstallFrom, FormerMembersStayWhenTheBundleIsCutShort) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"old"}})), 0);
  const std::string whole = bundleFile({"kit", k2_0}, {{"app", k2_0}, {"tool"}});
  EXPECT_EQ(install(whole.substr(0, whole.size() - 100)), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "old-1.0", "kit-2.0", "app-2.0"));
  EXPECT_EQ(install(whole), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-2.0", "kit-2.0", "tool-1.0"));
}

TEST_F(InstallFrom, FormerMembersStayWhenTheLastBytesOfTheBundleAreMissing) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"old"}})), 0);
  const std::string whole = bundleFile({"kit", k2_0}, {{"app", k2_0}, {"tool"}});
  EXPECT_EQ(install(whole.substr(0, whole.size() - 3)), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "old-1.0", "kit-2.0", "app-2.0"));
}

// Too few for another part: nothing that the bundle carries.
TEST_F(InstallFrom, FormerMembersGoWhenBytesAreLeftOverBehindTheBundle) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"old"}})), 0);
  PackBuilder file;
  file.bundleHeader("kit", k2_0).part(kPartArchitecture, "mipsel");
  appendPackage(file, {"app", k2_0});
  EXPECT_EQ(install(file.raw(std::string(PartHeader::kSize - 1, 'x')).finish()), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-2.0", "app-2.0"));
}

TEST_F(InstallFrom, MembersOfAnotherBundleStay) {
  EXPECT_EQ(install(bundleFile({"set"}, {{"tool"}})), 0);
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}})), 0);
  EXPECT_EQ(install(bundleFile({"kit", k2_0}, {{"app", k2_0}})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "set-1.0", "tool-1.0", "kit-2.0", "app-2.0"));
}

TEST_F(InstallFrom, AFormerMemberThatFailsNowGoes) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"tool"}})), 0);
  PackContents forged = {"tool", k2_0};
  forged.genuine = false;
  EXPECT_EQ(install(bundleFile({"kit", k2_0}, {{"app", k2_0}, forged})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-2.0", "app-2.0"));
}

TEST_F(InstallFrom, AMemberHeaderCutShortEndsTheBundle) {
  PackBuilder file;
  file.bundleHeader("kit", k1_0).part(kPartArchitecture, "mipsel");
  appendPackage(file, {"app"});
  file.part(kPartPackage, "too short");
  appendPackage(file, {"tool"});
  EXPECT_EQ(install(file.finish()), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "app-1.0"));
}

// Names that a bundle turns off.

TEST_F(InstallFrom, APlaceholderConflictsWithEveryVersionOfItsName) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"tool"}}, {dep("app", k2_0, k2_0)})), 0);
  const Package* const placeholder = repo_->findPackage("");
  ASSERT_NE(placeholder, nullptr);
  EXPECT_EQ(placeholder->version, 0u);
  EXPECT_FALSE(placeholder->isBundle);
  EXPECT_FALSE(placeholder->disabled);
  ASSERT_EQ(placeholder->conflicts.size(), 1u);
  EXPECT_EQ(placeholder->conflicts[0].name, "app");
  EXPECT_EQ(placeholder->conflicts[0].minVersion, 0u);
  EXPECT_EQ(placeholder->conflicts[0].maxVersion, 0u);
  EXPECT_THAT(placeholder->deps, IsEmpty());
  EXPECT_THAT(placeholder->provides, IsEmpty());
}

TEST_F(InstallFrom, AMemberThatIsTurnedOffIsInstalledDisabled) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"tool"}, {"app"}}, {dep("app")})), 0);
  EXPECT_THAT(messages(), ElementsAre("installed kit-1.0"));
  EXPECT_THAT(installed(),
              ElementsAre("system-1.0", "kit-1.0", "-0.0", "tool-1.0", "app-1.0(disabled)"));
  EXPECT_EQ(readFile("/flash/var/pdb/app/disabled"), "auto\n");
}

TEST_F(InstallFrom, ABundleIsDisabledAsLongAsAllMembersAre) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"tool"}}, {dep("app")})), 0);
  EXPECT_THAT(messages(), ElementsAre("disabled kit-1.0", "enabled kit-1.0", "installed kit-1.0"));
  EXPECT_THAT(installed(),
              ElementsAre("system-1.0", "kit-1.0", "-0.0", "app-1.0(disabled)", "tool-1.0"));
  EXPECT_FALSE(exists("/flash/var/pdb/kit/disabled"));
}

TEST_F(InstallFrom, ThereIsNoPlaceholderForWhatTheUserChose) {
  choices_ = {{"app", false}};
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}}, {dep("app"), dep("tool")})), 0);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "-0.0", "app-1.0"));
  EXPECT_EQ(repo_->findPackage("")->conflicts[0].name, "tool");
}

TEST_F(InstallFrom, ATurnedOffPackageThatIsInstalledAlreadyIsDisabled) {
  add("app", k2_0);
  EXPECT_EQ(install(bundleFile({"kit"}, {{"app"}, {"tool"}}, {dep("app")})), 0);
  EXPECT_THAT(messages(), ElementsAre("disabled app-2.0", "installed kit-1.0"));
  EXPECT_THAT(installed(),
              ElementsAre("system-1.0", "app-2.0(disabled)", "kit-1.0", "-0.0", "tool-1.0"));
}

// The list's own count says three; the second entry is cut.
TEST_F(InstallFrom, ATurnOffListThatIsCutShortCountsAsFarAsItWasRead) {
  std::string list = dependencyList({dep("app"), dep("tool"), dep("other")});
  list.resize(DepCount::kSize + DepRecord::kSize + 5);
  PackBuilder file;
  file.bundleHeader("kit", k1_0).part(kPartArchitecture, "mipsel").part(kPartTurnOff, list);
  appendPackage(file, {"app"});
  EXPECT_EQ(install(file.finish()), 3);
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "-0.0"));
  EXPECT_EQ(repo_->findPackage("")->conflicts[0].name, "app");
}

TEST_F(InstallFrom, PlaceholdersLeaveNoTraceOnFlash) {
  EXPECT_EQ(install(bundleFile({"kit"}, {{"tool"}}, {dep("app"), dep("lib")})), 0);
  EXPECT_THAT(flash(), ElementsAre("/opt/system", "/opt/tool", "/var/pdb/kit/version",
                                   "/var/pdb/system/version", "/var/pdb/tool/version"));
}

}  // namespace
