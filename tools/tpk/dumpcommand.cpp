#include "tools/tpk/dumpcommand.h"

#include "tools/tpk/dump.h"
#include "tools/tpk/inputfile.h"
#include "tools/tpk/output.h"

#include <cstdlib>
#include <iostream>

#include <unistd.h>

namespace {

bool wantsColour() {
  const char* const refused = std::getenv("NO_COLOR");
  return (!refused || *refused == '\0') && ::isatty(STDOUT_FILENO) == 1;
}

}  // namespace

ExitStatus dumpCommand(const std::string& file, bool full) {
  DumpStyle style;
  style.full = full;
  style.colour = wantsColour();
  const InputFile input(file);
  const ExitStatus status = dumpFile(input, style, std::cout);
  finishOutput(std::cout);
  return status;
}
