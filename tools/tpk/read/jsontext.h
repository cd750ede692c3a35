// Pieces of what commands print with --json. Only for files that build JSON: the header is a large
// one.
#pragma once

#include "model/packagedep.h"

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

// Keys stay in the order in which they were put in.
using Json = nlohmann::ordered_json;

// A text of a package. JSON has no way to say bytes that are not UTF-8: these become printable()
// under the key, and the bytes in hex digits stand beside it under KEY-hex.
void putText(Json& object, const std::string& key, const std::string& text);

// The text form, or null for the open end of a range.
Json versionJson(std::uint32_t version);

// The text of a value, on one line when indent is negative. In ASCII: a terminal may be looking,
// and control characters of Unicode are valid in JSON.
std::string jsonText(const Json& value, int indent = 2);

Json depsJson(const std::vector<PackageDep>& list, bool withWeight = false);
