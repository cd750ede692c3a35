#include "tests/tpk/try/trial.h"

#include "model/version.h"

#include <algorithm>
#include <sstream>

#include <unistd.h>

namespace {

std::string stateText(bool disabled, bool user, const std::string& bundle) {
  return std::string(disabled ? " disabled" : " enabled") + (user ? " user" : "") +
         (bundle.empty() ? "" : " of " + bundle);
}

std::vector<std::string> sortedLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace

void Trial::SetUp() {
  NEEDS_CHROOT();
  makeRouter();
}

void Trial::makeRouter() {
  backup = router.root();
  Record system;
  system.name = "system";
  system.version = k3_22;
  system.buildTime = 100;
  system.files = {"/lib/system"};
  router.installed(system);
}

void Trial::give(const std::string& fileName, const std::string& bytes) {
  writeFile(temp.path() + "/" + fileName, bytes);
  files[fileName] = bytes;
}

ProcessResult Trial::tpk(const Words& words, const std::function<bool()>& prepare) const {
  Command command;
  command.words = {TPK_PROGRAM, "try"};
  command.words.insert(command.words.end(), words.begin(), words.end());
  command.environment = {"PATH=/usr/bin:/bin", "TMPDIR=" + temp.path()};
  command.folder = temp.path();
  command.prepare = prepare;
  return Process(command).wait(std::chrono::seconds(15));
}

nlohmann::json Trial::tryOut(const Words& options) {
  Words words = {"--router", backup, "--json", "--keep", "kept"};
  for (const auto& [name, bytes] : files) words.push_back(name);
  words.emplace_back("--");
  words.insert(words.end(), options.begin(), options.end());
  removeTree(temp.path() + "/kept");
  const ProcessResult result = tpk(words);
  status = result.status;
  EXPECT_TRUE(status == 0 || status == 1) << result;
  EXPECT_EQ(result.err, "");
  return nlohmann::json::parse(result.out, nullptr, false);
}

// The copy has all but what a run leaves for others to see.
std::string Trial::flashOf(const std::string& root) {
  std::string text;
  std::istringstream lines(
      listTree(root + "/flash", kTreeTarget | kTreeSize | kTreeTime, {"/bin/bash", "/dev"}));
  for (std::string line; std::getline(lines, line);) {
    const bool isCopied = line.find(" dir ") == std::string::npos;
    const bool isOwn = line.compare(0, 9, "/postlog ") == 0;
    if (isCopied && !isOwn) text += line.substr(0, line.find(" time=")) + "\n";
  }
  return text;
}

void Trial::tryAndDo(const Words& options) {
  const std::string before = router.tree();
  report = tryOut(options);
  ASSERT_FALSE(report.is_discarded());
  EXPECT_EQ(router.tree(), before);
  for (const auto& [name, bytes] : files) router.drop(name, bytes);
  const ProcessResult result = router.run(options);
  ASSERT_TRUE(result.exited(0)) << result;

  const std::string kept = temp.path() + "/kept/router";
  EXPECT_EQ(flashOf(kept), flashOf(router.root()));
  EXPECT_EQ(database(), realDatabase());
  for (const auto& file : report["files"]) {
    EXPECT_EQ(file["taken"].get<bool>(),
              !router.has("/flash/rw/pckg/" + file["file"].get<std::string>()))
        << file;
  }
  EXPECT_EQ(sortedMessages(), sortedLines(router.log()));
}

// In which order files are met is the file system's affair. What the driver says itself is not in
// the log.
Trial::Words Trial::sortedMessages() const {
  Words messages = report["messages"];
  messages.erase(std::remove(messages.begin(), messages.end(), "Resuming upgrade..."),
                 messages.end());
  std::sort(messages.begin(), messages.end());
  return messages;
}

const nlohmann::json* Trial::find(const std::string& package) const {
  for (const auto& file : report["files"]) {
    for (const auto& entry : file["packages"]) {
      if (entry["name"] == package) return &entry;
    }
  }
  ADD_FAILURE() << package << " is not in the report";
  return nullptr;
}

std::string Trial::outcome(const std::string& package) const {
  const nlohmann::json* const found = find(package);
  if (!found) return {};
  std::string text = found->at("outcome");
  if (text == "upgraded" || text == "downgraded")
    text += " from " + found->at("from").get<std::string>();
  return text + (found->at("disabled").get<bool>() ? ", disabled" : "");
}

std::string Trial::reason(const std::string& package) const {
  const nlohmann::json* const found = find(package);
  return found ? found->at("reason") : "";
}

std::string Trial::fileReason(const std::string& fileName) const {
  for (const auto& file : report["files"]) {
    if (file["file"] == fileName) return file["reason"];
  }
  return "is not in the report";
}

Trial::Words Trial::sideEffects() const {
  Words result;
  for (const auto& effect : report["side-effects"]) {
    result.push_back(effect["package"].get<std::string>() + " " +
                     effect["change"].get<std::string>());
  }
  return result;
}

Trial::Words Trial::database() const {
  Words result;
  for (const auto& package : report["database"]) {
    const auto& version = package["version"];
    result.push_back(package["name"].get<std::string>() + " " +
                     (version.is_null() ? "none" : version.get<std::string>()) + " " +
                     std::to_string(package["build-time"].get<unsigned>()) +
                     stateText(package["disabled"], package["user"], package.value("bundle", "")));
  }
  return result;
}

// Out of the files themselves.
Trial::Words Trial::realDatabase() const {
  Words result;
  for (const std::string& name : router.names("/flash/var/pdb")) {
    const std::string meta = "/flash/var/pdb/" + name + "/";
    std::istringstream numbers(router.has(meta + "version") ? router.record(name, "version") : "");
    std::uint32_t version = 0;
    unsigned buildTime = 0;
    numbers >> version >> buildTime;
    const bool disabled = router.has(meta + "disabled");
    const bool user =
        router.has(meta + "enabled") || (disabled && router.record(name, "disabled") == "user\n");
    std::string bundle = router.has(meta + "bundle") ? router.record(name, "bundle") : "";
    if (!bundle.empty()) bundle.pop_back();
    result.push_back(name + " " + (version == 0 ? "none" : versionString(version)) + " " +
                     std::to_string(buildTime) + stateText(disabled, user, bundle));
  }
  return result;
}
