// Changes of a package's state that are told of.
#include "package/package.h"
#include "repo/repo.h"
#include "stream/text.h"

namespace {

// By ScheduledAction.
constexpr const char* kDoing[] = {"", "uninstalling", "enabling", "disabling"};
constexpr const char* kDone[] = {"", "uninstalled", "enabled", "disabled"};

}  // namespace

void Repo::enableAndReport(const std::vector<Package*>& list, bool verbose) {
  for (Package* package : list) change(package, kActionEnable, verbose);
}

void Repo::change(Package* package, std::uint32_t action, bool verbose) {
  const std::string fullName = package->getFullName();
  if (verbose) setStatus(formatted("%s %s...", kDoing[action], fullName.c_str()));
  if (action == kActionUninstall) package->uninstall();
  if (action == kActionEnable) package->enable();
  if (action == kActionDisable) package->disable();
  if (verbose) log("%s %s", kDone[action], fullName.c_str());
}
