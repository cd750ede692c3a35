#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"
#include "tests/tpk/program.h"

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

class ProductCommand : public TpkProgram {
 protected:
  ProductCommand() { EXPECT_TRUE(run({"product", "new", "mine"}).exited(0)); }

  PackBuilder package(const std::string& name) const {
    PackBuilder builder;
    builder.header(name, kVersion).part(kPartArchitecture, "mipsel");
    writeFile(path(name + ".tpk"), builder.finish());
    return builder;
  }
  ProcessResult add(std::vector<std::string> files) const {
    files.insert(files.begin(), {"product", "add-digest", "mine"});
    return run(files);
  }
  std::string list() const { return readFile(path("mine/known-digests")); }
  void writeList(const std::string& text) const { writeFile(path("mine/known-digests"), text); }

  // The list with so many free places before a text.
  static std::string freePlaces(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += std::string(40, 'f') + "\n";
    return text;
  }
};

TEST_F(ProductCommand, CheckSaysThatADevelopmentSetIsGood) {
  const ProcessResult result = run({"product", "check", "mine"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out, HasSubstr("mine/public-key: a point of the curve\n"));
  EXPECT_THAT(result.out, EndsWith("mine: good; a development set: has its signing key\n"));
  EXPECT_EQ(result.err, "");
}

TEST_F(ProductCommand, CheckSaysThatASetToBuildForIsGood) {
  removeTree(path("mine/signing-key"));
  const ProcessResult result = run({"product", "check", "mine"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(result.out,
              EndsWith("mine/known-digests: 953 digests, 953 places free\nmine: good\n"));
}

TEST_F(ProductCommand, CheckFindsEveryProblem) {
  removeTree(path("mine/hash-state"));
  writeFile(path("mine/root-selector"), std::string(64, '0'));
  const ProcessResult result = run({"product", "check", "mine"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(result.err,
            "tpk: mine/hash-state: cannot be opened: No such file or directory\n"
            "tpk: mine/root-selector: its square is not -1\n");
  EXPECT_THAT(result.out, Not(HasSubstr("mine: good")));
}

TEST_F(ProductCommand, CheckWarnsOfAKeyThatOthersCanRead) {
  chmod(path("mine/signing-key").c_str(), 0644);
  const ProcessResult result = run({"product", "check", "mine"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.err,
            "tpk: warning: mine/signing-key: others can read it; remedy: chmod go= "
            "mine/signing-key\n");
}

TEST_F(ProductCommand, TheDevelopmentSetOfTheProjectIsGood) {
  const ProcessResult result = run({"product", "check", PRODUCT_DATA_DIR});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.err, "");
}

TEST_F(ProductCommand, MissingFolderIsTheEnvironments) {
  EXPECT_TRUE(run({"product", "check", "missing"}).exited(3));
  package("one");
  EXPECT_TRUE(run({"product", "add-digest", "missing", "one.tpk"}).exited(3));
}

TEST_F(ProductCommand, AddedDigestsLetPackagesIn) {
  const PackBuilder one = package("one");
  const PackBuilder two = package("two");
  EXPECT_TRUE(run({"verify", "--product", "mine", "one.tpk"}).exited(1));
  const ProcessResult result = add({"one.tpk", "two.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "one 3.22: added\ntwo 3.22: added\nmine: 951 places free\n");
  EXPECT_TRUE(run({"verify", "--product", "mine", "one.tpk", "two.tpk"}).exited(0));
  EXPECT_THAT(list(), HasSubstr("ones.\n" + hex(one.digest()) + "  # one 3.22\n" +
                                hex(two.digest()) + "  # two 3.22\n" + freePlaces(951)));
}

TEST_F(ProductCommand, AddsEveryPackageOfABundle) {
  PackBuilder bundle;
  bundle.bundleHeader("pair", kVersion).raw(package("one").finish().substr(8));
  bundle.raw(package("two").finish().substr(8));
  writeFile(path("pair.tpk"), bundle.finish());
  EXPECT_EQ(add({"pair.tpk"}).out, "one 3.22: added\ntwo 3.22: added\nmine: 951 places free\n");
  EXPECT_TRUE(run({"verify", "--product", "mine", "pair.tpk"}).exited(0));
}

// What stands there stays as it stands, with its file's mode.
TEST_F(ProductCommand, KeepsTheListsLayout) {
  const std::string used(40, '0');
  const std::string empty(40, 'f');
  writeList("# mine\r\n\n  " + used + "  " + empty + " # two a line\n" + empty + "#kept\n\t" +
            empty + " \t\r\n" + used + " " + empty + freePlaces(0) + "\n" + freePlaces(947) +
            "# end");
  chmod(path("mine/known-digests").c_str(), 0640);
  std::string digests[4];
  const std::string names[] = {"one", "two", "three", "four"};
  for (int i = 0; i < 4; ++i) digests[i] = hex(package(names[i]).digest());
  const ProcessResult result = add({"one.tpk", "two.tpk", "three.tpk", "four.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(list(), "# mine\r\n\n  " + used + "  " + digests[0] + " # two a line\n" + digests[1] +
                        "#kept\n\t" + digests[2] + "  # three 3.22 \t\r\n" + used + " " +
                        digests[3] + "  # four 3.22\n" + freePlaces(947) + "# end");
  EXPECT_THAT(listTree(path("mine"), kTreeMode), HasSubstr("/known-digests file 0640\n"));
  EXPECT_TRUE(run({"product", "check", "mine"}).exited(0));
}

TEST_F(ProductCommand, RefusesADigestThatIsThere) {
  package("one");
  EXPECT_TRUE(add({"one.tpk"}).exited(0));
  package("two");
  const std::string before = list();
  const ProcessResult again = add({"two.tpk", "one.tpk"});
  EXPECT_TRUE(again.exited(1)) << again;
  EXPECT_EQ(again.err, "tpk: mine/known-digests: has the digest of one 3.22 already\n");
  EXPECT_TRUE(add({"two.tpk", "two.tpk"}).exited(1));
  EXPECT_EQ(list(), before);
}

TEST_F(ProductCommand, RefusesMoreThanThereAreFreePlaces) {
  std::string used;
  for (int i = 0; i < 952; ++i) used += std::string(39, '0') + "1\n";
  writeList(used + freePlaces(1));
  package("one");
  package("two");
  const ProcessResult result = add({"one.tpk", "two.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(result.err, "tpk: mine/known-digests: needs 2 free places (40 digits f) and has 1\n");
  EXPECT_EQ(list(), used + freePlaces(1));
  EXPECT_EQ(add({"two.tpk"}).out, "two 3.22: added\nmine: 0 places free\n");
}

TEST_F(ProductCommand, RefusesSignedPackages) {
  writeFile(path("one.tpk"), package("one").sign().finish());
  const std::string before = list();
  const ProcessResult result = add({"one.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(result.err,
            "tpk: one.tpk: one 3.22 is signed, and the list is for packages that are not; remedy: "
            "tpk unsign\n");
  EXPECT_EQ(list(), before);
}

// The two halves of the work: who has the list, and who has the package.
TEST_F(ProductCommand, DigestPrintsTheLineThatAddDigestWrites) {
  package("one");
  const std::string line = run({"digest", "one.tpk"}).out;
  EXPECT_TRUE(add({"one.tpk"}).exited(0));
  EXPECT_THAT(list(), HasSubstr("\n" + line));
}

}  // namespace
