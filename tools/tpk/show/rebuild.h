// Whether tpk build makes a package again out of what tpk extract made of it.
#pragma once

#include <string>

class InputFile;
struct PackedFile;

struct RebuildResult {
  std::string problem;     // why nothing can be built; empty when it can
  std::string difference;  // the first part that is another one; empty when all are the same
};

// Builds, without signing, what the folder describes, and compares everything but the contents of
// the signatures. Throws EnvironmentFailure.
RebuildResult rebuildAndCompare(const std::string& folder, const InputFile& original,
                                const PackedFile& contents);
