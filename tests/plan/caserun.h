// Carries out one planning case (cases/README.md) on a fresh repository.
#pragma once

#include "tests/plan/casefile.h"

#include <string>

// Whether the case changes files or wants a flash device: it has to run in a router root
// (tests/support/inroot.h).
bool needsRoot(const CaseText& one);

// Empty when everything came as the case expects, else what did not. Throws CaseError when the case
// is not well made.
std::string runCase(const CaseText& one);
