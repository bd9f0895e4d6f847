// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fuzz/input.h"

namespace zephran::fuzz {

/// What a target does with one input: each defines this function. An exception that leaves it ends
/// the program, as does a sentence that does not hold, a sanitizer's finding, or too long a time.
void try_input(Input input);

/// Ends the program with the sentence unless it holds; the fuzzer keeps the input then.
void require(bool holds, const char* sentence);

}  // namespace zephran::fuzz
