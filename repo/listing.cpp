#include "model/version.h"
#include "package/package.h"
#include "repo/repo.h"

#include <ctime>
#include <iomanip>
#include <iostream>

namespace {

// Column widths; the three spaces of the header stand over the space and the mark of a row.
enum : int { kNameColumn = 16, kVersionColumn = 15, kTimeColumn = 25, kRule = 60 };

std::string timeText(std::uint32_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  const std::tm* const calendar = std::gmtime(&time);
  char text[128];
  if (!calendar || std::strftime(text, sizeof text, "%b/%d/%Y %H:%M:%S", calendar) == 0) return {};
  return text;
}

}  // namespace

void Repo::showPackages() const {
  std::cout << std::setw(kNameColumn) << "Name"
            << "   " << std::setw(kVersionColumn) << "Version" << ' ' << std::setw(kTimeColumn)
            << "Built" << '\n'
            << std::string(kRule, '-') << '\n';
  for (const Package* package : packages) {
    std::cout << std::setw(kNameColumn) << package->name << ' ' << (package->disabled ? "X " : "  ")
              << std::setw(kVersionColumn) << versionString(package->version) << ' '
              << std::setw(kTimeColumn) << timeText(package->buildTime) << '\n';
  }
  std::cout << std::flush;
}

void Repo::dump() const {
  for (const Package* package : packages) package->dump();
  std::cout << "\nused files:\n";
  for (const std::string& path : usedFiles) std::cout << path << '\n';
  std::cout << std::flush;
}
