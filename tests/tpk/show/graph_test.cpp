#include "tools/tpk/show/graph.h"

#include "tests/support/process.h"
#include "tests/tpk/failuretext.h"
#include "tests/tpk/lint/lintfixture.h"

#include <gmock/gmock.h>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kDot[] = "/usr/bin/dot";

class PackageGraph : public LintTest {
 protected:
  std::string graph(const std::vector<PackBuilder>& packages) const {
    std::vector<std::string> files;
    for (const PackBuilder& package : packages)
      files.push_back(put(std::to_string(files.size()) + ".tpk", package));
    std::string text = packageGraph(files);
    if (exists(kDot)) expectDot(text);
    return text;
  }
  static ProcessResult dot(const std::string& text, const std::string& format) {
    Command command;
    command.words = {kDot, "-T" + format};
    command.input = text;
    return Process(command).wait(std::chrono::seconds(15));
  }
  static void expectDot(const std::string& text) {
    const ProcessResult result = dot(text, "canon");
    EXPECT_TRUE(result.exited(0)) << result << text;
    EXPECT_EQ(result.err, "") << text;
  }
};

TEST_F(PackageGraph, RequirementsLeadToWhatMeetsThem) {
  EXPECT_EQ(graph({begin("one", {{"two", kVersion, 0, 0}, {"web", 0, 0, 0}}),
                   begin("two", {}).list(kPartProvides, {{"web", kVersion, 0, 7}})}),
            "digraph packages {\n"
            "  rankdir=LR;\n"
            "  node [shape=box];\n"
            "  p0 [label=\"one-1.0\"];\n"
            "  p1 [label=\"two-1.0\"];\n"
            "  o0 [label=\"web >= 1.0\", shape=ellipse];\n"
            "  p0 -> p1;\n"
            "  p0 -> p1 [label=\"web\"];\n"
            "  p1 -> o0 [style=dotted, label=\"provides 7\"];\n"
            "}\n");
}

TEST_F(PackageGraph, RequirementsThatNothingMeetsAreRed) {
  const std::string text =
      graph({begin("one", {{"two", kVersion + 1, 0, 0}}), begin("two", {{"two", 0, 0, 0}})});
  EXPECT_THAT(text, HasSubstr("  o0 [label=\"two >= 1.0.1\", color=red, fontcolor=red, "
                              "style=dashed];\n"
                              "  o1 [label=\"two\", color=red, fontcolor=red, style=dashed];\n"
                              "  p0 -> o0 [color=red];\n"
                              "  p1 -> o1 [color=red];\n"));
  EXPECT_THAT(text, Not(HasSubstr("-> p1")));
}

TEST_F(PackageGraph, BundlesAreClusters) {
  PackBuilder bundle = beginBundle();
  add(bundle, "one", {});
  add(bundle, "two", {{"one", 0, 0, 0}});
  EXPECT_EQ(graph({bundle}),
            "digraph packages {\n"
            "  rankdir=LR;\n"
            "  node [shape=box];\n"
            "  subgraph cluster0 {\n"
            "    label=\"all-1.0\";\n"
            "    p0 [label=\"all-1.0\", shape=folder];\n"
            "    p1 [label=\"one-1.0\"];\n"
            "    p2 [label=\"two-1.0\"];\n"
            "  }\n"
            "  p2 -> p1;\n"
            "}\n");
}

TEST_F(PackageGraph, ConflictsAreDrawn) {
  const std::string text =
      graph({begin("one", {}).list(kPartConflicts, {{"two", 0, 0, 0}, {"old", 0, 0, 0}}),
             begin("two", {})});
  EXPECT_THAT(text, HasSubstr("  p0 -> p1 [color=orange, style=bold, arrowhead=tee, "
                              "label=\"conflicts\"];\n"));
  EXPECT_THAT(text, HasSubstr("o0 [label=\"old\", color=gray, style=dashed];\n"
                              "  p0 -> p1"));
  EXPECT_THAT(text, HasSubstr("  p0 -> o0 [color=gray, arrowhead=tee, label=\"conflicts\"];\n"));
}

TEST_F(PackageGraph, NamesAreOnlyLabels) {
  const std::string text =
      graph({begin("\"]; x [", {{"a\\n\\", 0, 0, 0}, {"&lt;\n\x1b\xff", 0, 0, 0}})});
  EXPECT_THAT(text, HasSubstr("  p0 [label=\"\\\"]; x [-1.0\"];\n"));
  EXPECT_THAT(text, HasSubstr("[label=\"a\\\\\\\\n\\\\\\\\\", color=red"));
  EXPECT_THAT(text, HasSubstr("[label=\"&amp;lt;\\\\n\\\\x1b\\\\xff\", color=red"));
}

// What is drawn is what the quoting means: backslash escapes and names of characters are taken
// back.
TEST_F(PackageGraph, LabelsAreDrawnAsTheyAre) {
  if (!exists(kDot)) GTEST_SKIP() << "needs graphviz";
  const ProcessResult result =
      dot("digraph { p [label=" + dotQuoted("a\"b\\N&lt;\n<c>") + "]; }", "plain");
  EXPECT_TRUE(result.exited(0)) << result;
  const ProcessResult svg =
      dot("digraph { p [label=" + dotQuoted("a\"b\\N&lt;\n<c>") + "]; }", "svg");
  EXPECT_THAT(svg.out, HasSubstr(">a&quot;b\\\\N&amp;lt;\\n&lt;c&gt;</text>"));
}

TEST_F(PackageGraph, DescriptionsAreBuilt) {
  writeFile(path("one/package.toml"), "name = \"one\"\nversion = \"1.0\"\n");
  EXPECT_THAT(packageGraph({path("one")}), HasSubstr("p0 [label=\"one-1.0\"];\n"));
}

TEST_F(PackageGraph, WhatIsNoPackageFails) {
  writeFile(path("text"), "something else");
  EXPECT_EQ(failureOf([this] { packageGraph({path("text")}); }),
            path("text") + ": is no package: its first four bytes are not a package's");
}

TEST_F(PackageGraph, DamagedFilesComeToAnEnd) {
  const std::string whole =
      begin("one", {{"two", 0, 0, 0}}).list(kPartProvides, {{"three", 0, 0, 0}}).finish();
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string flipped = whole;
    flipped[i] = static_cast<char>(flipped[i] ^ 0xff);
    for (const std::string& bytes : {whole.substr(0, i), flipped}) {
      writeFile(path("bad.tpk"), bytes);
      failureOf([this] { packageGraph({path("bad.tpk")}); });
    }
  }
}

}  // namespace
