// One description makes the same bytes wherever and whenever it is built.
#include "tests/tpk/program.h"

#include <algorithm>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct File {
  std::string name;
  std::string contents;
  bool executable;
};

class Reproducible : public TpkProgram {
 protected:
  static std::vector<File> files() {
    std::vector<File> list = {
        {"root/bin/tool", "#!/bin/bash\n", true},
        {"root/bin/\xc3\xa4", "umlaut", false},
        {"root/bin/Z", "", false},
        {"install.sh", "echo hello\n", false},
        {"other/package.toml", "name = \"other\"\nversion = \"1.0\"\nfiles = \"root\"\n", false},
        {"other/root/a", "a", false}};
    for (int i = 0; i < 40; ++i)
      list.push_back({"root/etc/" + std::to_string(i * 7919 % 100) + "/" + std::to_string(i),
                      std::to_string(i), i % 3 == 0});
    return list;
  }

  // A copy of the folder that is created in another order, with another umask, at another time.
  void makeCopy(const std::string& folder, unsigned order, mode_t mask, time_t time) const {
    std::vector<File> list = files();
    std::shuffle(list.begin(), list.end(), std::mt19937(order));
    const mode_t before = umask(mask);
    for (const File& file : list)
      writeFile(path(folder + "/" + file.name), file.contents, file.executable ? 0777 : 0666);
    ASSERT_EQ(symlink("tool", path(folder + "/root/bin/link").c_str()), 0);
    writeFile(path(folder + "/package.toml"),
              "name = \"one\"\nversion = \"1.0\"\noninstall = { file = \"install.sh\" }\n"
              "files = \"root\"\n[[entry]]\npath = \"dev/null\"\ntype = \"char\"\nmajor = 1\n"
              "minor = 3\n");
    writeFile(path(folder + "/both.toml"),
              "name = \"both\"\nversion = \"1.0\"\n[bundle]\nmembers = [\".\", \"other\"]\n");
    umask(before);
    for (const File& file : list) touch(folder + "/" + file.name, time++);
    touch(folder + "/package.toml", time);
    touch(folder + "/both.toml", time);
  }

  void touch(const std::string& name, time_t time) const {
    const timespec times[] = {{time, 0}, {time, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path(name).c_str(), times, 0), 0);
  }

  std::string build(const std::string& manifest, const std::vector<std::string>& environment,
                    bool withKey, const std::string& from = "/") const {
    const std::string out = path("out.tpk");
    Command command;
    command.words = {TPK_PROGRAM, "build", path(manifest), "-o", out};
    if (withKey) command.words.insert(command.words.end(), {"--key", PRODUCT_DATA_DIR});
    command.environment = environment;
    command.folder = from;
    const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
    EXPECT_TRUE(result.exited(0)) << result;
    const std::string bytes = readFile(out);
    removeTree(out);
    return bytes;
  }
};

TEST_F(Reproducible, PackageIsTheSameEverywhere) {
  makeCopy("first", 1, 022, 1000000000);
  makeCopy("second/deep/below", 2, 077, 1600000000);
  makeCopy("third", 3, 002, 1000);
  for (const char* manifest : {"/package.toml", "/both.toml"}) {
    const std::string first =
        build(std::string("first") + manifest, {"SOURCE_DATE_EPOCH=1700000000"}, false);
    EXPECT_TRUE(build(std::string("second/deep/below") + manifest,
                      {"SOURCE_DATE_EPOCH=1700000000", "LC_ALL=de_DE.UTF-8", "TZ=Asia/Tokyo"},
                      false, temp_.path()) == first);
    EXPECT_TRUE(build(std::string("third") + manifest,
                      {"SOURCE_DATE_EPOCH=1700000000", "LANG=C.UTF-8", "TZ=UTC+11",
                       "TMPDIR=" + temp_.path()},
                      false) == first);
    EXPECT_TRUE(build(std::string("first") + manifest, {"SOURCE_DATE_EPOCH=1700000000"}, true) ==
                build(std::string("third") + manifest, {"SOURCE_DATE_EPOCH=1700000000"}, true));
    EXPECT_FALSE(build(std::string("first") + manifest, {"SOURCE_DATE_EPOCH=1700000001"}, false) ==
                 first);
  }
}

// Two builds of a folder that nobody touched, without any time given.
TEST_F(Reproducible, UnchangedFolderMakesTheSamePackage) {
  makeCopy("first", 1, 022, 1000000000);
  for (const char* manifest : {"first/package.toml", "first/both.toml"})
    EXPECT_TRUE(build(manifest, {}, false) == build(manifest, {}, false));
}

TEST_F(Reproducible, BuildTimeIsTheNewestChange) {
  makeCopy("first", 1, 022, 1000);
  const auto timeOf = [&](const std::string& manifest) {
    const std::string bytes = build(manifest, {}, false);
    // Of the header record: behind the file's header, the part's header, the name and the version.
    return static_cast<unsigned char>(bytes[8 + 6 + 20]) |
           static_cast<unsigned char>(bytes[8 + 6 + 21]) << 8 |
           static_cast<unsigned char>(bytes[8 + 6 + 22]) << 16 |
           static_cast<unsigned char>(bytes[8 + 6 + 23]) << 24;
  };
  for (const char* changed :
       {"first/root/bin/tool", "first/install.sh", "first/package.toml", "first/root/etc"}) {
    const int time = 2000000000 + changed[12];
    touch(changed, time);
    EXPECT_EQ(timeOf("first/package.toml"), time) << changed;
    EXPECT_EQ(timeOf("first/both.toml"), time) << changed;
    touch(changed, 1000);
  }
  touch("first/other/root/a", 2000000000);
  EXPECT_EQ(timeOf("first/both.toml"), 2000000000);
  EXPECT_LT(timeOf("first/package.toml"), 2000000000);
}

}  // namespace
