#include "tools/tpk/host/output.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"

#include <cstdio>

void finishOutput(std::ostream& out) {
  if (!out.flush()) throw EnvironmentFailure("standard output: cannot be written");
}

void printOutput(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    failWithErrno("standard output", "cannot be written");
}
