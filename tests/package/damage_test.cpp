// Every file of a record, cut at every byte and with every bit flipped. What must come out is
// worked out here, word by word, from the damaged text in memory.
#include "package/package.h"
#include "tests/package/tool.h"
#include "tests/support/inroot.h"

#include <map>
#include <sstream>

namespace {

using Texts = std::map<std::string, std::string>;

// A record in which every file says something.
const Texts& wholeRecord() {
  static const Texts texts = {
      {"version", "50800129 1700000001\n"},
      {"deps", "sys 50 0\nppp 0 70\n"},
      {"provides", "sh 1 2 -3\nio 0 0 4\n"},
      {"conflicts", "old 5 6\n"},
      {"bundle", "all\n"},
      {"files", "bin/sh\n/etc/rc\n\nb\n"},
      {"disabled", "auto\n"},
      {"enabled", "user\n"},
  };
  return texts;
}

// A list as it must be read; false when an entry lacks a number.
bool readList(const Texts& texts, const char* file, bool withWeight, std::string& out) {
  const auto found = texts.find(file);
  if (found == texts.end()) return true;
  std::istringstream in(found->second);
  for (std::string name; in >> name;) {
    std::uint32_t min = 0, max = 0;
    std::int32_t weight = 0;
    if (!(in >> min) || !(in >> max) || (withWeight && !(in >> weight))) return false;
    std::ostringstream entry;
    entry << name << ' ' << min << ' ' << max << ' ' << weight << '\n';
    out += entry.str();
  }
  return true;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

std::string firstWord(const std::string& text) {
  std::istringstream in(text);
  std::string word;
  in >> word;
  return word;
}

std::string expectedFiles(const std::string& text) {
  std::set<std::string> paths;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string line = text.substr(at, end - at);
    if (!line.empty()) paths.insert(line[0] == '/' ? line : "/" + line);
    at = end + 1;
  }
  std::string out;
  for (const std::string& path : paths) out += path + '|';
  return out;
}

std::string describe(std::uint32_t version, std::uint32_t buildTime, const std::string& lists,
                     bool isBundle, const std::string& files, const std::string& bundle,
                     bool disabled, bool userForced, std::uint32_t action) {
  std::ostringstream out;
  out << version << ' ' << buildTime << '\n'
      << lists << "files " << (isBundle ? "none" : files) << '\n'
      << "bundle " << bundle << '\n'
      << (disabled ? "disabled " : "enabled ") << (userForced ? "user" : "auto") << " action "
      << action << '\n';
  return out.str();
}

std::string expected(const Texts& texts, const std::string& schedule) {
  const auto has = [&](const char* file) { return texts.count(file) != 0; };
  const auto get = [&](const char* file) { return has(file) ? texts.at(file) : std::string(); };
  std::uint32_t version = 0, buildTime = 0, action = kActionNone;
  std::istringstream numbers(get("version"));
  if (!(numbers >> version) || !(numbers >> buildTime)) action = kActionUninstall;
  std::string lists;
  bool whole = readList(texts, "deps", false, lists += "deps\n");
  whole = readList(texts, "provides", true, lists += "provides\n") && whole;
  whole = readList(texts, "conflicts", false, lists += "conflicts\n") && whole;
  if (!whole) action = kActionUninstall;
  bool userForced = has("disabled") ? firstLine(get("disabled")) != "auto" : has("enabled");
  const std::string word = firstWord(schedule);
  if (word == "uninstall") action = kActionUninstall;
  if (word == "enable") action = kActionEnable;
  if (word == "disable") action = kActionDisable;
  if (word == "enable" || word == "disable") userForced = true;
  return describe(version, buildTime, lists, !has("files"), expectedFiles(get("files")),
                  firstWord(get("bundle")), has("disabled"), userForced, action);
}

std::string text(const char* name, const std::vector<PackageDep>& list) {
  std::ostringstream out;
  out << name << '\n';
  for (const PackageDep& entry : list) {
    out << entry.name << ' ' << entry.minVersion << ' ' << entry.maxVersion << ' ' << entry.weight
        << '\n';
  }
  return out.str();
}

std::string actual() {
  Package package;
  package.readFromRepo("tool");
  const std::string lists = text("deps", package.deps) + text("provides", package.provides) +
                            text("conflicts", package.conflicts);
  std::string files;
  for (const std::string& path : package.files) files += path + '|';
  return describe(package.version, package.buildTime, lists, package.isBundle, files,
                  package.bundle.name, package.disabled, package.userForced,
                  package.scheduledAction);
}

class DamagedRecord : public InRoot, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    InRoot::SetUp();
    if (IsSkipped()) return;
    // Beside a disabled one the enabled marker is not looked at.
    if (std::string("enabled") == GetParam()) texts_.erase("disabled");
    for (const auto& file : texts_) writeFile(kMeta + file.first, file.second);
  }

  void check(const std::string& contents) {
    const std::string file = GetParam();
    if (file == "schedule") {
      schedule_ = contents;
      writeFile(kSchedule, contents);
    } else {
      texts_[file] = contents;
      writeFile(kMeta + file, contents);
    }
    ASSERT_EQ(actual(), expected(texts_, schedule_)) << file << ": \"" << contents << '"';
    ASSERT_FALSE(exists(kSchedule));
  }
  std::string whole() const {
    const auto found = wholeRecord().find(GetParam());
    return found == wholeRecord().end() ? "disable\n" : found->second;
  }

  Texts texts_ = wholeRecord();
  std::string schedule_;
};

TEST_P(DamagedRecord, CutAtEveryByte) {
  for (std::size_t length = 0; length <= whole().size(); ++length) {
    ASSERT_NO_FATAL_FAILURE(check(whole().substr(0, length)));
  }
}

TEST_P(DamagedRecord, EveryBitFlipped) {
  for (std::size_t i = 0; i < whole().size(); ++i) {
    for (unsigned bit = 1; bit < 256; bit *= 2) {
      std::string damaged = whole();
      damaged[i] = static_cast<char>(static_cast<unsigned char>(damaged[i]) ^ bit);
      ASSERT_NO_FATAL_FAILURE(check(damaged));
    }
  }
}

TEST_P(DamagedRecord, EveryByteReplacedByASeparator) {
  for (std::size_t i = 0; i < whole().size(); ++i) {
    for (const char c : {'\0', '\n', ' ', '-', '/', '9'}) {
      std::string damaged = whole();
      damaged[i] = c;
      ASSERT_NO_FATAL_FAILURE(check(damaged));
    }
  }
}

TEST_P(DamagedRecord, Missing) {
  const std::string file = GetParam();
  if (file != "schedule") {
    removeTree(kMeta + file);
    texts_.erase(file);
  }
  EXPECT_EQ(actual(), expected(texts_, schedule_));
}

TEST_P(DamagedRecord, VeryLong) {
  check(whole() + std::string(100000, '7'));
  check(whole() + std::string(100000, ' ') + "x");
  check(whole() + std::string(100000, '\n') + "y 1 2 3");
}

INSTANTIATE_TEST_SUITE_P(Files, DamagedRecord,
                         testing::Values("version", "deps", "provides", "conflicts", "bundle",
                                         "files", "disabled", "enabled", "schedule"));

// The hand-made expectation for the record as it is, so that the rest does not prove itself.
TEST(WholeRecord, IsUnderstood) {
  EXPECT_EQ(expected(wholeRecord(), ""),
            "50800129 1700000001\n"
            "deps\nsys 50 0 0\nppp 0 70 0\n"
            "provides\nsh 1 2 -3\nio 0 0 4\n"
            "conflicts\nold 5 6 0\n"
            "files /b|/bin/sh|/etc/rc|\n"
            "bundle all\n"
            "disabled auto action 0\n");
}

}  // namespace
