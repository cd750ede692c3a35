// "-": a package comes through standard input and is kept as an image.
#include "tests/program/world.h"

namespace {

constexpr char kTemporaryImage[] = "/flash/var/pdb/image";

class StandardInput : public World {
 protected:
  static Pack withImage() {
    Pack pack = simplePack("ppp");
    pack.image = "";
    return pack;
  }
  // The file with another length in its header.
  static std::string announcing(std::uint32_t length, std::string bytes) {
    put32(reinterpret_cast<unsigned char*>(&bytes[4]), length);
    return bytes;
  }
  static std::uint32_t lengthOf(const std::string& bytes) {
    return static_cast<std::uint32_t>(bytes.size() - FileHeader::kSize);
  }
};

TEST_F(StandardInput, PackageIsInstalled) {
  const Pack pack = withImage();
  const std::string bytes = pack.file();
  EXPECT_RUN(router.run({"-"}, bytes), 0, Console().installed("ppp-3.22", bytes));
  EXPECT_EQ(router.log(), "installed ppp-3.22\n");
  EXPECT_EQ(router.read("/flash/share/ppp"), simpleContents("ppp"));
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

// The whole of it as bytes: two bars, their erasure, the message.
TEST_F(StandardInput, ConsoleBytesOfAnInstallation) {
  Pack pack;
  pack.name = "ppp";
  pack.files.regular("a", "");
  const std::string bytes = pack.file();
  const PartAt archive = partOf(bytes, kPartArchive);
  const ProcessResult result = router.run({"-"}, bytes);
  const std::size_t width = 76 - std::string("installing ppp-3.22 [").size();
  const std::size_t before = archive.offset * width / bytes.size();
  const std::size_t after = (archive.offset + archive.size) * width / bytes.size();
  EXPECT_EQ(visible(result.out),
            visible("\x1b[?25l\rinstalling ppp-3.22 [" + std::string(before, '#') +
                    std::string(width - before, ' ') + "]\r\x1b[?25h" +
                    "\x1b[?25l\rinstalling ppp-3.22 [" + std::string(after, '#') +
                    std::string(width - after, ' ') + "]\r\x1b[?25h" + "\x1b[?25l\r" +
                    std::string(77, ' ') + "\r\x1b[?25h" + "installed ppp-3.22\n"));
}

TEST_F(StandardInput, ImageIsKeptInTheRecord) {
  const std::string bytes = withImage().file();
  router.run({"-"}, bytes);
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
  EXPECT_FALSE(router.has(kTemporaryImage));
  EXPECT_EQ(router.treeOf("/flash/var/pdb/ppp/image", kTreeLinks | kTreeMode),
            "/flash/var/pdb/ppp/image file 0666 links=1\n");
}

TEST_F(StandardInput, ImageOfAPackageWithoutTheMarkerLandsInTheRoot) {
  const std::string bytes = simplePack("ppp").file();
  EXPECT_RUN(router.run({"-"}, bytes), 0, Console().installed("ppp-3.22", bytes));
  EXPECT_EQ(router.read("/image"), bytes);
  EXPECT_FALSE(router.has(kTemporaryImage));
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp/image"));
}

TEST_F(StandardInput, ImageThatCannotBeKeptIsAnError) {
  const std::string bytes = simplePack("ppp").file();
  router.put("/image", "in the way");
  Console console;
  console.installed("ppp-3.22", bytes).line("ERROR: could not save package image");
  EXPECT_RUN(router.run({"-"}, bytes), 255, console);
  // Not a message of the run.
  EXPECT_EQ(router.log(), "installed ppp-3.22\n");
  EXPECT_EQ(router.read("/image"), "in the way");
  EXPECT_FALSE(router.has(kTemporaryImage));
  EXPECT_TRUE(router.has("/flash/var/pdb/ppp/version"));
}

TEST_F(StandardInput, ImageOfABundleIsKeptInItsRecord) {
  BundlePack bundle = {"combo", k3_22, {simplePack("a"), simplePack("b")}};
  bundle.image = "marker";
  bundle.members[0].image = "";
  const std::string bytes = bundle.file();
  EXPECT_TRUE(router.run({"-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/combo/image"), bytes);
  EXPECT_FALSE(router.has("/flash/var/pdb/a/image"));
}

TEST_F(StandardInput, UnknownPartsAreInTheImage) {
  PackBuilder builder;
  builder.header("ppp", k3_22, 1)
      .part(kPartArchitecture, "mipsel")
      .part(99, std::string(5000, 'x'));
  builder.image().part(98, "").archive(ArchiveBuilder().regular("a", "b")).sign().part(97, "end");
  const std::string bytes = builder.finish();
  EXPECT_TRUE(router.run({"-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
}

TEST_F(StandardInput, LargePackageArrivesWhole) {
  Pack pack = withImage();
  const std::string data = noise(300000);
  pack.files.regular("share/noise", data);
  const std::string bytes = pack.file();
  EXPECT_TRUE(router.run({"-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/share/noise"), data);
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
}

// The signature is not about the length in the file header.
TEST_F(StandardInput, LengthInTheFileHeaderDoesNotMatter) {
  const std::string bytes = withImage().file();
  const std::uint32_t length = lengthOf(bytes);
  for (const std::uint32_t announced : {0u, 6u, length - 1, length, length + 1, length + 5,
                                        length + 6, length + 100000, 0xFFFFFFFFu}) {
    SCOPED_TRACE(announced);
    Router other;
    other.installed(systemRecord());
    const std::string sent = announcing(announced, bytes);
    const ProcessResult result = other.run({"-"}, sent);
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(other.log(), "installed ppp-3.22\n");
    EXPECT_EQ(other.read("/flash/share/ppp"), simpleContents("ppp"));
    EXPECT_EQ(other.read("/flash/var/pdb/ppp/image"), sent);
    EXPECT_FALSE(other.has(kTemporaryImage));
  }
}

TEST_F(StandardInput, LengthInTheFileHeaderDoesNotMatterWithoutTheMarker) {
  std::string bytes = simplePack("ppp").file();
  bytes = announcing(lengthOf(bytes) + 10, bytes);
  const ProcessResult result = router.run({"-"}, bytes);
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(router.read("/image"), bytes);
}

TEST_F(StandardInput, LengthInTheFileHeaderDoesNotMatterForAnEqualPackage) {
  std::string bytes = withImage().file();
  ASSERT_TRUE(router.run({"-"}, bytes).exited(0));
  ASSERT_EQ(unlink(router.path("/flash/var/pdb/ppp/image").c_str()), 0);
  bytes = announcing(lengthOf(bytes) + 10, bytes);
  EXPECT_TRUE(router.run({"--reinstall", "-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
}

// They are no part, whether the file header counts them or not, and do not get into the image.
TEST_F(StandardInput, TooFewBytesForAPartBehindTheLastOneDoNotMatter) {
  const std::string bytes = withImage().file();
  for (const std::size_t more : {1u, 2u, 3u, 4u, 5u}) {
    for (const bool counted : {false, true}) {
      SCOPED_TRACE(std::to_string(more) + (counted ? ", counted" : ""));
      Router other;
      other.installed(systemRecord());
      std::string sent = bytes + std::string("\x09\0\x44\0\0", 5).substr(0, more);
      if (counted) sent = announcing(lengthOf(sent), sent);
      const ProcessResult result = other.run({"-"}, sent);
      EXPECT_TRUE(result.exited(0)) << result;
      EXPECT_EQ(other.log(), "installed ppp-3.22\n");
      EXPECT_EQ(other.read("/flash/var/pdb/ppp/image"), sent.substr(0, bytes.size()));
      EXPECT_FALSE(other.has(kTemporaryImage));
    }
  }
}

// All that the signature is about came.
TEST_F(StandardInput, PartCutShortBehindTheSignatureDoesNotMatter) {
  PackBuilder builder;
  builder.header("ppp", k3_22, 1).part(kPartArchitecture, "mipsel").image();
  builder.archive(ArchiveBuilder().regular("a", "b")).sign().part(97, "unknown");
  std::string bytes = builder.finish();
  bytes.resize(bytes.size() - 3);
  EXPECT_TRUE(router.run({"-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
}

// The flash fills up while the copy is written: the package itself is small.
TEST_F(StandardInput, ImageThatCannotBeWrittenIsAnError) {
  if (!canTrace()) GTEST_SKIP() << "strace is not there, or not permitted";
  Pack pack = withImage();
  pack.image = noise(10000);
  const std::string bytes = pack.file();
  const ProcessResult result =
      router.runWith({kStrace, "-o", "/dev/null", "-P", router.path(kTemporaryImage), "-e",
                      "trace=write", "-e", "inject=write:error=ENOSPC:when=2"},
                     {"-"}, bytes);
  EXPECT_TRUE(result.exited(255)) << result;
  EXPECT_EQ(router.log(), "installed ppp-3.22\n");
  EXPECT_NE(result.out.find("\nERROR: could not save package image\n"), std::string::npos);
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp/image"));
  EXPECT_FALSE(router.has(kTemporaryImage));
}

TEST_F(StandardInput, QuietModeSaysNothing) {
  const std::string bytes = withImage().file();
  EXPECT_RUN(router.run({"-q", "-"}, bytes), 0, Console());
  EXPECT_EQ(router.log(), "");
  EXPECT_FALSE(router.has("/flash/postlog"));
  EXPECT_TRUE(router.has("/flash/var/pdb/ppp/image"));
}

TEST_F(StandardInput, DriversOwnMessagesAreNotSilenced) {
  const std::string bytes = simplePack("ppp").file();
  router.put("/image", "in the way");
  EXPECT_RUN(router.run({"-q", "-"}, bytes), 255,
             Console().line("ERROR: could not save package image"));
}

TEST_F(StandardInput, RefusedPackageLeavesTheImageAsFarAsItCame) {
  Pack pack = simplePack("ppp");
  pack.arch = "i386";
  const std::string bytes = pack.file();
  EXPECT_RUN(router.run({"-"}, bytes), 1,
             Console().error("can not install ppp-3.22: it is not made for mipsel, but for i386"));
  const std::string kept = router.read(kTemporaryImage);
  EXPECT_FALSE(kept.empty());
  EXPECT_EQ(kept, bytes.substr(0, kept.size()));
}

TEST_F(StandardInput, NextRunTakesALeftOverImageForAPackage) {
  router.run({"-"}, "no package at all");
  ASSERT_TRUE(router.has(kTemporaryImage));
  EXPECT_NE(router.run({"--show"}).out.find("           image               0.0"),
            std::string::npos);
}

TEST_F(StandardInput, LeftOverImageIsNotInTheWayOfTheNext) {
  const std::string bytes = withImage().file();
  router.put(kTemporaryImage, std::string(100000, 'x'));
  EXPECT_TRUE(router.run({"-"}, bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
  EXPECT_FALSE(router.has(kTemporaryImage));
}

TEST_F(StandardInput, NothingAtAllIsAFailure) {
  EXPECT_RUN(router.run({"-"}, ""), 1, Console());
  EXPECT_EQ(router.read(kTemporaryImage), "");
  EXPECT_FALSE(router.has("/flash/postlog"));
}

TEST_F(StandardInput, WhatIsNoPackageIsAFailure) {
  EXPECT_RUN(router.run({"-"}, "#!/bin/sh\nexit 0\n"), 1, Console());
}

TEST_F(StandardInput, TruncatedPackageIsTakenBack) {
  const std::string bytes = withImage().file();
  const std::string before = router.treeOf("/flash/lib") + router.database();
  const std::string half = bytes.substr(0, partOf(bytes, kPartArchive).offset + 10);
  const ProcessResult result = router.run({"-"}, half);
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(router.log(), "ERROR: installation of ppp-3.22 failed: broken package\n");
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp"));
  EXPECT_FALSE(router.has("/flash/share/ppp"));
  EXPECT_EQ(router.read(kTemporaryImage), half);
}

TEST_F(StandardInput, MissingDatabaseIsFatal) {
  removeTree(router.path("/flash/var/pdb"));
  Console console;
  console.warning("could not open repo").line("ERROR: could not open image");
  EXPECT_RUN(router.run({"-"}, simplePack("ppp").file()), 255, console);
  EXPECT_FALSE(router.has("/flash/share/ppp"));
  // The run ends at once.
  EXPECT_FALSE(router.has("/flash/postlog"));
}

TEST_F(StandardInput, MissingDatabaseIsFatalInQuietModeToo) {
  removeTree(router.path("/flash/var/pdb"));
  EXPECT_RUN(router.run({"-q", "-"}), 255, Console().line("ERROR: could not open image"));
}

TEST_F(StandardInput, ReinstallSaysSoFirst) {
  const std::string bytes = withImage().file();
  Console console;
  console.line().line("Resuming upgrade...").installed("ppp-3.22", bytes);
  EXPECT_RUN(router.run({"--reinstall", "-"}, bytes), 0, console);
}

}  // namespace
