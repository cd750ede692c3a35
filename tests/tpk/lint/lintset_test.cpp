#include "tests/tpk/lint/lintfixture.h"

namespace {

class LintSet : public LintTest {
 protected:
  using LintTest::lint;
  std::string lint(const PackBuilder& one, const PackBuilder& two) const {
    return lint({put("one.tpk", one), put("two.tpk", two)});
  }
  static PackBuilder later() {
    return PackBuilder()
        .header("one", kVersion, kBuildTime + 1)
        .part(kPartArchitecture, "mipsel")
        .list(kPartRequires, {system()});
  }
  static ArchiveBuilder file(const std::string& name) {
    return ArchiveBuilder().directory("etc").regular("etc/" + name, "data");
  }
};

TEST_F(LintSet, EqualPackagesDropEachOther) {
  EXPECT_EQ(lint(begin().sign(), begin().sign()),
            "error equal-packages: one-1.0 is also in " + path("one.tpk") + "\n");
  PackBuilder bundle = beginBundle();
  add(bundle).sign();
  EXPECT_EQ(lint(bundle, bundle),
            "error equal-packages: all-1.0 is also in " + path("one.tpk") + "\n");
}

TEST_F(LintSet, NewerPackagesReplaceOlder) {
  const std::string replaced = "note superseded: one-1.0 is replaced by one-1.0 of ";
  EXPECT_EQ(lint(begin().sign(), later().sign()), replaced + path("two.tpk") + "\n");
  EXPECT_EQ(lint(later().sign(), begin().sign()), replaced + path("one.tpk") + "\n");
}

TEST_F(LintSet, BundlesReplaceWhatTheyCarry) {
  PackBuilder bundle = beginBundle();
  add(bundle).sign();
  const std::string replaced = "note superseded: one-1.0 is replaced by all-1.0 of ";
  EXPECT_EQ(lint(begin().sign(), bundle), replaced + path("two.tpk") + "\n");
  EXPECT_EQ(lint(bundle, begin().sign()), replaced + path("one.tpk") + "\n");
}

TEST_F(LintSet, FilesOfTwoPackagesCollide) {
  const std::string collision = "error file-collision two-1.0 etc/a: is also in one-1.0\n";
  EXPECT_EQ(lint(begin("one").archive(file("a")).sign(), begin("two").archive(file("a")).sign()),
            collision);
  EXPECT_EQ(lint(begin("one").archive(file("a")).sign(), begin("two").archive(file("b")).sign()),
            "");
  // A directory in the place of a file.
  EXPECT_EQ(lint(begin("one").archive(file("a")).sign(),
                 begin("two").archive(ArchiveBuilder().directory("etc").directory("etc/a")).sign()),
            collision);
}

TEST_F(LintSet, FilesInABundleCollide) {
  PackBuilder bundle = beginBundle();
  add(bundle, "one").archive(file("a")).sign();
  EXPECT_EQ(lint(add(bundle, "two").archive(file("a")).sign()),
            "error file-collision two-1.0 etc/a: is also in one-1.0\n");
}

TEST_F(LintSet, PackagesInConflictDoNotCollide) {
  const PackBuilder one = begin("one").archive(file("a")).sign();
  const PackBuilder two =
      begin("two").list(kPartConflicts, {{"one", 0, 0, 0}}).archive(file("a")).sign();
  EXPECT_EQ(lint(one, two), "");
  EXPECT_EQ(lint(two, one), "");
}

TEST_F(LintSet, TurnedOffPackagesDoNotCollide) {
  PackBuilder bundle = beginBundle().list(kPartTurnOff, {{"two", 0, 0, 0}});
  add(bundle, "one").archive(file("a")).sign();
  EXPECT_EQ(lint(add(bundle, "two").archive(file("a")).sign()), "");
}

TEST_F(LintSet, FlashHasABudget) {
  // Three files of the record, a directory, a file of one byte more than a block, a link, a script.
  const PackBuilder one = begin("one")
                              .part(kPartOnInstall, "true\n")
                              .archive(ArchiveBuilder()
                                           .directory("etc")
                                           .regular("etc/a", std::string(4097, 'x'))
                                           .symlink("etc/b", "a")
                                           .skip()
                                           .regular("etc/c", "x"))
                              .sign();
  const std::string skipped = "note skipped-entry one-1.0 etc/c: has the skip flag\n";
  constexpr std::uint64_t needed = 8 * 4096;
  options_.flash = needed;
  EXPECT_EQ(lint(one), skipped);
  options_.flash = needed - 1;
  EXPECT_EQ(lint(one), skipped +
                           "error over-flash-budget: everything takes 32768 bytes of flash, 1 more "
                           "than there are\n"
                           "error over-flash-budget one-1.0: takes 32768 bytes of flash\n");
}

TEST_F(LintSet, ImagesTakeFlash) {
  options_.flash = 4 * 4096;
  EXPECT_EQ(lint(begin().image().sign()), "");
  options_.flash = 4 * 4096 - 1;
  EXPECT_EQ(lint(begin().image().sign()).substr(0, 25), "error over-flash-budget: ");
}

TEST_F(LintSet, RefusedFilesDoNotStopTheOthers) {
  writeFile(path("text"), "no package");
  EXPECT_EQ(lint({path("text"), put("one.tpk", begin().sign()), put("two.tpk", begin().sign())}),
            "error refused: is no package: its first four bytes are not a package's\n"
            "error equal-packages: one-1.0 is also in " +
                path("one.tpk") + "\n");
}

}  // namespace
