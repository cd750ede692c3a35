#include "model/version.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/jsontext.h"
#include "tools/tpk/try/tryreport.h"

#include <algorithm>

namespace {

using Strings = std::vector<std::string>;

bool isProblem(const std::string& message) {
  return message.compare(0, 9, "WARNING: ") == 0 || message.compare(0, 7, "ERROR: ") == 0;
}

std::string stateText(const Package& record) {
  std::string text = record.disabled ? "disabled" : "enabled";
  if (record.userForced) text += " by the user";
  return text;
}

std::string packageText(const TriedPackage& package) {
  std::string text = "  " + printable(package.given.fullName) + ": " + outcomeWord(package.outcome);
  const bool replaces =
      package.outcome == TryOutcome::kUpgraded || package.outcome == TryOutcome::kDowngraded;
  if (replaces) text += std::string(" from ") + versionString(package.from);
  if (package.disabled) text += ", disabled";
  if (!package.reason.empty()) text += ": " + printable(package.reason);
  return text + "\n";
}

const char* fileWord(const TriedFile& file) {
  if (!file.taken) return "refused";
  return file.good() ? "installed" : "installed in part";
}

std::string fileText(const TriedFile& file) {
  std::string text = printable(file.given.path) + ": " + fileWord(file) + "\n";
  for (const TriedPackage& package : file.packages) text += packageText(package);
  for (const std::string& message : file.messages) {
    if (isProblem(message)) text += "  " + printable(message) + "\n";
  }
  if (!file.reason.empty()) text += "  " + printable(file.reason) + "\n";
  return text;
}

std::string sideEffectsText(const std::vector<SideEffect>& effects) {
  if (effects.empty()) return std::string();
  std::string text = "Beside that\n";
  for (const SideEffect& effect : effects)
    text += "  " + printable(effect.fullName) + ": " + changeWord(effect.change) + "\n";
  return text;
}

std::string databaseText(const Snapshot& database) {
  std::size_t width = 0;
  for (const auto& [name, package] : database.packages())
    width = std::max(width, printable(package->record.getFullName()).size());
  std::string text = "The database then has\n";
  for (const auto& [name, package] : database.packages()) {
    const std::string fullName = printable(package->record.getFullName());
    text += "  " + fullName + std::string(width - fullName.size() + 2, ' ');
    text += package->damaged ? "damaged" : stateText(package->record);
    if (package->record.isBundle && !package->damaged) text += ", a bundle";
    if (!package->record.bundle.name.empty())
      text += ", brought by " + printable(package->record.bundle.name);
    text += "\n";
  }
  return text;
}

std::string useText(const FlashUse& use) {
  std::string text = std::to_string(use.bytes) + " bytes";
  if (use.unsized != 0) text += " and " + std::to_string(use.unsized) + " files of unknown size";
  return text;
}

std::string flashText(const TryReport& report) {
  return "Flash\n  added: " + useText(report.added) + "\n  removed: " + useText(report.removed) +
         "\n";
}

std::string notesText(const Strings& notes) {
  std::string text;
  for (const std::string& note : notes) text += "Note: " + printable(note) + "\n";
  return text;
}

Json textList(const Strings& texts) {
  Json list = Json::array();
  for (const std::string& text : texts) list.push_back(isUtf8(text) ? text : printable(text));
  return list;
}

Json packageJson(const TriedPackage& package) {
  Json json = Json::object();
  putText(json, "name", package.given.name);
  json["version"] = versionJson(package.given.version);
  json["build-time"] = package.given.buildTime;
  json["outcome"] = outcomeWord(package.outcome);
  json["from"] = versionJson(package.from);
  json["disabled"] = package.disabled;
  putText(json, "reason", package.reason);
  return json;
}

Json fileJson(const TriedFile& file) {
  Json json = Json::object();
  putText(json, "file", file.given.path);
  json["taken"] = file.taken;
  json["good"] = file.good();
  json["bundle"] = file.given.isBundle;
  json["packages"] = Json::array();
  for (const TriedPackage& package : file.packages)
    json["packages"].push_back(packageJson(package));
  json["messages"] = textList(file.messages);
  putText(json, "reason", file.reason);
  return json;
}

Json recordJson(const SnapshotPackage& package) {
  const Package& record = package.record;
  Json json = Json::object();
  putText(json, "name", record.name);
  json["version"] = versionJson(record.version);
  json["build-time"] = record.buildTime;
  json["disabled"] = record.disabled;
  json["user"] = record.userForced;
  json["is-bundle"] = record.isBundle;
  if (!record.bundle.name.empty()) putText(json, "bundle", record.bundle.name);
  json["damaged"] = package.damaged;
  json["bytes"] = package.use.bytes;
  json["unsized-files"] = package.use.unsized;
  return json;
}

Json useJson(const FlashUse& use) { return {{"bytes", use.bytes}, {"unsized-files", use.unsized}}; }

}  // namespace

const char* outcomeWord(TryOutcome outcome) {
  switch (outcome) {
    case TryOutcome::kInstalled:
      return "installed";
    case TryOutcome::kUpgraded:
      return "upgraded";
    case TryOutcome::kDowngraded:
      return "downgraded";
    case TryOutcome::kUnchanged:
      return "unchanged";
    case TryOutcome::kUnpacked:
      return "unpacked";
    default:
      return "refused";
  }
}

const char* changeWord(SideEffect::Change change) {
  switch (change) {
    case SideEffect::Change::kUninstalled:
      return "uninstalled";
    case SideEffect::Change::kDisabled:
      return "disabled";
    default:
      return "enabled";
  }
}

std::string tryText(const TryReport& report) {
  std::string text;
  for (const TriedFile& file : report.files) text += fileText(file);
  text += sideEffectsText(report.sideEffects);
  text += databaseText(*report.after);
  text += flashText(report);
  if (report.routerLost) text += "No package is left: the router would not start any more\n";
  return text + notesText(report.notes);
}

std::string tryJson(const TryReport& report) {
  Json json = {{"good", report.good()}, {"router-lost", report.routerLost}};
  json["files"] = Json::array();
  for (const TriedFile& file : report.files) json["files"].push_back(fileJson(file));
  json["side-effects"] = Json::array();
  for (const SideEffect& effect : report.sideEffects) {
    Json entry = {{"change", changeWord(effect.change)}};
    putText(entry, "package", effect.fullName);
    json["side-effects"].push_back(entry);
  }
  json["database"] = Json::array();
  for (const auto& [name, package] : report.after->packages())
    json["database"].push_back(recordJson(*package));
  json["flash"] = {{"added", useJson(report.added)}, {"removed", useJson(report.removed)}};
  json["messages"] = textList(report.messages);
  json["notes"] = textList(report.notes);
  return jsonText(json) + "\n";
}
