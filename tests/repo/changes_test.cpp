// State changes that are told of.
#include "repo/repo.h"
#include "tests/support/inroot.h"

namespace {

std::string drawn(const std::string& text) { return "\033[?25l\r" + text + "\r\033[?25h"; }
std::string spaces(std::size_t count) { return std::string(count, ' '); }

class EnableAndReport : public InRoot {
 protected:
  static std::string logged() {
    std::string text;
    for (const std::string& line : RepoAccess::logLines()) text += line + '\n';
    return text;
  }
  Package* add(const std::string& name) {
    auto* const package = new Package;
    package->name = name;
    package->version = 0x01006600;
    package->disabled = true;
    package->scheduledAction = kActionEnable;
    writeFile("/flash/var/pdb/" + name + "/disabled", "auto\n");
    repo_->addPackage(package);
    return package;
  }
};

TEST_F(EnableAndReport, VerboseTellsOfEach) {
  repo_->enableAndReport({add("one"), add("two")}, true);
  EXPECT_EQ(takeConsole(), drawn("enabling one-1.0...") + drawn(spaces(19)) + "enabled one-1.0\n" +
                               drawn("enabling two-1.0...") + drawn(spaces(19)) +
                               "enabled two-1.0\n");
  EXPECT_EQ(logged(), "enabled one-1.0\nenabled two-1.0\n");
}

TEST_F(EnableAndReport, OtherwiseItIsSilent) {
  repo_->setStatus("working");
  takeConsole();
  repo_->enableAndReport({add("one")}, false);
  EXPECT_EQ(takeConsole(), "");
  EXPECT_EQ(RepoAccess::status(), "working");
}

TEST_F(EnableAndReport, PackagesAreEnabled) {
  for (const bool verbose : {false, true}) {
    Package* const package = add("one");
    repo_->enableAndReport({package}, verbose);
    EXPECT_FALSE(package->disabled);
    EXPECT_EQ(package->scheduledAction, kActionNone);
    EXPECT_FALSE(exists("/flash/var/pdb/one/disabled"));
  }
}

TEST_F(EnableAndReport, OrderIsThatOfTheList) {
  Package* const one = add("one");
  Package* const two = add("two");
  repo_->enableAndReport({two, one}, true);
  EXPECT_EQ(logged(), "enabled two-1.0\nenabled one-1.0\n");
}

TEST_F(EnableAndReport, EmptyListDoesNothing) {
  repo_->enableAndReport({}, true);
  EXPECT_EQ(takeConsole(), "");
}

}  // namespace
