#include "stream/opackstream.h"

#include "stream/ipackstream.h"
#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

class OpackstreamTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "opackstreamXXXXXX";
    ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
    folder_ = pattern;
    path_ = folder_ + "/file";
  }
  void TearDown() override {
    unlink(path_.c_str());
    ASSERT_EQ(rmdir(folder_.c_str()), 0);
  }

  std::string bytes() const {
    std::ifstream in(path_, std::ios_base::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  std::string folder_;
  std::string path_;
};

TEST_F(OpackstreamTest, WritesHeadersAndContentsLittleEndian) {
  opackstream out(path_, false);
  out.beginPart(0x0102);
  out << "abc";
  out.endPart();
  out.beginPart(3);
  out.endPart();
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(hex(bytes()),
            "1ef1d0ba"
            "0f000000"
            "0201"
            "03000000"
            "616263"
            "0300"
            "00000000");
}

TEST_F(OpackstreamTest, DumbPackageHasItsOwnMagic) {
  opackstream out(path_, true);
  out.close();
  EXPECT_EQ(hex(bytes()),
            "fb0f10a1"
            "00000000");
}

TEST_F(OpackstreamTest, OpeningWritesNothing) {
  opackstream out(path_, false);
  EXPECT_TRUE(out.good());
  out.flush();
  EXPECT_EQ(bytes(), "");
}

TEST_F(OpackstreamTest, ReplacesTheFile) {
  std::ofstream(path_) << std::string(1000, 'x');
  opackstream(path_, false).close();
  EXPECT_EQ(bytes().size(), 8u);
}

TEST_F(OpackstreamTest, DestructorCloses) {
  {
    opackstream out(path_, false);
    out.beginPart(kPartDescription);
    out << "text";
    out.endPart();
  }
  EXPECT_EQ(bytes(), PackBuilder().part(kPartDescription, "text").finish());
}

TEST_F(OpackstreamTest, LargePartsAreWhole) {
  const std::string large(100000, 'x');
  opackstream out(path_, false);
  out.beginPart(kPartArchive);
  out << large;
  out.endPart();
  out.beginPart(kPartOnInstall);
  out << "script";
  out.endPart();
  out.close();
  EXPECT_EQ(bytes(),
            PackBuilder().part(kPartArchive, large).part(kPartOnInstall, "script").finish());
}

TEST_F(OpackstreamTest, ReaderFindsTheParts) {
  {
    opackstream out(path_, true);
    out.beginPart(kPartPackage);
    out << "header";
    out.endPart();
    out.beginPart(kPartImage);
    out.endPart();
  }
  std::istringstream source(bytes());
  ipackstream in(source, true);
  in.accept(kPartPackage);
  in.accept(kPartImage);
  EXPECT_TRUE(in.isDumb());
  EXPECT_EQ(in.totalSize(), bytes().size());
  EXPECT_EQ(in.next(), kPartPackage);
  EXPECT_EQ(in.size(), 6u);
  EXPECT_EQ(in.next(), kPartImage);
  EXPECT_EQ(in.size(), 0u);
  EXPECT_EQ(in.next(), kNoPart);
}

TEST_F(OpackstreamTest, FileThatCannotBeMadeIsAFailedStream) {
  opackstream out(folder_ + "/none/file", false);
  EXPECT_TRUE(out.fail());
  out.beginPart(kPartDescription);
  out << "text";
  out.endPart();
  out.close();
  EXPECT_TRUE(out.fail());
}

TEST_F(OpackstreamTest, FullDiskIsAFailedStream) {
  opackstream out("/dev/full", false);
  out.beginPart(kPartDescription);
  out << "text";
  out.endPart();
  out.close();
  EXPECT_TRUE(out.fail());
}

TEST_F(OpackstreamTest, FailedStreamWritesNothingMore) {
  opackstream out(path_, false);
  out.beginPart(kPartDescription);
  out << "text";
  out.endPart();
  out.flush();
  const std::string before = bytes();
  out.setstate(std::ios_base::failbit);
  out.beginPart(kPartArchitecture);
  out << "mipsel";
  out.endPart();
  out.close();
  EXPECT_EQ(bytes(), before);  // without a file header, nobody takes it for a package
}

TEST_F(OpackstreamTest, TypeMustFitItsField) {
  opackstream out(path_, false);
  out.beginPart(0x10000);
  EXPECT_TRUE(out.fail());
}

TEST_F(OpackstreamTest, PartsDoNotNest) {
  opackstream out(path_, false);
  out.beginPart(kPartDescription);
  out.beginPart(kPartArchitecture);
  EXPECT_TRUE(out.fail());
}

TEST_F(OpackstreamTest, EndWithoutABeginWritesNothing) {
  opackstream out(path_, false);
  out.endPart();
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(bytes(), PackBuilder().finish());
}

TEST_F(OpackstreamTest, PartWithoutAnEndFailsTheFile) {
  opackstream out(path_, false);
  out.beginPart(kPartDescription);
  out << "text";
  out.close();
  EXPECT_TRUE(out.fail());
  EXPECT_EQ(get32(reinterpret_cast<const unsigned char*>(bytes().data())), 0u);
}

}  // namespace
