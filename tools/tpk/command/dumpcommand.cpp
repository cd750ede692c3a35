#include "tools/tpk/command/dumpcommand.h"

#include "tools/tpk/host/output.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/show/dump.h"

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
