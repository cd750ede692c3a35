#include "tools/tpk/make/tomltext.h"

#include "tools/tpk/make/glob.h"

#include <gtest/gtest.h>
#include <toml++/toml.h>

namespace {

TEST(TomlText, ReadsBackAsItWas) {
  std::string text = "\"quoted\" \\ back\r\n\ttab \x1B\x7F \xC3\xBC";
  text += '\0';
  EXPECT_EQ(toml::parse("a = " + tomlText(text))["a"].value<std::string>(), text);
  EXPECT_EQ(tomlText("a\nb"), "\"a\\nb\"");
}

TEST(TomlText, LiteralPatternsMatchThePathOnly) {
  for (const std::string path : {"bin/a", "a*b?[c]", "back\\slash", "**"}) {
    EXPECT_EQ(Glob(literalPattern(path)).literal(), path);
  }
}

TEST(TomlText, DependenciesAreAsShortAsTheyCanBe) {
  PackageDep plain;
  plain.name = "system";
  PackageDep full = plain;
  full.minVersion = 0x03146302;
  full.maxVersion = 0x03166600;
  full.weight = -3;
  EXPECT_EQ(tomlDeps({}), "[]");
  EXPECT_EQ(tomlDeps({plain, full}),
            "[\"system\", { name = \"system\", min = \"3.20rc2\", max = \"3.22\", weight = -3 }]");
}

}  // namespace
