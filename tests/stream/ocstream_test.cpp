#include "stream/ocstream.h"

#include "stream/icstream.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Compresses to about half.
std::string text(std::size_t size) {
  std::string data;
  std::uint32_t state = 1;
  while (data.size() < size) {
    state = state * 1664525 + 1013904223;
    data += std::to_string(state >> 16);
  }
  data.resize(size);
  return data;
}

// Does not compress.
std::string noise(std::size_t size) {
  std::string data;
  std::uint32_t state = 1;
  while (data.size() < size) {
    state = state * 1664525 + 1013904223;
    data += static_cast<char>(state >> 24);
  }
  return data;
}

std::string deflatedBy(const std::string& data, std::size_t step) {
  std::ostringstream sink;
  ocstream out(sink);
  for (std::size_t at = 0; at < data.size(); at += step) {
    out.write(data.data() + at, static_cast<std::streamsize>(std::min(step, data.size() - at)));
  }
  EXPECT_TRUE(out.finish());
  EXPECT_TRUE(out.good());
  return sink.str();
}

std::string readBack(const std::string& compressed) {
  std::istringstream source(compressed);
  icstream in(source, false);
  std::string data;
  for (int c = in.get(); c != EOF; c = in.get()) data += static_cast<char>(c);
  return data;
}

TEST(Ocstream, RoundTripAroundTheBufferSize) {
  for (std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 8191u, 8192u, 8193u, 60000u}) {
    for (const std::string& data : {text(size), noise(size), std::string(size, 'a')}) {
      EXPECT_EQ(readBack(deflatedBy(data, size + 1)), data) << size;
    }
  }
}

TEST(Ocstream, RoundTripInAnySteps) {
  const std::string data = text(20000);
  for (std::size_t step : {1u, 7u, 4095u, 4096u, 4097u, 10000u}) {
    EXPECT_EQ(readBack(deflatedBy(data, step)), data) << step;
  }
}

TEST(Ocstream, WritesOneZlibStreamAtTheDefaultLevel) {
  const std::string data = text(10000);
  const std::string compressed = deflatedBy(data, data.size());
  EXPECT_EQ(compressed.substr(0, 2), "\x78\x9C");
  std::string out(data.size(), '\0');
  uLongf size = out.size();
  EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(&out[0]), &size,
                       reinterpret_cast<const Bytef*>(compressed.data()), compressed.size()),
            Z_OK);
  EXPECT_EQ(out, data);
}

TEST(Ocstream, NothingWrittenIsAnEmptyZlibStream) {
  EXPECT_EQ(deflatedBy("", 1), std::string("\x78\x9C\x03\x00\x00\x00\x00\x01", 8));
}

TEST(Ocstream, FlushInBetweenLosesNothing) {
  std::ostringstream sink;
  const std::string data = text(10000);
  {
    ocstream out(sink);
    for (char c : data) out << c << std::flush;
    EXPECT_TRUE(out.good());
  }
  EXPECT_EQ(readBack(sink.str()), data);
}

TEST(Ocstream, DestructorFinishesTheStream) {
  std::ostringstream sink;
  {
    ocstream out(sink);
    out << "some data";
    EXPECT_EQ(sink.str(), "");
  }
  EXPECT_EQ(readBack(sink.str()), "some data");
}

TEST(Ocstream, FinishesOnce) {
  std::ostringstream sink;
  {
    ocstream out(sink);
    out << "some data";
    EXPECT_TRUE(out.finish());
    const std::string compressed = sink.str();
    EXPECT_TRUE(out.finish());
    EXPECT_EQ(sink.str(), compressed);
  }
  EXPECT_EQ(readBack(sink.str()), "some data");
}

TEST(Ocstream, NothingCanBeWrittenBehindTheEnd) {
  std::ostringstream sink;
  ocstream out(sink);
  out << "some data";
  ASSERT_TRUE(out.finish());
  out << std::flush;
  EXPECT_TRUE(out.good());
  out << "more";
  EXPECT_TRUE(out.bad());
  EXPECT_EQ(readBack(sink.str()), "some data");
}

// Keeps the size of every write, and takes no more than limit bytes in all.
class CountingSink : public std::streambuf {
 public:
  std::vector<std::streamsize> writes;
  std::string data;
  std::size_t limit = std::size_t(-1);

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    writes.push_back(count);
    const std::size_t taken = std::min(static_cast<std::size_t>(count), limit - data.size());
    data.append(bytes, taken);
    return static_cast<std::streamsize>(taken);
  }
};

TEST(Ocstream, FlushOfAnEmptyPutAreaSucceedsAtOnce) {
  CountingSink sink;
  sink.limit = 0;
  std::ostream stream(&sink);
  ocstream out(stream);
  out << std::flush;
  EXPECT_TRUE(out.good());
  EXPECT_EQ(sink.writes.size(), 0u);
}

TEST(Ocstream, WritesWholeBuffersUntilTheEnd) {
  CountingSink sink;
  std::ostream stream(&sink);
  ocstream out(stream);
  const std::string data = noise(40000);
  out << data << std::flush;
  ASSERT_GT(sink.writes.size(), 0u);
  for (std::streamsize size : sink.writes) EXPECT_EQ(size, 4096);
  ASSERT_TRUE(out.finish());
  EXPECT_EQ(readBack(sink.data), data);
}

TEST(Ocstream, ShortWriteOfAFlushSetsTheBadState) {
  CountingSink sink;
  sink.limit = 5000;
  std::ostream stream(&sink);
  ocstream out(stream);
  out << noise(40000) << std::flush;
  EXPECT_TRUE(out.bad());
  EXPECT_EQ(sink.data.size(), 5000u);
  EXPECT_EQ(sink.writes.size(), 2u);  // nothing behind the gap
}

TEST(Ocstream, ShortWriteFailsTheFinish) {
  const std::string data = text(3000);
  const std::size_t whole = deflatedBy(data, data.size()).size();
  for (std::size_t limit = 0; limit <= whole; ++limit) {
    CountingSink sink;
    sink.limit = limit;
    std::ostream stream(&sink);
    ocstream out(stream);
    out << data;
    EXPECT_EQ(out.finish(), limit == whole) << limit;
    EXPECT_EQ(out.bad(), limit != whole) << limit;
    EXPECT_EQ(out.finish(), limit == whole) << limit;
  }
}

TEST(Ocstream, StreamThatLostBytesStaysFailed) {
  CountingSink sink;
  sink.limit = 4000;
  std::ostream stream(&sink);
  ocstream out(stream);
  out << noise(40000) << std::flush;
  ASSERT_TRUE(out.bad());
  sink.limit = std::size_t(-1);
  out.clear();
  out << "more" << std::flush;
  EXPECT_TRUE(out.bad());
  EXPECT_FALSE(out.finish());
  EXPECT_EQ(sink.data.size(), 4000u);
}

}  // namespace
