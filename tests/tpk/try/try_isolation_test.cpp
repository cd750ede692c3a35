// "tpk try" touches nothing but its scratch root, and leaves nothing behind.
#include "tests/support/isolation.h"
#include "tests/tpk/try/refusal.h"
#include "tests/tpk/try/trial.h"

#include <csignal>
#include <thread>

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;

#define NEEDS_SHELL() \
  if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static"

class TryIsolation : public Trial {
 protected:
  std::string names() const { return listTree(temp.path(), 0, {"/kept"}); }
  std::string inKept(const std::string& file) const {
    return temp.path() + "/kept/router/flash/" + file;
  }
  // A package whose script does something and says below /flash what came of it.
  void giveScript(const std::string& script) {
    Pack pack = simplePack("ppp");
    pack.onInstall = script;
    give(pack);
  }
};

TEST_F(TryIsolation, NothingIsLeftBehind) {
  give(simplePack("ppp"));
  EXPECT_TRUE(tpk({"--router", backup, "ppp.tpk"}).exited(0));
  EXPECT_EQ(names(), "/ppp.tpk file\n");
}

TEST_F(TryIsolation, ScratchRootIsKeptOnRequest) {
  give(simplePack("ppp"));
  const ProcessResult result = tpk({"--router", backup, "--keep", "kept", "ppp.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(readFile(inKept("share/ppp")), simpleContents("ppp"));
  EXPECT_THAT(result.out, HasSubstr("/kept/router\n"));
  EXPECT_TRUE(tpk({"--router", backup, "--keep", "kept", "ppp.tpk"}).exited(3));
}

TEST_F(TryIsolation, FoldersThatMayNotBeEnteredAreRemovedToo) {
  Pack pack = simplePack("ppp");
  pack.files.directory("locked", 0).directory("locked/in", 0);
  give(pack);
  const ProcessResult result = tpk({"--router", backup, "ppp.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(names(), "/ppp.tpk file\n");
}

TEST_F(TryIsolation, ScriptsAreNotRunWithoutAShellAndThatIsSaid) {
  giveScript("echo > /done\n");
  report = tryOut();
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(exists(inKept("done")));
  EXPECT_EQ(report["notes"][0], "no scripts were run; a router runs those of ppp-3.22");
  EXPECT_EQ(report["messages"], (Words{"verified ppp.tpk", "installed ppp-3.22"}));
}

TEST_F(TryIsolation, ShellOfAnotherMachineIsNone) {
  router.put("/flash/bin/bash", "\177ELF\1\1\1", 0755);
  router.put("/flash/tarn/lib/install/profile.sh", "");
  giveScript("echo > /done\n");
  report = tryOut();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(report["notes"][0], "no scripts were run; a router runs those of ppp-3.22");
}

TEST_F(TryIsolation, ScriptsRunWithTheShellOfTheBackup) {
  NEEDS_ISOLATION();
  NEEDS_SHELL();
  router.withShell();
  giveScript("echo yes > /done\n");
  tryAndDo();
  EXPECT_EQ(readFile(inKept("done")), "yes\n");
}

TEST_F(TryIsolation, FailedScriptIsReported) {
  NEEDS_ISOLATION();
  NEEDS_SHELL();
  router.withShell();
  giveScript("exit 1\n");
  tryAndDo();
  EXPECT_EQ(report["messages"][1], "WARNING: package ppp-3.22 oninstall script failed");
}

// Everything that a script with the powers of root could try with a shell alone.
TEST_F(TryIsolation, ScriptsReachNothingOutside) {
  NEEDS_ISOLATION();
  NEEDS_SHELL();
  router.withShell();
  const std::string target = temp.path() + "/touched";
  giveScript(
      "echo $$ > /process\n"
      "(echo > " +
      target +
      ") 2> /dev/null\n"
      "(echo > /../../../.." +
      target +
      ") 2> /dev/null\n"
      "cd ..; cd ..; cd ..; echo * > /top\n"
      "(exec 3<> /dev/tcp/127.0.0.1/22) 2> /network\n"
      "kill -9 " +
      std::to_string(getpid()) +
      " 2> /kill\n"
      "ulimit -c > /end\n");
  report = tryOut();
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(exists(target));
  EXPECT_TRUE(exists(inKept("end")));
  EXPECT_THAT(readFile(inKept("kill")), HasSubstr("No such process"));
  EXPECT_THAT(readFile(inKept("network")), HasSubstr("unreachable"));
  // Its own processes are all there are.
  EXPECT_LT(std::stoi(readFile(inKept("process"))), 10);
}

TEST_F(TryIsolation, WhatAScriptLeavesBehindEndsWithTheRun) {
  NEEDS_ISOLATION();
  NEEDS_SHELL();
  router.withShell();
  giveScript("(while :; do read -t 1 < <(:); done) &\n");
  const auto begin = std::chrono::steady_clock::now();
  report = tryOut();
  EXPECT_EQ(status, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(TryIsolation, DatabaseThatAScriptMadeALinkIsNotFollowed) {
  NEEDS_ISOLATION();
  NEEDS_SHELL();
  if (!exists("/bin/busybox")) GTEST_SKIP() << "there is no /bin/busybox";
  router.withShell().put("/flash/busybox", readFile("/bin/busybox"), 0755);
  Record slip = {"slip", k3_22};
  router.installed(slip);
  // The copy has files without contents: the script brings its own program.
  Pack pack = simplePack("ppp");
  pack.files.regular("busybox", readFile("/bin/busybox"), 0755);
  pack.onInstall =
      "/busybox rm /var/pdb/slip/deps /var/pdb/system/files\n"
      "/busybox mkfifo /var/pdb/slip/deps\n"
      "/busybox ln -s /etc/passwd /var/pdb/system/files\n";
  give(pack);
  report = tryOut();
  EXPECT_EQ(status, 0);
  for (const auto& package : report["database"])
    EXPECT_EQ(package["damaged"], package["name"] != "ppp") << package;
}

TEST_F(TryIsolation, WithoutNamespacesRootGetsByWithAChangedRoot) {
  NEEDS_SHELL();
  router.withShell();
  giveScript("echo > /done\n");
  const ProcessResult result = tpk({"--router", backup, "--keep", "kept", "ppp.tpk"},
                                   [] { return refuse(Refused::kNamespaces); });
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out,
              HasSubstr("Note: no scripts were run; a router runs those of ppp-3.22\n"
                        "Note: this machine permits no namespaces (namespaces: Operation not "
                        "permitted): only the root was changed\n"));
  EXPECT_TRUE(exists(inKept("share/ppp")));
  EXPECT_FALSE(exists(inKept("done")));
}

// Half of what it needs is nothing to it.
TEST_F(TryIsolation, WithoutMountsRootGetsByWithAChangedRoot) {
  const std::string& obstacle = obstacleToIsolation();
  if (obstacle.find("namespace") != std::string::npos)
    GTEST_SKIP() << "nobody gets as far as mounting here (" << obstacle << ")";
  give(simplePack("ppp"));
  const ProcessResult result =
      tpk({"--router", backup, "ppp.tpk"}, [] { return refuse(Refused::kMounts); });
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out, HasSubstr("\nNote: this machine permits no namespaces (mounts of its "
                                    "own: Operation not permitted): only the root was changed\n"));
  EXPECT_EQ(names(), "/ppp.tpk file\n");
}

// It needs no rights itself.
class TryForbidden : public Trial {
 protected:
  void SetUp() override {
    makeRouter();
    give(simplePack("ppp"));
  }
  void expectRefusal(const std::function<bool()>& prepare) {
    const ProcessResult result = tpk({"--router", backup, "ppp.tpk"}, prepare);
    EXPECT_TRUE(result.exited(3)) << result;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "tpk: the installer needs namespaces of its own, which this machine does not permit "
              "(namespaces: Operation not permitted), or root\n");
    EXPECT_EQ(listTree(temp.path(), 0), "/ppp.tpk file\n");
  }
};

TEST_F(TryForbidden, WithoutNamespacesOthersGetStatusThree) {
  if (!childCan(becomeOrdinaryUser)) GTEST_SKIP() << "there is nobody but root here";
  expectRefusal([] { return becomeOrdinaryUser() && refuse(Refused::kNamespaces); });
}

TEST_F(TryForbidden, RootThatMayNotChangeItsRootGetsStatusThreeToo) {
  expectRefusal([] { return refuse(Refused::kNamespacesAndChroot); });
}

TEST_F(TryIsolation, SignalEndsItAndLeavesNothing) {
  NEEDS_ISOLATION();
  NEEDS_SHELL();
  router.withShell();
  giveScript("while :; do :; done\n");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Command command;
    command.words = {TPK_PROGRAM, "try", "--router", backup, temp.path() + "/ppp.tpk"};
    command.environment = {"TMPDIR=" + temp.path()};
    Process process(command);
    // Until it runs: the script does not end.
    for (int i = 0; i < 500 && names().find("/done") == std::string::npos; ++i) {
      if (names().find("/router/flash/share/ppp") != std::string::npos) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(process.id(), signal);
    const ProcessResult result = process.wait(std::chrono::seconds(10));
    EXPECT_EQ(result.signal, signal) << result;
    EXPECT_EQ(names(), "/ppp.tpk file\n");
  }
}

class TryCommand : public Trial {};

TEST_F(TryCommand, SaysItInPlainWords) {
  Record old = {"ppp", k3_21};
  old.files = {"/share/ppp"};
  Record vpn = {"vpn", k3_22};
  vpn.deps = {dep("ppp", 0, k3_21)};
  Record slip = {"slip", k3_22};
  slip.disabled = "user";
  router.installed(old).installed(vpn).installed(slip);
  give(simplePack("ppp"));
  Pack wrong = simplePack("wrong");
  wrong.deps = {dep("nothing", k3_22)};
  give(wrong);
  const ProcessResult result = tpk({"--router", backup, "ppp.tpk", "wrong.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(result.err, "");
  const std::string note = noteOfIsolation();
  EXPECT_EQ(result.out,
            "ppp.tpk: installed\n"
            "  ppp-3.22: upgraded from 3.21\n"
            "wrong.tpk: refused\n"
            "  wrong-3.22: refused\n"
            "  ERROR: can not install wrong-3.22: nothing-3.22 is not installed, but is required\n"
            "Beside that\n"
            "  vpn-3.22: uninstalled\n"
            "The database then has\n"
            "  ppp-3.22     enabled\n"
            "  slip-3.22    disabled by the user\n"
            "  system-3.22  enabled\n"
            "Flash\n"
            "  added: 37 bytes\n"
            "  removed: 57 bytes\n" +
                (note.empty() ? "" : "Note: " + note + "\n"));
}

TEST_F(TryCommand, TakesStandardInput) {
  Command command;
  command.words = {TPK_PROGRAM, "try", "--router", backup, "-"};
  command.environment = {"TMPDIR=" + temp.path()};
  command.input = simplePack("ppp").file();
  const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out, HasSubstr("ppp-3.22: installed\n"));
}

TEST_F(TryCommand, WrongUseIsStatusTwo) {
  give(simplePack("ppp"));
  give("x.pkg", "");
  writeFile(temp.path() + "/other/ppp.tpk", "");
  EXPECT_TRUE(tpk({}).exited(2));
  EXPECT_TRUE(tpk({"ppp.tpk"}).exited(2));
  EXPECT_TRUE(tpk({"--router", backup}).exited(2));
  for (const char* const option : {"-", "-r", "--show", "--filegc", "--cleanup", "a.tpk", "-what"})
    EXPECT_TRUE(tpk({"--router", backup, "ppp.tpk", "--", option}).exited(2)) << option;
  EXPECT_TRUE(tpk({"--router", backup, "x.pkg"}).exited(2));
  EXPECT_TRUE(tpk({"--router", backup, "ppp.tpk", "other/ppp.tpk"}).exited(2));
}

TEST_F(TryCommand, MissingThingsAreStatusThree) {
  give(simplePack("ppp"));
  EXPECT_TRUE(tpk({"--router", backup, "missing.tpk"}).exited(3));
  EXPECT_TRUE(tpk({"--router", backup, "--installer", "missing", "ppp.tpk"}).exited(3));
  EXPECT_TRUE(tpk({"--router", backup, "--installer", "/bin/false", "ppp.tpk"}).exited(3));
  writeFile(temp.path() + "/broken", "#!/usr/bin/sh\necho it is broken >&2\nexit 5\n", 0755);
  const ProcessResult result = tpk({"--router", backup, "--installer", "./broken", "ppp.tpk"});
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(result.err, "tpk: ./broken: ended with exit status 5: it is broken\n");
  EXPECT_EQ(listTree(temp.path(), 0), "/broken file\n/ppp.tpk file\n");
}

TEST_F(TryCommand, AnotherProductsInstallerRefuses) {
  give(simplePack("ppp"));
  const Router other(Product::kVectorsA);
  const ProcessResult result = tpk({"--router", backup, "--installer", other.program(), "ppp.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, HasSubstr("ERROR: broken package ppp.tpk\n"));
}

}  // namespace
