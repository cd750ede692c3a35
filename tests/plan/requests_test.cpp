// What the planning cases cannot say: calls that no plan makes.
#include "tests/plan/planworld.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Requests : public PlanWorld {};

TEST_F(Requests, APlanFillsTheListsAnew) {
  Package* const a = add("a");
  Package* const b = add("b");
  a->scheduledAction = kActionUninstall;
  std::vector<Package*> removals = {b};
  std::vector<Package*> enables = {b};
  repo_->planRequests(removals, enables, 1);
  EXPECT_THAT(removals, ElementsAre(a));
  EXPECT_THAT(enables, IsEmpty());
}

TEST_F(Requests, APlanThatIsRefusedEmptiesTheLists) {
  Package* const a = add("a");
  a->scheduledAction = kActionUninstall;
  std::vector<Package*> removals = {a};
  std::vector<Package*> enables = {a};
  repo_->planRequests(removals, enables, 1);
  EXPECT_THAT(removals, IsEmpty());
  EXPECT_THAT(enables, IsEmpty());
  EXPECT_EQ(a->scheduledAction, kActionNone);
}

// A damaged record may hold any bytes.
TEST_F(Requests, ABundleWhoseNameOnlyBeginsAlikeIsAnotherOne) {
  using namespace std::string_literals;
  add("a");
  Package* const bundle = addBundle("b");
  add("c")->bundle.name = "b\0c"s;
  std::vector<Package*> removals;
  std::vector<Package*> enables;
  repo_->planRequests(removals, enables, 1);
  EXPECT_THAT(removals, ElementsAre(bundle));
  EXPECT_THAT(enables, IsEmpty());
}

TEST_F(Requests, RemovalsDisableWhateverIsNotToBeUninstalled) {
  const std::vector<Package*> list = {add("none"), add("enable"), add("disable"), add("uninstall")};
  list[1]->scheduledAction = kActionEnable;
  list[2]->scheduledAction = kActionDisable;
  list[3]->scheduledAction = kActionUninstall;
  repo_->executeRemovals(list, 1);
  EXPECT_THAT(messages(),
              ElementsAre("disabled none-1.0", "disabled enable-1.0", "disabled disable-1.0"));
  EXPECT_THAT(installed(),
              ElementsAre("none-1.0(disabled)", "enable-1.0(disabled)", "disable-1.0(disabled)"));
}

TEST_F(Requests, RemovalsTakeTheVeryPackageOutOfTheList) {
  add("a");
  Package* const second = add("a", k2_0);
  add("b");
  second->scheduledAction = kActionUninstall;
  repo_->executeRemovals({second}, 0);
  EXPECT_THAT(installed(), ElementsAre("a-1.0", "b-1.0"));
}

TEST_F(Requests, EnablingDoesNotLookAtTheAction) {
  Package* const a = add("a");
  a->disabled = true;
  a->scheduledAction = kActionUninstall;
  repo_->executeEnables({a}, 1);
  EXPECT_THAT(messages(), ElementsAre("enabled a-1.0"));
  EXPECT_THAT(installed(), ElementsAre("a-1.0"));
  EXPECT_EQ(a->scheduledAction, kActionNone);
}

TEST_F(Requests, QuietModeSilencesThem) {
  RepoAccess::fresh();
  repo_->init(true);
  takeConsole();
  Package* const a = add("a");
  Package* const b = add("b");
  add("c")->deps.push_back(dep("b"));
  a->scheduledAction = kActionDisable;
  b->scheduledAction = kActionDisable;
  EXPECT_EQ(repo_->scheduleAndExec(1), 1u);
  EXPECT_EQ(takeConsole(), "");
  EXPECT_THAT(RepoAccess::logLines(), IsEmpty());
  EXPECT_THAT(installed(), ElementsAre("a-1.0(disabled)", "b-1.0", "c-1.0"));
}

}  // namespace
