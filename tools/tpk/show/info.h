// tpk info: everything that the headers of package files say.
#pragma once

#include "tools/tpk/command/command.h"

#include <ostream>
#include <string>
#include <vector>

class InputFile;
struct PackedFile;

struct InfoOptions {
  std::vector<std::string> files;  // "-": standard input
  bool json = false;
};

// One file after the other. What is no package is said on standard error, and in JSON in its place;
// then, and for a broken archive, the status is kBad. Throws EnvironmentFailure.
ExitStatus infoCommand(const InfoOptions& options);

// For people. False when an archive is broken.
bool writeInfo(std::ostream& out, const InputFile& file, const PackedFile& contents);
// One object, over several lines. (infojson.cpp)
bool writeInfoJson(std::ostream& out, const InputFile& file, const PackedFile& contents);
