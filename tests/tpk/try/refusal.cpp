#include "tests/tpk/try/refusal.h"

#include "tests/support/privilege.h"

#include <cerrno>
#include <cstdint>

#include <grp.h>
#include <linux/capability.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

enum : unsigned { kOrdinaryUser = 1000 };

class Filter {
 public:
  Filter() : rules_(seccomp_init(SCMP_ACT_ALLOW)) { good_ = rules_ != nullptr; }
  ~Filter() {
    if (rules_) seccomp_release(rules_);
  }
  Filter(const Filter&) = delete;
  Filter& operator=(const Filter&) = delete;

  void refuseCall(int call) { add(call, EPERM); }
  void refuseNamespaces() {
    const scmp_arg_cmp asked = {0, SCMP_CMP_MASKED_EQ, CLONE_NEWUSER, CLONE_NEWUSER};
    for (const int call : {SCMP_SYS(clone), SCMP_SYS(unshare)})
      good_ = good_ && seccomp_rule_add_array(rules_, SCMP_ACT_ERRNO(EPERM), call, 1, &asked) == 0;
    // Its flags are out of a filter's reach; whoever calls it falls back to clone().
    add(SCMP_SYS(clone3), ENOSYS);
  }
  bool load() const { return good_ && seccomp_load(rules_) == 0; }

 private:
  void add(int call, int error) {
    good_ = good_ && seccomp_rule_add(rules_, SCMP_ACT_ERRNO(static_cast<std::uint16_t>(error)),
                                      call, 0) == 0;
  }

  scmp_filter_ctx rules_;
  bool good_;
};

bool enterOrdinaryNamespace() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  return unshare(CLONE_NEWUSER) == 0 && mapUser(kOrdinaryUser, user, group);
}

// The build folder may be where only root looks.
bool changeUserAndRead() {
  constexpr unsigned kPowers = 1U << CAP_DAC_OVERRIDE;
  if (prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0 || setgroups(0, nullptr) != 0 ||
      setresgid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) != 0 ||
      setresuid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) != 0) {
    return false;
  }
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct powers[2] = {{kPowers, kPowers, kPowers}, {}};
  return syscall(SYS_capset, &header, powers) == 0 &&
         prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_DAC_OVERRIDE, 0, 0) == 0;
}

}  // namespace

bool refuse(Refused what) {
  Filter filter;
  if (what == Refused::kMounts) {
    filter.refuseCall(SCMP_SYS(mount));
  } else {
    filter.refuseNamespaces();
  }
  if (what == Refused::kNamespacesAndChroot) filter.refuseCall(SCMP_SYS(chroot));
  return filter.load();
}

bool becomeOrdinaryUser() {
  if (geteuid() != 0) return true;
  return childCan(enterOrdinaryNamespace) ? enterOrdinaryNamespace() : changeUserAndRead();
}
