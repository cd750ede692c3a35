#include "tools/tpk/command/signcommand.h"

#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/product/digestline.h"
#include "tools/tpk/product/sign.h"
#include "tools/tpk/product/signingset.h"
#include "tools/tpk/read/inputfile.h"

#include <cstdio>

namespace {

const char kStream[] = "-";

// Says what was done, but not into the package, should standard output be where it goes.
void rewrite(const std::string& file, const Signer* signer, const std::string& output) {
  const InputFile in(file);
  PendingFile pending(output);
  rewriteSignatures(in, signer, pending.workPath());
  if (file == output && pending.isReplaced()) keepPermissions(file, pending.workPath());
  pending.commit();
  if (output != kStream) {
    std::fprintf(pending.isReplaced() ? stdout : stderr, "%s: %s\n", consoleText(output).c_str(),
                 signer ? "signed" : "unsigned");
  }
}

ExitStatus rewriteAll(const SignOptions& options, const Signer* signer) {
  if (options.files.size() > 1 && !options.output.empty()) {
    std::fputs("tpk: --output takes one package file\n", stderr);
    return kUsage;
  }
  for (const std::string& file : options.files)
    rewrite(file, signer, options.output.empty() ? file : options.output);
  return kGood;
}

}  // namespace

ExitStatus signCommand(const SignOptions& options) {
  const SigningSet set(options.key);
  return rewriteAll(options, &set.signer());
}

ExitStatus unsignCommand(const SignOptions& options) { return rewriteAll(options, nullptr); }

ExitStatus digestCommand(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    const PackedFile packages = readPackedFile(InputFile(file));
    for (const auto& package : packages.packages) std::puts(digestLine(*package).c_str());
  }
  return kGood;
}
