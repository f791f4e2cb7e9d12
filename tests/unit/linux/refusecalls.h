// A system that refuses a call.
#ifndef REFUSECALLS_H_
#define REFUSECALLS_H_

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>

// Has the kernel refuse the call to the calling thread and those that it starts, for ever. False if it can't.
inline bool RefuseCalls(unsigned number, unsigned error) {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{sizeof filter / sizeof *filter, filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// As the kernels before 6.18, which can't write without a SIGPIPE.
inline bool RefuseWritesWithFlags() { return RefuseCalls(SYS_pwritev2, EOPNOTSUPP); }

#endif  // REFUSECALLS_H_
