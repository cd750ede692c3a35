#include "tools/tpk/read/verify.h"

#include "model/packagefile.h"
#include "stream/ifilestream.h"
#include "stream/ipackstream.h"
#include "stream/verification.h"
#include "tools/tpk/host/hostfile.h"

namespace {

class NoObserver final : public PackObserver {
 public:
  void onRead(ipackstream&) override {}
};

}  // namespace

Verdict verifyFile(const std::string& file) {
  ifilestream in(file);
  if (!in.isOpen()) failWithErrno(file, "cannot be opened");
  ipackstream parts(in, true);
  NoObserver observer;
  if (!verifyPackages(parts, observer)) return Verdict::kNotGenuine;
  PackageFile headers;
  return headers.readFrom(file) ? Verdict::kGood : Verdict::kUnreadable;
}
