#include "tests/support/router.h"

#include "tests/support/privilege.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

// Where counters of executed lines go, in the router's root.
constexpr char kCounters[] = "/.gcov";
// The same for the program: it starts in the router's root, and changes to "/" when that has become
// the root. A run that ends before must not write into the machine's own root.
constexpr char kCountersPrefix[] = "GCOV_PREFIX=.gcov";
// Where an emulated program finds its libraries, when the tests run for another machine.
constexpr char kEmulatedLibraries[] = "QEMU_LD_PREFIX";
// Copies of the program and its libraries, to run it without the host's files.
constexpr char kHostFiles[] = "/.host";
constexpr char kShell[] = "/bin/bash-static";
constexpr char kDatabase[] = "/flash/var/pdb";

std::string setting(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

std::string programOf(Product product) {
  switch (product) {
    case Product::kVectorsA:
      return INSTALLER_PROGRAM_A;
    case Product::kVectorsB:
      return INSTALLER_PROGRAM_B;
    case Product::kDefault:
      break;
  }
  const std::string other = setting("INSTALLER_PROGRAM");
  return other.empty() ? INSTALLER_PROGRAM : other;
}

// In a child process with mounts of its own, so that nothing of it is left anywhere.
bool bindMount(const std::string& from, const std::string& to, unsigned long more = 0) {
  return mount(from.c_str(), to.c_str(), nullptr, MS_BIND | more, nullptr) == 0;
}

bool ownMounts() {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// Many times quicker than a disk that others use too, and gone whatever a test leaves there. Where
// it is forbidden the folder does as well.
bool mountRamDisk(const std::string& path) {
  return separateMounts() && mount("ram", path.c_str(), "tmpfs", 0, "mode=0755,size=64m") == 0;
}

std::string outputOf(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  if (!pipe) return text;
  std::array<char, 4096> chunk;
  for (std::size_t got; (got = fread(chunk.data(), 1, chunk.size(), pipe)) > 0;) {
    text.append(chunk.data(), got);
  }
  pclose(pipe);
  return text;
}

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// The paths of the libraries that a program is linked with, its loader the last.
std::vector<std::string> librariesOf(const std::string& program) {
  std::vector<std::string> libraries;
  std::string loader;
  const std::string emulated = setting(kEmulatedLibraries);
  const std::string list = emulated.empty() ? "ldd" : "'" + emulated + "/lib/ld.so.1' --list";
  std::istringstream words(outputOf(list + " '" + program + "' 2>/dev/null"));
  for (std::string word; words >> word;) {
    if (word[0] != '/') continue;
    if (baseName(word).compare(0, 2, "ld") == 0) {
      loader = word;
    } else {
      libraries.push_back(word);
    }
  }
  if (!loader.empty()) libraries.push_back(loader);
  return libraries;
}

// What a sanitizer says when it starts where there is no /proc.
std::string withoutStartOfSanitizers(const std::string& err) {
  std::istringstream lines(err);
  std::string rest;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("reading executable name failed") == std::string::npos) rest += line + '\n';
  }
  return rest;
}

bool isText(const std::string& contents) {
  return std::all_of(contents.begin(), contents.end(),
                     [](char c) { return c == '\n' || c == '\t' || (c >= ' ' && c <= '~'); });
}

}  // namespace

std::string dependencyLines(const std::vector<PackageDep>& list, bool withWeight) {
  std::ostringstream text;
  for (const PackageDep& dep : list) {
    text << dep.name << ' ' << dep.minVersion << ' ' << dep.maxVersion;
    if (withWeight) text << ' ' << dep.weight;
    text << '\n';
  }
  return text.str();
}

Router::Router(Product product)
    : isRamDisk_(mountRamDisk(root_.path())),
      program_(programOf(product)),
      limit_(std::chrono::seconds(20)),
      environment_{"PATH=/usr/bin:/bin", "LC_ALL=C"},
      ownFolders_{kCounters, kHostFiles} {
  chmod(root().c_str(), 0755);
  for (const char* path : {"/proc", "/tmp", "/ram/pdb", "/rw/pckg", "/dev", "/flash/var/pdb",
                           "/flash/var/pckg", "/flash/rw/pckg"}) {
    folder(path);
  }
  const std::string emulated = setting(kEmulatedLibraries);
  if (!emulated.empty()) environment(kEmulatedLibraries + ("=" + emulated));
  memory(3000, 1000, 2000);
}

Router::~Router() {
  if (isRamDisk_) umount2(root().c_str(), MNT_DETACH);
}

Router& Router::put(const std::string& file, const std::string& contents, mode_t mode) {
  writeFile(path(file), contents, mode);
  return *this;
}

Router& Router::folder(const std::string& name) {
  makeFolders(path(name));
  return *this;
}

Router& Router::drop(const std::string& name, const std::string& bytes) {
  return put("/flash/rw/pckg/" + name, bytes);
}

Router& Router::installed(const Record& record) {
  const std::string meta = std::string(kDatabase) + "/" + record.name + "/";
  put(meta + "version",
      std::to_string(record.version) + ' ' + std::to_string(record.buildTime) + '\n');
  put(meta + "deps", dependencyLines(record.deps));
  if (!record.provides.empty()) put(meta + "provides", dependencyLines(record.provides, true));
  if (!record.conflicts.empty()) put(meta + "conflicts", dependencyLines(record.conflicts));
  if (!record.bundle.empty()) put(meta + "bundle", record.bundle + '\n');
  if (!record.disabled.empty()) put(meta + "disabled", record.disabled + '\n');
  if (!record.enabled.empty()) put(meta + "enabled", record.enabled + '\n');
  if (record.isBundle) return *this;
  std::string list;
  for (const std::string& file : record.files) {
    list += file.substr(1) + '\n';
    put("/flash" + file, file);
  }
  return put(meta + "files", list);
}

Router& Router::schedule(const std::string& name, const std::string& word) {
  return put("/ram/pdb/" + name + "/schedule", word + '\n');
}

Router& Router::memory(unsigned unused, unsigned buffers, unsigned cached) {
  std::array<char, 512> text;
  std::snprintf(text.data(), text.size(),
                "MemTotal:  %11u kB\n"
                "MemFree:   %11u kB\n"
                "Buffers:   %11u kB\n"
                "Cached:    %11u kB\n"
                "SwapCached:%11u kB\n"
                "Active:    %11u kB\n",
                29620U, unused, buffers, cached, 0U, 4212U);
  return put("/proc/meminfo", text.data(), 0444);
}

Router& Router::withShell() {
  static const std::string shell = readFile(kShell);
  put("/flash/tarn/lib/install/profile.sh", "export PATH=/bin\n");
  put("/flash/bin/bash", shell, 0755);
  folder("/flash/dev");
  const std::string null = path("/flash/dev/null");
  mknod(null.c_str(), S_IFCHR | 0666, makedev(1, 3));
  const int opened = open(null.c_str(), O_WRONLY | O_CLOEXEC);
  if (opened >= 0) {
    chmod(null.c_str(), 0666);
    close(opened);
    return *this;
  }
  // An ordinary file takes what a script writes as well.
  unlink(null.c_str());
  return put("/flash/dev/null", "", 0666);
}

Router& Router::umask(mode_t mask) {
  mask_ = mask;
  return *this;
}

Router& Router::timeLimit(Process::Milliseconds limit) {
  limit_ = limit;
  return *this;
}

Router& Router::environment(const std::string& line) {
  environment_.push_back(line);
  return *this;
}

Router& Router::withProc() {
  proc_ = true;
  return *this;
}

Router& Router::withOwnFileSystem(const std::string& name) {
  folder(name);
  ownFileSystems_.push_back(name);
  return *this;
}

Command Router::command(const Arguments& words, const std::string& input) const {
  Command result;
  result.words = words;
  result.environment = environment_;
  result.input = input;
  const std::string counters = setting("INSTALLER_GCOV_DIR");
  if (!counters.empty()) {
    makeFolders(path(kCounters));
    result.environment.push_back(kCountersPrefix);
  }
  result.mask = mask_;
  if (counters.empty() && !proc_ && ownFileSystems_.empty()) return result;
  result.prepare = [this, counters] {
    return mountAll(counters) && (counters.empty() || chdir(root().c_str()) == 0);
  };
  return result;
}

// In the child.
bool Router::mountAll(const std::string& counters) const {
  if (!ownMounts()) return false;
  if (!counters.empty() && !bindMount(counters, path(kCounters))) return false;
  if (proc_ && !bindMount("/proc", path("/proc"), MS_REC)) return false;
  for (const std::string& name : ownFileSystems_) {
    // As good as another file system: a link does not cross from one mount to the next.
    if (!bindMount(path(name), path(name))) return false;
  }
  return true;
}

ProcessResult Router::finish(const Command& what) {
  ProcessResult result = Process(what).wait(limit_);
  if (result.err.find("Sanitizer") != std::string::npos ||
      result.err.find("runtime error:") != std::string::npos) {
    ADD_FAILURE() << "a sanitizer's report: " << result;
  }
  return result;
}

ProcessResult Router::run(const Arguments& arguments, const std::string& input) {
  return runWith({}, arguments, input);
}

ProcessResult Router::runWith(const Arguments& tool, const Arguments& arguments,
                              const std::string& input) {
  Arguments words = tool;
  words.insert(words.end(), {program_, "-r", root()});
  words.insert(words.end(), arguments.begin(), arguments.end());
  return finish(command(words, input));
}

std::unique_ptr<Process> Router::start(const Arguments& arguments, const std::string& input) {
  Arguments words = {program_, "-r", root()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return std::make_unique<Process>(command(words, input));
}

ProcessResult Router::runInside(const Arguments& arguments, const std::string& input) {
  const std::string copies = kHostFiles;
  Arguments words;
  for (const std::string& library : librariesOf(program_)) {
    put(copies + "/" + baseName(library), readFile(library), 0755);
    words = {copies + "/" + baseName(library), "--library-path", copies};
  }
  put(copies + "/" + baseName(program_), readFile(program_), 0755);
  words.push_back(copies + "/" + baseName(program_));
  words.insert(words.end(), arguments.begin(), arguments.end());
  Command inside = command(words, input);
  const auto prepare = inside.prepare;
  inside.prepare = [this, prepare] {
    return (!prepare || prepare()) && chroot(root().c_str()) == 0;
  };
  ProcessResult result = finish(inside);
  result.err = withoutStartOfSanitizers(result.err);
  return result;
}

std::string Router::tree(unsigned fields) const { return listTree(root(), fields, ownFolders_); }

std::string Router::treeOf(const std::string& folder, unsigned fields) const {
  return listTreeAt(root(), folder, fields, ownFolders_);
}

std::vector<std::string> Router::scanOrder(const std::string& folder) const {
  std::vector<std::string> result;
  DIR* const directory = opendir(path(folder).c_str());
  if (!directory) return result;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") result.push_back(name);
  }
  closedir(directory);
  return result;
}

std::vector<std::string> Router::names(const std::string& folder) const {
  std::vector<std::string> result = scanOrder(folder);
  std::sort(result.begin(), result.end());
  return result;
}

std::string Router::log() const { return has("/flash/postlog") ? read("/flash/postlog") : ""; }

std::string Router::database() const {
  std::string text;
  std::istringstream lines(listTree(path(kDatabase), kTreeTypes));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t space = line.find(" file");
    if (space == std::string::npos) continue;
    const std::string name = line.substr(1, space - 1);
    const std::string contents = read(kDatabase + ("/" + name));
    text += "== " + name + '\n';
    if (!isText(contents)) {
      text += "<" + std::to_string(contents.size()) + " bytes>\n";
    } else {
      text += contents;
      if (!contents.empty() && contents.back() != '\n') text += "\n<no line end>\n";
    }
  }
  return text;
}

std::string Router::record(const std::string& package, const std::string& file) const {
  return read(std::string(kDatabase) + "/" + package + "/" + file);
}
