// The files of one package, out of its description.
//
// In this order: what the sources bring, later ones over earlier ones; the declared entries; then
// the rules; then what entries say of themselves.
#pragma once

#include "tools/tpk/make/filetree.h"
#include "tools/tpk/make/inputs.h"
#include "tools/tpk/make/manifest.h"

#include <string>
#include <vector>

// Everything but times and rules, for which the build time must be known. Throws Failure.
FileTree collectFiles(const Manifest& manifest, Spool& spool, Inputs& inputs,
                      std::vector<std::string>& warnings);

// The rest; every node has a time afterwards. Throws Failure for rules that match nothing and for
// paths that the router refuses.
void settleFiles(const Manifest& manifest, std::uint32_t buildTime, FileTree& tree);
