// stopper <output> <program> [<argument>...]
//
// Runs a program, with the programs that it starts, and stops it ahead of every system call that
// writes or changes the file system. While it is stopped, standard output says
//   stop <number> <call> <what it is about>
// and a line is awaited from standard input: somebody can look at what a power cut would leave.
// What the program itself prints goes to the file <output>. Ends with the status of the program.
#include <fcntl.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

enum { kFailure = 127, kTraps = SIGTRAP | 0x80, kTextSize = 256 };

// The argument of a call that names what it is about.
enum Subject { kFirstPath, kSecondPath, kDescriptor, kNothing };

struct Call {
  long number;
  const char* name;
  enum Subject subject;
};

static const struct Call kCalls[] = {
    {SYS_write, "write", kDescriptor},
    {SYS_pwrite64, "pwrite", kDescriptor},
    {SYS_writev, "writev", kDescriptor},
    {SYS_pwritev, "pwritev", kDescriptor},
    {SYS_sendfile, "sendfile", kDescriptor},
    {SYS_sendfile64, "sendfile", kDescriptor},
    {SYS_copy_file_range, "copy_file_range", kNothing},
    {SYS_open, "open", kFirstPath},
    {SYS_openat, "openat", kSecondPath},
    {SYS_creat, "creat", kFirstPath},
    {SYS_close, "close", kDescriptor},
    {SYS_rename, "rename", kFirstPath},
    {SYS_renameat, "renameat", kSecondPath},
    {SYS_renameat2, "renameat", kSecondPath},
    {SYS_link, "link", kFirstPath},
    {SYS_linkat, "linkat", kSecondPath},
    {SYS_symlink, "symlink", kSecondPath},
    {SYS_symlinkat, "symlinkat", kNothing},
    {SYS_unlink, "unlink", kFirstPath},
    {SYS_unlinkat, "unlinkat", kSecondPath},
    {SYS_mkdir, "mkdir", kFirstPath},
    {SYS_mkdirat, "mkdirat", kSecondPath},
    {SYS_rmdir, "rmdir", kFirstPath},
    {SYS_mknod, "mknod", kFirstPath},
    {SYS_mknodat, "mknodat", kSecondPath},
    {SYS_chmod, "chmod", kFirstPath},
    {SYS_fchmod, "fchmod", kDescriptor},
    {SYS_fchmodat, "fchmodat", kSecondPath},
    {SYS_chown, "chown", kFirstPath},
    {SYS_lchown, "lchown", kFirstPath},
    {SYS_fchown, "fchown", kDescriptor},
    {SYS_fchownat, "fchownat", kSecondPath},
    {SYS_utimes, "utimes", kFirstPath},
    {SYS_utimensat, "utimensat", kSecondPath},
#ifdef SYS_utimensat_time64
    {SYS_utimensat_time64, "utimensat", kSecondPath},
#endif
    {SYS_truncate, "truncate", kFirstPath},
    {SYS_ftruncate, "ftruncate", kDescriptor},
#ifdef SYS_truncate64
    {SYS_truncate64, "truncate", kFirstPath},
    {SYS_ftruncate64, "ftruncate", kDescriptor},
#endif
    {SYS_fallocate, "fallocate", kDescriptor},
    {SYS_fsync, "fsync", kDescriptor},
    {SYS_fdatasync, "fdatasync", kDescriptor},
    {SYS_sync, "sync", kNothing},
};

static const struct Call* findCall(long number) {
  for (size_t i = 0; i < sizeof kCalls / sizeof kCalls[0]; ++i) {
    if (kCalls[i].number == number) return &kCalls[i];
  }
  return NULL;
}

// Opening for reading and closing what was only read change nothing.
static bool reads(int flags) { return (flags & (O_ACCMODE | O_CREAT | O_TRUNC)) == O_RDONLY; }

static bool isOpenForReading(pid_t process, long descriptor) {
  char path[64];
  char line[kTextSize];
  snprintf(path, sizeof path, "/proc/%d/fdinfo/%ld", (int)process, descriptor);
  FILE* const file = fopen(path, "r");
  if (!file) return true;
  int flags = O_RDONLY;
  while (fgets(line, sizeof line, file)) {
    if (strncmp(line, "flags:", 6) == 0) flags = (int)strtol(line + 6, NULL, 8);
  }
  fclose(file);
  return (flags & O_ACCMODE) == O_RDONLY;
}

static bool changesNothing(const struct Call* call, pid_t process, const uint64_t* arguments) {
  if (call->number == SYS_open) return reads((int)arguments[1]);
  if (call->number == SYS_openat) return reads((int)arguments[2]);
  return call->number == SYS_close && isOpenForReading(process, (long)arguments[0]);
}

static void readText(pid_t process, uint64_t address, char* text) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/mem", (int)process);
  const int memory = open(path, O_RDONLY);
  // Less where the memory ends; the text ends before.
  const ssize_t size = memory < 0 ? 0 : pread(memory, text, kTextSize - 1, (off_t)address);
  text[size < 0 ? 0 : size] = '\0';
  if (memory >= 0) close(memory);
}

static void readDescriptor(pid_t process, long descriptor, char* text) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/fd/%ld", (int)process, descriptor);
  const ssize_t size = readlink(path, text, kTextSize - 1);
  text[size < 0 ? 0 : size] = '\0';
}

static void stop(const struct Call* call, pid_t process, const uint64_t* arguments) {
  static unsigned stops = 0;
  char subject[kTextSize] = "";
  char answer[16];
  if (call->subject == kFirstPath) readText(process, arguments[0], subject);
  if (call->subject == kSecondPath) readText(process, arguments[1], subject);
  if (call->subject == kDescriptor) readDescriptor(process, (long)arguments[0], subject);
  printf("stop %u %s %s\n", ++stops, call->name, subject);
  fflush(stdout);
  if (!fgets(answer, sizeof answer, stdin)) _exit(kFailure);
}

static void lookAtCall(pid_t process) {
  struct __ptrace_syscall_info info;
  if (ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info) <= 0) return;
  if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return;
  const struct Call* const call = findCall((long)info.entry.nr);
  if (!call) return;
  // The kernel hands out 32-bit registers as they are sign-extended.
  uint64_t arguments[6];
  for (int i = 0; i < 6; ++i) arguments[i] = (uint32_t)info.entry.args[i];
  if (!changesNothing(call, process, arguments)) stop(call, process, arguments);
}

static void runProgram(const char* output, char** words) {
  const int file = open(output, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const int nothing = open("/dev/null", O_RDONLY);
  if (file < 0 || nothing < 0) _exit(kFailure);
  dup2(nothing, STDIN_FILENO);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  ptrace(PTRACE_TRACEME, 0, NULL, NULL);
  raise(SIGSTOP);
  execvp(words[0], words);
  _exit(kFailure);
}

// What a stop of a process is for, and the signal to let it go on with.
static long handleStop(pid_t process, int status) {
  const int signal = WSTOPSIG(status);
  if (signal == kTraps) {
    lookAtCall(process);
    return 0;
  }
  return signal == SIGTRAP || signal == SIGSTOP ? 0 : signal;
}

int main(int count, char** words) {
  if (count < 3) {
    fputs("usage: stopper <output> <program> [<argument>...]\n", stderr);
    return kFailure;
  }
  const pid_t program = fork();
  if (program == 0) runProgram(words[1], words + 2);
  int status = 0;
  if (program < 0 || waitpid(program, &status, 0) != program) return kFailure;
  const unsigned long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                                PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;
  ptrace(PTRACE_SETOPTIONS, program, NULL, (void*)options);
  ptrace(PTRACE_SYSCALL, program, NULL, NULL);
  int result = kFailure;
  for (;;) {
    const pid_t process = waitpid(-1, &status, __WALL);
    if (process < 0) return result;
    if (WIFSTOPPED(status)) {
      ptrace(PTRACE_SYSCALL, process, NULL, (void*)handleStop(process, status));
    } else if (process == program) {
      result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
  }
}
