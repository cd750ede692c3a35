// The installation of one package: its parts in their order, its record, its end, its rollback.
#include "tests/package/installworld.h"
#include "tests/package/tool.h"
#include "tests/support/systemcalls.h"
#include "tests/support/vectors.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>

#include <unistd.h>

namespace {

class Install : public InstallWorld {
 protected:
  static std::string database() { return listTree("/flash/var/pdb", 0); }
  static std::string meta(const std::string& file) {
    return readFile("/flash/var/pdb/tool/" + file);
  }
  // Nothing of the package is left but directories.
  void expectUndone() {
    EXPECT_EQ(database(), "");
    EXPECT_EQ(listed(), "");
    const std::string tree = flash();
    EXPECT_EQ(tree.find(" file"), std::string::npos) << tree;
    EXPECT_EQ(tree.find(" link"), std::string::npos) << tree;
  }
  std::string lastBar() {
    const std::string console = takeConsole();
    const std::size_t at = console.rfind('[', console.rfind(']'));
    return at == std::string::npos ? "" : console.substr(at, console.rfind(']') + 1 - at);
  }

  ArchiveBuilder archive_ = ArchiveBuilder().directory("bin").regular("bin/foo", "data");
};

TEST_F(Install, FilesRecordAndMessage) {
  EXPECT_TRUE(install(signedPack(archive_)));
  EXPECT_EQ(flash(), "/bin dir\n/bin/foo file\n");
  EXPECT_EQ(database(), "/tool dir\n/tool/deps file\n/tool/files file\n/tool/version file\n");
  EXPECT_EQ(meta("version"), std::to_string(kOne) + " 0\n");
  EXPECT_EQ(meta("files"), "bin/foo\n");
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Install, ListsOfTheHeadAreRecorded) {
  PackageDep dep;
  dep.name = "system";
  dep.minVersion = 5;
  dep.weight = -6;
  PackBuilder file = PackBuilder().header("tool", kOne, 77).list(kPartRequires, {dep});
  file.list(kPartProvides, {dep}).list(kPartConflicts, {dep}).archive(archive_).sign();
  EXPECT_TRUE(install(file));
  EXPECT_EQ(meta("version"), std::to_string(kOne) + " 77\n");
  EXPECT_EQ(meta("deps"), "system 5 0\n");
  EXPECT_EQ(meta("provides"), "system 5 0 -6\n");
  EXPECT_EQ(meta("conflicts"), "system 5 0\n");
}

TEST_F(Install, ConsoleEndsWithTheMessage) {
  EXPECT_TRUE(install(signedPack(archive_)));
  const std::string console = takeConsole();
  const std::string end = "\033[?25l\r" + std::string(77, ' ') + "\r\033[?25hinstalled tool-1.0\n";
  ASSERT_GT(console.size(), end.size());
  EXPECT_EQ(console.substr(console.size() - end.size()), end);
  EXPECT_EQ(RepoAccess::status(), "");
}

TEST_F(Install, ShowsProgressFirst) {
  EXPECT_FALSE(install(pack()));
  EXPECT_EQ(takeConsole().substr(0, 30), "\033[?25l\rinstalling tool-1.0 [##");
}

TEST_F(Install, MetaDirThatCannotBeMadeEndsItInSilence) {
  removeTree("/flash/var/pdb");
  writeFile("/flash/var/pdb", "in the way");
  EXPECT_FALSE(install(signedPack(archive_)));
  EXPECT_EQ(messages(), "");
  EXPECT_EQ(flash(), "");
  EXPECT_EQ(readFile("/flash/var/pdb"), "in the way");
}

TEST_F(Install, MetaDirIsMadeWithItsParents) {
  removeTree("/flash/var");
  EXPECT_TRUE(install(signedPack(archive_)));
  EXPECT_EQ(listTree("/flash/var", kTreeMode, {"/pdb/tool"}), "/pdb dir 0750\n");
}

TEST_F(Install, RelativeRecordAndFiles) {
  makeFolders("/other");
  ASSERT_EQ(chdir("/other"), 0);
  EXPECT_TRUE(install(signedPack(ArchiveBuilder().regular("foo", "data")), true));
  EXPECT_EQ(listTree("/other", 0),
            "/flash dir\n/flash/var dir\n/flash/var/pdb dir\n/flash/var/pdb/tool dir\n"
            "/flash/var/pdb/tool/deps file\n/flash/var/pdb/tool/files file\n"
            "/flash/var/pdb/tool/version file\n/foo file\n");
  EXPECT_EQ(readFile("/other/flash/var/pdb/tool/files"), "./foo\n");
  EXPECT_EQ(database(), "");
}

// State.

TEST_F(Install, DisabledPackageSaysSo) {
  package_->disabled = true;
  EXPECT_TRUE(install(signedPack(archive_)));
  EXPECT_EQ(messages(), "installed (disabled) tool-1.0\n");
  EXPECT_EQ(meta("disabled"), "auto\n");
  EXPECT_EQ(meta("files"), "x/tool/bin/foo\n");
  EXPECT_EQ(readFile("/flash/x/tool/bin/foo"), "data");
}

TEST_F(Install, DisabledByTheUser) {
  package_->disabled = package_->userForced = true;
  EXPECT_TRUE(install(signedPack(archive_)));
  EXPECT_EQ(meta("disabled"), "user\n");
}

TEST_F(Install, MemberIsLeftToItsBundleToReport) {
  package_->bundle.name = "system";
  EXPECT_TRUE(install(signedPack(archive_)));
  EXPECT_EQ(messages(), "");
  EXPECT_EQ(meta("bundle"), "system\n");
  EXPECT_EQ(RepoAccess::status().substr(0, 19), "installing system [") << "stays as it is";
}

// Parts.

TEST_F(Install, PackageWithoutAnArchive) {
  EXPECT_TRUE(install(pack().sign()));
  EXPECT_EQ(flash(), "");
  EXPECT_EQ(meta("files"), "");
}

TEST_F(Install, ImageIsPassedOver) {
  PackBuilder file = pack().image(std::string(10000, 'i')).archive(archive_).sign();
  EXPECT_TRUE(install(file));
  EXPECT_EQ(database(), "/tool dir\n/tool/deps file\n/tool/files file\n/tool/version file\n");
  EXPECT_EQ(readFile("/flash/bin/foo"), "data");
}

TEST_F(Install, ProgressMovesThroughTheImage) {
  EXPECT_FALSE(install(pack().image(std::string(400000, 'i'))));
  const std::string console = takeConsole();
  std::size_t bars = 0;
  for (std::size_t at = 0; (at = console.find("\rinstalling", at)) != std::string::npos; ++at)
    ++bars;
  // Of 400000 bytes in steps of 4096 each of the 55 columns shows.
  EXPECT_GE(bars, 50U);
}

TEST_F(Install, ProgressStandsBeforeEachStepOfTheImage) {
  EXPECT_FALSE(install(pack().image(std::string(2 * 4096, 'i'))));
  // The last one shows what came before the second step.
  const std::string bar = lastBar();
  EXPECT_EQ(std::count(bar.begin(), bar.end(), '#'), 55 * (52 + 4096) / (52 + 2 * 4096));
}

TEST_F(Install, EmptyImageIsFine) { EXPECT_TRUE(install(pack().image().archive(archive_).sign())); }

TEST_F(Install, ImageThatIsCutShortIsBroken) {
  const std::string whole = pack().image(std::string(10000, 'i')).finish();
  for (const std::size_t cut : {1U, 4096U, 9999U, 10000U}) {
    EXPECT_FALSE(installBytes(whole.substr(0, whole.size() - cut))) << cut;
    EXPECT_EQ(messages(), kBroken);
    expectUndone();
    restart();
  }
}

TEST_F(Install, ScriptsAreStored) {
  PackBuilder file = pack().part(kPartOnInstall, "one").part(kPartOnUninstall, "two");
  EXPECT_TRUE(install(file.archive(archive_).sign()));
  EXPECT_EQ(meta("oninstall"), std::string(kPrologue) + "one");
  EXPECT_EQ(meta("onuninstall"), std::string(kPrologue) + "two");
}

TEST_F(Install, PackageWithAnImageKeepsNoInstallScript) {
  PackBuilder file = pack().image("i").part(kPartOnInstall, "one").part(kPartOnUninstall, "two");
  EXPECT_TRUE(install(file.archive(archive_).sign()));
  EXPECT_FALSE(exists("/flash/var/pdb/tool/oninstall"));
  EXPECT_EQ(meta("onuninstall"), std::string(kPrologue) + "two");
  EXPECT_EQ(readFile("/flash/bin/foo"), "data");
}

TEST_F(Install, InstallScriptThatCannotBeStoredIsReportedTwice) {
  makeFolders("/flash/var/pdb/tool/oninstall");
  EXPECT_FALSE(install(pack().part(kPartOnInstall, "one").archive(archive_).sign()));
  const std::string line =
      "ERROR: installation of tool-1.0 failed: could not create oninstall: Is a directory\n";
  EXPECT_EQ(messages(), line + line);
  EXPECT_EQ(flash(), "");
}

TEST_F(Install, UninstallScriptThatCannotBeStoredIsReportedTwice) {
  makeFolders("/flash/var/pdb/tool/onuninstall");
  PackBuilder file = pack().part(kPartOnInstall, "one").part(kPartOnUninstall, "two");
  EXPECT_FALSE(install(file.archive(archive_).sign()));
  const std::string line =
      "ERROR: installation of tool-1.0 failed: could not create onuninstall: Is a directory\n";
  EXPECT_EQ(messages(), line + line);
  EXPECT_EQ(flash(), "");
  EXPECT_FALSE(exists("/flash/var/pdb/tool/oninstall")) << "undone";
}

TEST_F(Install, InstallScriptThatIsCutShortIsReportedTwice) {
  PackBuilder file = pack().partHeader(kPartOnInstall, 10).raw("short");
  EXPECT_FALSE(install(file));
  EXPECT_EQ(messages(), std::string(kBroken) +
                            "ERROR: installation of tool-1.0 failed: could not create oninstall: "
                            "Bad message\n");
  expectUndone();
}

TEST_F(Install, UninstallScriptThatIsCutShortIsReportedTwice) {
  PackBuilder file = pack().partHeader(kPartOnUninstall, 10).raw("short");
  EXPECT_FALSE(install(file));
  EXPECT_EQ(messages(), std::string(kBroken) +
                            "ERROR: installation of tool-1.0 failed: could not create onuninstall: "
                            "Bad message\n");
  expectUndone();
}

TEST_F(Install, ArchiveThatFailsIsUndone) {
  EXPECT_FALSE(install(signedPack(archive_.entry("bad", 0xC000, ""))));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(flash(), "/bin dir\n");
  expectUndone();
}

TEST_F(Install, PartsInAnotherOrderAreBroken) {
  const PackBuilder files[] = {
      pack().part(kPartOnUninstall, "two").part(kPartOnInstall, "one").archive(archive_).sign(),
      pack().archive(archive_).part(kPartOnInstall, "one").sign(),
      pack().archive(archive_).archive(archive_).sign(),
      pack().archive(archive_).image("i").sign(),
      pack().part(kPartOnInstall, "one").image("i").archive(archive_).sign(),
      pack().part(kPartOnInstall, "one").part(kPartOnInstall, "one").archive(archive_).sign(),
      pack().archive(archive_).part(kPartRequires, dependencyList({})).sign(),
  };
  for (const PackBuilder& file : files) {
    restart();
    EXPECT_FALSE(install(file));
    EXPECT_EQ(messages(), kBroken);
    expectUndone();
  }
}

TEST_F(Install, PartThatIsNotExpectedIsLeftToTheCaller) {
  EXPECT_FALSE(install(pack().archive(archive_).part(kPartOnInstall, "one").sign()));
  EXPECT_EQ(leftAt(), static_cast<std::uint32_t>(kPartOnInstall));
}

TEST_F(Install, NextPackageIsLeftToTheCaller) {
  PackBuilder file = signedPack(archive_);
  file.header("next", kOne);
  EXPECT_TRUE(install(file));
  EXPECT_EQ(leftAt(), static_cast<std::uint32_t>(kPartPackage));
}

TEST_F(Install, EndIsReachedBehindASinglePackage) {
  EXPECT_TRUE(install(signedPack(archive_)));
  EXPECT_EQ(leftAt(), static_cast<std::uint32_t>(kNoPart));
}

TEST_F(Install, ArchiveMayHaveBytesBehindIt) {
  PackBuilder file = pack().part(kPartArchive, archive_.deflated() + std::string(9000, 'x'));
  EXPECT_TRUE(install(file.sign()));
  EXPECT_EQ(readFile("/flash/bin/foo"), "data");
}

TEST_F(Install, NothingStaysOpen) {
  const int before = nextDescriptor();
  PackBuilder file = pack().part(kPartOnUninstall, "two").archive(archive_).sign();
  EXPECT_TRUE(install(file));
  EXPECT_EQ(nextDescriptor(), before);
}

// Signatures.

TEST_F(Install, WithoutASignatureItIsBroken) {
  EXPECT_FALSE(install(pack().archive(archive_)));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(flash(), "/bin dir\n");
  expectUndone();
}

TEST_F(Install, WithAKnownDigestItNeedsNoSignature) {
  const PackBuilder file = pack().archive(archive_);
  ProductInUse product(productData());
  const std::string digest = file.digest();
  std::memcpy(product.data().knownDigests[952], digest.data(), digest.size());
  EXPECT_TRUE(install(file));
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Install, SignatureOfOtherBytesIsBroken) {
  std::string bytes = signedPack(archive_).finish();
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  EXPECT_FALSE(installBytes(bytes));
  EXPECT_EQ(messages(), kBroken);
  expectUndone();
}

TEST_F(Install, ShortSignatureIsBroken) {
  EXPECT_FALSE(install(pack().archive(archive_).part(kPartSignature, std::string(67, 's'))));
  EXPECT_EQ(messages(), kBroken);
  expectUndone();
}

TEST_F(Install, BytesBehindTheSignatureAreIgnored) {
  EXPECT_TRUE(install(pack().archive(archive_).sign("trailing bytes")));
}

TEST_F(Install, BrokenMemberIsReportedAsItsBundle) {
  package_->bundle.name = "system";
  package_->bundle.minVersion = kTwo;
  EXPECT_FALSE(install(pack().archive(archive_)));
  EXPECT_EQ(messages(), "ERROR: installation of system-2.0 failed: broken package\n");
  expectUndone();
}

// The end.

TEST_F(Install, DisksAreSyncedWhenTheRecordIsThere) {
  unsigned syncs = 0;
  onSync([&] {
    ++syncs;
    EXPECT_EQ(meta("files"), "bin/foo\n");
    EXPECT_EQ(messages(), "") << "the message comes later";
  });
  EXPECT_TRUE(install(signedPack(archive_)));
  EXPECT_EQ(syncs, 1U);
}

TEST_F(Install, FailureSyncsNothing) {
  unsigned syncs = 0;
  onSync([&] { ++syncs; });
  EXPECT_FALSE(install(pack().archive(archive_)));
  EXPECT_EQ(syncs, 0U);
}

TEST_F(Install, RecordThatCannotBeWrittenIsUndone) {
  for (const char* file : {"version", "deps", "files"}) {
    restart();
    makeFolders("/flash/var/pdb/tool/" + std::string(file));
    EXPECT_FALSE(install(signedPack(archive_)));
    EXPECT_EQ(messages(), "ERROR: installation of tool-1.0 failed: could not create meta/" +
                              std::string(file) + ": Is a directory\n");
    EXPECT_EQ(flash(), "/bin dir\n");
    EXPECT_EQ(database(), "/tool dir\n/tool/" + std::string(file) + " dir\n");
    removeTree("/flash/var/pdb/tool");
  }
}

// Rollback.

TEST_F(Install, ThirdOfFiveFilesFails) {
  ArchiveBuilder five;
  five.directory("a").regular("a/1", "one").regular("b/2", "two");
  five.regular("c/3", std::string(40000, '3')).regular("d/4", "four").regular("e/5", "five");
  failCall(SystemCall::kWrite, ENOSPC, 3);  // the second chunk of the third
  EXPECT_FALSE(install(signedPack(five)));
  EXPECT_EQ(messages(), "ERROR: installation of tool-1.0 failed: disk is too small\n");
  EXPECT_EQ(flash(), "/a dir\n/b dir\n/c dir\n");
  expectUndone();
}

TEST_F(Install, RollbackRemovesEveryTypeButDirectories) {
  ArchiveBuilder all;
  all.directory("d").regular("d/f", "x").symlink("d/l", "f").fifo("d/p");
  EXPECT_FALSE(install(pack().archive(all)));
  EXPECT_EQ(flash(), "/d dir\n");
}

TEST_F(Install, RollbackLeavesCollidingFiles) {
  writeFile("/flash/bin/foo", "old");
  addInstalled("other", {"/bin/foo"});
  EXPECT_FALSE(install(pack().archive(archive_)));
  EXPECT_EQ(readFile("/flash/bin/foo"), "old");
}

TEST_F(Install, RollbackDoesNotBringGhostsBack) {
  writeFile("/flash/bin/foo", "old");
  EXPECT_FALSE(install(pack().archive(archive_)));
  EXPECT_EQ(messages(), std::string("WARNING: ghost file /bin/foo\n") + kBroken);
  EXPECT_EQ(flash(), "/bin dir\n");
}

TEST_F(Install, RollbackOfADisabledPackage) {
  package_->disabled = true;
  EXPECT_FALSE(install(pack().archive(archive_)));
  EXPECT_EQ(listTreeAt("/flash", "/x/tool/bin", 0), "/x/tool/bin dir\n");
  expectUndone();
}

TEST_F(Install, RollbackClearsTheScheduledAction) {
  package_->scheduledAction = kActionEnable;
  EXPECT_FALSE(install(pack().archive(archive_)));
  EXPECT_EQ(package_->scheduledAction, kActionNone);
}

// Dumb packages.

TEST_F(Install, DumbPackageLeavesNoRecord) {
  EXPECT_TRUE(install(signedPack(archive_, true)));
  EXPECT_EQ(flash(), "/bin dir\n/bin/foo file\n");
  EXPECT_EQ(database(), "");
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Install, DumbPackageReplacesFilesInSilence) {
  writeFile("/flash/bin/foo", "old");
  addInstalled("other", {"/bin/foo"});
  EXPECT_TRUE(install(signedPack(archive_, true)));
  EXPECT_EQ(readFile("/flash/bin/foo"), "data");
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Install, DumbPackageMustBeGenuineToo) {
  EXPECT_FALSE(install(pack(true).archive(archive_)));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(flash(), "/bin dir\n");
  expectUndone();
}

TEST_F(Install, DumbPackageLeavesARecordOfItsNameAlone) {
  writeFile("/flash/var/pdb/tool/version", "1 2\n");
  writeFile("/flash/var/pdb/tool/files", "bin/bar\n");
  const std::string before = listTree("/flash/var/pdb", kTreeContents | kTreeTime);
  EXPECT_TRUE(install(signedPack(archive_, true)));
  EXPECT_EQ(listTree("/flash/var/pdb", kTreeContents | kTreeTime), before);
  restart();
  EXPECT_FALSE(install(pack(true).archive(archive_)));
  EXPECT_EQ(listTree("/flash/var/pdb", kTreeContents | kTreeTime), before);
  EXPECT_EQ(flash(), "/bin dir\n");
}

TEST_F(Install, DumbPackageHasNoPlaceForAScript) {
  EXPECT_FALSE(install(pack(true).part(kPartOnInstall, "one").archive(archive_).sign()));
  const std::string line =
      "ERROR: installation of tool-1.0 failed: could not create oninstall: No such file or "
      "directory\n";
  EXPECT_EQ(messages(), line + line);
  EXPECT_EQ(database(), "");
}

// Nobody knows who wrote it.
TEST_F(Install, RefusedDumbPackageLeavesNoScriptInTheRecordOfItsName) {
  writeFile("/flash/var/pdb/tool/version", "1 2\n");
  PackBuilder file = pack(true).part(kPartOnInstall, "one").part(kPartOnUninstall, "two");
  EXPECT_FALSE(install(file.archive(archive_)));
  EXPECT_EQ(database(), "/tool dir\n/tool/version file\n");
}

TEST_F(Install, GenuineDumbPackageStoresItsScriptInTheRecordOfItsName) {
  writeFile("/flash/var/pdb/tool/version", "1 2\n");
  PackBuilder file = pack(true).part(kPartOnUninstall, "two").archive(archive_);
  EXPECT_TRUE(install(file.sign()));
  EXPECT_EQ(database(), "/tool dir\n/tool/onuninstall file\n/tool/version file\n");
}

// A record without files.

TEST_F(Install, VoidPackageHasItsRecordOnly) {
  package_->isBundle = true;
  package_->buildTime = 77;
  EXPECT_TRUE(package_->installVoid());
  EXPECT_EQ(database(), "/tool dir\n/tool/deps file\n/tool/version file\n");
  EXPECT_EQ(meta("version"), std::to_string(kOne) + " 77\n");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Install, VoidPackageWithoutAMetaDirFailsInSilence) {
  removeTree("/flash/var/pdb");
  writeFile("/flash/var/pdb", "in the way");
  EXPECT_FALSE(package_->installVoid());
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Install, VoidPackageWhoseRecordCannotBeWrittenIsUndone) {
  failCall(SystemCall::kWrite, ENOSPC);
  EXPECT_FALSE(package_->installVoid());
  EXPECT_EQ(messages(), "ERROR: installation of tool-1.0 failed: disk is too small\n");
  EXPECT_EQ(database(), "");
}

// Reports.

TEST_F(Install, FullDiskHasAMessageOfItsOwn) {
  errno = ENOSPC;
  package_->reportInstallError("bin/foo");
  EXPECT_EQ(takeConsole(), "ERROR: installation of tool-1.0 failed: disk is too small\n");
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(Install, BrokenDiskHasAMessageOfItsOwn) {
  errno = EIO;
  package_->reportInstallError("bin/foo");
  EXPECT_EQ(takeConsole(), "ERROR: installation of tool-1.0 failed: disk error\n");
  EXPECT_EQ(errno, EIO);
}

TEST_F(Install, OtherErrorsHaveTheSystemsText) {
  errno = EROFS;
  package_->reportInstallError("bin/foo");
  EXPECT_EQ(takeConsole(),
            "ERROR: installation of tool-1.0 failed: could not create bin/foo: Read-only file "
            "system\n");
  EXPECT_EQ(errno, EROFS);
}

// A script that fails to store is reported twice, with the same reason.
TEST_F(Install, ReasonOutlivesAConsoleThatIsGone) {
  close(STDOUT_FILENO);
  errno = EROFS;
  package_->reportInstallError("bin/foo");
  EXPECT_EQ(errno, EROFS);
  std::cout.clear();
}

TEST_F(Install, ReportsNameTheBundle) {
  package_->bundle.name = "system";
  errno = ENOSPC;
  package_->reportInstallError("bin/foo");
  package_->reportBrokenPackage();
  EXPECT_EQ(takeConsole(),
            "ERROR: installation of system failed: disk is too small\n"
            "ERROR: installation of system failed: broken package\n");
}

// Every damage to a package file: nothing of it stays, nothing else is touched.
class InstallDamage : public Install, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    Install::SetUp();
    if (IsSkipped()) return;
    writeFile("/flash/etc/old", "of another package");
    writeFile("/flash/etc/config", "of nobody");
    writeFile("/flash/var/pdb/other/version", "1 2\n");
    writeFile("/flash/var/pdb/other/files", "etc/old\n");
    addInstalled("other", {"/etc/old"});
    if (isDumb()) writeFile("/flash/var/pdb/tool/version", "of the installed one");
    before_ = everything();
  }

  static bool isDumb() { return GetParam(); }

  static PackBuilder smallPack() {
    ArchiveBuilder archive;
    archive.directory("bin").regular("bin/foo", "some data").symlink("bin/bar", "foo");
    archive.fifo("bin/pipe");
    PackBuilder file = pack(isDumb());
    if (!isDumb()) {
      archive.regular("etc/old", "colliding");
      file.part(kPartOnInstall, "exit 0\n");
    }
    return file.archive(archive).sign();
  }

  // All but directories.
  static std::string everything() {
    std::istringstream lines(listTree("/", kTreeContents | kTreeTarget));
    std::string result;
    for (std::string line; std::getline(lines, line);) {
      if (line.compare(line.size() - 4, 4, " dir") != 0) result += line + '\n';
    }
    return result;
  }

  void check(const std::string& bytes, const std::string& what) {
    restart();
    ASSERT_FALSE(installBytes(bytes)) << what;
    ASSERT_EQ(everything(), before_) << what;
    ASSERT_FALSE(!isDumb() && exists("/flash/var/pdb/tool")) << what;
    ASSERT_TRUE(package_->files.empty()) << what;
    for (const char* folder : {"/flash/bin", "/flash/x"}) removeTree(folder);
  }

  std::string before_;
};

TEST_P(InstallDamage, CutAtEveryByte) {
  const std::string whole = smallPack().finish();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    ASSERT_NO_FATAL_FAILURE(
        check(whole.substr(0, length), "cut to " + std::to_string(length) + " bytes"));
  }
}

TEST_P(InstallDamage, EveryBitFlipped) {
  const std::string whole = smallPack().finish();
  // The length in the file's header is for the progress only.
  for (std::size_t i = 0; i < whole.size(); ++i) {
    if (i >= FileHeader::kLength && i < FileHeader::kSize) continue;
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string damaged = whole;
      damaged[i] = static_cast<char>(static_cast<unsigned char>(damaged[i]) ^ (1U << bit));
      ASSERT_NO_FATAL_FAILURE(
          check(damaged, "byte " + std::to_string(i) + " bit " + std::to_string(bit)));
    }
  }
}

// Under the compression as well: every entry's header and data.
TEST_P(InstallDamage, EveryBitOfTheArchiveFlippedInAGenuinePackage) {
  ArchiveBuilder archive;
  archive.time(1000).directory("bin").regular("bin/foo", "data").symlink("bin/bar", "foo");
  archive.fifo("bin/pipe").charDevice("bin/null", 0x0103);
  for (std::size_t i = 0; i < archive.bytes().size(); ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string damaged = archive.bytes();
      damaged[i] = static_cast<char>(static_cast<unsigned char>(damaged[i]) ^ (1U << bit));
      // Without a signature, so that the end is always a rollback.
      const PackBuilder file = pack(isDumb()).archive(ArchiveBuilder().raw(damaged));
      ASSERT_NO_FATAL_FAILURE(
          check(file.finish(), "byte " + std::to_string(i) + " bit " + std::to_string(bit)));
      removeTree("/flash/tool");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Magics, InstallDamage, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& magic) {
                           return std::string(magic.param ? "Dumb" : "Plain");
                         });

TEST_F(Install, LengthInTheFileHeaderDoesNotCount) {
  std::string bytes = signedPack(archive_).finish();
  bytes[FileHeader::kLength] = '\x7f';
  bytes[FileHeader::kLength + 3] = '\x7f';
  EXPECT_TRUE(installBytes(bytes));
}

}  // namespace
