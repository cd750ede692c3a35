#include "stream/ifilestream.h"

#include "tests/stream/readcount.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

class IfilestreamTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "ifilestreamXXXXXX";
    ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
    folder_ = pattern;
  }
  void TearDown() override {
    unlink((folder_ + "/file").c_str());
    ASSERT_EQ(rmdir(folder_.c_str()), 0);
  }

  std::string put(const std::string& data) {
    std::ofstream(folder_ + "/file", std::ios_base::binary) << data;
    return folder_ + "/file";
  }

  std::string folder_;
};

std::string steps(std::size_t size) {
  std::string data;
  for (std::size_t i = 0; i < size; ++i) data += static_cast<char>(i * 7 + i / 256);
  return data;
}

std::string readByByte(std::istream& in) {
  std::string data;
  for (int c = in.get(); c != EOF; c = in.get()) data += static_cast<char>(c);
  return data;
}

TEST_F(IfilestreamTest, FileThatCannotBeOpenedIsAFailedStream) {
  errno = 0;
  ifilestream in(folder_ + "/none");
  EXPECT_EQ(errno, ENOENT);
  EXPECT_TRUE(in.fail());
  EXPECT_FALSE(in.isOpen());
  in.clear();
  EXPECT_EQ(in.get(), EOF);
}

TEST_F(IfilestreamTest, DirectoryReadsAsEmpty) {
  ifilestream in(folder_);
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.get(), EOF);
  EXPECT_TRUE(in.eof());
  EXPECT_FALSE(in.bad());
  in.clear();
  EXPECT_EQ(readCount(in, 10000), "");
}

TEST_F(IfilestreamTest, ReadsAnEmptyFile) {
  ifilestream in(put(""));
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.peek(), EOF);
  EXPECT_FALSE(in.fail());
}

TEST_F(IfilestreamTest, ReadsEveryByteByByte) {
  const std::string data = steps(10000);
  ifilestream in(put(data));
  EXPECT_EQ(readByByte(in), data);
}

TEST_F(IfilestreamTest, ReadsEveryByteInAnySteps) {
  const std::string data = steps(20000);
  const std::string path = put(data);
  for (std::size_t step : {1u, 6u, 4095u, 4096u, 4097u, 9000u, 20000u, 30000u}) {
    ifilestream in(path);
    std::string got;
    while (in) got += readCount(in, step);
    EXPECT_EQ(got, data) << step;
  }
}

TEST_F(IfilestreamTest, ReadsEveryByteInMixedSteps) {
  const std::string data = steps(50000);
  ifilestream in(put(data));
  std::string got;
  for (std::size_t step = 1; in; step = step * 3 % 10007) got += readCount(in, step);
  EXPECT_EQ(got, data);
}

TEST_F(IfilestreamTest, LargeReadTakesNoMoreThanWasAskedFor) {
  const int descriptor = open(put(steps(20000)).c_str(), O_RDONLY);
  {
    ifilestream in(descriptor);
    EXPECT_EQ(readCount(in, 8192).size(), 8192u);
    EXPECT_EQ(lseek(descriptor, 0, SEEK_CUR), 8192);  // nothing went through the buffer
  }
  close(descriptor);
}

TEST_F(IfilestreamTest, SmallReadFillsTheBuffer) {
  const int descriptor = open(put(steps(20000)).c_str(), O_RDONLY);
  {
    ifilestream in(descriptor);
    readCount(in, 6);
    EXPECT_EQ(lseek(descriptor, 0, SEEK_CUR), 4096);
  }
  close(descriptor);
}

TEST_F(IfilestreamTest, OneCharacterCanBePutBackAfterAnyRead) {
  const std::string data = steps(20000);
  const std::string path = put(data);
  for (std::size_t count : {1u, 4095u, 4096u, 4097u, 8191u, 8192u, 8193u, 20000u}) {
    ifilestream in(path);
    readCount(in, count);
    EXPECT_EQ(in.rdbuf()->sungetc(), static_cast<unsigned char>(data[count - 1])) << count;
    EXPECT_EQ(readByByte(in), data.substr(count - 1)) << count;
  }
}

TEST_F(IfilestreamTest, OneCharacterCanBePutBackJustAfterARefill) {
  const std::string data = steps(5000);
  ifilestream in(put(data));
  readCount(in, 4096 - 1);
  in.get();
  in.peek();  // refills
  EXPECT_EQ(in.rdbuf()->sungetc(), static_cast<unsigned char>(data[4095]));
  EXPECT_EQ(readByByte(in), data.substr(4095));
}

TEST_F(IfilestreamTest, NothingCanBePutBackAtTheStart) {
  ifilestream in(put("abc"));
  EXPECT_EQ(in.rdbuf()->sungetc(), EOF);
  in.peek();
  EXPECT_EQ(in.rdbuf()->sungetc(), EOF);
}

TEST_F(IfilestreamTest, TellsItsPositionWithoutLosingTheBuffer) {
  const int descriptor = open(put(steps(9000)).c_str(), O_RDONLY);
  {
    ifilestream in(descriptor);
    EXPECT_EQ(in.tellg(), 0);
    readCount(in, 10);
    EXPECT_EQ(in.tellg(), 10);
    EXPECT_EQ(lseek(descriptor, 0, SEEK_CUR), 4096);
    EXPECT_EQ(in.rdbuf()->in_avail(), 4086);
    readCount(in, 5000);
    EXPECT_EQ(in.tellg(), 5010);
  }
  close(descriptor);
}

TEST_F(IfilestreamTest, SeeksFromStartPositionAndEnd) {
  const std::string data = steps(9000);
  ifilestream in(put(data));
  readCount(in, 10);
  in.seekg(5, std::ios_base::cur);
  EXPECT_EQ(in.tellg(), 15);
  EXPECT_EQ(readCount(in, 3), data.substr(15, 3));
  in.seekg(-10, std::ios_base::cur);
  EXPECT_EQ(readCount(in, 3), data.substr(8, 3));
  in.seekg(8000);
  EXPECT_EQ(readCount(in, 3), data.substr(8000, 3));
  in.seekg(-4, std::ios_base::end);
  EXPECT_EQ(readByByte(in), data.substr(8996));
}

TEST_F(IfilestreamTest, RefusesAPositionBeforeTheFile) {
  const std::string data = steps(100);
  ifilestream in(put(data));
  readCount(in, 10);
  std::streambuf* const file = in.rdbuf();
  const std::streampos refused(std::streamoff(-1));
  EXPECT_EQ(file->pubseekoff(-11, std::ios_base::cur), refused);
  EXPECT_EQ(file->pubseekoff(-101, std::ios_base::end), refused);
  EXPECT_EQ(file->pubseekpos(-5), refused);
  EXPECT_EQ(file->pubseekoff(std::numeric_limits<std::streamoff>::min(), std::ios_base::cur),
            refused);
  EXPECT_EQ(readByByte(in), data.substr(10));  // and stays where it is
}

TEST_F(IfilestreamTest, KnowsWhatARegularFileHasLeft) {
  ifilestream in(put(steps(9000)));
  EXPECT_EQ(in.rdbuf()->in_avail(), 9000);
  readCount(in, 4096);
  EXPECT_EQ(in.rdbuf()->in_avail(), 9000 - 4096);
  readCount(in, 9000 - 4096);
  EXPECT_EQ(in.rdbuf()->in_avail(), 0);
}

TEST_F(IfilestreamTest, ClosesWhatItOpened) {
  ifilebuf file;
  ASSERT_TRUE(file.open(put("abc").c_str()));
  EXPECT_EQ(file.sgetc(), 'a');
  file.close();
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(file.sgetc(), EOF);
  ASSERT_TRUE(file.open((folder_ + "/file").c_str()));
  EXPECT_EQ(file.sgetc(), 'a');
}

TEST_F(IfilestreamTest, IsNotInheritedByPrograms) {
  const int next = dup(0);  // the number that the file will get
  close(next);
  ifilebuf file;
  ASSERT_TRUE(file.open(put("abc").c_str()));
  EXPECT_EQ(fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

class IfilestreamPipe : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pipe(ends_), 0); }
  void TearDown() override {
    closeEnd(0);
    closeEnd(1);
  }

  void send(const std::string& data) {
    ASSERT_EQ(write(ends_[1], data.data(), data.size()), static_cast<ssize_t>(data.size()));
  }
  static void closeEnd(int end) {
    if (ends_[end] >= 0) close(ends_[end]);
    ends_[end] = -1;
  }

  static int ends_[2];
};

int IfilestreamPipe::ends_[2] = {-1, -1};

TEST_F(IfilestreamPipe, ReadsToTheEndOfThePipe) {
  const std::string data = steps(30000);
  send(data);
  closeEnd(1);
  ifilestream in(ends_[0]);
  EXPECT_EQ(readCount(in, 6), data.substr(0, 6));
  EXPECT_EQ(readCount(in, 20000), data.substr(6, 20000));
  EXPECT_EQ(readByByte(in), data.substr(20006));
}

TEST_F(IfilestreamPipe, CannotSeekAndReadsOn) {
  send("abcdef");
  closeEnd(1);
  ifilestream in(ends_[0]);
  EXPECT_EQ(in.get(), 'a');
  const std::streampos refused(std::streamoff(-1));
  EXPECT_EQ(in.rdbuf()->pubseekoff(2, std::ios_base::cur), refused);
  EXPECT_EQ(in.rdbuf()->pubseekoff(0, std::ios_base::cur), refused);
  EXPECT_EQ(in.rdbuf()->pubseekpos(4), refused);
  EXPECT_EQ(readByByte(in), "bcdef");
  EXPECT_EQ(in.rdbuf()->in_avail(), 0);
}

TEST_F(IfilestreamPipe, DescriptorStaysTheCallers) {
  { ifilestream in(ends_[0]); }
  EXPECT_NE(fcntl(ends_[0], F_GETFD), -1);
}

// The first signal only interrupts the read, the second one sends what it waits for.
TEST_F(IfilestreamPipe, InterruptedReadGoesOn) {
  static int signals = 0;
  struct sigaction action = {};
  action.sa_handler = [](int) {
    if (++signals < 2) return;
    const ssize_t sent = write(ends_[1], "x", 1);
    if (sent == 1) closeEnd(1);
  };
  struct sigaction before;
  ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);  // no SA_RESTART
  const itimerval every = {{0, 20000}, {0, 20000}};
  const itimerval never = {};
  setitimer(ITIMER_REAL, &every, nullptr);
  ifilestream in(ends_[0]);
  EXPECT_EQ(readByByte(in), "x");
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_GE(signals, 2);
}

TEST(Ifilestream, DescriptorThatIsNotOpenReadsAsEmpty) {
  ifilestream in(-1);
  EXPECT_EQ(in.get(), EOF);
  EXPECT_FALSE(in.isOpen());
}

}  // namespace
