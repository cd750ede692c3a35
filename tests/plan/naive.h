// The rules of selection and of plans once more, written down step by step and without regard to
// cost: every pair of packages is looked at, and a pass that changes something starts again. What
// the program does faster has to come to the same.
#pragma once

#include "package/package.h"
#include "tests/plan/consoleevents.h"

#include <vector>

// Appends what is to be told to messages, unless that is null.
void selectNaively(std::vector<PackageInfo*>& candidates, bool reverse, Lines* messages);

struct NaivePlan {
  std::vector<Package*> removals;
  std::vector<Package*> enables;
};

// Changes the scheduled actions of the packages.
NaivePlan planNaively(const std::vector<Package*>& packages, Lines* messages);
