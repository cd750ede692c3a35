// Other programs that this one starts. What has to happen between fork() and the program (limits,
// namespaces, filters) is the business of whoever starts it.
#pragma once

#include "tools/tpk/host/descriptor.h"

#include <string>
#include <vector>

// No program inherits its ends.
struct Pipe {
  // Throws EnvironmentFailure.
  Pipe();

  OwnedDescriptor from;
  OwnedDescriptor to;
};

// A child of this process that does not outlive the object.
class ChildProcess {
 public:
  explicit ChildProcess(pid_t id) : id_(id) {}
  ~ChildProcess();
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&&) = delete;

  // Once, until it has ended; its wait status. Throws EnvironmentFailure.
  int wait();
  // The same, but ends it.
  int end();

 private:
  pid_t id_;  // 0 when it has been waited for
};

struct NewProgram {
  std::string path;
  std::vector<std::string> words;  // its name is the first
  std::vector<std::string> environment;
  int input;  // descriptors
  int output;
  int errors;
};

// For a child: it becomes the program, which gets no other descriptors. Returns, with errno, only
// when that fails.
void become(const NewProgram& program);
