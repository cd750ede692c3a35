// The tables of a description in TOML, by key and type. What is wrong throws Failure:
// "file:line: what; the remedy".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <toml++/toml.h>

// One description file: where errors are, and what its paths are relative to.
class TomlSource {
 public:
  explicit TomlSource(const std::string& path) : path_(path) {}

  const std::string& path() const { return path_; }
  // "file:line"
  std::string where(const toml::node& node) const;
  [[noreturn]] void fail(const toml::node& node, const std::string& what) const;
  // A path of the description as the process has to open it.
  std::string resolve(const std::string& path) const;

 private:
  std::string path_;
};

toml::table parseToml(const std::string& path);

class TableReader {
 public:
  // Keys other than these are errors. source and table must outlive the object.
  TableReader(const TomlSource& source, const toml::table& table,
              const std::vector<std::string>& keys);

  const TomlSource& source() const { return source_; }
  const toml::table& table() const { return table_; }
  // Null when the key is not there.
  const toml::node* find(const std::string& key) const { return table_.get(key); }
  // example is what the remedy shows behind "key = ".
  const toml::node& need(const std::string& key, const std::string& example) const;

  // The text of a key that is there.
  std::string text(const std::string& key) const;
  std::string text(const std::string& key, const std::string& otherwise) const;
  bool flag(const std::string& key, bool otherwise = false) const;
  std::int64_t number(const std::string& key, std::int64_t least, std::int64_t most,
                      std::int64_t otherwise) const;
  // Empty when there is none.
  const toml::array& array(const std::string& key) const;

  std::string textOf(const toml::node& node, const std::string& key) const;

 private:
  const TomlSource& source_;
  const toml::table& table_;
};
