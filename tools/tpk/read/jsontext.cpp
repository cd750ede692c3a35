#include "tools/tpk/read/jsontext.h"

#include "model/version.h"
#include "tools/tpk/host/hextext.h"
#include "tools/tpk/host/printable.h"

void putText(Json& object, const std::string& key, const std::string& text) {
  if (isUtf8(text)) {
    object[key] = text;
  } else {
    object[key] = printable(text);
    object[key + "-hex"] = hexText(text);
  }
}

Json versionJson(std::uint32_t version) {
  return version == 0 ? Json(nullptr) : Json(versionString(version));
}

std::string jsonText(const Json& value, int indent) { return value.dump(indent, ' ', true); }

Json depsJson(const std::vector<PackageDep>& list, bool withWeight) {
  Json array = Json::array();
  for (const PackageDep& dep : list) {
    Json entry = Json::object();
    putText(entry, "name", dep.name);
    entry["min"] = versionJson(dep.minVersion);
    entry["max"] = versionJson(dep.maxVersion);
    if (withWeight) entry["weight"] = dep.weight;
    array.push_back(entry);
  }
  return array;
}
