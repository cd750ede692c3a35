#include "tools/tpk/show/list.h"

#include "tests/support/packbuilder.h"
#include "tests/tpk/program.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace {

using ::testing::HasSubstr;
using Json = nlohmann::json;

ArchiveBuilder everyKind() {
  return ArchiveBuilder()
      .owner(7, 65535)
      .time(1700000000)
      .directory("bin")
      .regular("bin/a\nb", "12345", 04755)
      .symlink("/l", "bin/a")
      .charDevice("tty", 0x0501)
      .skip()
      .fifo("pipe");
}

using ListCommand = TpkProgram;

TEST_F(ListCommand, ListsAsTarDoes) {
  const ProcessResult result =
      run({"list", "-"}, PackBuilder().header("one", kVersion).archive(everyKind()).finish());
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out,
            R"(drwxr-xr-x 7/65535            0 2023-11-14 22:13:20 bin
-rwsr-xr-x 7/65535            5 2023-11-14 22:13:20 bin/a\nb
lrwxrwxrwx 7/65535            0 2023-11-14 22:13:20 /l -> bin/a
crw------- 7/65535          5,1 2023-11-14 22:13:20 tty
prw------- 7/65535            0 2023-11-14 22:13:20 pipe (passed over)
)");
}

TEST_F(ListCommand, TheMembersOfABundleAreNamed) {
  writeFile(path("pair.tpk"), PackBuilder()
                                  .bundleHeader("pair", kVersion)
                                  .header("one", kVersion)
                                  .archive(ArchiveBuilder().regular("a", ""))
                                  .header("two", kVersion)
                                  .header("three", kVersion)
                                  .archive(ArchiveBuilder().regular("b", ""))
                                  .finish());
  EXPECT_EQ(run({"list", "pair.tpk"}).out,
            R"(one-3.22:
-rw-r--r-- 0/0                0 1970-01-01 00:00:00 a

two-3.22:

three-3.22:
-rw-r--r-- 0/0                0 1970-01-01 00:00:00 b
)");
}

TEST_F(ListCommand, JsonSaysTheSame) {
  const ProcessResult result = run(
      {"list", "--json", "-"}, PackBuilder().header("one", kVersion).archive(everyKind()).finish());
  EXPECT_TRUE(result.exited(0)) << result;
  const Json packages = Json::parse(result.out);
  ASSERT_EQ(packages.size(), 1U);
  EXPECT_EQ(packages[0]["package"], "one-3.22");
  const Json& entries = packages[0]["entries"];
  ASSERT_EQ(entries.size(), 5U);
  EXPECT_EQ(
      entries[1].dump(),
      R"({"group":65535,"mode":"4755","owner":7,"path":"bin/a\nb","size":5,"skip":false,"time":1700000000,"type":"file"})");
  EXPECT_EQ(entries[2]["target"], "bin/a");
  EXPECT_EQ(entries[3]["major"], 5);
  EXPECT_EQ(entries[3]["minor"], 1);
  EXPECT_EQ(entries[4]["skip"], true);
}

TEST_F(ListCommand, APackageWithoutFilesHasAnEmptyList) {
  const std::string package = PackBuilder().header("one", kVersion).finish();
  EXPECT_EQ(run({"list", "-"}, package).out, "");
  EXPECT_EQ(Json::parse(run({"list", "--json", "-"}, package).out)[0]["entries"], Json::array());
}

TEST_F(ListCommand, ABrokenArchiveIsStatusOneBehindWhatCouldBeRead) {
  ArchiveHeader header;
  header.setMode(0100644);
  header.setNameLength(1);
  header.setDataSize(100);
  const ProcessResult result =
      run({"list", "-"}, PackBuilder()
                             .header("one", kVersion)
                             .archive(ArchiveBuilder().regular("a", "").entry(header, "b", "short"))
                             .finish());
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, HasSubstr(" a\n"));
  EXPECT_EQ(result.err, "tpk: standard input: archive: it ends in the middle of \"b\"\n");
}

TEST_F(ListCommand, StatusesAreThoseOfAllCommands) {
  writeFile(path("bad"), "something else");
  EXPECT_TRUE(run({"list", "bad"}).exited(1));
  EXPECT_TRUE(run({"list"}).exited(2));
  EXPECT_TRUE(run({"list", "missing"}).exited(3));
}

}  // namespace
