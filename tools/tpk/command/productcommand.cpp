#include "tools/tpk/command/commands.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/product/digestline.h"
#include "tools/tpk/product/digestlist.h"
#include "tools/tpk/product/newproduct.h"
#include "tools/tpk/product/productcheck.h"
#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/read/inputfile.h"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct ProductOptions {
  std::string folder;
  std::vector<std::string> files;  // package files, for add-digest
};

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

ExitStatus newProduct(const ProductOptions& options) {
  SigningKey key;
  const auto data = makeProductData(key);
  writeProductFolder(options.folder, *data, key);
  return kGood;
}

ExitStatus checkFolder(const ProductOptions& options) {
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

ExitStatus addDigests(const ProductOptions& options) {
  std::vector<ListedDigest> digests;
  for (const std::string& file : options.files) collectDigests(file, digests);
  const std::size_t left = addToDigestList(options.folder, digests);
  for (const ListedDigest& added : digests) std::printf("%s: added\n", added.comment.c_str());
  std::printf("%s: %zu places free\n", options.folder.c_str(), left);
  return kGood;
}

}  // namespace

void addProduct(CLI::App& app, Action& action) {
  const auto options = std::make_shared<ProductOptions>();
  CLI::App* const product = app.add_subcommand("product", "product data folders");
  product->require_subcommand(1);
  using Run = ExitStatus (*)(const ProductOptions&);
  const auto add = [&](const char* name, const char* what, const char* folder, Run run) {
    CLI::App* const command = product->add_subcommand(name, what);
    command->add_option("DIR", options->folder, folder)->required();
    command->callback(
        [&action, options, run] { action = [options, run] { return run(*options); }; });
    return command;
  };
  add("new", "make a folder with a fresh key", "the folder to make", newProduct);
  add("check", "say whether a folder is fit for use", "the folder", checkFolder);
  add("add-digest", "let packages in without a signature", "the folder", addDigests)
      ->add_option("FILE", options->files, "package files, - for standard input")
      ->required();
}
