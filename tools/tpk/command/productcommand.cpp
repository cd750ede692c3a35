#include "tools/tpk/command/productcommand.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/product/digestline.h"
#include "tools/tpk/product/digestlist.h"
#include "tools/tpk/product/newproduct.h"
#include "tools/tpk/product/productcheck.h"
#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/read/inputfile.h"

#include <cstdio>

namespace {

// The installer looks a package up in the list only when it has no signature: the digest of one
// that has would take a place and mean nothing.
void collectDigests(const std::string& file, std::vector<ListedDigest>& digests) {
  const PackedFile packages = readPackedFile(InputFile(file));
  for (const auto& package : packages.packages) {
    if (package->signature != SignatureState::kNone) {
      throw Failure(packages.name + ": " + digestComment(*package) +
                    " is signed, and the list is for packages that are not; remedy: tpk unsign");
    }
    digests.push_back({package->digest, digestComment(*package)});
  }
}

}  // namespace

ExitStatus newProductCommand(const ProductOptions& options) {
  SigningKey key;
  const auto data = makeProductData(key);
  writeProductFolder(options.folder, *data, key);
  return kGood;
}

ExitStatus checkProductCommand(const ProductOptions& options) {
  const ProductReport report = checkProduct(options.folder);
  for (const std::string& finding : report.findings) std::puts(finding.c_str());
  std::fflush(stdout);
  for (const std::string& problem : report.problems)
    std::fprintf(stderr, "tpk: %s\n", problem.c_str());
  const std::string warning = signingKeyWarning(options.folder);
  if (!warning.empty()) std::fprintf(stderr, "tpk: warning: %s\n", warning.c_str());
  if (!report.problems.empty()) return kBad;
  std::printf("%s: good%s\n", options.folder.c_str(),
              report.hasSigningKey ? "; a development set: has its signing key" : "");
  return kGood;
}

ExitStatus addDigestCommand(const ProductOptions& options) {
  std::vector<ListedDigest> digests;
  for (const std::string& file : options.files) collectDigests(file, digests);
  const std::size_t left = addToDigestList(options.folder, digests);
  for (const ListedDigest& added : digests) std::printf("%s: added\n", added.comment.c_str());
  std::printf("%s: %zu places free\n", options.folder.c_str(), left);
  return kGood;
}
