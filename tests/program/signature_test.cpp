// Only genuine packages stay: what is refused before anything is written, and what is taken back
// afterwards.
#include "tests/program/world.h"
#include "tests/support/vectors.h"

namespace {

class Signature : public World {
 protected:
  // From the command line there is no verification beforehand: the files land first.
  void expectTakenBack(const std::string& bytes) {
    const unsigned all = kTreeTypes | kTreeMode | kTreeOwner | kTreeSize | kTreeContents;
    router.put("/in.tpk", bytes).folder("/flash/share");
    router.put("/flash/postlog", "");
    const std::string before = router.tree(all);
    const ProcessResult result = router.run({"/in.tpk"});
    EXPECT_TRUE(result.exited(1)) << result;
    EXPECT_EQ(router.log(), "ERROR: installation of ppp-3.22 failed: broken package\n");
    router.put("/flash/postlog", "");
    EXPECT_EQ(router.tree(all), before);
  }
  static PackBuilder unsignedPack() {
    PackBuilder builder;
    builder.header("ppp", k3_22).part(kPartArchitecture, "mipsel");
    builder.archive(ArchiveBuilder().regular("share/ppp", "x"));
    return builder;
  }
};

TEST_F(Signature, MissingIsABrokenPackage) { expectTakenBack(unsignedPack().finish()); }

TEST_F(Signature, OfAnotherPackageIsABrokenPackage) {
  const std::string other = simplePack("ppp").file();
  const PartAt at = partOf(other, kPartSignature);
  expectTakenBack(unsignedPack().part(kPartSignature, other.substr(at.offset, at.size)).finish());
}

TEST_F(Signature, CutShortIsABrokenPackage) {
  const std::string good = simplePack("ppp").file();
  const PartAt at = partOf(good, kPartSignature);
  PackBuilder builder;
  builder.raw(good.substr(8, at.offset - 6 - 8));
  builder.part(kPartSignature, good.substr(at.offset, at.size - 1));
  expectTakenBack(builder.finish());
}

TEST_F(Signature, LongerIsTakenAsFarAsItGoes) {
  router.put("/in.tpk", unsignedPack().sign("and more").finish());
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(0));
}

TEST_F(Signature, FileHeaderIsNotUnderIt) {
  std::string bytes = simplePack("ppp").file();
  bytes[4] = static_cast<char>(bytes[4] ^ 1);
  router.put("/in.tpk", bytes);
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(0));
}

// The archive behind a good header is forged: it is still a good archive.
TEST_F(Signature, ForgedArchiveBehindAGoodHeaderIsTakenBack) {
  const std::string good = simplePack("ppp").file();
  const PartAt archive = partOf(good, kPartArchive);
  const PartAt signature = partOf(good, kPartSignature);
  PackBuilder builder;
  builder.raw(good.substr(8, archive.offset - 6 - 8));
  builder.archive(ArchiveBuilder().regular("share/ppp", "#!/bin/sh\nrm -rf /\n", 0755));
  builder.part(kPartSignature, good.substr(signature.offset, signature.size));
  expectTakenBack(builder.finish());
}

TEST_F(Signature, EveryKindOfFileIsTakenBack) {
  PackBuilder builder;
  builder.header("ppp", k3_22).part(kPartArchitecture, "mipsel");
  builder.part(kPartOnInstall, "echo").part(kPartOnUninstall, "echo");
  builder.archive(ArchiveBuilder().regular("share/a", "x").symlink("share/b", "a").fifo("share/c"));
  expectTakenBack(builder.finish());
}

TEST_F(Signature, DirectoriesAndGhostFilesAreNotBroughtBack) {
  PackBuilder builder;
  builder.header("ppp", k3_22).part(kPartArchitecture, "mipsel");
  builder.archive(ArchiveBuilder().directory("new").regular("new/a", "x").regular("ghost", "x"));
  router.put("/in.tpk", builder.finish()).put("/flash/ghost", "old");
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(1));
  EXPECT_EQ(router.treeOf("/flash/new", kTreeTypes), "/flash/new dir\n");
  EXPECT_FALSE(router.has("/flash/ghost"));
  EXPECT_EQ(router.log(),
            "WARNING: ghost file /ghost\n"
            "ERROR: installation of ppp-3.22 failed: broken package\n");
}

// The old version goes before the new one's files land: it is lost with a forged upgrade.
TEST_F(Signature, ForgedUpgradeCostsTheOldVersion) {
  Record old = {"ppp", k3_21};
  old.files = {"/share/old"};
  router.installed(old).put("/in.tpk", unsignedPack().finish());
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(1));
  EXPECT_EQ(router.database(), systemLines());
  EXPECT_FALSE(router.has("/flash/share/old"));
  EXPECT_FALSE(router.has("/flash/share/ppp"));
}

// A sample of the bytes under the signature; each reader meets all of them in its own tests.
TEST_F(Signature, FlippedBytesAreTakenBack) {
  const std::string good = simplePack("ppp").file();
  const std::size_t end = partOf(good, kPartSignature).offset;
  const std::string before = router.database() + router.treeOf("/flash/lib");
  for (std::size_t at = 8 + 6 + 32; at < end; at += 17) {
    std::string bytes = good;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
    router.put("/in.tpk", bytes);
    const ProcessResult result = router.run({"/in.tpk"});
    EXPECT_TRUE(result.exited(1)) << at << ": " << result;
    EXPECT_EQ(router.database() + router.treeOf("/flash/lib"), before) << at;
    EXPECT_EQ(router.names("/flash/share"), std::vector<std::string>()) << at;
  }
}

TEST_F(Signature, TruncatedFilesAreTakenBack) {
  const std::string good = simplePack("ppp").file();
  const std::string before = router.database() + router.treeOf("/flash/lib");
  for (std::size_t length = 0; length < good.size(); length += 13) {
    router.put("/in.tpk", good.substr(0, length));
    const ProcessResult result = router.run({"/in.tpk"});
    EXPECT_TRUE(result.exited(1)) << length << ": " << result;
    EXPECT_EQ(router.database() + router.treeOf("/flash/lib"), before) << length;
    EXPECT_EQ(router.names("/flash/share"), std::vector<std::string>()) << length;
  }
}

// Packages that were signed elsewhere for two other products, with their verdicts: each product's
// program takes its own good ones and nobody else's.
class Products : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override { NEEDS_CHROOT(); }

  // A package without a signature may be in the lists of both.
  static bool isFor(const VectorVerdict& verdict, const std::string& set) {
    std::string twin = verdict.package;
    twin[0] = set[0];
    return vectorPackage(twin) == vectorPackage(verdict.package);
  }
};

TEST_P(Products, ProgramTakesItsOwnGoodPackages) {
  const std::string set = GetParam();
  for (const VectorVerdict& verdict : vectorVerdicts()) {
    Router router(set == "a" ? Product::kVectorsA : Product::kVectorsB);
    router.installed({"system", k3_22, 1});
    router.drop(verdict.package, vectorPackage(verdict.package));
    const ProcessResult result = router.run();
    EXPECT_TRUE(result.exited(0)) << verdict.package << ": " << result;
    const bool good = verdict.good && isFor(verdict, set);
    EXPECT_EQ(router.log().find("verified " + verdict.package) != std::string::npos, good)
        << verdict.package << ": " << result;
    EXPECT_EQ(router.log().find("ERROR: broken package " + verdict.package) != std::string::npos,
              !good)
        << verdict.package << ": " << result;
    EXPECT_EQ(router.has("/flash/rw/pckg/" + verdict.package), !good) << result;
    EXPECT_EQ(router.names("/flash/var/pdb").size() > 1, good) << result;
  }
}

INSTANTIATE_TEST_SUITE_P(Vectors, Products, testing::Values("a", "b"));

}  // namespace
