// The run log.
#include "repo/repo.h"
#include "tests/support/inroot.h"
#include "tests/support/systemcalls.h"

#include <cerrno>

namespace {

const char kLog[] = "/flash/postlog";

class RunLog : public InRoot {
 protected:
  static std::string lines() {
    std::string text;
    for (const std::string& line : RepoAccess::logLines()) text += line + '\n';
    return text;
  }
};

// Saving.

TEST_F(RunLog, NothingReportedLeavesTheFileAlone) {
  writeFile(kLog, "old line without end");
  const std::string before = listTree("/flash", kTreeContents | kTreeTime);
  repo_->writeLog();
  EXPECT_EQ(listTree("/flash", kTreeContents | kTreeTime), before);
}

TEST_F(RunLog, NothingReportedCreatesNoFile) {
  repo_->writeLog();
  EXPECT_FALSE(exists(kLog));
}

TEST_F(RunLog, MessagesAreSaved) {
  repo_->log("installed tool-1.0");
  repo_->warn("careful");
  repo_->error("failed");
  repo_->writeLog();
  EXPECT_EQ(readFile(kLog), "installed tool-1.0\nWARNING: careful\nERROR: failed\n");
}

TEST_F(RunLog, MessagesAreAppended) {
  writeFile(kLog, "old line\nrest");
  repo_->log("new line");
  repo_->writeLog();
  EXPECT_EQ(readFile(kLog), "old line\nrestnew line\n");
}

TEST_F(RunLog, QuietMessagesAreNotSaved) {
  repo_->init(true);
  repo_->error("failed");
  repo_->writeLog();
  EXPECT_FALSE(exists(kLog));
}

TEST_F(RunLog, StatusIsNotSaved) {
  repo_->setStatus("working");
  repo_->writeLog();
  EXPECT_FALSE(exists(kLog));
}

TEST_F(RunLog, LongLogIsSavedWhole) {
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    repo_->log("line %d of many", i);
    expected += "line " + std::to_string(i) + " of many\n";
  }
  repo_->writeLog();
  EXPECT_EQ(readFile(kLog), expected);
}

TEST_F(RunLog, DisksAreSyncedBeforeTheLinesAreWritten) {
  repo_->log("new line");
  for (const char* before : {"", "old line\n"}) {
    writeFile(kLog, before);
    unsigned syncs = 0;
    onSync([&] {
      ++syncs;
      EXPECT_EQ(readFile(kLog), before);
    });
    repo_->writeLog();
    EXPECT_EQ(syncs, 1U);
    EXPECT_EQ(readFile(kLog), std::string(before) + "new line\n");
  }
  healCalls();
}

TEST_F(RunLog, LogThatIsNotWrittenSyncsNothing) {
  unsigned syncs = 0;
  onSync([&] { ++syncs; });
  repo_->writeLog();
  makeFolders(kLog);
  repo_->log("line");
  repo_->writeLog();
  EXPECT_EQ(syncs, 0U);
  healCalls();
}

TEST_F(RunLog, DiskThatIsFullIsNoMatter) {
  repo_->takeOverLog();
  repo_->log("line");
  takeConsole();
  failCall(SystemCall::kWrite, ENOSPC);
  repo_->writeLog();
  EXPECT_TRUE(healCalls());
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(RunLog, FileThatCannotBeOpenedIsNoMatter) {
  makeFolders(kLog);
  repo_->log("line");
  takeConsole();
  repo_->writeLog();
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(RunLog, MissingFlashIsNoMatter) {
  removeTree("/flash");
  repo_->log("line");
  takeConsole();
  repo_->takeOverLog();
  repo_->writeLog();
  EXPECT_EQ(takeConsole(), "");
  EXPECT_FALSE(exists("/flash"));
}

// Taking over.

TEST_F(RunLog, OldLinesStandBehindThoseOfThisRun) {
  writeFile(kLog, "old one\nold two\n");
  repo_->log("of the scan");
  repo_->takeOverLog();
  repo_->log("of the installation");
  EXPECT_EQ(lines(), "of the scan\nold one\nold two\nof the installation\n");
  repo_->writeLog();
  EXPECT_EQ(readFile(kLog), "of the scan\nold one\nold two\nof the installation\n");
}

TEST_F(RunLog, LastLineWithoutItsEndIsDropped) {
  writeFile(kLog, "whole\nhalf");
  repo_->takeOverLog();
  EXPECT_EQ(lines(), "whole\n");
}

TEST_F(RunLog, EmptyLinesAreTakenOver) {
  writeFile(kLog, "\none\n\n\n");
  repo_->takeOverLog();
  EXPECT_EQ(lines(), "\none\n\n\n");
}

TEST_F(RunLog, LinesAreTakenOverByteForByte) {
  const std::string contents = std::string(" a\tb\r\nnul\0nul\n", 14) + "\x80\xff\n";
  writeFile(kLog, contents);
  repo_->takeOverLog();
  EXPECT_EQ(lines(), contents);
}

TEST_F(RunLog, LongLinesAreTakenOverWhole) {
  const std::string contents = std::string(100000, 'x') + '\n';
  writeFile(kLog, contents);
  repo_->takeOverLog();
  EXPECT_EQ(lines(), contents);
}

TEST_F(RunLog, RoomIsReserved) {
  writeFile(kLog, std::string(10000, 'x') + '\n');
  repo_->takeOverLog();
  EXPECT_EQ(readFile(kLog), std::string(4096, '\0'));
}

TEST_F(RunLog, RoomIsReservedWithoutAnOldLog) {
  repo_->takeOverLog();
  EXPECT_EQ(readFile(kLog), std::string(4096, '\0'));
  EXPECT_EQ(lines(), "");
}

TEST_F(RunLog, ReservedRoomOfADeadRunHoldsNoLine) {
  writeFile(kLog, std::string(4096, '\0'));
  repo_->takeOverLog();
  EXPECT_EQ(lines(), "");
}

TEST_F(RunLog, TakenOverLogIsWrittenAnew) {
  repo_->takeOverLog();
  repo_->log("line");
  repo_->writeLog();
  EXPECT_EQ(readFile(kLog), "line\n");
}

TEST_F(RunLog, TakenOverLogIsWrittenThoughThereIsNothingToSay) {
  repo_->takeOverLog();
  repo_->writeLog();
  EXPECT_EQ(readFile(kLog), "");
}

TEST_F(RunLog, TakingOverIsRemembered) {
  EXPECT_FALSE(RepoAccess::postlogLoaded());
  repo_->takeOverLog();
  EXPECT_TRUE(RepoAccess::postlogLoaded());
}

TEST_F(RunLog, TakingOverIsRememberedThoughTheFileIsUnusable) {
  makeFolders(kLog);
  repo_->takeOverLog();
  EXPECT_TRUE(RepoAccess::postlogLoaded());
  EXPECT_EQ(lines(), "");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(RunLog, TakingOverIsSilent) {
  writeFile(kLog, "old\n");
  repo_->takeOverLog();
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(RunLog, NothingStaysOpen) {
  writeFile(kLog, "old\n");
  const int before = nextDescriptor();
  repo_->takeOverLog();
  repo_->writeLog();
  EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(RunLog, OldLogIsKeptWhenQuiet) {
  writeFile(kLog, "old\n");
  repo_->init(true);
  repo_->takeOverLog();
  repo_->error("unheard");
  repo_->writeLog();
  EXPECT_EQ(readFile(kLog), "old\n");
}

}  // namespace
