#include "tools/tpk/make/inputs.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/text.h"

#include <algorithm>

#include <sys/stat.h>

void Inputs::note(const std::string& path, const struct stat& status) {
  if (output_ && !S_ISDIR(status.st_mode) && output_->replaces({status.st_dev, status.st_ino}))
    throw Failure(path +
                  ": is read for the package and would be overwritten by it; write the "
                  "package elsewhere (-o)");
  newest_ = std::max<std::int64_t>(newest_, status.st_mtime);
}

void Inputs::note(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) failWithErrno(path, "cannot be read");
  note(path, status);
}

void Inputs::noteFolder(const std::string& path, const struct stat& status,
                        const std::function<bool(const std::string&)>& isLeftOut) {
  note(path, status);
  if (!output_ || !output_->isReplaced()) return;
  if (!(output_->folder() == FileIdentity{status.st_dev, status.st_ino})) return;
  if (!isLeftOut(output_->name()))
    throw Failure(path + ": is packed, and the package " + quoted(output_->name()) +
                  " would lie in it; write it elsewhere (-o) or exclude it");
}
