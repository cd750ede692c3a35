// What others made: every command that looks into packages meets packages that are cut short,
// changed, or larger than they seem. A command may refuse them, but it must end on its own, write
// nothing outside its target and use no memory for bytes that are not there.
#include "tests/support/packbuilder.h"
#include "tests/tpk/failuretext.h"
#include "tests/tpk/program.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/show/diff.h"
#include "tools/tpk/show/extract.h"
#include "tools/tpk/show/info.h"
#include "tools/tpk/show/list.h"

#include <sstream>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// Of so many damaged packages one is given to the program itself.
constexpr std::size_t kSample = 20;

ArchiveBuilder smallArchive() {
  return ArchiveBuilder()
      .directory("d")
      .symlink("d/up", "../..")
      .regular("d/up/f", "x")
      .charDevice("t", 0x0501);
}

class HostilePackage : public TpkProgram {
 protected:
  void SetUp() override {
    makeFolders(path("work"));
    writeFile(path("work/good.tpk"), small(smallArchive()));
  }

  static std::string small(const ArchiveBuilder& archive) {
    return PackBuilder()
        .header("one", kVersion)
        .part(kPartDescription, "d")
        .part(kPartOnInstall, "i")
        .archive(archive)
        .finish();
  }

  // Whether extract ends on its own with one of the statuses that are about packages, and leaves
  // nothing beside its own folder.
  void expectHarmless(const std::string& package, const std::string& what) const {
    writeFile(path("work/bad.tpk"), package);
    try {
      extractFile({path("work/bad.tpk"), path("out")});
    } catch (const EnvironmentFailure& failure) {
      ADD_FAILURE() << what << ": " << failure.what();
    } catch (const Failure&) {
      // Refused.
    }
    expectNothingBeside(what);
  }
  // The same of the program.
  void expectHarmlessRun(const std::string& package, const std::string& what) const {
    writeFile(path("work/bad.tpk"), package);
    const ProcessResult result = run({"extract", "-", "-C", "out"}, package);
    EXPECT_TRUE(result.exited(0) || result.exited(1)) << what << '\n' << result;
    expectNothingBeside(what);
  }

 private:
  void expectNothingBeside(const std::string& what) const {
    EXPECT_EQ(listTree(temp_.path(), 0, {"/out"}),
              "/work dir\n/work/bad.tpk file\n/work/good.tpk file\n")
        << what;
    removeTree(path("out"));
  }
};

// In this process: thousands of runs of the program would take too long. Whatever is refused names
// the file.
TEST_F(HostilePackage, ReadersMeetEveryTruncationAndEveryFlippedBit) {
  const std::string good = readFile(path("work/good.tpk"));
  unsigned refused = 0;
  const auto look = [&](const std::string& package) {
    writeFile(path("package.tpk"), package);
    std::ostringstream out;
    const auto refuses = [&](const auto& action) {
      const std::string text = failureOf(action);
      if (text == "no failure") return;
      EXPECT_THAT(text, StartsWith(path("package.tpk") + ": "));
      ++refused;
    };
    refuses([&] { writeList(out, {path("package.tpk"), false}); });
    refuses([&] { writeList(out, {path("package.tpk"), true}); });
    refuses([&] { writeDiff(out, {path("package.tpk"), path("work/good.tpk")}); });
    refuses([&] {
      const InputFile file(path("package.tpk"));
      const PackedFile contents = readPackedFile(file);
      writeInfo(out, file, contents);
      writeInfoJson(out, file, contents);
    });
  };
  for (std::size_t length = 0; length < good.size(); ++length) look(good.substr(0, length));
  EXPECT_EQ(refused, 4 * good.size());
  for (std::size_t bit = 0; bit < 8 * good.size(); ++bit) {
    std::string bad = good;
    bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ (1 << bit % 8));
    look(bad);
  }
}

TEST_F(HostilePackage, ExtractMeetsEveryTruncationAndEveryFlippedByte) {
  const std::string good = readFile(path("work/good.tpk"));
  for (std::size_t i = 0; i < good.size(); ++i) {
    expectHarmless(good.substr(0, i), "cut at " + std::to_string(i));
    std::string bad = good;
    bad[i] = static_cast<char>(bad[i] ^ 0x41);
    expectHarmless(bad, "flipped " + std::to_string(i));
    if (i % kSample != 0) continue;
    expectHarmlessRun(good.substr(0, i), "cut at " + std::to_string(i));
    expectHarmlessRun(bad, "flipped " + std::to_string(i));
  }
}

// The check value of the compressed data stops all of the above at the archive's door.
TEST_F(HostilePackage, ExtractMeetsEveryFlippedByteOfTheEntries) {
  const std::string good = smallArchive().bytes();
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = static_cast<char>(bad[i] ^ (i % 2 == 0 ? 0x2E : 0x81));
    const std::string package = small(ArchiveBuilder().raw(bad));
    expectHarmless(package, "entry byte " + std::to_string(i));
    if (i % kSample == 0) expectHarmlessRun(package, "entry byte " + std::to_string(i));
  }
}

#ifdef INSTALLER_SANITIZED
constexpr bool kLimitsMemory = false;
#else
constexpr bool kLimitsMemory = true;
#endif

class HostileSize : public TpkProgram {
 protected:
  enum : rlim_t { kSmall = 64 << 20, kForFindings = 512 << 20 };
  // With 64 MiB of memory for everything, the program itself included, unless told otherwise.
  ProcessResult runSmall(const std::vector<std::string>& arguments, const std::string& package,
                         rlim_t memory = kSmall) const {
    writeFile(path("package.tpk"), package);
    Command command;
    command.words = {TPK_PROGRAM};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    const std::string folder = temp_.path();
    command.prepare = [folder, memory] {
      const rlimit limit = {memory, memory};
      return chdir(folder.c_str()) == 0 && setrlimit(RLIMIT_AS, &limit) == 0;
    };
    return Process(command).wait(std::chrono::seconds(15));
  }
  static std::string package(const ArchiveBuilder& archive) {
    return PackBuilder().header("one", kVersion).archive(archive).finish();
  }
};

#define NEEDS_MEMORY_LIMIT() \
  if (!kLimitsMemory) GTEST_SKIP() << "the sanitizer needs more memory than the limit"

TEST_F(HostileSize, LengthFieldsTakeNoMemory) {
  NEEDS_MEMORY_LIMIT();
  ArchiveHeader header;
  header.setMode(0100644);
  header.setNameLength(0xFFFF);
  const std::vector<std::string> packages = {
      PackBuilder().partHeader(kPartPackage, 0xFFFFFFFF).finish(),
      PackBuilder().header("one", kVersion).partHeader(kPartDescription, 0xFFFFFFF0).finish(),
      PackBuilder().header("one", kVersion).part(kPartRequires, "\xFF\xFF").finish(),
      package(ArchiveBuilder().entry(header, "short", "")), [&header] {
        header.setNameLength(1);
        header.setDataSize(0xFFFFFFFF);
        return package(ArchiveBuilder().entry(header, "a", ""));
      }()};
  writeFile(path("good.tpk"), package(ArchiveBuilder()));
  for (const std::string& bytes : packages) {
    EXPECT_TRUE(runSmall({"info", "package.tpk"}, bytes).exited(1));
    EXPECT_TRUE(runSmall({"list", "package.tpk"}, bytes).exited(1));
    EXPECT_TRUE(runSmall({"extract", "package.tpk", "-C", "out"}, bytes).exited(1));
    EXPECT_TRUE(runSmall({"diff", "package.tpk", "good.tpk"}, bytes).exited(1));
    EXPECT_FALSE(exists(path("out")));
  }
}

TEST_F(HostileSize, DataThatInflateToMoreThanTheMemoryAreNotKept) {
  NEEDS_MEMORY_LIMIT();
  const std::string bytes = package(ArchiveBuilder().regular("a", std::string(80 << 20, 'x')));
  writeFile(path("good.tpk"), package(ArchiveBuilder()));
  EXPECT_THAT(runSmall({"info", "package.tpk"}, bytes).out, HasSubstr("83886080 bytes unpacked"));
  EXPECT_TRUE(runSmall({"list", "package.tpk"}, bytes).exited(0));
  EXPECT_THAT(runSmall({"diff", "good.tpk", "package.tpk"}, bytes).out, HasSubstr("+ a "));
  EXPECT_TRUE(runSmall({"extract", "package.tpk", "-C", "out"}, bytes).exited(0));
  EXPECT_EQ(listTree(path("out/root"), kTreeSize), "/a file size=83886080\n");
}

TEST_F(HostileSize, EntriesThatMemoryCannotHoldAreRefused) {
  NEEDS_MEMORY_LIMIT();
  const std::string entry = ArchiveBuilder().directory("d").bytes();
  std::string entries;
  while (entries.size() < 260000 * entry.size()) entries += entry;
  const std::string bytes = package(ArchiveBuilder().raw(entries));
  writeFile(path("good.tpk"), package(ArchiveBuilder()));
  EXPECT_THAT(runSmall({"info", "package.tpk"}, bytes).out, HasSubstr("260000 entries"));
  const std::string refusal =
      "tpk: package.tpk: archive: it has more entries than any router holds\n";
  EXPECT_EQ(runSmall({"diff", "good.tpk", "package.tpk"}, bytes).err, refusal);
  EXPECT_EQ(runSmall({"extract", "package.tpk", "-C", "out"}, bytes).err, refusal);
  EXPECT_FALSE(exists(path("out")));
}

TEST_F(HostileSize, FoldersThatMemoryCannotHoldAreNotKept) {
  NEEDS_MEMORY_LIMIT();
  const auto deep = [](std::size_t levels) {
    std::string path;
    for (std::size_t i = 0; i < levels; ++i) path += "a/";
    return path;
  };
  ArchiveBuilder longest;
  ArchiveBuilder many;
  for (int i = 0; i < 100; ++i) longest.directory(std::to_string(i) + "/" + deep(32760));
  for (int i = 0; i < 1000; ++i) many.directory(std::to_string(i) + "/" + deep(2000));
  EXPECT_THAT(runSmall({"lint", "package.tpk"}, package(longest)).out,
              HasSubstr("its name is too long"));
  EXPECT_THAT(runSmall({"lint", "package.tpk"}, package(many), kForFindings).out,
              HasSubstr("endless-archive"));
  writeFile(path("good.tpk"), package(ArchiveBuilder()));
  EXPECT_TRUE(runSmall({"diff", "good.tpk", "package.tpk"}, package(longest)).exited(1));
}

using HostileFile = TpkProgram;

TEST_F(HostileFile, MessagesShowTheControlCharactersOfNames) {
  const std::string name = "a\x1b[31m\\b.tpk";
  writeFile(path(name), "no package");
  EXPECT_EQ(run({"info", name}).err,
            "tpk: a\\x1b[31m\\b.tpk: is no package: its first four bytes are not a package's\n");
}

// U+009B opens a control sequence on many terminals, and JSON may hold it as it is.
TEST_F(HostileFile, JsonShowsControlCharactersAsCodes) {
  PackBuilder builder;
  builder.header("ppp", 0x03166600)
      .part(kPartDescription,
            "a\xc2\x9b"
            "31m")
      .sign();
  writeFile(path("package.tpk"), builder.finish());
  const std::string out = run({"info", "--json", "package.tpk"}).out;
  EXPECT_THAT(out, HasSubstr("a\\u009b31m"));
  EXPECT_EQ(out.find('\x9b'), std::string::npos);
}

TEST_F(HostileFile, DevicesAreNoDescriptionsAndNoScripts) {
  writeFile(path("a/package.toml"),
            "name = \"a\"\nversion = \"1.0\"\noninstall = { file = \"/dev/zero\" }\n");
  const std::string refusal = "tpk: /dev/zero: is a device, not a file\n";
  EXPECT_EQ(run({"build", "/dev/zero"}).err, refusal);
  EXPECT_EQ(run({"build", "a"}).err, refusal);
  EXPECT_TRUE(run({"build", "a"}).exited(3));
}

// With the descriptor closed, or standing for the path.
class LostOutput : public TpkProgram {
 protected:
  ProcessResult runTo(const char* target, const std::vector<std::string>& arguments) const {
    Command command;
    command.words = {TPK_PROGRAM};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    const std::string folder = temp_.path();
    command.prepare = [folder, target] {
      if (chdir(folder.c_str()) != 0 || close(STDOUT_FILENO) != 0) return false;
      return !target || ::open(target, O_WRONLY) == STDOUT_FILENO;
    };
    return Process(command).wait(std::chrono::seconds(15));
  }
};

TEST_F(LostOutput, IsAFailureOfTheEnvironment) {
  writeFile(path("a.tpk"), PackBuilder().header("one", kVersion).finish());
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"verify", "a.tpk"},
                                             {"verify", "--json", "a.tpk"},
                                             {"digest", "a.tpk"},
                                             {"info", "a.tpk"},
                                             {"list", "--json", "a.tpk"},
                                             {"--help"}}) {
    for (const char* target : {static_cast<const char*>(nullptr), "/dev/full"}) {
      const ProcessResult result = runTo(target, words);
      EXPECT_TRUE(result.exited(3)) << words[0] << '\n' << result;
      EXPECT_THAT(result.err, HasSubstr("standard output: cannot be written"));
    }
  }
}

}  // namespace
