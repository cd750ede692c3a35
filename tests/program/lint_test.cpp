// What tpk lint says of packages is what the program then does with them.
#include "tools/tpk/lint/lint.h"

#include "tests/program/world.h"

namespace {

using Names = std::vector<std::string>;

class LintTruth : public World {
 protected:
  // The test fails when lint has no such finding about the file.
  void expectFinding(const std::string& bytes, const std::string& id) {
    router.put("/in.tpk", bytes);
    expectFinding(Names{"/in.tpk"}, id);
  }
  void expectFinding(const Names& files, const std::string& id) {
    Names paths;
    for (const std::string& file : files) paths.push_back(router.path(file));
    LintOptions options;
    options.now = 2000000000;
    for (const LintFinding& finding : lintFiles(paths, options))
      if (finding.rule->id == id) return;
    ADD_FAILURE() << "no finding " << id;
  }
  ProcessResult install(const std::string& bytes) {
    router.put("/in.tpk", bytes);
    unlink(router.path("/image").c_str());
    return router.run({"/in.tpk"});
  }
  // One and the same package is found at fault and then not installed.
  void expectRefused(const Pack& pack, const std::string& id) { expectRefused(pack.file(), id); }
  void expectRefused(const std::string& bytes, const std::string& id) {
    expectFinding(bytes, id);
    const ProcessResult result = install(bytes);
    EXPECT_GT(result.status, 0) << id << result;
    EXPECT_EQ(packages(), (Names{"system"})) << id;
  }
  // It is installed in spite of the finding.
  void installFound(const std::string& bytes, const std::string& id) {
    expectFinding(bytes, id);
    const ProcessResult result = install(bytes);
    EXPECT_TRUE(result.exited(0)) << id << result;
  }
  void installFound(const Pack& pack, const std::string& id) { installFound(pack.file(), id); }

  static Pack plain(const std::string& name = "one") {
    Pack pack = simplePack(name);
    pack.deps = {dep("system", k3_22)};
    return pack;
  }
  static Pack with(const ArchiveBuilder& files) {
    Pack pack = plain();
    pack.files = files;
    return pack;
  }
  static BundlePack bundle(const std::vector<Pack>& members) {
    BundlePack all;
    all.name = "all";
    all.members = members;
    return all;
  }
  static PackBuilder parts() {
    return PackBuilder().header("one", k3_22, 1000).part(kPartArchitecture, "mipsel");
  }
  Names packages() const { return router.names("/flash/var/pdb"); }
  bool isDisabled(const std::string& name) const {
    return router.has("/flash/var/pdb/" + name + "/disabled");
  }
};

TEST_F(LintTruth, PackagesThatNobodyCanInstall) {
  Pack foreign = plain();
  foreign.arch = "arm";
  expectRefused(foreign, "wrong-architecture");
  Pack narcissist = plain();
  narcissist.deps.push_back(dep("one"));
  expectRefused(narcissist, "requires-itself");
  Pack impossible = plain();
  impossible.deps.push_back(dep("system", k3_23, k3_22));
  expectRefused(impossible, "empty-range");
  Pack dumb = plain();
  dumb.dumb = true;
  dumb.onInstall = "true\n";
  expectRefused(dumb, "dumb-script");
  Pack old = simplePack("system", k2_9rc7);
  expectRefused(old, "old-system");
}

TEST_F(LintTruth, PartsThatNobodyFinds) {
  expectRefused(parts().list(kPartTurnOff, {}).sign().finish(), "foreign-part");
  expectRefused(parts().archive(ArchiveBuilder()).part(kPartOnInstall, "true\n").sign().finish(),
                "misplaced-part");
  expectRefused(parts().finish(), "unsigned");
  expectRefused(parts().part(kPartSignature, std::string(68, 'x')).finish(), "bad-signature");
}

TEST_F(LintTruth, EntriesThatEndTheInstallation) {
  const auto archive = [] { return ArchiveBuilder(); };
  expectRefused(with(archive().regular("../a", "")), "parent-component");
  expectRefused(with(archive().regular("a\nb", "")), "unlistable-name");
  expectRefused(with(archive().regular("/", "")), "root-entry");
  expectRefused(with(archive().regular(std::string(256, 'a'), "")), "long-path");
  expectRefused(with(archive().symlink("a", "/etc").regular("a/b", "")), "through-link-off-flash");
  expectRefused(with(archive().symlink("a", "../..").regular("a/b", "")), "through-link-off-flash");
  expectRefused(with(archive().regular("a", "").regular("a/b", "")), "below-file");
  expectRefused(with(archive().directory("c").regular("c/d", "").regular("c", "")),
                "replaces-directory");
  expectRefused(with(archive().regular("var/pdb/two/version", "")), "foreign-record");
  expectRefused(with(archive().entry("a", 0xC000 | 0644, "")), "unknown-type");
  expectRefused(with(archive().symlink("a", "")), "empty-target");
  expectRefused(with(archive().entry("a", ArchiveHeader::kCharDevice, "12")), "broken-archive");
}

TEST_F(LintTruth, NamesThatCannotBeReadBack) {
  Pack spaced = plain("spaced");
  spaced.conflicts = {dep("a b")};
  installFound(spaced, "name-with-space");
  Pack nameless = plain("nameless");
  nameless.conflicts = {dep("")};
  installFound(nameless, "empty-name");
  installFound(plain(".hidden"), "hidden-name");

  EXPECT_TRUE(router.run({"--cleanup"}).exited(0));
  EXPECT_FALSE(router.has("/flash/var/pdb/spaced"));
  EXPECT_FALSE(router.has("/flash/var/pdb/nameless"));
  // Still there, but nobody knows of it: it can be installed again.
  EXPECT_TRUE(router.has("/flash/var/pdb/.hidden/version"));
  EXPECT_TRUE(install(plain(".hidden").file()).exited(0));
}

TEST_F(LintTruth, CleanUpTakesPackagesWithoutSystemRequirement) {
  installFound(simplePack("one"), "system-requirement");
  EXPECT_TRUE(install(plain("two").file()).exited(0));
  EXPECT_TRUE(router.run({"--cleanup"}).exited(0));
  EXPECT_EQ(packages(), (Names{"system", "two"}));
}

TEST_F(LintTruth, OwnConflictsDisableTheNextVersion) {
  Pack pack = plain();
  pack.conflicts = {dep("one")};
  installFound(pack, "conflicts-with-itself");
  EXPECT_FALSE(isDisabled("one"));
  pack.version = k3_23;
  EXPECT_TRUE(install(pack.file()).exited(0));
  EXPECT_TRUE(isDisabled("one"));
}

TEST_F(LintTruth, RequirementsInConflictCannotBeEnabled) {
  EXPECT_TRUE(install(plain("two").file()).exited(0));
  Pack pack = plain();
  pack.deps.push_back(dep("two"));
  pack.conflicts = {dep("two")};
  installFound(pack, "requires-and-conflicts");
  EXPECT_TRUE(isDisabled("one"));
}

TEST_F(LintTruth, ShadowedRequirementsDoNotHold) {
  Pack two = plain("two");
  two.provides = {dep("web")};
  EXPECT_TRUE(install(two.file()).exited(0));
  Pack pack = plain();
  pack.deps.push_back(dep("web"));
  pack.provides = {dep("web")};
  installFound(pack, "shadowed-requirement");
  router.schedule("two", "uninstall");
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(packages(), (Names{"one", "system"}));
  EXPECT_FALSE(isDisabled("one"));
}

TEST_F(LintTruth, LateDirectoriesLoseTheirMode) {
  installFound(with(ArchiveBuilder().regular("a/b", "").directory("a", 0755)), "late-directory");
  EXPECT_EQ(router.treeOf("/flash/a", kTreeMode), "/flash/a dir 0770\n/flash/a/b file 0644\n");
}

TEST_F(LintTruth, MissingDirectoriesAreMade) {
  installFound(with(ArchiveBuilder().regular("a/b", "")), "missing-directory");
  EXPECT_EQ(router.treeOf("/flash/a", kTreeMode), "/flash/a dir 0770\n/flash/a/b file 0644\n");
}

TEST_F(LintTruth, FilesBehindLinksStay) {
  installFound(with(ArchiveBuilder().directory("dir").symlink("a", "dir").regular("a/b", "")),
               "through-link");
  router.schedule("one", "uninstall");
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_FALSE(router.has("/flash/a"));
  EXPECT_TRUE(router.has("/flash/dir/b"));
}

TEST_F(LintTruth, OddPathsHaveNoOwner) {
  installFound(with(ArchiveBuilder().directory("bin").regular("./bin/a", "one")), "odd-path");
  Pack two = plain("two");
  two.files = ArchiveBuilder().regular("bin/a", "two");
  EXPECT_TRUE(install(two.file()).exited(0));
  EXPECT_EQ(router.read("/flash/bin/a"), "two");
}

TEST_F(LintTruth, RepeatedPathsReplaceEachOther) {
  installFound(with(ArchiveBuilder().regular("a", "one").regular("a", "two")), "repeated-path");
  EXPECT_EQ(router.read("/flash/a"), "two");
  EXPECT_NE(router.log().find("ghost file /a"), std::string::npos);
}

TEST_F(LintTruth, SkippedEntriesAreNotPlaced) {
  installFound(with(ArchiveBuilder().skip().regular("a", "")), "skipped-entry");
  EXPECT_FALSE(router.has("/flash/a"));
}

TEST_F(LintTruth, BundlesThatWaitForTheirMembers) {
  BundlePack waiting = bundle({plain()});
  waiting.deps = {dep("one")};
  expectRefused(waiting.file(), "bundle-requires-member");
}

TEST_F(LintTruth, OneOfSeveralMembersStays) {
  Pack newer = plain();
  newer.version = k3_23;
  installFound(bundle({plain(), newer}).file(), "repeated-member");
  EXPECT_EQ(packages(), (Names{"all", "one", "system"}));
}

TEST_F(LintTruth, MembersThatComeTooEarlyAreLeftOut) {
  Pack one = plain();
  one.deps.push_back(dep("two"));
  installFound(bundle({one, plain("two")}).file(), "member-before-requirement");
  EXPECT_EQ(packages(), (Names{"all", "system", "two"}));
}

TEST_F(LintTruth, MembersThatNeedTurnedOffOnesAreLeftOut) {
  Pack two = plain("two");
  two.deps.push_back(dep("one"));
  BundlePack pair = bundle({plain(), two});
  pair.turnOff = {dep("one")};
  installFound(pair.file(), "requires-turned-off");
  EXPECT_EQ(packages(), (Names{"all", "one", "system"}));
}

TEST_F(LintTruth, MembersInConflictAreDisabled) {
  Pack one = plain();
  one.conflicts = {dep("two")};
  installFound(bundle({one, plain("two")}).file(), "member-conflict");
  EXPECT_FALSE(isDisabled("one"));
  EXPECT_TRUE(isDisabled("two"));
}

TEST_F(LintTruth, ImageMarkersDropScripts) {
  Pack pack = plain();
  pack.image = "";
  pack.onInstall = "true\n";
  installFound(pack, "image-drops-script");
  EXPECT_FALSE(router.has("/flash/var/pdb/one/oninstall"));
  EXPECT_TRUE(router.has("/flash/var/pdb/one/image"));

  Pack member = pack;
  member.name = "two";
  installFound(bundle({member}).file(), "image-in-member");
  EXPECT_EQ(packages(), (Names{"all", "one", "system", "two"}));
  for (const char* file : {"all/image", "two/image", "two/oninstall"})
    EXPECT_FALSE(router.has(std::string("/flash/var/pdb/") + file)) << file;
}

TEST_F(LintTruth, PackageNamedImageIsInTheWay) {
  installFound(plain("image"), "reserved-name");
  const ProcessResult result = router.run({"-"}, plain().file());
  EXPECT_EQ(result.out, "ERROR: could not open image\n") << result;
  EXPECT_EQ(packages(), (Names{"image", "system"}));
}

TEST_F(LintTruth, EqualPackagesDropEachOther) {
  router.drop("a.tpk", plain().file()).drop("b.tpk", plain().file());
  expectFinding(Names{"/flash/rw/pckg/a.tpk", "/flash/rw/pckg/b.tpk"}, "equal-packages");
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(packages(), (Names{"system"}));
}

TEST_F(LintTruth, FilesThatCollideAreLeftOut) {
  Pack two = plain("two");
  two.files = plain().files;
  router.put("/one.tpk", plain().file()).put("/two.tpk", two.file());
  expectFinding(Names{"/one.tpk", "/two.tpk"}, "file-collision");
  EXPECT_TRUE(install(plain().file()).exited(0));
  EXPECT_TRUE(install(two.file()).exited(0));
  EXPECT_EQ(router.record("one", "files"), "share/one\n");
  EXPECT_EQ(router.record("two", "files"), "");
}

class LintTruthOfScripts : public LintTruth {
 protected:
  void SetUp() override {
    LintTruth::SetUp();
    if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static";
    router.withShell();
  }
  static Pack saying(const std::string& script) {
    Pack pack = plain();
    pack.onInstall = script;
    return pack;
  }
  bool failed() const {
    return router.log().find("package one-3.22 oninstall script failed") != std::string::npos;
  }
};

TEST_F(LintTruthOfScripts, ScriptsThatBashDoesNotUnderstand) {
  installFound(saying("true\n(\n"), "script-syntax");
  EXPECT_TRUE(failed());
}

TEST_F(LintTruthOfScripts, LineEndsThatBashTakesForWords) {
  installFound(saying("true\r\n"), "script-line-ends");
  EXPECT_TRUE(failed());
}

TEST_F(LintTruthOfScripts, InterpretersDoNotCount) {
  installFound(saying("#!/bin/false\necho >/made\n"), "script-interpreter");
  EXPECT_TRUE(router.has("/flash/made"));
}

TEST_F(LintTruthOfScripts, TurnedOffPackagesRunNone) {
  BundlePack one = bundle({saying("echo >/made\n")});
  one.turnOff = {dep("one")};
  installFound(one.file(), "turned-off-script");
  router.schedule("one", "enable");
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_FALSE(isDisabled("one"));
  EXPECT_FALSE(router.has("/flash/made"));
}

TEST_F(LintTruthOfScripts, NobodyRunsUninstallScripts) {
  Pack pack = plain();
  pack.onUninstall = "echo >/made\n";
  installFound(pack, "uninstall-script");
  router.schedule("one", "uninstall");
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(packages(), (Names{"system"}));
  EXPECT_FALSE(router.has("/flash/made"));
}

}  // namespace
