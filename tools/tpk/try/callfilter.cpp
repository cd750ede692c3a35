#include "tools/tpk/try/callfilter.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <vector>

#include <seccomp.h>
#include <sys/stat.h>

namespace {

enum : std::uint16_t { kSuccess = 0 };

// To a call that does nothing.
struct Answer {
  int call;
  std::uint16_t error;
  std::vector<scmp_arg_cmp> when;  // all of them hold
};

std::vector<Answer> answersFor(bool allowForks) {
  std::vector<Answer> answers = {{SCMP_SYS(sync), kSuccess, {}}};
  for (const scmp_datum_t device : {scmp_datum_t{S_IFCHR}, scmp_datum_t{S_IFBLK}}) {
    answers.push_back({SCMP_SYS(mknod), kSuccess, {{1, SCMP_CMP_MASKED_EQ, S_IFMT, device}}});
    answers.push_back({SCMP_SYS(mknodat), kSuccess, {{2, SCMP_CMP_MASKED_EQ, S_IFMT, device}}});
  }
  if (allowForks) return answers;
  for (const int call : {SCMP_SYS(clone), SCMP_SYS(clone3), SCMP_SYS(fork), SCMP_SYS(vfork)})
    answers.push_back({call, EPERM, {}});
  return answers;
}

// 0, or an errno below it.
int load(scmp_filter_ctx filter, const std::vector<Answer>& answers) {
  // Calls of another kind of program on the same machine would pass under other numbers.
  int result = ::seccomp_attr_set(filter, SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
  // What the kernel says, not what the library makes of it.
  if (result == 0) result = ::seccomp_attr_set(filter, SCMP_FLTATR_API_SYSRAWRC, 1);
  for (const Answer& answer : answers) {
    if (result != 0) return result;
    result =
        ::seccomp_rule_add_array(filter, SCMP_ACT_ERRNO(answer.error), answer.call,
                                 static_cast<unsigned>(answer.when.size()), answer.when.data());
  }
  return result != 0 ? result : ::seccomp_load(filter);
}

}  // namespace

bool filterSystemCalls(bool allowForks) {
  const std::unique_ptr<void, decltype(&::seccomp_release)> filter(::seccomp_init(SCMP_ACT_ALLOW),
                                                                   ::seccomp_release);
  const int result = filter ? load(filter.get(), answersFor(allowForks)) : -ENOSYS;
  errno = -result;
  return result == 0;
}
