// Packages out of folders of the machine.
#include "tests/support/privilege.h"
#include "tests/tpk/make/filesworld.h"

#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const char kRoot[] = "files = \"root\"\n";

using FolderFiles = FilesWorld;

TEST_F(FolderFiles, EmptyFolderHasNone) {
  makeFolders(path("root"));
  EXPECT_EQ(files(kRoot), "");
}

TEST_F(FolderFiles, AreSortedByComponentsWithFoldersBeforeTheirContents) {
  for (const char* name : {"b", "a/z", "a/b/c", "a-b", "a.b", "B", ".hidden", "a0"})
    put(std::string("root/") + name, "");
  EXPECT_EQ(paths(kRoot), ".hidden B a a/b a/b/c a/z a-b a.b a0 b ");
}

TEST_F(FolderFiles, BelongToRootAndAreOfTheBuildTime) {
  put("root/etc/motd", "hello");
  setTime("root/etc/motd", 1000);
  if (canChown()) {
    ASSERT_EQ(chown(path("root/etc/motd").c_str(), 1000, 1000), 0);
  }
  EXPECT_EQ(files(kRoot),
            "etc dir 0755 0:0 time=build\netc/motd file 0644 0:0 time=build size=5\n");
  EXPECT_EQ(contents("etc/motd"), "hello");
}

// All other bits depend on the umask of whoever made the file.
TEST_F(FolderFiles, ModeDependsOnlyOnWhetherTheOwnerMayExecute) {
  put("root/a", "", 0600);
  put("root/b", "", 0666);
  put("root/c", "", 0700);
  put("root/d", "", 0655);
  makeFolders(path("root/e"));
  ASSERT_EQ(chmod(path("root/a").c_str(), 06644), 0);
  ASSERT_EQ(chmod(path("root/e").c_str(), 01700), 0);
  EXPECT_EQ(files(kRoot),
            "a file 0644 0:0 time=build size=0\nb file 0644 0:0 time=build size=0\n"
            "c file 0755 0:0 time=build size=0\nd file 0644 0:0 time=build size=0\n"
            "e dir 0755 0:0 time=build\n");
}

TEST_F(FolderFiles, KeepModesTakesThemAsTheyAre) {
  put("root/a", "");
  makeFolders(path("root/e"));
  ASSERT_EQ(symlink("a", path("root/f").c_str()), 0);
  ASSERT_EQ(chmod(path("root/a").c_str(), 06751), 0);
  ASSERT_EQ(chmod(path("root/e").c_str(), 01770), 0);
  EXPECT_EQ(files("files = [{ folder = \"root\", keep-modes = true }]"),
            "a file 6751 0:0 time=build size=0\ne dir 1770 0:0 time=build\nf link -> a\n");
}

TEST_F(FolderFiles, KeepTimesTakesThemUpToTheBuildTime) {
  put("root/old", "");
  put("root/new", "");
  setTime("root/old", 1000);
  setTime("root/new", time_t{kBuildTime} + 1);
  EXPECT_EQ(files("files = [{ folder = \"root\", keep-times = true }]"),
            "new file 0644 0:0 time=build size=0\nold file 0644 0:0 time=1000 size=0\n");
  setTime("root/old", -1);
  EXPECT_EQ(failure("files = [{ folder = \"root\", keep-times = true }]"),
            "root/old: its time is before 1970; touch it, or leave out keep-times");
}

TEST_F(FolderFiles, KeepOwnersTakesThem) {
  NEEDS_CHOWN();
  put("root/a", "");
  ASSERT_EQ(chown(path("root/a").c_str(), 1000, 65535), 0);
  const std::string description = "files = [{ folder = \"root\", keep-owners = true }]";
  EXPECT_EQ(files(description), "a file 0644 1000:65535 time=build size=0\n");
  ASSERT_EQ(chown(path("root/a").c_str(), 65536, 0), 0);
  EXPECT_EQ(failure(description),
            "root/a: its user 65536 does not fit 16 bits; give it another one, or leave out "
            "keep-owners");
}

TEST_F(FolderFiles, LinksAreNotFollowed) {
  put("root/folder/file", "");
  ASSERT_EQ(symlink("folder", path("root/link").c_str()), 0);
  ASSERT_EQ(symlink("/no/such/target", path("root/nowhere").c_str()), 0);
  EXPECT_EQ(files(kRoot),
            "folder dir 0755 0:0 time=build\nfolder/file file 0644 0:0 time=build size=0\n"
            "link link -> folder\nnowhere link -> /no/such/target\n");
}

TEST_F(FolderFiles, FifosAndDevicesArePackedToo) {
  NEEDS_MKNOD();
  makeFolders(path("root"));
  ASSERT_EQ(mkfifo(path("root/fifo").c_str(), 0666), 0);
  ASSERT_EQ(mknod(path("root/null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
  ASSERT_EQ(mknod(path("root/ram").c_str(), S_IFBLK | 0600, makedev(1, 300)), 0);
  EXPECT_EQ(files(kRoot),
            "fifo fifo 0600 0:0 time=build\nnull char 0600 0:0 time=build device=1:3\n"
            "ram block 0600 0:0 time=build device=1:300\n");
}

TEST_F(FolderFiles, SocketsAreRefusedUnlessExcluded) {
  makeFolders(path("root"));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string name = path("root/socket");
  ASSERT_LT(name.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, name.c_str(), name.size());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(socket);
  EXPECT_EQ(failure(kRoot),
            "root/socket: is a socket, which a package cannot hold; remove it or exclude it");
  EXPECT_EQ(files("files = \"root\"\nexclude = [\"socket\"]"), "");
}

TEST_F(FolderFiles, FilesOverFourGigabytesAreRefused) {
  put("root/huge", "");
  if (truncate(path("root/huge").c_str(), off_t{1} << 32) != 0)
    GTEST_SKIP() << "the file system holds no such file";
  EXPECT_EQ(failure(kRoot), "root/huge: is larger than 4 GiB");
}

TEST_F(FolderFiles, NamesThatTheRouterRefusesAreRefused) {
  put("root/a\nb", "");
  EXPECT_EQ(failure(kRoot), "\"a\\nb\" has a line end in it, which the router refuses; rename it");
}

TEST_F(FolderFiles, LandBelowInto) {
  put("root/tool", "", 0755);
  EXPECT_EQ(files("files = [{ folder = \"root\", into = \"/opt/x/\" }]"),
            "opt dir 0755 0:0 time=build\nopt/x dir 0755 0:0 time=build\n"
            "opt/x/tool file 0755 0:0 time=build size=0\n");
}

TEST_F(FolderFiles, LaterSourcesWin) {
  put("one/etc/motd", "first", 0755);
  put("one/etc/only", "");
  put("two/etc/motd", "second", 0644);
  EXPECT_EQ(files("files = [\"one\", \"two\"]"),
            "etc dir 0755 0:0 time=build\netc/motd file 0644 0:0 time=build size=6\n"
            "etc/only file 0644 0:0 time=build size=0\n");
  EXPECT_EQ(contents("etc/motd"), "second");
}

TEST_F(FolderFiles, NothingLiesBelowWhatIsNoFolder) {
  put("one/lib/x", "");
  makeFolders(path("two"));
  ASSERT_EQ(symlink("usr/lib", path("two/lib").c_str()), 0);
  EXPECT_EQ(failure("files = [\"one\", \"two\"]"),
            "one/lib/x: \"lib/x\" lies below \"lib\", which is a link (two/lib); leave one of them "
            "out");
}

TEST_F(FolderFiles, ExcludedNamesStayOutAtAnyDepth) {
  for (const char* name : {"a.o", "src/b.o", "src/b.c", ".git/config", "src/.git/x", "o"})
    put(std::string("root/") + name, "");
  EXPECT_EQ(paths("files = \"root\"\nexclude = [\"*.o\", \".git\"]"), "o src src/b.c ");
}

TEST_F(FolderFiles, ExcludedPathsStayOutWhereTheyAre) {
  for (const char* name : {"doc/a", "doc/b/c", "usr/doc/d", "usr/x"})
    put(std::string("root/") + name, "");
  EXPECT_EQ(paths("files = \"root\"\nexclude = [\"/doc\"]"), "usr usr/doc usr/doc/d usr/x ");
  EXPECT_EQ(paths("files = \"root\"\nexclude = [\"doc/*\"]"), "doc usr usr/doc usr/doc/d usr/x ");
  EXPECT_EQ(paths("files = \"root\"\nexclude = [\"**/doc/**\"]"), "doc usr usr/doc usr/x ");
}

TEST_F(FolderFiles, SourcesThatAreNotThereAreNamedWithTheirLine) {
  EXPECT_EQ(failure("\nfiles = \"missing\"\n"), "package.toml:5: missing does not exist");
  put("file", "");
  EXPECT_EQ(failure("files = [{ folder = \"file\" }]"),
            "package.toml:4: file is no folder; for a tar write tar = ...");
  makeFolders(path("folder"));
  EXPECT_EQ(failure("files = [{ tar = \"folder\" }]"),
            "package.toml:4: folder is a folder; write folder = ...");
}

}  // namespace
