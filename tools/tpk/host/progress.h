// A bar on a terminal for work that takes long.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

class Progress {
 public:
  // Writes to the descriptor when that is a terminal, and otherwise nothing. total is in the units
  // of add(); a total of 0 shows nothing.
  Progress(int descriptor, const std::string& what, std::uint64_t total);
  // Removes the bar.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void add(std::uint64_t amount);

 private:
  using Clock = std::chrono::steady_clock;

  void draw();

  const int descriptor_;
  const std::string what_;
  const std::uint64_t total_;
  const bool shown_;
  std::uint64_t done_ = 0;
  unsigned drawn_ = 0;  // percent
  bool visible_ = false;
  Clock::time_point last_;
};
