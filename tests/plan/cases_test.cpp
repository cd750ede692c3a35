// Planning cases: every case of every text file in the folder that the build names is a test.
#include "tests/plan/caserun.h"
#include "tests/support/inroot.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class PlanCase : public testing::Test {
 public:
  explicit PlanCase(const CaseText& text) : text_(text) {}
  void TestBody() override { EXPECT_EQ(runCase(text_), "") << text_.place; }

 private:
  const CaseText text_;
};

class PlanCaseInRoot : public InRoot {
 public:
  explicit PlanCaseInRoot(const CaseText& text) : text_(text) {}
  void TestBody() override { EXPECT_EQ(runCase(text_), "") << text_.place; }

 private:
  const CaseText text_;
};

// A file that cannot be read as cases.
class BrokenCases : public testing::Test {
 public:
  explicit BrokenCases(const std::string& message) : message_(message) {}
  void TestBody() override { FAIL() << message_; }

 private:
  const std::string message_;
};

std::string testName(const std::string& title) {
  std::string name = title;
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

template <typename Fixture, typename Base, typename Argument>
void registerTest(const std::string& suite, const std::string& name, const Argument& argument) {
  testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                        [argument]() -> Base* { return new Fixture(argument); });
}

// Tests of one suite share their base, so cases with a root of their own are a suite of their own.
void registerCases(const std::filesystem::path& path) {
  const std::string suite = "PlanCases_" + path.stem().string();
  try {
    for (const CaseText& one : cutIntoCases(path.filename().string(), readFile(path.string()))) {
      if (needsRoot(one)) {
        registerTest<PlanCaseInRoot, InRoot>(suite + "_in_root", testName(one.title), one);
      } else {
        registerTest<PlanCase, testing::Test>(suite, testName(one.title), one);
      }
    }
  } catch (const CaseError& error) {
    registerTest<BrokenCases, testing::Test>(suite, "file", std::string(error.what()));
  }
}

bool registerAll() {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(PLAN_CASES_DIR)) {
    if (entry.path().extension() == ".txt") paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  for (const auto& path : paths) registerCases(path);
  return true;
}

[[maybe_unused]] const bool registered = registerAll();

std::string runText(const std::string& text) {
  return runCase(cutIntoCases("here", "== it\n" + text).front());
}

std::string errorOf(const std::string& text) {
  try {
    for (const CaseText& one : cutIntoCases("here", text)) runCase(one);
  } catch (const CaseError& error) {
    return error.what();
  }
  return {};
}

TEST(PlanCaseRunner, AcceptsWhatHappened) {
  EXPECT_EQ(runText("package a 1.0\ndo find a\nresult 0 a\n"), "");
}

TEST(PlanCaseRunner, ShowsWhatWasExpectedAndWhatHappened) {
  const std::string difference = runText("package a 1.0\ndo find a\nresult 1 a\n");
  EXPECT_THAT(difference, HasSubstr("here:3: do find a"));
  EXPECT_THAT(difference, HasSubstr("expected:\n  result 1 a\n"));
  EXPECT_THAT(difference, HasSubstr("happened:\n  result 0 a\n"));
}

TEST(PlanCaseRunner, NoticesAMessageTooMany) {
  EXPECT_THAT(runText("package a 1.0\ncandidate b = a 1.0\ndo check b\nresult same\n"),
              HasSubstr("happened:\n  say WARNING: omitting package a-1.0"));
}

TEST(PlanCaseRunner, NoticesTheFirstOfSeveralOperations) {
  EXPECT_THAT(runText("do find a\nresult 0 a\ndo find b\nresult -1 none\n"),
              HasSubstr("do find a"));
}

TEST(PlanCaseRunner, RefusesTextThatItDoesNotUnderstand) {
  EXPECT_EQ(errorOf("package a 1.0\n"), "here:1: this stands in front of the first case");
  EXPECT_EQ(errorOf("# nothing\n"), "here: there is no case");
  EXPECT_EQ(errorOf("== a\n== a\n"), "here:2: there is a case of this title already");
  EXPECT_EQ(errorOf("== a\npackage a 1.0\n"), "here:1: the case does nothing");
  EXPECT_EQ(errorOf("== a\ndo find a\n"), "here:2: do find a: nothing is expected of this");
  EXPECT_EQ(errorOf("== a\npackage a\n"), "here:2: a version is missing");
  EXPECT_EQ(errorOf("== a\npackage a 1\n"), "here:2: \"1\" is no version");
  EXPECT_EQ(errorOf("== a\npackage a 1.0 enabled\n"), "here:2: \"enabled\" is not understood");
  EXPECT_EQ(errorOf("== a\npackage a 1.0\npackage a 1.0\n"), "here:3: the label a is taken");
  EXPECT_EQ(errorOf("== a\npackage '' 0\n"), "here:2: it needs another label");
  EXPECT_EQ(errorOf("== a\nrequires a\n"), "here:2: \"requires\" is not understood");
  EXPECT_EQ(errorOf("== a\npackage a 1.0\nrequires b 1.0\n"), "here:3: \"..\" is missing");
  EXPECT_EQ(errorOf("== a\ndo nothing\n"), "here:2: there is no operation \"nothing\"");
  EXPECT_EQ(errorOf("== a\ndo check b\n"), "here:2: nothing has this label");
  EXPECT_EQ(errorOf("== a\ncandidate b 1.0\ndo check b with force\n"),
            "here:3: there is no such flag");
  EXPECT_EQ(errorOf("== a\ndo find a b\n"), "here:2: \"b\" is not understood");
}

}  // namespace
