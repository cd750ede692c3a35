// What a run must not do when something around it is not as it should be: lose data, write where
// it has no business, or keep half of something.
#include "tests/program/world.h"

namespace {

class Caution : public World {
 protected:
  void installedCombo(const std::vector<std::string>& members) {
    Record bundle = {"combo", k3_21, 1000};
    bundle.isBundle = true;
    router.installed(bundle);
    for (const std::string& name : members) {
      Record member = {name, k3_21, 1000};
      member.bundle = "combo";
      member.files = {"/share/" + name};
      router.installed(member);
    }
  }
  static std::string comboOf(const std::vector<Pack>& members) {
    BundlePack bundle;
    bundle.name = "combo";
    bundle.members = members;
    bundle.image = "";
    return bundle.file();
  }
};

constexpr char kImageNotSaved[] = "ERROR: could not save package image\n";

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST_F(Caution, BundleCutShortKeepsTheMembersThatItDidNotReach) {
  installedCombo({"a", "b", "c"});
  const std::string whole = comboOf({simplePack("a"), simplePack("b"), simplePack("c")});
  // Behind the signature of the first member.
  const std::string part = whole.substr(0, whole.size() - simplePack("c").file().size());
  const ProcessResult result = router.run({"-"}, part);
  EXPECT_TRUE(result.exited(255)) << result;
  EXPECT_TRUE(endsWith(result.out, kImageNotSaved)) << result;
  EXPECT_TRUE(router.has("/flash/var/pdb/c/version"));
  EXPECT_TRUE(router.has("/flash/share/c"));
  EXPECT_FALSE(router.has("/flash/var/pdb/combo/image"));
}

TEST_F(Caution, BundleShorterThanItsHeaderSaysKeepsNoImage) {
  std::string bytes = comboOf({simplePack("a"), simplePack("b")});
  put32(reinterpret_cast<unsigned char*>(&bytes[4]), static_cast<std::uint32_t>(bytes.size()));
  const ProcessResult result = router.run({"-"}, bytes);
  EXPECT_TRUE(result.exited(255)) << result;
  EXPECT_TRUE(endsWith(result.out, kImageNotSaved)) << result;
  EXPECT_TRUE(router.has("/flash/var/pdb/a/version"));
  EXPECT_TRUE(router.has("/flash/var/pdb/combo/version"));
  EXPECT_FALSE(router.has("/flash/var/pdb/combo/image"));
  EXPECT_FALSE(router.has("/flash/var/pdb/image"));
}

// Too few bytes for another member, though the header counts them.
TEST_F(Caution, BundleWithBytesBehindItKeepsItsImage) {
  installedCombo({"a", "b", "c"});
  const std::string whole = comboOf({simplePack("a"), simplePack("b")});
  std::string bytes = whole + "12345";
  put32(reinterpret_cast<unsigned char*>(&bytes[4]),
        static_cast<std::uint32_t>(bytes.size() - FileHeader::kSize));
  EXPECT_TRUE(router.run({"-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/combo/image"), bytes.substr(0, whole.size()));
  EXPECT_FALSE(router.has("/flash/var/pdb/c/version"));
}

TEST_F(Caution, ImageOfAnEqualPackageIsWhole) {
  Pack pack = simplePack("ppp");
  pack.image = "";
  const std::string bytes = pack.file();
  ASSERT_TRUE(router.run({"-"}, bytes).exited(0));
  ASSERT_EQ(unlink(router.path("/flash/var/pdb/ppp/image").c_str()), 0);
  EXPECT_TRUE(router.run({"--reinstall", "-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
}

TEST_F(Caution, ClosedConsoleDoesNotGetIntoTheImage) {
  Pack pack = simplePack("ppp");
  pack.image = "";
  const std::string bytes = pack.file();
  const ProcessResult result =
      router.runWith({"/bin/sh", "-c", "exec \"$0\" \"$@\" >&- 2>&-"}, {"-"}, bytes);
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
}

TEST_F(Caution, LinkInThePlaceOfARecordIsRemovedAndNotFollowed) {
  router.put("/etc/passwd", "root\n").put("/flash/var/pdb/.keep", "");
  ASSERT_EQ(symlink("/etc", router.path("/flash/var/pdb/evil").c_str()), 0);
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.read("/etc/passwd"), "root\n");
  EXPECT_EQ(router.names("/flash/var/pdb"), (std::vector<std::string>{".keep", "system"}));
}

TEST_F(Caution, RecordIsNotWrittenThroughALink) {
  router.put("/etc/passwd", "root\n");
  Pack pack = simplePack("ppp");
  pack.files.symlink("var/pdb/ppp/version", "/etc/passwd");
  router.put("/in.tpk", pack.file());
  const ProcessResult result = router.run({"/in.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(router.log(),
            "ERROR: installation of ppp-3.22 failed: could not create meta/version: "
            "Too many levels of symbolic links\n");
  EXPECT_EQ(router.read("/etc/passwd"), "root\n");
  EXPECT_FALSE(router.has("/flash/share/ppp"));
}

TEST_F(Caution, RefusedDumbPackageLeavesNoScriptInTheRecordOfItsName) {
  PackBuilder builder(true);
  builder.header("system", k3_23).part(kPartArchitecture, "mipsel");
  builder.part(kPartOnInstall, "forged\n").part(kPartOnUninstall, "forged\n");
  builder.archive(ArchiveBuilder().regular("share/forged", "forged"));
  const ProcessResult result = router.run({"-"}, builder.finish());
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(router.log(), "ERROR: installation of system-3.23 failed: broken package\n");
  unlink(router.path("/flash/var/pdb/image").c_str());
  EXPECT_EQ(router.database(), systemLines());
  EXPECT_FALSE(router.has("/flash/share/forged"));
}

TEST_F(Caution, FifoNamedLikeAPackageDoesNotHoldTheRun) {
  router.folder("/flash/rw/pckg");
  ASSERT_EQ(mkfifo(router.path("/flash/rw/pckg/pipe.tpk").c_str(), 0600), 0);
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.log(), "ERROR: broken package pipe.tpk\n");
  EXPECT_TRUE(router.has("/flash/rw/pckg/pipe.tpk"));
}

TEST_F(Caution, ScriptDoesNotEatTheNextMember) {
  if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static";
  router.withShell();
  Pack hungry = simplePack("a");
  hungry.onInstall = "while read -r -n 1; do :; done\necho done > /made\n";
  EXPECT_TRUE(router.run({"-"}, comboOf({hungry, simplePack("b")})).exited(0));
  EXPECT_EQ(router.read("/flash/made"), "done\n");
  EXPECT_TRUE(router.has("/flash/var/pdb/b/version"));
}

TEST_F(Caution, ConsoleThatGoesAwayDoesNotStopTheInstallation) {
  const Pack pack = simplePack("ppp");
  router.put("/in.tpk", pack.file());
  // The reader is gone before the first byte is written.
  const char* const script = "{ sleep 0.2; \"$0\" \"$@\"; echo $? >&2; } | :";
  const ProcessResult result = router.runWith({"/bin/sh", "-c", script}, {"/in.tpk"});
  EXPECT_EQ(result.err, "0\n");
  EXPECT_TRUE(router.has("/flash/var/pdb/ppp/version"));
}

}  // namespace
