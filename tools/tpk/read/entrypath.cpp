#include "tools/tpk/read/entrypath.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/text.h"

#include <algorithm>
#include <cstddef>

std::string cleanPath(const std::string& path) {
  if (path.find('\n') != std::string::npos)
    throw Failure(quoted(path) + " has a line end in it, which the router refuses; rename it");
  if (path.find('\0') != std::string::npos)
    throw Failure(quoted(path) + " has a NUL in it, which the router refuses; rename it");
  std::string clean;
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string component = path.substr(begin, end - begin);
    if (component == "..")
      throw Failure(quoted(path) +
                    " has \"..\" in it, which the router refuses; write the path "
                    "without it");
    if (!component.empty() && component != ".") {
      if (!clean.empty()) clean += '/';
      clean += component;
    }
    begin = end + 1;
  }
  return clean;
}

std::string joinPaths(const std::string& folder, const std::string& path) {
  if (folder.empty() || path.empty()) return folder + path;
  return folder + "/" + path;
}
