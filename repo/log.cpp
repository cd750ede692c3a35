#include "repo/console.h"
#include "stream/ifilestream.h"
#include "stream/outputfile.h"

#include <unistd.h>

namespace {

constexpr char kRunLog[] = "/flash/postlog";

enum : std::size_t { kReservedSize = 4096 };

}  // namespace

void Reporter::writeLog() {
  if (!postlogLoaded && logLines.empty()) return;
  OutputFile file(kRunLog, postlogLoaded ? OutputFile::kTruncate : OutputFile::kAppend);
  if (!file.good()) return;
  sync();
  for (const std::string& line : logLines) {
    file.write(line);
    file.write("\n", 1);
  }
  // A log that cannot be saved must not fail the run that it tells of.
  file.close();
}

void Reporter::takeOverLog() {
  {
    ifilestream file(kRunLog);
    std::string line;
    // A last line without its end is dropped: so is the room that an interrupted run had reserved.
    while (std::getline(file, line) && !file.eof()) logLines.push_back(line);
  }
  OutputFile file(kRunLog);
  file.write(std::string(kReservedSize, '\0'));
  file.close();
  postlogLoaded = true;
}
