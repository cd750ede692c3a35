// A program started by a test: what it writes, how it ends, what it costs.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/types.h>

struct Command {
  std::vector<std::string> words;        // the program's path and its arguments
  std::vector<std::string> environment;  // the whole of it, "NAME=value"
  std::string input;                     // comes through a pipe
  std::string folder = {};               // where it starts; empty: where the test is
  std::optional<mode_t> mask = {};       // its umask, when it is not the test's
  std::function<bool()> prepare = {};    // in the child before the program starts: a dearer start
};

struct ProcessResult {
  int status = -1;        // exit status; -1 when there was none
  int signal = 0;         // that ended the process
  bool timedOut = false;  // it was killed because it took too long
  std::string out;
  std::string err;

  bool exited(int with) const { return !timedOut && signal == 0 && status == with; }
};

// The text with control characters as codes, line ends excepted.
std::string visible(const std::string& text);

// How it ended and what it wrote, with control characters visible.
std::ostream& operator<<(std::ostream& out, const ProcessResult& result);

class Process {
 public:
  using Milliseconds = std::chrono::milliseconds;

  explicit Process(const Command& command);
  // Kills what still runs, children of the program included.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t id() const { return id_; }
  // False when the limit came before the text, or the process ended without it.
  bool waitForOutput(const std::string& text, Milliseconds limit);
  // Reads to the end of the output; kills the process when the limit comes first.
  ProcessResult wait(Milliseconds limit);
  // Processor time taken so far; negative when the system does not tell.
  std::chrono::nanoseconds processorTime() const;

 private:
  bool pump(std::chrono::steady_clock::time_point deadline);
  void feed();
  void drain(int& from, std::string& to);
  void reap(bool killFirst);

  pid_t id_ = -1;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::string input_;
  std::size_t fed_ = 0;
  ProcessResult result_;
};
