// The parts of a description that package.toml has lists for: relations between packages.
#pragma once

#include "model/packagedep.h"
#include "tools/tpk/make/tomltable.h"

#include <string>
#include <vector>

enum class Weights { kAllowed, kRefused };

// The entries of requires, provides, conflicts or turn-off. Throws Failure.
std::vector<PackageDep> readRelations(const TableReader& table, const char* key, Weights weights);

// A name becomes a directory of the router's database and a word in its lists. Throws Failure for
// one that cannot.
std::string checkedName(const TomlSource& source, const toml::node& node, const std::string& name);

std::uint32_t readVersion(const TableReader& table, const char* key);
