// Runs whose console is closed, full or gone: an installation is not stopped by that, and nothing
// that was meant for the console lands anywhere else.
#include "tests/program/world.h"

namespace {

class ConsoleGone : public World {
 protected:
  void SetUp() override {
    World::SetUp();
    if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static";
    Pack pack = simplePack("ppp");
    pack.files.regular("share/large", noise(50000));
    router.drop("ppp.tpk", pack.file());
  }
  // Runs the program as a script would, with "$@" for it and its arguments.
  ProcessResult runIn(const std::string& script, const Router::Arguments& arguments = {}) {
    return router.runWith({"/bin/bash-static", "-c", script, "bash"}, arguments);
  }
  void expectInstalled(const ProcessResult& result) {
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(router.read("/flash/share/large"), noise(50000));
    EXPECT_EQ(router.record("ppp", "files"), "share/large\nshare/ppp\n");
    EXPECT_EQ(router.record("ppp", "version"), "51799552 1000\n");
    EXPECT_EQ(router.log(), "verified ppp.tpk\ninstalled ppp-3.22\n");
    EXPECT_EQ(router.treeOf("/flash/PCKGS_CHANGED", kTreeSize),
              "/flash/PCKGS_CHANGED file size=0\n");
  }
};

TEST_F(ConsoleGone, FullIsNoFailure) { expectInstalled(runIn("exec \"$@\" > /dev/full")); }

TEST_F(ConsoleGone, ClosedIsNoFailure) { expectInstalled(runIn("exec \"$@\" >&-")); }

TEST_F(ConsoleGone, AllClosedIsNoFailure) { expectInstalled(runIn("exec \"$@\" <&- >&- 2>&-")); }

TEST_F(ConsoleGone, NobodyReadingIsNoFailure) {
  expectInstalled(runIn("set -o pipefail; \"$@\" | :"));
}

TEST_F(ConsoleGone, ScriptsStillEndWithAPipeThatNobodyReads) {
  router.withShell();
  Pack pack = simplePack("vpn");
  // Ended by the signal the status is 141, otherwise the message of the failed write is.
  pack.onInstall = "(while :; do echo; done; exit 5) | :\necho ${PIPESTATUS[0]} > /made\n";
  router.put("/vpn.tpk", pack.file());
  const ProcessResult result = router.run({"/vpn.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(router.read("/flash/made"), "141\n");
}

TEST_F(ConsoleGone, ClosedStandardInputIsNoPackage) {
  EXPECT_TRUE(runIn("exec \"$@\" <&-", {"-"}).exited(1));
}

}  // namespace
