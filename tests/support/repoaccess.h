// What tests see of the repository that nobody else does: its members, and a fresh start of the
// single object.
#pragma once

#include "package/package.h"
#include "repo/repo.h"

#include <list>
#include <set>
#include <string>
#include <vector>

class RepoAccess {
 public:
  // The single object as at the start of a run. Its packages are destroyed.
  static Repo* fresh() {
    Repo* const repo = Repo::getRepo();
    for (Package* package : repo->packages) delete package;
    repo->packages.clear();
    repo->usedFiles.clear();
    repo->status.clear();
    repo->logLines.clear();
    repo->quiet = false;
    repo->postlogLoaded = false;
    return repo;
  }
  static std::set<std::string>& usedFiles() { return Repo::getRepo()->usedFiles; }
  static const std::string& status() { return Repo::getRepo()->status; }
  static std::vector<std::string> logLines() {
    const std::list<std::string>& lines = Repo::getRepo()->logLines;
    return {lines.begin(), lines.end()};
  }
  static bool postlogLoaded() { return Repo::getRepo()->postlogLoaded; }
};
