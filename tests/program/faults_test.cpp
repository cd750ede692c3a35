// One batch run, with a bundle, an upgrade and scripts, whose every operation that writes to a file
// system is failed once and killed once. After a failure nothing is half done; after a death the
// next run brings everything to where an undisturbed run brings it.
//
// The points are found by strace in an undisturbed run and met again by their number: the runs are
// alike to the last system call.
#include "tests/program/world.h"

#include <csignal>
#include <cstdlib>
#include <optional>

namespace {

#ifdef INSTALLER_SANITIZED
constexpr unsigned kStride = 7;  // these runs take longer; every operation is met in the others
#elif defined __mips__
constexpr unsigned kStride = 3;  // emulated, for the same reason
#else
constexpr unsigned kStride = 1;
#endif

// The points are dealt out to so many tests, which run side by side.
constexpr unsigned kShards = 8;

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// One operation of the undisturbed run.
struct Operation {
  std::string call;     // name of the system call
  unsigned number = 0;  // how many calls of that name there were up to this one
  std::string path;     // what it works on
  std::string line;     // of the trace
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
  return out << operation.call << " number " << operation.number << ", " << operation.line;
}

// The operations on files, in order, of a trace without child processes.
class Trace {
 public:
  explicit Trace(const std::string& text);
  const std::vector<Operation>& operations() const { return operations_; }

 private:
  void take(const std::string& line);
  void open(Operation& operation);

  void add(const Operation& operation);

  static std::vector<std::string> quoted(const std::string& line);

  std::map<std::string, unsigned> counts_;
  std::map<std::string, std::string> writable_;  // paths of open files, by descriptor
  std::vector<Operation> operations_;
};

Trace::Trace(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) take(line);
}

std::vector<std::string> Trace::quoted(const std::string& line) {
  std::vector<std::string> texts;
  for (std::size_t at = 0; (at = line.find('"', at)) != std::string::npos;) {
    const std::size_t end = line.find('"', at + 1);
    if (end == std::string::npos) break;
    texts.push_back(line.substr(at + 1, end - at - 1));
    at = end + 1;
  }
  return texts;
}

// What the program writes elsewhere are counters of executed lines.
void Trace::add(const Operation& operation) {
  for (const char* const folder : {"/flash", "/ram/", "/rw/", "/tmp/"}) {
    if (startsWith(operation.path, folder)) operations_.push_back(operation);
  }
}

void Trace::open(Operation& operation) {
  const std::string& line = operation.line;
  if (line.find("O_WRONLY") == std::string::npos && line.find("O_RDWR") == std::string::npos &&
      operation.call != "creat") {
    return;
  }
  operation.path = quoted(line).front();
  writable_[line.substr(line.rfind("= ") + 2)] = operation.path;
  add(operation);
}

void Trace::take(const std::string& line) {
  const std::size_t parenthesis = line.find('(');
  if (parenthesis == std::string::npos || line[0] == '-' || line[0] == '+') return;
  Operation operation;
  operation.call = line.substr(0, parenthesis);
  operation.number = ++counts_[operation.call];
  operation.line = line;
  const std::string& call = operation.call;
  if (call == "open" || call == "openat" || call == "creat") {
    open(operation);
  } else if (call == "write" || call == "close") {
    const std::size_t end = line.find_first_of(",)", parenthesis);
    const auto file = writable_.find(line.substr(parenthesis + 1, end - parenthesis - 1));
    if (file == writable_.end()) return;
    operation.path = file->second;
    add(operation);
    if (call == "close") writable_.erase(file);
  } else {
    operation.path = quoted(line).back();
    add(operation);
  }
}

constexpr char kWriteCalls[] =
    "trace=?open,?openat,?creat,write,close,?mkdir,?mkdirat,?mknod,?mknodat,?symlink,?symlinkat,"
    "?link,?linkat,?unlink,?unlinkat,?rmdir,?chmod,?fchmodat,?fchmod,?chown,?lchown,?fchownat,"
    "?fchown,?utimensat,?rename,?renameat,?renameat2,?truncate,?ftruncate";

// The world of all runs.
class FaultWorld {
 public:
  enum Memory { kNoMemory, kMemory };

  // The packages are the same in all worlds of a test: signatures are not the same twice.
  struct Files {
    std::string bundle;
    std::string upgrade;
  };
  static Files makeFiles();

  FaultWorld(const Files& files, Memory memory);

  // The run; tool in front.
  ProcessResult run(const Router::Arguments& tool = {}, const Router::Arguments& arguments = {}) {
    return router.runWith(tool, arguments);
  }
  // The run with something done to one operation.
  ProcessResult runWith(const Operation& operation, const std::string& what) {
    return run(
        {kStrace, "-o", "/dev/null", "-e", "trace=" + operation.call, "-e",
         "inject=" + operation.call + ":" + what + ":when=" + std::to_string(operation.number)});
  }
  std::vector<Operation> operations();

  // Everything that the run is there for: database and files. Left out are what tells of the run
  // itself (log, change marker, drop directory, scripts' traces), and times of folders.
  std::string state() const;

  Router router;
};

FaultWorld::Files FaultWorld::makeFiles() {
  BundlePack bundle;
  bundle.name = "combo";
  Pack a = simplePack("a");
  a.files.time(6000).directory("a", 0750).regular("a/1", noise(20000)).symlink("a/link", "/bin/x");
  a.onInstall = "echo a > /ran-a\n";
  a.provides = {dep("thing", k3_22, 0, 5)};
  Pack b = simplePack("b");
  b.files.fifo("a/fifo").regular("b/2", "two");
  b.onUninstall = "exit 0\n";
  b.conflicts = {dep("c")};
  bundle.members = {a, b};
  Pack upgrade = simplePack("ppp");
  upgrade.files.directory("p").regular("p/tool", noise(5000), 0755).symlink("p/link", "tool");
  upgrade.onInstall = "echo ppp > /ran-ppp\n";
  return {bundle.file(), upgrade.file()};
}

FaultWorld::FaultWorld(const Files& files, Memory memory) {
  Record record = {"system", k3_22, 100};
  record.files = {"/lib/system"};
  router.installed(record);
  record = {"keeper", k3_20rc2, 100};
  record.deps = {dep("system")};
  record.files = {"/lib/keeper", "/share/keeper"};
  router.installed(record);
  record = {"ppp", k3_21, 100};
  record.files = {"/share/ppp", "/share/ppp-old"};
  router.installed(record);
  router.withShell().put("/flash/postlog", "old\n");
  router.drop("combo.tpk", files.bundle).drop("ppp.tpk", files.upgrade);
  if (memory == kMemory) router.memory(200000, 0, 0);
}

std::vector<Operation> FaultWorld::operations() {
  const TempFolder folder;
  const std::string log = folder.path() + "/trace";
  const ProcessResult result = run({kStrace, "-s", "9", "-o", log, "-e", kWriteCalls});
  EXPECT_TRUE(result.exited(0)) << result;
  return Trace(readFile(log)).operations();
}

// Times of what the test itself has put there are not the same twice; those of packages are small.
std::string withoutPresentTimes(const std::string& line) {
  const std::size_t at = line.find(" time=");
  if (at == std::string::npos || std::atol(line.c_str() + at + 6) < 1000000) return line;
  return line.substr(0, at) + line.substr(line.find_first_of(' ', at + 1) == std::string::npos
                                              ? line.size()
                                              : line.find(' ', at + 1));
}

std::string FaultWorld::state() const {
  std::istringstream lines(
      router.treeOf("/flash", kTreeTypes | kTreeMode | kTreeOwner | kTreeContents | kTreeTime));
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    if (startsWith(line, "/flash/postlog ") || startsWith(line, "/flash/PCKGS_CHANGED ") ||
        startsWith(line, "/flash/rw/pckg/") || startsWith(line, "/flash/ran-")) {
      continue;
    }
    const bool folder = line.find(" dir ") != std::string::npos;
    text += (folder ? line.substr(0, line.find(" time=")) : withoutPresentTimes(line)) + '\n';
  }
  return text + router.database();
}

class Faults : public testing::TestWithParam<unsigned> {
 protected:
  void SetUp() override {
    NEEDS_CHROOT();
    if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static";
    if (!canTrace()) GTEST_SKIP() << "strace is not there, or not permitted";
  }
  // The operations of this shard.
  std::vector<Operation> mine(const std::vector<Operation>& all) const {
    std::vector<Operation> result;
    for (std::size_t i = GetParam(); i < all.size(); i += kShards * kStride) {
      result.push_back(all[i]);
    }
    return result;
  }

  const FaultWorld::Files files = FaultWorld::makeFiles();
};

// What a failed operation is good for.
bool isDeletion(const Operation& operation) {
  return startsWith(operation.call, "unlink") || operation.call == "rmdir";
}

// Owners, modes and times that cannot be set are no reason to give up; only a script has to be
// executable.
bool isAttribute(const Operation& operation) {
  const bool attribute = operation.call.find("chown") != std::string::npos ||
                         operation.call.find("chmod") != std::string::npos ||
                         operation.call == "utimensat";
  return attribute && operation.path.find("install") == std::string::npos;
}

// What tells of the run, or makes room for it.
bool isAside(const Operation& operation) {
  return startsWith(operation.path, "/ram/") || operation.path == "/flash/postlog" ||
         operation.path == "/flash/PCKGS_CHANGED";
}

// Parents that are there already are made all the same; while files are placed that may fail.
bool isOptional(const Operation& operation) {
  return startsWith(operation.call, "mkdir") && operation.line.find("EEXIST") != std::string::npos;
}

// The package file that an operation belongs to.
std::string containerOf(const Operation& operation) {
  static const char* const upgrade[] = {"/flash/var/pdb/ppp", "/flash/p/", "/flash/p",
                                        "/flash/share/ppp"};
  for (const char* const path : upgrade) {
    if (operation.path == path || startsWith(operation.path, std::string(path) + "/")) {
      return "ppp-3.22";
    }
  }
  return "combo-3.22";
}

// What there is of one package.
class PackageState {
 public:
  PackageState(const Router& router, const std::string& name,
               const std::vector<std::string>& files);

  // Nothing of it is there: directories that it made do not count.
  bool isAbsent() const { return contents_.empty() && record_.empty(); }
  bool hasNoRecord() const { return record_.empty(); }
  // The same record and files, attributes excepted.
  bool equals(const PackageState& other) const {
    return contents_ == other.contents_ && record_ == other.record_;
  }
  // The same, apart from files in the record that nobody could delete.
  bool holds(const PackageState& other) const;

  friend std::ostream& operator<<(std::ostream& out, const PackageState& state) {
    return out << state.record_ << state.contents_;
  }

 private:
  std::string record_;
  std::string contents_;
};

PackageState::PackageState(const Router& router, const std::string& name,
                           const std::vector<std::string>& files)
    : record_(router.treeOf("/flash/var/pdb/" + name, kTreeTypes | kTreeContents)) {
  for (const std::string& file : files) {
    contents_ += router.treeOf("/flash/" + file, kTreeTypes | kTreeContents);
  }
}

bool PackageState::holds(const PackageState& other) const {
  std::istringstream lines(other.record_);
  for (std::string line; std::getline(lines, line);) {
    if (record_.find(line + "\n") == std::string::npos) return false;
  }
  return contents_ == other.contents_;
}

struct States {
  explicit States(const Router& router)
      : a(router, "a", {"share/a", "a/1", "a/link"}),
        b(router, "b", {"share/b", "a/fifo", "b/2"}),
        bundle(router, "combo", {}),
        upgrade(router, "ppp", {"share/ppp", "p/tool", "p/link"}),
        others(router.treeOf("/flash/var/pdb/system", kTreeTypes | kTreeMode | kTreeContents) +
               router.treeOf("/flash/var/pdb/keeper", kTreeTypes | kTreeMode | kTreeContents) +
               router.treeOf("/flash/lib", kTreeTypes | kTreeMode | kTreeContents) +
               router.treeOf("/flash/share/keeper", kTreeTypes | kTreeMode | kTreeContents)) {}

  PackageState a;
  PackageState b;
  PackageState bundle;
  PackageState upgrade;
  std::string others;
};

// The lines that only one of two states has: what a reader wants to see of states that are long.
std::string difference(const std::string& found, const std::string& expected) {
  const auto missingIn = [](const std::string& other, const std::string& text, const char* mark) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
      if (("\n" + other).find("\n" + line + "\n") == std::string::npos)
        result += mark + line + "\n";
    }
    return result;
  };
  return missingIn(expected, found, "found: ") + missingIn(found, expected, "expected: ");
}

class FailedOperation : public Faults {
 protected:
  // After a run in which one operation failed.
  void check(FaultWorld& world, const Operation& operation, const std::string& error) {
    const States now(world.router);
    EXPECT_EQ(now.others, good->others);
    // All or nothing, for every package.
    EXPECT_TRUE(now.a.isAbsent() || now.a.equals(good->a)) << now.a;
    EXPECT_TRUE(now.b.isAbsent() || now.b.equals(good->b)) << now.b;
    EXPECT_TRUE(now.bundle.isAbsent() || now.bundle.equals(good->bundle)) << now.bundle;
    if (isDeletion(operation)) {
      EXPECT_TRUE(now.upgrade.holds(good->upgrade)) << now.upgrade;
    } else {
      EXPECT_TRUE(now.upgrade.isAbsent() || now.upgrade.equals(good->upgrade)) << now.upgrade;
    }
    checkPackageFiles(world, operation, now);
    if (isDeletion(operation) || isAttribute(operation) || isAside(operation)) {
      expectAllInstalled(now);
    } else if (!isOptional(operation)) {
      expectReported(world, operation, error);
    }
  }

  // The files of what was not installed are where they were.
  void checkPackageFiles(FaultWorld& world, const Operation& operation, const States& now) {
    const Router& router = world.router;
    if (now.upgrade.isAbsent()) {
      EXPECT_EQ(router.read("/flash/rw/pckg/ppp.tpk"), files.upgrade);
    }
    if (now.bundle.isAbsent()) {
      EXPECT_TRUE(now.a.isAbsent() && now.b.isAbsent());
      EXPECT_EQ(router.read("/flash/rw/pckg/combo.tpk"), files.bundle);
    }
    if (!isDeletion(operation)) {
      EXPECT_EQ(router.names("/ram"), (std::vector<std::string>{"pdb"}));
      EXPECT_EQ(router.has("/flash/rw/pckg/ppp.tpk"), now.upgrade.isAbsent());
      EXPECT_EQ(router.has("/flash/rw/pckg/combo.tpk"), now.bundle.isAbsent());
    }
  }

  void expectAllInstalled(const States& now) {
    EXPECT_FALSE(now.a.isAbsent() || now.b.isAbsent() || now.bundle.isAbsent() ||
                 now.upgrade.isAbsent());
  }

  // Directories of records are made without a message of their own.
  void expectReported(FaultWorld& world, const Operation& operation, const std::string& error) {
    const bool recordFolder =
        startsWith(operation.call, "mkdir") && startsWith(operation.path, "/flash/var/pdb/");
    if (recordFolder) return;
    if (startsWith(operation.call, "mkdir") &&
        operation.line.find(", 0770)") != std::string::npos) {
      // Parents of a file: that they are missing shows when the file is made.
      EXPECT_NE(world.router.log().find("failed: could not create"), std::string::npos);
      return;
    }
    const std::string reason = error == "ENOSPC" ? "disk is too small" : "disk error";
    EXPECT_NE(world.router.log().find("ERROR: installation of " + containerOf(operation) +
                                      " failed: " + reason + "\n"),
              std::string::npos)
        << world.router.log();
  }

  std::optional<States> good;
};

TEST_P(FailedOperation, LeavesNothingHalfDone) {
  std::vector<Operation> operations;
  {
    FaultWorld world(files, FaultWorld::kMemory);
    operations = world.operations();
    good.emplace(world.router);
    expectAllInstalled(*good);
  }
  // Otherwise there is nothing to do.
  EXPECT_GT(operations.size(), 150U);
  unsigned turn = 0;
  for (const Operation& operation : mine(operations)) {
    const std::string error = turn++ % 2 == 0 ? "ENOSPC" : "EIO";
    SCOPED_TRACE(testing::PrintToString(operation) + " fails with " + error);
    FaultWorld world(files, FaultWorld::kMemory);
    const ProcessResult result = world.runWith(operation, "error=" + error);
    EXPECT_TRUE(result.exited(0)) << result;
    check(world, operation, error);
  }
}

class Death : public Faults {
 protected:
  // Kills the run at each operation of this shard; what follows is the caller's.
  template <typename Then>
  void atEach(FaultWorld::Memory memory, Then then) {
    std::vector<Operation> operations;
    std::string state;
    {
      FaultWorld world(files, memory);
      operations = world.operations();
      state = world.state();
    }
    EXPECT_GT(operations.size(), 150U);
    for (const Operation& operation : mine(operations)) {
      SCOPED_TRACE(testing::PrintToString(operation) + " is where the run dies");
      FaultWorld world(files, memory);
      const ProcessResult result = world.runWith(operation, "signal=KILL");
      EXPECT_EQ(result.signal, SIGKILL) << result;
      then(world, state);
    }
  }
};

// The package files lie in the drop directory until what they hold is installed, so that the next
// run finds them there. Its outcome is that of an undisturbed run in all that counts; what may
// differ is left out of state():
// - times of folders, which belong to whoever made the folder;
// - traces of install scripts: a script runs behind the record, and not again when the run dies in
//   between;
// - package files: the file of a package whose record was complete when the run died stays where it
//   is, because the package is installed already;
// - the run log and the change marker.
TEST_P(Death, IsRecoveredFromByTheNextRun) {
  atEach(FaultWorld::kNoMemory, [](FaultWorld& world, const std::string& state) {
    const ProcessResult result = world.run();
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(difference(world.state(), state), "") << result;
  });
}

// With memory to spare the files are in RAM meanwhile. As long as that lives, the run is resumed
// from there. A death between the copy and the removal of its source leaves two equal files, which
// omit each other; without the option the next run looks at one of them only.
TEST_P(Death, IsRecoveredFromByAResumedRun) {
  atEach(FaultWorld::kMemory, [](FaultWorld& world, const std::string& state) {
    const ProcessResult resumed = world.run({}, {"--reinstall"});
    EXPECT_TRUE(resumed.exited(0)) << resumed;
    const ProcessResult next = world.run();
    EXPECT_TRUE(next.exited(0)) << next;
    EXPECT_EQ(difference(world.state(), state), "") << resumed << next;
  });
}

// With the power goes what is in RAM. A package whose file was there is lost; of an upgrade the old
// version goes first. But nothing half installed or half uninstalled stays, and everything whose
// file was still on flash is installed.
TEST_P(Death, OfThePowerLosesOnlyWhatWasInRam) {
  std::optional<States> former;
  std::optional<States> good;
  {
    FaultWorld world(files, FaultWorld::kMemory);
    former.emplace(world.router);
    EXPECT_TRUE(world.run().exited(0));
    good.emplace(world.router);
  }
  atEach(FaultWorld::kMemory, [&](FaultWorld& world, const std::string&) {
    const bool bundleOnFlash = world.router.has("/flash/rw/pckg/combo.tpk");
    const bool upgradeOnFlash = world.router.has("/flash/rw/pckg/ppp.tpk");
    unlink(world.router.path("/ram/combo.tpk").c_str());
    unlink(world.router.path("/ram/ppp.tpk").c_str());
    const ProcessResult result = world.run();
    EXPECT_TRUE(result.exited(0)) << result;
    const States now(world.router);
    EXPECT_EQ(now.others, good->others);
    // Files of a package that died without its record are nobody's.
    EXPECT_TRUE(now.a.hasNoRecord() || now.a.equals(good->a)) << now.a;
    EXPECT_TRUE(now.b.hasNoRecord() || now.b.equals(good->b)) << now.b;
    EXPECT_TRUE(now.bundle.hasNoRecord() || now.bundle.equals(good->bundle)) << now.bundle;
    if (bundleOnFlash) {
      EXPECT_TRUE(now.a.equals(good->a) && now.b.equals(good->b) &&
                  now.bundle.equals(good->bundle));
    }
    if (upgradeOnFlash) {
      EXPECT_TRUE(now.upgrade.equals(good->upgrade)) << now.upgrade;
    } else {
      EXPECT_TRUE(now.upgrade.hasNoRecord() || now.upgrade.equals(good->upgrade) ||
                  now.upgrade.equals(former->upgrade))
          << now.upgrade;
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Shard, FailedOperation, testing::Range(0U, kShards));
INSTANTIATE_TEST_SUITE_P(Shard, Death, testing::Range(0U, kShards));

}  // namespace
