// Loading of the database, and the lookups in it.
#include "repo/repo.h"

#include "tests/support/inroot.h"

#include <dirent.h>
#include <unistd.h>

namespace {

class Database : public InRoot {
 protected:
  static void put(const std::string& package, const std::string& file,
                  const std::string& contents) {
    writeFile("/flash/var/pdb/" + package + "/" + file, contents);
  }
  static void putWhole(const std::string& package) {
    put(package, "version", "1 2\n");
    put(package, "deps", "");
    put(package, "files", "");
  }
  std::string names() const {
    std::string text;
    for (const Package* package : repo_->installed()) text += package->name + ' ';
    return text;
  }

  // A package in memory.
  Package* add(const std::string& name, bool disabled = false) {
    auto* const package = new Package;
    package->name = name;
    package->disabled = disabled;
    repo_->addPackage(package);
    return package;
  }
  static void provide(Package* package, const std::string& name) {
    package->provides.emplace_back();
    package->provides.back().name = name;
  }
};

TEST(TheRepo, IsOne) { EXPECT_EQ(Repo::getRepo(), Repo::getRepo()); }

TEST_F(Database, FreshRepoIsEmpty) {
  EXPECT_TRUE(repo_->installed().empty());
  EXPECT_TRUE(RepoAccess::usedFiles().empty());
  EXPECT_TRUE(RepoAccess::status().empty());
  EXPECT_TRUE(RepoAccess::logLines().empty());
  EXPECT_FALSE(RepoAccess::postlogLoaded());
}

TEST_F(Database, EmptyDatabaseGivesAnEmptyListAndNoMessage) {
  repo_->init(false);
  EXPECT_TRUE(repo_->installed().empty());
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Database, MissingDatabaseIsWarnedOf) {
  removeTree("/flash/var/pdb");
  repo_->init(false);
  EXPECT_TRUE(repo_->installed().empty());
  EXPECT_EQ(takeConsole(), "WARNING: could not open repo\n");
  EXPECT_EQ(RepoAccess::logLines().size(), 1U);
}

TEST_F(Database, MissingDatabaseIsNotWarnedOfWhenQuiet) {
  removeTree("/flash/var/pdb");
  repo_->init(true);
  EXPECT_EQ(takeConsole(), "");
  EXPECT_TRUE(RepoAccess::logLines().empty());
}

TEST_F(Database, FileInPlaceOfTheDatabaseIsWarnedOf) {
  removeTree("/flash/var/pdb");
  writeFile("/flash/var/pdb", "");
  repo_->init(false);
  EXPECT_EQ(takeConsole(), "WARNING: could not open repo\n");
}

TEST_F(Database, InitTakesTheQuietSwitch) {
  repo_->init(true);
  repo_->error("unheard");
  EXPECT_EQ(takeConsole(), "");
  repo_->init(false);
  repo_->error("heard");
  EXPECT_EQ(takeConsole(), "ERROR: heard\n");
}

TEST_F(Database, EveryEntryIsAPackage) {
  putWhole("tool");
  put("tool", "version", "17 18\n");
  put("tool", "files", "bin/tool\n");
  repo_->init(false);
  ASSERT_EQ(names(), "tool ");
  EXPECT_EQ(repo_->installed()[0]->version, 17U);
  EXPECT_EQ(repo_->installed()[0]->buildTime, 18U);
  EXPECT_EQ(repo_->installed()[0]->files.count("/bin/tool"), 1U);
  EXPECT_EQ(repo_->installed()[0]->scheduledAction, kActionNone);
}

TEST_F(Database, OrderIsThatOfTheDirectory) {
  std::string expected;
  for (const char* name : {"zebra", "ant", "mouse", "bee", "cat"}) putWhole(name);
  DIR* const directory = opendir("/flash/var/pdb");
  ASSERT_NE(directory, nullptr);
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') expected += std::string(entry->d_name) + ' ';
  }
  closedir(directory);
  repo_->init(false);
  EXPECT_EQ(names(), expected);
}

TEST_F(Database, EntriesWithADotInFrontAreNoPackages) {
  putWhole(".hidden");
  putWhole("..both");
  writeFile("/flash/var/pdb/.file", "");
  putWhole("tool");
  repo_->init(false);
  EXPECT_EQ(names(), "tool ");
}

TEST_F(Database, ImageLeftBehindIsAPackage) {
  writeFile("/flash/var/pdb/image", "half a package");
  repo_->init(false);
  ASSERT_EQ(names(), "image ");
  EXPECT_EQ(repo_->installed()[0]->scheduledAction, kActionUninstall);
  EXPECT_TRUE(repo_->installed()[0]->isBundle);
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Database, DamagedEntryIsKept) {
  put("tool", "deps", "system 1\n");
  put("tool", "bundle", "all\n");
  repo_->init(false);
  ASSERT_EQ(names(), "tool ");
  EXPECT_EQ(repo_->installed()[0]->scheduledAction, kActionUninstall);
  EXPECT_EQ(repo_->installed()[0]->bundle.name, "all");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Database, SchedulesAreTaken) {
  putWhole("tool");
  writeFile("/ram/pdb/tool/schedule", "disable\n");
  repo_->init(false);
  EXPECT_EQ(repo_->installed()[0]->scheduledAction, kActionDisable);
  EXPECT_FALSE(exists("/ram/pdb/tool/schedule"));
}

TEST_F(Database, LoadingChangesNothing) {
  putWhole("tool");
  writeFile("/flash/var/pdb/image", "half a package");
  const std::string before = listTree("/flash", kTreeContents | kTreeTime);
  repo_->init(false);
  EXPECT_EQ(listTree("/flash", kTreeContents | kTreeTime), before);
}

TEST_F(Database, NothingStaysOpen) {
  putWhole("tool");
  const int before = nextDescriptor();
  repo_->init(false);
  EXPECT_EQ(nextDescriptor(), before);
}

// Lookups.

TEST_F(Database, FindByNameTakesTheFirst) {
  add("a");
  Package* const first = add("b");
  add("b");
  EXPECT_EQ(repo_->findPackageIndex("b"), 1);
  EXPECT_EQ(repo_->findPackage("b"), first);
}

TEST_F(Database, FindByNameIsExact) {
  add("tool");
  for (const char* name : {"", "Tool", "too", "tools", "tool "}) {
    EXPECT_EQ(repo_->findPackageIndex(name), -1) << name;
    EXPECT_EQ(repo_->findPackage(name), nullptr) << name;
  }
}

TEST_F(Database, FindByNameTakesDisabledPackages) {
  Package* const tool = add("tool", true);
  EXPECT_EQ(repo_->findPackage("tool"), tool);
}

TEST_F(Database, AddAppends) {
  add("b");
  add("a");
  EXPECT_EQ(names(), "b a ");
}

TEST_F(Database, TakeRemovesThisVeryPackage) {
  Package* const first = add("a");
  Package* const second = add("a");
  EXPECT_TRUE(repo_->holds(second));
  EXPECT_TRUE(repo_->takePackage(second));
  EXPECT_FALSE(repo_->holds(second));
  EXPECT_FALSE(repo_->takePackage(second));
  EXPECT_EQ(repo_->findPackage("a"), first);
  delete second;
}

TEST_F(Database, ProviderByNameOrByList) {
  Package* const shell = add("shell");
  Package* const bash = add("bash");
  provide(bash, "sh");
  EXPECT_EQ(repo_->findProvider("shell"), shell);
  EXPECT_EQ(repo_->findProvider("sh"), bash);
  EXPECT_EQ(repo_->findProvider("none"), nullptr);
}

TEST_F(Database, ProviderIsTheFirstEnabledOne) {
  Package* const bash = add("bash");
  provide(bash, "sh");
  add("sh");
  EXPECT_EQ(repo_->findProvider("sh"), bash);
}

TEST_F(Database, EnabledProviderGoesBeforeADisabledOne) {
  provide(add("before", true), "sh");
  Package* const enabled = add("enabled");
  provide(enabled, "sh");
  provide(add("behind", true), "sh");
  EXPECT_EQ(repo_->findProvider("sh"), enabled);
}

TEST_F(Database, OfDisabledProvidersTheLastCounts) {
  provide(add("first", true), "sh");
  Package* const last = add("sh", true);
  EXPECT_EQ(repo_->findProvider("sh"), last);
}

TEST_F(Database, ProviderNeedsNoVersion) {
  Package* const bash = add("bash");
  provide(bash, "sh");
  bash->provides[0].minVersion = 5;
  bash->provides[0].maxVersion = 6;
  EXPECT_EQ(repo_->findProvider("sh"), bash);
}

TEST_F(Database, ConflictingIsTheFirstEnabledOne) {
  PackageInfo candidate;
  candidate.name = "new";
  add("without");
  add("disabled", true)->addConflict("new", 0);
  Package* const first = add("first");
  first->addConflict("new", 0);
  add("second")->addConflict("new", 0);
  EXPECT_EQ(repo_->findConflicting(candidate), first);
}

TEST_F(Database, ConflictIsThatOfTheInstalledPackage) {
  PackageInfo candidate;
  candidate.name = "new";
  candidate.addConflict("old", 0);
  add("old");
  EXPECT_EQ(repo_->findConflicting(candidate), nullptr);
}

TEST_F(Database, SatisfyingPackagesInListOrder) {
  PackageDep dep;
  dep.name = "sh";
  dep.minVersion = 5;
  Package* const provider = add("bash");
  provide(provider, "sh");
  add("sh")->version = 4;
  Package* const named = add("sh");
  named->version = 5;
  add("other");
  std::vector<Package*> list;
  repo_->collectSatisfying(dep, list, false);
  EXPECT_EQ(list, (std::vector<Package*>{provider, named}));
}

TEST_F(Database, SatisfyingPackagesAreAppended) {
  PackageDep dep;
  dep.name = "sh";
  Package* const shell = add("sh");
  std::vector<Package*> list = {nullptr};
  repo_->collectSatisfying(dep, list, false);
  EXPECT_EQ(list, (std::vector<Package*>{nullptr, shell}));
}

TEST_F(Database, DisabledPackagesSatisfyWhenAskedFor) {
  PackageDep dep;
  dep.name = "sh";
  Package* const off = add("sh", true);
  Package* const on = add("sh");
  std::vector<Package*> list;
  repo_->collectSatisfying(dep, list, false);
  EXPECT_EQ(list, std::vector<Package*>{on});
  list.clear();
  repo_->collectSatisfying(dep, list, true);
  EXPECT_EQ(list, (std::vector<Package*>{off, on}));
}

}  // namespace
