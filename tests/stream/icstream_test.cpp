#include "stream/icstream.h"

#include "tests/stream/readcount.h"
#include "tests/support/packbuilder.h"

#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

const bool kRaw = true;
const bool kZlib = false;

std::string rawDeflated(const std::string& data) {
  z_stream state = {};
  if (deflateInit2(&state, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) std::abort();
  std::string out(deflateBound(&state, static_cast<uLong>(data.size())), '\0');
  std::string in = data;
  state.next_in = reinterpret_cast<Bytef*>(&in[0]);
  state.avail_in = static_cast<uInt>(in.size());
  state.next_out = reinterpret_cast<Bytef*>(&out[0]);
  state.avail_out = static_cast<uInt>(out.size());
  if (deflate(&state, Z_FINISH) != Z_STREAM_END) std::abort();
  out.resize(state.total_out);
  deflateEnd(&state);
  return out;
}

// Compresses, but not to nothing.
std::string pattern(std::size_t size) {
  std::string data;
  std::uint32_t state = 1;
  while (data.size() < size) {
    state = state * 1664525 + 1013904223;
    data += std::to_string(state >> 20);
  }
  data.resize(size);
  return data;
}

std::string readAll(std::istream& in) {
  std::string data;
  char chunk[1000];
  while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
    data.append(chunk, static_cast<std::size_t>(in.gcount()));
  }
  return data;
}

std::string inflated(const std::string& compressed, bool raw) {
  std::istringstream source(compressed);
  icstream in(source, raw);
  return readAll(in);
}

TEST(Icstream, EmptySourceIsEndOfFileOnTheFirstRead) {
  for (bool raw : {kZlib, kRaw}) {
    std::istringstream source;
    icstream in(source, raw);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.get(), EOF);
    EXPECT_TRUE(in.eof());
    EXPECT_FALSE(in.bad());
  }
}

TEST(Icstream, InflatesZlibStreams) {
  for (std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 8192u, 8193u, 100000u}) {
    const std::string data = pattern(size);
    EXPECT_EQ(inflated(deflated(data), kZlib), data) << size;
  }
}

TEST(Icstream, InflatesHeaderlessStreams) {
  for (std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 8192u, 8193u, 100000u}) {
    const std::string data = pattern(size);
    EXPECT_EQ(inflated(rawDeflated(data), kRaw), data) << size;
  }
}

// A run of one byte is one copy after another: the last byte of the source can end the run while
// the output buffer is full, and more than the buffer holds is still to come.
TEST(Icstream, DeliversWhatIsHeldBehindTheLastByteOfTheSource) {
  for (std::size_t size = 4090; size < 4096 + 2 * 258 + 10; ++size) {
    const std::string data(size, 'a');
    EXPECT_EQ(inflated(rawDeflated(data), kRaw).size(), size);
    EXPECT_EQ(inflated(deflated(data), kZlib).size(), size);
  }
}

TEST(Icstream, HeaderMustFitTheKindOfStream) {
  EXPECT_EQ(inflated(rawDeflated("some data"), kZlib), "");
  EXPECT_EQ(inflated(deflated("some data"), kRaw), "");
}

TEST(Icstream, StreamThatWantsADictionaryReadsAsEmpty) {
  z_stream state = {};
  ASSERT_EQ(deflateInit(&state, 9), Z_OK);
  Bytef dictionary[] = "dictionary";
  ASSERT_EQ(deflateSetDictionary(&state, dictionary, 10), Z_OK);
  Bytef data[] = "dictionary";
  Bytef out[100];
  state.next_in = data;
  state.avail_in = 10;
  state.next_out = out;
  state.avail_out = sizeof out;
  ASSERT_EQ(deflate(&state, Z_FINISH), Z_STREAM_END);
  const std::string compressed(out, out + state.total_out);
  deflateEnd(&state);
  EXPECT_EQ(inflated(compressed, kZlib), "");
}

// Delivers one byte a call, as a slow pipe does.
class OneByteSource : public std::stringbuf {
 public:
  using std::stringbuf::stringbuf;

 protected:
  std::streamsize xsgetn(char* out, std::streamsize count) override {
    return std::stringbuf::xsgetn(out, count > 0 ? 1 : 0);
  }
};

TEST(Icstream, ReadsOnWhileTheSourceComesInSmallPieces) {
  const std::string data = pattern(10000);
  OneByteSource source(deflated(data), std::ios_base::in);
  std::istream stream(&source);
  icstream in(stream, kZlib);
  EXPECT_EQ(readAll(in), data);
}

TEST(Icstream, ReadsOnWhileInputGivesNoBytes) {
  const std::string emptyBlock("\x00\x00\x00\xFF\xFF", 5);
  std::string compressed;
  for (int i = 0; i < 3000; ++i) compressed += emptyBlock;  // more than an input buffer
  compressed += rawDeflated("the data");
  EXPECT_EQ(inflated(compressed, kRaw), "the data");
}

TEST(Icstream, BytesBehindTheCompressedStreamAreNotRead) {
  const std::string data = pattern(5000);
  EXPECT_EQ(inflated(deflated(data) + deflated("another"), kZlib), data);
  EXPECT_EQ(inflated(deflated(data) + std::string(20000, 'x'), kZlib), data);
  EXPECT_EQ(inflated(rawDeflated(data) + rawDeflated("another"), kRaw), data);
}

TEST(Icstream, StaysAtTheEndOfTheCompressedStream) {
  std::istringstream source(deflated("data") + deflated("another"));
  icstream in(source, kZlib);
  EXPECT_EQ(readAll(in), "data");
  in.clear();
  EXPECT_EQ(in.get(), EOF);
  in.clear();
  EXPECT_EQ(readAll(in), "");
}

TEST(Icstream, TruncatedStreamReadsAsTheStartOfTheData) {
  const std::string data = pattern(9000);
  for (bool raw : {kZlib, kRaw}) {
    const std::string compressed = raw ? rawDeflated(data) : deflated(data);
    for (std::size_t size = 0; size < compressed.size(); ++size) {
      const std::string got = inflated(compressed.substr(0, size), raw);
      EXPECT_EQ(got, data.substr(0, got.size())) << size;
    }
  }
}

// What one call of zlib makes of the whole, and its result.
std::string inflatedAtOnce(std::string compressed, int& result) {
  std::string out(std::size_t{1} << 17, '\0');
  z_stream state = {};
  if (inflateInit(&state) != Z_OK) std::abort();
  state.next_in = reinterpret_cast<Bytef*>(&compressed[0]);
  state.avail_in = static_cast<uInt>(compressed.size());
  state.next_out = reinterpret_cast<Bytef*>(&out[0]);
  state.avail_out = static_cast<uInt>(out.size());
  result = inflate(&state, Z_SYNC_FLUSH);
  if (state.avail_out == 0) std::abort();
  out.resize(state.total_out);
  inflateEnd(&state);
  return out;
}

// Damage that zlib finds drops the last buffer's worth; damage that hides the end of the stream
// leaves data that nothing has checked.
TEST(Icstream, EveryFlippedBitReadsAsZlibSeesIt) {
  const std::string compressed = deflated(pattern(300));
  int found = 0;
  for (std::size_t at = 0; at < compressed.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string flipped = compressed;
      flipped[at] = static_cast<char>(flipped[at] ^ 1 << bit);
      int result;
      std::string expected = inflatedAtOnce(flipped, result);
      if (result != Z_OK && result != Z_STREAM_END) {
        expected.resize(expected.size() / 4096 * 4096);
        ++found;
      }
      EXPECT_EQ(inflated(flipped, kZlib), expected) << at << " bit " << bit;
    }
  }
  EXPECT_GT(found, 0);
}

TEST(Icstream, FlippedBitOfAHeaderlessStreamEnds) {
  const std::string compressed = rawDeflated(pattern(300));
  for (std::size_t at = 0; at < compressed.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string flipped = compressed;
      flipped[at] = static_cast<char>(flipped[at] ^ 1 << bit);
      // What a deflate code can say at most is 258 bytes in two bits.
      EXPECT_LE(inflated(flipped, kRaw).size(), compressed.size() * 4 * 258) << at;
    }
  }
}

TEST(Icstream, ErrorDropsWhatThatCallProduced) {
  const std::string data = pattern(4096 + 100);
  std::string compressed = deflated(data);
  compressed.back() = static_cast<char>(compressed.back() ^ 1);  // of the check value
  EXPECT_EQ(inflated(compressed, kZlib), data.substr(0, 4096));

  compressed = deflated("short");
  compressed.back() = static_cast<char>(compressed.back() ^ 1);
  EXPECT_EQ(inflated(compressed, kZlib), "");
}

TEST(Icstream, ErrorIsTheEndForGood) {
  std::string compressed = deflated("short");
  compressed.back() = static_cast<char>(compressed.back() ^ 1);
  std::istringstream source(compressed + deflated("another"));
  icstream in(source, kZlib);
  EXPECT_EQ(in.get(), EOF);
  for (int i = 0; i < 3; ++i) {
    in.clear();
    EXPECT_EQ(in.get(), EOF);
  }
}

TEST(Icstream, OneCharacterCanBePutBackAfterAnyRead) {
  const std::string data = pattern(9000);
  const std::string compressed = deflated(data);
  for (std::size_t count = 1; count <= data.size(); count += count < 4090 ? 100 : 1) {
    std::istringstream source(compressed);
    icstream in(source, kZlib);
    readCount(in, count);
    EXPECT_EQ(in.rdbuf()->sungetc(), static_cast<unsigned char>(data[count - 1])) << count;
    EXPECT_EQ(readAll(in), data.substr(count - 1)) << count;
    if (count > 4200) count += 400;
  }
}

TEST(Icstream, OneCharacterCanBePutBackJustAfterARefill) {
  const std::string data = pattern(9000);
  std::istringstream source(deflated(data));
  icstream in(source, kZlib);
  readCount(in, 4096);
  EXPECT_EQ(in.peek(), data[4096]);  // refills
  EXPECT_EQ(in.rdbuf()->sungetc(), data[4095]);
  EXPECT_EQ(in.rdbuf()->sungetc(), EOF);  // one, not two
  EXPECT_EQ(readAll(in), data.substr(4095));
}

TEST(Icstream, OneCharacterCanBePutBackAtTheEnd) {
  for (bool damaged : {false, true}) {
    const std::string data = pattern(4096 + 50);
    std::string compressed = deflated(data);
    if (damaged) compressed.back() = static_cast<char>(compressed.back() ^ 1);
    const std::string readable = damaged ? data.substr(0, 4096) : data;
    std::istringstream source(compressed);
    icstream in(source, kZlib);
    EXPECT_EQ(readAll(in), readable);
    in.clear();
    EXPECT_EQ(in.rdbuf()->sungetc(), readable.back());
    EXPECT_EQ(in.tellg(), std::streamoff(readable.size()) - 1);
    EXPECT_EQ(in.get(), readable.back());
    EXPECT_EQ(in.get(), EOF);
  }
}

TEST(Icstream, NothingCanBePutBackAtTheStart) {
  std::istringstream source(deflated("data"));
  icstream in(source, kZlib);
  EXPECT_EQ(in.rdbuf()->sungetc(), EOF);
  in.peek();
  EXPECT_EQ(in.rdbuf()->sungetc(), EOF);
}

TEST(Icstream, PositionCountsDeliveredBytes) {
  std::istringstream source(deflated(pattern(9000)));
  icstream in(source, kZlib);
  EXPECT_EQ(in.tellg(), 0);
  readCount(in, 10);
  EXPECT_EQ(in.tellg(), 10);
  in.unget();
  EXPECT_EQ(in.tellg(), 9);
  readCount(in, 5000);
  EXPECT_EQ(in.tellg(), 5009);
}

TEST(Icstream, SeeksForwardToExactlyTheTarget) {
  const std::string data = pattern(20000);
  const std::string compressed = deflated(data);
  for (std::size_t target : {1u, 1023u, 1024u, 1025u, 4096u, 4097u, 5000u, 10001u, 19999u}) {
    std::istringstream source(compressed);
    icstream in(source, kZlib);
    in.seekg(static_cast<std::streamoff>(target));
    EXPECT_EQ(in.tellg(), std::streamoff(target));
    EXPECT_EQ(readCount(in, 3), data.substr(target, 3)) << target;
  }
}

TEST(Icstream, SeeksForwardFromThePosition) {
  const std::string data = pattern(20000);
  std::istringstream source(deflated(data));
  icstream in(source, kZlib);
  readCount(in, 10);
  in.seekg(1500, std::ios_base::cur);
  EXPECT_EQ(readCount(in, 3), data.substr(1510, 3));
}

TEST(Icstream, SeekingToThePositionSucceeds) {
  std::istringstream source(deflated("some data"));
  icstream in(source, kZlib);
  readCount(in, 4);
  EXPECT_EQ(in.rdbuf()->pubseekpos(4), 4);
  EXPECT_EQ(readAll(in), " data");
}

TEST(Icstream, RefusesToSeekBackwards) {
  std::istringstream source(deflated("some data"));
  icstream in(source, kZlib);
  readCount(in, 4);
  const std::streampos refused(std::streamoff(-1));
  const std::streamoff least = std::numeric_limits<std::streamoff>::min();
  EXPECT_EQ(in.rdbuf()->pubseekpos(3), refused);
  EXPECT_EQ(in.rdbuf()->pubseekpos(-1), refused);
  EXPECT_EQ(in.rdbuf()->pubseekpos(least), refused);
  EXPECT_EQ(in.rdbuf()->pubseekoff(-1, std::ios_base::cur), refused);
  EXPECT_EQ(in.rdbuf()->pubseekoff(least, std::ios_base::cur), refused);
  EXPECT_EQ(readAll(in), " data");
}

TEST(Icstream, RefusesToSeekFromTheEnd) {
  std::istringstream source(deflated("some data"));
  icstream in(source, kZlib);
  const std::streampos refused(std::streamoff(-1));
  EXPECT_EQ(in.rdbuf()->pubseekoff(0, std::ios_base::end), refused);
  EXPECT_EQ(in.rdbuf()->pubseekoff(-1, std::ios_base::end), refused);
  EXPECT_EQ(readAll(in), "some data");
}

TEST(Icstream, SeekingBehindTheDataFails) {
  const std::streampos refused(std::streamoff(-1));
  std::istringstream source(deflated("some data"));
  icstream in(source, kZlib);
  EXPECT_EQ(in.rdbuf()->pubseekpos(9), 9);
  EXPECT_EQ(in.rdbuf()->pubseekpos(10), refused);
  EXPECT_EQ(in.rdbuf()->pubseekoff(std::numeric_limits<std::streamoff>::max(), std::ios_base::cur),
            refused);
}

TEST(Icstream, IsCompleteOnlyAtTheEndOfWholeData) {
  const std::string whole = deflated("data");
  const auto completeAfterAll = [](const std::string& compressed) {
    std::istringstream source(compressed);
    icstream in(source, kZlib);
    EXPECT_FALSE(in.isComplete());
    readAll(in);
    return in.isComplete();
  };
  EXPECT_TRUE(completeAfterAll(whole));
  EXPECT_TRUE(completeAfterAll(whole + "behind"));
  EXPECT_FALSE(completeAfterAll(""));
  EXPECT_FALSE(completeAfterAll(whole.substr(0, whole.size() - 1)));
  EXPECT_FALSE(completeAfterAll(whole.substr(0, whole.size() - 1) + "?"));
}

}  // namespace
