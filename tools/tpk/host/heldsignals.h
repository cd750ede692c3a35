// Signals that ask a command to end, held back until it has put away what it made: then they end it
// as if they came at that moment.
#pragma once

#include <csignal>

class HeldSignals {
 public:
  HeldSignals();
  ~HeldSignals();
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  // Throws Failure when one has come.
  void check() const;
  // Readable for poll() as soon as one has come.
  int descriptor() const { return descriptor_; }
  // What was blocked before, for programs that are started.
  const sigset_t& former() const { return former_; }

 private:
  sigset_t held_;
  sigset_t former_;
  int descriptor_;
};
