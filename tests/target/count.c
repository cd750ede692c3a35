// A plug-in of the emulator, version 1 of its interface, that counts what a program does:
//   instructions   executed, of the process that was started
//   written        pages of 4 KiB that were written and not given back since: the most that there
//                  were at a time, when asked for with written=on
// Debian ships no header for it. The result goes to the file of the argument out=, which is opened
// at the start, because the program may change its root.
#include <fcntl.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

typedef uint64_t qemu_plugin_id_t;
typedef uint32_t qemu_plugin_meminfo_t;
struct qemu_info_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;

extern void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t,
                                                  void (*)(qemu_plugin_id_t,
                                                           struct qemu_plugin_tb*));
extern void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb*, int, void*, uint64_t);
extern void qemu_plugin_register_vcpu_mem_cb(struct qemu_plugin_insn*,
                                             void (*)(unsigned, qemu_plugin_meminfo_t, uint64_t,
                                                      void*),
                                             int, int, void*);
extern void qemu_plugin_register_vcpu_syscall_cb(qemu_plugin_id_t,
                                                 void (*)(qemu_plugin_id_t, unsigned, int64_t,
                                                          uint64_t, uint64_t, uint64_t, uint64_t,
                                                          uint64_t, uint64_t, uint64_t, uint64_t));
extern void qemu_plugin_register_atexit_cb(qemu_plugin_id_t, void (*)(qemu_plugin_id_t, void*),
                                           void*);
extern size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb*);
extern struct qemu_plugin_insn* qemu_plugin_tb_get_insn(const struct qemu_plugin_tb*, size_t);
extern bool qemu_plugin_mem_is_store(qemu_plugin_meminfo_t);

#define EXPORT __attribute__((visibility("default")))
EXPORT int qemu_plugin_version = 1;

enum { kAddOne = 0, kNoRegisters = 0, kReadAndWrite = 3 };
// System calls of the o32 interface that give memory back, and an advice that does.
enum { kBrk = 4045, kMunmap = 4091, kMadvise = 4218, kDontNeed = 4 };

static uint64_t instructions;
static bool pages[1 << 20];
static unsigned written;
static unsigned mostWritten;
static uint32_t heapEnd;
static bool countWritten;
static pid_t process;
static int out = -1;

static void giveBack(uint32_t begin, uint32_t end) {
  for (uint32_t page = (begin + 4095) >> 12; page < end >> 12; ++page) {
    written -= pages[page];
    pages[page] = false;
  }
}

static void onAccess(unsigned cpu, qemu_plugin_meminfo_t info, uint64_t address, void* data) {
  (void)cpu, (void)data;
  bool* const page = &pages[(uint32_t)address >> 12];
  // The emulator calls for reads even when it was asked for writes alone.
  if (*page || !qemu_plugin_mem_is_store(info)) return;
  *page = true;
  if (++written > mostWritten) mostWritten = written;
}

static void onSystemCall(qemu_plugin_id_t id, unsigned cpu, int64_t number, uint64_t a1,
                         uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6,
                         uint64_t a7, uint64_t a8) {
  (void)id, (void)cpu, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
  const uint32_t first = (uint32_t)a1;
  if (number == kMunmap || (number == kMadvise && a3 == kDontNeed)) {
    giveBack(first, first + ((uint32_t)a2 + 4095) / 4096 * 4096);
  } else if (number == kBrk && first != 0) {
    if (first < heapEnd) giveBack(first, (heapEnd + 4095) / 4096 * 4096);
    heapEnd = first;
  }
}

static void onTranslation(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
  (void)id;
  const size_t count = qemu_plugin_tb_n_insns(block);
  qemu_plugin_register_vcpu_tb_exec_inline(block, kAddOne, &instructions, count);
  if (!countWritten) return;
  for (size_t i = 0; i < count; ++i) {
    qemu_plugin_register_vcpu_mem_cb(qemu_plugin_tb_get_insn(block, i), onAccess, kNoRegisters,
                                     kReadAndWrite, NULL);
  }
}

static void onExit(qemu_plugin_id_t id, void* data) {
  (void)id;
  (void)data;
  if (getpid() != process) return;
  dprintf(out, "instructions %llu\nwritten %u\n", (unsigned long long)instructions, mostWritten);
}

EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info_t* info, int argc,
                               char** argv) {
  (void)info;
  process = getpid();
  for (int i = 0; i < argc; ++i) {
    if (!strncmp(argv[i], "out=", 4)) {
      out = open(argv[i] + 4, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    }
    if (!strcmp(argv[i], "written=on")) countWritten = true;
  }
  if (out < 0) return 1;
  qemu_plugin_register_vcpu_tb_trans_cb(id, onTranslation);
  if (countWritten) qemu_plugin_register_vcpu_syscall_cb(id, onSystemCall);
  qemu_plugin_register_atexit_cb(id, onExit, NULL);
  return 0;
}
