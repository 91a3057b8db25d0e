// SPDX-License-Identifier: GPL-3.0-or-later
// A kernel that does not know statx, as old ones and some sandboxes do not.
#ifndef TROVIK_TESTS_SUPPORT_FORBID_STATX_H
#define TROVIK_TESTS_SUPPORT_FORBID_STATX_H

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace test_support {

// From here on every call of it fails with ENOSYS. Cannot be undone: for a child process. False
// when calls of the system cannot be filtered here.
inline bool forbid_statx() {
    std::array<sock_filter, 4> program = {
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_statx, 0, 1),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

}  // namespace test_support

#endif
