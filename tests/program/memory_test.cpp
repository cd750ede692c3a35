// One run of each mode under a memory checker: valgrind for the build that ships, the leak check of
// the sanitizers where they are built in. The repository lives to the end of the process and is
// never destroyed: what can still be reached at the end is no leak.
#include "tests/program/world.h"

#include <ostream>

namespace {

#ifdef INSTALLER_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

#ifdef __mips__
constexpr bool kForBoard = true;
#else
constexpr bool kForBoard = false;
#endif

constexpr char kValgrind[] = "/usr/bin/valgrind";
constexpr int kFinding = 99;

struct Mode {
  const char* name;
  Router::Arguments arguments;
  int status;
};

std::ostream& operator<<(std::ostream& out, const Mode& mode) { return out << mode.name; }

class Memory : public testing::Test {
 protected:
  void SetUp() override {
    NEEDS_CHROOT();
    // Both kinds of checks look at themselves there.
    NEEDS_PROC();
    if (kSanitized) {
      NEEDS_MOUNT();
      NEEDS_TRACING();
    } else if (kForBoard) {
      GTEST_SKIP() << "valgrind runs programs of the machine's own architecture only";
    } else if (!exists(kValgrind)) {
      GTEST_SKIP() << "there is no " << kValgrind;
    }
    router.timeLimit(std::chrono::seconds(55));
  }

  ProcessResult run(const Router::Arguments& arguments, const std::string& input,
                    const std::string& leaks = "definite") {
    if (kSanitized) {
      router.withProc().environment("ASAN_OPTIONS=detect_leaks=1:abort_on_error=1");
      return router.run(arguments, input);
    }
    return router.runWith(
        {kValgrind, "-q", "--vgdb=no", "--error-exitcode=" + std::to_string(kFinding),
         "--leak-check=full", "--show-leak-kinds=" + leaks, "--errors-for-leak-kinds=" + leaks,
         "--child-silent-after-fork=yes"},
        arguments, input);
  }

  // Something of everything: upgrades, bundles, requests, scripts, refusals.
  void makeWorld() {
    Record record = {"system", k3_22, 100};
    router.installed(record);
    record = {"ppp", k3_21, 100};
    record.deps = {dep("system", k3_22)};
    record.provides = {dep("dialer")};
    record.files = {"/share/old"};
    router.installed(record);
    record = {"slip", k3_22, 100};
    record.conflicts = {dep("vpn")};
    record.files = {"/share/slip"};
    router.installed(record).schedule("slip", "disable");
    record = {"combo", k3_21, 100};
    record.isBundle = true;
    router.installed(record);
    record = {"gone", k3_21, 100};
    record.bundle = "combo";
    router.installed(record);
    router.folder("/flash/var/pdb/damaged").put("/flash/postlog", "old\nlines\n");
    router.memory(200000, 0, 0);
    if (exists("/bin/bash-static")) router.withShell();
  }
  static std::string bundleBytes() {
    BundlePack bundle = {"combo", k3_22, {simplePack("a"), simplePack("b")}};
    bundle.members[0].onInstall = "exit 0\n";
    bundle.members[1].deps = {dep("a")};
    bundle.turnOff = {dep("a")};
    return bundle.file();
  }
  void dropPackages() {
    router.drop("combo.tpk", bundleBytes());
    Pack pack = simplePack("ppp");
    pack.onInstall = "exit 1\n";
    pack.provides = {dep("dialer")};
    router.drop("ppp.tpk", pack.file());
    pack = simplePack("image");
    pack.image = "";
    router.drop("image.tpk", pack.file());
    pack = simplePack("refused");
    pack.deps = {dep("missing")};
    router.drop("refused.tpk", pack.file());
    pack = simplePack("bad");
    pack.files.regular("share/large", noise(50000)).entry("share/bad", 0xF000, "");
    router.drop("bad.tpk", pack.file());
    router.drop("broken.tpk", "no package").drop("older.tpk", simplePack("ppp", k3_20rc1).file());
  }

  Router router;
};

class MemoryOfMode : public Memory, public testing::WithParamInterface<Mode> {};

TEST_P(MemoryOfMode, IsUsedWell) {
  makeWorld();
  dropPackages();
  router.put("/in.tpk", bundleBytes());
  const ProcessResult result = run(GetParam().arguments, bundleBytes());
  EXPECT_TRUE(result.exited(GetParam().status)) << result;
}

INSTANTIATE_TEST_SUITE_P(
    Modes, MemoryOfMode,
    testing::Values(Mode{"Usage", {"--reinstall", "x"}, 0}, Mode{"Listing", {"--show"}, 0},
                    Mode{"FileCollection", {"--filegc", "/flash"}, 0},
                    Mode{"CleanUp", {"--cleanup"}, 0}, Mode{"StandardInput", {"-"}, 0},
                    Mode{"NamedFile", {"/in.tpk"}, 0}, Mode{"Batch", {}, 0},
                    Mode{"Quiet", {"-q"}, 0}, Mode{"Reinstall", {"-down", "--reinstall"}, 0}),
    [](const testing::TestParamInfo<Mode>& tested) { return tested.param.name; });

// The check itself: asked for what can still be reached, it has something to say.
TEST_F(Memory, CheckSeesWhatItIsAskedFor) {
  if (kSanitized) GTEST_SKIP() << "the sanitizers cannot be asked for memory that is reachable";
  const ProcessResult result = run({"--show"}, "", "definite,reachable");
  EXPECT_TRUE(result.exited(kFinding)) << result;
  EXPECT_NE(result.err.find("still reachable"), std::string::npos) << result;
}

}  // namespace
