// tpk build as people and scripts call it: where the package goes, what is said, what stays behind.
#include "tests/support/privilege.h"
#include "tests/support/terminal.h"
#include "tests/tpk/program.h"

#include <cstdlib>
#include <thread>

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class BuildCommand : public TpkProgram {
 protected:
  BuildCommand() {
    writePackage("hello");
    setDescription("files = \"root\"\n");
  }
  void setDescription(const std::string& more) const {
    writeFile(path("hello/package.toml"),
              "name = \"hello\"\nversion = \"3.22\"\nbuild-time = 5\n" + more);
  }
  std::string built(const std::string& name = "expected.tpk") const {
    EXPECT_TRUE(run({"build", "hello", "-o", name}).exited(0));
    return readFile(path(name));
  }
  // The shell's redirections are what is tested.
  int shell(const std::string& line) const {
    return std::system(("cd " + temp_.path() + " && tpk=" + TPK_PROGRAM + " && " + line).c_str());
  }
  // Every line leaves the package in the file "out".
  void expectWritten(const std::vector<const char*>& lines) const {
    const std::string expected = built();
    for (const char* const line : lines) {
      EXPECT_EQ(shell(line), 0) << line;
      EXPECT_TRUE(readFile(path("out")) == expected) << line;
      EXPECT_THAT(readFile(path("err")), HasSubstr(": unsigned\n"));
      removeTree(path("out"));
    }
  }
};

TEST_F(BuildCommand, WritesToStandardOutput) {
  const std::string expected = built();
  const ProcessResult result = run({"build", "hello", "-o", "-"});
  EXPECT_TRUE(result.exited(0)) << result.err;
  EXPECT_TRUE(result.out == expected);
  EXPECT_EQ(result.err, "-: unsigned\n");
  EXPECT_FALSE(exists(path("-")));
}

TEST_F(BuildCommand, WritesToWhatTheShellOpened) {
  expectWritten({"$tpk build hello -o - >out 2>err",
                 "mkfifo fifo && (cat fifo >out & $tpk build hello -o fifo 2>err; wait)"});
}

TEST_F(BuildCommand, WritesToWhatTheShellOpenedByTheNameOfItsDescriptor) {
  NEEDS_PROC();
  expectWritten({"$tpk build hello -o /dev/stdout >out 2>err",
                 "$tpk build hello -o /proc/self/fd/1 2>err | cat >out"});
}

TEST_F(BuildCommand, ReaderThatGoesAwayLeavesNothing) {
  makeFolders(path("tmp"));
  writeFile(path("hello/root/big"), std::string(1 << 20, 'x'));
  setDescription("files = \"root\"\ncompression = 0\n");
  shell("TMPDIR=tmp $tpk build hello -o - 2>err | true");
  EXPECT_EQ(listTree(path("tmp"), 0), "");
}

TEST_F(BuildCommand, WarnsOnStandardErrorAndGoesOn) {
  setDescription("image = true\noninstall = \"x\"\n");
  const ProcessResult result = run({"build", "hello"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "hello-3.22.tpk: unsigned\n");
  EXPECT_EQ(result.err,
            "tpk: warning: hello/package.toml:5: oninstall never runs: the router passes it over "
            "with image = true\n");
}

TEST_F(BuildCommand, ShowsNoBarToPipes) {
  writeFile(path("hello/root/big"), std::string(1 << 20, 'x'));
  EXPECT_EQ(run({"build", "hello"}).err, "");
}

TEST_F(BuildCommand, ShowsABarOnATerminal) {
  NEEDS_TERMINALS();
  writeFile(path("hello/root/big"), std::string(1 << 20, 'x'));
  const Terminal terminal;
  Command command;
  command.words = {TPK_PROGRAM, "build", path("hello"), "-o", path("out.tpk")};
  command.prepare = [&] { return dup2(terminal.descriptor(), STDERR_FILENO) >= 0; };
  const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
  EXPECT_TRUE(result.exited(0)) << result;
  const std::string text = terminal.read();
  ASSERT_GT(text.size(), 4U);
  EXPECT_THAT(text, StartsWith("\r\033[Kpacking ["));
  EXPECT_EQ(text.substr(text.size() - 4), "\r\033[K");
}

TEST_F(BuildCommand, UnreadableFileLeavesNothingBehind) {
  writeFile(path("hello-3.22.tpk"), "old");
  setDescription("files = [\"root\", \"in.tar\"]\n");
  writeFile(path("hello/in.tar"), "no tar");
  const ProcessResult result = run({"build", "hello"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, StartsWith("tpk: hello/in.tar: "));
  EXPECT_EQ(readFile(path("hello-3.22.tpk")), "old");
  EXPECT_EQ(listTree(temp_.path(), 0, {"/hello"}), "/hello-3.22.tpk file\n");
}

// A gigabyte takes long enough to be interrupted.
TEST_F(BuildCommand, SignalLeavesNothingBehind) {
  if (truncate(path("hello/root/etc/hello").c_str(), off_t{1} << 30) != 0)
    GTEST_SKIP() << "the file system holds no such file";
  setDescription("files = \"root\"\ncompression = 9\n");
  makeFolders(path("out"));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    writeFile(path("out/hello.tpk"), "old");
    Command command;
    command.words = {TPK_PROGRAM, "build", path("hello"), "-o", path("out/hello.tpk")};
    Process process(command);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (listTree(path("out"), 0) == "/hello.tpk file\n" &&
           std::chrono::steady_clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_NE(listTree(path("out"), 0), "/hello.tpk file\n");
    kill(process.id(), signal);
    const ProcessResult result = process.wait(std::chrono::seconds(15));
    EXPECT_EQ(result.signal, signal) << result;
    EXPECT_EQ(listTree(path("out"), kTreeSize), "/hello.tpk file size=3\n");
  }
}

// Both ways that contents take: straight from a file, and out of a tar by way of the spool.
TEST_F(BuildCommand, MemoryDoesNotGrowWithTheFiles) {
#ifdef INSTALLER_SANITIZED
  GTEST_SKIP() << "the sanitizer needs more memory than the limit";
#endif
  if (truncate(path("hello/root/etc/hello").c_str(), off_t{128} << 20) != 0)
    GTEST_SKIP() << "the file system holds no such file";
  ASSERT_EQ(shell("tar -cf hello/in.tar -C hello/root etc/hello"), 0);
  setDescription("files = [\"root\", { tar = \"in.tar\", into = \"x\" }]\ncompression = 1\n");
  EXPECT_EQ(shell("ulimit -v 65536 && $tpk build hello >out"), 0);
}

TEST_F(BuildCommand, FullDiskIsTheMachinesFault) {
  const ProcessResult result = run({"build", "hello", "-o", "/dev/full"});
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(result.err, "tpk: /dev/full: cannot be written: No space left on device\n");
}

}  // namespace
