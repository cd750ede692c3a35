#include "tools/tpk/make/manifestlists.h"

#include "stream/packformat.h"
#include "tools/tpk/host/text.h"
#include "tools/tpk/read/versiontext.h"

#include <algorithm>
#include <limits>

namespace {

const char kRangeShape[] = "{ name = \"system\", min = \"3.20\", max = \"3.22\" }";

PackageDep readRelation(const TomlSource& source, const toml::node& node, Weights weights) {
  PackageDep dep;
  if (node.is_string()) {
    dep.name = checkedName(source, node, node.as_string()->get());
    return dep;
  }
  if (!node.is_table()) source.fail(node, std::string("expected a name or ") + kRangeShape);

  const TableReader table(source, *node.as_table(), {"name", "min", "max", "weight"});
  const toml::node& name = table.need("name", "\"system\"");
  dep.name = checkedName(source, name, table.text("name"));
  if (table.find("min")) dep.minVersion = readVersion(table, "min");
  if (table.find("max")) dep.maxVersion = readVersion(table, "max");
  if (dep.maxVersion != 0 && dep.maxVersion < dep.minVersion)
    source.fail(node, "max is below min: no version is in this range");
  const toml::node* const weight = table.find("weight");
  if (weight && weights == Weights::kRefused)
    source.fail(*weight, "only what a package provides has a weight; leave it out");
  dep.weight =
      static_cast<std::int32_t>(table.number("weight", std::numeric_limits<std::int32_t>::min(),
                                             std::numeric_limits<std::int32_t>::max(), 0));
  return dep;
}

}  // namespace

std::vector<PackageDep> readRelations(const TableReader& table, const char* key, Weights weights) {
  const toml::array& array = table.array(key);
  std::vector<PackageDep> list;
  for (const toml::node& node : array) list.push_back(readRelation(table.source(), node, weights));
  if (list.size() > std::numeric_limits<std::uint16_t>::max())
    table.source().fail(array, std::string(key) + " has more than 65535 entries");
  return list;
}

std::string checkedName(const TomlSource& source, const toml::node& node, const std::string& name) {
  const auto isBad = [](unsigned char c) { return c <= ' ' || c == '/' || c == 0x7f; };
  if (name.empty() || name == "." || name == "..") source.fail(node, quoted(name) + " is no name");
  if (name.size() > PackageHeader::kNameWidth)
    source.fail(node, "the name " + quoted(name) + " has " + std::to_string(name.size()) +
                          " bytes, " + std::to_string(PackageHeader::kNameWidth) + " are the most");
  if (std::any_of(name.begin(), name.end(), isBad))
    source.fail(node, "the name " + quoted(name) + " has white space or a \"/\" in it");
  return name;
}

std::uint32_t readVersion(const TableReader& table, const char* key) {
  const toml::node& node = table.need(key, "\"1.0\"");
  const std::string text = table.textOf(node, key);
  std::uint32_t version = 0;
  if (!parseVersion(text, version))
    table.source().fail(node, quoted(text) + " is no version such as 3.22, 3.22.1 or 3.20rc2");
  return version;
}
