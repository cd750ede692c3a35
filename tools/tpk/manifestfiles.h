// The parts of a description that say which files a package has: files, exclude, rule, entry.
#pragma once

#include "tools/tpk/manifest.h"
#include "tools/tpk/tomltable.h"

// Fills the fields of the manifest that these keys are for. Reads nothing but the description.
// Throws Failure.
void readFileKeys(const TableReader& table, Manifest& manifest);
