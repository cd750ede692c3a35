#include "tools/tpk/make/tomltable.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/text.h"

#include <algorithm>

namespace {

// Ends in "/"; empty for the folder that is current.
std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

std::string unknownKey(const std::string& key, const std::vector<std::string>& known) {
  const std::string text = "unknown key " + quoted(key) + "; ";
  const std::string meant = nearestWord(key, known);
  if (!meant.empty()) return text + "did you mean " + quoted(meant) + "?";
  std::string list;
  for (const std::string& word : known) list += (list.empty() ? "" : ", ") + word;
  return text + "known here are " + list;
}

// Each dot of a key is a table within a table, and the library takes them apart by recursion.
void refuseDeepKeys(const std::string& path, const std::string& text) {
  enum : std::ptrdiff_t { kMostDots = 1000 };
  std::size_t line = 1;
  for (std::size_t begin = 0; begin < text.size(); ++line) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const auto first = text.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto last = text.begin() + static_cast<std::ptrdiff_t>(end);
    if (std::count(first, std::find(first, last, '='), '.') > kMostDots)
      throw Failure(path + ":" + std::to_string(line) + ": a key of more than " +
                    std::to_string(std::ptrdiff_t{kMostDots}) + " parts");
    begin = end + 1;
  }
}

}  // namespace

std::string TomlSource::where(const toml::node& node) const {
  return path_ + ":" + std::to_string(node.source().begin.line);
}

void TomlSource::fail(const toml::node& node, const std::string& what) const {
  throw Failure(where(node) + ": " + what);
}

std::string TomlSource::resolve(const std::string& path) const {
  return !path.empty() && path[0] == '/' ? path : folderOf(path_) + path;
}

toml::table parseToml(const std::string& path) {
  const std::string text = readHostFile(path);
  refuseDeepKeys(path, text);
  try {
    return toml::parse(text, path);
  } catch (const toml::parse_error& error) {
    throw Failure(path + ":" + std::to_string(error.source().begin.line) + ": " +
                  std::string(error.description()));
  }
}

TableReader::TableReader(const TomlSource& source, const toml::table& table,
                         const std::vector<std::string>& keys)
    : source_(source), table_(table) {
  for (const auto& [key, value] : table) {
    const std::string word(key.str());
    if (std::find(keys.begin(), keys.end(), word) == keys.end())
      source.fail(value, unknownKey(word, keys));
  }
}

const toml::node& TableReader::need(const std::string& key, const std::string& example) const {
  const toml::node* const node = find(key);
  if (!node) source_.fail(table_, key + " is missing; add " + key + " = " + example);
  return *node;
}

std::string TableReader::text(const std::string& key) const { return textOf(*find(key), key); }

std::string TableReader::text(const std::string& key, const std::string& otherwise) const {
  return find(key) ? text(key) : otherwise;
}

bool TableReader::flag(const std::string& key, bool otherwise) const {
  const toml::node* const node = find(key);
  if (!node) return otherwise;
  if (!node->is_boolean()) source_.fail(*node, key + " must be true or false");
  return node->as_boolean()->get();
}

std::int64_t TableReader::number(const std::string& key, std::int64_t least, std::int64_t most,
                                 std::int64_t otherwise) const {
  const toml::node* const node = find(key);
  if (!node) return otherwise;
  if (!node->is_integer()) source_.fail(*node, key + " must be a whole number");
  const std::int64_t value = node->as_integer()->get();
  if (value < least || value > most)
    source_.fail(*node,
                 key + " must be from " + std::to_string(least) + " to " + std::to_string(most));
  return value;
}

const toml::array& TableReader::array(const std::string& key) const {
  static const toml::array none;
  const toml::node* const node = find(key);
  if (!node) return none;
  if (!node->is_array()) source_.fail(*node, key + " must be a list: [...]");
  return *node->as_array();
}

std::string TableReader::textOf(const toml::node& node, const std::string& key) const {
  if (!node.is_string()) source_.fail(node, key + " must be a text in quotation marks");
  return node.as_string()->get();
}
