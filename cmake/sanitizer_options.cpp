// How the sanitizers behave in the executables of the sanitize build. They read these functions
// before the environment, which may override them (ASAN_OPTIONS, UBSAN_OPTIONS).

#include <sys/ptrace.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

// A finding ends the process with SIGABRT: no exit status of the program can be mistaken for it.
// Behind a changed root the runtime finds no debug information: what it prints are offsets, for
// addr2line -e. The search for leaks needs /proc, which the program's root does not have; ctest
// asks for it in the tests, which end in the real root.

// gcc's runtime is a shared library: what is hidden it does not see.
#define FOR_THE_RUNTIME extern "C" __attribute__((visibility("default")))

// The names that the runtime looks for are reserved in C++, not in the linker.
FOR_THE_RUNTIME const char* asan_default_options() __asm__("__asan_default_options");
FOR_THE_RUNTIME const char* asan_default_options() {
  return "abort_on_error=1:detect_leaks=0:detect_stack_use_after_return=1:strict_string_checks=1:"
         "check_initialization_order=1:allocator_may_return_null=0";
}

FOR_THE_RUNTIME const char* ubsan_default_options() __asm__("__ubsan_default_options");
FOR_THE_RUNTIME const char* ubsan_default_options() {
  return "abort_on_error=1:print_stacktrace=1";
}

// At the end of a process that searches for leaks, which is another process that traces this one.
// It would end this one with an error where that is forbidden; scripts/test says that nobody
// searches.
FOR_THE_RUNTIME int lsan_is_turned_off() __asm__("__lsan_is_turned_off");
FOR_THE_RUNTIME int lsan_is_turned_off() {
  if (access("/proc/self/task", X_OK) != 0) return 1;
  const pid_t child = fork();
  if (child == 0) _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0 ? 0 : 1;
}
