// Every reason for which a package file is refused: such a file, and the words for it.
#include "tools/tpk/read/diagnosis.h"

#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/support/vectors.h"
#include "tools/tpk/read/inputfile.h"

#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t k1_0 = 0x01006600;

class Diagnose : public ::testing::Test {
 protected:
  Diagnosis of(const std::string& bytes) const {
    const std::string path = temp_.path() + "/package.tpk";
    writeFile(path, bytes);
    const InputFile file(path);
    return diagnose(file, readLayout(*file.open(), file.size()));
  }

  // The reasons, one a line: word, offset, explanation; "good" when there is none.
  std::string reasons(const std::string& bytes) const {
    const Diagnosis diagnosis = of(bytes);
    EXPECT_EQ(diagnosis.good, diagnosis.findings.empty());
    std::string text = diagnosis.good ? "good" : "";
    for (const Finding& finding : diagnosis.findings) {
      if (!text.empty()) text += '\n';
      text += std::string(faultWord(finding.fault)) + " @" + std::to_string(finding.offset) + ": " +
              explanation(finding);
    }
    return text;
  }

  static PackBuilder pack(const std::string& name = "one") {
    return PackBuilder().header(name, k1_0);
  }
  static PackBuilder archived() { return pack().part(kPartArchive, std::string(50, 'x')); }
  static std::string shortDigest(const std::string& digest) {
    return hex(digest).substr(0, 10) + "..";
  }

  TempFolder temp_;
};

// With a length in its header that is right.
std::string withLength(std::string bytes) {
  FileHeader header;
  header.setLength(static_cast<std::uint32_t>(bytes.size() - FileHeader::kSize));
  bytes.replace(FileHeader::kLength, 4,
                reinterpret_cast<const char*>(header.bytes) + FileHeader::kLength, 4);
  return bytes;
}

TEST_F(Diagnose, SignedPackageIsGood) {
  const Diagnosis diagnosis = of(archived().sign().finish());
  EXPECT_TRUE(diagnosis.good);
  EXPECT_TRUE(diagnosis.findings.empty());
  EXPECT_FALSE(diagnosis.isBundle);
  ASSERT_EQ(diagnosis.packages.size(), 1U);
  EXPECT_EQ(diagnosis.packages[0].name, "one-1.0");
  EXPECT_FALSE(diagnosis.packages[0].fault);
  EXPECT_FALSE(diagnosis.packages[0].listed);
}

TEST_F(Diagnose, KnownPackageIsGood) {
  const ProductInUse product("a");
  const Diagnosis diagnosis = of(vectorPackage("a-listed.tpk"));
  EXPECT_TRUE(diagnosis.good);
  ASSERT_EQ(diagnosis.packages.size(), 1U);
  EXPECT_TRUE(diagnosis.packages[0].listed);
}

TEST_F(Diagnose, EmptyFile) { EXPECT_EQ(reasons(""), "no-header @0: the file is empty"); }

TEST_F(Diagnose, LessThanAFileHeader) {
  EXPECT_EQ(reasons(archived().sign().finish().substr(0, 7)),
            "no-header @7: no package: of the 8 bytes of a file header it has 7");
}

TEST_F(Diagnose, WrongMagic) {
  EXPECT_EQ(reasons("something else"),
            "magic @0: wrong magic 0x656D6F73: a package begins with 0xBAD0F11E or 0xA1100FFB");
}

TEST_F(Diagnose, CutShortInAPart) {
  EXPECT_EQ(reasons(archived().sign().finish().substr(0, 62)),
            "cut-short @62: cut short at byte 62, in part 4 (archive): 10 of its 50 bytes are "
            "there");
}

TEST_F(Diagnose, CutShortInTheHeaderRecord) {
  EXPECT_EQ(reasons(archived().sign().finish().substr(0, 15)),
            "cut-short @15: cut short at byte 15, in part 1 (package header): 1 of its 32 bytes "
            "are there");
}

TEST_F(Diagnose, CutShortBehindThePackageHeader) {
  EXPECT_EQ(reasons(archived().sign().finish().substr(0, 46)),
            "cut-short @46: cut short at byte 46, between two parts behind part 1 (package "
            "header): the file's header announces 130 bytes more");
}

TEST_F(Diagnose, CutShortInTheHeaderOfAPart) {
  EXPECT_EQ(reasons(archived().sign().finish().substr(0, 49)),
            "cut-short @49: cut short at byte 49, in the header of a part behind part 1 (package "
            "header): the file's header announces 127 bytes more");
}

TEST_F(Diagnose, CutShortBehindTheFileHeader) {
  EXPECT_EQ(reasons(archived().sign().finish().substr(0, 8)),
            "cut-short @8: cut short at byte 8, between two parts: the file's header announces 168 "
            "bytes more");
}

TEST_F(Diagnose, CutShortInASignature) {
  EXPECT_EQ(reasons(archived().sign().finish().substr(0, 175)),
            "cut-short @175: cut short at byte 175, in part 9 (signature): 67 of its 68 bytes are "
            "there");
}

TEST_F(Diagnose, PartPastTheEndOfTheFile) {
  EXPECT_EQ(reasons(pack().partHeader(kPartArchive, 51).raw(std::string(50, 'x')).finish()),
            "past-end @48: part 4 (archive) at byte 46 reaches 1 byte past the end of the file");
}

TEST_F(Diagnose, LengthFieldTooSmall) {
  EXPECT_EQ(reasons(archived().sign().finish() + "xyz"),
            "length @4: the length field is off by 3: the file has 179 bytes, its header says 176");
}

TEST_F(Diagnose, LengthFieldTooGreat) {
  std::string bytes = archived().sign().finish();
  ++bytes[FileHeader::kLength];
  EXPECT_EQ(reasons(bytes),
            "length @4: the length field is off by 1: the file has 176 bytes, its header says 177");
}

TEST_F(Diagnose, LengthComesBeforeWhatItExplains) {
  std::string bytes = archived().sign().finish();
  bytes.insert(60, "y");
  EXPECT_EQ(reasons(bytes).substr(0, 14), "length @4: the");
}

TEST_F(Diagnose, NoPackageInTheFile) {
  EXPECT_EQ(reasons(PackBuilder().finish()), "no-package @8: there is no package in the file");
  EXPECT_EQ(reasons(PackBuilder().part(99, "x").finish()),
            "no-package @15: there is no package in the file");
}

TEST_F(Diagnose, BundleWithoutPackages) {
  EXPECT_EQ(reasons(PackBuilder().bundleHeader("all", k1_0).finish()),
            "no-package @46: there is no package in the file");
}

TEST_F(Diagnose, PartBeforeThePackageHeader) {
  EXPECT_EQ(reasons(PackBuilder().part(kPartDescription, "d").header("one", k1_0).sign().finish()),
            "misplaced @8: part 2 (description) stands where the package's header should be");
  EXPECT_EQ(reasons(PackBuilder().part(kPartArchive, "d").header("one", k1_0).sign().finish()),
            "misplaced @8: part 4 (archive) stands where the package's header should be");
}

TEST_F(Diagnose, PartBetweenThePackagesOfABundle) {
  EXPECT_EQ(reasons(PackBuilder()
                        .bundleHeader("all", k1_0)
                        .header("one", k1_0)
                        .sign()
                        .part(kPartArchive, "x")
                        .header("two", k1_0)
                        .sign()
                        .finish()),
            "misplaced @158: part 4 (archive) stands where the next package's header should be");
}

TEST_F(Diagnose, BundleInsideAPackage) {
  EXPECT_EQ(reasons(pack().bundleHeader("all", k1_0).sign().finish()),
            "misplaced @46: part 18 (bundle header) stands inside a package");
}

TEST_F(Diagnose, PackageHeaderTooShort) {
  EXPECT_EQ(reasons(PackBuilder().part(kPartPackage, std::string(31, 'x')).sign().finish()),
            "header-short @10: part 1 (package header) has 31 bytes, too few for the 32 of its "
            "record");
}

TEST_F(Diagnose, NameThatIsNoDirectory) {
  EXPECT_EQ(reasons(pack("a/b").sign().finish()),
            "name @14: the name \"a/b\" cannot be that of a directory in the database");
  EXPECT_EQ(reasons(pack("..").sign().finish()),
            "name @14: the name \"..\" cannot be that of a directory in the database");
  EXPECT_EQ(reasons(pack(".").sign().finish()),
            "name @14: the name \".\" cannot be that of a directory in the database");
  EXPECT_EQ(reasons(pack("").sign().finish()), "name @14: the name is empty");
}

TEST_F(Diagnose, ListThatEndsEarly) {
  const std::string entry(32, 'x');
  EXPECT_EQ(reasons(pack().part(kPartRequires, std::string("\2\0", 2) + entry).sign().finish()),
            "list-short @52: part 3 (requires list) ends early: it announces 2 entries and has "
            "room for 1");
  EXPECT_EQ(reasons(pack().part(kPartProvides, std::string("\1\0", 2)).sign().finish()),
            "list-short @52: part 19 (provides list) ends early: it announces 1 entry and has room "
            "for 0");
  EXPECT_EQ(reasons(pack().part(kPartConflicts, "x").sign().finish()),
            "list-short @48: part 17 (conflicts list) ends early: it has 1 byte, too few for its "
            "count");
}

TEST_F(Diagnose, SignaturePartTooShort) {
  const PackBuilder unsignedPack = pack().partHeader(kPartSignature, 67);
  EXPECT_EQ(reasons(PackBuilder(unsignedPack).raw(std::string(67, 's')).finish()),
            "signature-short @48: part 9 (signature) has 67 bytes, too few for the 68 of its "
            "record");
}

TEST_F(Diagnose, DigestDiffersFromTheOneSigned) {
  PackBuilder good = archived();
  std::string bytes = good.sign().finish();
  bytes[60] = 'y';
  const std::string record = bytes.substr(108);
  const std::string found = PackBuilder().raw(bytes.substr(8, 100)).digest();
  EXPECT_EQ(reasons(bytes),
            "digest @108: the digest differs from the one that was signed: signed " +
                shortDigest(record) + ", found " + shortDigest(found));
}

TEST_F(Diagnose, MadeWithAnotherKey) {
  const std::string words =
      "key @128: the signature was made with another key than the product's, or was changed";
  const std::string good = archived().sign().finish();
  {
    const ProductInUse product("b");
    EXPECT_EQ(reasons(good), words);
  }
  EXPECT_EQ(reasons(good), "good");
  std::string changed = good;
  changed.back() ^= 1;
  EXPECT_EQ(reasons(changed), words);
}

TEST_F(Diagnose, NeitherSignedNorListed) {
  PackBuilder good = archived();
  EXPECT_EQ(reasons(good.finish()),
            "unknown @8: neither signed nor one of the product's known packages (digest " +
                shortDigest(good.digest()) + ")");
}

TEST_F(Diagnose, PackageOfABundleIsNamed) {
  std::string bytes = PackBuilder()
                          .bundleHeader("all", k1_0)
                          .header("one", k1_0)
                          .sign()
                          .header("two", k1_0)
                          .sign()
                          .header("three", k1_0)
                          .finish();
  bytes[170] = '!';  // in the build time of "two"
  const Diagnosis diagnosis = of(bytes);
  EXPECT_FALSE(diagnosis.good);
  EXPECT_TRUE(diagnosis.isBundle);
  ASSERT_EQ(diagnosis.findings.size(), 1U);
  EXPECT_EQ(explanation(diagnosis.findings[0]).substr(0, 28), "two-1.0: the digest differs ");
  ASSERT_EQ(diagnosis.packages.size(), 3U);
  EXPECT_FALSE(diagnosis.packages[0].fault);
  EXPECT_EQ(diagnosis.packages[1].name, "two-1.0");
  EXPECT_EQ(diagnosis.packages[1].fault->fault, Fault::kDigest);
  EXPECT_EQ(diagnosis.packages[2].fault->fault, Fault::kUnknown);
}

TEST_F(Diagnose, MorePackagesThanAreDescribedAreCounted) {
  PackBuilder bundle = PackBuilder().bundleHeader("all", k1_0);
  const std::size_t count = Diagnosis::kMostPackages + 5;
  for (std::size_t i = 0; i < count; ++i) bundle.header("one", k1_0);
  const Diagnosis diagnosis = of(bundle.finish());
  EXPECT_EQ(diagnosis.packages.size(), std::size_t{Diagnosis::kMostPackages});
  EXPECT_EQ(diagnosis.packageCount, count);
}

TEST_F(Diagnose, HostileNamesAreMadeHarmless) {
  const Diagnosis diagnosis = of(pack("a\x1b[2J\n\\").sign().finish());
  ASSERT_EQ(diagnosis.packages.size(), 1U);
  EXPECT_EQ(diagnosis.packages[0].name, "a\\x1b[2J\\n\\\\-1.0");
}

TEST_F(Diagnose, EveryReasonIsInTheDocument) {
  const std::string document = readFile(std::string(TEST_DATA_DIR) + "/../../docs/format.md");
  for (int fault = 0; fault <= static_cast<int>(Fault::kUnknown); ++fault) {
    const std::string row = "\n| " + std::string(faultWord(static_cast<Fault>(fault))) + " | ";
    EXPECT_NE(document.find(row), std::string::npos) << row;
  }
}

// What the installer does not look at is no reason either.
TEST_F(Diagnose, WhatFollowsTheSignatureOfASinglePackageDoesNotCount) {
  EXPECT_EQ(reasons(pack().sign().header("two", k1_0).finish()), "good");
  EXPECT_EQ(reasons(pack().sign().partHeader(99, 5).finish()), "good");
  EXPECT_EQ(reasons(withLength(pack().sign().finish() + "xyz")), "good");
}

}  // namespace
