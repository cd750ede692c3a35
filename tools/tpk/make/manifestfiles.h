// The parts of a description that say which files a package has: files, exclude, rule, entry.
#pragma once

#include "tools/tpk/make/manifest.h"
#include "tools/tpk/make/tomltable.h"

// Fills the fields of the manifest that these keys are for. Reads nothing but the description.
// Throws Failure.
void readFileKeys(const TableReader& table, Manifest& manifest);
