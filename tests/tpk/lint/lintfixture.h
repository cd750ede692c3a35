// Packages for the checks of tpk lint, and what the checks find.
#pragma once

#include "model/version.h"
#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tools/tpk/lint/lint.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

class LintTest : public ::testing::Test {
 protected:
  enum : std::uint32_t { kNow = 2000000000, kBuildTime = 1000 };
  static constexpr std::uint32_t kVersion = packVersion(1, 0, kKindFinal, 0);
  static constexpr std::uint32_t kSystemVersion = packVersion(3, 22, kKindFinal, 0);

  LintTest() { options_.now = kNow; }

  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }

  // A package file of the test's folder; the result is its path.
  std::string put(const std::string& name, const PackBuilder& package) const {
    writeFile(path(name), package.finish());
    return path(name);
  }

  static PackageDep system() { return {"system", kSystemVersion, 0, 0}; }

  // The beginning of a package with which nothing is wrong.
  static PackBuilder begin(const std::string& name = "one",
                           const std::vector<PackageDep>& requires_ = {system()}) {
    PackBuilder package;
    add(package, name, requires_);
    return package;
  }
  static PackBuilder beginBundle(const std::string& name = "all") {
    PackBuilder bundle;
    bundle.bundleHeader(name, kVersion, kBuildTime).part(kPartArchitecture, "mipsel");
    return bundle;
  }
  static PackBuilder& add(PackBuilder& package, const std::string& name = "one",
                          const std::vector<PackageDep>& requires_ = {system()}) {
    package.header(name, kVersion, kBuildTime).part(kPartArchitecture, "mipsel");
    return package.list(kPartRequires, requires_);
  }

  // Findings, one a line: "error id package entry: text".
  std::string lint(const std::vector<std::string>& files) const {
    std::string lines;
    for (const LintFinding& finding : lintFiles(files, options_)) {
      lines += std::string(severityWord(finding.rule->severity)) + " " + finding.rule->id;
      for (const std::string* place : {&finding.package, &finding.entry})
        if (!place->empty()) lines += " " + *place;
      lines += ": " + finding.text + "\n";
    }
    return lines;
  }
  std::string lint(const PackBuilder& package) const { return lint({put("one.tpk", package)}); }
  // Of a package with this archive.
  std::string lint(const ArchiveBuilder& archive) const {
    return lint(begin().archive(archive).sign());
  }

  TempFolder temp_;
  LintOptions options_;
};
