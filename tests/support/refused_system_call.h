// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace zephran {

/// Makes a system call fail for this thread and all children that it starts. There is no way back,
/// so it belongs into a process of the test's own.
/// @return whether the kernel has agreed
inline bool refuse_system_call(unsigned number, unsigned error) {
    std::array<sock_filter, 4> program{{
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, 0},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, number},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | error},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
    }};
    const sock_fprog filter{program.size(), program.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

}  // namespace zephran
