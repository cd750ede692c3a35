#include "tools/tpk/command/commandline.h"

#include "tools/tpk/command/command.h"
#include "tools/tpk/command/dumpcommand.h"
#include "tools/tpk/command/lintcommand.h"
#include "tools/tpk/command/productcommand.h"
#include "tools/tpk/command/signcommand.h"
#include "tools/tpk/command/trycommand.h"
#include "tools/tpk/command/usage.h"
#include "tools/tpk/command/verifycommand.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/make/build.h"
#include "tools/tpk/make/manifest.h"
#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/product/signingset.h"
#include "tools/tpk/show/diff.h"
#include "tools/tpk/show/extract.h"
#include "tools/tpk/show/info.h"
#include "tools/tpk/show/list.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct Arguments {
  std::string folder;  // of product data
  std::string manifest;
  std::string output;
  VerifyOptions verify;
  InfoOptions info;
  ListOptions list;
  ExtractOptions extract;
  DiffOptions diff;
  LintArguments lint;
  GraphArguments graph;
  ProductOptions product;
  SignOptions sign;
  std::vector<std::string> digest;
  std::string file;  // to dump
  bool full = false;
  TryOptions trial;
};

// The product data of the folder in place of those built in; none when it has no name.
class ProductChoice {
 public:
  explicit ProductChoice(const std::string& folder) {
    if (folder.empty()) return;
    data_ = readProductData(folder);
    useProductData(data_.get());
  }
  ~ProductChoice() { useProductData(&kBuiltInProductData); }
  ProductChoice(const ProductChoice&) = delete;
  ProductChoice& operator=(const ProductChoice&) = delete;

 private:
  std::unique_ptr<ProductData> data_;
};

void warn(const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings)
    std::fprintf(stderr, "tpk: warning: %s\n", consoleText(warning).c_str());
}

ExitStatus build(const Arguments& arguments) {
  const Manifest manifest = readManifest(arguments.manifest);
  warn(manifest.warnings);
  const std::string output =
      arguments.output.empty() ? packageFileName(manifest) : arguments.output;
  if (arguments.folder.empty()) {
    warn(buildPackage(manifest, nullptr, output));
  } else {
    const SigningSet set(arguments.folder);
    warn(buildPackage(manifest, &set.signer(), output));
  }
  // Not into the package, should standard output be where it goes.
  std::FILE* const console = PendingFile(output).isReplaced() ? stdout : stderr;
  std::fprintf(console, "%s: %s\n", consoleText(output).c_str(),
               arguments.folder.empty() ? "unsigned" : "signed");
  return kGood;
}

ExitStatus verify(const Arguments& arguments) {
  const ProductChoice product(arguments.folder);
  return verifyCommand(arguments.verify);
}

ExitStatus info(const Arguments& arguments) {
  const ProductChoice product(arguments.folder);
  return infoCommand(arguments.info);
}

ExitStatus list(const Arguments& arguments) { return listCommand(arguments.list); }

ExitStatus extract(const Arguments& arguments) { return extractCommand(arguments.extract); }

ExitStatus diff(const Arguments& arguments) { return diffCommand(arguments.diff); }

ExitStatus lint(const Arguments& arguments) {
  const ProductChoice product(arguments.folder);
  return lintCommand(arguments.lint);
}

ExitStatus graph(const Arguments& arguments) { return graphCommand(arguments.graph); }

ExitStatus newProduct(const Arguments& arguments) { return newProductCommand(arguments.product); }

ExitStatus checkProduct(const Arguments& arguments) {
  return checkProductCommand(arguments.product);
}

ExitStatus addDigest(const Arguments& arguments) { return addDigestCommand(arguments.product); }

ExitStatus sign(const Arguments& arguments) { return signCommand(arguments.sign); }

ExitStatus unsignFiles(const Arguments& arguments) { return unsignCommand(arguments.sign); }

ExitStatus digest(const Arguments& arguments) { return digestCommand(arguments.digest); }

ExitStatus dump(const Arguments& arguments) {
  const ProductChoice product(arguments.folder);
  return dumpCommand(arguments.file, arguments.full);
}

using Command = ExitStatus (*)(const Arguments&);

void addInspection(CLI::App& app, Arguments& arguments, Command& command) {
  const auto add = [&](const char* name, const char* what, Command action) {
    CLI::App* const added = app.add_subcommand(name, what);
    added->callback([&command, action] { command = action; });
    return added;
  };
  CLI::App* const teller = add("info", "say what the headers of packages say", info);
  teller->add_option("--product", arguments.folder, "product data folder (the one built in)");
  teller->add_flag("--json", arguments.info.json, "print an array with an object for each file");
  teller->add_option("FILE", arguments.info.files, "package files, - for standard input")
      ->required();

  CLI::App* const lister = add("list", "list the files of a package", list);
  lister->add_flag("--json", arguments.list.json, "print an array with an object for each package");
  lister->add_option("FILE", arguments.list.file, "the package file, - for standard input")
      ->required();

  CLI::App* const dumper = add("dump", "show every field of a package", dump);
  dumper->add_option("--product", arguments.folder, "product data folder (the one built in)");
  dumper->add_flag("--full", arguments.full, "do not cut what is long");
  dumper->add_option("FILE", arguments.file, "the package file, - for standard input")->required();
  CLI::App* const extractor = add("extract", "unpack a package without installing it", extract);
  extractor->add_option("FILE", arguments.extract.file, "the package file, - for standard input")
      ->required();
  extractor->add_option("-C,--directory", arguments.extract.folder, "a new or an empty folder")
      ->required();
  extractor->add_flag("--devices", arguments.extract.devices, "make device nodes and FIFOs too");

  CLI::App* const comparer = add("diff", "say what changed between two packages", diff);
  comparer->footer("The exit status is 0 when the files are the same, and 1 when they are not.");
  comparer->add_option("A", arguments.diff.before, "the package file before")->required();
  comparer->add_option("B", arguments.diff.after, "the package file after")->required();
}

void addLint(CLI::App& app, Arguments& arguments, Command& command) {
  LintArguments& lintArguments = arguments.lint;
  CLI::App* const linter =
      app.add_subcommand("lint", "say what will not work, or will hurt, on a router");
  linter->add_option("--product", arguments.folder, "product data folder (the one built in)");
  linter
      ->add_option_function<std::uint64_t>(
          "--flash", [&lintArguments](std::uint64_t bytes) { lintArguments.flash = bytes; },
          "bytes of flash that everything may take; 512K, 4M")
      ->transform(CLI::AsSizeValue(false));
  linter->add_flag("--strict", lintArguments.strict, "warnings count as errors");
  linter->add_flag("--json", lintArguments.json, "print the findings as JSON");
  linter->add_flag("--rules", lintArguments.rules, "print the table of all checks");
  linter->add_option("FILE", lintArguments.files, "package files, package.toml or its folder");
  linter->callback([&lintArguments, &command] {
    if (lintArguments.files.empty() && !lintArguments.rules) throw CLI::RequiredError("FILE");
    command = lint;
  });
}

void addGraph(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* const grapher =
      app.add_subcommand("graph", "draw the relations between packages as Graphviz DOT");
  grapher->add_option("-o,--output", arguments.graph.output, "the file to write (standard output)");
  grapher->add_option("FILE", arguments.graph.files, "package files, package.toml or its folder")
      ->required();
  grapher->callback([&command] { command = graph; });
}

void addProduct(CLI::App& app, Arguments& arguments, Command& command) {
  CLI::App* const product = app.add_subcommand("product", "product data folders");
  product->require_subcommand(1);
  const auto add = [&](const char* name, const char* what, const char* folder, Command action) {
    CLI::App* const added = product->add_subcommand(name, what);
    added->add_option("DIR", arguments.product.folder, folder)->required();
    added->callback([&command, action] { command = action; });
    return added;
  };
  add("new", "make a folder with a fresh key", "the folder to make", newProduct);
  add("check", "say whether a folder is fit for use", "the folder", checkProduct);
  add("add-digest", "let packages in without a signature", "the folder", addDigest)
      ->add_option("FILE", arguments.product.files, "package files, - for standard input")
      ->required();
}

void addSigning(CLI::App& app, Arguments& arguments, Command& command) {
  const auto add = [&](const char* name, const char* what, Command action) {
    CLI::App* const added = app.add_subcommand(name, what);
    added->callback([&command, action] { command = action; });
    return added;
  };
  const auto addFiles = [&arguments](CLI::App* to) {
    to->add_option("-o,--output", arguments.sign.output, "the file to write (the file itself)");
    to->add_option("FILE", arguments.sign.files, "package files, - for standard input")->required();
  };
  CLI::App* const signs = add("sign", "add or replace the signature of every package", sign);
  signs->add_option("--key", arguments.sign.key, "product data folder to sign with")->required();
  addFiles(signs);
  addFiles(add("unsign", "take the signatures of packages away", unsignFiles));

  CLI::App* const digests = add("digest", "print packages as lines of a list of digests", digest);
  digests->add_option("FILE", arguments.digest, "package files, - for standard input")->required();
}

ExitStatus tryOut(const Arguments& arguments) { return tryCommand(arguments.trial); }

void addTry(CLI::App& app, Arguments& arguments, Command& command) {
  TryOptions& options = arguments.trial;
  CLI::App* const trier =
      app.add_subcommand("try", "show what the installer would do with packages on a router");
  trier->add_option("--router", options.router, "backup of the router: a folder or a tar")
      ->required();
  trier->add_option("--installer", options.installer, "the program (the one of this build)");
  trier->add_option("--keep", options.keep, "folder to make, in which the tried router stays");
  trier->add_flag("--json", options.json, "print an object");
  trier->add_option("FILE", options.files, "package files, - for standard input")->required();
  trier->footer("What stands behind -- are options for the installer.");
  trier->callback([&command] { command = tryOut; });
}

// What stands behind "--" is the installer's when it is to be tried; the number of words before.
int takeInstallerOptions(int argc, char** argv, std::vector<std::string>& options) {
  if (argc < 2 || std::string(argv[1]) != "try") return argc;
  char** const end = argv + argc;
  char** const mark = std::find(argv, end, std::string("--"));
  if (mark != end) options.assign(mark + 1, end);
  return static_cast<int>(mark - argv);
}

// The command line's words; command becomes the one that was given.
void addCommands(CLI::App& app, Arguments& arguments, Command& command) {
  const auto chosen = [&command](CLI::App* subcommand, Command what) {
    subcommand->callback([&command, what] { command = what; });
  };
  app.require_subcommand(1);
  app.set_version_flag("--version", "tpk " TPK_VERSION);

  addProduct(app, arguments, command);

  CLI::App* const builder = app.add_subcommand("build", "build a package or a bundle");
  builder->add_option("MANIFEST", arguments.manifest, "package.toml or its folder")->required();
  builder->add_option("-o,--output", arguments.output,
                      "the file to write (NAME-VERSION.tpk); - for standard output");
  builder->add_option("--key", arguments.folder, "product data folder to sign with");
  chosen(builder, build);

  CLI::App* const verifier =
      app.add_subcommand("verify", "say what the installer says of packages, and why");
  verifier->add_option("--product", arguments.folder, "product data folder (the one built in)");
  verifier->add_option("FILE", arguments.verify.files, "package files, - for standard input")
      ->required();
  verifier->add_flag("-q,--quiet", arguments.verify.quiet, "print refusals only");
  verifier->add_flag("--json", arguments.verify.json, "print the verdicts as JSON");
  chosen(verifier, verify);

  addSigning(app, arguments, command);
  addInspection(app, arguments, command);
  addLint(app, arguments, command);
  addGraph(app, arguments, command);
  addTry(app, arguments, command);
}

}  // namespace

int runCommandLine(int argc, char** argv) {
  CLI::App app("makes, signs and verifies packages", "tpk");
  Arguments arguments;
  Command command = nullptr;
  addCommands(app, arguments, command);
  try {
    app.parse(takeInstallerOptions(argc, argv, arguments.trial.options), argv);
  } catch (const CLI::ParseError& error) {
    // Help, or the version.
    if (error.get_exit_code() == 0) return static_cast<ExitStatus>(app.exit(error));
    std::fputs(usageText(app, argc, argv, error).c_str(), stderr);
    return kUsage;
  }
  return command(arguments);
}
