#include "tools/tpk/host/childprocess.h"

#include "tools/tpk/host/hostfile.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class NewProgramTest : public ::testing::Test {
 protected:
  // The wait status of a shell that does this.
  int shell(const std::string& commands, std::vector<std::string> environment = {}) {
    const pid_t child = fork();
    if (child == 0) {
      become({"/bin/sh",
              {"sh", "-c", commands},
              std::move(environment),
              input.get(),
              output.get(),
              errors.get()});
      _exit(127);
    }
    return ChildProcess(child).wait();
  }
  std::string said() const { return beginOf(output.get(), 1000); }

  const OwnedDescriptor input{openTemporaryFile()};
  const OwnedDescriptor output{openTemporaryFile()};
  const OwnedDescriptor errors{openTemporaryFile()};
};

TEST_F(NewProgramTest, GetsItsDescriptorsAndItsEnvironment) {
  ASSERT_TRUE(writeWhole(input.get(), "line\n", 5));
  ASSERT_EQ(lseek(input.get(), 0, SEEK_SET), 0);
  EXPECT_EQ(shell("read word; echo $word $GIVEN $HOME; echo wrong >&2", {"GIVEN=yes"}), 0);
  EXPECT_EQ(said(), "line yes\n");
  EXPECT_EQ(beginOf(errors.get(), 3), "wro");
}

TEST_F(NewProgramTest, GetsNothingElse) {
  const int left = fcntl(output.get(), F_DUPFD, 3);  // as if a library had left it open
  ASSERT_TRUE(left > STDERR_FILENO && left < 10) << left;
  EXPECT_NE(shell("echo found >&" + std::to_string(left)), 0);
  close(left);
  EXPECT_EQ(said(), "");
}

TEST_F(NewProgramTest, ReturnsWhenThereIsNone) {
  const pid_t child = fork();
  if (child == 0) {
    become({"/no/such/program", {"x"}, {}, input.get(), output.get(), errors.get()});
    _exit(errno);
  }
  const int status = ChildProcess(child).wait();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == ENOENT) << status;
}

TEST(ChildProcess, DoesNotOutliveTheObject) {
  pid_t child;
  {
    child = fork();
    if (child == 0)
      for (;;) pause();
    const ChildProcess process(child);
  }
  EXPECT_EQ(kill(child, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcess, SaysHowItEnded) {
  const pid_t child = fork();
  if (child == 0)
    for (;;) pause();
  ChildProcess process(child);
  const int status = process.end();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
}

}  // namespace
