#include "stream/hash.h"

#include "stream/sha1.h"
#include "tests/support/hex.h"

#include <string>

#include <gtest/gtest.h>

namespace {

// Keeps the blocks it is given instead of hashing them.
class BlockRecorder : public Hash {
 public:
  void init() override {
    ++inits;
    blocks.clear();
  }
  void transform() override { blocks.append(block_, block_ + kBlockSize); }
  unsigned digestSize() const override { return 1; }
  void digest(unsigned char* out) override { *out = 0; }

  void pretendCount(std::uint32_t high, std::uint32_t low) {
    countHigh_ = high;
    countLow_ = low;
  }
  std::uint64_t count() const { return std::uint64_t{countHigh_} << 32 | countLow_; }
  std::uint32_t word(unsigned index) const { return blockWord(index); }
  static std::string wordBytes(std::uint32_t word) {
    unsigned char out[4];
    putWord(out, word);
    return std::string(out, out + sizeof out);
  }

  int inits = 0;
  std::string blocks;
};

void update(Hash& hash, const std::string& data) {
  hash.update(data.data(), static_cast<unsigned>(data.size()));
}

std::string hmacSha1(const std::string& key, const std::string& data) {
  SHA1 sha1;
  unsigned char out[SHA1::kDigestSize];
  sha1.hmac(key.data(), static_cast<unsigned>(key.size()), data.data(),
            static_cast<unsigned>(data.size()), out);
  return hex(std::string(out, out + sizeof out));
}

TEST(Hash, InitialisesWithTheFirstUpdateOnly) {
  BlockRecorder hash;
  EXPECT_EQ(hash.inits, 0);
  update(hash, "a");
  EXPECT_EQ(hash.inits, 1);
  update(hash, std::string(200, 'b'));
  hash.finish(false);
  EXPECT_EQ(hash.inits, 1);
}

TEST(Hash, FinishInitialisesWhenNothingWasUpdated) {
  BlockRecorder hash;
  hash.finish(false);
  EXPECT_EQ(hash.inits, 1);
}

TEST(Hash, StartsAfreshAfterFinish) {
  BlockRecorder hash;
  update(hash, std::string(70, 'x'));
  hash.finish(false);
  EXPECT_EQ(hash.count(), 0u);
  update(hash, std::string(64, 'y'));
  EXPECT_EQ(hash.inits, 2);
  EXPECT_EQ(hash.blocks, std::string(64, 'y'));
}

TEST(Hash, TransformsEachTimeABlockIsFull) {
  BlockRecorder hash;
  update(hash, std::string(63, 'a'));
  EXPECT_EQ(hash.blocks.size(), 0u);
  update(hash, "b");
  EXPECT_EQ(hash.blocks, std::string(63, 'a') + "b");
  update(hash, std::string(129, 'c'));
  EXPECT_EQ(hash.blocks.size(), 3u * Hash::kBlockSize);
}

TEST(Hash, UpdateWithNoBytesChangesNothing) {
  BlockRecorder hash;
  update(hash, "a");
  hash.update(nullptr, 0);
  EXPECT_EQ(hash.count(), 1u);
}

TEST(Hash, PadsWithAMarkZerosAndTheBitCount) {
  BlockRecorder hash;
  update(hash, "abc");
  hash.finish(false);
  EXPECT_EQ(hex(hash.blocks),
            hex("abc") + "80" + std::string(2 * (64 - 4 - 8), '0') + "0000000000000018");
}

TEST(Hash, StoresTheBitCountLeastSignificantByteFirstWhenAsked) {
  BlockRecorder hash;
  update(hash, std::string(32, 'a'));  // 256 bits
  hash.finish(true);
  EXPECT_EQ(hex(hash.blocks.substr(56)), "0001000000000000");
}

TEST(Hash, PadsWithinTheBlockUpTo55Bytes) {
  BlockRecorder hash;
  update(hash, std::string(55, 'a'));
  hash.finish(false);
  EXPECT_EQ(hex(hash.blocks), hex(std::string(55, 'a')) + "80" + "00000000000001b8");
}

TEST(Hash, PadsIntoABlockOfItsOwnFrom56Bytes) {
  for (unsigned length = 56; length < 64; ++length) {
    BlockRecorder hash;
    update(hash, std::string(length, 'a'));
    hash.finish(false);
    std::string expected = std::string(length, 'a') + '\x80';
    expected.resize(2 * Hash::kBlockSize - 2);
    expected += static_cast<char>(length * 8 >> 8);
    expected += static_cast<char>(length * 8);
    EXPECT_EQ(hex(hash.blocks), hex(expected)) << length;
  }
}

TEST(Hash, CountCarriesIntoItsHighHalf) {
  BlockRecorder hash;
  hash.pretendCount(0, 0xFFFFFFC0);
  update(hash, std::string(64, 'a'));
  EXPECT_EQ(hash.count(), 0x100000000u);
  EXPECT_EQ(hash.inits, 0);  // a low half of zero alone is not a fresh start
  update(hash, "b");
  EXPECT_EQ(hash.inits, 0);
}

TEST(Hash, BitCountUsesAllSixtyFourBits) {
  BlockRecorder hash;
  hash.pretendCount(0x01234567, 0x89ABCD00);
  hash.finish(false);
  EXPECT_EQ(hex(hash.blocks.substr(56)), "091a2b3c4d5e6800");
}

TEST(Hash, WordsAreBigEndian) {
  BlockRecorder hash;
  update(hash, unhex("0102030480fffe7f"));
  EXPECT_EQ(hash.word(0), 0x01020304u);
  EXPECT_EQ(hash.word(1), 0x80FFFE7Fu);
  EXPECT_EQ(hex(BlockRecorder::wordBytes(0x01020380)), "01020380");
}

// RFC 2202, section 3, all seven cases.
TEST(Hmac, AgreesWithPublishedVectors) {
  EXPECT_EQ(hmacSha1(std::string(20, '\x0b'), "Hi There"),
            "b617318655057264e28bc0b6fb378c8ef146be00");
  EXPECT_EQ(hmacSha1("Jefe", "what do ya want for nothing?"),
            "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
  EXPECT_EQ(hmacSha1(std::string(20, '\xaa'), std::string(50, '\xdd')),
            "125d7342b9ac11cd91a39af48aa17b4f63f175d3");
  EXPECT_EQ(hmacSha1(unhex("0102030405060708090a0b0c0d0e0f10111213141516171819"),
                     std::string(50, '\xcd')),
            "4c9007f4026250c6bc8414f9bf50c86c2d7235da");
  EXPECT_EQ(hmacSha1(std::string(20, '\x0c'), "Test With Truncation"),
            "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04");
  EXPECT_EQ(
      hmacSha1(std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First"),
      "aa4ae5e15272d00e95705637ce8a3b55ed402112");
  EXPECT_EQ(hmacSha1(std::string(80, '\xaa'),
                     "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data"),
            "e8e99d0f45237d786d6bbaa7965c7808bbff1a91");
}

// By definition: a key of 65 bytes stands for its digest, one of 64 bytes for itself.
TEST(Hmac, ReplacesOnlyAKeyLongerThanABlockByItsDigest) {
  SHA1 sha1;
  unsigned char digest[SHA1::kDigestSize];
  update(sha1, std::string(65, 'k'));
  sha1.digest(digest);
  const std::string keyDigest(digest, digest + sizeof digest);
  EXPECT_EQ(hmacSha1(std::string(65, 'k'), "data"), hmacSha1(keyDigest, "data"));
  // Python 3.11: hmac.new(b"k" * 64, b"data", "sha1")
  EXPECT_EQ(hmacSha1(std::string(64, 'k'), "data"), "fd6ac0544a139c8a65af3b45cd347d1f8d6fc5c2");
}

TEST(Hmac, TakesItsKeyAsText) {
  SHA1 sha1;
  unsigned char out[SHA1::kDigestSize];
  sha1.hmac("Jefe", "what do ya want for nothing?", 28, out);
  EXPECT_EQ(hex(std::string(out, out + sizeof out)), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
}

TEST(Hmac, ForgetsWhatWasUpdatedBefore) {
  SHA1 sha1;
  update(sha1, "left over");
  unsigned char out[SHA1::kDigestSize];
  sha1.hmac("Jefe", "what do ya want for nothing?", 28, out);
  EXPECT_EQ(hex(std::string(out, out + sizeof out)), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
}

TEST(Hmac, TakesAnEmptyKeyAndNoData) {
  // Python 3.11: hmac.new(b"", b"", "sha1")
  EXPECT_EQ(hmacSha1("", ""), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d");
}

}  // namespace
