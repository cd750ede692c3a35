#include "tools/tpk/host/progress.h"

#include <algorithm>

#include <unistd.h>

namespace {

enum : unsigned { kWhole = 100, kBarWidth = 30 };
const std::chrono::milliseconds kInterval{100};
const char kClearLine[] = "\r\033[K";

}  // namespace

Progress::Progress(int descriptor, const std::string& what, std::uint64_t total)
    : descriptor_(descriptor),
      what_(what),
      total_(total),
      shown_(total > 0 && ::isatty(descriptor) == 1) {}

Progress::~Progress() {
  if (!visible_) return;
  [[maybe_unused]] const ssize_t ignored = ::write(descriptor_, kClearLine, sizeof kClearLine - 1);
}

void Progress::add(std::uint64_t amount) {
  if (!shown_) return;
  done_ += amount;
  const Clock::time_point now = Clock::now();
  if (visible_ && now - last_ < kInterval && done_ < total_) return;
  last_ = now;
  draw();
}

void Progress::draw() {
  const auto percent = static_cast<unsigned>(std::min(done_, total_) * kWhole / total_);
  if (visible_ && percent == drawn_) return;
  drawn_ = percent;
  visible_ = true;
  const unsigned filled = percent * kBarWidth / kWhole;
  const std::string line = std::string(kClearLine) + what_ + " [" + std::string(filled, '#') +
                           std::string(kBarWidth - filled, ' ') + "] " + std::to_string(percent) +
                           "%";
  // A terminal that is gone does not matter to the work.
  [[maybe_unused]] const ssize_t ignored = ::write(descriptor_, line.data(), line.size());
}
