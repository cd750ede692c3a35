#include "model/version.h"
#include "package/package.h"
#include "repo/console.h"
#include "repo/repo.h"
#include "stream/text.h"

#include <ctime>

namespace {

constexpr char kMark[] = "X ";
constexpr char kNoMark[] = "  ";

constexpr char kRule[] = "------------------------------------------------------------\n";

std::string row(const char* name, const char* mark, const char* version, const char* time) {
  return formatted("%16s %s%15s %25s\n", name, mark, version, time);
}

// In one static buffer: the next call overwrites it.
const char* timeText(std::uint32_t seconds) {
  static char text[128];
  const auto time = static_cast<std::time_t>(seconds);
  const std::tm* const calendar = std::gmtime(&time);
  const bool shown =
      calendar && std::strftime(text, sizeof text, "%b/%d/%Y %H:%M:%S", calendar) != 0;
  return shown ? text : "";
}

}  // namespace

void Repo::showPackages() const {
  std::string table = row("Name", kNoMark, "Version", "Built");
  table += kRule;
  for (const Package* package : packages) {
    table += row(package->name.c_str(), package->disabled ? kMark : kNoMark,
                 versionString(package->version), timeText(package->buildTime));
  }
  print(table.c_str());
}

void Repo::dump() const {
  for (const Package* package : packages) package->dump();
  print("\nused files:\n");
  for (const std::string& path : usedFiles) print((path + "\n").c_str());
}
