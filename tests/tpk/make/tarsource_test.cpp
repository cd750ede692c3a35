// Packages out of tars.
#include "tests/tpk/make/filesworld.h"
#include "tests/tpk/make/tarbuilder.h"

#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const char kTar[] = "files = \"in.tar\"\n";

class TarFiles : public FilesWorld {
 protected:
  void putTar(const TarBuilder& tar) const { put("in.tar", tar.bytes()); }

  static TarBuilder sample() {
    TarBuilder tar;
    tar.owner(1000, 50).time(1000);
    tar.entry("./", TarBuilder::kFolder, 0700).entry("./bin/", TarBuilder::kFolder, 0750);
    tar.file("./bin/tool", "contents", 04751).entry("bin/sh", TarBuilder::kLink, 0777, "", "tool");
    tar.entry("bin/again", TarBuilder::kHardLink, 0644, "", "./bin/tool");
    tar.entry("dev/null", TarBuilder::kChar, 0666, "", "", 1, 3);
    tar.entry("dev/disk", TarBuilder::kBlock, 0640, "", "", 8, 300);
    tar.entry("run/fifo", TarBuilder::kFifo, 0622);
    return tar;
  }
};

TEST_F(TarFiles, HaveTheTarsModesAndTheBuildsOwnersAndTimes) {
  putTar(sample());
  EXPECT_EQ(files(kTar),
            "bin dir 0750 0:0 time=build\n"
            "bin/again file 0751 0:0 time=build size=8\n"
            "bin/sh link -> tool\n"
            "bin/tool file 0751 0:0 time=build size=8\n"
            "dev dir 0755 0:0 time=build\n"
            "dev/disk block 0640 0:0 time=build device=8:300\n"
            "dev/null char 0666 0:0 time=build device=1:3\n"
            "run dir 0755 0:0 time=build\n"
            "run/fifo fifo 0622 0:0 time=build\n");
  EXPECT_EQ(contents("bin/tool"), "contents");
  EXPECT_EQ(contents("bin/again"), "contents");
}

TEST_F(TarFiles, KeepWhatTheSourceSays) {
  putTar(sample());
  EXPECT_EQ(files("files = [{ tar = \"in.tar\", keep-owners = true, keep-modes = true, "
                  "keep-times = true, into = \"x\" }]\nexclude = [\"dev\", \"run\", \"again\"]"),
            "x dir 0755 0:0 time=build\n"
            "x/bin dir 0750 1000:50 time=1000\n"
            "x/bin/sh link -> tool 1000:50 time=1000\n"
            "x/bin/tool file 4751 1000:50 time=1000 size=8\n");
}

TEST_F(TarFiles, MayBeCompressed) {
  putTar(sample());
  const std::string expected = files(kTar);
  ASSERT_EQ(std::system(("gzip -k " + path("in.tar")).c_str()), 0);
  EXPECT_EQ(files("files = \"in.tar.gz\""), expected);
  EXPECT_EQ(contents("bin/again"), "contents");
}

TEST_F(TarFiles, LinksToExcludedFilesHaveTheirContents) {
  putTar(sample());
  EXPECT_EQ(paths("files = \"in.tar\"\nexclude = [\"bin/tool\", \"dev\", \"run\"]"),
            "bin bin/again bin/sh ");
  EXPECT_EQ(contents("bin/again"), "contents");
}

TEST_F(TarFiles, LaterEntriesOfATarWin) {
  putTar(TarBuilder().file("a", "first").file("a", "second!"));
  EXPECT_EQ(files(kTar), "a file 0644 0:0 time=build size=7\n");
  EXPECT_EQ(contents("a"), "second!");
}

// The bytes of a name are the same in every locale.
TEST_F(TarFiles, NamesAreBytes) {
  putTar(TarBuilder()
             .file("gr\xc3\xbcn", "")
             .pax("path=bl\xc3\xa5")
             .file("x", "")
             .pax("linkpath=gr\xc3\xbcn")
             .entry("l", TarBuilder::kLink, 0777, "", "x"));
  EXPECT_EQ(files(kTar),
            "bl\xc3\xa5 file 0644 0:0 time=build size=0\n"
            "gr\xc3\xbcn file 0644 0:0 time=build size=0\n"
            "l link -> gr\xc3\xbcn\n");
}

TEST_F(TarFiles, NamesThatTheRouterRefusesAreRefused) {
  putTar(TarBuilder().file("a/../b", ""));
  EXPECT_EQ(failure(kTar),
            "in.tar: \"a/../b\" has \"..\" in it, which the router refuses; write the path without "
            "it");
  putTar(TarBuilder().file("a\nb", ""));
  EXPECT_EQ(failure(kTar),
            "in.tar: \"a\\nb\" has a line end in it, which the router refuses; rename it");
}

TEST_F(TarFiles, HardLinksToNothingAreRefused) {
  putTar(TarBuilder().entry("a", TarBuilder::kHardLink, 0644, "", "b"));
  EXPECT_EQ(failure(kTar), "in.tar: \"a\" is a hard link to \"b\", which is no file before it");
}

TEST_F(TarFiles, SparseFilesAreRefused) {
  put("root/holes", "");
  ASSERT_EQ(truncate(path("root/holes").c_str(), 1 << 20), 0);
  ASSERT_EQ(std::system(
                ("tar -C " + path("root") + " --sparse -cf " + path("in.tar") + " holes").c_str()),
            0);
  EXPECT_EQ(failure(kTar), "in.tar: \"holes\" is a sparse file; make the tar without --sparse");
}

TEST_F(TarFiles, ExtendedAttributesAreLeftOutWithAWord) {
  putTar(TarBuilder()
             .pax("SCHILY.xattr.user.x=y")
             .file("a", "")
             .pax("SCHILY.xattr.user.x=y")
             .file("b", ""));
  EXPECT_EQ(paths(kTar), "a b ");
  EXPECT_EQ(warnings(), std::vector<std::string>{
                            path("in.tar") +
                            ": \"a\" has extended attributes or an access list, which no package "
                            "holds; they, and those of further files, are left out"});
}

TEST_F(TarFiles, OwnersAndDevicesMustFit) {
  putTar(TarBuilder().owner(65536, 0).file("a", ""));
  EXPECT_EQ(failure("files = [{ tar = \"in.tar\", keep-owners = true }]"),
            "in.tar: \"a\": its user 65536 does not fit 16 bits; give it another one, or leave out "
            "keep-owners");
  putTar(TarBuilder().entry("d", TarBuilder::kChar, 0600, "", "", 4096, 0));
  EXPECT_EQ(failure(kTar), "in.tar: \"d\" has a device number of more than 32 bits");
}

TEST_F(TarFiles, WhatIsNoTarIsRefused) {
  put("in.tar", "name = \"one\"\n");
  EXPECT_EQ(failure(kTar).substr(0, 8), "in.tar: ");
}

// A tar without its end mark is complete as far as anybody can tell.
TEST_F(TarFiles, CutAnywhereIsReadWholeOrRefused) {
  const std::string whole = sample().bytes();
  const std::string all = (putTar(sample()), files(kTar));
  for (std::size_t size = 0; size < whole.size(); size += 37) {
    put("in.tar", whole.substr(0, size));
    const std::string message = failure(kTar);
    if (message != "no failure") {
      EXPECT_EQ(message.substr(0, 8), "in.tar: ") << size;
    } else {
      EXPECT_EQ(contents("bin/tool"), "contents") << size;
    }
  }
}

// Files that lie before the cut are no whole tar.
TEST_F(TarFiles, CompressedAndCutIsRefused) {
  putTar(sample());
  ASSERT_EQ(std::system(("gzip -n " + path("in.tar")).c_str()), 0);
  const std::string whole = readFile(path("in.tar.gz"));
  enum : std::size_t { kChecksumAndSize = 8 };  // behind the data; nobody looks at them
  for (std::size_t size = 0; size + kChecksumAndSize < whole.size(); ++size) {
    put("in.tar.gz", whole.substr(0, size));
    EXPECT_EQ(failure("files = \"in.tar.gz\"").substr(0, 11), "in.tar.gz: ") << size;
  }
}

TEST_F(TarFiles, CompressedFlippedBytesAreReadOrRefused) {
  putTar(sample());
  ASSERT_EQ(std::system(("gzip -n " + path("in.tar")).c_str()), 0);
  const std::string whole = readFile(path("in.tar.gz"));
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ (1 << at % 8));
    put("in.tar.gz", changed);
    const std::string message = failure("files = \"in.tar.gz\"");
    EXPECT_TRUE(message == "no failure" || message.substr(0, 9) == "in.tar.gz") << message;
  }
}

TEST_F(TarFiles, FlippedBytesAreReadOrRefused) {
  const std::string whole = sample().bytes();
  // Blocks have 512 bytes: in each of them it is other ones that are met.
  for (std::size_t at = 0; at < whole.size(); at += 7) {
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ (1 << at % 8));
    put("in.tar", changed);
    const std::string message = failure(kTar);
    EXPECT_TRUE(message == "no failure" || message.substr(0, 6) == "in.tar") << at << message;
  }
}

}  // namespace
