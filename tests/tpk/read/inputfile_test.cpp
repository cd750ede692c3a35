#include "tools/tpk/read/inputfile.h"

#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <iterator>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string contents(std::istream& in) {
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class InputFileTest : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }

  TempFolder temp_;
};

TEST_F(InputFileTest, StreamsHavePositionsOfTheirOwn) {
  writeFile(path("file"), "abcdef");
  const InputFile file(path("file"));
  EXPECT_EQ(file.name(), path("file"));
  EXPECT_EQ(file.size(), 6U);
  const auto first = file.open();
  const auto second = file.open();
  EXPECT_EQ(first->get(), 'a');
  EXPECT_EQ(contents(*second), "abcdef");
  EXPECT_EQ(contents(*first), "bcdef");
}

TEST_F(InputFileTest, KeepsTheBytesOfAFileThatWasReplaced) {
  writeFile(path("file"), "old");
  const InputFile file(path("file"));
  ASSERT_EQ(unlink(path("file").c_str()), 0);
  writeFile(path("file"), "newer");
  EXPECT_EQ(contents(*file.open()), "old");
  EXPECT_EQ(readFile(file.path()), "old");
}

TEST_F(InputFileTest, CopiesWhatComesThroughAPipe) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const std::string sent(100000, 'x');
  std::thread writer([&] {
    const int pipe = open(path("pipe").c_str(), O_WRONLY | O_CLOEXEC);
    for (std::size_t done = 0; done < sent.size();)
      done += static_cast<std::size_t>(write(pipe, sent.data() + done, sent.size() - done));
    close(pipe);
  });
  const InputFile file(path("pipe"));
  writer.join();
  EXPECT_EQ(file.size(), sent.size());
  EXPECT_EQ(contents(*file.open()), sent);
  EXPECT_EQ(contents(*file.open()), sent);
}

TEST_F(InputFileTest, SaysWhatIsNoFile) {
  EXPECT_EQ(failureOf([&] { InputFile file(path("missing")); }),
            path("missing") + ": cannot be opened: No such file or directory");
  EXPECT_EQ(failureOf([&] { InputFile file(temp_.path()); }),
            temp_.path() + ": is a folder, not a package file");
  EXPECT_EQ(failureOf([] { InputFile file("/dev/zero"); }), "/dev/zero: is not a file");
}

}  // namespace
