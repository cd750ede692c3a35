#include "tools/tpk/show/verdicts.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/diagnosis.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/jsontext.h"

#include <algorithm>
#include <cstdio>

namespace {

Json jsonOf(const Finding& finding) {
  Json json = {{"fault", faultWord(finding.fault)}, {"offset", finding.offset}};
  if (!finding.package.empty()) json["package"] = finding.package;
  json["text"] = finding.text;
  return json;
}

Json jsonOf(const PackageDiagnosis& package) {
  Json json = {{"name", package.name}, {"good", !package.fault}};
  if (package.fault) {
    json["reason"] = jsonOf(*package.fault);
  } else {
    json["by"] = package.listed ? "list" : "signature";
  }
  return json;
}

Json jsonOf(const std::string& file, const Diagnosis& diagnosis) {
  Json json = {{"file", printable(file)}, {"good", diagnosis.good}};
  json["reasons"] = Json::array();
  for (const Finding& finding : diagnosis.findings) json["reasons"].push_back(jsonOf(finding));
  json["bundle"] = diagnosis.isBundle;
  json["package-count"] = diagnosis.packageCount;
  json["packages"] = Json::array();
  for (const PackageDiagnosis& package : diagnosis.packages)
    json["packages"].push_back(jsonOf(package));
  return json;
}

class Verification {
 public:
  explicit Verification(const VerifyOptions& options) : options_(options) {}

  ExitStatus run();

 private:
  void verify(const std::string& name);
  void print(const std::string& name, const Diagnosis& diagnosis) const;
  void printPackage(const PackageDiagnosis& package) const;

  const VerifyOptions& options_;
  Json report_ = Json::array();
  ExitStatus status_ = kGood;
};

ExitStatus Verification::run() {
  for (const std::string& file : options_.files) {
    try {
      verify(file);
    } catch (const EnvironmentFailure& failure) {
      std::fprintf(stderr, "tpk: %s\n", consoleText(failure.what()).c_str());
      if (options_.json)
        report_.push_back({{"file", printable(file)}, {"error", printable(failure.what())}});
      status_ = kEnvironment;
    }
  }
  if (options_.json) std::printf("%s\n", jsonText(report_).c_str());
  return status_;
}

void Verification::verify(const std::string& name) {
  const InputFile file(name);
  const Diagnosis diagnosis = diagnose(file, readLayout(*file.open(), file.size()));
  if (!diagnosis.good) status_ = std::max(status_, kBad);
  if (diagnosis.good && options_.quiet) return;
  if (options_.json) {
    report_.push_back(jsonOf(file.name(), diagnosis));
  } else {
    print(file.name(), diagnosis);
  }
}

void Verification::print(const std::string& name, const Diagnosis& diagnosis) const {
  if (diagnosis.good) {
    std::printf("%s: good\n", printable(name).c_str());
  } else {
    bool first = true;
    for (const Finding& finding : diagnosis.findings) {
      const std::string text = explanation(finding);
      std::printf(first ? "%s: broken: %s\n" : "%s: also: %s\n", printable(name).c_str(),
                  text.c_str());
      first = false;
    }
  }
  if (!diagnosis.isBundle) return;
  for (const PackageDiagnosis& package : diagnosis.packages) printPackage(package);
  const std::size_t more = diagnosis.packageCount - diagnosis.packages.size();
  if (more > 0) std::printf("  and %zu packages more\n", more);
}

void Verification::printPackage(const PackageDiagnosis& package) const {
  if (package.fault) {
    std::printf("  %s: broken: %s\n", package.name.c_str(), package.fault->text.c_str());
  } else if (!options_.quiet) {
    std::printf("  %s: good\n", package.name.c_str());
  }
}

}  // namespace

ExitStatus showVerdicts(const VerifyOptions& options) { return Verification(options).run(); }
