#include "tools/tpk/make/build.h"

#include "model/packagefile.h"
#include "stream/icstream.h"
#include "stream/ifilestream.h"
#include "stream/ipackstream.h"
#include "stream/packformat.h"
#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"
#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/product/signer.h"
#include "tools/tpk/read/verify.h"

#include <csignal>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace {

struct Part {
  std::uint32_t type;
  std::string contents;
};

class Build : public ::testing::Test {
 protected:
  Build() : data_(readProductData(PRODUCT_DATA_DIR)) {
    SigningKey key;
    readSigningKey(PRODUCT_DATA_DIR, key);
    signer_ = std::make_unique<Signer>(*data_, key);
    writeFile(path("root/etc/hello"), "hello\n");
  }

  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }
  std::string file() const { return path("package.tpk"); }

  static Manifest simple(const std::string& name) {
    Manifest manifest;
    manifest.name = name;
    manifest.version = 0x03166600;
    manifest.buildTime = 1700000000;
    manifest.architecture = "mipsel";
    return manifest;
  }

  Manifest full(const std::string& name) const {
    Manifest manifest = simple(name);
    manifest.description = "free text";
    manifest.deps = {{"system", 0x03146600, 0x03166600, 0}};
    manifest.provides = {{"web", 0, 0, -7}, {"sixteen-letters-", 1, 2, 3}};
    manifest.conflicts = {{"old", 0, 0x02096308, 0}};
    manifest.image = true;
    manifest.onInstall = "echo hello\n";
    manifest.onUninstall = "echo bye\n";
    manifest.hasFiles = true;
    manifest.sources.push_back(folder("root"));
    return manifest;
  }

  FileSource folder(const std::string& name) const {
    FileSource source;
    source.path = path(name);
    source.where = "package.toml:1";
    return source;
  }

  void build(const Manifest& manifest) { buildPackage(manifest, signer_.get(), file()); }

  // All of the file's parts, as the stream finds them.
  std::vector<Part> parts() const {
    ifilestream in(file());
    ipackstream stream(in, false);
    for (std::uint32_t type = 0; type < 256; ++type) stream.accept(type);
    std::vector<Part> list;
    while (stream.next() != kNoPart) {
      std::string contents(stream.size(), '\0');
      stream.read(&contents[0], stream.size());
      list.push_back({stream.type(), contents});
    }
    return list;
  }

  std::string types() const {
    std::string text;
    for (const Part& part : parts()) text += std::to_string(part.type) + " ";
    return text;
  }

  std::string contents(std::uint32_t type) const {
    for (const Part& part : parts())
      if (part.type == type) return part.contents;
    ADD_FAILURE() << "no part of type " << type;
    return "";
  }

  TempFolder temp_;
  std::unique_ptr<ProductData> data_;
  std::unique_ptr<Signer> signer_;
};

TEST_F(Build, PartsComeInTheOrderOfTheirReaders) {
  build(full("one"));
  EXPECT_EQ(types(), "1 16 2 3 19 17 21 7 8 4 9 ");
}

TEST_F(Build, WhatIsNotThereHasNoPart) {
  build(simple("one"));
  EXPECT_EQ(types(), "1 16 9 ");
}

TEST_F(Build, UnsignedPackageHasNoSignaturePart) {
  buildPackage(full("one"), nullptr, file());
  EXPECT_EQ(types(), "1 16 2 3 19 17 21 7 8 4 ");
}

TEST_F(Build, EmptyScriptIsAPart) {
  Manifest manifest = simple("one");
  manifest.onInstall = "";
  build(manifest);
  EXPECT_EQ(types(), "1 16 7 9 ");
}

TEST_F(Build, HeadersReadBackAsTheyWereDescribed) {
  build(full("sixteen-letters-"));
  PackageFile package;
  ASSERT_TRUE(package.readFrom(file()));
  EXPECT_EQ(package.name, "sixteen-letters-");
  EXPECT_EQ(package.version, 0x03166600U);
  EXPECT_EQ(package.buildTime, 1700000000U);
  EXPECT_EQ(package.arch, "mipsel");
  EXPECT_EQ(package.description, "free text");
  EXPECT_TRUE(package.hasImage);
  EXPECT_FALSE(package.isDumb);
  EXPECT_FALSE(package.isBundle);
  ASSERT_EQ(package.deps.size(), 1U);
  EXPECT_EQ(package.deps[0].name, "system");
  EXPECT_EQ(package.deps[0].minVersion, 0x03146600U);
  EXPECT_EQ(package.deps[0].maxVersion, 0x03166600U);
  ASSERT_EQ(package.provides.size(), 2U);
  EXPECT_EQ(package.provides[0].weight, -7);
  EXPECT_EQ(package.provides[1].name, "sixteen-letters-");
  ASSERT_EQ(package.conflicts.size(), 1U);
  EXPECT_EQ(package.conflicts[0].name, "old");
  EXPECT_EQ(package.conflicts[0].maxVersion, 0x02096308U);
}

TEST_F(Build, ScriptsAreTheTexts) {
  build(full("one"));
  EXPECT_EQ(contents(kPartOnInstall), "echo hello\n");
  EXPECT_EQ(contents(kPartOnUninstall), "echo bye\n");
  EXPECT_EQ(contents(kPartImage), "");
}

std::string inflated(const std::string& contents) {
  std::istringstream compressed(contents);
  icstream in(compressed, false);
  return std::string{std::istreambuf_iterator<char>(in), {}};
}

TEST_F(Build, ArchiveInflatesToTheFiles) {
  build(full("one"));
  ArchiveBuilder expected;
  expected.time(1700000000).directory("etc").regular("etc/hello", "hello\n");
  EXPECT_EQ(inflated(contents(kPartArchive)), expected.bytes());
}

TEST_F(Build, ArchiveOfNoFilesIsEmpty) {
  Manifest manifest = simple("one");
  manifest.hasFiles = true;
  build(manifest);
  EXPECT_EQ(types(), "1 16 4 9 ");
  EXPECT_EQ(inflated(contents(kPartArchive)), "");
}

TEST_F(Build, CompressionIsTheLevelThatWasAskedFor) {
  std::string text;
  for (int i = 0; i < 5000; ++i)
    text += "line " + std::to_string(i % 37) + " of " + std::to_string(i) + "\n";
  writeFile(path("root/etc/hello"), text);
  std::map<int, std::size_t> sizes;
  for (const int level : {-1, 0, 1, 6, 9}) {
    Manifest manifest = full("one");
    manifest.compression = level;
    build(manifest);
    sizes[level] = contents(kPartArchive).size();
    EXPECT_NE(inflated(contents(kPartArchive)).find(text), std::string::npos);
  }
  EXPECT_EQ(sizes[-1], sizes[6]);
  EXPECT_LE(sizes[9], sizes[6]);
  EXPECT_LT(sizes[6], sizes[1]);
  EXPECT_GT(sizes[0], text.size());
}

TEST_F(Build, DumbPackageHasItsMagic) {
  Manifest manifest = simple("one");
  manifest.dumb = true;
  build(manifest);
  PackageFile package;
  ASSERT_TRUE(package.readFrom(file()));
  EXPECT_TRUE(package.isDumb);
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);
}

TEST_F(Build, UnusedHeaderBytesAreZero) {
  build(simple("one"));
  EXPECT_EQ(contents(kPartPackage).substr(PackageHeader::kUnused), std::string(8, '\0'));
}

TEST_F(Build, SignedPackageIsGenuine) {
  build(full("one"));
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);
  build(simple("one"));
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);
}

TEST_F(Build, UnsignedPackageIsNot) {
  buildPackage(full("one"), nullptr, file());
  EXPECT_EQ(verifyFile(file()), Verdict::kNotGenuine);
}

TEST_F(Build, EqualDescriptionsMakeEqualPackagesButForTheSignature) {
  buildPackage(full("one"), nullptr, file());
  const std::string first = readFile(file());
  buildPackage(full("one"), nullptr, file());
  EXPECT_EQ(readFile(file()), first);
}

TEST_F(Build, BundleCarriesItsMembersInOrder) {
  Manifest bundle = simple("pair");
  bundle.isBundle = true;
  bundle.image = true;
  bundle.description = "both";
  bundle.turnOff = {{"two", 0, 0, 0}};
  bundle.members.push_back(full("two"));
  bundle.members.push_back(simple("one"));
  build(bundle);
  EXPECT_EQ(types(), "18 16 2 21 20 1 16 2 3 19 17 21 7 8 4 9 1 16 9 ");
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);

  PackageFile package;
  ASSERT_TRUE(package.readFrom(file()));
  EXPECT_TRUE(package.isBundle);
  EXPECT_TRUE(package.hasImage);
  EXPECT_EQ(package.name, "pair");
  ASSERT_EQ(package.subPackages.size(), 2U);
  EXPECT_EQ(package.subPackages.front()->name, "two");
  EXPECT_EQ(package.subPackages.back()->name, "one");
}

TEST_F(Build, TurnOffListIsADependencyList) {
  Manifest bundle = simple("pair");
  bundle.isBundle = true;
  bundle.turnOff = {{"two", 0, 0, 0}, {"three", 0, 0, 0}};
  bundle.members.push_back(simple("one"));
  build(bundle);
  std::vector<PackageDep> names;
  ifilestream in(file());
  ipackstream stream(in, false);
  stream.accept(kPartTurnOff);
  ASSERT_EQ(stream.next(), std::uint32_t{kPartTurnOff});
  ASSERT_TRUE(readDeps(stream, names));
  ASSERT_EQ(names.size(), 2U);
  EXPECT_EQ(names[0].name, "two");
  EXPECT_EQ(names[1].name, "three");
}

TEST_F(Build, EveryMemberOfABundleIsSigned) {
  Manifest bundle = simple("pair");
  bundle.isBundle = true;
  bundle.members.push_back(full("one"));
  bundle.members.push_back(full("two"));
  build(bundle);
  const std::string whole = readFile(file());
  ASSERT_EQ(verifyFile(file()), Verdict::kGood);
  for (const char* name : {"one", "two"}) {
    std::string changed = whole;
    changed[changed.find(std::string(name) + '\0')] ^= 1;
    writeFile(file(), changed);
    EXPECT_EQ(verifyFile(file()), Verdict::kNotGenuine) << name;
  }
}

TEST_F(Build, FailureLeavesTheOldFileAndNothingElse) {
  Manifest manifest = full("one");
  manifest.sources = {folder("missing")};
  writeFile(file(), "old");
  EXPECT_EQ(failureOf([&] { build(manifest); }),
            "package.toml:1: " + path("missing") + " does not exist");
  EXPECT_EQ(listTree(temp_.path(), 0, {"/root"}), "/package.tpk file\n");
  EXPECT_EQ(readFile(file()), "old");
}

TEST_F(Build, UnwritableFolderIsNamed) {
  const std::string nowhere = path("nowhere/package.tpk");
  EXPECT_EQ(failureOf([&] { buildPackage(simple("one"), nullptr, nowhere); }),
            nowhere + ": cannot be created: No such file or directory");
}

// A limit on the size of files takes the place of the full disk.
TEST_F(Build, FileThatCannotBeWrittenIsReportedAndLeavesNothing) {
  Manifest manifest = simple("one");
  manifest.description = std::string(100000, 'x');
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit = before;
  limit.rlim_cur = 50000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const std::string failure = failureOf([&] { build(manifest); });
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(failure, file() + ": cannot be written: File too large");
  EXPECT_FALSE(exists(file()));
  EXPECT_EQ(listTree(temp_.path(), 0, {"/root"}), "");
}

TEST(PackageFileName, IsNameAndVersion) {
  Manifest manifest;
  manifest.name = "hello";
  manifest.version = 0x03146302;
  EXPECT_EQ(packageFileName(manifest), "hello-3.20rc2.tpk");
}

}  // namespace
