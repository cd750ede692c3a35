// Where /proc is not mounted, as in a root that only chroot made: files that are open have no path,
// and a program does not find itself there.
#include "tests/support/isolation.h"
#include "tests/tpk/program.h"
#include "tests/tpk/try/trial.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>

namespace {

// In the child.
bool hideProc() {
  return !hasProc() || (unshare(CLONE_NEWNS) == 0 &&
                        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                        mount("nothing", "/proc", "tmpfs", 0, "size=4k") == 0);
}

#define NEEDS_HIDING() \
  if (hasProc() && !canMount()) GTEST_SKIP() << "mounts are not permitted here"

class WithoutProc : public TpkProgram {
 protected:
  void SetUp() override {
    NEEDS_HIDING();
    writePackage("hello");
    makeFolders(path("tmp"));
    ASSERT_TRUE(run({"build", "hello", "--key", PRODUCT_DATA_DIR, "-o", "hello.tpk"}).exited(0));
  }
  ProcessResult runWithout(const std::vector<std::string>& arguments,
                           const std::string& input = {}) const {
    Command command;
    command.words = {TPK_PROGRAM};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    command.environment = {"TMPDIR=" + path("tmp")};
    command.input = input;
    command.prepare = [this] { return chdir(temp_.path().c_str()) == 0 && hideProc(); };
    return Process(command).wait(std::chrono::seconds(15));
  }
  // The same is said, and no temporary file is left.
  void expectTheSame(const std::vector<std::string>& arguments, const std::string& input = {}) {
    const ProcessResult with = run(arguments, input);
    const ProcessResult without = runWithout(arguments, input);
    EXPECT_TRUE(with.exited(0)) << with;
    EXPECT_TRUE(without.exited(0)) << without;
    EXPECT_EQ(without.out, with.out);
    EXPECT_EQ(listTree(path("tmp"), 0), "");
  }
};

TEST_F(WithoutProc, PackageFilesAreRead) {
  for (const char* const command : {"verify", "info", "list", "dump", "lint"})
    expectTheSame({command, "hello.tpk"});
}

TEST_F(WithoutProc, StandardInputIsRead) {
  for (const char* const command : {"verify", "info", "list"})
    expectTheSame({command, "-"}, readFile(path("hello.tpk")));
}

TEST_F(WithoutProc, DescriptionsAreBuiltAndRead) {
  for (const char* const command : {"lint", "graph"}) expectTheSame({command, "hello"});
}

TEST_F(WithoutProc, PackagesAreBuiltAndSigned) {
  const ProcessResult result =
      runWithout({"build", "hello", "--key", PRODUCT_DATA_DIR, "-o", "again.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_TRUE(run({"verify", "again.tpk"}).exited(0));
  EXPECT_EQ(listTree(path("tmp"), 0), "");
}

class TryWithoutProc : public Trial {};

// Root has its namespaces, and cannot say who it is in them.
TEST_F(TryWithoutProc, TakesTheInstallerBesideItAndChangesTheRoot) {
  NEEDS_HIDING();
  give(simplePack("ppp"));
  const ProcessResult result = tpk({"--router", backup, "ppp.tpk"}, hideProc);
  EXPECT_TRUE(result.exited(0)) << result;
  const std::string obstacle = obstacleToIsolation().empty()
                                   ? "a user namespace: No such file or directory"
                                   : obstacleToIsolation();
  EXPECT_THAT(result.out, ::testing::HasSubstr("\nNote: this machine permits no namespaces (" +
                                               obstacle + "): only the root was changed\n"));
}

}  // namespace
