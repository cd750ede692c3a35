#include "tools/tpk/show/info.h"

#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"
#include "tests/tpk/program.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <zlib.h>

namespace {

using ::testing::HasSubstr;
using Json = nlohmann::json;

PackBuilder everything() {
  PackBuilder builder;
  builder.header("one", kVersion, 1700000000)
      .part(kPartArchitecture, "mipsel")
      .part(kPartDescription, "first line\nsecond\x1B[2J")
      .list(kPartRequires, {dep("system", kVersion), dep("shell", 0)})
      .list(kPartProvides, {dep("api", 0, 0, -3)})
      .list(kPartConflicts, {dep("old", 0)})
      .image()
      .part(kPartOnInstall, "echo in\n")
      .part(kPartOnUninstall, "x")
      .part(99, "new")
      .archive(
          ArchiveBuilder().directory("bin").regular("bin/a", "12345").skip().regular("b", "1"));
  return builder;
}

class InfoCommand : public TpkProgram {
 protected:
  Json json(const std::string& package, int status = 0) const {
    const ProcessResult result = run({"info", "--json", "-"}, package);
    EXPECT_TRUE(result.exited(status)) << result;
    return Json::parse(result.out);
  }
};

TEST_F(InfoCommand, SaysEverythingThatTheHeadersSay) {
  PackBuilder builder = everything();
  const std::size_t packed = ArchiveBuilder()
                                 .directory("bin")
                                 .regular("bin/a", "12345")
                                 .skip()
                                 .regular("b", "1")
                                 .deflated()
                                 .size();
  const std::string digest = hex(builder.digest());
  const std::string bytes = builder.raw("123").finish();
  writeFile(path("one.tpk"), bytes);
  const ProcessResult result = run({"info", "one.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, "one.tpk: package, " + std::to_string(bytes.size()) + R"( bytes
  ignored       3 bytes behind the last part
  name          one
  version       3.22
  built         2023-11-14 22:13:20 UTC (1700000000)
  architecture  mipsel
  description   first line
                second\x1b[2J
  image         the router keeps the package file
  requires      system >= 3.22
                shell
  provides      api, weight -3
  conflicts     old
  oninstall     8 bytes
  onuninstall   1 byte
  archive       3 entries, 5 bytes unpacked, )" +
                            std::to_string(packed) + R"( bytes packed
                zlib level 6; this tpk has zlib )" +
                            zlibVersion() + R"(
  ignored       part of unknown type 99 with 3 bytes
  signature     none
  digest        )" + digest +
                            R"(
  genuine       no
)");
}

TEST_F(InfoCommand, ShowsABundleAsATree) {
  PackBuilder builder;
  builder.bundleHeader("pair", kVersion).list(kPartTurnOff, {dep("two", 0)});
  const std::string one = hex(builder.header("one", kVersion).part(kPartArchitecture, "").digest());
  builder.sign().header("two", kVersion).part(kPartSignature, "short");
  const ProcessResult result = run({"info", "-"}, builder.finish());
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out, HasSubstr("standard input: bundle of 2 packages, "));
  EXPECT_THAT(result.out, HasSubstr(R"(
  turns off     two
  |
  +-- one-3.22
  |     name          one
)"));
  EXPECT_THAT(result.out,
              HasSubstr("\n  |     genuine       yes\n  |\n  +-- two-3.22\n        name"));
  EXPECT_THAT(result.out, HasSubstr("\n        signature     too short\n"));
  EXPECT_THAT(result.out, HasSubstr("architecture  i386 (the package names none)\n"));
}

TEST_F(InfoCommand, JsonSaysTheSame) {
  PackBuilder builder = everything();
  const std::string digest = hex(builder.digest());
  const Json files = json(builder.finish());
  ASSERT_EQ(files.size(), 1U);
  const Json& file = files[0];
  EXPECT_EQ(file["file"], "standard input");
  EXPECT_EQ(file["bundle"], nullptr);
  const Json& package = file["packages"].at(0);
  EXPECT_EQ(package["name"], "one");
  EXPECT_EQ(package["version"], "3.22");
  EXPECT_EQ(package["build-time"], 1700000000);
  EXPECT_EQ(package["description"], "first line\nsecond\x1B[2J");
  EXPECT_EQ(
      package["requires"].dump(),
      R"([{"max":null,"min":"3.22","name":"system"},{"max":null,"min":null,"name":"shell"}])");
  EXPECT_EQ(package["provides"].at(0)["weight"], -3);
  EXPECT_EQ(package["oninstall"]["size"], 8);
  EXPECT_EQ(package["archive"]["entries"], 3);
  EXPECT_EQ(package["archive"]["unpacked-size"], 5);
  EXPECT_EQ(package["archive"]["error"], nullptr);
  EXPECT_EQ(package["digest"], digest);
  EXPECT_EQ(package["signature"], "none");
  EXPECT_EQ(package["genuine"], false);
  EXPECT_EQ(package["parts"].size(), 11U);
}

TEST_F(InfoCommand, JsonOfABundleHasItsPackages) {
  const Json files = json(PackBuilder()
                              .bundleHeader("pair", kVersion)
                              .list(kPartTurnOff, {dep("one", 0)})
                              .header("one", kVersion)
                              .sign()
                              .finish());
  EXPECT_EQ(files[0]["bundle"]["name"], "pair");
  EXPECT_EQ(files[0]["bundle"]["turn-off"].at(0)["name"], "one");
  EXPECT_EQ(files[0]["packages"].at(0)["signature"], "good");
}

TEST_F(InfoCommand, TextsThatAreNoUtf8AreGivenInHexToo) {
  const Json files =
      json(PackBuilder().header("a\xFF", kVersion).part(kPartDescription, "fine").finish());
  EXPECT_EQ(files[0]["packages"].at(0)["name"], "a\\xff");
  EXPECT_EQ(files[0]["packages"].at(0)["name-hex"], "61ff");
  EXPECT_FALSE(files[0]["packages"].at(0).contains("description-hex"));
}

TEST_F(InfoCommand, ABrokenArchiveIsStatusOneWithAllTheRest) {
  const std::string package =
      PackBuilder().header("one", kVersion).part(kPartArchive, "rubbish").sign().finish();
  const ProcessResult result = run({"info", "-"}, package);
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, HasSubstr("broken: its compressed data are damaged or cut short"));
  EXPECT_THAT(result.out, HasSubstr("no zlib stream; "));
  EXPECT_THAT(result.out, HasSubstr("genuine       yes\n"));
  EXPECT_NE(json(package, 1)[0]["packages"].at(0)["archive"]["error"], nullptr);
}

TEST_F(InfoCommand, WhatIsNoPackageDoesNotHideTheOthers) {
  writeFile(path("bad"), "something else");
  writeFile(path("good"), PackBuilder().header("one", kVersion).finish());
  const ProcessResult result = run({"info", "bad", "good"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(result.err, "tpk: bad: is no package: its first four bytes are not a package's\n");
  EXPECT_THAT(result.out, HasSubstr("good: package, 46 bytes\n"));

  const Json files = Json::parse(run({"info", "--json", "bad", "good"}).out);
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[0]["file"], "bad");
  EXPECT_THAT(files[0]["error"].get<std::string>(), HasSubstr("is no package"));
  EXPECT_EQ(files[1]["packages"].size(), 1U);
}

TEST_F(InfoCommand, AnotherProductsPackagesAreAskedForByItsFolder) {
  writePackage("hello");
  EXPECT_TRUE(run({"product", "new", "mine"}).exited(0));
  EXPECT_TRUE(run({"build", "hello", "--key", "mine", "-o", "hello.tpk"}).exited(0));
  EXPECT_THAT(run({"info", "hello.tpk"}).out, HasSubstr("made with another key\n"));
  EXPECT_THAT(run({"info", "--product", "mine", "hello.tpk"}).out,
              HasSubstr("made with the product's key\n"));
}

TEST_F(InfoCommand, AFullDiskIsStatusThree) {
  writeFile(path("good"), PackBuilder().header("one", kVersion).finish());
  Command command;
  command.words = {"/bin/sh", "-c", "exec " TPK_PROGRAM " info \"$0\" >/dev/full", path("good")};
  const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(result.err, "tpk: standard output: cannot be written\n");
}

TEST_F(InfoCommand, MissingFilesAreStatusThreeAndNoFilesStatusTwo) {
  EXPECT_TRUE(run({"info", "missing"}).exited(3));
  EXPECT_TRUE(run({"info"}).exited(2));
}

}  // namespace
