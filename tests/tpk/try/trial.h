// "tpk try" beside the real thing: the same files on a copy of a router and on the router.
#pragma once

#include "tests/program/pack.h"
#include "tests/support/privilege.h"
#include "tests/support/router.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

class Trial : public ::testing::Test {
 protected:
  using Words = std::vector<std::string>;

  void SetUp() override;
  // The part of it that needs no rights: a router with the package "system".
  void makeRouter();

  // A package file to be given, and dropped on the router.
  void give(const std::string& fileName, const std::string& bytes);
  void give(const Pack& pack) { give(pack.name + ".tpk", pack.file()); }
  void give(const BundlePack& bundle) { give(bundle.name + ".tpk", bundle.file()); }

  // The program with these words behind "try".
  ProcessResult tpk(const Words& words, const std::function<bool()>& prepare = {}) const;
  // Tries the files given on a backup of the router, which is left alone.
  nlohmann::json tryOut(const Words& options = {});
  // The same, and then the real installer does it on the router: the database, the flash, the drop
  // directory, the messages and the report must tell one story. The report is kept.
  void tryAndDo(const Words& options = {});

  // Of the report. What became of a package that was given: "upgraded from 3.21, disabled".
  std::string outcome(const std::string& package) const;
  std::string reason(const std::string& package) const;
  std::string fileReason(const std::string& fileName) const;
  // "slip-3.22 disabled", in the report's order.
  Words sideEffects() const;
  // Lines "ppp-3.22 enabled", as the report has the database.
  Words database() const;

  Router router;
  TempFolder temp;  // the files given are in it
  std::map<std::string, std::string> files;
  std::string backup;  // the router's root, unless a test says otherwise
  nlohmann::json report;
  int status = -1;

 private:
  Words realDatabase() const;
  Words sortedMessages() const;
  static std::string flashOf(const std::string& root);
  const nlohmann::json* find(const std::string& package) const;
};
