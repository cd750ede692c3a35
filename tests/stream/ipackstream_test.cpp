#include "stream/ipackstream.h"

#include "stream/ifilestream.h"
#include "tests/stream/sha1text.h"
#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"
#include "tests/support/sign.h"
#include "tests/support/tree.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Bytes in memory that count how they are taken.
class CountingSource : public std::stringbuf {
 public:
  explicit CountingSource(const std::string& data) : std::stringbuf(data, std::ios_base::in) {}

  bool seekable = true;
  int seeks = 0;
  std::streamsize largestRead = 0;
  std::uint64_t bytesRead = 0;

 protected:
  std::streamsize xsgetn(char* out, std::streamsize count) override {
    largestRead = std::max(largestRead, count);
    const std::streamsize got = std::stringbuf::xsgetn(out, count);
    bytesRead += static_cast<std::uint64_t>(got);
    return got;
  }
  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode which) override {
    ++seeks;
    return seekable ? std::stringbuf::seekoff(offset, way, which) : pos_type(off_type(-1));
  }
  pos_type seekpos(pos_type target, std::ios_base::openmode which) override {
    ++seeks;
    return seekable ? std::stringbuf::seekpos(target, which) : pos_type(off_type(-1));
  }
};

// A package stream over bytes in memory, with everything that belongs to it.
class Pack {
 public:
  enum Mode { kPlain, kHash, kCopy, kHashAndCopy };

  explicit Pack(const std::string& bytes, Mode mode = kHashAndCopy)
      : source(bytes),
        sourceStream(&source),
        in(sourceStream, mode == kHash || mode == kHashAndCopy,
           mode == kCopy || mode == kHashAndCopy ? &sink : nullptr) {}

  Pack& accept(const std::vector<std::uint32_t>& types) {
    for (std::uint32_t type : types) in.accept(type);
    return *this;
  }

  std::string read(std::size_t count) {
    std::string data(count, '\0');
    in.read(&data[0], static_cast<std::streamsize>(count));
    data.resize(static_cast<std::size_t>(in.gcount()));
    return data;
  }
  std::string readPart() { return read(in.remaining()); }

  // The ready digest in hex digits, or nothing.
  std::string digest() {
    unsigned char bytes[SHA1::kDigestSize];
    return in.signature(bytes) ? hex(std::string(bytes, bytes + sizeof bytes)) : std::string();
  }
  std::string copied() const { return sink.str(); }
  std::streamoff tell() { return in.rdbuf()->pubseekoff(0, std::ios_base::cur); }
  // Where a seek of the buffer came to, -1 when it was refused.
  std::streamoff seek(std::streamoff offset, std::ios_base::seekdir way = std::ios_base::beg) {
    return in.rdbuf()->pubseekoff(offset, way);
  }

  CountingSource source;
  std::istream sourceStream;
  std::stringbuf sink;
  ipackstream in;
};

const Pack::Mode kModes[] = {Pack::kPlain, Pack::kHash, Pack::kCopy, Pack::kHashAndCopy};

bool isAtEnd(const std::istream& in) { return in.fail() && in.eof() && !in.bad(); }

// --- The file header

TEST(IpackStream, TakesBothMagics) {
  EXPECT_TRUE(Pack(PackBuilder().finish()).in.good());
  EXPECT_FALSE(Pack(PackBuilder().finish()).in.isDumb());
  EXPECT_TRUE(Pack(PackBuilder(true).finish()).in.good());
  EXPECT_TRUE(Pack(PackBuilder(true).finish()).in.isDumb());
}

TEST(IpackStream, UnknownMagicFailsTheStreamAndIsCopied) {
  std::string bytes = PackBuilder().part(kPartDescription, "text").finish();
  bytes[0] = static_cast<char>(bytes[0] ^ 1);
  Pack pack(bytes);
  pack.accept({kPartDescription});
  EXPECT_TRUE(pack.in.fail());
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_TRUE(isAtEnd(pack.in));
  EXPECT_EQ(pack.copied(), bytes.substr(0, FileHeader::kSize));
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, ShortFileHeaderFailsTheStreamAndIsNotCopied) {
  const std::string header = PackBuilder().finish();
  for (std::size_t size = 0; size < FileHeader::kSize; ++size) {
    Pack pack(header.substr(0, size));
    EXPECT_TRUE(pack.in.fail()) << size;
    EXPECT_EQ(pack.in.next(), kNoPart) << size;
    EXPECT_TRUE(isAtEnd(pack.in)) << size;
    EXPECT_EQ(pack.copied(), "") << size;
    EXPECT_EQ(pack.in.totalSize(), 0u) << size;
    EXPECT_EQ(pack.in.position(), 0u) << size;
    EXPECT_FALSE(pack.in.isDumb()) << size;
  }
}

TEST(IpackStream, TotalSizeIsTheLengthFieldAndTheHeader) {
  Pack pack(PackBuilder().part(kPartDescription, "text").finish());
  EXPECT_EQ(pack.in.totalSize(), 8u + 6u + 4u);
}

TEST(IpackStream, TotalSizeDoesNotWrap) {
  std::string bytes = PackBuilder().finish();
  bytes.replace(4, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(Pack(bytes).in.totalSize(), 0x100000007u);
}

TEST(IpackStream, FileHeaderIsNotHashed) {
  for (bool dumb : {false, true}) {
    Pack pack(PackBuilder(dumb).header("a", 1).finish());
    EXPECT_EQ(pack.in.next(), kNoPart);
    EXPECT_EQ(pack.digest(), hex(PackBuilder().header("a", 1).digest()));
  }
}

TEST(IpackStream, OnlyAFileHeaderEndsAtOnceWithTheDigestOfNothing) {
  Pack pack(PackBuilder().finish());
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_TRUE(isAtEnd(pack.in));
  EXPECT_EQ(pack.digest(), kDigestOfNothing);
}

// --- Moving from part to part

TEST(IpackStream, TypeIsZeroBeforeTheFirstPart) {
  Pack pack(PackBuilder().part(kPartDescription, "text").finish());
  pack.accept({kPartDescription});
  EXPECT_EQ(pack.in.type(), 0u);
  EXPECT_EQ(pack.in.get(), EOF);
}

TEST(IpackStream, WalksTheAcceptedParts) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder()
                  .part(kPartDescription, "text")
                  .part(kPartArchitecture, "mipsel")
                  .part(kPartOnInstall, "script")
                  .finish(),
              mode);
    pack.accept({kPartDescription, kPartOnInstall});
    EXPECT_EQ(pack.in.next(), kPartDescription);
    EXPECT_EQ(pack.in.type(), kPartDescription);
    EXPECT_EQ(pack.readPart(), "text");
    EXPECT_EQ(pack.in.next(), kPartOnInstall);
    EXPECT_EQ(pack.readPart(), "script");
    EXPECT_EQ(pack.in.next(), kNoPart);
    EXPECT_EQ(pack.in.type(), kNoPart);
    EXPECT_TRUE(isAtEnd(pack.in));
    EXPECT_EQ(pack.in.next(), kNoPart);
  }
}

TEST(IpackStream, UnacceptedPartsAreHashedAndCopied) {
  const PackBuilder file = PackBuilder()
                               .header("a", 1)
                               .part(kPartArchitecture, "mipsel")
                               .part(kPartDescription, "text")
                               .part(0xFFFF, "unknown");
  Pack pack(file.finish());
  pack.accept({kPartDescription});
  EXPECT_EQ(pack.in.next(), kPartDescription);
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.digest(), hex(file.digest()));
  EXPECT_EQ(pack.copied(), file.finish());
}

TEST(IpackStream, AcceptingATypeTwiceChangesNothing) {
  Pack pack(PackBuilder().part(kPartDescription, "text").finish());
  pack.accept({kPartDescription, kPartDescription});
  EXPECT_EQ(pack.in.next(), kPartDescription);
  EXPECT_EQ(pack.in.next(), kNoPart);
}

TEST(IpackStream, PartOfLengthZeroReadsAsEndOfFile) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder().part(kPartImage, "").part(kPartDescription, "text").finish(), mode);
    pack.accept({kPartImage, kPartDescription});
    EXPECT_EQ(pack.in.next(), kPartImage);
    EXPECT_TRUE(pack.in.good());
    EXPECT_EQ(pack.in.size(), 0u);
    EXPECT_EQ(pack.in.peek(), EOF);
    EXPECT_TRUE(pack.in.eof());
    EXPECT_EQ(pack.in.next(), kPartDescription);
    EXPECT_EQ(pack.readPart(), "text");
  }
}

TEST(IpackStream, ReadingWhatIsLeftSetsNoEndOfFile) {
  Pack pack(PackBuilder().part(kPartDescription, "text").part(kPartImage, "").finish());
  pack.accept({kPartDescription, kPartImage});
  pack.in.next();
  EXPECT_EQ(pack.read(4), "text");
  EXPECT_TRUE(pack.in.good());
  EXPECT_EQ(pack.in.next(), kPartImage);
}

TEST(IpackStream, NextClearsTheEndOfFileOfThePartBefore) {
  Pack pack(PackBuilder().part(kPartDescription, "text").part(kPartImage, "x").finish());
  pack.accept({kPartDescription, kPartImage});
  pack.in.next();
  pack.read(4);
  EXPECT_EQ(pack.in.peek(), EOF);
  EXPECT_TRUE(pack.in.eof());
  EXPECT_EQ(pack.in.next(), kPartImage);
  EXPECT_TRUE(pack.in.good());
}

TEST(IpackStream, ReadingPastThePartFailsTheStreamForGood) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder().part(kPartDescription, "text").part(kPartImage, "more").finish(), mode);
    pack.accept({kPartDescription, kPartImage});
    pack.in.next();
    EXPECT_EQ(pack.read(5), "text");  // and no byte of the next part
    EXPECT_TRUE(isAtEnd(pack.in));
    EXPECT_EQ(pack.in.next(), kNoPart);
    EXPECT_EQ(pack.in.type(), kNoPart);
  }
}

TEST(IpackStream, BadStreamHasNoNextPart) {
  Pack pack(PackBuilder().part(kPartDescription, "text").finish());
  pack.accept({kPartDescription});
  pack.in.setstate(std::ios_base::badbit);
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_TRUE(pack.in.fail());
  EXPECT_TRUE(pack.in.eof());
}

TEST(IpackStream, RestOfAPartIsSkipped) {
  for (Pack::Mode mode : kModes) {
    const std::string large(10000, 'x');
    for (std::size_t read : {0u, 1u, 5000u, 9999u, 10000u}) {
      Pack pack(PackBuilder().part(kPartArchive, large).part(kPartImage, "more").finish(), mode);
      pack.accept({kPartArchive, kPartImage});
      pack.in.next();
      EXPECT_EQ(pack.read(read), large.substr(0, read));
      EXPECT_EQ(pack.in.next(), kPartImage) << read;
      EXPECT_EQ(pack.readPart(), "more") << read;
    }
  }
}

TEST(IpackStream, SkipsBySeekingWhenNothingIsHashedOrCopied) {
  Pack pack(PackBuilder().part(kPartArchive, std::string(10000, 'x')).part(kPartImage, "").finish(),
            Pack::kPlain);
  pack.accept({kPartImage});
  EXPECT_EQ(pack.in.next(), kPartImage);
  EXPECT_EQ(pack.source.bytesRead, 8u + 6u + 6u);
  EXPECT_EQ(pack.source.seeks, 1);
}

TEST(IpackStream, SkipsByReadingWhenTheSourceCannotSeek) {
  Pack pack(PackBuilder().part(kPartArchive, std::string(10000, 'x')).part(kPartImage, "").finish(),
            Pack::kPlain);
  pack.source.seekable = false;
  pack.accept({kPartImage});
  EXPECT_EQ(pack.in.next(), kPartImage);
  EXPECT_EQ(pack.source.bytesRead, 8u + 6u + 10000u + 6u);
  EXPECT_EQ(pack.source.largestRead, 4096);
}

TEST(IpackStream, SkipsByReadingWhenHashingOrCopying) {
  for (Pack::Mode mode : {Pack::kHash, Pack::kCopy, Pack::kHashAndCopy}) {
    Pack pack(
        PackBuilder().part(kPartArchive, std::string(10000, 'x')).part(kPartImage, "").finish(),
        mode);
    pack.accept({kPartImage});
    EXPECT_EQ(pack.in.next(), kPartImage);
    EXPECT_EQ(pack.source.seeks, 0);
    EXPECT_EQ(pack.source.largestRead, 4096);
  }
}

TEST(IpackStream, TruncatedPartHeaderEndsTheFile) {
  const std::string bytes = PackBuilder().header("a", 1).finish();
  for (Pack::Mode mode : kModes) {
    for (std::size_t size = 1; size < PartHeader::kSize; ++size) {
      Pack pack(bytes + std::string(size, '\1'), mode);
      pack.accept({kPartPackage, 0x0101});
      EXPECT_EQ(pack.in.next(), kPartPackage);
      EXPECT_EQ(pack.in.next(), kNoPart);
      EXPECT_TRUE(isAtEnd(pack.in));
    }
  }
}

TEST(IpackStream, TruncatedPartHeaderIsNeitherCopiedNorHashed) {
  const PackBuilder file = PackBuilder().header("a", 1);
  Pack pack(file.finish() + "stray");
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.copied(), file.finish());
  EXPECT_EQ(pack.digest(), hex(file.digest()));
}

TEST(IpackStream, TruncatedContentsFailTheStreamWithoutADigest) {
  const PackBuilder file = PackBuilder().header("a", 1).part(kPartArchive, std::string(9000, 'x'));
  const std::string bytes = file.finish();
  for (std::size_t missing : {1u, 5000u, 9000u}) {
    Pack pack(bytes.substr(0, bytes.size() - missing));
    pack.accept({kPartArchive});
    EXPECT_EQ(pack.in.next(), kPartArchive);
    EXPECT_EQ(pack.in.next(), kNoPart);
    EXPECT_TRUE(isAtEnd(pack.in));
    EXPECT_EQ(pack.digest(), "");
    EXPECT_EQ(pack.copied(), bytes.substr(0, bytes.size() - missing));
  }
}

TEST(IpackStream, TruncatedContentsReadShort) {
  const std::string bytes = PackBuilder().part(kPartDescription, "text").finish();
  for (Pack::Mode mode : kModes) {
    Pack pack(bytes.substr(0, bytes.size() - 1), mode);
    pack.accept({kPartDescription});
    EXPECT_EQ(pack.in.next(), kPartDescription);
    EXPECT_EQ(pack.read(4), "tex");
    EXPECT_TRUE(isAtEnd(pack.in));
    EXPECT_EQ(pack.in.next(), kNoPart);
  }
}

// --- Where the stream stands

TEST(IpackStream, OffsetAndSizeAreThoseOfTheCurrentPart) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder().part(kPartDescription, "text").part(kPartImage, "more text").finish(),
              mode);
    pack.accept({kPartDescription, kPartImage});
    EXPECT_EQ(pack.in.offset(), 8u);
    EXPECT_EQ(pack.in.size(), 0u);
    pack.in.next();
    EXPECT_EQ(pack.in.offset(), 8u + 6u);
    EXPECT_EQ(pack.in.size(), 4u);
    pack.read(3);
    EXPECT_EQ(pack.in.offset(), 8u + 6u);
    EXPECT_EQ(pack.in.size(), 4u);
    EXPECT_EQ(pack.in.remaining(), 1u);
    EXPECT_EQ(pack.in.position(), 8u + 6u + 3u);
    pack.in.next();
    EXPECT_EQ(pack.in.offset(), 8u + 6u + 4u + 6u);
    EXPECT_EQ(pack.in.size(), 9u);
    EXPECT_EQ(pack.in.remaining(), 9u);
    EXPECT_EQ(pack.in.position(), 8u + 6u + 4u + 6u);
  }
}

TEST(IpackStream, PositionAtTheEndIsTheTotalSize) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder().part(kPartDescription, "text").finish(), mode);
    pack.accept({kPartDescription});
    pack.in.next();
    pack.in.next();
    EXPECT_EQ(pack.in.position(), pack.in.totalSize());
  }
}

TEST(IpackStream, PositionIsKnownAfterAFailure) {
  const std::string bytes = PackBuilder().part(kPartDescription, "text").finish();
  Pack pack(bytes.substr(0, bytes.size() - 1));
  pack.accept({kPartDescription});
  pack.in.next();
  pack.read(4);
  ASSERT_TRUE(pack.in.fail());
  EXPECT_EQ(pack.in.tellg(), -1);
  EXPECT_EQ(pack.in.position(), bytes.size() - 1);
}

// Follows every seek, so that parts of 4 GiB can stand behind each other without their bytes.
class BottomlessSource : public std::stringbuf {
 public:
  explicit BottomlessSource(const std::string& data) : std::stringbuf(data, std::ios_base::in) {}

 protected:
  pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override {
    return pos_type(0);
  }
};

TEST(IpackStream, OffsetPast4GibStaysAtItsLargestValue) {
  const std::uint32_t most = 0xFFFFFFFF;
  BottomlessSource source(PackBuilder()
                              .partHeader(kPartArchive, most)
                              .partHeader(kPartArchive, most)
                              .partHeader(kPartArchive, most)
                              .finish());
  std::istream stream(&source);
  ipackstream in(stream, false);
  in.accept(kPartArchive);
  EXPECT_EQ(in.next(), kPartArchive);
  EXPECT_EQ(in.offset(), 14u);
  EXPECT_EQ(in.next(), kPartArchive);
  EXPECT_EQ(in.offset(), most);
  EXPECT_EQ(in.next(), kPartArchive);
  EXPECT_EQ(in.offset(), most);
  EXPECT_EQ(in.size(), most);
  EXPECT_EQ(in.remaining(), most);
}

TEST(IpackStream, PositionPast4GibNeverGoesBack) {
  const std::uint32_t most = 0xFFFFFFFF;
  BottomlessSource source(PackBuilder()
                              .partHeader(kPartArchive, most)
                              .partHeader(kPartArchive, most)
                              .partHeader(kPartImage, 5)
                              .raw("image")
                              .finish());
  std::istream stream(&source);
  ipackstream in(stream, false);
  in.accept(kPartArchive);
  in.accept(kPartImage);
  EXPECT_EQ(in.next(), kPartArchive);
  EXPECT_EQ(in.next(), kPartArchive);
  EXPECT_EQ(in.position(), 14u + 6u + std::uint64_t{most});
  EXPECT_EQ(in.next(), kPartImage);
  EXPECT_EQ(in.position(), 14u + 2 * (6u + std::uint64_t{most}));
  EXPECT_EQ(in.get(), 'i');
  EXPECT_EQ(in.position(), 14u + 2 * (6u + std::uint64_t{most}) + 1);
  EXPECT_EQ(in.offset(), most);
}

// The bytes of a sparse file, really passed over.
TEST(IpackStream, PositionIsThatOfALargeFile) {
  const std::uint32_t most = 0xFFFFFFFF;
  const std::string first = PackBuilder().partHeader(kPartArchive, most).finish();
  const std::string second = PackBuilder().part(kPartImage, "image").finish().substr(8);
  const std::uint64_t place = first.size() + std::uint64_t{most};
  const TempFolder temp;
  const std::string path = temp.path() + "/large";
  writeFile(path, first);
  std::fstream file(path, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
  file.seekp(static_cast<std::streamoff>(place));
  file << second;
  file.close();
  ASSERT_TRUE(file);

  ifilestream stream(path);
  ipackstream in(stream, false);
  in.accept(kPartImage);
  EXPECT_EQ(in.next(), kPartImage);
  EXPECT_EQ(in.position(), place + 6);
  EXPECT_EQ(in.get(), 'i');
  EXPECT_EQ(in.position(), place + 7);
}

TEST(IpackStream, PositionInALargePartDoesNotWrap) {
  const std::uint32_t most = 0xFFFFFFFF;
  BottomlessSource source(PackBuilder().partHeader(kPartArchive, most).finish());
  std::istream stream(&source);
  ipackstream in(stream, false);
  in.accept(kPartArchive);
  in.next();
  EXPECT_EQ(in.rdbuf()->pubseekpos(most), std::streamoff{most});
  EXPECT_EQ(in.position(), 14u + std::uint64_t{most});
  EXPECT_EQ(in.remaining(), 0u);
}

// --- The digest

TEST(IpackStream, DigestCoversAPackageFromItsHeaderToTheNext) {
  const PackBuilder first = PackBuilder().header("a", 1).part(kPartArchive, "first");
  const PackBuilder second = PackBuilder().header("b", 2).part(kPartArchive, "second");
  const std::string bundle = PackBuilder().bundleHeader("ab", 3).finish();
  Pack pack(bundle + first.finish().substr(8) + second.finish().substr(8));
  pack.accept({kPartPackage});
  EXPECT_EQ(pack.in.next(), kPartPackage);
  EXPECT_EQ(pack.digest(), sha1(bundle.substr(8)));
  EXPECT_EQ(pack.in.next(), kPartPackage);
  EXPECT_EQ(pack.digest(), hex(first.digest()));
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.digest(), hex(second.digest()));
}

TEST(IpackStream, DigestIsFinalisedAtAPackageHeaderThatIsNotAccepted) {
  const PackBuilder first = PackBuilder().header("a", 1);
  const PackBuilder second = PackBuilder().header("b", 2);
  Pack pack(first.finish() + second.finish().substr(8));
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.digest(), hex(second.digest()));
}

TEST(IpackStream, DigestIsTheSameHoweverThePackageIsRead) {
  const PackBuilder file = PackBuilder().header("a", 1).part(kPartArchive, std::string(9000, 'x'));
  for (std::size_t step : {0u, 1u, 7u, 4096u, 9000u}) {
    Pack pack(file.finish());
    pack.accept({kPartArchive});
    pack.in.next();
    for (std::size_t left = 9000; step > 0 && left > 0; left -= std::min(step, left)) {
      pack.read(std::min(step, left));
    }
    EXPECT_EQ(pack.in.next(), kNoPart);
    EXPECT_EQ(pack.digest(), hex(file.digest())) << step;
  }
}

TEST(IpackStream, DigestIsDeliveredOnce) {
  Pack pack(PackBuilder().header("a", 1).finish());
  pack.in.next();
  EXPECT_NE(pack.digest(), "");
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, NoDigestIsReadyInsideAPackage) {
  Pack pack(PackBuilder().bundleHeader("b", 1).part(kPartArchive, "x").finish());
  pack.accept({kPartBundle, kPartArchive});
  EXPECT_EQ(pack.digest(), "");
  pack.in.next();
  EXPECT_EQ(pack.digest(), "");
  pack.in.next();
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, DigestIsDroppedAtThePartAfterThePackageHeader) {
  Pack pack(PackBuilder().header("a", 1).header("b", 2).part(kPartArchive, "x").finish());
  pack.accept({kPartArchive});
  EXPECT_EQ(pack.in.next(), kPartArchive);
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, DigestIsDroppedAtAPartThatIsNotAccepted) {
  const std::string bytes =
      PackBuilder().header("a", 1).header("b", 2).part(kPartDescription, "x").finish();
  Pack pack(bytes.substr(0, bytes.size() - 1));
  pack.accept({kPartPackage});
  pack.in.next();
  pack.in.next();  // the digest of "a" is ready
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, DigestIsDroppedWhenThePackageHeaderIsCutShort) {
  const std::string bytes = PackBuilder().header("a", 1).header("b", 2).finish();
  Pack pack(bytes.substr(0, bytes.size() - 1));
  pack.accept({kPartPackage});
  pack.in.next();
  pack.in.next();
  EXPECT_EQ(pack.in.next(), kNoPart);  // the skip fails
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, DigestIsDroppedWhenTheReaderFailedTheStream) {
  Pack pack(PackBuilder().header("a", 1).header("b", 2).finish());
  pack.accept({kPartPackage});
  pack.in.next();
  pack.in.next();
  pack.read(33);
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, DigestAtTheEndOfTheFileOutlivesAnotherNext) {
  const PackBuilder file = PackBuilder().header("a", 1);
  Pack pack(file.finish());
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.digest(), hex(file.digest()));
}

// The genuine package is passed over, as one that is installed already, and nobody asks for its
// digest; the one behind it has no signature and is read to a place where the digest is asked for.
TEST(IpackStream, DigestOfASkippedPackageNeverVouchesForTheNext) {
  const PackBuilder genuine = PackBuilder().header("a", 1).part(kPartArchive, "genuine");
  const PackBuilder forged = PackBuilder()
                                 .header("b", 1)
                                 .part(kPartArchive, "forged")
                                 .part(kPartBundle, "stops the reader");
  Pack pack(genuine.finish() + forged.finish().substr(8));
  pack.accept({kPartPackage, kPartArchive, kPartBundle});
  ASSERT_EQ(pack.in.next(), kPartPackage);
  ASSERT_EQ(pack.in.next(), kPartArchive);
  ASSERT_EQ(pack.in.next(), kPartPackage);  // skipped, the digest not taken
  ASSERT_EQ(pack.readPart().size(), 32u);
  ASSERT_EQ(pack.in.next(), kPartArchive);
  ASSERT_EQ(pack.readPart(), "forged");
  EXPECT_EQ(pack.in.next(), kPartBundle);
  EXPECT_EQ(pack.digest(), "");
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.digest(), hex(forged.digest()));
}

// --- The signature part

TEST(IpackStream, SignatureOfThePackageVerifies) {
  for (Pack::Mode mode : {Pack::kHash, Pack::kHashAndCopy}) {
    Pack pack(PackBuilder().header("a", 1).part(kPartArchive, "x").sign().finish(), mode);
    pack.accept({kPartSignature});
    ASSERT_EQ(pack.in.next(), kPartSignature);
    EXPECT_TRUE(pack.in.verifySignature());
    EXPECT_EQ(pack.in.next(), kNoPart);
  }
}

TEST(IpackStream, EachPackageOfABundleHasItsOwnSignature) {
  Pack pack(PackBuilder()
                .bundleHeader("ab", 3)
                .header("a", 1)
                .part(kPartArchive, "x")
                .sign()
                .header("b", 2)
                .part(kPartArchive, "y")
                .sign()
                .finish());
  pack.accept({kPartSignature});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_TRUE(pack.in.verifySignature());
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_TRUE(pack.in.verifySignature());
}

TEST(IpackStream, SignatureOfOtherBytesDoesNotVerify) {
  const std::string bytes =
      PackBuilder().header("a", 1).part(kPartArchive, "genuine").sign().finish();
  std::string forged = bytes;
  forged[bytes.find("genuine")] = 'G';
  Pack pack(forged);
  pack.accept({kPartSignature});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_FALSE(pack.in.verifySignature());
}

TEST(IpackStream, HeaderOfTheSignaturePartIsSigned) {
  const std::string bytes = PackBuilder().header("a", 1).sign("more").finish();
  std::string shorter = bytes.substr(0, bytes.size() - 4);
  const std::size_t length = bytes.size() - 4 - SignatureRecord::kSize - 4;
  ASSERT_EQ(shorter[length], 68 + 4);
  shorter[length] = 68;
  Pack pack(shorter);
  pack.accept({kPartSignature});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_FALSE(pack.in.verifySignature());
}

TEST(IpackStream, BytesBehindTheSignatureRecordAreIgnored) {
  Pack pack(PackBuilder().header("a", 1).sign("more").part(kPartImage, "").finish());
  pack.accept({kPartSignature, kPartImage});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_TRUE(pack.in.verifySignature());
  EXPECT_EQ(pack.in.remaining(), 4u);
  EXPECT_EQ(pack.in.next(), kPartImage);
}

TEST(IpackStream, ShortSignaturePartDoesNotVerify) {
  PackBuilder file = PackBuilder().header("a", 1).partHeader(kPartSignature, 67);
  const std::string digest = file.digest();
  file.raw(digest + std::string(67 - digest.size(), 's')).part(kPartImage, "x");
  Pack pack(file.finish());
  pack.accept({kPartSignature, kPartImage});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_FALSE(pack.in.verifySignature());
  EXPECT_EQ(pack.in.remaining(), 67u);
}

TEST(IpackStream, TruncatedSignatureRecordDoesNotVerify) {
  const std::string bytes = PackBuilder().header("a", 1).sign().finish();
  for (std::size_t missing = 1; missing <= SignatureRecord::kSize; ++missing) {
    Pack pack(bytes.substr(0, bytes.size() - missing));
    pack.accept({kPartSignature});
    ASSERT_EQ(pack.in.next(), kPartSignature);
    EXPECT_FALSE(pack.in.verifySignature()) << missing;
    EXPECT_EQ(pack.in.next(), kNoPart) << missing;
  }
}

// Not even one of the digest that a stream without a hash has, that of nothing.
TEST(IpackStream, SignatureNeedsAHash) {
  const std::string nothing = unhex(kDigestOfNothing);
  const std::string record = signatureFor(reinterpret_cast<const unsigned char*>(nothing.data()));
  Pack pack(PackBuilder().header("a", 1).part(kPartSignature, record).finish(), Pack::kCopy);
  pack.accept({kPartSignature});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_FALSE(pack.in.verifySignature());
  EXPECT_EQ(pack.digest(), "");
}

TEST(IpackStream, OnlyASignaturePartIsTakenForOne) {
  PackBuilder file = PackBuilder().header("a", 1).partHeader(kPartArchive, SignatureRecord::kSize);
  const std::string digest = file.digest();
  file.raw(signatureFor(reinterpret_cast<const unsigned char*>(digest.data())));
  Pack pack(file.finish());
  pack.accept({kPartArchive});
  ASSERT_EQ(pack.in.next(), kPartArchive);
  EXPECT_FALSE(pack.in.verifySignature());
}

TEST(IpackStream, FailedStreamVerifiesNothing) {
  Pack pack(PackBuilder().header("a", 1).sign().finish());
  pack.accept({kPartSignature});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  pack.in.setstate(std::ios_base::failbit);
  EXPECT_FALSE(pack.in.verifySignature());
}

TEST(IpackStream, SignatureRecordIsCopiedButNotHashed) {
  const PackBuilder file = PackBuilder().header("a", 1).sign("tail").part(kPartImage, "image");
  Pack pack(file.finish());
  pack.accept({kPartSignature});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  ASSERT_TRUE(pack.in.verifySignature());
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.copied(), file.finish());
  // The hash started again behind the header of the signature part.
  EXPECT_EQ(pack.digest(),
            sha1("tail" + PackBuilder().part(kPartImage, "image").finish().substr(8)));
}

TEST(IpackStream, DigestIsReadyAfterVerifying) {
  PackBuilder file = PackBuilder().header("a", 1).partHeader(kPartSignature, 68);
  const std::string digest = file.digest();
  Pack pack(file.raw(std::string(68, '\0')).finish());
  pack.accept({kPartSignature});
  ASSERT_EQ(pack.in.next(), kPartSignature);
  EXPECT_FALSE(pack.in.verifySignature());
  EXPECT_EQ(pack.digest(), hex(digest));
}

// --- The copy

TEST(IpackStream, CopyIsTheFileWhateverIsRead) {
  const std::string bytes = PackBuilder()
                                .bundleHeader("b", 1)
                                .header("a", 1)
                                .part(kPartDescription, "text")
                                .part(kPartArchive, std::string(9000, 'x'))
                                .part(kPartImage, "")
                                .sign()
                                .finish();
  const std::vector<std::vector<std::uint32_t>> readers = {
      {}, {kPartArchive}, {kPartPackage, kPartBundle, kPartArchive, kPartSignature}};
  for (Pack::Mode mode : {Pack::kCopy, Pack::kHashAndCopy}) {
    for (const auto& types : readers) {
      for (std::size_t step : {0u, 1u, 5000u}) {
        Pack pack(bytes, mode);
        pack.accept(types);
        while (pack.in.next() != kNoPart) {
          pack.read(std::min<std::size_t>(step, pack.in.remaining()));
        }
        EXPECT_EQ(pack.copied(), bytes) << step;
      }
    }
  }
}

class FullSink : public std::streambuf {};

TEST(IpackStream, PackageIsReadThoughTheCopyFails) {
  const PackBuilder file = PackBuilder().header("a", 1).part(kPartDescription, "text");
  std::istringstream source(file.finish());
  FullSink sink;
  ipackstream in(source, true, &sink);
  in.accept(kPartDescription);
  ASSERT_EQ(in.next(), kPartDescription);
  std::string text;
  in >> text;
  EXPECT_EQ(text, "text");
}

// --- Reading single characters and putting them back

TEST(IpackStream, ReadsByteByByteToTheEndOfThePart) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder().part(kPartDescription, "te\xFFt").part(kPartImage, "x").finish(), mode);
    pack.accept({kPartDescription});
    pack.in.next();
    EXPECT_EQ(pack.in.peek(), 't');
    EXPECT_EQ(pack.in.remaining(), 4u);  // looking takes nothing
    EXPECT_EQ(pack.in.get(), 't');
    EXPECT_EQ(pack.in.remaining(), 3u);
    EXPECT_EQ(pack.in.get(), 'e');
    EXPECT_EQ(pack.in.get(), 0xFF);
    EXPECT_EQ(pack.in.get(), 't');
    EXPECT_EQ(pack.in.get(), EOF);
    EXPECT_TRUE(isAtEnd(pack.in));
  }
}

TEST(IpackStream, TruncatedPartReadsByteByByteToTheEndOfTheSource) {
  const std::string bytes = PackBuilder().part(kPartDescription, "text").finish();
  Pack pack(bytes.substr(0, bytes.size() - 3));
  pack.accept({kPartDescription});
  pack.in.next();
  EXPECT_EQ(pack.in.get(), 't');
  EXPECT_EQ(pack.in.rdbuf()->sgetc(), EOF);
  EXPECT_EQ(pack.in.rdbuf()->sbumpc(), EOF);
  EXPECT_EQ(pack.in.remaining(), 3u);
  EXPECT_EQ(pack.copied(), bytes.substr(0, bytes.size() - 3));
}

TEST(IpackStream, NothingCanBePutBackAtTheStartOfAPart) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder().part(kPartImage, "abc").part(kPartDescription, "text").finish(), mode);
    pack.accept({kPartDescription});
    EXPECT_EQ(pack.in.rdbuf()->sungetc(), EOF);
    pack.in.next();
    EXPECT_EQ(pack.in.rdbuf()->sungetc(), EOF);
    EXPECT_EQ(pack.in.rdbuf()->sputbackc('c'), EOF);
    EXPECT_EQ(pack.readPart(), "text");
  }
}

TEST(IpackStream, CharactersPutBackAreReadAgain) {
  for (Pack::Mode mode : kModes) {
    Pack pack(PackBuilder().part(kPartDescription, "text").finish(), mode);
    pack.accept({kPartDescription});
    pack.in.next();
    EXPECT_EQ(pack.read(3), "tex");
    EXPECT_NE(pack.in.rdbuf()->sungetc(), EOF);
    EXPECT_EQ(pack.in.rdbuf()->sputbackc('e'), 'e');
    EXPECT_EQ(pack.in.remaining(), 3u);
    EXPECT_EQ(pack.in.position(), 8u + 6u + 1u);
    EXPECT_EQ(pack.in.get(), 'e');
    EXPECT_EQ(pack.readPart(), "xt");
  }
}

TEST(IpackStream, OtherCharacterThanTheLastIsRefused) {
  Pack pack(PackBuilder().part(kPartDescription, "text").finish());
  pack.accept({kPartDescription});
  pack.in.next();
  pack.read(2);
  EXPECT_EQ(pack.in.rdbuf()->sputbackc('x'), EOF);  // this source is read-only
  EXPECT_EQ(pack.in.remaining(), 2u);
}

TEST(IpackStream, CharactersPutBackAreNotHashedOrCopiedAgain) {
  const PackBuilder file =
      PackBuilder().header("a", 1).part(kPartDescription, "0123456789").part(kPartImage, "x");
  for (std::size_t back = 1; back <= 5; ++back) {
    for (std::size_t again : {0u, 1u, 3u, 8u, 10u}) {
      for (bool single : {false, true}) {
        Pack pack(file.finish());
        pack.accept({kPartDescription});
        pack.in.next();
        pack.read(5);
        for (std::size_t i = 0; i < back; ++i) pack.in.unget();
        const std::size_t count = std::min<std::size_t>(again, pack.in.remaining());
        if (single) {
          for (std::size_t i = 0; i < count; ++i) pack.in.get();
        } else {
          pack.read(count);
        }
        EXPECT_EQ(pack.in.next(), kNoPart);
        EXPECT_EQ(pack.digest(), hex(file.digest())) << back << " " << again;
        EXPECT_EQ(pack.copied(), file.finish()) << back << " " << again;
      }
    }
  }
}

// --- Positioning inside a part

class IpackStreamSeek : public testing::Test {
 protected:
  IpackStreamSeek() {
    for (int i = 0; i < 10000; ++i) data_ += static_cast<char>(i % 251);
  }

  // Standing ten bytes into the part.
  void begin(Pack& pack) {
    pack.accept({kPartArchive, kPartImage});
    ASSERT_EQ(pack.in.next(), kPartArchive);
    ASSERT_EQ(pack.read(10), data_.substr(0, 10));
  }
  std::string file() const {
    return PackBuilder().header("a", 1).part(kPartArchive, data_).part(kPartImage, "x").finish();
  }

  std::string data_;
};

TEST_F(IpackStreamSeek, PositionsCountFromTheStartOfThePart) {
  for (Pack::Mode mode : kModes) {
    Pack pack(file(), mode);
    begin(pack);
    EXPECT_EQ(pack.in.tellg(), 10);
    EXPECT_EQ(pack.seek(20), 20);
    EXPECT_EQ(pack.read(3), data_.substr(20, 3));
    EXPECT_EQ(pack.in.tellg(), 23);
    EXPECT_EQ(pack.in.next(), kPartImage);
    EXPECT_EQ(pack.in.tellg(), 0);
  }
}

TEST_F(IpackStreamSeek, RelativeToThePosition) {
  for (Pack::Mode mode : kModes) {
    Pack pack(file(), mode);
    begin(pack);
    EXPECT_EQ(pack.seek(5000, std::ios_base::cur), 5010);
    EXPECT_EQ(pack.read(3), data_.substr(5010, 3));
  }
}

TEST_F(IpackStreamSeek, RelativeToTheEndCountsBackwards) {
  for (Pack::Mode mode : kModes) {
    Pack pack(file(), mode);
    begin(pack);
    EXPECT_EQ(pack.seek(-3, std::ios_base::end), -1);
    EXPECT_EQ(pack.seek(3, std::ios_base::end), 9997);
    EXPECT_EQ(pack.readPart(), data_.substr(9997));
  }
}

TEST_F(IpackStreamSeek, EndOfThePartIsTheLastPosition) {
  for (Pack::Mode mode : kModes) {
    Pack pack(file(), mode);
    begin(pack);
    EXPECT_EQ(pack.seek(10001), -1);
    EXPECT_EQ(pack.in.rdbuf()->pubseekpos(10001), -1);
    EXPECT_EQ(pack.seek(9991, std::ios_base::cur), -1);
    EXPECT_EQ(pack.tell(), 10);
    EXPECT_EQ(pack.seek(10000), 10000);
    EXPECT_EQ(pack.in.get(), EOF);
  }
}

TEST_F(IpackStreamSeek, PositionsBeforeThePartAreRefused) {
  for (Pack::Mode mode : kModes) {
    Pack pack(file(), mode);
    begin(pack);
    EXPECT_EQ(pack.seek(-1), -1);
    EXPECT_EQ(pack.seek(-11, std::ios_base::cur), -1);
    EXPECT_EQ(pack.seek(10001, std::ios_base::end), -1);
    EXPECT_EQ(pack.in.rdbuf()->pubseekpos(-1), -1);
    EXPECT_EQ(pack.tell(), 10);
  }
}

TEST_F(IpackStreamSeek, HugeOffsetsAreRefused) {
  const std::streamoff least = std::numeric_limits<std::streamoff>::min();
  const std::streamoff most = std::numeric_limits<std::streamoff>::max();
  for (Pack::Mode mode : kModes) {
    Pack pack(file(), mode);
    begin(pack);
    for (std::streamoff offset : {least, least + 1, most}) {
      EXPECT_EQ(pack.seek(offset, std::ios_base::beg), -1);
      EXPECT_EQ(pack.seek(offset, std::ios_base::cur), -1);
      EXPECT_EQ(pack.seek(offset, std::ios_base::end), -1);
      EXPECT_EQ(pack.in.rdbuf()->pubseekpos(offset), -1);
    }
    EXPECT_EQ(pack.tell(), 10);
  }
}

TEST_F(IpackStreamSeek, GoesBackwardsWhenNothingIsHashedOrCopied) {
  Pack pack(file(), Pack::kPlain);
  begin(pack);
  EXPECT_EQ(pack.seek(4), 4);
  EXPECT_EQ(pack.in.remaining(), 9996u);
  EXPECT_EQ(pack.read(3), data_.substr(4, 3));
  EXPECT_EQ(pack.seek(-7, std::ios_base::cur), 0);
  EXPECT_EQ(pack.readPart(), data_);
  EXPECT_EQ(pack.in.next(), kPartImage);
}

TEST_F(IpackStreamSeek, SeeksTheSourceWhenNothingIsHashedOrCopied) {
  Pack pack(file(), Pack::kPlain);
  begin(pack);
  const std::uint64_t before = pack.source.bytesRead;
  EXPECT_EQ(pack.seek(9000), 9000);
  EXPECT_EQ(pack.source.bytesRead, before);
}

TEST_F(IpackStreamSeek, FailsWhenTheSourceCannotSeek) {
  Pack pack(file(), Pack::kPlain);
  begin(pack);
  pack.source.seekable = false;
  EXPECT_EQ(pack.seek(20), -1);
  EXPECT_EQ(pack.tell(), 10);
  EXPECT_EQ(pack.read(3), data_.substr(10, 3));
}

TEST_F(IpackStreamSeek, OnlyForwardWhenHashingOrCopying) {
  for (Pack::Mode mode : {Pack::kHash, Pack::kCopy, Pack::kHashAndCopy}) {
    Pack pack(file(), mode);
    begin(pack);
    EXPECT_EQ(pack.seek(9), -1);
    EXPECT_EQ(pack.seek(-1, std::ios_base::cur), -1);
    EXPECT_EQ(pack.tell(), 10);
    EXPECT_EQ(pack.seek(10), 10);
    EXPECT_EQ(pack.seek(11), 11);
    EXPECT_EQ(pack.read(3), data_.substr(11, 3));
  }
}

TEST_F(IpackStreamSeek, BytesInBetweenAreHashedAndCopied) {
  const PackBuilder builder =
      PackBuilder().header("a", 1).part(kPartArchive, data_).part(kPartImage, "x");
  Pack pack(file());
  begin(pack);
  EXPECT_EQ(pack.seek(9001), 9001);
  EXPECT_EQ(pack.source.largestRead, 4096);
  EXPECT_EQ(pack.source.seeks, 0);
  EXPECT_EQ(pack.in.next(), kPartImage);
  EXPECT_EQ(pack.in.next(), kNoPart);
  EXPECT_EQ(pack.copied(), file());
  EXPECT_EQ(pack.digest(), hex(builder.digest()));
}

TEST_F(IpackStreamSeek, ForwardOverATruncatedPartFails) {
  Pack pack(file().substr(0, 5000));
  begin(pack);
  EXPECT_EQ(pack.seek(9000), -1);
  EXPECT_EQ(pack.in.next(), kNoPart);
}

TEST_F(IpackStreamSeek, ClearsTheEndOfFile) {
  Pack pack(file(), Pack::kPlain);
  begin(pack);
  pack.readPart();
  EXPECT_EQ(pack.in.peek(), EOF);
  pack.in.seekg(9999);
  EXPECT_EQ(pack.in.get(), static_cast<unsigned char>(data_[9999]));
}

TEST_F(IpackStreamSeek, PackageNeedNotBeginWithItsSource) {
  std::istringstream source("before" + file());
  source.ignore(6);
  ipackstream in(source, false);
  in.accept(kPartArchive);
  ASSERT_EQ(in.next(), kPartArchive);
  in.seekg(5000);
  EXPECT_EQ(in.get(), static_cast<unsigned char>(data_[5000]));
}

TEST(IpackStream, KnowsTheSmallerOfSourceAndPart) {
  const std::string bytes = PackBuilder().part(kPartDescription, "text").finish();
  Pack whole(bytes + "more");
  whole.accept({kPartDescription});
  whole.in.next();
  EXPECT_EQ(whole.in.rdbuf()->in_avail(), 4);
  whole.read(3);
  EXPECT_EQ(whole.in.rdbuf()->in_avail(), 1);
  whole.read(1);
  EXPECT_EQ(whole.in.rdbuf()->in_avail(), 0);

  Pack cut(bytes.substr(0, bytes.size() - 1));
  cut.accept({kPartDescription});
  cut.in.next();
  EXPECT_EQ(cut.in.rdbuf()->in_avail(), 3);
}

// --- Damaged files, against a second reader that has the whole file in memory

struct Part {
  std::uint32_t type;
  std::uint64_t start;
  std::string contents;  // what there is of them
  std::string digest;    // that of the package before, in hex digits, where a new one begins

  bool operator==(const Part& other) const {
    return type == other.type && start == other.start && contents == other.contents &&
           digest == other.digest;
  }
};

struct Reading {
  std::vector<Part> parts;
  std::string endDigest;  // empty when the file does not end behind a part
  std::size_t copied;

  bool operator==(const Reading& other) const {
    return parts == other.parts && endDigest == other.endDigest && copied == other.copied;
  }
};

const unsigned char* at(const std::string& bytes, std::size_t position) {
  return reinterpret_cast<const unsigned char*>(bytes.data()) + position;
}

Reading expectedReading(const std::string& bytes, const std::vector<std::uint32_t>& accepted) {
  Reading reading = {{}, "", 0};
  if (bytes.size() < 8) return reading;
  reading.copied = 8;
  const std::uint32_t magic = get32(at(bytes, 0));
  if (magic != 0xBAD0F11E && magic != 0xA1100FFB) return reading;
  std::size_t position = 8;
  std::size_t hashStart = 8;
  while (bytes.size() - position >= 6) {
    const std::uint32_t type = get16(at(bytes, position));
    const std::uint32_t length = get32(at(bytes, position + 2));
    Part part = {type, position + 6, bytes.substr(position + 6, length), ""};
    if (type == 1) {
      part.digest = sha1(bytes.substr(hashStart, position - hashStart));
      hashStart = position;
    }
    if (std::find(accepted.begin(), accepted.end(), type) != accepted.end()) {
      reading.parts.push_back(part);
    }
    position += 6 + part.contents.size();
    reading.copied = position;
    if (part.contents.size() < length) return reading;
  }
  reading.endDigest = sha1(bytes.substr(hashStart, position - hashStart));
  return reading;
}

Reading actualReading(const std::string& bytes, const std::vector<std::uint32_t>& accepted) {
  Pack pack(bytes);
  pack.accept(accepted);
  Reading reading = {{}, "", 0};
  while (pack.in.next() != kNoPart) {
    Part part = {pack.in.type(), pack.in.offset(), "", pack.digest()};
    while (pack.in.remaining() > 0) {
      const std::string got = pack.read(std::min<std::size_t>(7, pack.in.remaining()));
      part.contents += got;
      if (!pack.in) break;
    }
    reading.parts.push_back(part);
    if (reading.parts.size() > bytes.size()) break;  // does not come to an end
  }
  EXPECT_TRUE(pack.in.fail());
  EXPECT_TRUE(pack.in.eof());
  reading.endDigest = pack.digest();
  reading.copied = pack.copied().size();
  EXPECT_EQ(pack.copied(), bytes.substr(0, reading.copied));
  return reading;
}

// The readers of the program: verifying, reading headers, installing.
const std::vector<std::uint32_t> kReaders[] = {
    {kPartPackage, kPartBundle, kPartImage, kPartArchive, kPartSignature},
    {kPartBundle, kPartPackage, kPartArchitecture, kPartDescription, kPartRequires, kPartProvides,
     kPartConflicts, kPartImage},
    {kPartPackage, kPartBundle, kPartTurnOff, kPartArchitecture, kPartRequires, kPartProvides,
     kPartConflicts, kPartImage, kPartArchive, kPartOnInstall, kPartOnUninstall, kPartSignature},
};

// One part of each type.
std::string smallFile() {
  return PackBuilder()
      .bundleHeader("bundle", 0x03166600)
      .image()
      .list(kPartTurnOff, {})
      .header("a", 0x01026600, 5)
      .part(kPartArchitecture, "mipsel")
      .part(kPartDescription, "text")
      .list(kPartRequires, {{"b", 1, 2, 0}})
      .list(kPartProvides, {})
      .list(kPartConflicts, {})
      .part(kPartOnInstall, "true")
      .part(kPartOnUninstall, "false")
      .archive(ArchiveBuilder().regular("f", "x"))
      .part(kPartSignature, std::string(68, 's'))
      .header("b", 0x01026600)
      .part(40, "unknown")
      .archive(ArchiveBuilder().directory("d"))
      .finish();
}

TEST(IpackStreamDamage, WholeFileReadsAsItWasBuilt) {
  const std::string bytes = smallFile();
  for (const auto& accepted : kReaders) {
    const Reading reading = actualReading(bytes, accepted);
    EXPECT_EQ(reading, expectedReading(bytes, accepted));
    EXPECT_EQ(reading.copied, bytes.size());
    EXPECT_NE(reading.endDigest, "");
  }
  EXPECT_EQ(actualReading(bytes, kReaders[2]).parts.size(), 14u);
}

TEST(IpackStreamDamage, EveryTruncationReadsAsWhatIsThere) {
  const std::string bytes = smallFile();
  for (const auto& accepted : kReaders) {
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
      const std::string cut = bytes.substr(0, size);
      EXPECT_EQ(actualReading(cut, accepted), expectedReading(cut, accepted)) << size;
    }
  }
}

TEST(IpackStreamDamage, EveryFlippedBitReadsAsWhatIsThere) {
  const std::string bytes = smallFile();
  for (const auto& accepted : kReaders) {
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      for (int bit = 0; bit < 8; ++bit) {
        std::string flipped = bytes;
        flipped[place] = static_cast<char>(flipped[place] ^ 1 << bit);
        EXPECT_EQ(actualReading(flipped, accepted), expectedReading(flipped, accepted))
            << place << " bit " << bit;
      }
    }
  }
}

// Without a hash and a copy the stream seeks: the parts are the same.
TEST(IpackStreamDamage, EveryFlippedByteEndsWhenSeeking) {
  const std::string bytes = smallFile();
  for (const auto& accepted : kReaders) {
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      std::string flipped = bytes;
      flipped[place] = static_cast<char>(~flipped[place]);
      const Reading expected = expectedReading(flipped, accepted);
      Pack pack(flipped, Pack::kPlain);
      pack.accept(accepted);
      std::size_t count = 0;
      while (pack.in.next() != kNoPart) {
        ASSERT_LT(count, expected.parts.size()) << place;
        EXPECT_EQ(pack.in.type(), expected.parts[count].type) << place;
        EXPECT_EQ(pack.in.offset(), expected.parts[count].start) << place;
        ++count;
      }
      EXPECT_EQ(count, expected.parts.size()) << place;
    }
  }
}

}  // namespace
