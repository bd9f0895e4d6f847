// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>

namespace zephran {

/// Whether this program runs in the emulator, as script/lib/with_arm_programs says. An emulator of
/// user programs does not emulate the kernel: some of its limits do not apply.
inline bool is_emulated() {
    return std::getenv("ZEPHRAN_EMULATED") != nullptr;
}

}  // namespace zephran
