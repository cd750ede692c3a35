// A terminal whose screen the test reads. Ask for NEEDS_TERMINALS() first (privilege.h).
#pragma once

#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

class Terminal {
 public:
  Terminal() : screen_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)) {
    EXPECT_EQ(grantpt(screen_), 0);
    EXPECT_EQ(unlockpt(screen_), 0);
    terminal_ = ::open(ptsname(screen_), O_RDWR | O_NOCTTY);
    EXPECT_GE(terminal_, 0);
  }
  ~Terminal() {
    close(terminal_);
    close(screen_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  int descriptor() const { return terminal_; }

  // What was written since the last call. The kernel hands it on in pieces: only when there is
  // none left was it everything.
  std::string read() const {
    std::string text;
    char buffer[4096];
    for (ssize_t got; (got = ::read(screen_, buffer, sizeof buffer)) > 0;)
      text.append(buffer, static_cast<std::size_t>(got));
    return text;
  }

 private:
  int screen_;
  int terminal_ = -1;
};
