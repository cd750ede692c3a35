#include "tests/support/vectors.h"
#include "tests/tpk/lint/lintfixture.h"

namespace {

class LintContainer : public LintTest {
 protected:
  // A bundle whose second package is as given.
  static PackBuilder pair(const std::string& name, const std::vector<PackageDep>& requires_) {
    PackBuilder bundle = beginBundle();
    add(bundle, "one").sign();
    add(bundle, name, requires_);
    return bundle;
  }
};

TEST_F(LintContainer, WhatIsNoPackageIsRefused) {
  writeFile(path("text"), "something else");
  EXPECT_EQ(lint({path("text")}),
            "error refused: is no package: its first four bytes are not a package's\n");
}

TEST_F(LintContainer, DescriptionsThatBuildNothingAreRefused) {
  writeFile(path("package.toml"), "name = \"a name of more than 16 bytes\"\nversion = \"1.0\"\n");
  const std::string found = lint({temp_.path()});
  EXPECT_EQ(found.substr(0, 15), "error refused: ");
  EXPECT_NE(found.find("a name of more than 16 bytes"), std::string::npos) << found;
}

TEST_F(LintContainer, PartsBeforeTheFirstHeaderAreStrays) {
  PackBuilder package;
  package.part(99, "");
  EXPECT_EQ(lint(add(package).sign()), "warning stray-part: part of unknown type 99 at byte 8\n");
}

TEST_F(LintContainer, BytesBehindTheLastPartAreTold) {
  EXPECT_EQ(lint(begin().sign().raw("xyz")),
            "warning trailing-bytes: ends in 3 bytes that belong to no part\n");
}

TEST_F(LintContainer, DumbPackagesAreTold) {
  PackBuilder package(true);
  EXPECT_EQ(lint(add(package).sign()), "note dumb: is a dumb package\n");
}

TEST_F(LintContainer, ScriptsOfDumbPackagesFail) {
  PackBuilder package(true);
  EXPECT_EQ(lint(add(package).part(kPartOnInstall, "true\n").sign()),
            "note dumb: is a dumb package\n"
            "error dumb-script one-1.0: has a script\n");
}

TEST_F(LintContainer, UnknownPartsAreTold) {
  EXPECT_EQ(lint(begin().part(99, "abc").sign()),
            "warning unknown-part one-1.0: part of unknown type 99 at byte 98\n");
}

TEST_F(LintContainer, PartsBelongToBundlesOrToPackages) {
  EXPECT_EQ(lint(begin().list(kPartTurnOff, {}).sign()),
            "error foreign-part one-1.0: turn-off list at byte 98 in a single package\n");
  PackBuilder bundle = beginBundle().part(kPartOnInstall, "true\n");
  EXPECT_EQ(lint(add(bundle).sign()),
            "error foreign-part all-1.0: oninstall script at byte 58 in a bundle\n");
}

TEST_F(LintContainer, PartsHaveOneOrder) {
  EXPECT_EQ(lint(begin().archive(ArchiveBuilder()).list(kPartProvides, {{"web", 0, 0, 0}}).sign()),
            "error misplaced-part one-1.0: provides list at byte " +
                std::to_string(98 + 6 + ArchiveBuilder().deflated().size()) + " is too late\n");
  EXPECT_EQ(lint(begin().list(kPartRequires, {{"two", 0, 0, 0}}).sign()),
            "error misplaced-part one-1.0: requires list at byte 98 a second time\n");
}

TEST_F(LintContainer, PackagesAreSigned) {
  EXPECT_EQ(lint(begin()), "error unsigned one-1.0: is neither signed nor in the product's list\n");
}

TEST_F(LintContainer, ListedPackagesNeedNoSignature) {
  ProductInUse product("a");
  const PackBuilder package = begin();
  const std::string digest = package.digest();
  std::copy(digest.begin(), digest.end(), &product.data().knownDigests[0][0]);
  EXPECT_EQ(lint(package), "");
}

TEST_F(LintContainer, SignaturesAreGood) {
  const auto found = [](const std::string& text) {
    return "error bad-signature one-1.0: its signature " + text + "\n";
  };
  EXPECT_EQ(lint(begin().part(kPartSignature, "short")), found("is cut short"));
  EXPECT_EQ(lint(begin().part(kPartSignature, std::string(SignatureRecord::kSize, '\0'))),
            found("was made for other bytes"));
  const PackBuilder package = begin().sign();
  const ProductInUse other("a");
  EXPECT_EQ(lint(package), found("was made with another key"));
}

TEST_F(LintContainer, BundlesDoNotRequireWhatTheyCarry) {
  PackBuilder bundle = beginBundle().list(kPartRequires, {{"one", 0, 0, 0}});
  EXPECT_EQ(lint(add(bundle).sign()),
            "error bundle-requires-member all-1.0: requires one, which is its own one-1.0\n");
}

TEST_F(LintContainer, NamesOfMembersDiffer) {
  EXPECT_EQ(lint(pair("one", {system()}).sign()),
            "error repeated-member all-1.0: \"one\" is the name of more than one package\n");
  EXPECT_EQ(lint(pair("all", {system()}).sign()),
            "error repeated-member all-1.0: \"all\" is the name of more than one package\n");
}

TEST_F(LintContainer, OnlyMembersAreTurnedOff) {
  PackBuilder bundle = beginBundle().list(kPartTurnOff, {{"one", 0, 0, 0}, {"two", 0, 0, 0}});
  EXPECT_EQ(lint(add(bundle).sign()), "warning turn-off-non-member all-1.0: turns \"two\" off\n");
}

TEST_F(LintContainer, RequiredMembersComeFirst) {
  PackBuilder late = beginBundle();
  add(late, "one", {system(), {"two", 0, 0, 0}}).sign();
  EXPECT_EQ(lint(add(late, "two").sign()),
            "error member-before-requirement one-1.0: requires two, and two-1.0 comes later\n");
  EXPECT_EQ(lint(pair("two", {system(), {"one", 0, 0, 0}}).sign()), "");
}

TEST_F(LintContainer, RequiredMembersAreOn) {
  PackBuilder bundle = beginBundle().list(kPartTurnOff, {{"one", 0, 0, 0}});
  add(bundle, "one").sign();
  EXPECT_EQ(lint(add(bundle, "two", {system(), {"one", 0, 0, 0}}).sign()),
            "warning requires-turned-off two-1.0: requires one, which is turned off\n");
}

TEST_F(LintContainer, MembersInConflictComeDisabled) {
  PackBuilder bundle = beginBundle();
  add(bundle, "one").list(kPartConflicts, {{"two", 0, 0, 0}}).sign();
  EXPECT_EQ(lint(add(bundle, "two").sign()),
            "warning member-conflict two-1.0: is in conflict with one-1.0\n");
  PackBuilder turnedOff = beginBundle().list(kPartTurnOff, {{"two", 0, 0, 0}});
  add(turnedOff, "one").list(kPartConflicts, {{"two", 0, 0, 0}}).sign();
  EXPECT_EQ(lint(add(turnedOff, "two").sign()), "");
}

TEST_F(LintContainer, ImageMarkersBelongToTheFile) {
  PackBuilder bundle = beginBundle();
  EXPECT_EQ(lint(add(bundle).image().sign()),
            "warning image-in-member one-1.0: has an image marker\n");
  PackBuilder marked = beginBundle().image();
  EXPECT_EQ(lint(add(marked).sign()), "");
  EXPECT_EQ(lint(begin().image().sign()), "");
}

}  // namespace
