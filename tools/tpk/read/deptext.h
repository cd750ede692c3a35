// Entries of requires, provides and conflicts lists as people read them.
#pragma once

#include "model/packagedep.h"

#include <string>

// "system", "system >= 3.20", "system <= 3.22", "system 3.20 .. 3.22", "system = 3.22"
std::string depText(const PackageDep& dep);
