// The files of installed packages on the flash of a router root: put there, and compared with what
// the packages in the list say of themselves.
#pragma once

#include "package/package.h"
#include "tests/plan/consoleevents.h"

#include <vector>

// Files on the flash, sorted; of records only those that tell that they are there and what state
// they have, "disabled" and "enabled" with their word behind.
Lines filesOnFlash();

class FlashFiles {
 public:
  // One file and a record for each package that has a name; a bundle has only the record.
  explicit FlashFiles(const std::vector<Package*>& packages);

  // What is there and should not be, or the other way round, if only these packages are installed.
  Lines differences(const std::vector<Package*>& packages) const;
};
