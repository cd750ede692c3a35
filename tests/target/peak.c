// Runs a command and writes how much memory it had resident at its most, in KiB, into a file:
//   peak <file> <command> [<argument>...]
// Ends with the command's status, or with 125 when it cannot tell.
//
// The kernel's figure counts this program too, of which the command's process is a copy until it
// becomes the command: so it is small, and self-contained. It also counts what the command starts
// and waits for.
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

enum { kCannotTell = 125, kCannotRun = 127 };

int main(int argc, char** argv) {
  struct rusage used;
  int status;
  if (argc < 3) return kCannotTell;
  const pid_t child = fork();
  if (child == 0) {
    execvp(argv[2], argv + 2);
    _exit(kCannotRun);
  }
  if (child < 0 || wait4(child, &status, 0, &used) != child || !WIFEXITED(status)) {
    return kCannotTell;
  }
  FILE* const out = fopen(argv[1], "w");
  if (!out || fprintf(out, "%ld\n", used.ru_maxrss) < 0 || fclose(out) != 0) return kCannotTell;
  return WEXITSTATUS(status);
}
