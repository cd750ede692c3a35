#include "tools/tpk/try/callfilter.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

#if defined(__x86_64__)
enum : std::uint32_t { kMachine = AUDIT_ARCH_X86_64 };
#elif defined(__aarch64__)
enum : std::uint32_t { kMachine = AUDIT_ARCH_AARCH64 };
#elif defined(__i386__)
enum : std::uint32_t { kMachine = AUDIT_ARCH_I386 };
#elif defined(__arm__)
enum : std::uint32_t { kMachine = AUDIT_ARCH_ARM };
#elif defined(__riscv) && __riscv_xlen == 64
enum : std::uint32_t { kMachine = AUDIT_ARCH_RISCV64 };
#else
enum : std::uint32_t { kMachine = 0 };
#endif

// Calls of another kind of program on the same machine: they would pass under other numbers.
enum : std::uint32_t { kFirstForeignCall = 0x40000000 };

class FilterBuilder {
 public:
  FilterBuilder() {
    load(offsetof(seccomp_data, arch));
    add(BPF_JMP | BPF_JEQ | BPF_K, kMachine, 1, 0);
    answer(SECCOMP_RET_KILL_PROCESS);
    load(offsetof(seccomp_data, nr));
    add(BPF_JMP | BPF_JGE | BPF_K, kFirstForeignCall, 0, 1);
    answer(SECCOMP_RET_KILL_PROCESS);
  }

  void refuse(long call) { answerWithError(call, EPERM); }
  // It does nothing, with success.
  void pretend(long call) { answerWithError(call, 0); }

  // Which argument is the mode counts from 0.
  void pretendDevices(long call, unsigned modeArgument) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 6);
    load(argumentOffset(modeArgument));
    add(BPF_ALU | BPF_AND | BPF_K, S_IFMT, 0, 0);
    add(BPF_JMP | BPF_JEQ | BPF_K, S_IFCHR, 1, 0);
    add(BPF_JMP | BPF_JEQ | BPF_K, S_IFBLK, 0, 1);
    answer(SECCOMP_RET_ERRNO);
    answer(SECCOMP_RET_ALLOW);
  }

  std::vector<sock_filter> finish() {
    answer(SECCOMP_RET_ALLOW);
    return program_;
  }

 private:
  static std::size_t argumentOffset(unsigned argument) {
    const std::size_t offset = offsetof(seccomp_data, args) + argument * sizeof(std::uint64_t);
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? offset : offset + sizeof(std::uint32_t);
  }
  void answerWithError(long call, std::uint32_t error) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1);
    answer(SECCOMP_RET_ERRNO | error);
  }
  void load(std::size_t offset) {
    add(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset), 0, 0);
  }
  void answer(std::uint32_t action) { add(BPF_RET | BPF_K, action, 0, 0); }
  void add(unsigned code, std::uint32_t value, std::uint8_t ifTrue, std::uint8_t ifFalse) {
    program_.push_back({static_cast<std::uint16_t>(code), ifTrue, ifFalse, value});
  }

  std::vector<sock_filter> program_;
};

std::vector<sock_filter> filterFor(bool allowForks) {
  FilterBuilder filter;
  if (!allowForks) {
    filter.refuse(__NR_clone);
    filter.refuse(__NR_clone3);
#ifdef __NR_fork
    filter.refuse(__NR_fork);
    filter.refuse(__NR_vfork);
#endif
  }
  filter.pretend(__NR_sync);
#ifdef __NR_mknod
  filter.pretendDevices(__NR_mknod, 1);
#endif
  filter.pretendDevices(__NR_mknodat, 2);
  return filter.finish();
}

}  // namespace

bool filterSystemCalls(bool allowForks) {
  if (kMachine == 0) {
    errno = ENOSYS;
    return false;
  }
  std::vector<sock_filter> filter = filterFor(allowForks);
  const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}
