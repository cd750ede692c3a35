#include "tests/tpk/lint/lintfixture.h"
#include "tools/tpk/lint/bashcheck.h"

#include <cstdlib>

namespace {

class LintScripts : public LintTest {
 protected:
  using LintTest::lint;
  std::string lint(const std::string& script) const {
    return lint(begin().part(kPartOnInstall, script).sign());
  }
};

TEST_F(LintScripts, BashUnderstandsThem) {
  EXPECT_EQ(lint("if true; then\n  echo yes\nfi\n"), "");
  EXPECT_EQ(
      lint("if true; then\n  echo yes\n"),
      "error script-syntax one-1.0: oninstall: line 3: syntax error: unexpected end of file\n");
  EXPECT_EQ(lint("true\n)\n"),
            "error script-syntax one-1.0: oninstall: line 2: syntax error near unexpected token "
            "`)'\n");
}

TEST_F(LintScripts, BothAreLookedAt) {
  EXPECT_EQ(lint(begin().part(kPartOnInstall, "(").part(kPartOnUninstall, "(").sign()),
            "error script-syntax one-1.0: oninstall: line 2: syntax error: unexpected end of file\n"
            "error script-syntax one-1.0: onuninstall: line 2: syntax error: unexpected end of "
            "file\n"
            "note uninstall-script one-1.0: has an onuninstall script\n");
}

TEST_F(LintScripts, NothingOfThemIsRun) {
  EXPECT_EQ(lint("echo >" + path("witness") + "\n$(echo >" + path("witness") + ")\n"), "");
  EXPECT_FALSE(exists(path("witness")));
}

TEST_F(LintScripts, NothingElseIsRead) {
  writeFile(path("startup"), "echo >" + path("witness") + "\n");
  ::setenv("BASH_ENV", path("startup").c_str(), 1);
  ::setenv("ENV", path("startup").c_str(), 1);
  EXPECT_EQ(lint("true\n"), "");
  ::unsetenv("BASH_ENV");
  ::unsetenv("ENV");
  EXPECT_FALSE(exists(path("witness")));
}

TEST_F(LintScripts, WithoutBashTheyAreNotChecked) {
  const std::string before = std::getenv("PATH");
  ::setenv("PATH", temp_.path().c_str(), 1);
  EXPECT_EQ(findBash(), "");
  EXPECT_EQ(lint("("), "note script-unchecked one-1.0: oninstall was not checked\n");
  writeFile(path("bash"), "#!/bin/sh\nexit 0\n", 0755);
  EXPECT_EQ(findBash(), path("bash"));
  ::setenv("PATH", before.c_str(), 1);
}

TEST_F(LintScripts, BashThatDiesIsTold) {
  writeFile(path("bash"), "#!/bin/sh\nkill -9 $$\n", 0755);
  EXPECT_EQ(checkSyntax(path("bash"), "true\n"), "bash gave up on it");
}

TEST_F(LintScripts, EmptyOnesAreTold) {
  EXPECT_EQ(lint(" \n"), "note script-empty one-1.0: oninstall is empty\n");
}

TEST_F(LintScripts, LinesEndInLfAlone) {
  EXPECT_EQ(lint("true\r\n"),
            "error script-line-ends one-1.0: oninstall has lines that end in CR LF\n");
}

TEST_F(LintScripts, TheyRunInBash) {
  EXPECT_EQ(lint("#!/usr/bin/python\ntrue\n"),
            "warning script-interpreter one-1.0: oninstall begins with \"#!/usr/bin/python\"\n");
  for (const char* line : {"#!/bin/bash", "#!/bin/sh", "#! /bin/sh -e", "#!/usr/bin/env bash"})
    EXPECT_EQ(lint(std::string(line) + "\ntrue\n"), "") << line;
}

TEST_F(LintScripts, ImageMarkersDropInstallScripts) {
  EXPECT_EQ(lint(begin().image().part(kPartOnInstall, "true\n").sign()),
            "error image-drops-script one-1.0: has an image marker and an oninstall script\n");
}

TEST_F(LintScripts, DisabledPackagesDoNotRunThem) {
  PackBuilder bundle = beginBundle().list(kPartTurnOff, {{"one", 0, 0, 0}});
  EXPECT_EQ(lint(add(bundle).part(kPartOnInstall, "true\n").sign()),
            "warning turned-off-script one-1.0: is turned off and has an oninstall script\n");
}

TEST_F(LintScripts, UninstallScriptsAreOnlyStored) {
  EXPECT_EQ(lint(begin().part(kPartOnUninstall, "true\n").sign()),
            "note uninstall-script one-1.0: has an onuninstall script\n");
}

}  // namespace
