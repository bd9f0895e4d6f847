// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Whether this program shows the mutation with this number (script/mutate).
#ifdef __cplusplus
extern "C" bool zephran_mutant(int number);
#endif
