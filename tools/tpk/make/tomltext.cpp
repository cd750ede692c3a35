#include "tools/tpk/make/tomltext.h"

#include "model/version.h"

#include <cstdio>

namespace {

std::string tomlDep(const PackageDep& dep) {
  if (dep.minVersion == 0 && dep.maxVersion == 0 && dep.weight == 0) return tomlText(dep.name);
  std::string text = "{ name = " + tomlText(dep.name);
  if (dep.minVersion != 0) text += ", min = " + tomlText(versionString(dep.minVersion));
  if (dep.maxVersion != 0) text += ", max = " + tomlText(versionString(dep.maxVersion));
  if (dep.weight != 0) text += ", weight = " + std::to_string(dep.weight);
  return text + " }";
}

}  // namespace

std::string tomlText(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      char code[8];
      std::snprintf(code, sizeof code, "\\u%04X", unsigned{byte});
      out += code;
    } else {
      out += c;
    }
  }
  return out + '"';
}

std::string literalPattern(const std::string& path) {
  std::string pattern;
  for (const char c : path) {
    if (c == '*' || c == '?' || c == '[' || c == '\\') pattern += '\\';
    pattern += c;
  }
  return pattern;
}

std::string tomlDeps(const std::vector<PackageDep>& list) {
  std::string text = "[";
  for (const PackageDep& dep : list) text += (text.size() > 1 ? ", " : "") + tomlDep(dep);
  return text + "]";
}
