#include "repo/repo.h"
#include "stream/ifilestream.h"
#include "stream/ipackstream.h"
#include "stream/text.h"
#include "stream/verification.h"

#include <sys/stat.h>

namespace {

class VerifyProgress final : public PackObserver {
 public:
  VerifyProgress(Repo* repo, std::string label) : repo_(repo), label_(std::move(label)) {}
  void onRead(ipackstream& in) override { repo_->showProgress(in, label_); }

 private:
  Repo* repo_;
  std::string label_;
};

// Whatever else has the name of a package is none; to open a FIFO would be to wait for good.
bool isRegularFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool verify(const std::string& path, PackObserver& progress) {
  ifilestream file(path);
  ipackstream in(file, true);
  return verifyPackages(in, progress);
}

}  // namespace

bool Repo::verifyFile(const std::string& path, const char* name) {
  const std::string label = formatted("verifying %s", name);
  const std::string before = status;
  setStatus(label);
  VerifyProgress progress(this, label);
  const bool genuine = isRegularFile(path) && verify(path, progress);
  setStatus(before);
  if (genuine) {
    log("verified %s", name);
  } else {
    error("broken package %s", name);
  }
  return genuine;
}
