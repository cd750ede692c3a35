// The scripts of a package: what is stored, and how the install script is run.
#include "tests/package/installworld.h"
#include "tests/package/tool.h"
#include "tests/support/systemcalls.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char kFailed[] = "WARNING: package tool-1.0 oninstall script failed\n";

class Scripts : public InstallWorld {
 protected:
  bool installWith(const std::string& script) {
    return install(pack().part(kPartOnInstall, script).sign());
  }
  static std::string stored(const std::string& name) { return readFile(kMeta + name); }

  // What a script needs on the flash to run there.
  static void makeShell() {
    const std::string shell = hostFile("/bin/bash-static");
    ASSERT_FALSE(shell.empty()) << "the package bash-static is not installed";
    writeFile("/flash/bin/bash", shell, 0755);
    writeFile("/flash/tarn/lib/install/profile.sh", "profile=loaded\n");
    // A file will do: its contents show what was thrown away.
    writeFile("/flash/dev/null", "");
    // Elsewhere the shell complains that it cannot find the working folder.
    ASSERT_EQ(chdir("/flash"), 0);
  }
};

// Storing.

TEST_F(Scripts, StoredBehindThePrologue) {
  EXPECT_TRUE(installWith("echo hello\n"));
  EXPECT_EQ(stored("oninstall"), std::string(kPrologue) + "echo hello\n");
}

TEST_F(Scripts, StoredByteForByte) {
  std::string script;
  for (int i = 0; i < 20000; ++i) script += static_cast<char>(i);
  EXPECT_TRUE(installWith(script));
  EXPECT_EQ(stored("oninstall"), kPrologue + script);
}

TEST_F(Scripts, EmptyScriptIsThePrologueAlone) {
  EXPECT_TRUE(installWith(""));
  EXPECT_EQ(stored("oninstall"), kPrologue);
  EXPECT_EQ(listTreeAt(kMeta, "/oninstall", kTreeMode), "/oninstall file 0755\n");
}

TEST_F(Scripts, StoredExecutableWhateverTheMask) {
  umask(077);
  EXPECT_TRUE(install(pack().part(kPartOnInstall, "one").part(kPartOnUninstall, "two").sign()));
  umask(022);
  EXPECT_EQ(listTreeAt(kMeta, "/oninstall", kTreeMode), "/oninstall file 0755\n");
  EXPECT_EQ(listTreeAt(kMeta, "/onuninstall", kTreeMode), "/onuninstall file 0755\n");
}

TEST_F(Scripts, LongerScriptOfBeforeIsCut) {
  writeFile(std::string(kMeta) + "oninstall", std::string(1000, 'x'));
  EXPECT_TRUE(installWith("short"));
  EXPECT_EQ(stored("oninstall"), std::string(kPrologue) + "short");
}

TEST_F(Scripts, StoredBelowTheWorkingFolderWhenRelative) {
  makeFolders("/other");
  ASSERT_EQ(chdir("/other"), 0);
  EXPECT_TRUE(install(pack().part(kPartOnInstall, "one").sign(), true));
  EXPECT_EQ(readFile("/other/flash/var/pdb/tool/oninstall"), std::string(kPrologue) + "one");
}

TEST_F(Scripts, PartThatIsCutShortMakesNoFile) {
  // Another file keeps the meta directory, so that it can be looked into.
  writeFile(std::string(kMeta) + ".keep", "");
  EXPECT_FALSE(install(pack().partHeader(kPartOnInstall, 0xFFFFFFF0).raw("short")));
  EXPECT_EQ(listTree(kMeta, 0), "/.keep file\n");
  EXPECT_EQ(messages(),
            "ERROR: installation of tool-1.0 failed: broken package\n"
            "ERROR: installation of tool-1.0 failed: could not create oninstall: Bad message\n");
}

TEST_F(Scripts, DiskThatIsFullIsReportedTwice) {
  failCall(SystemCall::kWrite, ENOSPC);
  EXPECT_FALSE(installWith("one"));
  const std::string line = "ERROR: installation of tool-1.0 failed: disk is too small\n";
  EXPECT_EQ(messages(), line + line);
}

TEST_F(Scripts, FailureToCloseIsReportedTwice) {
  failCall(SystemCall::kClose, EIO);
  EXPECT_FALSE(installWith("one"));
  const std::string line = "ERROR: installation of tool-1.0 failed: disk error\n";
  EXPECT_EQ(messages(), line + line);
}

TEST_F(Scripts, FailureToMakeItExecutableIsReportedTwice) {
  failCall(SystemCall::kChmod, EPERM);
  EXPECT_FALSE(installWith("one"));
  const std::string line =
      "ERROR: installation of tool-1.0 failed: could not create oninstall: Operation not "
      "permitted\n";
  EXPECT_EQ(messages(), line + line);
  EXPECT_FALSE(exists(kMeta));
}

TEST_F(Scripts, LinkInTheirPlaceIsNotWrittenThrough) {
  writeFile("/outside", "data");
  makeFolders(kMeta);
  ASSERT_EQ(symlink("/outside", "/flash/var/pdb/tool/oninstall"), 0);
  EXPECT_FALSE(installWith("one"));
  const std::string line =
      "ERROR: installation of tool-1.0 failed: could not create oninstall: Too many levels of "
      "symbolic links\n";
  EXPECT_EQ(messages(), line + line);
  EXPECT_EQ(readFile("/outside"), "data");
}

// Running.

TEST_F(Scripts, RunsWithTheFlashAsItsRoot) {
  makeShell();
  EXPECT_TRUE(installWith("echo \"$profile $0 $#\" > /ran\nls=(/*)\necho ${ls[*]} >> /ran\n"));
  EXPECT_EQ(readFile("/flash/ran"),
            "loaded /var/pdb/tool/oninstall 0\n/bin /dev /ran /rw /tarn /var\n");
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Scripts, RunsOnce) {
  makeShell();
  EXPECT_TRUE(installWith("echo ran >> /ran\n"));
  EXPECT_EQ(readFile("/flash/ran"), "ran\n");
}

TEST_F(Scripts, RunsWhenTheRecordIsWritten) {
  makeShell();
  EXPECT_TRUE(installWith("echo /var/pdb/tool/* > /ran\n"));
  EXPECT_EQ(readFile("/flash/ran"),
            "/var/pdb/tool/deps /var/pdb/tool/files /var/pdb/tool/oninstall "
            "/var/pdb/tool/version\n");
}

TEST_F(Scripts, RunsBeforeTheMessage) {
  makeShell();
  EXPECT_TRUE(installWith("exit 1\n"));
  EXPECT_EQ(messages(), std::string(kFailed) + "installed tool-1.0\n");
}

TEST_F(Scripts, OutputIsThrownAway) {
  makeShell();
  EXPECT_TRUE(installWith("echo output\necho errors >&2\n"));
  EXPECT_EQ(takeConsole().find("output"), std::string::npos);
  EXPECT_EQ(readFile("/flash/dev/null"), "output\nerrors\n");
}

TEST_F(Scripts, ShellItselfIsSilentToo) {
  makeShell();
  writeFile("/dev/null", "");
  ASSERT_EQ(chdir("/"), 0);
  EXPECT_TRUE(installWith("kill -9 $$\n"));
  const std::string thrownAway = readFile("/dev/null");
  EXPECT_NE(thrownAway.find("Killed"), std::string::npos) << thrownAway;
  EXPECT_EQ(takeConsole().find("Killed"), std::string::npos);
}

// A package may be coming in through it.
TEST_F(Scripts, StandardInputIsEmpty) {
  makeShell();
  writeFile("/input", "the next package\n");
  const int before = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
  const int input = open("/input", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(dup2(input, STDIN_FILENO), STDIN_FILENO);
  EXPECT_TRUE(installWith("read line; echo \"$? <$line>\" > /ran\n"));
  EXPECT_EQ(lseek(input, 0, SEEK_CUR), 0);
  dup2(before, STDIN_FILENO);
  close(before);
  close(input);
  EXPECT_EQ(readFile("/flash/ran"), "1 <>\n");
}

TEST_F(Scripts, StandardInputMayBeClosed) {
  makeShell();
  const int before = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
  close(STDIN_FILENO);
  EXPECT_TRUE(installWith(": <&0 && read line; echo \"$? <$line>\" > /ran\n"));
  dup2(before, STDIN_FILENO);
  close(before);
  EXPECT_EQ(readFile("/flash/ran"), "1 <>\n");
  EXPECT_EQ(readFile("/flash/dev/null"), "") << "reading reached the end, it did not fail";
}

TEST_F(Scripts, OtherDescriptorsAreNotHandedOn) {
  makeShell();
  // Those that this process got from whoever started it are no matter of the installer's.
  for (int file = 3; file < 64; ++file) fcntl(file, F_SETFD, FD_CLOEXEC);
  EXPECT_TRUE(
      installWith("for i in 3 4 5 6 7 8 9; do { : <&$i && echo $i >> /ran; } 2> /dev/null; done\n"
                  "echo done >> /ran\n"));
  EXPECT_EQ(readFile("/flash/ran"), "done\n");
}

TEST_F(Scripts, BrokenPipesEndTheirCommands) {
  makeShell();
  signal(SIGPIPE, SIG_IGN);
  EXPECT_TRUE(installWith("trap -p SIGPIPE > /ran\nkill -PIPE $BASHPID\necho alive >> /ran\n"));
  signal(SIGPIPE, SIG_DFL);
  EXPECT_EQ(readFile("/flash/ran"), "");
  EXPECT_EQ(messages(), std::string(kFailed) + "installed tool-1.0\n");
}

TEST_F(Scripts, WorkingFolderMayBeOutOfReach) {
  makeShell();
  ASSERT_EQ(chdir("/"), 0);
  EXPECT_TRUE(installWith("echo ran > /ran\n"));
  EXPECT_EQ(readFile("/flash/ran"), "ran\n");
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Scripts, WorkingFolderIsNotChanged) {
  makeShell();
  makeFolders("/flash/here");
  ASSERT_EQ(chdir("/flash/here"), 0);
  EXPECT_TRUE(installWith("echo ran > file\n"));
  EXPECT_EQ(readFile("/flash/here/file"), "ran\n");
}

TEST_F(Scripts, NonZeroExitIsWarnedOfAndNothingElse) {
  makeShell();
  EXPECT_TRUE(installWith("exit 1\n"));
  EXPECT_EQ(messages(), std::string(kFailed) + "installed tool-1.0\n");
  EXPECT_TRUE(exists(kMeta));
}

TEST_F(Scripts, WarningNamesThePackageNotItsBundle) {
  makeShell();
  package_->bundle.name = "system";
  EXPECT_TRUE(installWith("exit 3\n"));
  EXPECT_EQ(messages(), kFailed);
}

TEST_F(Scripts, DeathBySignalIsAFailure) {
  makeShell();
  EXPECT_TRUE(installWith("kill -9 $$\n"));
  EXPECT_EQ(messages(), std::string(kFailed) + "installed tool-1.0\n");
}

TEST_F(Scripts, MissingShellIsAFailure) {
  EXPECT_TRUE(installWith("exit 0\n"));
  EXPECT_EQ(messages(), std::string(kFailed) + "installed tool-1.0\n");
}

TEST_F(Scripts, MissingProfileIsNoFailureByItself) {
  makeShell();
  removeTree("/flash/tarn");
  EXPECT_TRUE(installWith("echo ran > /ran\n"));
  EXPECT_EQ(readFile("/flash/ran"), "ran\n");
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Scripts, NoScriptIsNoFailure) {
  EXPECT_TRUE(install(pack().sign()));
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Scripts, PackageWithAnImageRunsNone) {
  makeShell();
  EXPECT_TRUE(install(pack().image("i").part(kPartOnInstall, "echo ran > /ran\n").sign()));
  EXPECT_FALSE(exists("/flash/ran"));
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Scripts, DisabledPackageRunsNone) {
  makeShell();
  package_->disabled = true;
  EXPECT_TRUE(installWith("echo ran > /ran\n"));
  EXPECT_FALSE(exists("/flash/ran"));
  EXPECT_TRUE(exists(std::string(kMeta) + "oninstall"));
  EXPECT_EQ(messages(), "installed (disabled) tool-1.0\n");
}

TEST_F(Scripts, FailedInstallationRunsNone) {
  makeShell();
  EXPECT_FALSE(install(pack().part(kPartOnInstall, "echo ran > /ran\n")));
  EXPECT_FALSE(exists("/flash/ran"));
}

TEST_F(Scripts, UninstallScriptIsNeverRun) {
  makeShell();
  EXPECT_TRUE(install(pack().part(kPartOnUninstall, "echo ran > /ran\n").sign()));
  package_->disable();
  package_->enable();
  package_->uninstall();
  EXPECT_FALSE(exists("/flash/ran"));
}

TEST_F(Scripts, ChildIsWaitedForThoughItsEndWasIgnored) {
  makeShell();
  signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(installWith("exit 0\n"));
  signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Scripts, HandlerServesOneChildAndGoes) {
  makeShell();
  signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(installWith("exit 0\n"));
  struct sigaction action;
  sigaction(SIGCHLD, nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
}

TEST_F(Scripts, InterruptedWaitIsRepeated) {
  makeShell();
  failCalls(SystemCall::kWaitpid, EINTR, 3);
  EXPECT_TRUE(installWith("exit 0\n"));
  EXPECT_EQ(messages(), "installed tool-1.0\n");
}

TEST_F(Scripts, FailedWaitIsAFailure) {
  makeShell();
  failCall(SystemCall::kWaitpid, ECHILD);
  EXPECT_TRUE(installWith("exit 0\n"));
  EXPECT_EQ(messages(), std::string(kFailed) + "installed tool-1.0\n");
  while (waitpid(-1, nullptr, 0) > 0) {
  }
}

TEST_F(Scripts, NothingStaysOpen) {
  makeShell();
  const int before = nextDescriptor();
  EXPECT_TRUE(installWith("exit 0\n"));
  EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(Scripts, FailedForkIsAFailure) {
  makeShell();
  failCall(SystemCall::kFork, EAGAIN);
  EXPECT_TRUE(installWith("echo ran > /ran\n"));
  EXPECT_EQ(messages(), std::string(kFailed) + "installed tool-1.0\n");
  EXPECT_FALSE(exists("/flash/ran"));
}

TEST_F(Scripts, ScriptMayTakeItsTime) {
  makeShell();
  EXPECT_TRUE(installWith("for ((i = 0; i < 20000; ++i)); do :; done\necho ran > /ran\n"));
  EXPECT_EQ(readFile("/flash/ran"), "ran\n");
}

}  // namespace
