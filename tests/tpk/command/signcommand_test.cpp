#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"
#include "tests/tpk/program.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using ::testing::HasSubstr;

std::string unsignedPackage(const std::string& name) {
  return PackBuilder().header(name, kVersion).part(kPartArchitecture, "mips").finish();
}

std::string signedPackage(const std::string& name) {
  return PackBuilder().header(name, kVersion).part(kPartArchitecture, "mips").sign().finish();
}

class SignCommand : public TpkProgram {
 protected:
  ProcessResult sign(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.insert(arguments.begin(), {"sign", "--key", PRODUCT_DATA_DIR});
    return run(arguments, input);
  }
};

TEST_F(SignCommand, SignsFilesInTheirPlace) {
  writeFile(path("one.tpk"), unsignedPackage("one"), 0640);
  writeFile(path("two.tpk"), unsignedPackage("two"));
  const ProcessResult result = sign({"one.tpk", "two.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "one.tpk: signed\ntwo.tpk: signed\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(readFile(path("one.tpk")), signedPackage("one"));
  EXPECT_EQ(readFile(path("two.tpk")), signedPackage("two"));
  EXPECT_EQ(listTree(temp_.path(), kTreeMode), "/one.tpk file 0640\n/two.tpk file 0644\n");
}

TEST_F(SignCommand, WritesAnotherFile) {
  writeFile(path("in.tpk"), unsignedPackage("one"));
  const ProcessResult result = sign({"in.tpk", "-o", "out.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "out.tpk: signed\n");
  EXPECT_EQ(readFile(path("in.tpk")), unsignedPackage("one"));
  EXPECT_EQ(readFile(path("out.tpk")), signedPackage("one"));
}

TEST_F(SignCommand, ReadsAndWritesStreams) {
  const ProcessResult result = sign({"-"}, unsignedPackage("one"));
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(result.out == signedPackage("one"));
  EXPECT_TRUE(run({"unsign", "-"}, result.out).out == unsignedPackage("one"));

  EXPECT_TRUE(sign({"-", "-o", "one.tpk"}, unsignedPackage("one")).exited(0));
  EXPECT_EQ(readFile(path("one.tpk")), signedPackage("one"));
  EXPECT_TRUE(run({"unsign", "one.tpk", "-o", "-"}).out == unsignedPackage("one"));
  EXPECT_EQ(listTree(temp_.path(), 0), "/one.tpk file\n");
}

TEST_F(SignCommand, OneOutputIsForOneFile) {
  writeFile(path("one.tpk"), unsignedPackage("one"));
  const ProcessResult result = sign({"one.tpk", "one.tpk", "-o", "out.tpk"});
  EXPECT_TRUE(result.exited(2)) << result;
  EXPECT_EQ(result.err, "tpk: --output takes one package file\n");
  EXPECT_EQ(readFile(path("one.tpk")), unsignedPackage("one"));
}

TEST_F(SignCommand, LeavesABrokenFileAlone) {
  writeFile(path("one.tpk"), "no package");
  const ProcessResult result = sign({"one.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("tpk: one.tpk: is no package"));
  EXPECT_EQ(readFile(path("one.tpk")), "no package");
  EXPECT_EQ(listTree(temp_.path(), 0), "/one.tpk file\n");
}

TEST_F(SignCommand, NeedsAKey) {
  writeFile(path("one.tpk"), unsignedPackage("one"));
  EXPECT_TRUE(run({"sign", "one.tpk"}).exited(2));
  EXPECT_TRUE(run({"sign", "--key", "missing", "one.tpk"}).exited(3));
  EXPECT_EQ(readFile(path("one.tpk")), unsignedPackage("one"));
}

TEST_F(SignCommand, WarnsOnceOfAKeyThatOthersCanRead) {
  writeFile(path("one.tpk"), unsignedPackage("one"));
  EXPECT_TRUE(run({"product", "new", "mine"}).exited(0));
  EXPECT_EQ(run({"sign", "--key", "mine", "one.tpk"}).err, "");
  for (const mode_t mode : {0640U, 0604U, 0644U}) {
    chmod(path("mine/signing-key").c_str(), mode);
    const ProcessResult result = run({"sign", "--key", "mine", "one.tpk", "one.tpk"});
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(result.err,
              "tpk: warning: mine/signing-key: others can read it; remedy: chmod go= "
              "mine/signing-key\n");
  }
}

TEST_F(SignCommand, ADevelopmentKeyIsNoSecret) {
  writeFile(path("one.tpk"), unsignedPackage("one"));
  EXPECT_TRUE(run({"product", "new", "mine"}).exited(0));
  writeFile(path("mine/signing-key"), "# A development key.\n" + readFile(path("mine/signing-key")),
            0644);
  chmod(path("mine/signing-key").c_str(), 0644);
  EXPECT_EQ(run({"sign", "--key", "mine", "one.tpk"}).err, "");
}

class UnsignCommand : public TpkProgram {};

TEST_F(UnsignCommand, TakesSignaturesAway) {
  writeFile(path("one.tpk"), signedPackage("one"));
  writeFile(path("two.tpk"), signedPackage("two"));
  const ProcessResult result = run({"unsign", "one.tpk", "two.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "one.tpk: unsigned\ntwo.tpk: unsigned\n");
  EXPECT_EQ(readFile(path("one.tpk")), unsignedPackage("one"));
  EXPECT_EQ(readFile(path("two.tpk")), unsignedPackage("two"));
}

class DigestCommand : public TpkProgram {};

TEST_F(DigestCommand, PrintsALineForEveryPackage) {
  PackBuilder one;
  PackBuilder two;
  PackBuilder bundle;
  one.header("one", kVersion).part(kPartArchive, "files of one");
  two.header("two", kVersion).part(kPartArchive, "files of two");
  bundle.bundleHeader("pair", kVersion).raw(one.finish().substr(8)).raw(two.finish().substr(8));
  writeFile(path("pair.tpk"), bundle.finish());
  writeFile(path("one.tpk"), one.finish());
  const ProcessResult result = run({"digest", "pair.tpk", "one.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, hex(one.digest()) + "  # one 3.22\n" + hex(two.digest()) +
                            "  # two 3.22\n" + hex(one.digest()) + "  # one 3.22\n");
}

TEST_F(DigestCommand, ReadsAStream) {
  PackBuilder one;
  one.header("one", kVersion);
  EXPECT_EQ(run({"digest", "-"}, one.finish()).out, hex(one.digest()) + "  # one 3.22\n");
}

// Its digest is that of which the signature speaks: the header of the signature counts.
TEST_F(DigestCommand, SaysWhatIsSigned) {
  const std::string package = signedPackage("one");
  writeFile(path("one.tpk"), package);
  EXPECT_EQ(run({"digest", "one.tpk"}).out,
            hex(package.substr(package.size() - 68, 20)) + "  # one 3.22 (signed)\n");
}

TEST_F(DigestCommand, NamesDoNotLeaveTheirLine) {
  PackBuilder package;
  package.header("a\nb", kVersion);
  writeFile(path("one.tpk"), package.finish());
  EXPECT_EQ(run({"digest", "one.tpk"}).out, hex(package.digest()) + "  # a\\nb 3.22\n");
}

}  // namespace
