#include "tools/tpk/show/diff.h"

#include "tests/support/packbuilder.h"
#include "tests/tpk/program.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;

class DiffCommand : public TpkProgram {
 protected:
  ProcessResult diff(const std::string& before, const std::string& after) const {
    writeFile(path("a.tpk"), before);
    writeFile(path("b.tpk"), after);
    return run({"diff", "a.tpk", "b.tpk"});
  }
  // Of two that differ.
  std::string changes(const PackBuilder& before, const PackBuilder& after) const {
    const ProcessResult result = diff(before.finish(), after.finish());
    EXPECT_TRUE(result.exited(1)) << result;
    EXPECT_EQ(result.err, "");
    return result.out;
  }
  static PackBuilder package() { return PackBuilder().header("one", kVersion); }
};

TEST_F(DiffCommand, TheSameBytesAreStatusZeroInSilence) {
  const std::string package = PackBuilder().header("one", kVersion).sign().finish();
  const ProcessResult result = diff(package, package);
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "");
}

TEST_F(DiffCommand, SaysWhatChangedInTheHeaders) {
  EXPECT_EQ(changes(PackBuilder()
                        .header("one", kVersion, 0)
                        .part(kPartArchitecture, "mipsel")
                        .part(kPartDescription, "old\nsame"),
                    PackBuilder(true)
                        .header("two", kVersion + 1, 60)
                        .part(kPartArchitecture, "i386")
                        .part(kPartDescription, "new\nsame")
                        .image()
                        .sign()),
            R"(dumb: no -> yes
name: one -> two
version: 3.22 -> 3.22.1
built: 1970-01-01 00:00:00 UTC -> 1970-01-01 00:01:00 UTC
architecture: mipsel -> i386
description:
  @@ -1,2 +1,2 @@
  -old
  +new
   same
image: no -> yes
signed: no -> yes
)");
}

TEST_F(DiffCommand, SaysWhatChangedInTheRelations) {
  EXPECT_EQ(changes(package()
                        .list(kPartRequires, {dep("system", kVersion), dep("gone"), dep("same")})
                        .list(kPartProvides, {dep("api", 0, 0, 1)}),
                    package()
                        .list(kPartRequires, {dep("same"), dep("new"), dep("system")})
                        .list(kPartProvides, {dep("api", 0, 0, 2)})
                        .list(kPartConflicts, {dep("rival")})),
            R"(requires: system >= 3.22 -> system
requires: - gone
requires: + new
provides: api, weight 1 -> api, weight 2
conflicts: + rival
)");
}

TEST_F(DiffCommand, ShowsScriptsLineByLine) {
  EXPECT_EQ(changes(package().part(kPartOnInstall, "a\nb\n").part(kPartOnUninstall, "x"),
                    package().part(kPartOnInstall, "a\n\x1B\n")),
            R"(oninstall:
  @@ -1,2 +1,2 @@
   a
  -b
  +\x1b
onuninstall: (gone)
  @@ -1,1 +0,0 @@
  -x
)");
  EXPECT_EQ(changes(package().part(kPartOnInstall, "a"), package().part(kPartOnInstall, "a\n")),
            "oninstall:\n  only the end of the last line\n");
}

TEST_F(DiffCommand, SaysWhatChangedInTheFiles) {
  const auto archive = [](const ArchiveBuilder& entries) { return package().archive(entries); };
  EXPECT_EQ(changes(archive(ArchiveBuilder()
                                .regular("/bin/a", "12345")
                                .regular("bin/b", "12345")
                                .symlink("c", "a")
                                .charDevice("d", 0x0501)
                                .regular("gone", "1")
                                .regular("same", "")),
                    archive(ArchiveBuilder()
                                .regular("bin/a", "54321", 04755)
                                .owner(1, 2)
                                .time(60)
                                .skip()
                                .regular("bin/b", "123456")
                                .owner(0, 0)
                                .time(0)
                                .skip(false)
                                .symlink("c", "b")
                                .charDevice("d", 0x0502)
                                .symlink("new", "a")
                                .regular("same", ""))),
            R"(bin/a: mode 0644 -> 4755; contents
bin/b: owner 0/0 -> 1/2; time 1970-01-01 00:00:00 -> 1970-01-01 00:01:00; size 5 -> 6; contents; passed over no -> yes
c: target a -> b
d: device 5,1 -> 5,2
- gone (-rw-r--r-- 0/0 1 bytes)
+ new (lrwxrwxrwx 0/0) -> a
)");
}

TEST_F(DiffCommand, ComparesTheMembersOfBundlesByName) {
  const auto bundle = [] { return PackBuilder().bundleHeader("pair", kVersion); };
  EXPECT_EQ(
      changes(
          bundle()
              .list(kPartTurnOff, {dep("one")})
              .header("one", kVersion)
              .header("two", kVersion)
              .header("same", kVersion),
          bundle().header("same", kVersion).header("three", kVersion).header("one", kVersion + 1)),
      R"(turns off: - one
one:
  version: 3.22 -> 3.22.1
- package two-3.22
+ package three-3.22
)");
}

TEST_F(DiffCommand, APackageAndABundleAreComparedByWhatIsInThem) {
  EXPECT_EQ(
      changes(package(), PackBuilder().bundleHeader("pair", kVersion).header("one", kVersion)),
      "kind: package -> bundle\n");
}

TEST_F(DiffCommand, BytesThatNobodyReadsCountToo) {
  PackBuilder other;
  other.header("one", kVersion).part(99, "unknown");
  EXPECT_EQ(changes(package(), other),
            "only in what no reader looks at: signatures, unused fields, order or compression\n");
}

TEST_F(DiffCommand, StatusesOfFailuresAreThoseOfAllCommands) {
  writeFile(path("bad"), "something else");
  writeFile(path("good"), package().finish());
  const ProcessResult bad = run({"diff", "good", "bad"});
  EXPECT_TRUE(bad.exited(1)) << bad;
  EXPECT_THAT(bad.err, HasSubstr("tpk: bad: is no package"));
  EXPECT_TRUE(run({"diff", "good"}).exited(2));
  EXPECT_TRUE(run({"diff", "good", "missing"}).exited(3));
  EXPECT_TRUE(run({"diff", "-", "good"}, package().finish()).exited(0));
}

}  // namespace
