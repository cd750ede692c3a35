// The file that is written is not one of those that are read.
#include "tests/tpk/program.h"

namespace {

class OutputPlace : public TpkProgram {
 protected:
  OutputPlace() { writePackage("hello"); }
  void describe(const std::string& more) const {
    writeFile(path("hello/package.toml"),
              "name = \"hello\"\nversion = \"3.22\"\nbuild-time = 5\n" + more);
  }
  std::string refused(const std::vector<std::string>& arguments) const {
    const ProcessResult result = run(arguments);
    EXPECT_TRUE(result.exited(1)) << result;
    return result.err;
  }
};

TEST_F(OutputPlace, InAPackedFolderIsRefused) {
  const std::string before = listTree(temp_.path(), 0);
  EXPECT_EQ(refused({"build", "hello", "-o", "hello/root/etc/out.tpk"}),
            "tpk: hello/root/etc: is packed, and the package \"out.tpk\" would lie in it; write it "
            "elsewhere (-o) or exclude it\n");
  EXPECT_EQ(listTree(temp_.path(), 0), before);
}

TEST_F(OutputPlace, ThroughALinkToAPackedFolderIsRefused) {
  ASSERT_EQ(symlink("hello/root/etc", path("link").c_str()), 0);
  EXPECT_NE(refused({"build", "hello", "-o", "link/out.tpk"}), "");
  EXPECT_EQ(listTree(path("hello/root"), 0), "/etc dir\n/etc/hello file\n");
}

// Whoever packs a folder with everything in it can say so.
TEST_F(OutputPlace, InAPackedFolderIsGoodWhenItIsExcluded) {
  describe("files = \".\"\nexclude = [\"*.tpk\", \"package.toml\"]\n");
  EXPECT_TRUE(run({"build", "hello", "-o", "hello/out.tpk"}).exited(0));
  const std::string first = readFile(path("hello/out.tpk"));
  EXPECT_TRUE(run({"build", "hello", "-o", "hello/out.tpk"}).exited(0));
  EXPECT_EQ(readFile(path("hello/out.tpk")), first);
}

TEST_F(OutputPlace, OverAnInputIsRefused) {
  writeFile(path("hello/script.sh"), "echo\n");
  describe(
      "oninstall = { file = \"script.sh\" }\n[[entry]]\npath = \"a\"\ntype = \"file\"\n"
      "from = \"root/etc/hello\"\n");
  for (const char* name : {"package.toml", "script.sh", "root/etc/hello"}) {
    const std::string file = "hello/" + std::string(name);
    const std::string before = readFile(path(file));
    EXPECT_EQ(refused({"build", "hello", "-o", file}),
              "tpk: " + file +
                  ": is read for the package and would be overwritten by it; write the "
                  "package elsewhere (-o)\n");
    EXPECT_EQ(readFile(path(file)), before);
  }
}

}  // namespace
