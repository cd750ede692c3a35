// tpk: makes, signs and inspects packages. Exit status: tools/tpk/command.h.
#include "tools/tpk/command.h"
#include "tools/tpk/commandline.h"
#include "tools/tpk/failure.h"
#include "tools/tpk/printable.h"

#include <cstdio>

namespace {

int report(const std::exception& failure, ExitStatus status) {
  std::fprintf(stderr, "tpk: %s\n", consoleText(failure.what()).c_str());
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return runCommandLine(argc, argv);
  } catch (const EnvironmentFailure& failure) {
    return report(failure, kEnvironment);
  } catch (const UsageFailure& failure) {
    return report(failure, kUsage);
  } catch (const Failure& failure) {
    return report(failure, kBad);
  } catch (const std::exception& failure) {
    return report(failure, kEnvironment);
  }
}
