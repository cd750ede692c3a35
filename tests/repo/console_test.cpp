// Every byte that goes to the console.
#include "repo/repo.h"
#include "stream/ipackstream.h"
#include "tests/repo/statusline.h"
#include "tests/support/inroot.h"
#include "tests/support/packbuilder.h"

#include <sstream>

namespace {

std::string blankLine() { return "\r" + spaces(79) + "\r"; }

class Console : public InRoot {
 protected:
  std::string status(const std::string& text) {
    repo_->setStatus(text);
    return takeConsole();
  }
  static std::string logged() {
    std::string text;
    for (const std::string& line : RepoAccess::logLines()) text += line + '\n';
    return text;
  }
};

// The status line.

TEST_F(Console, StatusIsDrawnWithTheCursorHidden) {
  EXPECT_EQ(status("working"), "\033[?25l\rworking\r\033[?25h");
  EXPECT_EQ(RepoAccess::status(), "working");
}

TEST_F(Console, ShorterStatusBlanksTheRest) {
  status("working hard");
  EXPECT_EQ(status("working"), drawn("working" + spaces(5)));
}

TEST_F(Console, LongerStatusNeedsNoBlanks) {
  status("working");
  EXPECT_EQ(status("working hard"), drawn("working hard"));
}

TEST_F(Console, StatusOfTheSameLengthNeedsNoBlanks) {
  status("one");
  EXPECT_EQ(status("two"), drawn("two"));
}

TEST_F(Console, SameStatusIsNotDrawnAgain) {
  status("working");
  EXPECT_EQ(status("working"), "");
}

TEST_F(Console, EmptyStatusErasesTheLine) {
  status("working");
  EXPECT_EQ(status(""), drawn(spaces(7)));
  EXPECT_EQ(status(""), "");
}

TEST_F(Console, EmptyStatusAtTheStartDrawsNothing) { EXPECT_EQ(status(""), ""); }

TEST_F(Console, StatusIsTakenAsItStands) { EXPECT_EQ(status("100% of %s"), drawn("100% of %s")); }

TEST_F(Console, QuietDrawsNoStatus) {
  repo_->init(true);
  EXPECT_EQ(status("working"), "");
  EXPECT_EQ(RepoAccess::status(), "");
}

// Messages.

TEST_F(Console, LogHasNoPrefix) {
  repo_->log("installed %s%s", "", "tool-1.0");
  EXPECT_EQ(takeConsole(), "installed tool-1.0\n");
  EXPECT_EQ(logged(), "installed tool-1.0\n");
}

TEST_F(Console, WarningHasItsPrefix) {
  repo_->warn("ghost file %s", "/bin/sh");
  EXPECT_EQ(takeConsole(), "WARNING: ghost file /bin/sh\n");
  EXPECT_EQ(logged(), "WARNING: ghost file /bin/sh\n");
}

TEST_F(Console, ErrorHasItsPrefix) {
  repo_->error("broken package %s", "tool");
  EXPECT_EQ(takeConsole(), "ERROR: broken package tool\n");
  EXPECT_EQ(logged(), "ERROR: broken package tool\n");
}

TEST_F(Console, LogErasesTheStatus) {
  status("working");
  repo_->log("done");
  EXPECT_EQ(takeConsole(), drawn(spaces(7)) + "done\n");
  EXPECT_EQ(RepoAccess::status(), "");
}

TEST_F(Console, ErrorErasesTheStatus) {
  status("working");
  repo_->error("failed");
  EXPECT_EQ(takeConsole(), drawn(spaces(7)) + "ERROR: failed\n");
  EXPECT_EQ(RepoAccess::status(), "");
}

TEST_F(Console, WarningStandsAboveTheStatus) {
  status("working");
  repo_->warn("careful");
  EXPECT_EQ(takeConsole(), blankLine() + "WARNING: careful\nworking");
  EXPECT_EQ(RepoAccess::status(), "working");
  EXPECT_EQ(status("working"), "");
}

TEST_F(Console, QuietReportsNothingAndLogsNothing) {
  repo_->init(true);
  repo_->log("one");
  repo_->warn("two");
  repo_->error("three");
  EXPECT_EQ(takeConsole(), "");
  EXPECT_EQ(logged(), "");
}

TEST_F(Console, MessagesAreCutAt255CharactersWithoutTheirPrefix) {
  const std::string text(300, 'x');
  const std::string cut(255, 'x');
  repo_->log("%s", text.c_str());
  repo_->warn("%s", text.c_str());
  repo_->error("%s", text.c_str());
  EXPECT_EQ(takeConsole(), cut + "\nWARNING: " + cut + "\nERROR: " + cut + '\n');
  EXPECT_EQ(logged(), cut + "\nWARNING: " + cut + "\nERROR: " + cut + '\n');
}

TEST_F(Console, MessageOf255CharactersIsWhole) {
  const std::string text = std::string(254, 'x') + "y";
  repo_->log("%s", text.c_str());
  EXPECT_EQ(takeConsole(), text + '\n');
  repo_->log("%sz", text.c_str());
  EXPECT_EQ(takeConsole(), text + '\n');
}

TEST_F(Console, CutCountsTheExpandedText) {
  repo_->log("%250s%s", "x", "0123456789");
  EXPECT_EQ(takeConsole(), spaces(249) + "x01234\n");
}

TEST_F(Console, EmptyMessageIsALine) {
  repo_->log("%s", "");
  EXPECT_EQ(takeConsole(), "\n");
  EXPECT_EQ(logged(), "\n");
}

TEST_F(Console, ArgumentsAreNotFormats) {
  repo_->log("%s %d%%", "100%s", 7);
  EXPECT_EQ(takeConsole(), "100%s 7%\n");
}

TEST_F(Console, MessagesAreLoggedInOrder) {
  repo_->warn("one");
  repo_->log("two");
  repo_->error("three");
  EXPECT_EQ(logged(), "WARNING: one\ntwo\nERROR: three\n");
}

// Progress.

// A package file of that size, position bytes of it read. Its contents do not exist: seeking in
// them works.
class EndlessFile : public std::stringbuf {
 public:
  explicit EndlessFile(const std::string& start) : std::stringbuf(start, std::ios::in) {}

 protected:
  pos_type seekoff(off_type offset, std::ios_base::seekdir, std::ios_base::openmode) override {
    return pos_type(offset);
  }
};

class Progress : public Console {
 protected:
  enum : std::uint32_t { kHead = FileHeader::kSize + PartHeader::kSize };

  // The bar for a file of so many bytes of which so many are read, both with the headers.
  std::string bar(std::uint64_t total, std::uint64_t position, const std::string& label) {
    EndlessFile contents(fileOf(total));
    std::istream file(&contents);
    ipackstream in(file, false);
    in.accept(kPartArchive);
    in.next();
    EXPECT_FALSE(in.seekg(static_cast<std::streamoff>(position - kHead)).fail());
    EXPECT_EQ(in.position(), position);
    EXPECT_EQ(in.totalSize(), total);
    repo_->setStatus("");
    takeConsole();
    repo_->showProgress(in, label);
    return takeConsole();
  }

  static std::string fileOf(std::uint64_t total) {
    FileHeader header;
    header.setMagic(kPackageMagic);
    header.setLength(static_cast<std::uint32_t>(total - FileHeader::kSize));
    PartHeader part;
    part.setType(kPartArchive);
    part.setLength(0xFFFFFFFF - kHead);
    return std::string(reinterpret_cast<const char*>(header.bytes), sizeof header.bytes) +
           std::string(reinterpret_cast<const char*>(part.bytes), sizeof part.bytes);
  }

  static std::string line(const std::string& label, std::size_t filled) {
    const std::size_t width = 76 - label.size() - 2;
    return drawn(label + " [" + std::string(filled, '#') + spaces(width - filled) + "]");
  }
};

TEST_F(Progress, LineHas77Characters) {
  for (const char* label : {"", "a", "installing tool-1.0", "0123456789012345678901234567890123"}) {
    EXPECT_EQ(bar(1000, 500, label).size(), 7U + 77 + 7) << label;
  }
}

TEST_F(Progress, NothingReadIsAnEmptyBar) {
  // The headers of the file are read, but do not show.
  EXPECT_EQ(bar(100000, kHead, "label"), line("label", 0));
}

TEST_F(Progress, AllReadIsAFullBar) { EXPECT_EQ(bar(1000, 1000, "label"), line("label", 69)); }

TEST_F(Progress, BarIsRoundedDown) {
  EXPECT_EQ(bar(6900, 3450, "label"), line("label", 34));
  EXPECT_EQ(bar(6900, 3499, "label"), line("label", 34));
  EXPECT_EQ(bar(6900, 3500, "label"), line("label", 35));
  EXPECT_EQ(bar(6900, 6899, "label"), line("label", 68));
}

TEST_F(Progress, LargeFilesDoNotOverflow) {
  EXPECT_EQ(bar(4000000000U, 2000000000U, "label"), line("label", 34));
  EXPECT_EQ(bar(4294967295U, 4294967294U, "label"), line("label", 68));
  EXPECT_EQ(bar(4294967295U, 4294967295U, "label"), line("label", 69));
}

TEST_F(Progress, PositionBeyondTheTotalIsAFullBar) {
  EXPECT_EQ(bar(1000, 4000000000U, "label"), line("label", 69));
}

TEST_F(Progress, NoTotalIsAnEmptyBar) {
  std::istringstream empty;
  const ipackstream in(empty, false);
  repo_->showProgress(in, "label");
  EXPECT_EQ(takeConsole(), line("label", 0));
}

TEST_F(Progress, HeaderWithoutALengthCountsItself) {
  EXPECT_EQ(bar(FileHeader::kSize, kHead, "label"), line("label", 69));
}

TEST_F(Progress, LongLabelLeavesASmallBar) {
  EXPECT_EQ(bar(1000, 1000, std::string(73, 'l')), drawn(std::string(73, 'l') + " [#]"));
}

TEST_F(Progress, LabelThatLeavesNoRoomHasABarOfNoWidth) {
  EXPECT_EQ(bar(1000, 1000, std::string(74, 'l')), drawn(std::string(74, 'l') + " []"));
  EXPECT_EQ(bar(1000, 500, std::string(75, 'l')), drawn(std::string(75, 'l') + " []"));
  EXPECT_EQ(bar(1000, 500, std::string(200, 'l')), drawn(std::string(200, 'l') + " []"));
}

TEST_F(Progress, UnchangedBarIsNotDrawnAgain) {
  std::istringstream file(PackBuilder().header("tool", 1).finish());
  ipackstream in(file, false);
  repo_->showProgress(in, "label");
  EXPECT_NE(takeConsole(), "");
  repo_->showProgress(in, "label");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Progress, PositionIsTheOffsetOfThePartAndWhatWasReadOfIt) {
  std::istringstream file(PackBuilder().part(kPartArchive, std::string(286, 'x')).finish());
  ipackstream in(file, false);
  in.accept(kPartArchive);
  in.next();
  char bytes[136];
  in.read(bytes, sizeof bytes);
  repo_->showProgress(in, "label");
  EXPECT_EQ(takeConsole(), line("label", 69 * (14 + 136) / (14 + 286)));
}

TEST_F(Progress, PositionIsRightInAFailedStream) {
  std::istringstream file(PackBuilder().part(kPartArchive, std::string(286, 'x')).finish());
  ipackstream in(file, false);
  in.accept(kPartArchive);
  in.next();
  in.ignore(1000);
  in.setstate(std::ios::failbit);
  repo_->showProgress(in, "label");
  EXPECT_EQ(takeConsole(), line("label", 69));
}

TEST_F(Progress, QuietShowsNone) {
  repo_->init(true);
  std::istringstream file(PackBuilder().header("tool", 1).finish());
  ipackstream in(file, false);
  repo_->showProgress(in, "label");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Progress, WarningLeavesTheBarErrorRemovesIt) {
  std::istringstream file(PackBuilder().header("tool", 1).finish());
  ipackstream in(file, false);
  repo_->showProgress(in, "label");
  takeConsole();
  const std::string shown = RepoAccess::status();
  repo_->warn("careful");
  EXPECT_EQ(takeConsole(), blankLine() + "WARNING: careful\n" + shown);
  repo_->error("failed");
  EXPECT_EQ(takeConsole(), drawn(spaces(77)) + "ERROR: failed\n");
}

}  // namespace
